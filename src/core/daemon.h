// The daemon's process-wide state: the collection record (`dev_info`) and the named
// state structs of the report pipeline and the main loop. A test builds a fresh
// daemon with `Daemon d;`.
//
// Each area keeps its own block of fields below; a collector writes only the fields
// of its own block and reads the others.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "core/traffic_meter.h"
#include "json/json.h"
#include "mesh/attached_devices.h"
#include "mesh/satellites.h"
#include "platform/model.h"
#include "report/bodies.h"
#include "report/policy.h"
#include "report/publish.h"
#include "report/report_files.h"
#include "state/router_config.h"
#include "state/cable_modem.h"
#include "state/health_alarms.h"
#include "state/router_info.h"
#include "state/usb_reboot.h"

// Presence of optional firmware features, probed once at start.
struct FeatureFlags {
    int traffic_classification = 0;
    int gaming_qos = 0;
    int remote_access_cloud = 0;
    int netusb = 0;
    int usb = 0;
    int openvpn = 0;
    int camera_hub = 0;
    int not_cable_model = 0;
    int photo_sharing = 0;
    int download_manager = 0;
    int circle = 0;
    int circle_in_container = 0;  // Circle runs inside the "spc-circle" container
    int security_service = 0;
    int security_in_container = 0;  // the security service runs inside "shield-bd"
    int bridge_hijack = 0;
};

struct GeoLocation {
    std::string type;
    int zone_offset = 0;
    std::string time_zone;
    std::string country;
    std::string region;
    std::string city;
    std::string zip;
    std::string ip;
    std::string isp;
};

// The collection record.
struct DevInfo {
    // --- identity ---
    std::string model;  // getHWVersion(), at most 31 characters
    std::string fw_version;
    std::string mac;  // 12 characters, no colons
    std::string serial;
    std::string sku_name;
    std::string fw_last_check;    // copied by the report header
    std::string fw_last_upgrade;  // copied by the report header
    int fw_version_missing = 0;
    int mac_missing = 0;
    int serial_missing = 0;

    // --- features and samplers ---
    FeatureFlags features;
    std::string uptime_text;
    std::string mem_total;  // whole MiB texts
    std::string mem_free;
    std::string mem_used;
    double mem_used_percent = 0;
    double cpu_load = 0;
    std::array<double, 4> cpu_core_sum{};
    int netusb_present = 0;
    int usb_storage_present = 0;
    int openvpn_clients = 0;

    // --- geo-location ---
    GeoLocation geo;
    int location_obtained = 0;

    // --- connectivity ---
    int internet_fail_count = 0;
    int gateway_fail_count = 0;
    int64_t last_inconclusive_test = 0;

    // --- attached devices ---
    AttachedDevices attached;

    // --- satellites ---
    SatelliteCache satellites;

    // --- events and alarms ---
    int cpu_alarm = 0;
    int memory_alarm = 0;
    int kernel_reboot_pending = 0;
    int triggeredByFirmwareUpgrade = 0;
    int notTriggeredByFirmwareUpgrade = 0;
    int login_event = 0;
    int install_event = 0;

    // --- router configuration ---
    // Shield status, the values of the last "routerConfig" (with the USB-storage
    // on/off record) and the count of groups it recorded.
    RouterConfigRecord router_config;

    // --- router information and health ---
    TrafficMeter traffic;         // day totals for "trafficMeter"
    CableModem cable_modem;       // "cableModemMacAddr", "cableModemMacOui"
    HealthState health;           // thermal table, kB memory figures, high-load counts
    RouterInfoState router_info;  // last-report copies, speed-test commit, flags

    // --- USB storage and reboot reports ---
    // USB storage count: usb_storage_present above, set by scan_usb_devices.
    UsbReportState usb;
};

// How long an alarm condition has held.
struct AlarmTimer {
    int running = 0;
    uint32_t start = 0;  // uptime when the current period began
};

// Main-loop schedule state.
struct LoopState {
    int init_report_time = 79000;  // randomized first-report delay, seconds
    int init_report_draw = 79000;  // the saved draw
    int first_pass = 1;            // kernel reboot records are read on the first pass
    int first_run = 0;             // no /tmp/first_kernel_ra yet
    int test_trigger = 0;
    int test_tick_count = 0;
    int force_all = 0;             // makes every schedule due (test mode, SIGUSR1)
    int skip_pass = 0;             // the pass-skipping flag
    int suppress_user_option = 0;  // one-shot suppression of the code 4 report
    int internet_probe_ok = 0;
    AlarmTimer memory_timer;
    AlarmTimer cpu_timer;
    int trigger_mark = 0;
    int not_trigger_mark = 0;
    std::array<int, 7> backoff_wait{};
    int cpu_samples = 0;  // per-core samples taken so far
};

struct Daemon {
    DevInfo info;
    std::string publisher_dir = "/usr/bin";
    platform::IfnameMap ifnames;
    platform::PortMap ports;
    Policy policy;
    PublishState publish;
    ReductionState reduction;
    LoopState loop;
    ReportBodies bodies = default_report_bodies();
    std::string report_stamp;  // "YYYYMMDD-HHMMSS" of the last non-DAL header built
    // The parsed DAL event file whose first member the last DAL header refers to. The
    // header holds references, not copies, so this tree must outlive the report
    // document; it is replaced when the next DAL header is built.
    json::Ptr dal_header_source;
    // The "routerInfo" object of the routine report being assembled, while the bodies
    // of its row are built after it; not owned, null at any other time.
    cJSON* routine_router_info = nullptr;
};

// Set by the SIGUSR1 handler; the one piece of state a signal handler may touch.
extern volatile int g_sigusr1_flag;
