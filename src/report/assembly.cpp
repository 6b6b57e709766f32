#include "report/assembly.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "core/daemon.h"
#include "core/samplers.h"
#include "platform/fs.h"
#include "platform/platform.h"
#include "platform/shell.h"
#include "report/envelope.h"
#include "report/event_files.h"
#include "report/publish.h"
#include "report/report_files.h"
#include "report/wifi_events.h"
#include "state/cable_modem.h"

namespace {

constexpr const char* kCpuAlarmMark = "/tmp/ra_cpu_alarm";
constexpr const char* kMemoryAlarmMark = "/tmp/ra_memory_alarm";
constexpr const char* kWifiCronScript = "/qrvx/crond_wifira.sh";

// The schedule of one report part. Comparisons are on unsigned 32-bit seconds, so an
// uptime that wrapped still measures the elapsed time correctly.
struct Due {
    uint32_t now;
    uint32_t first_delay;
    bool force;
};

// How a report part reads its row. Most parts use every clause; the kernel reboot
// report ignores the interval, the user option report ignores the force flag, and some
// parts let an nvram switch stand in for the interval.
struct RowRule {
    bool interval_counts = true;
    bool interval_passes = false;
    bool force_counts = true;
};

bool row_due(const ScheduleRow& row, const Due& due, RowRule rule = {}) {
    uint32_t elapsed = due.now - row.last_update;
    bool interval_done = rule.interval_counts && (row.interval < elapsed || rule.interval_passes);
    return row.last_update == 0 || (interval_done && row.trigger == 0) ||
           (due.first_delay < elapsed && row.trigger == 1) || (rule.force_counts && due.force);
}

// A report sent under the first-report rule is remembered for the publisher.
void clear_first_report_flag(Daemon& d, ScheduleRow& row) {
    if (row.trigger == 1) {
        d.publish.first_publish_marker = 1;
        row.trigger = 0;
    }
}

// Records that a body went out under `row`.
void mark_sent(Daemon& d, ScheduleRow& row, uint32_t now) {
    row.last_update = now;
    clear_first_report_flag(d, row);
}

json::Ptr build(Daemon& d, const BodyBuilder& builder) {
    if (!builder) return nullptr;
    return builder(d);
}

// Adds a routine-report body; without analytics consent the body is dropped and the
// report goes out with its header alone.
void add_routine_body(cJSON* root, const char* name, json::Ptr body) {
    if (analytics_enabled()) json::add(root, name, std::move(body));
}

// Firmware check of the VRE650 before its routine report; see the daily-check hook.
void daily_firmware_check(Daemon&) {}

// The cable modem's address is read before the first routine report.
void read_cable_modem_address(Daemon& d) {
    get_cablemodem_mac(d);
}

bool build_routine_report(Daemon& d, cJSON* root, const Due& due) {
    auto& rows = d.policy.rows;
    bool any = false;

    ScheduleRow& info_row = rows[ROW_ROUTER_INFO];
    if (row_due(info_row, due)) {
        if (ovraNvramConfig_get("hwver") == "VRE650") daily_firmware_check(d);
        if (info_row.trigger == 1) read_cable_modem_address(d);
        json::Ptr info = build(d, d.bodies.routerInfo);
        json::Ptr wifi = build(d, d.bodies.wifiConfig);
        // The satellite report records the all-SSID clone state in the router
        // information built just before it.
        d.routine_router_info = info.get();
        json::Ptr sats = build(d, d.bodies.SatelliteInfo);
        d.routine_router_info = nullptr;
        bool built = info || wifi || sats;
        add_routine_body(root, "routerInfo", std::move(info));
        add_routine_body(root, "wifiConfig", std::move(wifi));
        add_routine_body(root, "SatelliteInfo", std::move(sats));
        if (built) {
            std::printf("DRI_update_info.router_info.first_report:%d\n", info_row.trigger);
            mark_sent(d, info_row, due.now);
            any = true;
        }
    }

    auto part = [&](int row_index, const char* name, const BodyBuilder& builder,
                    RowRule rule = {}) {
        ScheduleRow& row = rows[static_cast<size_t>(row_index)];
        if (!row_due(row, due, rule)) return;
        json::Ptr body = build(d, builder);
        if (!body) return;
        add_routine_body(root, name, std::move(body));
        mark_sent(d, row, due.now);
        any = true;
    };
    part(ROW_ROUTER_CONFIG, "routerConfig", d.bodies.routerConfig);
    if (d.info.usb_storage_present) part(ROW_HUB_SHARE, "hubShare", d.bodies.hubShare);
    if (d.bodies.connectedDeviceDetails) {
        // The size rule of the routine report works on this many table entries.
        d.reduction.report_device_count = d.info.attached.num_entry;
    }
    part(ROW_CONNECTED_DEVICES, "connectedDeviceDetails", d.bodies.connectedDeviceDetails);
    part(ROW_AVS_ANALYTIC, "avsAnalytic", d.bodies.avsAnalytic,
         RowRule{.interval_passes = ovraNvramConfig_get("RA_voice_report") == "0"});
    return any;
}

bool build_kernel_reboot_report(Daemon& d, cJSON* root, const Due& due) {
    ScheduleRow& row = d.policy.rows[ROW_KERNEL_REBOOT];
    if (!row_due(row, due, RowRule{.interval_counts = false}) || !d.info.kernel_reboot_pending)
        return false;
    json::Ptr body = build(d, d.bodies.kernelReboot);
    if (!body) return false;
    json::add(root, "kernelReboot", std::move(body));
    clear_first_report_flag(d, row);
    doSystem("touch /tmp/first_kernel_ra");
    return true;
}

// One alarm is reported once: the mark file stays until somebody removes it.
bool add_alarm(Daemon& d, cJSON* root, int alarm, const char* mark, const char* name,
               const BodyBuilder& builder) {
    if (!alarm || platform::file_exists(mark)) return false;
    json::Ptr body = build(d, builder);
    if (!body) return false;
    json::add(root, name, std::move(body));
    _eval({"echo", "1"}, mark, 0, nullptr);
    return true;
}

bool build_event_report(Daemon& d, cJSON* root) {
    bool any = false;
    any |= add_alarm(d, root, d.info.cpu_alarm, kCpuAlarmMark, "cpuUtilizations",
                     d.bodies.cpuUtilizations);
    any |= add_alarm(d, root, d.info.memory_alarm, kMemoryAlarmMark, "memoryUsage",
                     d.bodies.memoryUsage);
    std::printf(
        "[%s,%d] dev_info->triggeredByFirmwareUpgrade:%d, "
        "dev_info->notTriggeredByFirmwareUpgrade:%d\n",
        "create_device_json", 12195, d.info.triggeredByFirmwareUpgrade,
        d.info.notTriggeredByFirmwareUpgrade);
    if (d.info.triggeredByFirmwareUpgrade == 1 || d.info.notTriggeredByFirmwareUpgrade == 1) {
        json::Ptr body = build(d, d.bodies.firmwareUpgradeAnalytics);
        if (body) {
            json::add(root, "firmwareUpgradeAnalytics", std::move(body));
            any = true;
        }
        d.info.triggeredByFirmwareUpgrade = 0;
        d.info.notTriggeredByFirmwareUpgrade = 0;
    }
    if (d.info.login_event == 1) {
        json::Ptr body = build(d, d.bodies.ssorapLoginEvent);
        if (body) {
            json::add(root, "ssorapLoginEvent", std::move(body));
            any = true;
        }
        d.info.login_event = 0;
    }
    return any;
}

// The Wi-Fi analytics schedule (row 5) rides on the Wi-Fi event report: it starts the
// router's Wi-Fi collection script, asks the satellites for theirs, and adds the
// router's own "wifiAnalytics" to the report. True when that body was added.
bool run_wifi_analytics_schedule(Daemon& d, cJSON* root, const Due& due) {
    ScheduleRow& row = d.policy.rows[ROW_WIFI_ANALYTICS];
    if (!row_due(row, due)) return false;
    row.last_update = due.now;
    row.trigger = 0;
    if (platform::file_exists(kWifiCronScript)) doSystem("/bin/sh /qrvx/crond_wifira.sh &");
    if (std::atoi(ovraNvramConfig_get("soapc_sat_access_count").c_str()) > 0) {
        hook_soapc(1063);
        platform::sleep_seconds(3);
    }
    json::Ptr body = build(d, d.bodies.wifiAnalytics);
    if (!body) return false;
    json::add(root, "wifiAnalytics", std::move(body));
    return true;
}

// Event type 6: the DAL event file's second member becomes the body. The file is
// removed after every attempt, usable or not.
bool build_dal_report(Daemon& d, cJSON* root) {
    if (!platform::file_exists(kDalEventFile)) return false;
    bool any = false;
    EventMember event = read_dal_event_member(2);
    if (event && event.name()) {
        std::string name(event.name(), 0, 63);
        json::Ptr body = event.take();
        if (body) {
            if (d.info.install_event && d.bodies.installEvent) d.bodies.installEvent(d, body.get());
            json::add(root, name.c_str(), std::move(body));
            any = true;
        }
    }
    platform::remove_file(kDalEventFile);
    return any;
}

bool build_user_option_report(Daemon& d, Due due) {
    if (!analytics_enabled()) due.now = sys_uptime();
    ScheduleRow& row = d.policy.rows[ROW_USER_OPTION];
    RowRule rule{.interval_passes = ovraNvramConfig_get("RA_useroption_report") == "0",
                 .force_counts = false};
    if (!row_due(row, due, rule)) return false;
    row.last_update = due.now;
    if (d.loop.suppress_user_option) {
        d.loop.suppress_user_option = 0;
        return false;
    }
    clear_first_report_flag(d, row);
    return true;
}

// The analytics enable and region check.
bool publishing_gate(Daemon& d, int code) {
    if (!analytics_enabled()) return true;
    std::string sku = ovraNvramConfig_get("sku_name");
    bool refuse =
        sku == "PR" || ((sku == "GR" || sku == "WW") && ovraNvramConfig_get("blank_state") == "1");
    if (!refuse) return true;
    if (sku == "PR" && code == 2 && d.publish.first_publish_marker) {
        d.publish.first_publish_marker = 0;
        std::printf("\n[RAE]Don't publish for PR SKU");
    }
    return false;
}

}  // namespace

bool analytics_enabled() {
    return ovraNvramConfig_get("RA_enable") == "1";
}

int check_stop_publish_event_type(Daemon& d, int code) {
    int count = d.policy.stop_publish_count;
    if (count > 16) count = 16;
    for (int i = 0; i < count; ++i) {
        if (d.policy.stop_publish[static_cast<size_t>(i)] == code) {
            std::printf("\n[telem_json][%s(%d)]stop send event type %d event. \n",
                        "check_stop_publish_event_type", 997, code);
            return 1;
        }
    }
    return 0;
}

int create_device_json(Daemon& d, int code) {
    if (code < 0 || code > 6) return 0;
    Due due{sys_uptime(), static_cast<uint32_t>(d.loop.init_report_time), d.loop.force_all != 0};
    get_uptime_text(d.info.uptime_text);

    json::Ptr root;
    bool wifi_batch = false;
    bool wifi_body = false;
    if (!retry_pending(d.publish, code)) {
        root = json::object();
        if (!root) {
            json::report_no_memory();
            return -1;
        }
        int event_type = code;
        json::add(root, "routerHardware", create_router_hardware_obj(d, code, &event_type));
        bool send = false;
        switch (code) {
            case 0:
                send = build_kernel_reboot_report(d, root.get(), due);
                break;
            case 1:
                send = build_routine_report(d, root.get(), due);
                break;
            case 2:
                send = build_event_report(d, root.get());
                break;
            case 3:
                if (ovraNvramConfig_exist("ra_WifiEventEnable") &&
                    ovraNvramConfig_get("ra_WifiEventEnable") == "0")
                    return 0;
                {
                    WifiBatch batch = collect_wifi_event_batch(d, root.get(), due.now,
                                                               due.first_delay, due.force);
                    bool analytics = run_wifi_analytics_schedule(d, root.get(), due);
                    send = batch.due || analytics;
                    wifi_body = batch.body || analytics;
                    break;
                }
            case 4:
                send = build_user_option_report(d, due);
                break;
            case 6:
                send = build_dal_report(d, root.get());
                break;
            default:
                break;  // reserved: nothing is published
        }
        if (!send) return 0;
        wifi_batch = code == 3;
    } else if (code == 3) {
        wifi_batch = true;
    }

    if (!publishing_gate(d, code)) return 0;
    if (check_stop_publish_event_type(d, code)) return 0;

    int rc = write_report(d, root, code);
    if (rc != 0) return rc;
    if (wifi_batch) {
        if (!queue_wifi_event_report(d, wifi_body)) return 0;
        publish_report(d, 3, true);
        return 0;
    }
    publish_report(d, code);
    return 0;
}
