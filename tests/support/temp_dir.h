// A private temporary directory for tests that work on real files, removed with
// everything in it when the object goes away.
#pragma once

#include <string>

namespace testing_support {

class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return path_; }
    // path() + "/" + name
    std::string file(const std::string& name) const;
    void write(const std::string& name, const std::string& content) const;
    std::string read(const std::string& name) const;  // "" when missing

  private:
    std::string path_;
};

}  // namespace testing_support
