#include "core/main_loop.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>
#include <string_view>

#include "core/config.h"
#include "core/connectivity.h"
#include "core/daemon.h"
#include "core/features.h"
#include "core/geo_location.h"
#include "core/identity.h"
#include "core/reboot_records.h"
#include "core/samplers.h"
#include "core/startup.h"
#include "core/traffic_meter.h"
#include "mesh/attached_devices.h"
#include "platform/fs.h"
#include "platform/numbers.h"
#include "platform/platform.h"
#include "platform/shell.h"
#include "report/assembly.h"
#include "report/debug_log.h"
#include "report/event_files.h"
#include "report/policy.h"
#include "report/publish.h"
#include "state/health_alarms.h"
#include "state/usb_reboot.h"

namespace {

constexpr const char* kFunc = "start_telemjson_deamon";
constexpr const char* kFwSignal = "/tmp/telem_signal";
constexpr const char* kFwNotSignal = "/tmp/telem_signal_not_trigger";
constexpr const char* kSsoSignal = "/tmp/telem_sso";
constexpr int kWatchTicks = 120;
constexpr unsigned kTickSeconds = 5;
constexpr int kTestTicksPerPass = 12;

// nvram text as a number, the way the firmware reads it (atoi).
int nvram_int(const char* key) {
    return std::atoi(ovraNvramConfig_get(key).c_str());
}

void choose_first_report_time(Daemon& d) {
    platform::seed_random(static_cast<unsigned>(platform::wall_time()));
    d.loop.init_report_time = platform::random_number() % 79000;
    d.loop.init_report_draw = d.loop.init_report_time;
    int forced = nvram_int("ra_test_init_report_time");
    if (forced > 0) {
        d.loop.init_report_time = forced;
        std::printf("\n[RAE]Randomized init time force to %d secs\n", forced);
    }
}

void announce_first_report_time(Daemon& d) {
    std::string forced = ovraNvramConfig_get("ra_test_init_report_time");
    if (forced.empty()) {
        std::printf("\n[RAE]\n[%s,%d]set init_report_interval to init_random_report_interval\n",
                    kFunc, 201);
        d.loop.init_report_time = d.loop.init_report_draw;
    } else if (std::atoi(forced.c_str()) > 0) {
        d.loop.init_report_time = std::atoi(forced.c_str());
        std::printf("\n[RAE]set init time force to %d secs\n", d.loop.init_report_time);
    }
    std::printf("\n[RAE]Randomized init time is %d secs\n", d.loop.init_report_time);
}

// Whole MiB from kB, rounded half up.
// Whole MiB, rounded, from kB; 64-bit so that every width gives the same text.
std::string mib_text(int64_t kb) {
    return std::to_string((kb + 512) / 1024);
}

// An alarm condition counts once it has held for `minutes`; the timer then starts
// over, so a condition that lasts counts again after each further period. True when
// an alarm was counted by this call.
bool run_alarm_timer(AlarmTimer& timer, bool over, int minutes, int& alarm) {
    if (!over) {
        alarm = 0;
        timer.running = 0;
        return false;
    }
    uint32_t now = sys_uptime();
    if (!timer.running) {
        timer.running = 1;
        timer.start = now;
    } else if (now - timer.start >= static_cast<uint32_t>(minutes) * 60u) {
        alarm = 1;
        timer.start = now;
        return true;
    }
    return false;
}

void take_memory_snapshots(Daemon& d) {
    doSystem("cat /proc/meminfo >/tmp/ra_meminfo.txt");
    doSystem("cat /proc/slabinfo >/tmp/ra_slabinfo.txt");
    doSystem("ps >/tmp/ra_ps.txt");
    if (d.info.memory_alarm == 1) {
        platform::remove_file("/tmp/ra_meminfo.txt");
        platform::remove_file("/tmp/ra_slabinfo.txt");
        platform::remove_file("/tmp/ra_ps.txt");
    }
    doSystem("top -n 1 >/tmp/cputest.txt");
}

void serve_firmware_signals(Daemon& d) {
    if (ovraNvramConfig_get("check_fw_bootup") == "1") {
        // Signals left from before boot are dropped.
        ovraNvramConfig_set("check_fw_bootup", "0");
        platform::remove_file(kFwSignal);
        platform::remove_file(kFwNotSignal);
        return;
    }
    const char* served = nullptr;
    if (platform::file_exists(kFwSignal)) {
        std::printf("%s(%d)receive trigger signal from check_fw\n", kFunc, 512);
        d.loop.trigger_mark = 1;
        d.info.triggeredByFirmwareUpgrade = 1;
        served = kFwSignal;
    } else if (platform::file_exists(kFwNotSignal)) {
        std::printf("%s(%d)receive not-trigger signal from check_fw\n", kFunc, 518);
        d.loop.not_trigger_mark = 1;
        d.info.notTriggeredByFirmwareUpgrade = 1;
        served = kFwNotSignal;
    }
    if (!served) return;
    platform::remove_file(served);
    if (analytics_enabled()) create_device_json(d, 2);
}

void serve_sso_signal(Daemon& d) {
    if (ovraNvramConfig_get("SSO_enable") != "1" || !platform::file_exists(kSsoSignal)) return;
    std::printf("%s(%d)receive trigger signal from SSO\n", kFunc, 530);
    platform::remove_file(kSsoSignal);
    if (!analytics_enabled()) return;
    // The login flow has recorded an event in nvram SSO_event.
    d.info.login_event = 1;
    create_device_json(d, 2);
}

// Test mode: with ra_test_trigger "1" a pass runs about every 65 seconds.
bool test_trigger_ends_watch(Daemon& d) {
    if (ovraNvramConfig_get("ra_test_trigger") == "1") {
        d.loop.test_trigger = 1;
        if (++d.loop.test_tick_count > kTestTicksPerPass) {
            d.loop.test_tick_count = 0;
            return true;
        }
        return false;
    }
    d.loop.test_trigger = 0;
    d.loop.test_tick_count = 0;
    return false;
}

}  // namespace

bool wan_is_up(const Daemon& d) {
    if (ovraNvramConfig_get("wan_status") == "up") return true;
    if (ovraNvramConfig_get("enable_ap_mode") == "1" && d.loop.internet_probe_ok) return true;
    return ovraNvramConfig_get("enable_sta_mode") == "1" && d.loop.internet_probe_ok;
}

void prepare_daemon(Daemon& d) {
    d.info = DevInfo{};
    d.info.model = getHWVersion().substr(0, 31);
    acquire_identity(d);
    detect_features(d);
    choose_first_report_time(d);
    for (auto& row : d.policy.rows) row.trigger = 1;
    d.loop.first_run = platform::file_exists("/tmp/first_kernel_ra") ? 0 : 1;
    std::string probe = std::string("ping -4 -c 2 ") + config::kInternetCheckHost;
    d.loop.internet_probe_ok = doSystem(probe) == 0;
    load_DRI_interval(d, 1);
}

bool sample_memory(Daemon& d) {
    auto lines =
        shell::capture_lines(std::string("cat /proc/meminfo > /tmp/meminfo"), "/tmp/meminfo", 256);
    if (!lines) return false;
    // Each line is read as sscanf("<label> %d kB") would, but the number saturates at
    // the bounds of an int and the sums are formed in 64 bits: the file may hold
    // anything, and no value of it may overflow.
    static constexpr const char* kLabels[5] = {
        "MemTotal:", "MemFree:", "MemAvailable:", "Buffers:", "Cached:"};
    int64_t values[5] = {0, 0, 0, 0, 0};
    for (size_t i = 0; i < 5 && i < lines->size(); ++i) {
        std::string_view line = (*lines)[i];
        std::string_view label = kLabels[i];
        if (line.substr(0, label.size()) == label)
            values[i] = numbers::parse_int(line.substr(label.size()));
    }
    const int64_t total = values[0], free_kb = values[1], buffers = values[3], cached = values[4];
    const int64_t unused = free_kb + buffers + cached;
    if (total > 0) d.info.mem_used_percent = static_cast<double>(total - unused) / total * 100.0;
    d.info.mem_total = mib_text(total);
    d.info.mem_free = mib_text(unused);
    d.info.mem_used = mib_text(total - unused);
    d.info.health.mem_total_kb = std::to_string(total);
    d.info.health.mem_free_kb = std::to_string(unused);
    d.info.health.mem_used_kb = std::to_string(total - unused);
    return run_alarm_timer(d.loop.memory_timer,
                           d.info.mem_used_percent > d.policy.memory_utilization_high,
                           d.policy.memory_utilization_duration, d.info.memory_alarm);
}

bool check_cpu_alarm(Daemon& d) {
    get_cpu_load(d.info.cpu_load);
    return run_alarm_timer(d.loop.cpu_timer, d.info.cpu_load > d.policy.cpu_threshold_high,
                           d.policy.cpu_threshold_duration, d.info.cpu_alarm);
}

void sample_cpu_cores(Daemon& d) {
    double sum = 0;
    for (int core = 0; core < 4; ++core) {
        char file[32];
        std::snprintf(file, sizeof file, "/tmp/cpu%d_usage", core);
        auto line = shell::capture_first_line(
            shell::compose(128, "mpstat -P %d | tail -n 1 | awk '{print 100 -  $ 12}' > %s", core,
                           shell::constant(file)),
            file, 64);
        double value = line ? std::atof(line->c_str()) : 0;
        auto& running = d.info.cpu_core_sum[static_cast<size_t>(core)];
        running += value;
        d.info.health.cpu_core_count[static_cast<size_t>(core)] += 1;
        sum += value;
        std::printf("[telem_json] cpu%d_usage: %f count %f\n", core, value, running);
    }
    ++d.loop.cpu_samples;
    double average = sum / 4;
    int threshold = d.policy.cpu_threshold_high;
    std::string override_text = ovraNvramConfig_get("telem_high_cpu_percent");
    if (!override_text.empty()) threshold = std::atoi(override_text.c_str());
    if (average > threshold) ++d.info.health.high_cpu_count;
    if (average > threshold)
        std::printf("[telem_json] The CPU usage has reached %d%%, current= %.2f count %d\n",
                    threshold, average, d.loop.cpu_samples);
}

void collect_current_info(Daemon& d) {
    get_uptime_text(d.info.uptime_text);
    update_traffic_meter(d);
    sample_memory(d);
    if (d.info.mem_used_percent > d.policy.memory_utilization_high) ++d.info.health.high_mem_count;
    take_memory_snapshots(d);
    check_cpu_alarm(d);
    sample_cpu_cores(d);
    if (!d.info.location_obtained) fetch_geo_location(d);
    d.info.attached.fing_present = platform::file_exists("/usr/bin/fing_dil") ? 1 : 0;
    get_attach_dev(d);
    std::printf("dev_info->attached_wired : %s, dev_info->attached_wireless : %s\n",
                d.info.attached.attached_wired.c_str(), d.info.attached.attached_wireless.c_str());
    std::printf("dev_info->attached_2g : %s, dev_info->attached_5g : %s\n",
                d.info.attached.attached_2g.c_str(), d.info.attached.attached_5g.c_str());
    if (ovraNvramConfig_get("openvpnActive") == "enable")
        d.info.openvpn_clients = get_openvpn_clients();
    if (d.loop.first_pass) {
        record_kernel_reboot(d);
        d.loop.first_pass = 0;
    }
    d.info.netusb_present = get_netusb_present();
    // The USB storage count gates the routine report's "hubShare" part.
    scan_usb_devices(d);
    for (int code : {0, 1, 2, 3, 6}) create_device_json(d, code);
    satNotify();
    soap_api_event();
}

void watch_phase(Daemon& d) {
    for (int tick = 0; tick < kWatchTicks; ++tick) {
        poll_thermal_sensors(d);
        // The alarm report is asked for once, when an alarm is counted.
        bool memory_report_pending = d.info.memory_alarm == 1;
        bool counted = !memory_report_pending && sample_memory(d);
        counted = check_cpu_alarm(d) || counted;
        if (counted) create_device_json(d, 2);
        if (platform::file_exists(kDalEventFile)) create_device_json(d, 6);
        platform::sleep_seconds(kTickSeconds);
        if (test_trigger_ends_watch(d)) return;
        serve_firmware_signals(d);
        serve_sso_signal(d);
    }
}

void supervise_heartbeat() {
    auto out = platform::backend().popen_read("ps | grep 'telem_heartbeat' | grep -v grep");
    if (out && out->find("telem_heartbeat") != std::string::npos) return;
    doSystem("killall telem_heartbeat");
    doSystem("telem_heartbeat &");
}

void run_pass(Daemon& d) {
    announce_first_report_time(d);
    // Test mode and SIGUSR1 make every schedule due for this pass.
    d.loop.force_all = d.loop.test_trigger || g_sigusr1_flag;
    if (!wan_is_up(d)) {
        std::printf("\n[RAE]WAN connection fail, wait 1 min then retry");
    } else {
        std::string enable = ovraNvramConfig_get("RA_enable");
        if (enable == "0")
            create_device_json(d, 1);
        else if (enable == "1")
            collect_current_info(d);
    }
    d.loop.force_all = 0;
    g_sigusr1_flag = 0;

    if (any_retry_pending(d.publish)) {
        std::printf("%s(%d)retry sleep 20 seconds\n", kFunc, 612);
        platform::sleep_seconds(20);
        return;
    }
    if (!any_backing_off(d.publish)) {
        watch_phase(d);
        supervise_heartbeat();
        if (analytics_enabled()) check_internet_and_gateway(d);
        return;
    }
    backoff_tick(d);
    std::printf("\n[RAE]*** Wait 60 min for retry again  ***");
    platform::sleep_seconds(600);
    if (analytics_enabled()) check_internet_and_gateway(d);
}

void start_telemjson_deamon(Daemon& d) {
    daemon_startup_steps(d);
    prepare_daemon(d);
    for (;;) run_pass(d);
}
