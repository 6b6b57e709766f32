// Handing a report file to the publisher, reading its log, retry state and backups.
//
// The policy's report method picks the publisher: "IoT" runs awsiotpub (topic
// "analytics/"), "MCS" runs mcs_publish, anything else publishes nothing. The
// publisher's exit status means nothing; its log /tmp/ra_pub_log.txt decides.
//
// Retry state, per event type code 0..6 (RetryState below), and how the main loop
// sees it:
//   - the loop's 14 retry-pending flags are the two counters of each code:
//       flag 2*code     <-> retry[code].first  != 0  (first cycle)
//       flag 2*code + 1 <-> retry[code].second != 0  (second cycle)
//     While either is set, create_device_json republishes instead of rebuilding and
//     the loop waits 20 seconds between passes (any_retry_pending).
//   - the loop's 7 backing-off flags are the phases: retry[code].phase == 1 means the
//     first cycle of three re-sends is used up (any_backing_off). Each has its wait
//     counter d.loop.backoff_wait[code]; backoff_tick() adds 1 per 10-minute wait and
//     at 6 (an hour) sets retry[code].second to 1, the paired retry-pending flag, and
//     resets the wait counter.
// A successful upload clears the whole retry state of its code, wait counter included.
#pragma once

#include <array>
#include <string_view>

struct Daemon;

inline constexpr const char* kPublishLog = "/tmp/ra_pub_log.txt";
inline constexpr const char* kBackupDir = "/opt/persistent/router-analytics";
inline constexpr const char* kWifiEventDir = "/tmp/telem_wifi_json_dir";
inline constexpr int kEventCodes = 7;
inline constexpr int kBackoffWaitsBeforeRetry = 6;

// Per event type: first and second retry cycle counters and the cycle phase.
struct RetryState {
    int first = 0;
    int second = 0;
    int phase = 0;
};

struct PublishState {
    std::array<RetryState, kEventCodes> retry{};
    int first_publish_marker = 0;
};

// A retry of `code` is pending while either of its counters is not 0.
bool retry_pending(const PublishState& p, int code);
// Publishes /tmp/telem_json_dir/telem_<hw>_<code>.json (or, for `wifi_directory`,
// the Wi-Fi event directory), backs it up and accounts for the outcome. A command
// line refused for an unsafe publisher directory or MAC address runs nothing and
// records nothing.
void publish_report(Daemon& d, int code, bool wifi_directory = false);

// Main-loop view (mapping above): any of the 14 retry-pending flags set.
bool any_retry_pending(const PublishState& p);
// Any of the 7 backing-off flags set.
bool any_backing_off(const PublishState& p);
// One 10-minute back-off wait has passed.
void backoff_tick(Daemon& d);

// Deletes every entry of `dir` except "." and ".." (paths "%s/%s" of at most 383
// characters). -1, with "Failed to open directory" and the system error text, when
// the directory cannot be opened.
int purge_directory(std::string_view dir);
