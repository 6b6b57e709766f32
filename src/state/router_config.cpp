#include "state/router_config.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "core/daemon.h"
#include "core/geo_location.h"
#include "platform/fs.h"
#include "platform/model.h"
#include "platform/platform.h"
#include "platform/shell.h"
#include "platform/zt.h"
#include "state/shield.h"

namespace {

constexpr size_t kCircleValueSize = 2049;  // each Circle value is read into this buffer
constexpr size_t kWanProtoMax = 127;
constexpr size_t kModeMax = 63;       // the mode record is a 64-byte string
constexpr size_t kBroadcastMax = 31;  // the broadcast member copies at most this much
constexpr size_t kSpeedLineSize = 64;
constexpr size_t kQagentValueSize = 64;

std::string nv(const char* key) {
    return ovraNvramConfig_get(key);
}
bool is(const char* key, std::string_view value) {
    return ovraNvramConfig_get(key) == value;
}
bool ap_mode() {
    return is("enable_ap_mode", "1");
}
bool ap_or_sta_mode() {
    return is("enable_ap_mode", "1") || is("enable_sta_mode", "1");
}

std::string bounded(std::string text, size_t max) {
    if (text.size() > max) text.resize(max);
    return text;
}

json::Ptr text_member(std::string_view value) {
    return json::string(value);
}

// A feature member: worked out as "on"/"off", recorded as last reported, sent as a bool.
void add_feature(RouterConfigRecord& rec, cJSON* obj, const char* name, LastReportedField field,
                 bool on) {
    const char* word = on ? "on" : "off";
    rec.last[field] = LastReported{word, 1};
    ++rec.reported_groups;
    json::add(obj, name, json::boolean(std::string_view(word) == "on"));
}

const char* ipv6_type(const std::string& proto) {
    static constexpr std::pair<const char*, const char*> kTypes[] = {
        {"autoconfig", "Auto config"},
        {"6to4", "6to4 Tunnel"},
        {"6rd", "6rd"},
        {"passthrough", "Pass through"},
        {"fixed", "Fixed"},
        {"dhcp", "DHCP"},
        {"pppoe", "PPPoE"},
        {"dslite", "DS-lite"},
        {"ipv6_plus", "MAP-E"},
    };
    for (const auto& [key, text] : kTypes)
        if (proto == key) return text;
    return "Auto detect";
}

std::string router_mode() {
    if (is("enable_ap_mode", "1")) return "AP";
    if (is("enable_sta_mode", "1")) return "Bridge";
    if (is("enable_extender_mode", "1")) return "Extender";
    if (is("wla_wds_enable", "1") || is("wlg_wds_enable", "1")) return "Repeating";
    return "Router";
}

const char* dial_up_mode(const std::string& code) {
    if (code == "0") return "always on";
    if (code == "1") return "dial on demand";
    if (code == "2") return "maunally connect";
    return nullptr;
}

const char* dns_setting(const char* key, const char* from_isp_value) {
    return is(key, from_isp_value) ? "from ISP" : "manual setting";
}

// The first token of the WAN port's link speed, when the file can be read.
void read_wan_port_speed(cJSON* wan) {
    std::string ifname = nv("wan_ifname");
    if (ifname.empty() || !shell::acceptable(shell::Kind::Ifname, ifname)) return;
    char path[128];
    std::snprintf(path, sizeof path, "/sys/class/net/%s/speed", ifname.c_str());
    auto line = platform::read_first_line(path, kSpeedLineSize);
    if (!line) return;
    size_t b = line->find_first_not_of("\t\n");
    if (b == std::string::npos) return;
    size_t e = line->find_first_of("\t\n", b);
    cJSON_ReplaceItemInObject(
        wan, "wanPortSpeed",
        json::string(line->substr(b, e == std::string::npos ? std::string::npos : e - b))
            .release());
}

void add_ssid_set(cJSON* obj, const char* name, bool enabled, const std::string& ssid,
                  const std::string& band, const std::string& security) {
    json::Ptr set = json::object();
    if (!set) {
        json::report_no_memory();
        return;
    }
    std::string enable = enabled ? "yes" : "no";
    json::add_string(set.get(), "enable", enable);
    json::add_string(set.get(), "ssid", ssid);
    json::add_string(set.get(), "frequencyBand", band);
    json::add_string(set.get(), "broadcast", bounded(enable, kBroadcastMax));
    json::add_string(set.get(), "security", security);
    json::add(obj, name, std::move(set));
}

std::string iot_band() {
    bool g2 = is("iot_2g_enable", "1"), g2_off = is("iot_2g_enable", "0");
    bool g5 = is("iot_5g_enable", "1"), g5_off = is("iot_5g_enable", "0");
    if (g2 && g5_off) return "2G";
    if (g2_off && g5) return "5G";
    return "2G,5G";
}

void add_ssid_sets(cJSON* obj) {
    add_ssid_set(obj, "wifiMain", is("wla_wlanstate", "Enable"), nv("wla_preset_ssid"), "2G,5G",
                 nv("wla_secu_type"));
    add_ssid_set(obj, "wifiGuest", is("wla_sec_profile_enable_3", "1"), nv("wla_ssid_3"), "2G,5G",
                 nv("wla_secu_type_3"));
    add_ssid_set(obj, "wifiIOT", is("wliot_enable", "1"), nv("wla_ssid_iot"), iot_band(),
                 nv("wla_secu_type_iot"));
}

void add_11ax_members(cJSON* obj) {
    bool ax2 = is("wla_hwmode", "11axg");
    bool ax5 = is("wlh_hwmode", "11axa");
    if (ax2 || ax5) {
        json::add_string(obj, "11axEnable", "true");
    } else if (get_model_index() == 2 && get_model_index() == 3) {
        // Kept as the firmware has it: a fixed model never passes both lookups.
        json::add(obj, "11axEnable", json::Ptr(cJSON_CreateNull()));
    } else {
        json::add_string(obj, "11axEnable", "false");
    }
    json::add_string(obj, "11axEnable2G", ax2 ? "true" : "false");
    json::add_string(obj, "11axEnable5G", ax5 ? "true" : "false");
    json::add_string(obj, "11axEnable6G", is("wli_hwmode", "11axa") ? "true" : "false");
}

}  // namespace

RouterConfigFeatures router_config_features(const FeatureFlags& f) {
    RouterConfigFeatures r;
    r.qos = f.traffic_classification;
    r.smart_connect = f.not_cable_model;
    r.hub_cloud = f.remote_access_cloud;
    r.dynamic_dns = f.not_cable_model;
    r.vpn_server = f.openvpn;
    r.downloader = f.download_manager;
    r.access_control = f.not_cable_model;
    r.remote_management = f.not_cable_model;
    r.ipv6 = f.not_cable_model;
    return r;
}

void add_circle_config(cJSON* obj) {
    static constexpr std::pair<const char*, const char*> kCircle[] = {
        {"circleV2ActivationConfig", "circlecfg.action"},
        {"circleV2EnableConfig", "dalspcra.circleV2EnableConfig"},
        {"circleV2ProvisionHardwareURL", "circlecfg.provisionHardwareURL"},
        {"circleV2CircleID", "circlecfg.circleId"},
        {"circleV2Cuuid", "circlecfg.cuuid"},
        {"circleV2AgentVersion", "dalspcra.circleV2AgentVersion"},
        {"circleV2DBVersion", "dalspcra.circleV2DBVersion"},
        {"circleV2CloudHost", "circlecfg.cloudhost"},
    };
    json::add_string(obj, "circleFeatureVersion", "2");
    for (const auto& [member, key] : kCircle) {
        std::string value;
        ovraZTConfig_get(key, value);
        json::add_string(obj, member, bounded(value, kCircleValueSize - 1));
    }
}

json::Ptr create_traffic_ctrl_obj() {
    json::Ptr obj = json::object();
    if (!obj) {
        json::report_no_memory();
        return nullptr;
    }
    json::add(obj, "enabled", json::boolean(is("traffic_enable", "1")));
    if (is("traffic_control_type", "0")) {
        switch (std::atoi(nv("traffic_volume_ctrl_dir").c_str())) {
            case 0:
                json::add_string(obj.get(), "controlType", "traffic volume-nolimit");
                break;
            case 1:
                json::add_string(obj.get(), "controlType", "traffic volume-download");
                break;
            case 2:
                json::add_string(obj.get(), "controlType", "traffic volume-bi-direction");
                break;
            default:
                break;
        }
    } else {
        json::add_string(obj.get(), "controlType", "connection time control");
    }
    return obj;
}

// Members in the order type, connectionMode, ipSetting, dnsSetting for every branch.
json::Ptr create_wan_config_obj(Daemon&) {
    json::Ptr obj = json::object();
    if (!obj) {
        json::report_no_memory();
        return nullptr;
    }
    cJSON* wan = obj.get();
    if (is("is_cable", "1")) {
        json::add_string(wan, "type", "dhcp");
        json::add_string(wan, "connectionMode", "na");
        json::add_string(wan, "ipSetting", is("wan_proto", "dhcp") ? "dynamic" : "static");
        json::add_string(wan, "dnsSetting", dns_setting("wan_dns_sel", "0"));
    } else if (ap_or_sta_mode()) {
        bool dynamic = is("ap_dyn_ip", "1");
        json::add_string(wan, "type", dynamic ? "dhcp" : "static");
        json::add_string(wan, "connectionMode", "na");
        json::add_string(wan, "ipSetting", dynamic ? "dynamic" : "static");
        json::add_string(wan, "dnsSetting", dns_setting("ap_dyn_dns", "1"));
    } else {
        std::string proto = bounded(nv("wan_proto"), kWanProtoMax);
        std::string type = proto;
        if (is("sku_name", "JP") && proto == "pppoe")
            type = is("pppoe_flet_sel", "fletdisable") ? "pppoe" : "mul-pppoe";
        json::add_string(wan, "type", type);
        const char* ip_setting = nullptr;
        std::string code;
        bool dial_up = false;
        if (proto == "dhcp" || proto == "static") {
            json::add_string(wan, "connectionMode", "na");
            ip_setting = proto == "dhcp" ? "dynamic" : "static";
        } else if (proto == "pppoe") {
            ip_setting = is("pppoe_ip_sel", "1") ? "static" : "dynamic";
            code = nv("pppoe_dod");
            dial_up = true;
        } else if (proto == "pptp" || proto == "l2tp") {
            ip_setting = "static";
            code = nv(proto == "pptp" ? "pptp_dod" : "l2tp_dod");
            dial_up = true;
        }
        if (dial_up)
            if (const char* mode = dial_up_mode(code))
                json::add_string(wan, "connectionMode", mode);
        if (ip_setting) json::add_string(wan, "ipSetting", ip_setting);
        json::add_string(wan, "dnsSetting", dns_setting("wan_dns_sel", "0"));
    }
    json::add_string(wan, "wanPortPreference",
                     is("bond_wan", "1") ? "Multi-Gig Port" : "Internet Port");
    json::add_string(wan, "wanPortSpeed", "10");
    read_wan_port_speed(wan);
    json::add_string(wan, "wanDetection",
                     platform::file_exists("/usr/sbin/wandetect") ? "Auto" : "Manual");
    return obj;
}

json::Ptr create_port_forwarding_obj() {
    json::Ptr obj = json::object();
    if (!obj) {
        json::report_no_memory();
        return nullptr;
    }
    std::string table = nv("pf_services_tbl");
    json::add(obj, "enabled", json::boolean(true));
    json::add_number(obj.get(), "ruleCount",
                     static_cast<double>(std::count(table.begin(), table.end(), '@')));
    return obj;
}

json::Ptr create_port_triggering_obj() {
    json::Ptr obj = json::object();
    if (!obj) {
        json::report_no_memory();
        return nullptr;
    }
    json::add(obj, "enabled", json::boolean(is("fwpt_enable", "1")));
    json::add_number(obj.get(), "ruleCount", std::atoi(nv("fwpt_count").c_str()));
    return obj;
}

json::Ptr create_router_config_obj(Daemon& d) {
    json::Ptr result = json::object();
    if (!result) {
        std::puts("Not enough memory!!!!!!");
        return nullptr;
    }
    cJSON* obj = result.get();
    RouterConfigRecord& rec = d.info.router_config;
    rec.reported_groups = 0;
    RouterConfigFeatures features = router_config_features(d.info.features);

    json::add(obj, "enabledDaisy", json::boolean(is("enable_daisy_chain", "1")));
    json::add_string(obj, "roaming", is("higher_roaming_aggresive", "1") ? "agreesive" : "default");
    if (features.qos) {
        add_feature(rec, obj, "advanceQos", LR_ADVANCE_QOS, is("qos_enable", "1"));
        add_feature(rec, obj, "dynamicQos", LR_DYNAMIC_QOS, is("broadstream_iqos_enable", "1"));
    }
    if (features.smart_connect)
        add_feature(rec, obj, "smartConnect", LR_SMART_CONNECT,
                    is("enable_band_steering", "1") && !is("enable_sta_mode", "1"));
    add_circle_config(obj);

    bool ntp_default = is("ntp_enable_customized_server", "0");
    json::add_string(obj, "ntpConfig", ntp_default ? "default" : "user-preferred");
    json::add_string(obj, "ntpPreferredServer", ntp_default ? "" : nv("ntp_customized_server"));
    std::string tz_state = nv("time_zone_state");
    json::add_string(obj, "timeZoneConfig",
                     tz_state == "ManualConfigured" ? "Manual"
                     : tz_state == "AutoConfigured" ? "Auto"
                                                    : "default");
    if (!ap_mode()) json::add(obj, "trafficMeterEnabled", create_traffic_ctrl_obj());
    json::add(obj, "wanConfig", create_wan_config_obj(d));
    if (!ap_mode()) {
        json::add(obj, "portForwarding", create_port_forwarding_obj());
        json::add(obj, "portTriggering", create_port_triggering_obj());
    }
    create_router_config_shield(d, obj);

    if (features.hub_cloud)
        add_feature(rec, obj, "hubCloud", LR_HUB_CLOUD, !nv("hubcloud_registration_owner").empty());
    if (features.dynamic_dns)
        add_feature(rec, obj, "dynamicDNS", LR_DYNAMIC_DNS, is("ddns_enable", "1"));
    if (features.vpn_server)
        add_feature(rec, obj, "serviceVPN", LR_SERVICE_VPN,
                    is("openvpnActive", "enable") && !ap_or_sta_mode());
    if (features.downloader)
        add_feature(rec, obj, "dwnloader", LR_DOWNLOADER, is("downloader_enabled", "1"));
    if (features.access_control)
        add_feature(rec, obj, "accessControl", LR_ACCESS_CONTROL,
                    is("access_control_mode", "1") && !ap_or_sta_mode());
    if (features.remote_management)
        add_feature(rec, obj, "remoteManagement", LR_REMOTE_MANAGEMENT,
                    is("http_rmenable", "1") && !ap_or_sta_mode());
    if (features.ipv6) {
        std::string proto = nv("ipv6_proto");
        bool on = proto != "disable" && !ap_or_sta_mode();
        add_feature(rec, obj, "ipv6", LR_IPV6, on);
        json::add_string(obj, "ipv6Type", on ? ipv6_type(proto) : "Disable");
    }
    // USB storage is remembered with the others but has no member here.
    rec.last[LR_USB_STORAGE] = LastReported{d.info.usb_storage_present ? "on" : "off", 1};
    ++rec.reported_groups;

    std::string mode = bounded(router_mode(), kModeMax);
    rec.last[LR_MODE] = LastReported{mode, 1};
    ++rec.reported_groups;
    json::add(obj, "mode", text_member(mode));

    std::string claimed;
    getQagentInformation(6, claimed, kQagentValueSize);
    json::add(obj, "remotePixieEnabled", json::boolean(claimed == "1"));
    add_11ax_members(obj);
    json::add_string(obj, "bh_240mhz",
                     is("enable_mlo_backhaul_240MHz", "1") ? "enabled" : "disabled");
    add_ssid_sets(obj);
    return result;
}
