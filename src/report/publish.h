// Handing a report file to the publisher, reading its log, retry state and backups.
#pragma once

#include <array>

struct Daemon;

inline constexpr const char* kPublishLog = "/tmp/ra_pub_log.txt";
inline constexpr const char* kBackupDir = "/opt/persistent/router-analytics";
inline constexpr const char* kWifiEventDir = "/tmp/telem_wifi_json_dir";

// Per event type: first and second retry cycle counters and the cycle phase.
struct RetryState {
    int first = 0;
    int second = 0;
    int phase = 0;
};

struct PublishState {
    std::array<RetryState, 7> retry{};
    int first_publish_marker = 0;
};

// A retry of `code` is pending while either of its counters is not 0.
bool retry_pending(const PublishState& p, int code);
// Publishes /tmp/telem_json_dir/telem_<hw>_<code>.json (or, for `wifi_directory`,
// the Wi-Fi event directory), backs it up and accounts for the outcome.
void publish_report(Daemon& d, int code, bool wifi_directory = false);
