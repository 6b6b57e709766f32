#include "platform/file_watch.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "platform/unique_fd.h"

namespace platform {

namespace {

std::optional<std::string> read_all(int fd) {
    std::string text;
    char buf[16384];
    for (;;) {
        ssize_t n = ::read(fd, buf, sizeof buf);
        if (n < 0) {
            if (errno == EINTR) continue;
            return std::nullopt;
        }
        if (n == 0) break;
        text.append(buf, static_cast<size_t>(n));
    }
    return text;
}

bool write_all(int fd, std::string_view data) {
    size_t done = 0;
    while (done < data.size()) {
        ssize_t n = ::write(fd, data.data() + done, data.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

}  // namespace

FileWatch::FileWatch(std::string path) : path_(std::move(path)) {}

std::optional<FileWatch::Stamp> FileWatch::stamp_of_path(const std::string& path) {
    struct stat st;
    if (::stat(path.c_str(), &st) != 0) return std::nullopt;
    return Stamp{st.st_dev,          st.st_ino,         st.st_size,        st.st_mtim.tv_sec,
                 st.st_mtim.tv_nsec, st.st_ctim.tv_sec, st.st_ctim.tv_nsec};
}

bool FileWatch::old_enough(const Stamp& s) {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    // A stamp in the future (clock set back) is never trusted.
    return now.tv_sec - s.mtime_sec > kTrustAfterSeconds &&
           now.tv_sec - s.ctime_sec > kTrustAfterSeconds;
}

FileWatch::Status FileWatch::poll(std::string& text) {
    auto now = stamp_of_path(path_);
    if (!now) {
        forget();
        return Status::Missing;
    }
    if (trusted_ && seen_ && *seen_ == *now) return Status::Unchanged;

    UniqueFd fd(::open(path_.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat st;
    if (!fd || ::fstat(fd.get(), &st) != 0) {
        forget();
        return Status::Unreadable;
    }
    // The stamp of what is actually read (the path may have been replaced since stat).
    Stamp stamp{st.st_dev,          st.st_ino,         st.st_size,        st.st_mtim.tv_sec,
                st.st_mtim.tv_nsec, st.st_ctim.tv_sec, st.st_ctim.tv_nsec};
    auto content = read_all(fd.get());
    if (!content) {
        forget();
        return Status::Unreadable;
    }
    bool same = seen_ && *seen_ == stamp && !trusted_ && *content == content_;
    seen_ = stamp;
    trusted_ = old_enough(stamp);
    if (same) {
        if (trusted_) content_.clear();
        return Status::Unchanged;
    }
    content_ = trusted_ ? std::string() : *content;
    text = std::move(*content);
    return Status::Changed;
}

void FileWatch::forget() {
    seen_.reset();
    trusted_ = false;
    content_.clear();
}

void FileWatch::accept(std::string text) {
    auto now = stamp_of_path(path_);
    if (!now) {
        forget();
        return;
    }
    seen_ = now;
    trusted_ = false;  // confirmed by content until it has aged
    content_ = std::move(text);
}

bool replace_file_atomically(const std::string& path, std::string_view content) {
    std::string tmp = path + ".tmp." + std::to_string(::getpid());
    bool ok = false;
    {
        UniqueFd out(::open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
        ok = out && write_all(out.get(), content);
    }
    if (ok) ok = ::rename(tmp.c_str(), path.c_str()) == 0;
    if (!ok) ::unlink(tmp.c_str());
    return ok;
}

}  // namespace platform
