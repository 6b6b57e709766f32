#include "platform/shell.h"

#include <cctype>

#include "platform/fs.h"
#include "platform/platform.h"

namespace shell {

namespace {

bool all_of(std::string_view v, std::string_view extra) {
    for (char c : v) {
        if (std::isalnum(static_cast<unsigned char>(c))) continue;
        if (extra.find(c) == std::string_view::npos) return false;
    }
    return true;
}

// A ".." path component (alone, or between '/' and blanks) would climb out of the
// directory a value is meant to stay in.
bool climbs(std::string_view v) {
    for (size_t p = v.find(".."); p != std::string_view::npos; p = v.find("..", p + 1)) {
        bool starts = p == 0 || v[p - 1] == '/' || v[p - 1] == ' ';
        bool ends = p + 2 == v.size() || v[p + 2] == '/' || v[p + 2] == ' ';
        if (starts && ends) return true;
    }
    return false;
}

// A word starting with '-' would be taken as an option by the command; a negative
// number is the one such word a value may hold.
bool option_like(std::string_view word) {
    return !word.empty() && word.front() == '-' &&
           !(word.size() > 1 && std::isdigit(static_cast<unsigned char>(word[1])));
}

bool any_word_option_like(std::string_view v) {
    size_t pos = 0;
    while (pos <= v.size()) {
        size_t blank = v.find(' ', pos);
        std::string_view w = v.substr(pos, blank == v.npos ? v.npos : blank - pos);
        if (option_like(w)) return true;
        if (blank == v.npos) break;
        pos = blank + 1;
    }
    return false;
}

bool characters_fit(Kind kind, std::string_view v) {
    switch (kind) {
        case Kind::Constant:
            return true;
        case Kind::Key:
            return all_of(v, "_.-[]");
        case Kind::Mac:
            for (char c : v)
                if (!std::isxdigit(static_cast<unsigned char>(c)) && c != ':') return false;
            return true;
        case Kind::Ifname:
            return all_of(v, "_.-@");
        case Kind::Host:
            return all_of(v, "-.:/");
        case Kind::Path:
            return all_of(v, "_./-+");
        case Kind::Word:
            return all_of(v, "_.-:/@+,=%");
        case Kind::Text:
            return all_of(v, "_.-:/@+,=% ");
    }
    return false;
}

}  // namespace

bool acceptable(Kind kind, std::string_view v) {
    if (kind == Kind::Constant) return true;
    return characters_fit(kind, v) && !climbs(v) && !any_word_option_like(v);
}

const char* kind_name(Kind kind) {
    switch (kind) {
        case Kind::Constant:
            return "constant";
        case Kind::Key:
            return "key";
        case Kind::Mac:
            return "MAC address";
        case Kind::Ifname:
            return "interface name";
        case Kind::Host:
            return "host";
        case Kind::Path:
            return "path";
        case Kind::Word:
            return "word";
        case Kind::Text:
            return "text";
    }
    return "value";
}

std::string printable(std::string_view value) {
    std::string out;
    for (char c : value) {
        auto u = static_cast<unsigned char>(c);
        if (c == '\n') {
            out += "\\n";
        } else if (c == '\\') {
            out += "\\\\";
        } else if (c == '"') {
            out += "\\\"";
        } else if (u < 0x20 || u == 0x7f) {
            char hex[5];
            std::snprintf(hex, sizeof hex, "\\x%02x", u);
            out += hex;
        } else {
            out += c;
        }
    }
    return out;
}

void report_refused(Kind kind, std::string_view value, const char* format) {
    std::printf("[telem_json] refused to run \"%s\": unsafe %s \"%s\"\n", format, kind_name(kind),
                printable(value).c_str());
}

int run(const std::optional<std::string>& command) {
    if (!command) return -1;
    return doSystem(*command);
}

std::optional<std::string> capture_first_line(const std::optional<std::string>& command,
                                              std::string_view outfile, size_t bufsize) {
    if (!command) return std::nullopt;
    doSystem(*command);
    auto line = platform::read_first_line(outfile, bufsize);
    platform::remove_file(outfile);
    return line;
}

std::optional<std::vector<std::string>> capture_lines(const std::optional<std::string>& command,
                                                      std::string_view outfile, size_t bufsize) {
    if (!command) return std::nullopt;
    doSystem(*command);
    auto lines = platform::read_lines(outfile, bufsize);
    platform::remove_file(outfile);
    return lines;
}

}  // namespace shell
