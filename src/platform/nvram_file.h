// The host's nvram store: one text file of `key=value` lines. Reads are served from a
// parsed copy that is refreshed only when the file changed; writes take an exclusive
// flock on "<file>.lock", re-read, and replace the file atomically, so concurrent
// writers in several processes never lose each other's keys.
//
// File format: one entry per line; the key ends at the first '='; the value runs to
// the end of the line with "\n" (newline), "\r" (carriage return) and "\\" escapes.
// Lines starting with '#', blank lines and lines without a key are ignored. A missing
// or unreadable file is an empty store.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/file_watch.h"

namespace platform {

class NvramFile {
  public:
    explicit NvramFile(std::string path);

    std::optional<std::string> get(std::string_view key);
    // False when the key cannot be stored (empty, holds '=', a line break, or starts
    // with '#') or the file cannot be written.
    bool set(std::string_view key, std::string_view value);
    bool unset(std::string_view key);
    // Flushes the file to stable storage (the router's commit to flash).
    bool commit();
    const std::map<std::string, std::string, std::less<>>& all();
    const std::string& path() const { return path_; }
    // How often the file was parsed (for the benchmark and the tests).
    unsigned long parse_count() const { return parses_; }

    static bool storable_key(std::string_view key);

  private:
    void refresh();
    template <typename Change>
    bool update(Change change);

    std::string path_;
    FileWatch watch_;
    std::map<std::string, std::string, std::less<>> values_;
    unsigned long parses_ = 0;
};

// One value in the file's escaped form.
std::string nvram_escape(std::string_view value);
// Parses the file text; malformed lines (no '=', empty key) are skipped.
std::map<std::string, std::string, std::less<>> parse_nvram_text(std::string_view text);
std::string render_nvram_text(const std::map<std::string, std::string, std::less<>>& values);

}  // namespace platform
