#include "platform/nvram_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <iterator>

#include "platform/unique_fd.h"

namespace platform {

namespace {

void append_escaped(std::string& out, std::string_view value) {
    for (char c : value) {
        if (c == '\\')
            out += "\\\\";
        else if (c == '\n')
            out += "\\n";
        else if (c == '\r')
            out += "\\r";
        else
            out += c;
    }
}

}  // namespace

std::string nvram_escape(std::string_view value) {
    std::string out;
    out.reserve(value.size());
    append_escaped(out, value);
    return out;
}

namespace {

std::string unescape(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 1 < text.size()) {
            char n = text[++i];
            out += n == 'n' ? '\n' : n == 'r' ? '\r' : n;
        } else {
            out += text[i];
        }
    }
    return out;
}

}  // namespace

std::map<std::string, std::string, std::less<>> parse_nvram_text(std::string_view text) {
    std::map<std::string, std::string, std::less<>> values;
    size_t pos = 0;
    while (pos < text.size()) {
        size_t nl = text.find('\n', pos);
        std::string_view line =
            text.substr(pos, nl == std::string_view::npos ? text.npos : nl - pos);
        pos = nl == std::string_view::npos ? text.size() : nl + 1;
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);  // edited elsewhere
        if (line.empty() || line.front() == '#') continue;
        size_t eq = line.find('=');
        if (eq == std::string_view::npos || eq == 0) continue;  // malformed: skipped
        // Files this store wrote are sorted by key: the hint makes each insert O(1).
        std::string_view key = line.substr(0, eq);
        if (!values.empty() && std::prev(values.end())->first < key)
            values.emplace_hint(values.end(), std::string(key), unescape(line.substr(eq + 1)));
        else
            values.insert_or_assign(std::string(key), unescape(line.substr(eq + 1)));
    }
    return values;
}

std::string render_nvram_text(const std::map<std::string, std::string, std::less<>>& values) {
    size_t size = 0;
    for (const auto& [k, v] : values) size += k.size() + v.size() + 2;
    std::string out;
    out.reserve(size + size / 16);
    for (const auto& [k, v] : values) {
        out += k;
        out += '=';
        append_escaped(out, v);
        out += '\n';
    }
    return out;
}

NvramFile::NvramFile(std::string path) : path_(std::move(path)), watch_(path_) {
    // A writer killed between its write and its rename left its temporary file.
    remove_stale_temp_files(path_);
}

bool NvramFile::storable_key(std::string_view key) {
    return !key.empty() && key.front() != '#' && key.find_first_of("=\n\r") == key.npos;
}

void NvramFile::refresh() {
    std::string text;
    switch (watch_.poll(text)) {
        case FileWatch::Status::Missing:
        case FileWatch::Status::Unreadable:
            values_.clear();
            return;
        case FileWatch::Status::Unchanged:
            return;
        case FileWatch::Status::Changed:
            values_ = parse_nvram_text(text);
            ++parses_;
            return;
    }
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
    if (!lock) {
        std::fprintf(stderr, "nvram: cannot open %s\n", lock_path.c_str());
        return false;
    }
    int rc;
    while ((rc = ::flock(lock.get(), LOCK_EX)) != 0 && errno == EINTR) {
    }
    if (rc != 0) {
        std::fprintf(stderr, "nvram: cannot lock %s\n", lock_path.c_str());
        return false;
    }
    // Under the lock, start from what is on disk now. The watch confirms a recent
    // stamp by content, so a file another writer replaced is always read again.
    refresh();
    if (!change(values_)) return true;
    std::string text = render_nvram_text(values_);
    if (!replace_file_atomically(path_, text)) {
        std::fprintf(stderr, "nvram: cannot write %s\n", path_.c_str());
        watch_.forget();
        return false;
    }
    // Still under the lock: what is on disk is exactly what we hold.
    watch_.accept(text);
    return true;
}

bool NvramFile::set(std::string_view key, std::string_view value) {
    if (!storable_key(key)) return false;
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
