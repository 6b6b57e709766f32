// Knowing cheaply whether a file changed since it was last parsed, and replacing a
// file so that a reader sees either the old or the new content, never half of it.
//
// A file is recognised by its device, inode, size and change times. Those stamps have
// the file system's granularity (a clock tick, or whole seconds on some), so two
// writes of the same size in one tick could carry the same stamp. A stamp that is
// younger than that granularity is therefore not trusted on its own: until it has
// aged, each look reads the file again and compares the MD5 digest of its bytes with
// that of what was parsed, so a change is never missed and an unchanged file is still
// never parsed twice. A digest, not a copy: a device table just written is not held
// twice in memory while it ages.
#pragma once

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

class FileWatch {
  public:
    enum class Status {
        Missing,     // stat failed: no such file
        Unreadable,  // it exists but could not be read
        Unchanged,   // same content as last time: nothing to parse
        Changed,     // new content (first look, or the file changed)
    };

    explicit FileWatch(std::string path);

    // Looks at the file. On Changed, `text` holds its whole content.
    Status poll(std::string& text);
    // Makes the next poll read and report the file as Changed.
    void forget();
    // Records `text` as the file's content just written by us (while writers are
    // excluded), so the next poll need not parse it again.
    void accept(std::string_view text);
    const std::string& path() const { return path_; }

    // Stamps younger than this many seconds are confirmed by content.
    static constexpr long kTrustAfterSeconds = 2;

  private:
    struct Stamp {
        dev_t dev = 0;
        ino_t ino = 0;
        off_t size = -1;
        long mtime_sec = 0, mtime_nsec = 0;
        long ctime_sec = 0, ctime_nsec = 0;
        bool operator==(const Stamp&) const = default;
    };
    static std::optional<Stamp> stamp_of_path(const std::string& path);
    static bool old_enough(const Stamp& s);

    using Digest = std::array<uint8_t, 16>;
    static Digest digest_of(std::string_view text);

    std::string path_;
    std::optional<Stamp> seen_;
    bool trusted_ = false;
    std::optional<Digest> digest_;  // of the content, kept only while the stamp is not trusted
};

// Replaces `path` so that a crash or a power cut at any moment leaves either the old
// content or the new one, whole: `content` goes to "<path>.tmp.<pid>" with the mode of
// the file it replaces (0644 for a new file), is fsynced, renamed over `path`, and the
// directory is fsynced. False (and the temporary file removed) when a step before the
// rename fails. `path` is a real file system path.
bool replace_file_atomically(const std::string& path, std::string_view content);
// The same, with the content produced in pieces through the sink it is given: the pieces
// go to the file in blocks, so that a large file is never held whole in memory.
using PieceSink = std::function<void(std::string_view)>;
bool replace_file_atomically(const std::string& path,
                             const std::function<void(const PieceSink&)>& produce);
// The temporary name replace_file_atomically uses in this process.
std::string temp_file_for(const std::string& path);
// Removes the "<path>.tmp.<pid>" files left by writers that died before their rename
// (pid no longer running). Returns how many were removed.
int remove_stale_temp_files(const std::string& path);

}  // namespace platform
