#include "platform/file_watch.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <ctime>

#include "platform/md5.h"
#include "platform/unique_fd.h"

namespace platform {

namespace {

// The whole content of `fd`; `expected` (the size fstat gave) is reserved up front so
// that a large table is not copied from buffer to doubled buffer while it is read.
std::optional<std::string> read_all(int fd, off_t expected) {
    std::string text;
    if (expected > 0) text.reserve(static_cast<size_t>(expected) + 1);
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
    auto content = read_all(fd.get(), st.st_size);
    if (!content) {
        forget();
        return Status::Unreadable;
    }
    std::optional<Digest> digest;
    const bool confirm = seen_ && *seen_ == stamp && !trusted_ && digest_;
    if (confirm) digest = digest_of(*content);
    const bool same = confirm && *digest == *digest_;
    seen_ = stamp;
    trusted_ = old_enough(stamp);
    if (same) {
        if (trusted_) digest_.reset();
        return Status::Unchanged;
    }
    if (trusted_)
        digest_.reset();
    else
        digest_ = digest ? *digest : digest_of(*content);
    text = std::move(*content);
    return Status::Changed;
}

void FileWatch::forget() {
    seen_.reset();
    trusted_ = false;
    digest_.reset();
}

void FileWatch::accept(std::string_view text) {
    auto now = stamp_of_path(path_);
    if (!now) {
        forget();
        return;
    }
    seen_ = now;
    trusted_ = false;  // confirmed by content until it has aged
    digest_ = digest_of(text);
}

FileWatch::Digest FileWatch::digest_of(std::string_view text) {
    MD5_CTX ctx;
    MD5Init(&ctx);
    MD5Update(&ctx, reinterpret_cast<const uint8_t*>(text.data()), text.size());
    Digest d{};
    MD5Final(d.data(), &ctx);
    return d;
}

namespace {

std::string directory_of(const std::string& path) {
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string base_name(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// The rename is only durable once the directory entry itself is on stable storage.
bool sync_directory(const std::string& dir) {
    UniqueFd fd(::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return fd && ::fsync(fd.get()) == 0;
}

bool is_decimal(std::string_view text) {
    if (text.empty() || text.size() > 10) return false;
    for (char c : text)
        if (c < '0' || c > '9') return false;
    return true;
}

}  // namespace

std::string temp_file_for(const std::string& path) {
    return path + ".tmp." + std::to_string(::getpid());
}

bool replace_file_atomically(const std::string& path, std::string_view content) {
    return replace_file_atomically(path, [content](const PieceSink& put) { put(content); });
}

bool replace_file_atomically(const std::string& path,
                             const std::function<void(const PieceSink&)>& produce) {
    // The replacement keeps the mode of the file it replaces (0644 for a new file).
    mode_t mode = 0644;
    struct stat st;
    if (::stat(path.c_str(), &st) == 0) mode = st.st_mode & 07777;
    const std::string tmp = temp_file_for(path);
    bool ok = false;
    {
        UniqueFd out(::open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode));
        // fchmod: the mode given to open is cut by the umask.
        ok = out && ::fchmod(out.get(), mode) == 0;
        if (ok) {
            constexpr size_t kBlock = 8192;
            std::string block;
            auto flush = [&] {
                if (ok && !block.empty()) ok = write_all(out.get(), block);
                block.clear();
            };
            // Small pieces are gathered into blocks; a piece of a block or more (the
            // whole text of the plain overload) is written as it is, never copied.
            produce([&](std::string_view piece) {
                if (block.size() + piece.size() > kBlock) flush();
                if (!ok) return;
                if (piece.size() >= kBlock)
                    ok = write_all(out.get(), piece);
                else
                    block.append(piece);
            });
            flush();
            ok = ok && ::fsync(out.get()) == 0;
        }
    }
    // Content on stable storage before the name points at it, then the name itself:
    // a power cut leaves either the old file or the new one, never an empty one.
    if (ok) ok = ::rename(tmp.c_str(), path.c_str()) == 0;
    if (!ok) {
        ::unlink(tmp.c_str());
        return false;
    }
    sync_directory(directory_of(path));
    return true;
}

int remove_stale_temp_files(const std::string& path) {
    const std::string dir = directory_of(path);
    const std::string prefix = base_name(path) + ".tmp.";
    UniqueDir d(::opendir(dir.c_str()));
    if (!d) return 0;
    int removed = 0;
    while (dirent* e = ::readdir(d.get())) {
        std::string_view name = e->d_name;
        if (name.substr(0, prefix.size()) != prefix) continue;
        std::string_view pid_text = name.substr(prefix.size());
        if (!is_decimal(pid_text)) continue;
        const long pid = std::stol(std::string(pid_text));
        // A live writer (or a process that took its number) keeps its file; ours too.
        if (pid == ::getpid() || pid <= 0 || pid > INT32_MAX) continue;
        if (::kill(static_cast<pid_t>(pid), 0) == 0 || errno != ESRCH) continue;
        if (::unlink((dir + "/" + std::string(name)).c_str()) == 0) ++removed;
    }
    return removed;
}

}  // namespace platform
