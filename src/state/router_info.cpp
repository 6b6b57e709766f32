#include "state/router_info.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "core/daemon.h"
#include "core/geo_location.h"
#include "mesh/port_status.h"
#include "platform/fs.h"
#include "platform/model.h"
#include "platform/platform.h"
#include "platform/shell.h"
#include "platform/zt.h"
#include "state/health_alarms.h"

namespace {

constexpr const char* kNetScanLog = "/tmp/net_scan.log";
constexpr const char* kCircleFile = "/tmp/circlectl_info.txt";
constexpr const char* kFingScript = "/usr/bin/get_fingRA_data.sh";
constexpr const char* kFingFile = "/tmp/fing_query.txt";
constexpr size_t kCircleAllInfo = 2048;
constexpr size_t kCircleLine = 512;  // 511 bytes and the terminator
constexpr size_t kFingLine = 512;
constexpr size_t kCmInfoLine = 128;
constexpr size_t kHopPiece = 8;  // 7 characters and the terminator
constexpr size_t kSpeedtestCopy = 63;

std::string nv(const char* key) {
    return ovraNvramConfig_get(key);
}
bool nv_is(const char* key, const char* value) {
    return ovraNvramConfig_match(key, value) != 0;
}
int nv_int(const char* key) {
    return std::atoi(nv(key).c_str());
}
std::string cut(const std::string& text, size_t width) {
    return text.substr(0, width);
}

json::Ptr null_item() {
    return json::Ptr(cJSON_CreateNull());
}

void add_bool(cJSON* parent, const char* name, bool value) {
    json::add(parent, name, json::boolean(value));
}

void count_group(Daemon& d) {
    ++d.info.router_info.reported_groups;
}

// --- address, geo-location, cable modem, cloud agent --------------------------------

void add_geo(Daemon& d, cJSON* r) {
    const GeoLocation& g = d.info.geo;
    json::add_string(r, "wanIpCountry", g.country);
    json::add_string(r, "wanIpTimeZone", g.time_zone);
    json::add_number(r, "wanIpZoneOffset", g.zone_offset);
    json::add_string(r, "wanIpRegion", g.region);
    json::add_string(r, "wanIpCity", g.city);
    json::add_string(r, "wanIpZip", g.zip);
    json::add_string(r, "wanIpExternal", g.ip);
    json::add_string(r, "wanIpIsp", g.isp);
}

// The cloud agent's four members mix types on purpose: two bools, two "true"/"false"
// texts.
void add_cloud_agent(cJSON* r) {
    std::string id, claim_code, registered, claimed;
    getQagentInformation(1, id, 64);
    getQagentInformation(2, claim_code, 64);
    getQagentInformation(4, registered, 64);
    getQagentInformation(5, claimed, 64);
    add_bool(r, "qCloudRegistered", registered == "1");
    json::add_string(r, "qCloudIdAcquired", id.empty() ? "false" : "true");
    add_bool(r, "qCloudClaimed", claimed == "1");
    json::add_string(r, "qCloudClaimCodeAcquired", claim_code.empty() ? "false" : "true");
}

void add_install_and_manage(cJSON* r) {
    std::string by = nv("install_by_gui_app");
    json::add_string(r, "installByGuiApp", by.empty() ? "unknown" : by);
    add_bool(r, "installFwUpgradeLatest", nv_is("install_fw_upgrade_latest", "1"));
    add_bool(r, "manageByGui", nv_is("manage_by_gui", "1"));
    add_bool(r, "manageByApp", nv_is("manage_by_app", "1"));
}

void fill_firmware(Daemon& d, cJSON* fw) {
    RouterInfoState& s = d.info.router_info;
    std::string upgraded = nv("telem_fw_last_upgrade_time");
    std::string checked = nv("telem_fw_last_check_time");
    std::string method = upgraded.empty() ? "" : nv("currentDLmethod");
    json::add_string(fw, "fwVersion", d.info.fw_version);
    json::add_string(fw, "fwLastUpdate", upgraded);
    json::add_string(fw, "fwLastChecked", checked);
    json::add_string(fw, "fwupgrade_Method", method);
    s.last_fw_version = cut(d.info.fw_version, 31);
    s.last_upgrade_time = cut(upgraded, 31);
    s.last_check_time = cut(checked, 31);
    s.last_dl_method = cut(method, 31);
}

// The built-in cable modem's firmware: the second "|" field of the first line of
// `ipcCmd getcminfo`, which must begin with an apostrophe.
std::string cable_modem_firmware() {
    auto out = platform::backend().popen_read("/usr/sbin/ipcCmd getcminfo");
    if (!out) return "";
    std::string first = out->substr(0, std::min(out->find('\n'), kCmInfoLine - 1));
    char version[16] = "";
    if (std::sscanf(first.c_str(), "'%*[^|]|%15[^|]", version) != 1) return "";
    return version;
}

// --- region and time ------------------------------------------------------------------

void add_region(Daemon& d, cJSON* r) {
    RouterInfoState& s = d.info.router_info;
    std::string language = nv("gui_region");
    json::add_string(r, "language", language);
    s.last_gui_region = cut(language, 31);
    count_group(d);
    std::string wla = nv("wla_region");
    int code = std::atoi(wla.c_str());
    json::add_number(r, "countryCode", code);
    s.last_wla_region = cut(wla, 7);
    count_group(d);
    json::add_string(r, "wifiRegion", wifi_region_name(code));
    count_group(d);
    json::add_string(r, "regionCode", s.region_code);
    s.last_region_code = cut(s.region_code, 7);
    count_group(d);
}

void add_ntp(Daemon& d, cJSON* r) {
    const char* result = "no";
    if (nv_is("ntp_sync_status", "0"))
        result = "yes";
    else if (nv_is("time_state", "Cloud"))
        result = "Cloud";
    json::add_string(r, "ntpResult", result);
    count_group(d);

    std::string status = nv("ntp_sync_status");
    const char* reason = nullptr;
    if (status == "0")
        reason = "";
    else if (status.empty() || status == "-1")
        reason = "Internet unavailable";
    else if (status == "1")
        reason = "Fail to reach server";
    if (reason) {
        json::add_string(r, "ntpFailReason", reason);
        count_group(d);
    }

    const char* port = "";
    if (nv_is("ntp_is_synced", "1"))
        port = !ovraNvramConfig_exist("ntp_sync_port") || nv_is("ntp_sync_port", "123") ? "123"
                                                                                        : "non-123";
    json::add_string(r, "ntpPortNumber", port);
    count_group(d);
}

// --- speed test -----------------------------------------------------------------------

// A rate key's text as the router scales it: the unsigned 32-bit value / 1e6 * 8; 0
// when the text is empty.
double rate_of(const std::string& text) {
    if (text.empty()) return 0;
    auto value = static_cast<uint32_t>(std::strtoul(text.c_str(), nullptr, 10));
    return value / 1e6 * 8;
}

// "2024-03-07 18:05:09" becomes "2024_03.07_18:05:09"; empty when the text is not
// such a date.
std::string rewrite_test_time(const std::string& value) {
    std::string text = cut(value, 127);
    char y[5] = "", mo[3] = "", dd[3] = "", h[3] = "", mi[3] = "", s[3] = "";
    // A value the scan stops in part-way keeps what was read before the stop.
    std::sscanf(text.c_str(), "%4s-%2s-%2s %2s:%2s:%2s", y, mo, dd, h, mi, s);
    char out[32];
    std::snprintf(out, sizeof out, "%s_%s.%s_%s:%s:%s", y, mo, dd, h, mi, s);
    return out;
}

void remember_reported_test(Daemon& d) {
    std::string value =
        ovraNvramConfig_exist("qos_Lasttesttime") ? nv("qos_Lasttesttime") : std::string("first");
    ovraNvramConfig_set("ra_speedtest_report_lasttime", value);
    std::string& committed = d.info.router_info.speedtest_committed;
    if (cut(value, kSpeedtestCopy) != committed) {
        ovraNvramConfig_save();
        committed = cut(value, kSpeedtestCopy);
    }
}

// --- topology, ports, CPU, sensors, fan ---------------------------------------------

// fgets with an 8-byte buffer over the pipe's output: pieces of at most 7 characters.
std::vector<std::string> hop_pieces(const std::string& out) {
    std::vector<std::string> pieces;
    size_t pos = 0;
    while (pos < out.size()) {
        size_t nl = out.find('\n', pos);
        size_t end = nl == std::string::npos ? out.size() : nl + 1;
        size_t len = std::min(end - pos, kHopPiece - 1);
        pieces.push_back(out.substr(pos, len));
        pos += len;
    }
    return pieces;
}

int lan_ports_of_model() {
    int model = get_model_index();
    if (model == 1) return 4;
    if (nv("hwver") == "VCA310") return 4;
    if (model == 2) return 5;
    if (model == 4) return 1;
    return 3;
}

const char* trigger_status_text(int status) {
    switch (status) {
        case 0:
            return "Not triggered";
        case 1:
            return "Triggered";
        default:
            return "Unknown";
    }
}

// --- Circle and Fing --------------------------------------------------------------------

std::string circle_value_line(const std::vector<std::string>& lines, std::string_view what) {
    char value[kCircleLine] = "";
    for (size_t i = 0; i < lines.size(); ++i) {
        if (lines[i].find(what) == std::string::npos) continue;
        if (what == "Circle Running:") {
            std::sscanf(lines[i].c_str(), "Circle Running: %511s", value);
        } else if (what == "Circle Cloud Connectivity:") {
            if (i + 1 < lines.size()) std::sscanf(lines[i + 1].c_str(), "rclient:   %511s", value);
        } else if (what == "Circle Provisioned:") {
            std::sscanf(lines[i].c_str(), "Circle Provisioned: %511s", value);
        }
        break;
    }
    return value;
}

std::string zt_value(const char* key) {
    std::string value;
    ovraZTConfig_get(key, value);
    return value;
}

std::optional<std::string> fing_query(const char* query) {
    auto command = shell::compose(128, "/usr/bin/get_fingRA_data.sh %s > %s",
                                  shell::constant(query), shell::constant(kFingFile));
    shell::run(command);
    return platform::read_first_line_or_empty(kFingFile, kFingLine);
}

}  // namespace

const char* wifi_region_name(int code) {
    switch (code) {
        case 1:
            return "Africa";
        case 2:
            return "Asia";
        case 3:
            return "Australia";
        case 4:
        case 28:
            return "Canada";
        case 5:
            return "Europe";
        case 6:
            return "Irasel";
        case 7:
            return "Japan";
        case 8:
            return "Korea";
        case 9:
            return "Mexico";
        case 10:
            return "South America";
        case 11:
            return "United States";
        case 12:
            return "Middle East(Algeria/Syria/Yemen)";
        case 14:
            return "Russia";
        case 16:
            return "China";
        case 17:
            return "India";
        case 18:
            return "Malaysia";
        case 19:
            return "Middle East(Iran/Labanon/Qatar)";
        case 20:
            return "Middle East(Turkey/Egypt/Tunisia/Kuwait)";
        case 21:
            return "Middle East(Saudi Arabia)";
        case 22:
            return "Middle East(United Arab Emirates)";
        case 23:
            return "Singapore";
        case 24:
            return "Taiwan";
        default:
            return "Unknown";
    }
}

json::Ptr create_speedtest_obj(Daemon& d) {
    json::Ptr o = json::object();
    if (!o) {
        json::report_no_memory();
        return nullptr;
    }
    bool tested = ovraNvramConfig_exist("qos_Lasttesttime") != 0;
    std::string test_time = nv("qos_Lasttesttime");
    if ((!tested && nv_is("ra_speedtest_report_lasttime", "first")) ||
        (tested && test_time == nv("ra_speedtest_report_lasttime"))) {
        // Nothing new since the last report.
        for (const char* name :
             {"downloadSpeed", "uploadSpeed", "averagePing", "lastTestTime", "speedtestResults"})
            json::add(o, name, null_item());
        return o;
    }
    bool manual = nv_is("qos_manual", "1");
    std::string down_rate = nv(manual ? "qos_bw_downlink_manual" : "qos_bw_downlink");
    std::string up_rate = nv(manual ? "qos_bw_uplink_manual" : "qos_bw_uplink");
    double download = 0, upload = 0;
    if (!nv("qos_bw_tmp_uplink").empty() && !nv("qos_bw_tmp_downlink").empty()) {
        download = rate_of(down_rate);
        upload = rate_of(up_rate);
    }
    std::string ping_text = nv("qos_bw_tmp_ping");
    ping_text = ping_text.substr(0, ping_text.find(" ms"));
    double ping = std::atof(ping_text.c_str());

    json::add(o, "downloadSpeed", download > 0 ? json::number(download) : null_item());
    json::add(o, "uploadSpeed", upload > 0 ? json::number(upload) : null_item());
    json::add(o, "averagePing", download > 0 && upload > 0 ? json::number(ping) : null_item());
    json::add(o, "lastTestTime",
              test_time.empty() ? null_item() : json::string(rewrite_test_time(test_time)));
    json::add_string(o.get(), "speedtestResults", test_time.empty() ? "Failed" : "Success");
    remember_reported_test(d);
    return o;
}

json::Ptr create_traffic_meter_obj(Daemon& d) {
    json::Ptr o = json::object();
    if (!o) {
        json::report_no_memory();
        return nullptr;
    }
    json::add_number(o.get(), "Uplink", d.info.traffic.day_tx);
    json::add_number(o.get(), "Downlink", d.info.traffic.day_rx);
    return o;
}

json::Ptr create_internet_conn_obj(Daemon& d) {
    json::Ptr o = json::object();
    if (!o) {
        json::report_no_memory();
        return nullptr;
    }
    int scale = d.info.router_info.disconnect_counts_in_minutes ? 1 : 10;
    json::add_number(o.get(), "internetDisconnDuration", d.info.internet_fail_count * scale);
    json::add_number(o.get(), "gwDisconnDuration", d.info.gateway_fail_count * scale);
    return o;
}

int get_hop_from_net_scan() {
    if (!platform::file_exists(kNetScanLog)) return -1;
    auto out = platform::backend().popen_read(
        "cat /tmp/net_scan.log | grep 'hops to the device:' | sed 's/^.*device: //g'");
    if (!out) {
        std::puts("popen() error!");
        return -1;
    }
    for (const auto& piece : hop_pieces(*out)) {
        int hop = std::atoi(piece.c_str());
        std::printf("int hop:%d\n", hop);
        if (hop > 1) return 1;
    }
    return 0;
}

int get_hop_from_sat_info() {
    int n = nv_int("soapc_sat_access_count");
    if (n < 1) return 0;
    // The satellite cache holds 32 entries; a larger count is not believed.
    if (n > kMaxSatellites) n = kMaxSatellites;
    for (int i = 0; i < n; ++i) {
        char key[80];
        std::snprintf(key, sizeof key, "soapc_sat_%d_DeviceInfo_GetCurrentSatellitesWIFIinfo_Hop",
                      i);
        if (std::atoi(ovraNvramConfig_get(key).c_str()) > 1) return 1;
    }
    return 0;
}

json::Ptr create_lan_port_obj(Daemon& d) {
    json::Ptr o = json::object();
    if (!o) {
        json::report_no_memory();
        return nullptr;
    }
    unsigned int link = get_lan_link_mask(d);
    int used = 0;
    for (int port = 1; port <= 6; ++port) {
        if (!(link & (1u << port))) continue;
        ++used;
        std::printf("[ethWan]port %d is up,portLinkState:0x%x,(1<<port):0x%x\n", port, link,
                    1u << port);
    }
    int total = lan_ports_of_model();
    if (nv_is("bond_wan", "1")) --total;  // one port then serves the WAN
    json::add_number(o.get(), "lanPortUsed", used);
    json::add_number(o.get(), "totalLanPort", total);
    return o;
}

json::Ptr create_cpu_average_obj(Daemon& d) {
    auto& sums = d.info.cpu_core_sum;
    auto& counts = d.info.health.cpu_core_count;
    float average[4];
    for (size_t c = 0; c < 4; ++c)
        // No sample since the last report reads as 0 rather than 0/0.
        average[c] = counts[c] > 0 ? static_cast<float>(sums[c] / counts[c]) : 0.0f;
    float all = (average[0] + average[1] + average[2] + average[3]) * 0.25f;
    sums.fill(0);
    counts.fill(0);
    std::printf(
        "[telem_json] cpu_ave_all = %f, cpu0_ave = %f, cpu1_ave = %f, cpu2_ave = %f, cpu3_ave = "
        "%f\n",
        all, average[0], average[1], average[2], average[3]);
    json::Ptr o = json::object();
    json::Ptr by_core(cJSON_CreateFloatArray(average, 4));
    if (!o || !by_core) {
        json::report_no_memory();
        return nullptr;
    }
    json::add_number(o.get(), "cpuAveAll", all);
    json::add_number(o.get(), "totalCoreNumber", 4);
    json::add(o, "cpuAveByCores", std::move(by_core));
    json::add_number(o.get(), "highCpuTime", d.info.health.high_cpu_count * 10.0);
    d.info.health.high_cpu_count = 0;
    return o;
}

json::Ptr create_thermal_sensor_array(Daemon& d) {
    json::Ptr a = json::array();
    if (!a) {
        json::report_no_memory();
        return nullptr;
    }
    for (const ThermalSensor& s : d.info.health.thermal.sensors) {
        json::Ptr o = json::object();
        if (!o) {
            json::report_no_memory();
            continue;
        }
        json::add_string(o.get(), "Name", s.name);
        char key[96];
        std::snprintf(key, sizeof key, "ra_otp_%.63s_highestTemp", s.name.c_str());
        int highest = std::atoi(ovraNvramConfig_get(key).c_str());
        std::snprintf(key, sizeof key, "ra_otp_%.63s_lowestTemp", s.name.c_str());
        int lowest = std::atoi(ovraNvramConfig_get(key).c_str());
        if (highest != 0 && lowest != 0) {
            json::add_number(o.get(), "highestTemp", highest);
            json::add_number(o.get(), "lowestTemp", lowest);
        }
        add_bool(o.get(), "otpEnable", s.enable == 1);
        json::add_string(o.get(), "otpTriggerStatus", trigger_status_text(s.trigger_status));
        json::add_number(o.get(), "otpTriggerCount", s.trigger_count);
        json::add_number(o.get(), "otpTriggerLongestDuration", s.longest_duration);
        json::add_to_array(a.get(), std::move(o));
    }
    return a;
}

json::Ptr create_fan_array() {
    json::Ptr a = json::array();
    json::Ptr o = json::object();
    if (!a || !o) {
        json::report_no_memory();
        return nullptr;
    }
    json::add_string(o.get(), "Name", "fan1");
    add_bool(o.get(), "fanEnable", true);
    json::add_string(o.get(), "fanTriggerStatus",
                     nv_is("fan_Trigger_count", "0") ? "Not triggered" : "Triggered");
    json::add_number(o.get(), "fanTriggerCount", nv_int("fan_Trigger_count"));
    json::add_number(o.get(), "fanTriggerLongestDuration", nv_int("fan_duration_Longest_time"));
    json::add_to_array(a.get(), std::move(o));
    ovraNvramConfig_set("fan_Trigger_count", "0");
    ovraNvramConfig_set("fan_duration_Longest_time", "0");
    return a;
}

std::string query_circlectl(std::string_view what, bool in_container) {
    auto command =
        in_container
            ? shell::compose(128, "lxc-attach spc-circle -- /usr/bin/circlectl status > %s",
                             shell::constant(kCircleFile))
            : shell::compose(128, "circlectl status > %s", shell::constant(kCircleFile));
    shell::run(command);
    if (what == "ALL_INFO") {
        // The whole status, left in place for whoever looks next.
        auto text = platform::read_file_prefix(kCircleFile, kCircleAllInfo);
        if (!text) return "";
        return text->substr(0, text->find('\0'));
    }
    auto lines = platform::read_lines(kCircleFile, kCircleLine);
    if (!lines) return "";
    std::string value = circle_value_line(*lines, what);
    platform::remove_file(kCircleFile);
    return value;
}

void add_circle_status(Daemon& d, cJSON* r) {
    bool in_container = d.info.features.circle_in_container == 1;
    auto yes_no = [](bool yes) { return yes ? "yes" : "no"; };
    json::add_string(r, "circleV2AgentIsStart",
                     yes_no(query_circlectl("Circle Running:", in_container) == "true"));
    json::add_string(
        r, "circleV2AgentIsOnline",
        yes_no(query_circlectl("Circle Cloud Connectivity:", in_container) == "connected"));
    json::add_string(r, "circleV2AgentIsProvisioned",
                     yes_no(query_circlectl("Circle Provisioned:", in_container) == "true"));
    json::add_string(r, "circleV2ActivationStatus", zt_value("circlestatus.activationStatus"));
    json::add_string(r, "circleV2EnableStatus", zt_value("circlestatus.spcStatus"));
    json::add_number(r, "circleV2CSHLastTimestamp",
                     std::atoi(zt_value("circleDebug.lastTimestamp").c_str()));
    json::add_number(r, "circleV2CSHErrorID", std::atoi(zt_value("circleDebug.errorId").c_str()));
    json::add_string(r, "circleV2CSHErrorMessage", zt_value("circleDebug.errorMessage"));
    json::add_string(r, "circleV2CtlStatusLog", query_circlectl("ALL_INFO", in_container));
}

void add_fing_query_counts(cJSON* r) {
    auto count = [](const std::optional<std::string>& line) {
        return line ? std::atoi(line->c_str()) : -1;
    };
    json::add_number(r, "fingQueryCountNewDevice", count(fing_query("newDeviceQueryCount")));
    json::add_number(r, "fingQueryCountWeeklyRefresh",
                     count(fing_query("weeklyRefreshQueryCount")));
    auto stamp = fing_query("weeklyRefreshQueryTimestamp");
    json::add_string(r, "fingQueryWeeklyRefreshTimestamp",
                     stamp ? platform::strip_newline(*stamp) : std::string());
    platform::remove_file(kFingFile);
}

json::Ptr create_router_info_obj(Daemon& d) {
    RouterInfoState& s = d.info.router_info;
    s.reported_groups = 0;
    ensure_thermal_table(d);
    json::Ptr r = json::object();
    json::Ptr address = json::object();
    json::Ptr firmware = json::object();
    json::Ptr memory = json::object();
    json::Ptr library = json::object();
    if (!r || !address || !firmware || !memory || !library) {
        json::report_no_memory();
        return nullptr;
    }
    cJSON* out = r.get();

    std::string wan_ip = nv("wan_ipaddr");
    std::string lan_ip = nv("lan_ipaddr");
    json::add_string(address.get(), "ipWAN", wan_ip);
    json::add_string(address.get(), "ipLAN", lan_ip);
    json::add(out, "ipAddress", std::move(address));
    s.last_wan_ip = cut(wan_ip, 31);
    s.last_lan_ip = cut(lan_ip, 31);
    count_group(d);

    add_geo(d, out);
    json::add_string(out, "cableModemMacAddr", d.info.cable_modem.mac);
    json::add_string(out, "cableModemMacOui", d.info.cable_modem.oui);
    add_cloud_agent(out);
    add_install_and_manage(out);

    fill_firmware(d, firmware.get());
    json::add(out, "firmware", std::move(firmware));
    count_group(d);

    json::add_string(library.get(), "raeAgentVersion", kAgentVersion);
    json::add_string(library.get(), "raePolicyVersion", "");
    json::add(out, "raeLibrary", std::move(library));
    s.last_agent_version = cut(kAgentVersion, 15);
    s.last_policy_version = "";
    count_group(d);

    if (nv_is("is_cable_wan_mode", "1")) {
        json::Ptr cm = json::object();
        if (cm) {
            json::add_string(cm.get(), "cmFWVersion", cable_modem_firmware());
            json::add(out, "cmModule", std::move(cm));
        } else {
            json::report_no_memory();
        }
    }

    add_region(d, out);
    add_ntp(d, out);

    json::add_string(out, "upTime", d.info.uptime_text);
    s.last_uptime = cut(d.info.uptime_text, 63);
    count_group(d);

    const HealthState& h = d.info.health;
    json::add_number(memory.get(), "memoryFree", std::atoi(h.mem_free_kb.c_str()));
    json::add_number(memory.get(), "memoryUsed", std::atoi(h.mem_used_kb.c_str()));
    json::add_number(memory.get(), "highMemTime", h.high_mem_count * 10.0);
    json::add(out, "memoryInfo", std::move(memory));
    s.last_mem_free = cut(h.mem_free_kb, 31);
    s.last_mem_used = cut(h.mem_used_kb, 31);
    count_group(d);

    if (json::Ptr traffic = create_traffic_meter_obj(d)) {
        json::add(out, "trafficMeter", std::move(traffic));
        count_group(d);
    }
    // A day's total is reported once.
    d.info.traffic.day_tx = 0;
    d.info.traffic.day_rx = 0;

    json::add(out, "internetConnInfo", create_internet_conn_obj(d));
    json::add(out, "internetBandwidth", create_speedtest_obj(d));

    if (s.soap_router_fire) s.soap_router_fire(d, "8");
    int hop = get_hop_from_net_scan();
    if (hop == -1) hop = get_hop_from_sat_info();
    json::add_string(out, "topology", hop == 1 ? "Daisy" : "Star");

    json::add(out, "lanPort", create_lan_port_obj(d));
    json::add(out, "cpuAveUtilizations", create_cpu_average_obj(d));
    json::add_number(out, "numberOfSensors", static_cast<double>(h.thermal.sensors.size()));
    json::add(out, "sensor", create_thermal_sensor_array(d));
    if (nv("hwver") == "VRE660") {
        json::add_number(out, "numberOfFans", 1);
        json::add(out, "fan", create_fan_array());
    }
    add_circle_status(d, out);
    if (platform::file_exists(kFingScript)) add_fing_query_counts(out);
    for (const char* key :
         {"detectWANType", "detectWANTypeResponseCode", "checkInternetStatusInternetLinkStatus",
          "checkInternetStatusWANType", "checkInternetStatusReponsesCode"})
        json::add_string(out, key, nv(key));
    json::add_string(out, "satAllSSIDCloneStatus", "No satellite");
    return r;
}
