#include "state/health_alarms.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "core/daemon.h"
#include "platform/fs.h"
#include "platform/model.h"
#include "platform/platform.h"
#include "platform/shell.h"

namespace {

constexpr const char* kReadFunc = "read_thermalStatusFromCmd";
constexpr const char* kThermaltoolFile = "/tmp/telem_thermaltool_get_wifi";
constexpr const char* kThermalctrlFile = "/tmp/telem_thermalctrl_get_temp";
constexpr const char* kThermalctrlCommand =
    "/sbin/thermalctrl get temp > /tmp/telem_thermalctrl_get_temp";
constexpr const char* kOtpLog = "/tmp/OTP_result.log";
constexpr size_t kToolLine = 256;
constexpr size_t kNameMax = 15;
constexpr int kUnsetTemperature = 999;
constexpr uint32_t kMinute = 60;
constexpr size_t kMemoryLogLimit = 10240;
constexpr size_t kTopLogLimit = 8192;
constexpr size_t kLogPiece = 128;  // 127 bytes and the terminator

int atoi_text(const std::string& text) {
    return std::atoi(text.c_str());
}

std::string otp_key(const std::string& name, const char* which) {
    char key[96];
    std::snprintf(key, sizeof key, "ra_otp_%.63s_%s", name.c_str(), which);
    return key;
}

// Highest temperature a model stores: its sensor reads above the protection point.
int capped(int temperature) {
    if (get_model_index() == 1 && temperature > 102) return 102;
    if (ovraNvramConfig_get("hwver") == "VRA310" && temperature > 98) return 98;
    return temperature;
}

// The sensor's extremes kept in nvram; the capped highest is what the reading returns.
void keep_extremes(const std::string& name, ThermalReading& result) {
    if (result.temperature < 1) return;
    std::string high_key = otp_key(name, "highestTemp");
    std::string low_key = otp_key(name, "lowestTemp");
    int highest = atoi_text(ovraNvramConfig_get(high_key));
    int lowest = atoi_text(ovraNvramConfig_get(low_key));
    if (highest != 0 && lowest != 0) {
        if (highest < result.temperature) {
            result.temperature = capped(result.temperature);
            ovraNvramConfig_set(high_key, std::to_string(result.temperature));
        } else if (lowest > result.temperature) {
            ovraNvramConfig_set(low_key, std::to_string(result.temperature));
        }
        return;
    }
    ovraNvramConfig_set(high_key, std::to_string(result.temperature));
    ovraNvramConfig_set(low_key, std::to_string(result.temperature));
}

void report_open_failure(int line, const std::string& command) {
    std::fprintf(stderr, "%s(%d) fopen failed command=[%s]\n", kReadFunc, line, command.c_str());
}

bool read_radio(const ThermalSensor& sensor, ThermalReading& result) {
    auto command =
        shell::compose(128, "/usr/sbin/thermaltool -i %s -get > %s",
                       shell::ifname(sensor.interface), shell::constant(kThermaltoolFile));
    shell::run(command);
    auto lines = platform::read_lines(kThermaltoolFile, kToolLine);
    if (!lines) {
        report_open_failure(171, command.value_or(""));
        return false;
    }
    for (const auto& line : *lines) {
        int dc = 0, dc_per_event = 0;
        if (line.find("enable:") != std::string::npos)
            std::sscanf(line.c_str(), "  enable: %d, dc: %d, dc_per_event: %d\n", &result.enable,
                        &dc, &dc_per_event);
        if (line.find("sensor temperature:") != std::string::npos)
            std::sscanf(line.c_str(), "  sensor temperature: %d, current level: %d\n",
                        &result.temperature, &result.triggered);
    }
    platform::remove_file(kThermaltoolFile);
    return true;
}

bool read_onboard(ThermalReading& result) {
    doSystem(kThermalctrlCommand);
    auto lines = platform::read_lines(kThermalctrlFile, kToolLine);
    if (!lines) {
        report_open_failure(196, kThermalctrlCommand);
        return false;
    }
    for (const auto& line : *lines)
        if (line.find("temp =") != std::string::npos)
            std::sscanf(line.c_str(), "temp = %d\n", &result.temperature);
    platform::remove_file(kThermalctrlFile);
    auto otp = platform::read_lines(kOtpLog, kToolLine);
    if (!otp) {
        std::fprintf(stderr, "%s(%d) fopen failed command=[/tmp/OTP_result.log]\n", kReadFunc, 210);
        return false;
    }
    result.triggered = 0;
    for (const auto& line : *otp)
        if (line.find("on") != std::string::npos) result.triggered = 1;
    result.enable = 1;
    return true;
}

ThermalSensor make_sensor(const std::string& interface, int model_index) {
    ThermalSensor s;
    s.interface = interface;
    if (interface == "onboard") {
        s.name = "onboard-flash1";
        s.wifi = 0;
    } else {
        s.name = (std::string(thermal_name_prefix(model_index, interface)) + interface)
                     .substr(0, kNameMax);
        s.wifi = 1;
    }
    return s;
}

// A model has an on-board sensor when its count goes beyond its radios ("VRE660": the
// board and four radios) or when its one sensor is the board's.
bool has_onboard_sensor(const std::string& hwver, int count) {
    return hwver == "VRE660" || count == 1;
}

// Extremes seen while triggered: a temperature not below the highest replaces it, else
// one below the lowest replaces that; an unset pair takes the temperature.
void track_triggered_extremes(ThermalSensor& s, int temperature) {
    if (s.highest != kUnsetTemperature && s.lowest != kUnsetTemperature) {
        if (temperature >= s.highest)
            s.highest = temperature;
        else if (temperature < s.lowest)
            s.lowest = temperature;
        return;
    }
    s.highest = temperature;
    s.lowest = temperature;
}

// One-minute accounting of a trigger episode.
void count_episode(ThermalSensor& s) {
    uint32_t now = sys_uptime();
    if (s.episode_start == 0) {
        s.episode_start = now;
        ++s.trigger_count;
        return;
    }
    if (s.current_duration > s.longest_duration) s.longest_duration = s.current_duration;
    if (now - s.episode_start >= kMinute) {
        ++s.current_duration;
        s.episode_start = now;
    }
}

// Builds one alarm body: the reason object and the figures object, in this order.
json::Ptr alarm_body(const char* alarm_name, const char* reason, const char* info_name,
                     json::Ptr info) {
    json::Ptr body = json::object();
    json::Ptr alarm = json::object();
    if (!body || !alarm || !info) {
        json::report_no_memory();
        return nullptr;
    }
    json::add_string(alarm.get(), "alarmReason", reason);
    json::add(body, alarm_name, std::move(alarm));
    json::add(body, info_name, std::move(info));
    return body;
}

std::string percent_text(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f%%", value);
    return text;
}

std::string int_percent_text(int value) {
    char text[16];
    std::snprintf(text, sizeof text, "%d%%", value);
    return text;
}

}  // namespace

int thermal_sensor_count(const std::string& hwver, int model_index) {
    if (hwver == "VRB540" || hwver == "VRB530") return 2;
    if (model_index == 4) return 2;
    if (hwver == "VRE650") return 4;
    if (hwver == "VRE660") return 5;
    if (model_index == 3 || model_index == 5) return 3;
    return 1;
}

const char* thermal_name_prefix(int model_index, const std::string& interface) {
    bool first_radio = interface == "wifi0";
    switch (model_index) {
        case 0:
            return "oak-";
        case 1:
            return "hev2-";
        case 2:
            return first_radio ? "alder-" : "waikiki-";
        case 3:
            return first_radio ? "miami-" : "waikiki-";
        case 4:
        case 5:
            return first_radio ? "miami-" : "pebble-";
        default:
            return "unknown-";
    }
}

void ensure_thermal_table(Daemon& d) {
    ThermalTable& table = d.info.health.thermal;
    if (table.made) return;
    std::string hwver = ovraNvramConfig_get("hwver");
    int model = get_model_index();
    int count = thermal_sensor_count(hwver, model);
    table.sensors.clear();
    int radios = count;
    if (has_onboard_sensor(hwver, count)) {
        table.sensors.push_back(make_sensor("onboard", model));
        --radios;
    }
    for (int r = 0; r < radios; ++r)
        table.sensors.push_back(make_sensor("wifi" + std::to_string(r), model));
    table.made = true;
}

bool read_thermalStatusFromCmd(Daemon& d, ThermalReading& result, int index) {
    ensure_thermal_table(d);
    auto& sensors = d.info.health.thermal.sensors;
    if (index < 0 || static_cast<size_t>(index) >= sensors.size()) return false;
    const ThermalSensor& sensor = sensors[static_cast<size_t>(index)];
    bool read = sensor.wifi ? read_radio(sensor, result) : read_onboard(result);
    if (!read) return false;
    keep_extremes(sensor.name, result);
    return true;
}

void update_thermal_sensor(Daemon& d, int index) {
    ThermalReading reading;
    // A sensor that could not be read keeps its previous statistics.
    if (!read_thermalStatusFromCmd(d, reading, index)) return;
    ThermalSensor& s = d.info.health.thermal.sensors[static_cast<size_t>(index)];
    s.enable = reading.enable;
    if (s.enable != 1) {
        s.highest = kUnsetTemperature;
        s.lowest = kUnsetTemperature;
        s.trigger_status = 0;
        s.episode_start = 0;
        return;
    }
    if (reading.triggered) {
        s.trigger_status = 1;
        track_triggered_extremes(s, reading.temperature);
        count_episode(s);
        return;
    }
    s.trigger_status = 0;
    s.current_duration = 0;
    s.episode_start = 0;
}

void poll_thermal_sensors(Daemon& d) {
    ensure_thermal_table(d);
    const int count = static_cast<int>(d.info.health.thermal.sensors.size());
    for (int i = 0; i < count; ++i) update_thermal_sensor(d, i);
}

void clear_radio_temperature_statistics(Daemon& d, int radio) {
    std::string interface = "wifi" + std::to_string(radio);
    for (auto& s : d.info.health.thermal.sensors) {
        if (s.interface != interface) continue;
        s.highest = kUnsetTemperature;
        s.lowest = kUnsetTemperature;
    }
}

std::string read_log_below(const char* path, size_t limit) {
    std::string text;
    auto pieces = platform::read_lines(path, kLogPiece);
    if (!pieces) return text;
    for (const auto& piece : *pieces) {
        if (text.size() + piece.size() >= limit) break;
        text += piece;
    }
    return text;
}

json::Ptr create_memory_alarm_obj(Daemon& d) {
    const HealthState& h = d.info.health;
    json::Ptr info = json::object();
    if (info) {
        json::add_number(info.get(), "memoryTotal", atoi_text(h.mem_total_kb));
        json::add_number(info.get(), "memoryFree", atoi_text(h.mem_free_kb));
        json::add_number(info.get(), "memoryUsed", atoi_text(h.mem_used_kb));
        json::add_string(info.get(), "memoryUtilization",
                         percent_text(static_cast<float>(d.info.mem_used_percent)));
        json::add_string(info.get(), "memoryThreshold",
                         int_percent_text(d.policy.memory_utilization_high));
        json::add_string(info.get(), "meminfoLog",
                         read_log_below("/tmp/ra_meminfo.txt", kMemoryLogLimit));
        json::add_string(info.get(), "slabinfoLog",
                         read_log_below("/tmp/ra_slabinfo.txt", kMemoryLogLimit));
        json::add_string(info.get(), "psLog", read_log_below("/tmp/ra_ps.txt", kMemoryLogLimit));
    }
    return alarm_body("memoryUtilizationsAlarm", "Router's memory utilizations are too high",
                      "memoryInfo", std::move(info));
}

json::Ptr create_cpu_alarm_obj(Daemon& d) {
    json::Ptr info = json::object();
    if (info) {
        json::add_string(info.get(), "cpuUtilizationsCurrent", percent_text(d.info.cpu_load));
        json::add_string(info.get(), "cpuUtilizationsThresholdHigh",
                         int_percent_text(d.policy.cpu_threshold_high));
        json::add_string(info.get(), "topLog", read_log_below("/tmp/cputest.txt", kTopLogLimit));
    }
    return alarm_body("cpuUtilizationsAlarm", "Router's CPU utilizations exceeded threshold",
                      "cpuInfo", std::move(info));
}
