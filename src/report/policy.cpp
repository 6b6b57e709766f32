#include "report/policy.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <string>

#include "core/daemon.h"
#include "json/json.h"
#include "platform/fs.h"
#include "platform/platform.h"

namespace {

// atoi as the router's C library computes it: leading blanks, an optional sign,
// decimal digits; anything else ends the number; out-of-range values saturate.
int decimal_value(const char* text) {
    long v = std::strtol(text, nullptr, 10);
    if (v > INT_MAX) return INT_MAX;
    if (v < INT_MIN) return INT_MIN;
    return static_cast<int>(v);
}

// Policy intervals are given in minutes; the table counts seconds in 32-bit words.
uint32_t minutes_to_seconds(const char* text) {
    return static_cast<uint32_t>(int64_t{60} * decimal_value(text));
}

std::string formatted(const char* format, const char* value) {
    char line[512];
    std::snprintf(line, sizeof line, format, value);
    return line;
}

constexpr PolicyRowKey kRowKeys[] = {
    {ROW_ROUTER_INFO, "routerInfo"},
    {ROW_ROUTER_CONFIG, "routerConfig"},
    {ROW_HUB_SHARE, "hubShare"},
    {ROW_KERNEL_REBOOT, "kernelReboot"},
    {ROW_MEDIA_DEVICE, "mediaDevice"},
    {ROW_WIFI_ANALYTICS, "wifiAnalytics"},
    {ROW_CONNECTED_DEVICES, "connectedDeviceDetails"},
    {ROW_BANDWIDTH, "bandwidthInfo"},
    {ROW_PIXIE_ACCESS, "pixieAccess"},
    {ROW_ACCOUNT_PROFILE, "accountProfile"},
    {ROW_INTERNET_BANDWIDTH, "internetBandwidth"},
};

// Start of every load. The table is walked as 74 rows of three words, and the alarm
// settings occupy words of rows 17 and 18 of that walk, so they are given the same
// values the fill writes there.
void init_schedule_table(Policy& p, bool reset) {
    for (ScheduleRow& row : p.rows) {
        row.interval = kDefaultInterval;
        if (reset) row.last_update = 0;
    }
    p.cpu_threshold_high = static_cast<int>(kDefaultInterval);           // row 17 interval
    p.memory_utilization_duration = static_cast<int>(kDefaultInterval);  // row 18 interval
    if (reset) p.memory_utilization_high = 0;                            // row 18 last_update
    p.rows[ROW_USER_OPTION].interval = kDailyInterval;
    p.rows[ROW_AVS_ANALYTIC].interval = kDailyInterval;
    p.wifi_event_log_level = 2;
    p.wifi_event_max_number = 2;
    p.wifi_event_send_interval = 43200;
}

// The policy file's text as the loader reads it (first `size` bytes), printing why
// when it cannot be had.
std::optional<std::string> read_policy_text() {
    std::optional<std::string> text;
    try {
        text = platform::read_file(kPolicyFile);
    } catch (const std::bad_alloc&) {
        platform::append_console(formatted("open %s ok\n", kPolicyFile));
        std::puts("Unable to allocate memory to read DRI file!");
        return std::nullopt;
    }
    if (!text) {
        std::printf("Failed to open %s! Use default!\n", kPolicyFile);
        return std::nullopt;
    }
    platform::append_console(formatted("open %s ok\n", kPolicyFile));
    std::optional<uint64_t> size = platform::file_size(kPolicyFile);
    if (!size) {
        std::puts("stat failed!");
        return std::nullopt;
    }
    if (text->size() > *size) text->resize(*size);
    return text;
}

json::Ptr load_policy_document() {
    std::optional<std::string> text = read_policy_text();
    if (!text) return nullptr;
    std::string error_before;
    json::Ptr doc = json::parse(*text, &error_before);
    if (!doc) std::printf("Not valid JSON string, Error before: [%s]\n", error_before.c_str());
    return doc;
}

// The readers that consult the file on their own say nothing when it is unusable.
json::Ptr parse_file_quietly(const char* path) {
    std::optional<std::string> text = platform::read_file(path);
    if (!text) return nullptr;
    std::optional<uint64_t> size = platform::file_size(path);
    if (!size) return nullptr;
    if (text->size() > *size) text->resize(*size);
    return json::parse(*text);
}

void read_row_intervals(Policy& p, const cJSON* doc) {
    for (const PolicyRowKey& k : kRowKeys)
        if (const char* v = json::get_string(doc, k.key))
            p.rows[static_cast<size_t>(k.row)].interval = minutes_to_seconds(v);
}

// Members of one "wifiConnectEvent" element; each present member sets its setting.
void apply_wifi_event_element(Policy& p, const cJSON* element) {
    if (const char* v = json::get_string(element, "wifiEventLogLevel"))
        p.wifi_event_log_level = decimal_value(v);
    if (const char* v = json::get_string(element, "wifiEventMaxNumber"))
        p.wifi_event_max_number = decimal_value(v);
    if (const char* v = json::get_string(element, "wifiEventSendInterval"))
        p.wifi_event_send_interval = minutes_to_seconds(v);
}

void read_wifi_connect_events(Policy& p, const cJSON* doc) {
    const cJSON* events = json::get(doc, "wifiConnectEvent");
    if (!events) {
        std::puts("Can't get wifiConnectEvent");
        return;
    }
    if (cJSON_GetArraySize(events) < 1) {
        std::puts("array invaild");
        return;
    }
    const cJSON* element = nullptr;
    cJSON_ArrayForEach(element, events) apply_wifi_event_element(p, element);
}

void read_stop_publish_list(Policy& p, const cJSON* doc) {
    const cJSON* list = json::get(doc, "stopPublishEventType");
    if (!cJSON_IsArray(list)) {
        std::printf("\n[%s(%d)] Can't get stopPublishEventType array value \n", "load_DRI_interval",
                    13297);
        return;
    }
    p.stop_publish_count = std::min(cJSON_GetArraySize(list), kMaxStopPublish);
    size_t slot = 0;
    const cJSON* element = nullptr;
    cJSON_ArrayForEach(element, list) {
        if (slot >= static_cast<size_t>(kMaxStopPublish)) break;
        if (cJSON_IsString(element) && element->valuestring) {
            p.stop_publish[slot] = decimal_value(element->valuestring);
            std::printf("stopPublishEventType value:%d\n", p.stop_publish[slot]);
        }
        ++slot;  // a non-string element keeps its slot as it was but still counts
    }
}

void apply_event_log_element(Policy& p, const cJSON* element) {
    if (const char* v = json::get_string(element, "cpuThresholdHigh"))
        p.cpu_threshold_high = decimal_value(v);
    if (const char* v = json::get_string(element, "cpuThresholdDuration"))
        p.cpu_threshold_duration = decimal_value(v);
    if (const char* v = json::get_string(element, "memoryUtilizationsHigh"))
        p.memory_utilization_high = decimal_value(v);
    if (const char* v = json::get_string(element, "memoryUtilizationsDuration"))
        p.memory_utilization_duration = decimal_value(v);
}

void read_event_log_policy(Policy& p, const cJSON* doc) {
    const cJSON* events = json::get(doc, "eventLogPolicy");
    if (!events) {
        std::puts("Can't get eventLogPolicy");
        return;
    }
    if (cJSON_GetArraySize(events) < 1) {
        std::puts("array invaild");
        return;
    }
    const cJSON* element = nullptr;
    cJSON_ArrayForEach(element, events) apply_event_log_element(p, element);
}

void read_policy_version(Policy& p, const cJSON* doc) {
    if (const char* v = json::get_string(doc, "raePolicyVersion")) {
        p.policy_version = v;
        std::printf("policyVersion: %s\n", p.policy_version.c_str());
    }
}

bool is_known_stage(const std::string& stage) {
    return stage == "dev" || stage == "prod" || stage == "beta" || stage == "qa";
}

// nvram RA_stage wins over the policy; the stage class picks the publisher's back
// end. A "qa" stage is honoured only when it comes from nvram.
void choose_stage(Policy& p, const cJSON* doc) {
    std::string forced = ovraNvramConfig_get("RA_stage");
    bool from_nvram = is_known_stage(forced);
    if (from_nvram) {
        p.stage = forced;
    } else if (const char* v = json::get_string(doc, "stage")) {
        p.stage = v;
    } else {
        p.stage = "prod";
    }
    if (p.stage == "prod") {
        p.stage_class = 1;
    } else if (p.stage == "beta" || p.stage == "dev") {
        p.stage_class = 2;
    } else if (from_nvram && p.stage == "qa") {
        p.stage_class = 2;
    } else {
        p.stage_class = 1;
        p.stage = "prod";
    }
    platform::append_console(formatted("awsiot stage: %s\n", p.stage.c_str()));
}

// "trafficMeter" is given in minutes and kept in whole hours, at least 1.
void read_traffic_interval(Policy& p, const cJSON* doc) {
    const char* v = json::get_string(doc, "trafficMeter");
    if (!v) {
        p.traffic_update_interval = 24;
    } else {
        int minutes = decimal_value(v);
        p.traffic_update_interval = minutes >= 60 ? minutes / 60 : 1;
    }
    std::printf("traffic_info.update_interval : %d\n", p.traffic_update_interval);
}

void read_publisher_settings(Policy& p, const cJSON* doc) {
    if (const char* v = json::get_string(doc, "internetBandwidth"))
        p.rows[ROW_INTERNET_BANDWIDTH].interval = minutes_to_seconds(v);
    if (const char* v = json::get_string(doc, "reportMethod")) {
        p.report_method = v;
        std::printf("DRI_update_info.reportMethod : %s\n", p.report_method.c_str());
    }
    const char* daily = json::get_string(doc, "dailyUpdateMethod");
    p.daily_update_method = daily ? decimal_value(daily) : 0;
    std::printf("DRI_update_info.dailyUpdateMethod : %d\n", p.daily_update_method);
}

void apply_policy_document(Policy& p, const cJSON* doc) {
    read_row_intervals(p, doc);
    read_wifi_connect_events(p, doc);
    ovraNvramConfig_set("ra_WifiEventRuleChanged", "2");
    merge_wifi_event_rule(p);
    read_stop_publish_list(p, doc);
    read_event_log_policy(p, doc);
    read_policy_version(p, doc);
    choose_stage(p, doc);
    read_traffic_interval(p, doc);
    read_publisher_settings(p, doc);
}

void print_row(const char* format, const ScheduleRow& row) {
    std::printf(format, static_cast<int>(row.last_update), static_cast<int>(row.interval));
}

void print_policy_summary(const Policy& p) {
    std::puts("DRI update interval:");
    print_row("routerInfo:   last_update: %d, interval: %d\n", p.rows[ROW_ROUTER_INFO]);
    print_row("routerConfig: last_update: %d, interval: %d\n", p.rows[ROW_ROUTER_CONFIG]);
    print_row("hubshare:   last_update: %d, interval: %d\n", p.rows[ROW_HUB_SHARE]);
    print_row("mediaDevice:  last_update: %d, interval: %d\n", p.rows[ROW_MEDIA_DEVICE]);
    print_row("wifiAnalytics:  last_update: %d, interval: %d\n", p.rows[ROW_WIFI_ANALYTICS]);
    print_row("connectedDeviceDetails: last_update: %d, interval: %d\n",
              p.rows[ROW_CONNECTED_DEVICES]);
    std::printf("wifiEventLogLevel: %d\n", p.wifi_event_log_level);
    std::printf("wifiEventMaxNumber: %d\n", p.wifi_event_max_number);
    std::printf("wifiEventSendInterval: %d seconds\n",
                static_cast<int>(p.wifi_event_send_interval));
    std::printf("cpuUtilizations: threshold: %d, duration: %d\n", p.cpu_threshold_high,
                p.cpu_threshold_duration);
    std::printf("memoryUsage: threshold: %d, duration: %d\n", p.memory_utilization_high,
                p.memory_utilization_duration);
}

}  // namespace

std::span<const PolicyRowKey> policy_row_keys() {
    return kRowKeys;
}

bool load_policy(Daemon& d, int reset) {
    Policy& p = d.policy;
    init_schedule_table(p, reset != 0);
    json::Ptr doc = load_policy_document();
    if (doc) apply_policy_document(p, doc.get());
    print_policy_summary(p);
    return doc != nullptr;
}

int load_DRI_interval(Daemon& d, int reset) {
    load_policy(d, reset);
    return 0;
}

int dbgLogsPolicy(const char* source) {
    if (!source) return 0;
    json::Ptr doc = parse_file_quietly(kPolicyFile);
    const cJSON* sources = json::get(doc.get(), "dbgLogsPolicy");
    if (!cJSON_IsObject(sources)) return 0;
    const char* allowed = json::get_string(sources, source);
    return allowed && std::strcmp(allowed, "1") == 0 ? 1 : 0;
}

void read_wifi_event_rule(Policy& p, const char* path) {
    json::Ptr doc = parse_file_quietly(path);
    const cJSON* events = json::get(doc.get(), "wifiConnectEvent");
    const cJSON* first = events ? cJSON_GetArrayItem(events, 0) : nullptr;
    if (!cJSON_IsObject(first)) return;
    apply_wifi_event_element(p, first);
}

void merge_wifi_event_rule(Policy& p) {
    std::string level = ovraNvramConfig_get("ra_WifiEventLogLevel");
    std::string max_number = ovraNvramConfig_get("ra_WifiEventMaxNumber");
    std::string send_interval = ovraNvramConfig_get("ra_WifiEventSendInterval");
    if (!level.empty()) p.wifi_event_log_level = decimal_value(level.c_str());
    if (!max_number.empty()) p.wifi_event_max_number = decimal_value(max_number.c_str());
    if (!send_interval.empty())
        p.wifi_event_send_interval = minutes_to_seconds(send_interval.c_str());
    if (!level.empty() || !max_number.empty() || !send_interval.empty())
        ovraNvramConfig_set("ra_WifiEventRuleChanged", "0");
    if (ovraNvramConfig_match("ra_WifiEventRuleChanged", "1")) {
        read_wifi_event_rule(p, kPolicyFile);
        ovraNvramConfig_set("ra_WifiEventRuleChanged", "2");
        ovraNvramConfig_unset("ra_WifiEventLogLevel");
        ovraNvramConfig_unset("ra_WifiEventMaxNumber");
        ovraNvramConfig_unset("ra_WifiEventSendInterval");
    }
    ovraNvramConfig_set("ra_WifiEventEnable", std::to_string(p.wifi_event_log_level));
}
