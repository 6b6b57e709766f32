// Owning wrappers for the C resources the platform layer opens.
#pragma once

#include <dirent.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

namespace platform {

class UniqueFd {
  public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    UniqueFd(UniqueFd&& o) noexcept : fd_(o.release()) {}
    UniqueFd& operator=(UniqueFd&& o) noexcept {
        reset(o.release());
        return *this;
    }
    ~UniqueFd() { reset(); }
    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    int release() {
        int fd = fd_;
        fd_ = -1;
        return fd;
    }
    void reset(int fd = -1) {
        if (fd_ >= 0) ::close(fd_);
        fd_ = fd;
    }

  private:
    int fd_ = -1;
};

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using UniqueFile = std::unique_ptr<std::FILE, FileCloser>;

struct DirCloser {
    void operator()(DIR* d) const { ::closedir(d); }
};
using UniqueDir = std::unique_ptr<DIR, DirCloser>;

struct PipeCloser {
    void operator()(std::FILE* f) const { ::pclose(f); }
};
using UniquePipe = std::unique_ptr<std::FILE, PipeCloser>;

}  // namespace platform
