#include "platform/nvram_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "platform/unique_fd.h"

namespace platform {

std::string nvram_escape(std::string_view value) {
    std::string out;
    out.reserve(value.size());
    for (char c : value) {
        if (c == '\\')
            out += "\\\\";
        else if (c == '\n')
            out += "\\n";
        else
            out += c;
    }
    return out;
}

namespace {

std::string unescape(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 1 < text.size()) {
            char n = text[++i];
            out += n == 'n' ? '\n' : n;
        } else {
            out += text[i];
        }
    }
    return out;
}

std::optional<std::string> slurp(int fd) {
    std::string text;
    char buf[8192];
    for (;;) {
        ssize_t n = ::read(fd, buf, sizeof buf);
        if (n < 0) return std::nullopt;
        if (n == 0) break;
        text.append(buf, static_cast<size_t>(n));
    }
    return text;
}

}  // namespace

std::map<std::string, std::string, std::less<>> parse_nvram_text(std::string_view text) {
    std::map<std::string, std::string, std::less<>> values;
    size_t pos = 0;
    while (pos < text.size()) {
        size_t nl = text.find('\n', pos);
        std::string_view line = text.substr(pos, nl == std::string_view::npos ? text.npos : nl - pos);
        pos = nl == std::string_view::npos ? text.size() : nl + 1;
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        if (line.empty() || line.front() == '#') continue;
        size_t eq = line.find('=');
        if (eq == std::string_view::npos || eq == 0) continue;  // malformed: skipped
        values.insert_or_assign(std::string(line.substr(0, eq)), unescape(line.substr(eq + 1)));
    }
    return values;
}

std::string render_nvram_text(const std::map<std::string, std::string, std::less<>>& values) {
    std::string out;
    for (const auto& [k, v] : values) {
        out += k;
        out += '=';
        out += nvram_escape(v);
        out += '\n';
    }
    return out;
}

NvramFile::NvramFile(std::string path) : path_(std::move(path)) {}

void NvramFile::refresh() {
    struct stat st;
    if (::stat(path_.c_str(), &st) != 0) {
        // A missing (or unreadable) file is an empty store.
        values_.clear();
        seen_.reset();
        return;
    }
    Identity id{st.st_dev, st.st_ino, st.st_size, st.st_mtim.tv_sec, st.st_mtim.tv_nsec};
    if (seen_ && *seen_ == id) return;
    UniqueFd fd(::open(path_.c_str(), O_RDONLY | O_CLOEXEC));
    std::optional<std::string> text = fd ? slurp(fd.get()) : std::nullopt;
    values_ = text ? parse_nvram_text(*text) : decltype(values_){};
    seen_ = id;
    ++parses_;
}

std::optional<std::string> NvramFile::get(std::string_view key) {
    refresh();
    auto it = values_.find(key);
    if (it == values_.end()) return std::nullopt;
    return it->second;
}

const std::map<std::string, std::string, std::less<>>& NvramFile::all() {
    refresh();
    return values_;
}

template <typename Change>
bool NvramFile::update(Change change) {
    std::string lock_path = path_ + ".lock";
    UniqueFd lock(::open(lock_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
    if (!lock || ::flock(lock.get(), LOCK_EX) != 0) {
        std::fprintf(stderr, "nvram: cannot lock %s\n", lock_path.c_str());
        return false;
    }
    // Under the lock, start from what is on disk now, not from our cached copy.
    seen_.reset();
    refresh();
    if (!change(values_)) return true;
    std::string tmp = path_ + ".tmp." + std::to_string(::getpid());
    std::string text = render_nvram_text(values_);
    {
        UniqueFd out(::open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
        if (!out) {
            std::fprintf(stderr, "nvram: cannot write %s\n", tmp.c_str());
            return false;
        }
        size_t done = 0;
        while (done < text.size()) {
            ssize_t n = ::write(out.get(), text.data() + done, text.size() - done);
            if (n <= 0) {
                ::unlink(tmp.c_str());
                return false;
            }
            done += static_cast<size_t>(n);
        }
    }
    if (::rename(tmp.c_str(), path_.c_str()) != 0) {
        ::unlink(tmp.c_str());
        return false;
    }
    seen_.reset();
    return true;
}

bool NvramFile::set(std::string_view key, std::string_view value) {
    if (key.empty() || key.find('=') != key.npos || key.find('\n') != key.npos) return false;
    return update([&](auto& values) {
        auto it = values.find(key);
        if (it != values.end() && it->second == value) return false;
        values.insert_or_assign(std::string(key), std::string(value));
        return true;
    });
}

bool NvramFile::unset(std::string_view key) {
    return update([&](auto& values) {
        auto it = values.find(key);
        if (it == values.end()) return false;
        values.erase(it);
        return true;
    });
}

bool NvramFile::commit() {
    UniqueFd fd(::open(path_.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd) return true;  // nothing stored yet
    return ::fsync(fd.get()) == 0;
}

}  // namespace platform
