// File helpers. Every path is one of the router's absolute paths and is resolved
// against the installed backend's root ("/" on a router or host, a temporary
// directory in the tests).
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

std::string resolve(std::string_view path);

bool file_exists(std::string_view path);  // stat succeeds
// A regular file itself: a directory, a device or a symbolic link (even one that
// points at a regular file) is not.
bool is_regular_file(std::string_view path);
std::optional<uint64_t> file_size(std::string_view path);
// The first line as fgets with a buffer of `bufsize` bytes would read it (newline
// kept when it fits). Nothing when the file cannot be opened or is empty.
std::optional<std::string> read_first_line(std::string_view path, size_t bufsize);
// As read_first_line, but an empty file that opens reads as "": nothing only when the
// file cannot be opened.
std::optional<std::string> read_first_line_or_empty(std::string_view path, size_t bufsize);
// Every fgets read of the file with a buffer of `bufsize` bytes: a line longer than
// the buffer comes back in pieces, as it would on the router.
std::optional<std::vector<std::string>> read_lines(std::string_view path, size_t bufsize);
// The same fgets reads handed one at a time to `each`, which returns false to stop;
// for files too large to hold. False when the file cannot be opened.
bool scan_lines(std::string_view path, size_t bufsize,
                const std::function<bool(const std::string&)>& each);
std::optional<std::string> read_file(std::string_view path);
// At most the first `max_bytes` bytes, as one fread into a fixed buffer reads them.
std::optional<std::string> read_file_prefix(std::string_view path, size_t max_bytes);
bool write_file(std::string_view path, std::string_view content);
// Replaces a record that must survive a crash or a power cut (the daemon's persistent
// files): the old content or the new one is found afterwards, whole, with the old
// file's mode. Temporary files of writers that died mid-write are removed first.
bool write_file_durably(std::string_view path, std::string_view content);
bool append_file(std::string_view path, std::string_view content);
// Appends to /dev/console (opened, written and closed each time).
void append_console(std::string_view text);
bool remove_file(std::string_view path);
std::optional<std::vector<std::string>> list_dir(std::string_view path);

// Text helpers for what fgets gives back.
std::string strip_newline(std::string line);  // cut at the first '\n'
std::string cut_at_first_of(std::string line, std::string_view chars);

}  // namespace platform
