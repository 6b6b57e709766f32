#include "mesh/satellites.h"

#include <cstdio>
#include <string>
#include <type_traits>
#include <vector>

#include "core/daemon.h"
#include "mesh/backhaul.h"
#include "mesh/net_scan.h"
#include "platform/fs.h"
#include "platform/platform.h"
#include "platform/uci_session.h"

namespace {

constexpr const char* kLiveDir = "/tmp";
constexpr const char* kKnownDir = "/opt/cache/system/device-info-table";
constexpr size_t kListSize = 4096;
// The SOAP client's request that refreshes the satellites' answers, and the time it is
// given before they are read.
constexpr int kRefreshSatelliteInfo = 1047;
constexpr unsigned kRefreshWaitSeconds = 3;
// A satellite reports a handful of temperature sensors; a larger count in nvram is
// reported as it stands but only this many sensors are read.
constexpr int kMaxSensors = 32;
constexpr const char* kCloneMembers[] = {
    "satMain2gSSIDCloneStatus",  "satMain5gSSIDCloneStatus",  "satMain6gSSIDCloneStatus",
    "satGuest2gSSIDCloneStatus", "satGuest5gSSIDCloneStatus", "satIOT2gSSIDCloneStatus",
    "satIOT5gSSIDCloneStatus",
};

bool is_space(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// atoi that saturates instead of overflowing.
int to_int(std::string_view text) {
    size_t i = 0;
    while (i < text.size() && is_space(text[i])) ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
    long long value = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i)
        if (value <= 2147483647LL) value = value * 10 + (text[i] - '0');
    if (negative) value = -value;
    if (value > 2147483647LL) return 2147483647;
    if (value < -2147483647LL - 1) return -2147483647 - 1;
    return static_cast<int>(value);
}

int within_table(int count) {
    if (count < 0) return 0;
    return count > kMaxSatellites ? kMaxSatellites : count;
}

std::string cut(std::string text, size_t max) {
    if (text.size() > max) text.resize(max);
    return text;
}

std::vector<std::string> split(std::string_view text, std::string_view delimiters) {
    std::vector<std::string> pieces;
    size_t i = 0;
    while ((i = text.find_first_not_of(delimiters, i)) != std::string_view::npos) {
        size_t end = text.find_first_of(delimiters, i);
        if (end == std::string_view::npos) end = text.size();
        pieces.emplace_back(text.substr(i, end - i));
        i = end;
    }
    return pieces;
}

bool same_address(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
        char x = a[i] >= 'a' && a[i] <= 'z' ? static_cast<char>(a[i] - 32) : a[i];
        char y = b[i] >= 'a' && b[i] <= 'z' ? static_cast<char>(b[i] - 32) : b[i];
        if (x != y) return false;
    }
    return true;
}

// nvram "soapc_sat_<i>_<name>".
std::string sat(int i, std::string_view name) {
    return ovraNvramConfig_get("soapc_sat_" + std::to_string(i) + "_" + std::string(name));
}
std::string sensor(int i, const char* name, int j) {
    return sat(
        i, std::string("DeviceInfo_GetCurrentSatellitesInfo_") + name + "_" + std::to_string(j));
}

// One session of the UCI wrapper whose failures are printed under `func`.
class Uci {
  public:
    explicit Uci(const char* func) : func_(func) { ovraUciConfig_w_init(); }
    ~Uci() { ovraUciConfig_w_exit(); }
    Uci(const Uci&) = delete;
    Uci& operator=(const Uci&) = delete;

    void open(const char* dir, const char* package) {
        int rc = ovraUciConfig_w_set_config_dir(dir);
        if (rc != UCI_OK) uci_report(func_, __LINE__, "ovraUciConfig_w_set_config_dir", rc);
        rc = ovraUciConfig_w_update(package);
        if (rc != UCI_OK) uci_report(func_, __LINE__, "ovraUciConfig_w_update", rc);
    }
    std::optional<std::string> get(const std::string& path, size_t size) {
        std::string value;
        int rc = ovraUciConfig_w_get_value(path, value, size);
        if (rc != UCI_OK) {
            uci_report(func_, __LINE__, "ovraUciConfig_w_get_value", rc);
            return std::nullopt;
        }
        return value;
    }
    // The MACs of the live device list, with the trace lines of the device passes.
    std::vector<std::string> device_list() {
        const std::string key = "devices.lists.mac";
        std::optional<std::string> value = get(key, kListSize);
        std::printf("[%s,%d]uciKey:%s\n", func_, __LINE__, key.c_str());
        std::printf("[%s,%d]value:%s\n", func_, __LINE__, value ? value->c_str() : "");
        std::vector<std::string> macs = value ? split(*value, " \t\n") : std::vector<std::string>{};
        for (size_t i = 0; i < macs.size(); ++i)
            std::printf("[%s,%d]mac:%s,macCount:%d\n", func_, __LINE__, macs[i].c_str(),
                        static_cast<int>(i + 1));
        return macs;
    }

  private:
    const char* func_;
};

// Devices of the live table whose `conndevice` is "satellite", kept within the table.
int count_satellites() {
    static const char* const func = "create_satellite_obj";
    Uci uci(func);
    uci.open(kLiveDir, "devices");
    int count = 0;
    for (const std::string& mac : uci.device_list()) {
        std::string key = "devices." + mac + ".conndevice";
        std::string value = uci.get(key, kListSize).value_or("");
        std::printf("[%s,%d]mac:%s\n", func, __LINE__, mac.c_str());
        std::printf("[%s,%d]uciKey:%s\n", func, __LINE__, key.c_str());
        std::printf("[%s,%d]value:%s\n", func, __LINE__, value.c_str());
        if (value == "satellite" && count < kMaxSatellites) ++count;
    }
    return count;
}

// Compares what the SOAP client holds of each satellite with the cache, and keeps the
// new values.
void refresh_cache(SatelliteCache& cache, int count) {
    static const char* const func = "create_satellite_obj";
    cache.count = count;
    cache.changed = 1;
    for (int i = 0; i < count; ++i) {
        SatelliteCacheEntry& e = cache.entries[static_cast<size_t>(i)];
        auto update = [&](auto& slot, const std::string& value, const char* what) {
            std::decay_t<decltype(slot)> fresh;
            fresh = value;
            if (fresh.view() == slot.view()) return;
            std::printf("[%s,%d]satellite %s is different\n", func, __LINE__, what);
            cache.changed = 1;
            slot = value;
        };
        update(e.mac, sat(i, "mac"), "mac");
        update(e.fw_version, sat(i, "DeviceInfo_GetInfo_Firmwareversion"), "firmware version");
        update(e.fw_last_update, sat(i, "DeviceInfo_GetInfo_FirmwareLastUpdate"),
               "firmware update time");
        update(e.speed_test_time, sat(i, "DeviceInfo_GetOOKLASpeedTestResultbyMAC_Lasttesttime"),
               "speed test time");
    }
}

// The 12-digit form of a colon-form MAC: its first six colon-separated parts joined.
std::string mac_without_colons(std::string_view mac) {
    std::string joined;
    auto parts = split(mac, ":");
    for (size_t i = 0; i < parts.size() && i < 6; ++i) joined += parts[i];
    return joined;
}

// "94A67E304050" -> "94:A6:7E:30:40:50", pair by pair as written.
std::string mac_with_colons(std::string_view mac12) {
    std::string colon;
    for (size_t i = 0; i + 1 < mac12.size() && i < 12; i += 2) {
        if (i) colon += ':';
        colon += mac12.substr(i, 2);
    }
    return colon;
}

std::string backhaul_status(const std::string& mac12) {
    static const char* const func = "create_satellite_obj";
    if (mac12.empty()) return {};
    Uci uci(func);
    uci.open(kLiveDir, "devices");
    return uci.get("devices." + mac12 + ".backhaulStatus", kListSize).value_or("");
}

void replace_string(cJSON* object, const char* name, const char* value) {
    if (!object || !cJSON_GetObjectItemCaseSensitive(object, name)) return;
    json::Ptr item = json::string(value);
    if (cJSON_ReplaceItemInObjectCaseSensitive(object, name, item.get())) item.release();
}

// The mesh-wide SSID clone state, kept across the satellites of one report.
enum class AllClone { None, Cloned, OutOfSync };

struct Topology {
    json::Ptr doc;
    int main_index = 0;
    int guest_index = 99;
    int iot_index = 99;
    int number_of_db = 0;
    AllClone all = AllClone::None;
    // The document's "DB_<k>" entries by k (slot 0 unused), found in one walk over
    // "Satellite" when the document is read: looking each name up again for every
    // satellite would cost the square of the database size per satellite.
    std::vector<cJSON*> db_entries;
};

// k when `name` reads "DB_<k>" the way the library's name look-up matches "DB_%d"
// (letters in any case, k in decimal without leading zeros), 0 otherwise.
int db_entry_number(const char* name, int limit) {
    if (!name || (name[0] != 'D' && name[0] != 'd') || (name[1] != 'B' && name[1] != 'b') ||
        name[2] != '_' || name[3] < '1' || name[3] > '9')
        return 0;
    long long k = 0;
    for (const char* c = name + 3; *c; ++c) {
        if (*c < '0' || *c > '9') return 0;
        k = k * 10 + (*c - '0');
        if (k > limit) return 0;
    }
    return static_cast<int>(k);
}

// Reads the entry count "numberOfDB" of the document's "Satellite" and indexes its
// entries "DB_1".."DB_<number_of_db>", the first of each name winning as in a look-up by
// name. Entries are only ever read from 1 upwards until one is missing, so no more slots
// than there are members are needed.
void index_db_entries(Topology& t) {
    cJSON* satellites = json::get(t.doc.get(), "Satellite");
    if (!satellites) return;
    cJSON* count = json::get(satellites, "numberOfDB");
    if (cJSON_IsNumber(count)) t.number_of_db = count->valueint;
    int members = cJSON_GetArraySize(satellites);
    int limit = t.number_of_db < members ? t.number_of_db : members;
    if (limit < 1) return;
    t.db_entries.assign(static_cast<size_t>(limit) + 1, nullptr);
    for (cJSON* child = satellites->child; child; child = child->next) {
        int k = db_entry_number(child->string, limit);
        if (k > 0 && !t.db_entries[static_cast<size_t>(k)])
            t.db_entries[static_cast<size_t>(k)] = child;
    }
}

cJSON* db_entry(const Topology& t, int k) {
    return static_cast<size_t>(k) < t.db_entries.size() ? t.db_entries[static_cast<size_t>(k)]
                                                        : nullptr;
}

// Which network each ESSID index of the router's own interfaces serves.
void read_network_indexes(Topology& t, const platform::IfnameMap& ifnames) {
    cJSON* local = json::get(json::get(t.doc.get(), "Basic"), "Local_Interfaces");
    int n = local ? cJSON_GetArraySize(local) : 0;
    auto slot_is = [&](const char* name, size_t slot) {
        return !ifnames[slot].empty() && ifnames[slot] == name;
    };
    for (int k = 0; k < n; ++k) {
        cJSON* item = cJSON_GetArrayItem(local, k);
        const char* name = json::get_string(item, "Interface_Name");
        if (!name) break;
        const char* essid = json::get_string(item, "ESSID");
        if (!essid) continue;
        int index = to_int(essid);
        if (slot_is(name, 0) || slot_is(name, 1) || slot_is(name, 2))
            t.main_index = index;
        else if (slot_is(name, 3) || slot_is(name, 4))
            t.guest_index = index;
        else if (slot_is(name, 6) || slot_is(name, 7))
            t.iot_index = index;
    }
}

struct CloneRule {
    const char* medium;
    int Topology::*index;
    const char* nvram_key;
    const char* member;
};
constexpr CloneRule kCloneRules[] = {
    {"WLAN2G", &Topology::main_index, "wla_ssid", "satMain2gSSIDCloneStatus"},
    {"WLAN5G", &Topology::main_index, "wlh_ssid", "satMain5gSSIDCloneStatus"},
    {"WLAN6G", &Topology::main_index, "wli_ssid", "satMain6gSSIDCloneStatus"},
    {"WLAN2G", &Topology::guest_index, "wla_ssid_3", "satGuest2gSSIDCloneStatus"},
    {"WLAN5G", &Topology::guest_index, "wlh_ssid_2", "satGuest5gSSIDCloneStatus"},
    {"WLAN2G", &Topology::iot_index, "wla_ssid_iot", "satIOT2gSSIDCloneStatus"},
    {"WLAN5G", &Topology::iot_index, "wlh_ssid_iot", "satIOT5gSSIDCloneStatus"},
};

// Compares the SSIDs the satellite serves with the router's.
void compare_ssids(Topology& t, cJSON* entry, cJSON* obj) {
    cJSON* bsss = json::get(entry, "Remote_Connect_NOT_Direct_Self");
    int n = bsss ? cJSON_GetArraySize(bsss) : 0;
    for (int k = 0; k < n; ++k) {
        cJSON* item = cJSON_GetArrayItem(bsss, k);
        const char* ssid = json::get_string(item, "SSID");
        const char* medium = json::get_string(item, "Medium_Type");
        if (ssid && !medium) break;
        const char* essid = json::get_string(item, "ESSID");
        if (!ssid || !essid) continue;
        int index = to_int(essid);
        for (const CloneRule& rule : kCloneRules) {
            if (std::string_view(medium) != rule.medium || index != t.*rule.index) continue;
            bool same = ovraNvramConfig_get(rule.nvram_key) == ssid;
            replace_string(obj, rule.member, same ? "Cloned" : "Out of sync");
            if (!same) t.all = AllClone::OutOfSync;
            break;
        }
    }
}

// Mesh link and SSID clone state of one satellite from the topology document.
void apply_topology(Topology& t, const platform::IfnameMap& ifnames, const std::string& mac,
                    cJSON* obj, cJSON* router_info) {
    read_network_indexes(t, ifnames);
    cJSON* satellites = json::get(t.doc.get(), "Satellite");
    if (!satellites) return;
    if (t.number_of_db >= 1 && t.all == AllClone::None) t.all = AllClone::Cloned;
    for (int k = 1; k <= t.number_of_db; ++k) {
        cJSON* entry = db_entry(t, k);
        const char* entry_mac = json::get_string(entry, "MAC_address");
        if (!entry_mac) break;
        if (!same_address(entry_mac, mac)) continue;
        replace_string(obj, "satelliteMeshConnectStatus", "Connected");
        compare_ssids(t, entry, obj);
    }
    if (t.all == AllClone::Cloned) replace_string(router_info, "satAllSSIDCloneStatus", "Cloned");
    if (t.all == AllClone::OutOfSync)
        replace_string(router_info, "satAllSSIDCloneStatus", "Out of sync");
}

json::Ptr memory_info(int free_kb, int used_kb) {
    json::Ptr memory = json::object();
    json::add_number(memory.get(), "memoryFree", free_kb);
    json::add_number(memory.get(), "memoryUsed", used_kb);
    return memory;
}

json::Ptr device_info(const std::string& mac12, const std::string& serial) {
    json::Ptr info = json::object();
    json::add_string(info.get(), "macAddress", mac12);
    json::add_string(info.get(), "serialNumber", serial);
    return info;
}

json::Ptr connected_backhaul(int i, const std::string& mac) {
    const std::string wifi = "DeviceInfo_GetCurrentSatellitesWIFIinfo_";
    json::Ptr bh = json::object();
    cJSON* b = bh.get();
    json::add_string(b, "hop", sat(i, "Hop"));
    json::add_string(b, "mac", sat(i, wifi + "BHMACaddress"));
    std::string rssi = sat(i, wifi + "BHRSSI");
    std::string conn_type = sat(i, wifi + "BHConnType");
    json::add_string(b, "bhRssi", rssi);
    json::add_string(b, "bhConnType", conn_type);
    json::add_string(b, "bhPhyTxRate", sat(i, wifi + "BHPhyTxRate"));
    json::add_string(b, "bhPhyRxRate", sat(i, wifi + "BHPhyRxRate"));
    std::string count, minutes;
    get_BHDisconnect(mac, count, minutes);
    json::add_string(b, "bhDisconnectTime", minutes);
    json::add_string(b, "bhDisconnectCount", count.empty() ? "0" : count);
    reset_BHDisconnect(mac, 1);
    json::add_string(b, "bhConnStatus", backhaul_link_status(conn_type, rssi));
    std::string switches;
    get_APSwithCount(mac, switches, 32);
    json::add_string(b, "apSwitchCount", switches);
    json::add_string(b, "parentMac", sat(i, wifi + "BHParentMAC"));
    return bh;
}

// avsRegistration from the voice keys of satellite `i`, and the region and language
// when the satellite has a registered voice service.
void add_voice(cJSON* obj, int i, bool with_designators) {
    static const char* const func = "create_satellite_obj";
    std::string support = sat(i, "DeviceInfo_GetSupportFeatureListXML_AvsSupport");
    std::string service = sat(i, "VoiceControl_GetVoiceControlStatus_AvsServiceStatus");
    if (support.empty() || service.empty()) {
        json::add_number(obj, "avsRegistration", 0);
        return;
    }
    json::add_number(obj, "avsRegistration", to_int(service));
    if (!with_designators) return;
    std::string language = sat(i, "VoiceControl_GetVoiceControlStatus_CurrentTriggerLanguage");
    std::printf("[%s,%d]voiceCurrentTriggerLanguage:%s\n", func, __LINE__, language.c_str());
    std::string region = voice_designator(language, "RegionDesignator");
    std::printf("[%s,%d]RegionDesignator:%s\n", func, __LINE__, region.c_str());
    std::string lang = voice_designator(language, "LanguageDesignator");
    std::printf("[%s,%d]LanguageDesignator:%s\n", func, __LINE__, lang.c_str());
    json::add_string(obj, "avsRegion", region);
    json::add_string(obj, "avsLanguage", lang);
}

void add_sensors(cJSON* obj, int i) {
    int n = to_int(sat(i, "DeviceInfo_GetCurrentSatellitesInfo_numberOfSensors"));
    json::add_number(obj, "numberOfSensors", n);
    if (n <= 0) return;
    json::Ptr sensors = json::array();
    for (int j = 0; j < n && j < kMaxSensors; ++j) {
        json::Ptr s = json::object();
        for (const char* name :
             {"Name", "highestTemp", "lowestTemp", "otpEnable", "otpTriggerStatus",
              "otpTriggerCount", "otpTriggerLongestDuration"})
            json::add_string(s.get(), name, sensor(i, name, j));
        json::add_to_array(sensors.get(), std::move(s));
    }
    json::add(obj, "sensor", std::move(sensors));
}

// One connected satellite; nothing when its backhaul is down (the disconnected pass
// reports it).
void connected_satellite(Daemon& d, int i, cJSON* array, Topology& topology, cJSON* router_info) {
    std::string mac = cut(sat(i, "mac"), 31);
    std::string mac12 = mac_without_colons(mac);
    std::string status = backhaul_status(mac12);
    if (status == "Disconnected") return;

    json::Ptr owned = json::object();
    if (!owned) {
        json::report_no_memory();
        return;
    }
    cJSON* obj = owned.get();
    json::add_to_array(array, std::move(owned));
    json::add_string(obj, "modelName", sat(i, "DeviceInfo_GetInfo_ModelName"));
    json::add_string(obj, "hwRevision", sat(i, "DeviceInfo_GetCurrentSatellitesInfo_hwRevision"));
    // The SOAP client refreshes the satellite's answers on request; they are read
    // after it has had time to ask.
    hook_soapc(kRefreshSatelliteInfo);
    platform::sleep_seconds(kRefreshWaitSeconds);

    std::string uptime = cut(sat(i, "DeviceInfo_GetCurrentSatellitesInfo_UPTime"), 31);
    if (auto text = satellite_uptime(uptime)) json::add_string(obj, "upTime", *text);
    json::add(obj, "memoryInfo",
              memory_info(to_int(sat(i, "DeviceInfo_GetCurrentSatellitesInfo_MemoryFree")),
                          to_int(sat(i, "DeviceInfo_GetCurrentSatellitesInfo_MemoryUsed"))));
    json::add(obj, "deviceInfo", device_info(mac12, sat(i, "DeviceInfo_GetInfo_SerialNumber")));
    json::add_string(obj, "satelliteStatus", status);
    json::add_string(obj, "satelliteSOAPStatus",
                     satellite_soap_status(sat(i, "isconnected"),
                                           sat(i, "ParentalControl_Authenticate_response")));
    json::add_string(obj, "satelliteMeshConnectStatus", "Disconnected");
    for (const char* member : kCloneMembers) json::add_string(obj, member, "NA");
    if (topology.doc) apply_topology(topology, d.ifnames, mac, obj, router_info);

    json::add(obj, "wifiBackhaulInfo", connected_backhaul(i, mac));
    json::add_string(obj, "fwVersion", sat(i, "DeviceInfo_GetInfo_Firmwareversion"));
    std::string last_update = sat(i, "DeviceInfo_GetInfo_FirmwareLastUpdate");
    json::add_string(obj, "fwLastUpdate", last_update);
    json::add_string(obj, "fwLastChecked", sat(i, "DeviceInfo_GetInfo_FirmwareLastChecked"));
    json::add_string(obj, "fwupgrade_Method",
                     last_update.empty() ? "" : sat(i, "DeviceInfo_GetInfo_FirmwareDLmethod"));
    add_voice(obj, i, true);
    add_sensors(obj, i);
}

json::Ptr disconnected_backhaul(const std::string& colon_mac) {
    json::Ptr bh = json::object();
    cJSON* b = bh.get();
    json::add_string(b, "hop", "");
    json::add_string(b, "mac", "");
    json::add_string(b, "bhRssi", "0");
    json::add_string(b, "bhConnType", "");
    json::add_string(b, "bhPhyTxRate", "");
    json::add_string(b, "bhPhyRxRate", "");
    std::string count, minutes;
    get_BHDisconnect(colon_mac, count, minutes);
    json::add_string(b, "bhDisconnectTime", minutes);
    json::add_string(b, "bhDisconnectCount", count.empty() ? "0" : count);
    reset_BHDisconnect(colon_mac, 0);
    json::add_string(b, "bhConnStatus", "Disconnect");
    std::string switches;
    get_APSwithCount(colon_mac, switches, 32);
    json::add_string(b, "apSwitchCount", switches);
    json::add_string(b, "parentMac", "");
    return bh;
}

struct KnownSatellite {
    std::string mac12, model, serial, fw_version;
};

json::Ptr disconnected_satellite(const KnownSatellite& k) {
    json::Ptr owned = json::object();
    cJSON* obj = owned.get();
    json::add_string(obj, "modelName", k.model);
    json::add_string(obj, "hwRevision", "");
    json::add_string(obj, "upTime", "");
    json::add(obj, "memoryInfo", memory_info(0, 0));
    json::add(obj, "deviceInfo", device_info(k.mac12, k.serial));
    json::add(obj, "wifiBackhaulInfo", disconnected_backhaul(mac_with_colons(k.mac12)));
    json::add_string(obj, "fwVersion", k.fw_version);
    json::add_string(obj, "fwLastUpdate", "");
    json::add_string(obj, "fwLastChecked", "");
    json::add_string(obj, "fwupgrade_Method", "");
    // The voice keys of the first satellite stand for every disconnected one.
    add_voice(obj, 0, false);
    json::add_string(obj, "satelliteStatus", "Disconnected");
    json::add_string(obj, "satelliteSOAPStatus", "failed");
    json::add_string(obj, "satelliteMeshConnectStatus", "Disconnected");
    for (const char* member : kCloneMembers) json::add_string(obj, member, "NA");
    return owned;
}

}  // namespace

std::optional<std::string> satellite_uptime(std::string_view uptime_text) {
    constexpr size_t kMaxUptime = 30;
    std::string text(uptime_text);
    if (text.find("day") == std::string::npos) return cut("0 days " + text, kMaxUptime);
    // " %6s days %8s"
    size_t i = 0;
    auto skip_space = [&] {
        while (i < text.size() && is_space(text[i])) ++i;
    };
    auto word = [&](size_t width) {
        skip_space();
        size_t start = i;
        while (i < text.size() && !is_space(text[i]) && i - start < width) ++i;
        return text.substr(start, i - start);
    };
    std::string days = word(6);
    if (days.empty()) return std::nullopt;
    skip_space();
    if (text.compare(i, 4, "days") != 0) return std::nullopt;
    i += 4;
    std::string clock = word(8);
    if (clock.empty()) return std::nullopt;
    return cut(days + " days " + clock, kMaxUptime);
}

const char* satellite_soap_status(std::string_view isconnected, std::string_view auth_response) {
    if (isconnected == "0") return "failed";
    if (auth_response == "0" || auth_response == "1") return "sync";
    if (auth_response == "401") return "out of sync";
    return "default";
}

const char* backhaul_link_status(std::string_view conn_type, std::string_view rssi) {
    int level = to_int(rssi);
    if (conn_type == "wired" || level >= -45) return "Close";
    if (level < -75) return "Far";
    return "OK";
}

std::string voice_designator(std::string_view xml, std::string_view tag) {
    std::string open = "<" + std::string(tag) + ">";
    std::string close = "</" + std::string(tag) + ">";
    size_t at = xml.find(open);
    if (at == std::string_view::npos) return {};
    std::string_view value = xml.substr(at + open.size());
    value = value.substr(0, value.find(close));
    return std::string(value.substr(0, 7));
}

json::Ptr create_satellite_obj(Daemon& d, cJSON* router_info) {
    static const char* const func = "create_satellite_obj";
    int soap_count = within_table(to_int(ovraNvramConfig_get("soapc_sat_access_count")));
    std::printf("[%s,%d]\n", func, __LINE__);
    int number = count_satellites();
    refresh_cache(d.info.satellites, soap_count);

    json::Ptr obj = json::object();
    if (!obj) {
        json::report_no_memory();
        return nullptr;
    }
    json::add_number(obj.get(), "numberOfSatellite", number);
    cJSON* array = nullptr;
    if (number != 0) {
        json::Ptr owned = json::array();
        array = owned.get();
        json::add(obj.get(), "Satellite", std::move(owned));
    }

    Topology topology;
    netlog_create_json();
    if (auto text = platform::read_file(kNetScanJson)) topology.doc = json::parse(*text);
    index_db_entries(topology);
    // Without the array there is nowhere to report a satellite.
    if (!array) return obj;

    for (int i = 0; i < soap_count; ++i) connected_satellite(d, i, array, topology, router_info);
    topology.doc.reset();
    create_disconnected_satellite_obj(array);
    return obj;
}

void create_disconnected_satellite_obj(cJSON* satellites) {
    static const char* const func = "create_disconnected_satellite_obj";
    if (!satellites) return;
    Uci uci(func);
    uci.open(kLiveDir, "devices");
    std::vector<std::string> macs = uci.device_list();
    for (const std::string& mac : macs) {
        if (cJSON_GetArraySize(satellites) >= kMaxSatellites) break;
        std::printf("[%s,%d]mac:%s\n", func, __LINE__, mac.c_str());
        uci.open(kKnownDir, "knowndevices");
        std::string known = "knowndevices." + mac + ".";
        if (uci.get(known + "conndevice", kListSize).value_or("") != "satellite") continue;
        KnownSatellite k;
        k.mac12 = mac;
        k.model = uci.get(known + "model", 32).value_or("");
        k.serial = uci.get(known + "SN", 32).value_or("");
        k.fw_version = uci.get(known + "fwVersion", 32).value_or("");
        uci.open(kLiveDir, "devices");
        if (uci.get("devices." + mac + ".backhaulStatus", 64).value_or("") != "Disconnected")
            continue;
        json::add_to_array(satellites, disconnected_satellite(k));
    }
}

json::Ptr satellite_info_body(Daemon& d) {
    return create_satellite_obj(d, d.routine_router_info);
}
