// The WAN traffic meter: once per pass the WAN byte counters are sampled, the per-pass
// differences kept in a persistent file, every six passes folded into an hourly line
// of a second file, and once a day's worth of hourly lines has gathered the day's
// volume (MiB) is computed for the router information report.
#pragma once

#include <cstdint>

struct Daemon;

inline constexpr const char* kTrafficPassFile = "/opt/persistent/router-analytics/traffic_min.txt";
inline constexpr const char* kTrafficHourFile = "/opt/persistent/router-analytics/traffic_hour.txt";
inline constexpr const char* kIfconfigFile = "/tmp/ifconfig.txt";

struct TrafficMeter {
    int pass_count = 0;  // passes since the last hourly fold (0..6)
    int hour_count = 0;  // hourly lines since the last daily total
    // The counters are the interface's 32-bit byte counters; differences are plain
    // 32-bit subtraction, so a wrap or an interface reset gives a negative difference
    // that is recorded as it is.
    int32_t last_tx = 0;
    int32_t last_rx = 0;
    int initialized = 0;
    int day_ready = 0;  // 1 in the pass that computed a daily total
    double day_tx = 0;  // MiB of the last completed day; consumed by the report
    double day_rx = 0;
};

// The WAN byte counters of this pass as the text ifconfig printed them (both "0" when
// the WAN protocol and mode give no source).
struct WanCounters {
    uint32_t tx = 0;
    uint32_t rx = 0;
};
WanCounters read_wan_counters();

// One pass of the meter: sample (when nvram wan_status is "up"), record, fold, total.
void update_traffic_meter(Daemon& d);
