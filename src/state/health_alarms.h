// Health monitoring: the thermal sensor table with its over-temperature-protection
// (OTP) trigger statistics, the reading of each sensor, and the CPU and memory alarm
// bodies of the alarm report.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "json/json.h"

struct Daemon;

// One sensor of the thermal table.
struct ThermalSensor {
    std::string interface;  // "wifi0".. for a radio, "onboard" for the board (15 chars)
    std::string name;       // reported name: prefix + interface, or "onboard-flash1" (31)
    int highest = 999;      // temperatures seen while triggered; 999 means unset
    int lowest = 999;
    int enable = 0;
    int trigger_status = 0;  // 0 not triggered, 1 triggered, 2 unknown
    uint32_t trigger_count = 0;
    uint32_t longest_duration = 0;  // minutes
    uint32_t current_duration = 0;  // minutes
    uint32_t episode_start = 0;     // uptime when the running episode's minute began; 0: none
    uint8_t wifi = 0;               // 1: read with thermaltool, 0: the on-board sensor
};

// The thermal table, made once for the model; `made` tells whether it was.
struct ThermalTable {
    std::vector<ThermalSensor> sensors;
    bool made = false;
};

// What one reading of a sensor gives.
struct ThermalReading {
    int enable = 0;
    int temperature = 0;
    int triggered = 0;
};

// Figures the alarm bodies and the router information report share, kept beside the
// main loop's own memory and CPU figures.
struct HealthState {
    ThermalTable thermal;
    // /proc/meminfo figures of the last memory sample, kB as read.
    std::string mem_total_kb;
    std::string mem_free_kb;  // free + buffers + cached
    std::string mem_used_kb;
    std::array<double, 4> cpu_core_count{};  // per-core samples since the last report
    uint32_t high_cpu_count = 0;             // passes whose CPU average was above threshold
    uint32_t high_mem_count = 0;             // passes whose memory use was above threshold
};

// Number of thermal sensors of the model (`hwver` and model index).
int thermal_sensor_count(const std::string& hwver, int model_index);
// Platform prefix of a radio sensor's name for `interface` on the model index.
const char* thermal_name_prefix(int model_index, const std::string& interface);
// Fills the table for the current model, once; later calls do nothing.
void ensure_thermal_table(Daemon& d);

// Reads sensor `index` into `result`: false (result untouched from that point on) when
// an output file could not be opened. Also keeps the sensor's nvram extremes.
bool read_thermalStatusFromCmd(Daemon& d, ThermalReading& result, int index);
// One sampling step of sensor `index`.
void update_thermal_sensor(Daemon& d, int index);
// The watch phase's thermal poll: one step for every sensor of the table.
void poll_thermal_sensors(Daemon& d);
// After the routine report reached the cloud: the radio's temperature statistics start
// over (the radio whose sensor reads interface "wifi<radio>").
void clear_radio_temperature_statistics(Daemon& d, int radio);

// Bodies of the alarm report.
json::Ptr create_memory_alarm_obj(Daemon& d);
json::Ptr create_cpu_alarm_obj(Daemon& d);

// Lines of `path` read in pieces of at most 127 bytes, appended while the total stays
// under `limit` bytes; the first piece that would reach it and all after it are
// dropped. A missing file gives "".
std::string read_log_below(const char* path, size_t limit);
