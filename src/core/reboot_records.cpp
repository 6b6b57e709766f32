#include "core/reboot_records.h"

#include <cstdio>
#include <ctime>
#include <string>

#include "core/daemon.h"
#include "platform/fs.h"
#include "platform/platform.h"
#include "platform/shell.h"

namespace {

constexpr const char* kFunc = "get_kernel_reboot_data";
constexpr const char* kHeaderTag = "Kernel crash log";
constexpr const char* kHeaderFormat =
    "==========================Kernel crash log  %d/%d/%d %02d:%02d:%02d==========";
constexpr const char* kRebootByUserTmp = "/tmp/reboot_by_user_tmp.txt";
constexpr size_t kLineBuffer = 128;
constexpr size_t kCommandBuffer = 256;
constexpr size_t kSourceCommandBuffer = 127;

bool telem_debug() {
    return ovraNvramConfig_get("telem_debug") == "1";
}

void debug_time_line(const char* format, const CrashTime& t) {
    if (!telem_debug()) return;
    char line[160];
    std::snprintf(line, sizeof line, format, kFunc, t[0], t[1], t[2], t[3], t[4], t[5]);
    platform::append_console(line);
}

// Copies the crash log into /tmp/kernel_crash_log.txt: the panic file the platform
// left, or else the "DebugMsg" flash partition.
void copy_crash_source() {
    if (platform::file_exists(kPanicRebootFile)) {
        shell::run(shell::compose(kSourceCommandBuffer, "cat %s > /tmp/kernel_crash_log.txt",
                                  shell::constant(kPanicRebootFile)));
        return;
    }
    int index = shared_get_mtd_index("DebugMsg");
    if (index < 0) return;  // no such partition: nothing to read
    shell::run(
        shell::compose(kSourceCommandBuffer, "cat /dev/mtd%d > /tmp/kernel_crash_log.txt", index));
}

// The crash already accounted for: the header time of latest_crash_log.txt.
CrashTime last_recorded_crash() {
    CrashTime t{};
    if (auto first = platform::read_first_line(kLatestCrashLogFile, kLineBuffer)) {
        if (auto parsed = parse_crash_header(*first)) t = *parsed;
    }
    debug_time_line("[%s] latest_crash_log time=%d %d %d %d %d %d \n", t);
    return t;
}

// The reboot line goes to latest_reboot_data.txt and to the history, which keeps its
// last five lines.
void write_reboot_line(const CrashTime& t, const char* reason) {
    const char* fmt = "echo \"%d/%d/%d %02d:%02d:%02d, reason: %s\" %s %s";
    shell::run(shell::compose(kCommandBuffer, fmt, t[0], t[1], t[2], t[3], t[4], t[5],
                              shell::constant(reason), shell::constant(">"),
                              shell::constant(kLatestRebootDataFile)));
    shell::run(shell::compose(kCommandBuffer, fmt, t[0], t[1], t[2], t[3], t[4], t[5],
                              shell::constant(reason), shell::constant(">>"),
                              shell::constant(kRebootByUserFile)));
    shell::run(shell::compose(kCommandBuffer, "cat %s | tail -n 5 > %s",
                              shell::constant(kRebootByUserFile),
                              shell::constant(kRebootByUserTmp)));
    shell::run(shell::compose(kCommandBuffer, "mv -f %s %s", shell::constant(kRebootByUserTmp),
                              shell::constant(kRebootByUserFile)));
}

void record_crash(const CrashTime& t) {
    shell::run(shell::compose(kCommandBuffer, "rm -rf %s", shell::constant(kLatestCrashLogFile)));
    write_reboot_line(t, "1");
    shell::run(shell::compose(kCommandBuffer, "cp -f %s %s", shell::constant(kPanicRebootFile),
                              shell::constant(kLatestCrashLogFile)));
}

// Scans the copied crash log for a header that differs from the last recorded crash;
// the first one found is recorded as this boot's crash.
bool scan_for_new_crash(const CrashTime& recorded) {
    bool found = false;
    platform::scan_lines(kKernelCrashLogCopy, kLineBuffer, [&](const std::string& line) {
        auto header = parse_crash_header(line);
        if (!header) return true;
        debug_time_line("[%s]Kernel crash log time=%d %d %d %d %d %d \n", *header);
        if (*header == recorded) return true;  // the same panic is not reported twice
        record_crash(*header);
        found = true;
        return false;
    });
    platform::remove_file(kKernelCrashLogCopy);
    return found;
}

CrashTime local_time_now() {
    time_t now = static_cast<time_t>(platform::wall_time());
    std::tm tm{};
    my_localtime_r(&now, &tm);
    return {tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec};
}

}  // namespace

std::optional<CrashTime> parse_crash_header(const std::string& line) {
    if (line.find(kHeaderTag) == std::string::npos) return std::nullopt;
    CrashTime t{};
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::sscanf(line.c_str(), kHeaderFormat, &t[0], &t[1], &t[2], &t[3], &t[4], &t[5]);
#pragma GCC diagnostic pop
    return t;
}

bool get_kernel_reboot_data() {
    copy_crash_source();
    CrashTime recorded = last_recorded_crash();
    bool written = scan_for_new_crash(recorded);
    if (!written && !platform::file_exists(kLatestRebootNormalFile)) {
        write_reboot_line(local_time_now(), "0");
        written = true;
    }
    ovraNvramConfig_set("ra_reboot_flags", "0");
    // The orderly-reboot marker counts for one boot only.
    shell::run(
        shell::compose(kCommandBuffer, "rm -rf %s", shell::constant(kLatestRebootNormalFile)));
    return written;
}

void record_kernel_reboot(Daemon& d) {
    if (!d.loop.first_run) return;
    if (get_kernel_reboot_data()) d.info.kernel_reboot_pending = 1;
}
