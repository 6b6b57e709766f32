// The host's nvram store: one text file of `key=value` lines. Reads are served from a
// parsed copy that is refreshed only when the file changed; writes take an exclusive
// flock on "<file>.lock", re-read, and replace the file atomically, so concurrent
// writers in several processes never lose each other's keys.
#pragma once

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

class NvramFile {
public:
    explicit NvramFile(std::string path);

    std::optional<std::string> get(std::string_view key);
    bool set(std::string_view key, std::string_view value);
    bool unset(std::string_view key);
    // Flushes the file to stable storage (the router's commit to flash).
    bool commit();
    const std::map<std::string, std::string, std::less<>>& all();
    const std::string& path() const { return path_; }
    // How often the file was parsed (for the benchmark and the tests).
    unsigned long parse_count() const { return parses_; }

private:
    struct Identity {
        dev_t dev = 0;
        ino_t ino = 0;
        off_t size = -1;
        long mtime_sec = 0;
        long mtime_nsec = 0;
        bool operator==(const Identity&) const = default;
    };
    void refresh();
    template <typename Change>
    bool update(Change change);

    std::string path_;
    std::map<std::string, std::string, std::less<>> values_;
    std::optional<Identity> seen_;
    unsigned long parses_ = 0;
};

// One line of the file format, escaped ("\n" and "\\").
std::string nvram_escape(std::string_view value);
// Parses the file text; malformed lines (no '=', empty key) are skipped.
std::map<std::string, std::string, std::less<>> parse_nvram_text(std::string_view text);
std::string render_nvram_text(const std::map<std::string, std::string, std::less<>>& values);

}  // namespace platform
