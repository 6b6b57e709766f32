// The analytics policy: the schedule table and the settings read from RAE_Policy.json.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

struct Daemon;

inline constexpr const char* kPolicyFile = "/tmp/media/persistent/router-analytics/RAE_Policy.json";

// One report schedule: uptime of the last report, interval, trigger flag.
struct ScheduleRow {
    uint32_t last_update = 0;
    uint32_t interval = 0;
    uint32_t trigger = 0;  // the first-report flag
};

enum ScheduleRowIndex {
    ROW_ROUTER_INFO = 0,
    ROW_ROUTER_CONFIG = 1,
    ROW_HUB_SHARE = 2,
    ROW_KERNEL_REBOOT = 3,
    ROW_MEDIA_DEVICE = 4,
    ROW_WIFI_ANALYTICS = 5,
    ROW_CONNECTED_DEVICES = 6,
    ROW_BANDWIDTH = 7,
    ROW_PIXIE_ACCESS = 8,
    ROW_ACCOUNT_PROFILE = 9,
    ROW_WIFI_EVENT_SEND = 10,
    ROW_INTERNET_BANDWIDTH = 12,
    ROW_USER_OPTION = 14,
    ROW_AVS_ANALYTIC = 15,
};
inline constexpr int kScheduleRows = 74;

// A schedule row whose interval the policy file sets, and the policy key that sets it.
struct PolicyRowKey {
    int row;
    const char* key;
};
// Every such row, in row order.
std::span<const PolicyRowKey> policy_row_keys();

// Interval every row starts from on each load, seconds.
inline constexpr uint32_t kDefaultInterval = 1440;
// Fixed interval of the user option and voice analytics rows, seconds.
inline constexpr uint32_t kDailyInterval = 86400;
// At most this many stop-publish event types are kept.
inline constexpr int kMaxStopPublish = 16;

struct Policy {
    std::array<ScheduleRow, kScheduleRows> rows{};
    int wifi_event_log_level = 2;
    int wifi_event_max_number = 2;
    uint32_t wifi_event_send_interval = 43200;  // seconds
    // The alarm settings below occupy words of rows 17 and 18 in the table's layout,
    // so the fill that starts every load also sets them: cpu_threshold_high
    // (row 17 interval) and memory_utilization_duration (row 18 interval) become 1440
    // on every load, memory_utilization_high (row 18 last_update) becomes 0 on a reset
    // load, and cpu_threshold_duration is not touched by the fill.
    int cpu_threshold_high = 1440;
    int cpu_threshold_duration = 0;
    int memory_utilization_high = 0;
    int memory_utilization_duration = 1440;
    std::array<int, kMaxStopPublish> stop_publish{};
    int stop_publish_count = 0;
    std::string policy_version;
    std::string stage = "prod";  // report_stage
    int stage_class = 1;
    int traffic_update_interval = 24;  // hours
    std::string report_method = "none";
    int daily_update_method = 0;
};

// Reads the policy file into the schedule table and settings. `reset` also zeroes
// every row's last_update. Returns 0.
int load_DRI_interval(Daemon& d, int reset);
// load_DRI_interval's work, telling whether the file was used: true when the document
// was read and applied, false when the defaults stand (the file is missing, cannot be
// read or is not JSON). The policy checker tool asks this.
bool load_policy(Daemon& d, int reset);
// 1 when the policy allows debug-log events from `source`.
int dbgLogsPolicy(const char* source);
// Reads the first "wifiConnectEvent" element of `path` into the Wi-Fi event settings.
void read_wifi_event_rule(Policy& policy, const char* path);
// Applies the nvram overrides of the Wi-Fi event rules.
void merge_wifi_event_rule(Policy& policy);
