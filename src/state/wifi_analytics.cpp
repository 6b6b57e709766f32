#include "state/wifi_analytics.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>

#include "core/daemon.h"
#include "platform/fs.h"
#include "platform/platform.h"
#include "platform/shell.h"
#include "state/wifi_config.h"

namespace {

constexpr size_t kCommandSize = 256;
constexpr size_t kValueSize = 64;
constexpr size_t kPhyNameMax = 31;

std::string bounded(std::string text, size_t max) {
    if (text.size() > max) text.resize(max);
    return text;
}

std::string one_line(const std::optional<std::string>& command) {
    if (!command) return "";
    shell::run(command);
    std::string line;
    read_first_line(kWifiOneLineFile, line, kWifiLineSize);
    platform::remove_file(kWifiOneLineFile);
    return line;
}

std::string iw_field(const std::string& ifname, const char* field) {
    std::string value;
    get_iw_dev_field(value, kValueSize, ifname, field);
    return value;
}

int number_of(const std::string& text) {
    return std::atoi(text.c_str());
}

const char* capability_marker(std::string_view generation) {
    if (generation == "HT") return "HT TX/RX MCS rate indexes supported";
    if (generation == "VHT") return "VHT Capabilities";
    if (generation == "HE") return "HE PHY Capabilities";
    if (generation == "EHT") return "EHT PHY Capabilities";
    return nullptr;
}

// "5G" is the first 5 GHz radio: 5g1BssInfo; the others are the band in lower case.
std::string bss_object_name(std::string band) {
    strlwr(band);
    if (band == "5g") band = "5g1";
    char name[64];
    std::snprintf(name, sizeof name, "%sBssInfo", band.c_str());
    return name;
}

json::Ptr bss_info_object(const std::string& radio, const std::string& ap) {
    json::Ptr bss = json::object();
    if (!bss) {
        json::report_no_memory();
        return nullptr;
    }
    json::add_string(bss.get(), "bssMac", iw_field(radio, "addr"));
    json::add_string(bss.get(), "bssMLDMac", iw_field(radio, "mld_addr"));
    json::add_string(
        bss.get(), "bssBW",
        one_line(shell::compose(kCommandSize,
                                "iw dev %s info | tail -1 | awk -F'width: ' '{print "
                                "$2}' | awk '{print $1}' > %s",
                                shell::ifname(radio), shell::constant(kWifiOneLineFile))));
    json::add_number(
        bss.get(), "bssStartChannel",
        number_of(one_line(shell::compose(
            kCommandSize, "iwlist %s channel | head -2 | tail -1 | awk '{print $2}' > %s",
            shell::ifname(ap), shell::constant(kWifiOneLineFile)))));
    json::add_number(
        bss.get(), "bssEndChannel",
        number_of(one_line(shell::compose(
            kCommandSize, "iwlist %s channel | tail -3 | head -1 | awk '{print $2}' > %s",
            shell::ifname(ap), shell::constant(kWifiOneLineFile)))));
    json::add_number(bss.get(), "bssMainChannel", number_of(iw_field(radio, "channel")));
    // Not collected on this platform.
    json::add_string(bss.get(), "bssNoiseFlr", "");
    json::add_number(bss.get(), "bssColor", 0);
    json::add_number(bss.get(), "bssHT", probe_phy_capability("HT", ap));
    json::add_number(bss.get(), "bssVHT", probe_phy_capability("VHT", ap));
    json::add_number(bss.get(), "bssHE", probe_phy_capability("HE", ap));
    json::add_number(bss.get(), "bssEHT", probe_phy_capability("EHT", ap));
    // Kept for the report's shape.
    for (const char* name : {"bssBasicRate", "bssChanUtil", "bssObssChanUtil", "bssCcaThreshold",
                             "bssObssPdThreshold", "bssRadarDetectCnt"})
        json::add_number(bss.get(), name, 0);
    return bss;
}

// --- wifiIface ------------------------------------------------------------------------

struct Radio {
    size_t index;
    std::string name;     // wifi<i>
    std::string ap;       // ath<i>
    std::string band;     // band i
    std::string prefix;   // key prefix i
    std::string channel;  // the radio's live channel
    int vaps;
};

std::string statistic(const std::string& ifname, const char* file) {
    return read_sysfs_line(ifname, std::string("statistics/") + file, kWifiOneLineFile);
}

json::Ptr radio_info_object(const Radio& r) {
    json::Ptr info = json::object();
    if (!info) return nullptr;
    std::string user_channel = ovraNvramConfig_get(r.prefix + "_channel");
    const char* channel_kind = "";
    if (user_channel == "0")
        channel_kind = "auto";
    else if (user_channel == "1" || !r.channel.empty())
        channel_kind = "fixed";
    json::add_string(info.get(), "radioName", r.name);
    json::add_string(info.get(), "radioBand", r.band);
    json::add_string(info.get(), "radioInfoRegion", ovraNvramConfig_get("sku_name"));
    json::add_string(info.get(), "radioInfoChannel", channel_kind);
    return info;
}

json::Ptr radio_stat_object(const Radio& r) {
    json::Ptr stat = json::object();
    if (!stat) return nullptr;
    std::string user_channel = ovraNvramConfig_get(r.prefix + "_channel");
    json::add_string(stat.get(), "radioStatChannel", r.channel);
    json::add_string(stat.get(), "radioStatChannelUserSet",
                     user_channel == "0" ? "auto" : user_channel);
    json::add_string(stat.get(), "radioStatUtilitization", "");
    json::add_number(stat.get(), "radioNumOfVaps", r.vaps);
    return stat;
}

json::Ptr iface_info_object(const std::string& ifname, const std::string& purpose) {
    json::Ptr info = json::object();
    if (!info) return nullptr;
    std::string state = read_sysfs_line(ifname, "operstate", kWifiOneLineFile);
    json::add_string(info.get(), "ifaceName", ifname);
    json::add_string(info.get(), "ifaceMac", mac_twelve_digits(iw_field(ifname, "addr")));
    json::add_string(info.get(), "ifaceMode", iw_field(ifname, "type"));
    json::add_string(info.get(), "ifacePurpose", purpose);
    json::add(info, "ifaceEnable", json::boolean(state == "up" || state == "unknown"));
    return info;
}

json::Ptr iface_stat_object(const std::string& ifname) {
    json::Ptr stat = json::object();
    if (!stat) return nullptr;
    auto count = [&](const char* file) { return counter_value(statistic(ifname, file)); };
    auto add = [&](const char* name, uint64_t value) {
        json::add_number(stat.get(), name, static_cast<double>(value));
    };
    add("rxBytes", count("rx_bytes"));
    add("rxPacket", count("rx_packets"));
    add("rxMulticast", count("multicast"));
    add("rxDropped", count("rx_dropped"));
    add("rxErrorCrc", count("rx_crc_errors"));
    add("rxErrorFifo", count("rx_fifo_errors"));
    // This one is a 32-bit count on the router.
    json::add_number(stat.get(), "rxErrorFrame",
                     static_cast<int32_t>(static_cast<uint32_t>(count("rx_frame_errors"))));
    add("rxErrorLength", count("rx_length_errors"));
    add("txBytes", count("tx_bytes"));
    uint64_t packets = count("tx_packets");
    add("txPacket", packets);
    uint64_t dropped = count("tx_dropped");
    add("txDropped", dropped);
    add("txDropPercent", tx_drop_percent(packets, dropped));
    add("txError", count("tx_errors"));
    add("txErrorFifo", count("tx_fifo_errors"));
    add("txErrorCarrier", count("tx_carrier_errors"));
    // Beacon counters are not collected, so their percentage is 0 as well.
    add("txBcnSuccess", 0);
    add("txBcnFailure", 0);
    add("txBeaconPercent", 0);
    return stat;
}

json::Ptr iface_entry(const Radio& r, const std::string& ifname, const std::string& purpose) {
    json::Ptr entry = json::object();
    if (!entry) {
        json::report_no_memory();
        return nullptr;
    }
    json::add(entry, "radioInfo", radio_info_object(r));
    json::add(entry, "radioStat", radio_stat_object(r));
    json::add(entry, "ifaceInfo", iface_info_object(ifname, purpose));
    json::add(entry, "ifaceStat", iface_stat_object(ifname));
    return entry;
}

// The interfaces "iwconfig" lists for the radio, in version order; nothing when the
// listing cannot be read.
std::optional<std::vector<std::string>> radio_interfaces(const std::string& ap) {
    auto lines =
        shell::capture_lines(shell::compose(kCommandSize, "iwconfig | grep %s | sort -V > %s",
                                            shell::ifname(ap), shell::constant(kWifiParseFile)),
                             kWifiParseFile, kWifiLineSize);
    if (!lines) return std::nullopt;
    std::vector<std::string> names;
    for (const std::string& line : *lines) {
        size_t b = line.find_first_not_of(" \t");
        if (b == std::string::npos) continue;
        size_t e = line.find_first_of(" \t\n", b);
        std::string token = line.substr(b, e == std::string::npos ? std::string::npos : e - b);
        if (token.empty()) continue;
        names.push_back(bounded(token, kWifiIfnameMax));
    }
    return names;
}

void add_radio_entries(Daemon& d, cJSON* list, Radio r) {
    auto names = radio_interfaces(r.ap);
    if (!names) return;
    r.channel = iw_field(r.name, "channel");
    r.vaps = count_radio_vaps(d, r.ap);
    for (const std::string& ifname : *names) {
        std::string purpose = interface_purpose(d.ifnames, ifname);
        if (purpose == "byod") continue;
        json::add_to_array(list, iface_entry(r, ifname, purpose));
    }
}

}  // namespace

int probe_phy_capability(std::string_view generation, std::string_view ifname) {
    const char* marker = capability_marker(generation);
    if (!marker) return 0;
    std::string name = bounded(std::string(ifname), kWifiIfnameMax);
    std::string phy =
        bounded(one_line(shell::compose(kCommandSize, "cat /sys/class/net/%s/phy80211/name > %s",
                                        shell::ifname(name), shell::constant(kWifiOneLineFile))),
                kPhyNameMax);
    if (phy.empty()) return 0;
    std::string line =
        one_line(shell::compose(kCommandSize, "iw phy %s info | grep '%s' > %s", shell::ifname(phy),
                                shell::constant(marker), shell::constant(kWifiOneLineFile)));
    return line.empty() ? 0 : 1;
}

int count_radio_vaps(Daemon& d, std::string_view ap_ifname) {
    std::string ap = bounded(std::string(ap_ifname), kWifiIfnameMax);
    auto lines = shell::capture_lines(
        shell::compose(kCommandSize,
                       "iw dev | grep -A 1 'Interface' | grep -B 1 '%s' | grep -o 'Interface .*' "
                       "| awk '{print $2}' > %s",
                       shell::ifname(ap), shell::constant(kWifiOneLineFile)),
        kWifiOneLineFile, kWifiLineSize);
    if (!lines) return 0;
    int count = 0;
    for (const std::string& line : *lines) {
        size_t pos = 0;
        while ((pos = line.find_first_not_of(" \n", pos)) != std::string::npos) {
            size_t end = line.find_first_of(" \n", pos);
            std::string name =
                bounded(line.substr(pos, end == std::string::npos ? std::string::npos : end - pos),
                        kWifiIfnameMax);
            if (interface_purpose(d.ifnames, name) != "byod") ++count;
            if (end == std::string::npos) break;
            pos = end;
        }
    }
    return count;
}

uint64_t tx_drop_percent(uint64_t packets, uint64_t dropped) {
    uint64_t total = packets + dropped;
    if (total == 0) return 0;
    return dropped / total * 100;
}

uint64_t counter_value(std::string_view line) {
    size_t i = 0;
    while (i < line.size() && (line[i] == ' ' || line[i] == '\t')) ++i;
    if (i >= line.size() || !std::isdigit(static_cast<unsigned char>(line[i]))) return 0;
    uint64_t value = 0;
    for (; i < line.size() && std::isdigit(static_cast<unsigned char>(line[i])); ++i) {
        unsigned digit = static_cast<unsigned>(line[i] - '0');
        if (value > (UINT64_MAX - digit) / 10) return UINT64_MAX;  // saturates as strtoull
        value = value * 10 + digit;
    }
    return value;
}

std::string mac_twelve_digits(std::string_view addr) {
    unsigned char b[6];
    std::string text(addr);
    if (std::sscanf(text.c_str(), "%2hhX:%2hhX:%2hhX:%2hhX:%2hhX:%2hhX", &b[0], &b[1], &b[2], &b[3],
                    &b[4], &b[5]) != 6)
        return "";
    char out[13];
    std::snprintf(out, sizeof out, "%02X%02X%02X%02X%02X%02X", b[0], b[1], b[2], b[3], b[4], b[5]);
    return out;
}

json::Ptr create_wifi_analytic_obj(Daemon& d) {
    BandTable table = get_band_table("wifiAnalytic", get_model_index());
    if (table.count() == 0) return nullptr;
    json::Ptr result = json::object();
    if (!result) {
        json::report_no_memory();
        return nullptr;
    }
    for (size_t i = 0; i < table.count(); ++i) {
        std::string radio = "wifi" + std::to_string(i);
        std::string ap = "ath" + std::to_string(i);
        json::add(result, bss_object_name(table.bands[i]).c_str(), bss_info_object(radio, ap));
    }
    json::Ptr list = json::array();
    if (!list) {
        json::report_no_memory();
        return result;
    }
    for (size_t i = 0; i < table.count(); ++i) {
        Radio r{i,
                "wifi" + std::to_string(i),
                "ath" + std::to_string(i),
                table.bands[i],
                table.prefixes[i],
                "",
                0};
        add_radio_entries(d, list.get(), std::move(r));
    }
    json::add(result, "wifiIface", std::move(list));
    platform::remove_file(kWifiParseFile);
    return result;
}

json::Ptr create_wifi_scan_obj() {
    json::Ptr result = json::object();
    json::Ptr list = json::array();
    json::Ptr entry = json::object();
    if (!result || !list || !entry) {
        json::report_no_memory();
        return nullptr;
    }
    cJSON* e = entry.get();
    json::add_string(e, "frequencyBand", "");
    json::add_string(e, "ssidName", "");
    json::add_string(e, "bssMac", "");
    json::add_string(e, "bssMLDMac", "");
    json::add_string(e, "bssBW", "");
    json::add_number(e, "bssStartChannel", 0);
    json::add_number(e, "bssEndChannel", 0);
    json::add_number(e, "bssMainChannel", 0);
    json::add_string(e, "bssRssi", "");
    json::add_string(e, "bssSNR", "");
    json::add_string(e, "bssNoise", "");
    for (const char* name :
         {"bssColor", "bssHT", "bssVHT", "bssHE", "bssEHT", "bssBasicRate", "chanLoad"})
        json::add_number(e, name, 0);
    json::add_to_array(list.get(), std::move(entry));
    json::add(result, "wifiScanResult", std::move(list));
    return result;
}

json::Ptr create_wifi_analytics_event(Daemon& d) {
    json::Ptr body = create_wifi_analytic_obj(d);
    if (!body) return nullptr;
    json::Ptr scan = create_wifi_scan_obj();
    if (scan) {
        cJSON* list = cJSON_DetachItemFromObject(scan.get(), "wifiScanResult");
        json::add(body, "wifiScanResult", json::Ptr(list));
    }
    return body;
}
