// Composing and running the router's command lines.
//
// The command lines are part of the published behaviour, so they stay shell strings
// built from printf formats into bounded buffers. Every value that comes from outside
// the program (nvram, UCI, zt, files, directory entries) is wrapped in an Arg naming
// what it must look like; compose() refuses the whole line, with a message, when a
// value holds anything else, and the caller then sees "no value" exactly as if the
// command had produced no output.
#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace shell {

// What an outside value may hold. Beyond its characters, no value of any checked kind
// may hold a ".." path component, nor a word starting with '-' (an option to the
// command) unless the word is a negative number.
enum class Kind {
    Constant,  // program text (a fixed key, path or word): not checked
    Key,       // nvram / zt / uci key: letters, digits, _ . - [ ]
    Mac,       // hex digits and ':'
    Ifname,    // letters, digits, _ . - @
    Host,      // letters, digits, - . : /
    Path,      // letters, digits, _ . / - +
    Word,      // one shell word: letters, digits, _ . - : / @ + , = %
    Text,      // Word characters and blanks (several words)
};

struct Arg {
    Kind kind;
    std::string value;
};

inline Arg constant(std::string_view v) {
    return {Kind::Constant, std::string(v)};
}
inline Arg key(std::string_view v) {
    return {Kind::Key, std::string(v)};
}
inline Arg mac(std::string_view v) {
    return {Kind::Mac, std::string(v)};
}
inline Arg ifname(std::string_view v) {
    return {Kind::Ifname, std::string(v)};
}
inline Arg host(std::string_view v) {
    return {Kind::Host, std::string(v)};
}
inline Arg path(std::string_view v) {
    return {Kind::Path, std::string(v)};
}
inline Arg word(std::string_view v) {
    return {Kind::Word, std::string(v)};
}
inline Arg text(std::string_view v) {
    return {Kind::Text, std::string(v)};
}

// True when `value` may stand in a command line as a `kind`.
bool acceptable(Kind kind, std::string_view value);
const char* kind_name(Kind kind);
// The value as the refusal message shows it: control characters, '"' and '\\'
// escaped, so the message stays one line.
std::string printable(std::string_view value);
// Prints the refusal message for a value that failed its check:
// [telem_json] refused to run "<format>": unsafe <kind> "<value>"
void report_refused(Kind kind, std::string_view value, const char* format);

namespace detail {
inline bool check(const char*, const Arg& a) {
    return acceptable(a.kind, a.value);
}
template <typename T>
requires std::is_arithmetic_v<T>
bool check(const char*, T) {
    return true;
}
inline void refuse(const char* fmt, const Arg& a) {
    if (!acceptable(a.kind, a.value)) report_refused(a.kind, a.value, fmt);
}
template <typename T>
requires std::is_arithmetic_v<T>
void refuse(const char*, T) {}
inline const char* raw(const Arg& a) {
    return a.value.c_str();
}
template <typename T>
requires std::is_arithmetic_v<T> T raw(T v) {
    return v;
}
}  // namespace detail

// snprintf(buf, bufsize, format, args...) after checking every Arg; nothing when a
// value is refused. Text past the buffer is cut, as the router's fixed buffers do.
template <typename... A>
std::optional<std::string> compose(size_t bufsize, const char* format, const A&... args) {
    if (!(detail::check(format, args) && ...)) {
        (detail::refuse(format, args), ...);
        return std::nullopt;
    }
    std::vector<char> buf(bufsize);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    std::snprintf(buf.data(), bufsize, format, detail::raw(args)...);
#pragma GCC diagnostic pop
    return std::string(buf.data());
}

// system(): runs a composed line. A refused line is not run and gives -1.
int run(const std::optional<std::string>& command);

// The capture pattern: run the line (its output redirected to `outfile` by the line
// itself), read the file, delete it. A refused line runs nothing and reads nothing.
std::optional<std::string> capture_first_line(const std::optional<std::string>& command,
                                              std::string_view outfile, size_t bufsize);
std::optional<std::vector<std::string>> capture_lines(const std::optional<std::string>& command,
                                                      std::string_view outfile, size_t bufsize);

}  // namespace shell
