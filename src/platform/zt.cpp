#include "platform/zt.h"

#include <cstdio>

#include "platform/fs.h"
#include "platform/shell.h"

namespace {

constexpr const char* kZtTool = "/usr/bin/zt";
constexpr const char* kZtOutput = "/tmp/tmp_zt_file_telem";
constexpr size_t kZtCommandSize = 512;
constexpr size_t kZtLineSize = 512;

bool zt_usable(std::string_view key) {
    return platform::file_exists(kZtTool) && !key.empty();
}

}  // namespace

int ovraZTConfig_get(std::string_view key, std::string& value_out) {
    value_out.clear();
    if (!zt_usable(key)) return 0;
    auto command = shell::compose(kZtCommandSize, "zt -s %s > %s", shell::key(key),
                                  shell::constant(kZtOutput));
    if (!command) return 0;
    shell::run(command);
    int result = 0;
    if (auto line = platform::read_first_line_or_empty(kZtOutput, kZtLineSize)) {
        // The value runs up to the first newline; a leading newline leaves it empty.
        value_out = platform::strip_newline(std::move(*line));
        result = 1;
    }
    platform::remove_file(kZtOutput);
    return result;
}

int ovraZTConfig_set(std::string_view key, std::string_view value) {
    if (!zt_usable(key)) return 0;
    std::printf("%s(%d) %.*s=%.*s\n", __func__, __LINE__, static_cast<int>(key.size()), key.data(),
                static_cast<int>(value.size()), value.data());
    // No quoting: a value with blanks reaches the tool as several arguments.
    auto command =
        shell::compose(kZtCommandSize, "zt -c %s %s", shell::key(key), shell::text(value));
    if (!command) return 0;
    shell::run(command);
    return 1;
}

int ovraZTConfig_match(std::string_view key, std::string_view wanted) {
    std::string value;
    if (ovraZTConfig_get(key, value) != 1) return 0;
    return value.compare(0, wanted.size(), wanted) == 0 ? 1 : 0;
}
