// The persistent reboot and crash records: on the first pass after the daemon starts,
// decide whether the last reboot was a kernel crash and keep the latest reboot, a
// short reboot history and a copy of the crash log already accounted for. The kernel
// reboot report publishes them.
#pragma once

#include <array>
#include <optional>
#include <string>

struct Daemon;

inline constexpr const char* kPanicRebootFile =
    "/opt/persistent/router-analytics/RA_panic_reboot.txt";
inline constexpr const char* kLatestCrashLogFile =
    "/opt/persistent/router-analytics/latest_crash_log.txt";
inline constexpr const char* kLatestRebootDataFile =
    "/opt/persistent/router-analytics/latest_reboot_data.txt";
inline constexpr const char* kRebootByUserFile =
    "/opt/persistent/router-analytics/reboot_by_user.txt";
inline constexpr const char* kLatestRebootNormalFile =
    "/opt/persistent/router-analytics/latest_reboot_normal.txt";
inline constexpr const char* kKernelCrashLogCopy = "/tmp/kernel_crash_log.txt";

// Year, month, day, hour, minute, second.
using CrashTime = std::array<int, 6>;

// The six values of a crash log header line, when the line contains
// "Kernel crash log"; values the header format cannot read stay 0.
std::optional<CrashTime> parse_crash_header(const std::string& line);

// Records this boot's reboot (a new kernel crash with reason 1, otherwise an
// unexplained reboot with reason 0 unless the orderly-reboot marker is present),
// resets nvram ra_reboot_flags and removes the marker. Returns true when a reboot line
// was written.
bool get_kernel_reboot_data();

// The first-pass step of the main loop: records the reboot once per boot (a daemon
// restarted after the boot's kernel reboot report went out leaves the records alone)
// and marks the kernel reboot report pending when a reboot line was written.
void record_kernel_reboot(Daemon& d);
