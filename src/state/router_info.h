// The "routerInfo" body of the routine report: the router's addresses, cloud agent,
// firmware, region, time synchronisation, uptime, memory, CPU, traffic, connectivity,
// speed test, topology, LAN ports, thermal sensors, fan, Circle, Fing and WAN
// detection. Building it consumes the figures gathered since the previous report.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "json/json.h"
#include "mesh/voice_analytics.h"

struct Daemon;

inline constexpr const char* kAgentVersion = "V1.5.1.4";

// What the builder keeps between reports.
struct RouterInfoState {
    // Copies of what the last report carried, cut to the record's widths.
    std::string last_wan_ip, last_lan_ip;                                             // 31 each
    std::string last_fw_version, last_check_time, last_upgrade_time, last_dl_method;  // 31
    std::string last_agent_version, last_policy_version;                              // 15
    std::string last_gui_region;                                                      // 31
    std::string last_wla_region;                                                      // 7
    std::string last_region_code;                                                     // 7
    std::string last_uptime;                                                          // 63
    std::string last_mem_free, last_mem_used;                                         // 31
    int reported_groups = 0;  // groups of members added by the last build
    // ra_speedtest_report_lasttime as last committed (a 64-byte copy).
    std::string speedtest_committed;
    // Set when the connectivity counts are already minutes; clear (the connectivity
    // check counts ten-minute passes) they are reported times 10.
    int disconnect_counts_in_minutes = 0;
    // The router's region code, reported as "regionCode" (7 characters).
    std::string region_code;
    // Asks the SOAP client for fresh satellite values before the topology is judged
    // (the voice analytics' trigger, called with "8"). Tests put an observer here.
    std::function<void(Daemon&, std::string_view)> soap_router_fire =
        [](Daemon&, std::string_view action) { setSoapRouterFire(action); };
};

json::Ptr create_router_info_obj(Daemon& d);

// Children, each building one member or group of members.
json::Ptr create_speedtest_obj(Daemon& d);
json::Ptr create_traffic_meter_obj(Daemon& d);
json::Ptr create_internet_conn_obj(Daemon& d);
json::Ptr create_lan_port_obj(Daemon& d);
json::Ptr create_cpu_average_obj(Daemon& d);
json::Ptr create_thermal_sensor_array(Daemon& d);
json::Ptr create_fan_array();
void add_circle_status(Daemon& d, cJSON* result);
void add_fing_query_counts(cJSON* result);
int get_hop_from_net_scan();
int get_hop_from_sat_info();
// The "wifiRegion" name of a `wla_region` code.
const char* wifi_region_name(int code);
// Runs circlectl status (in the "spc-circle" container when `in_container`) and
// returns the value asked for: "ALL_INFO" (the first 2048 bytes of the output),
// "Circle Running:", "Circle Cloud Connectivity:" or "Circle Provisioned:". "" when
// there is no such output or line.
std::string query_circlectl(std::string_view what, bool in_container);
