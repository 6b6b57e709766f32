#include "state/wifi_config.h"

#include <cstdio>
#include <cstdlib>
#include <span>

#include "core/daemon.h"
#include "platform/fs.h"
#include "platform/platform.h"
#include "platform/shell.h"

namespace {

constexpr size_t kCommandSize = 256;
constexpr size_t kValueSize = 64;  // the buffers iw fields and texts are read into

struct BandRow {
    const char* band;
    const char* prefix;
};

// Which slot of the interface map holds a purpose's interface on 2G, 5G and 6G; -1
// where the purpose has no interface on that band.
struct PurposeSlots {
    const char* purpose;
    const char* lookup_word;  // the word the analytics report for it
    int slot[3];
};

constexpr PurposeSlots kPurposeSlots[] = {
    {"main", "main", {0, 1, 2}},
    {"guest", "guest", {3, 4, 5}},
    {"customize", "iot", {6, 7, -1}},
    {"bhAP", "backhaul", {8, 9, 10}},
};

int band_column(std::string_view band) {
    if (band == "2G") return 0;
    if (band == "5G") return 1;
    if (band == "6G") return 2;
    return -1;
}

std::string bounded(std::string text, size_t size) {
    if (size == 0) return {};
    if (text.size() > size - 1) text.resize(size - 1);
    return text;
}

std::string nv(const std::string& key) {
    return ovraNvramConfig_get(key);
}

std::string lower(std::string text) {
    strlwr(text);
    return text;
}

// --- one purpose on one band ----------------------------------------------------------

struct Slot {
    std::string purpose;  // "main", "guest", "customize", "bhAP"
    std::string band;     // "2G", "5G", "5G2", "6G"
    std::string prefix;   // "wla", "wlh", "wli" or ""
    std::string ifname;   // "" when the model has no interface here
    std::string name(const char* suffix) const { return purpose + "-" + band + suffix; }
};

int enable_value(const Slot& s) {
    if (s.purpose == "main") return nv(s.prefix + "_wlanstate") == "Enable" ? 1 : 0;
    if (s.purpose == "guest") return std::atoi(nv("wla_sec_profile_enable_3").c_str());
    if (s.purpose == "customize") return std::atoi(nv("iot_" + lower(s.band) + "_enable").c_str());
    return s.band == "5G2" ? 0 : 1;  // bhAP
}

std::string ssid_value(const Slot& s) {
    if (s.purpose == "main") return nv(s.prefix + "_ssid");
    if (s.purpose == "guest") return nv("wla_ssid_3");
    if (s.purpose == "customize") return nv(s.prefix + "_ssid_iot");
    return nv("wla_ssid_2");
}

bool broadcast_value(const Slot& s) {
    auto line = shell::capture_first_line(
        shell::compose(kCommandSize, "ip addr show %s | head -1 > %s", shell::ifname(s.ifname),
                       shell::constant(kWifiParseFile)),
        kWifiParseFile, kWifiLineSize);
    return line && line->find("BROADCAST") != std::string::npos;
}

std::string channel_value(const Slot& s) {
    std::string channel =
        (s.purpose == "bhAP" && s.band == "5G") ? nv("wlg_channel") : nv(s.prefix + "_channel");
    return channel == "0" ? "AUTO" : channel;
}

std::string mode_value(const Slot& s) {
    std::string mode = s.band == "6G" ? nv("wli_mode") : nv(s.prefix + "_hwmode");
    std::string text;
    get_phy_rate_text(text, kValueSize, s.band, mode);
    return text;
}

// The guest SSID has no security key of its own on 6G.
std::string security_value(const Slot& s) {
    if (s.purpose == "main") return nv(s.prefix + "_secu_type");
    if (s.purpose == "guest") {
        if (s.band == "2G") return nv(s.prefix + "_secu_type_3");
        if (s.band == "5G") return nv(s.prefix + "_secu_type_2");
        return "";
    }
    if (s.purpose == "customize") return nv(s.prefix + "_secu_type_iot");
    return nv("wla_secu_type_iot");
}

json::Ptr config_object(const Slot& s) {
    json::Ptr config = json::object();
    if (!config) return nullptr;
    bool present = !s.ifname.empty();
    json::add(config, s.name("-Config-Enable").c_str(),
              json::boolean(present && enable_value(s) != 0));
    json::add_string(config.get(), s.name("-Config-SSID").c_str(), present ? ssid_value(s) : "");
    json::add(config, s.name("-Config-Broadcast").c_str(),
              json::boolean(present && broadcast_value(s)));
    json::add_string(config.get(), s.name("-Config-Channel").c_str(),
                     present ? channel_value(s) : "");
    json::add_string(config.get(), s.name("-Config-Mode").c_str(), present ? mode_value(s) : "");
    json::add_string(config.get(), s.name("-Config-SecurityType").c_str(),
                     present ? security_value(s) : "");
    return config;
}

std::string iw_field(const std::string& ifname, const char* field) {
    std::string value;
    if (!ifname.empty()) get_iw_dev_field(value, kValueSize, ifname, field);
    return value;
}

json::Ptr ifconf_object(const Slot& s) {
    json::Ptr ifconf = json::object();
    if (!ifconf) return nullptr;
    json::add_string(ifconf.get(), s.name("-IfConf-Name").c_str(), s.ifname);
    json::add_string(ifconf.get(), s.name("-IfConf-Mode").c_str(), iw_field(s.ifname, "type"));
    json::add_string(
        ifconf.get(), s.name("-IfConf-Status").c_str(),
        s.ifname.empty() ? "" : read_sysfs_line(s.ifname, "operstate", kWifiParseFile));
    json::add_string(ifconf.get(), s.name("-IfConf-SSID").c_str(), iw_field(s.ifname, "ssid"));
    return ifconf;
}

json::Ptr slot_object(const Slot& s) {
    json::Ptr obj = json::object();
    if (!obj) {
        json::report_no_memory();
        return nullptr;
    }
    json::add(obj, s.name("-Config").c_str(), config_object(s));
    json::add(obj, s.name("-IfConf").c_str(), ifconf_object(s));
    return obj;
}

// --- radios ---------------------------------------------------------------------------

json::Ptr radio_object(const std::string& band, size_t index) {
    json::Ptr radio = json::object();
    if (!radio) {
        json::report_no_memory();
        return nullptr;
    }
    std::string ifname = "wifi" + std::to_string(index);
    std::string state = read_sysfs_line(ifname, "operstate", kWifiParseFile);
    std::string region = nv("sku_name");
    json::add(radio, ("radio-" + band + "-Status").c_str(),
              json::boolean(state == "up" || state == "unknown"));
    json::add_string(radio.get(), ("radio-" + band + "-Name").c_str(), ifname);
    json::add_string(radio.get(), ("radio-" + band + "-Channel").c_str(),
                     iw_field(ifname, "channel"));
    json::add_string(radio.get(), ("radio-" + band + "-Region").c_str(),
                     region == "NA" ? "US" : region);
    return radio;
}

}  // namespace

BandTable get_band_table(std::string_view kind, int model_index) {
    static constexpr BandRow kIndex2[] = {{"2G", "wla"}, {"5G", "wlh"}, {"5G2", ""}, {"6G", "wli"}};
    static constexpr BandRow kTriBand[] = {{"2G", "wla"}, {"5G", "wlh"}, {"6G", "wli"}};
    static constexpr BandRow kTriBandOther[] = {
        {"2G", "wla"}, {"5G", "wlh"}, {"6G", "wli"}, {"5G2", ""}};
    static constexpr BandRow kDualBand[] = {{"2G", "wla"}, {"5G", "wlh"}};
    static constexpr BandRow kDualBandOther[] = {
        {"2G", "wla"}, {"5G", "wlh"}, {"5G2", ""}, {"6G", ""}};
    bool config = kind == "wifiConfig";
    std::span<const BandRow> rows;
    switch (model_index) {
        case 2:
            rows = kIndex2;
            break;
        case 3:
        case 5:
            rows = config ? std::span<const BandRow>(kTriBand) : kTriBandOther;
            break;
        case 4:
            rows = config ? std::span<const BandRow>(kDualBand) : kDualBandOther;
            break;
        default:
            break;
    }
    BandTable table;
    for (const BandRow& r : rows) {
        table.bands.emplace_back(r.band);
        table.prefixes.emplace_back(r.prefix);
    }
    return table;
}

std::string purpose_interface(const platform::IfnameMap& map, std::string_view purpose,
                              std::string_view band) {
    int column = band_column(band);
    if (column < 0) return "";
    for (const PurposeSlots& p : kPurposeSlots) {
        if (purpose != p.purpose) continue;
        int slot = p.slot[column];
        if (slot < 0) return "";
        return bounded(map[static_cast<size_t>(slot)], kWifiIfnameMax + 1);
    }
    return "";
}

std::string interface_purpose(const platform::IfnameMap& map, std::string_view ifname) {
    if (ifname.empty()) return "";
    for (const PurposeSlots& p : kPurposeSlots)
        for (int slot : p.slot)
            if (slot >= 0 && map[static_cast<size_t>(slot)] == ifname) return p.lookup_word;
    return "";
}

void read_first_line(std::string_view path, std::string& buf, size_t size) {
    buf.clear();
    if (size < 2) return;
    if (auto line = platform::read_first_line(path, size))
        buf = platform::strip_newline(std::move(*line));
}

void get_iw_dev_field(std::string& buf, size_t size, std::string_view ifname,
                      std::string_view field) {
    buf.clear();
    std::string name = bounded(std::string(ifname), kWifiIfnameMax + 1);
    auto lines =
        shell::capture_lines(shell::compose(kCommandSize, "iw dev %s info > %s",
                                            shell::ifname(name), shell::constant(kWifiOneLineFile)),
                             kWifiOneLineFile, kWifiLineSize);
    if (!lines) {
        char text[160];
        std::snprintf(text, sizeof text, "Failed to get %s iw info (%s)\n", name.c_str(),
                      std::string(field).c_str());
        platform::append_console(text);
        return;
    }
    constexpr std::string_view kSeparators = " \t\n";
    for (const std::string& line : *lines) {
        size_t b = line.find_first_not_of(kSeparators);
        if (b == std::string::npos) continue;
        size_t e = line.find_first_of(kSeparators, b);
        if (line.compare(b, e == std::string::npos ? std::string::npos : e - b, field) != 0 ||
            e == std::string::npos)
            continue;
        size_t vb = line.find_first_not_of(kSeparators, e);
        if (vb == std::string::npos) continue;
        size_t ve = line.find_first_of(kSeparators, vb);
        buf = bounded(line.substr(vb, ve == std::string::npos ? std::string::npos : ve - vb), size);
        return;
    }
}

void get_phy_rate_text(std::string& buf, size_t size, std::string_view band,
                       std::string_view mode) {
    std::string model = ovraNvramConfig_get("hwver");
    int index = get_model_index();
    const char* text = "";
    if (band == "2G") {
        if (mode == "11axg") {
            if (model == "VRA420" || model == "VRB530")
                text = "Up to 917.6Mbps";
            else if (model == "VRA430" || model == "VRB540" || model == "VRA440" || index == 2)
                text = "Up to 1147Mbps";
            else
                text = "Up to 573.5Mbps";
        } else if (mode == "11beg") {
            text = "Up to 688Mbps";
        } else {
            text = (index == 1 || index == 2) ? "Up to 800Mbps" : "Up to 400Mbps";
        }
    } else if (band == "5G") {
        if (mode == "11axa")
            text = index == 1 ? "Up to 2402Mbps" : "Up to 1201Mbps";
        else if (mode == "11bea")
            text = index == 2 ? "Up to 5765Mbps" : "Up to 2882Mbps";
        else
            text = index == 1 ? "Up to 2167Mbps" : "Up to 1083Mbps";
    } else if (band == "6G") {
        if (mode == "EHT320")
            text = "Up to 11530 Mbps";
        else if (mode == "HT160")
            text = "Up to 4804 Mbps";
        else if (mode == "HT80")
            text = "Up to 2402 Mbps";
        else if (mode == "HT40")
            text = "Up to 1201 Mbps";
        else if (mode == "HT20")
            text = "Up to 600 Mbps";
    }
    buf = bounded(text, size);
}

std::string read_sysfs_line(std::string_view ifname, std::string_view entry, const char* scratch) {
    std::string name = bounded(std::string(ifname), kWifiIfnameMax + 1);
    std::string path = "/sys/class/net/%s/" + std::string(entry) + " > %s";
    auto command = shell::compose(kCommandSize, ("cat " + path).c_str(), shell::ifname(name),
                                  shell::constant(scratch));
    if (!command) return "";
    shell::run(command);
    std::string line;
    read_first_line(scratch, line, kWifiLineSize);
    platform::remove_file(scratch);
    return line;
}

json::Ptr create_wifi_config_obj(Daemon& d) {
    BandTable table = get_band_table("wifiConfig", get_model_index());
    if (table.count() == 0) return nullptr;
    json::Ptr result = json::object();
    if (!result) {
        json::report_no_memory();
        return nullptr;
    }
    for (const char* purpose : {"main", "guest", "customize", "bhAP"}) {
        for (size_t i = 0; i < table.count(); ++i) {
            Slot s{purpose, table.bands[i], table.prefixes[i],
                   purpose_interface(d.ifnames, purpose, table.bands[i])};
            json::add(result, (s.purpose + "-" + s.band).c_str(), slot_object(s));
        }
    }
    for (size_t i = 0; i < table.count(); ++i)
        json::add(result, ("radio-" + table.bands[i]).c_str(), radio_object(table.bands[i], i));
    platform::remove_file(kWifiParseFile);
    return result;
}
