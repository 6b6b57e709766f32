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
}  // namespace

bool acceptable(Kind kind, std::string_view v) {
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
            return all_of(v, "_./-+") && v.find("..") == std::string_view::npos;
        case Kind::Word:
            return all_of(v, "_.-:/@+,=%");
        case Kind::Text:
            return all_of(v, "_.-:/@+,=% ");
    }
    return false;
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

void report_refused(Kind kind, std::string_view value, const char* format) {
    std::printf("[telem_json] refused to run \"%s\": unsafe %s \"%.*s\"\n", format,
                kind_name(kind), static_cast<int>(value.size()), value.data());
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
