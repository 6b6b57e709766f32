#include "platform/fs.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstring>

#include "platform/backend.h"
#include "platform/file_watch.h"
#include "platform/input_limits.h"
#include "platform/unique_fd.h"

namespace platform {

std::string resolve(std::string_view path) {
    const std::string& root = backend().root();
    if (root.empty() || path.empty() || path.front() != '/') return std::string(path);
    return root + std::string(path);
}

bool file_exists(std::string_view path) {
    struct stat st;
    return ::stat(resolve(path).c_str(), &st) == 0;
}

bool is_regular_file(std::string_view path) {
    struct stat st;
    return ::lstat(resolve(path).c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

std::optional<uint64_t> file_size(std::string_view path) {
    struct stat st;
    if (::stat(resolve(path).c_str(), &st) != 0) return std::nullopt;
    return static_cast<uint64_t>(st.st_size);
}

namespace {

// Opens a file for reading, refusing anything but a regular file. The open itself does
// not wait: a FIFO with no writer would otherwise block the daemon for good.
UniqueFile open_for_reading(std::string_view path) {
    const std::string real = resolve(path);
    UniqueFd fd(::open(real.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!fd) return nullptr;
    struct stat st;
    if (::fstat(fd.get(), &st) != 0) return nullptr;
    if (!S_ISREG(st.st_mode)) {
        std::printf("[telem_json] %s is not a regular file, not read\n", real.c_str());
        return nullptr;
    }
    const int flags = ::fcntl(fd.get(), F_GETFL);
    if (flags >= 0) ::fcntl(fd.get(), F_SETFL, flags & ~O_NONBLOCK);
    UniqueFile f(::fdopen(fd.get(), "r"));
    if (f) fd.release();
    return f;
}

}  // namespace

std::optional<std::vector<std::string>> read_lines(std::string_view path, size_t bufsize) {
    UniqueFile f = open_for_reading(path);
    if (!f) return std::nullopt;
    std::vector<std::string> lines;
    std::vector<char> buf(bufsize < 2 ? 2 : bufsize);
    size_t total = 0;
    while (total < limits::kMaxInputFileBytes &&
           std::fgets(buf.data(), static_cast<int>(buf.size()), f.get())) {
        lines.emplace_back(buf.data());
        // Counted with the string's own size, so that a file of empty pieces (NUL
        // bytes) is bounded too.
        total += lines.back().size() + sizeof(std::string);
    }
    return lines;
}

bool scan_lines(std::string_view path, size_t bufsize,
                const std::function<bool(const std::string&)>& each) {
    UniqueFile f(std::fopen(resolve(path).c_str(), "r"));
    if (!f) return false;
    std::vector<char> buf(bufsize < 2 ? 2 : bufsize);
    std::string line;
    while (std::fgets(buf.data(), static_cast<int>(buf.size()), f.get())) {
        line.assign(buf.data());
        if (!each(line)) break;
    }
    return true;
}

std::optional<std::string> read_first_line(std::string_view path, size_t bufsize) {
    UniqueFile f = open_for_reading(path);
    if (!f) return std::nullopt;
    std::vector<char> buf(bufsize < 2 ? 2 : bufsize);
    if (!std::fgets(buf.data(), static_cast<int>(buf.size()), f.get())) return std::nullopt;
    return std::string(buf.data());
}

std::optional<std::string> read_first_line_or_empty(std::string_view path, size_t bufsize) {
    UniqueFile f = open_for_reading(path);
    if (!f) return std::nullopt;
    std::vector<char> buf(bufsize < 2 ? 2 : bufsize);
    if (!std::fgets(buf.data(), static_cast<int>(buf.size()), f.get())) return std::string();
    return std::string(buf.data());
}

std::optional<std::string> read_file(std::string_view path) {
    UniqueFile f = open_for_reading(path);
    if (!f) return std::nullopt;
    std::string text;
    char buf[8192];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f.get())) > 0) {
        if (text.size() + n > limits::kMaxInputFileBytes) {
            std::printf("[telem_json] %s is larger than %zu bytes, not read\n",
                        resolve(path).c_str(), limits::kMaxInputFileBytes);
            return std::nullopt;
        }
        text.append(buf, n);
    }
    return text;
}

std::optional<std::string> read_file_prefix(std::string_view path, size_t max_bytes) {
    UniqueFile f(std::fopen(resolve(path).c_str(), "rb"));
    if (!f) return std::nullopt;
    std::string text(max_bytes, '\0');
    size_t n = std::fread(text.data(), 1, max_bytes, f.get());
    text.resize(n);
    return text;
}

namespace {
bool put(std::string_view path, std::string_view content, const char* mode) {
    UniqueFile f(std::fopen(resolve(path).c_str(), mode));
    if (!f) return false;
    return std::fwrite(content.data(), 1, content.size(), f.get()) == content.size();
}
}  // namespace

bool write_file(std::string_view path, std::string_view content) {
    return put(path, content, "w");
}
bool write_file_durably(std::string_view path, std::string_view content) {
    const std::string real = resolve(path);
    remove_stale_temp_files(real);
    return replace_file_atomically(real, content);
}
bool append_file(std::string_view path, std::string_view content) {
    return put(path, content, "a");
}
void append_console(std::string_view text) {
    put("/dev/console", text, "a");
}

bool remove_file(std::string_view path) {
    return ::unlink(resolve(path).c_str()) == 0;
}

std::optional<std::vector<std::string>> list_dir(std::string_view path) {
    UniqueDir d(::opendir(resolve(path).c_str()));
    if (!d) return std::nullopt;
    std::vector<std::string> names;
    while (dirent* e = ::readdir(d.get())) {
        if (std::strcmp(e->d_name, ".") == 0 || std::strcmp(e->d_name, "..") == 0) continue;
        names.emplace_back(e->d_name);
    }
    return names;
}

std::string strip_newline(std::string line) {
    size_t nl = line.find('\n');
    if (nl != std::string::npos) line.resize(nl);
    return line;
}

std::string cut_at_first_of(std::string line, std::string_view chars) {
    size_t p = line.find_first_of(chars);
    if (p != std::string::npos) line.resize(p);
    return line;
}

}  // namespace platform
