#include "mesh/attached_devices.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/daemon.h"
#include "mesh/device_types.h"
#include "mesh/device_uci.h"
#include "mesh/port_status.h"
#include "platform/fs.h"
#include "platform/platform.h"

namespace {

// Buffer sizes the device-tracking options are read with.
constexpr size_t kOptionSize = 256;
constexpr size_t kShortOptionSize = 64;
constexpr size_t kFlagSize = 8;
constexpr size_t kMacListSize = 4096;
constexpr size_t kKnownMacListSize = 8192;

// Added to every reported link rate so that the report text always shows it as a
// non-integer number (1000 is written 1000.000001). Only a wired device behind no known
// LAN port reports exactly 0.
constexpr double kRateMark = 0.000001;

constexpr const char* kSwitchDirFailed =
    "Failed to swith knowndevices dir - /opt/cache/system/device-info-table\n";

// Connection codes: what the record counts as.
enum Connection {
    kWired = 0,
    kBand24 = 1,
    kBand5 = 2,
    kVpn = 4,
    kBand6 = 5,
    kUncounted = -1,  // filled and printed, then its slot is reused
    kSkipped = -2,    // a mesh node or a bare "Wireless" text: not filled at all
};

bool counted(int code) {
    return code == kWired || code == kBand24 || code == kBand5 || code == kVpn || code == kBand6;
}

bool debug_enabled() {
    return ovraNvramConfig_get("telem_debug") == "1";
}

// The blank-separated tokens of a MAC list, up to the first empty one.
std::vector<std::string_view> split_mac_list(std::string_view list) {
    std::vector<std::string_view> tokens;
    while (true) {
        size_t blank = list.find(' ');
        std::string_view token = list.substr(0, blank);
        if (token.empty()) break;
        tokens.push_back(token);
        if (blank == std::string_view::npos) break;
        list.remove_prefix(blank + 1);
    }
    return tokens;
}

// sscanf "%2hhX" six times: the number of bytes converted; the others keep their value.
int parse_mac_bytes(std::string_view text, unsigned char bytes[6]) {
    std::string s(text);
    return std::sscanf(s.c_str(), "%2hhX%2hhX%2hhX%2hhX%2hhX%2hhX", &bytes[0], &bytes[1], &bytes[2],
                       &bytes[3], &bytes[4], &bytes[5]);
}

std::string mac_text(const unsigned char b[6], const char* format) {
    char text[32];
    std::snprintf(text, sizeof text, format, b[0], b[1], b[2], b[3], b[4], b[5]);
    return text;
}
std::string upper_colon_mac(const unsigned char b[6]) {
    return mac_text(b, "%02X:%02X:%02X:%02X:%02X:%02X");
}
std::string lower_colon_mac(const unsigned char b[6]) {
    return mac_text(b, "%02x:%02x:%02x:%02x:%02x:%02x");
}

// The user's customisation flags of one device: "1" or empty lets the user's value
// win, anything else does not.
struct CustomFlags {
    FixedText<8> name;
    FixedText<8> type;
    FixedText<8> model;
};

bool flag_set(const FixedText<8>& flag) {
    return flag.empty() || flag == "1";
}

// The flags of the attached devices, loaded before the devices are filled. A device
// takes the first row whose MAC is a prefix of its own; an unused row has an empty
// MAC, so a device without a row of its own gets empty flags.
class CustomisationTable {
  public:
    bool full() const { return rows_ == kMaxAttachedDevices; }
    void add(std::string_view mac, const CustomFlags& flags) {
        if (full()) return;
        Row& r = table_[static_cast<size_t>(rows_)];
        r.mac = mac;
        r.flags = flags;
        first_row_.try_emplace(r.mac.str(), rows_);
        ++rows_;
    }
    CustomFlags lookup(std::string_view mac) const {
        int best = rows_ < kMaxAttachedDevices ? rows_ : kMaxAttachedDevices;  // first unused
        for (size_t len = 1; len <= mac.size(); ++len) {
            auto it = first_row_.find(std::string(mac.substr(0, len)));
            if (it != first_row_.end() && it->second < best) best = it->second;
        }
        if (best >= rows_) return CustomFlags{};
        return table_[static_cast<size_t>(best)].flags;
    }

  private:
    struct Row {
        FixedText<64> mac;
        CustomFlags flags;
    };
    std::array<Row, kMaxAttachedDevices> table_{};
    int rows_ = 0;
    std::unordered_map<std::string, int> first_row_;
};

// State of one pass of get_attach_dev.
struct AttachPass {
    Daemon& d;
    AttachedDevices& table;
    bool fing;
    DeviceUci uci;
    CustomisationTable custom;
};

// Reads "<package>.<section>.<option>".
std::string read_option(AttachPass& p, std::string_view package, std::string_view section,
                        const char* option, size_t size) {
    return p.uci.option(package, section, option, size);
}

}  // namespace

int get_attach_mac_list(DeviceUci& uci, std::string& out) {
    uci.use_dir(kLiveDeviceDir);
    std::string list;
    if (!uci.read("devices.lists.mac", list, kMacListSize)) {
        std::fputs("Failed to get attach device mac list.\n", stderr);
        return -1;
    }
    out = list;
    return 0;
}

namespace {

// --- connection, radio and wired values ----------------------------------------------

int classify_connection(std::string_view conntype) {
    auto has = [&](std::string_view part) { return conntype.find(part) != std::string_view::npos; };
    if (has("wired")) return kWired;
    if (has("2.4G")) return kBand24;
    if (has("5G")) return kBand5;
    if (has("6G")) return kBand6;
    if (has("vpn")) return kVpn;
    if (has("Wireless")) return kSkipped;
    return kUncounted;
}

// RSSI is kept as a positive number; the report wants dBm. A value above 106 keeps
// its second minus sign.
std::string signal_text(int rssi) {
    if (rssi < 1) return "0";
    char text[16];
    std::snprintf(text, sizeof text, "-%d", 106 - rssi);
    return text;
}

void fill_radio_values(AttachPass& p, std::string_view mac, AttachDevEntry& e) {
    int rssi = std::atoi(read_option(p, "devices", mac, "fronthaulRSSI", kOptionSize).c_str());
    e.signal = signal_text(rssi);
    e.speed =
        kRateMark + std::atof(read_option(p, "devices", mac, "linkSpeed", kOptionSize).c_str());
}

double port_rate(int speed_code) {
    switch (speed_code) {
        case kPortSpeed100:
            return 100;
        case kPortSpeed1000:
            return 1000;
        case kPortSpeed2500:
            return 2500;
        case kPortSpeed5000:
            return 5000;
        case kPortSpeed10000:
            return 10000;
        default:
            return 10;
    }
}

void fill_wired_values(AttachPass& p, const unsigned char bytes[6], AttachDevEntry& e) {
    std::string mac_str = lower_colon_mac(bytes);
    int port = 0;
    get_device_switch_port(p.d, mac_str, port);
    std::printf("[%s,%d]mac_str:%s, deviceConnectedPort:%d\n", "fill_attach_device_details",
                __LINE__, mac_str.c_str(), port);
    // A device the switch does not know has no rate at all.
    if (port < 1)
        e.speed = 0;
    else
        e.speed = kRateMark + port_rate(get_port_status(p.d, 1, port));
    e.signal = "0";
}

// --- identity without the Fing engine ------------------------------------------------

void fill_tracked_identity(AttachPass& p, std::string_view mac, AttachDevEntry& e) {
    std::string type = read_option(p, "devices", mac, "type", kOptionSize);
    if (!type.empty()) {
        DeviceType t = parse_device_type(type);
        e.devtype = t.name;
        e.devtypeid = t.id;
    }
    std::string model = read_option(p, "devices", mac, "model", kOptionSize);
    e.model = model.empty() ? std::string_view("unknown") : std::string_view(model);
    e.deviceVendorAutoDetect = model;
}

// --- access control and the node the device is attached to ---------------------------

void fill_access(const unsigned char bytes[6], AttachDevEntry& e) {
    int status = get_mac_status(bytes);
    if (status == 1)
        e.access = "allow";
    else if (status == 0)
        e.access = "block";
}

// `package` is the table the device was read from; the node's own section is in the
// same table.
void fill_connected_node(AttachPass& p, std::string_view package, std::string_view mac,
                         const unsigned char device_bytes[6], AttachDevEntry& e) {
    std::string node = read_option(p, package, mac, "connectedVyro", kOptionSize);
    if (node == "Vyro Router") {
        unsigned char own[6] = {};
        parse_mac_bytes(p.d.info.mac, own);
        e.connectedVyro = "Vyro Router";
        e.connectedVyromac = upper_colon_mac(own);
        e.connectedVyroModel = ovraNvramConfig_get("vyro_device_name");
        return;
    }
    // A node text that is not a MAC leaves the device's own address in its place.
    unsigned char bytes[6];
    std::copy(device_bytes, device_bytes + 6, bytes);
    parse_mac_bytes(node, bytes);
    e.connectedVyromac = upper_colon_mac(bytes);
    std::string name = read_option(p, package, node, "name", kOptionSize);
    std::string_view n = name;
    if (n.starts_with("VRS") || n.starts_with("VRW") || n == "Vyro Pro")
        e.connectedVyro = read_option(p, package, node, "devnamedefault", kOptionSize);
    else
        e.connectedVyro = name;
    e.connectedVyroModel = read_option(p, package, node, "model", kOptionSize);
}

// --- identity from the Fing engine ---------------------------------------------------

// Copies `value` into `field`, or announces that it is missing.
template <typename Field>
void copy_or_report(Field& field, const std::string& value, const char* missing) {
    field = value;
    if (value.empty()) std::puts(missing);
}

// The user's value wins when the customisation flag lets it and the user set one; the
// detected value is reported beside it either way.
template <typename Field>
void choose_user_or_detected(bool user_allowed, const std::string& user,
                             const std::string& detected, Field& value, int& user_defined,
                             Field& auto_detect) {
    user_defined = user_allowed && !user.empty() ? 1 : 0;
    value = user_defined ? user : detected;
    auto_detect = detected;
}

void fill_fing_identity(AttachPass& p, std::string_view package, std::string_view mac,
                        const CustomFlags& flags, AttachDevEntry& e) {
    auto opt = [&](const char* option, size_t size) {
        return read_option(p, package, mac, option, size);
    };

    std::string user_name = opt("devNameUser", kShortOptionSize);
    std::string detected_name = opt("devDPIName", kShortOptionSize);
    if (detected_name.empty()) detected_name = opt("devNameQrvx", kShortOptionSize);
    choose_user_or_detected(flag_set(flags.name), user_name, detected_name, e.name,
                            e.name_user_defined, e.name_auto_detect);

    std::string user_model = opt("devMByUser", kOptionSize);
    std::string fing_model = opt("devMByFing", kOptionSize);
    choose_user_or_detected(flag_set(flags.model), user_model, fing_model, e.model,
                            e.model_user_defined, e.model_auto_detect);

    std::string user_type = opt("devTypeNameByUser", kOptionSize);
    std::string detected_type = opt("devTypeNameByQRVX", kOptionSize);
    if (flag_set(flags.type) && !user_type.empty()) {
        std::string index = opt("devTypeIndexByUser", kShortOptionSize);
        e.type_v2_user_defined = "true";
        e.type_v2 = user_type;
        e.type_v2_index = index;
        e.type_user_defined = 1;
        e.devtype = user_type;
        e.devtypeid = std::atoi(e.type_v2_index.c_str());
    } else {
        e.type_v2_user_defined = "false";
        e.type_user_defined = 0;
        if (!detected_type.empty()) {
            e.type_v2 = detected_type;
            e.devtype = detected_type;
            e.type_v2_index = opt("devTypeIndexByQRVX", kShortOptionSize);
            e.devtypeid = std::atoi(e.type_v2_index.c_str());
        } else {
            std::puts("New device type not found.");
            e.type_v2 = kGenericDeviceType;
            e.devtype = kGenericDeviceType;
            e.type_v2_index = std::to_string(kGenericDeviceTypeId);
            e.devtypeid = kGenericDeviceTypeId;
        }
    }
    if (!detected_type.empty()) {
        e.type_auto_detect = detected_type;
        e.type_v2_auto_detect = detected_type;
    } else {
        std::puts("Auto detect new device name not found.");
        e.type_auto_detect = kGenericDeviceType;
        e.type_v2_auto_detect = kGenericDeviceType;
    }

    copy_or_report(e.brand, opt("devBrandByFing", kOptionSize),
                   "Auto detect new device name not found.");
    std::string vendor = opt("devMacVendor", kOptionSize);
    e.deviceVendorAutoDetect = vendor;
    copy_or_report(e.mac_vendor, vendor, "Auto detect mac vendor not found.");
    copy_or_report(e.os_name, opt("devOSByFing", kOptionSize),
                   "Auto detect device OS name not found.");
    copy_or_report(e.os_version, opt("devOSVerByFing", kOptionSize),
                   "Auto detect device OS version not found.");
    if (!opt("detectEngine", kOptionSize).empty())
        e.detect_engine = "Fing";
    else
        copy_or_report(e.detect_engine, std::string(), "No fing");
    copy_or_report(e.fing_type, opt("devTByFing", kOptionSize), "No fing type");
    copy_or_report(e.fing_model, fing_model, "No fing model");
    copy_or_report(e.dhcp_fingerprint, opt("devDhcpOpts", kOptionSize),
                   "device Dhcp Opts not found.");
    copy_or_report(e.user_agent, opt("devUsragent", kOptionSize), "device devUsragent not found.");
}

// --- one attached device --------------------------------------------------------------

void print_record(int i, const AttachDevEntry& e, int code) {
    std::printf("conntype[%d] = %s\n", i, e.conntype.c_str());
    std::printf("name[%d] = %s\n", i, e.name.c_str());
    std::printf("model[%d] = %s\n", i, e.model.c_str());
    std::printf("devtype[%d] = %s\n", i, e.devtype.c_str());
    std::printf("ipaddr[%d] = %s\n", i, e.ipaddr.c_str());
    std::printf("macaddr[%d] = %s\n", i, e.macaddr.c_str());
    std::printf("signal[%d] = %s\n", i, e.signal.c_str());
    std::printf("access[%d] = %s\n", i, e.access.c_str());
    std::printf("connectedVyro[%d] = %s\n", i, e.connectedVyro.c_str());
    std::printf("connectedVyromac[%d] = %s\n", i, e.connectedVyromac.c_str());
    std::printf("devtypeid[%d] = %d\n", i, e.devtypeid);
    std::printf("deviceVendorAutoDetect[%d] = %s\n", i, e.deviceVendorAutoDetect.c_str());
    std::printf("speed[%d] = %lf\n", i, e.speed);
    std::printf("return connection = %d\n", code);
}

// Fills slot `i` from the live table; returns the connection code.
int fill_attach_device_details(AttachPass& p, int i, std::string_view mac) {
    AttachDevEntry& e = p.table.entries[static_cast<size_t>(i)];
    e = AttachDevEntry{};  // the slot may still hold a device that was not counted
    unsigned char bytes[6] = {};
    parse_mac_bytes(mac, bytes);
    load_ac_mac_list();

    auto opt = [&](const char* option, size_t size) {
        return read_option(p, "devices", mac, option, size);
    };
    e.ipaddr = opt("ip", kOptionSize);
    if (!p.fing) e.name = opt("name", kOptionSize);
    e.macaddr = opt("mac", kOptionSize);

    std::string conndevice = opt("conndevice", kOptionSize);
    if (conndevice == "satellite" || conndevice == "outdoor satellite") return kSkipped;

    e.conntype = opt("connection", kOptionSize);
    int code = classify_connection(e.conntype);
    if (code == kSkipped) return kSkipped;

    switch (code) {
        case kBand24:
        case kBand5:
        case kBand6:
            // "device" entries carry no radio figures of their own.
            if (conndevice != "device") fill_radio_values(p, mac, e);
            break;
        case kVpn:
            e.speed = kRateMark;
            break;
        case kWired:
            fill_wired_values(p, bytes, e);
            break;
        default:
            break;
    }

    if (!p.fing) fill_tracked_identity(p, mac, e);
    fill_access(bytes, e);
    fill_connected_node(p, "devices", mac, bytes, e);
    if (p.fing) {
        e.conn_status = opt("devConnStat", kShortOptionSize) == "1" ? "Online" : "Offline";
        fill_fing_identity(p, "devices", mac, p.custom.lookup(mac), e);
    }
    print_record(i, e, code);
    return code;
}

// --- the passes over the lists --------------------------------------------------------

// With Fing, the customisation flags of the attached devices are taken from the known
// devices before the devices themselves are filled.
void preload_customisation(AttachPass& p) {
    std::string list;
    get_attach_mac_list(p.uci, list);
    if (!p.uci.use_dir(kDeviceInfoDir)) {
        if (debug_enabled()) platform::append_console(kSwitchDirFailed);
        return;
    }
    for (std::string_view mac : split_mac_list(list)) {
        if (p.custom.full()) break;
        if (read_option(p, "devices", mac, "conndevice", kOptionSize) == "satellite") continue;
        CustomFlags flags;
        flags.name = read_option(p, "knowndevices", mac, "customizationName", kFlagSize);
        flags.type = read_option(p, "knowndevices", mac, "customizationType", kFlagSize);
        flags.model = read_option(p, "knowndevices", mac, "customizationModel", kFlagSize);
        p.custom.add(mac, flags);
    }
}

struct BandCounts {
    int wired = 0;
    int band24 = 0;
    int band5 = 0;
    int band6 = 0;

    void count(int code) {
        if (code == kWired) ++wired;
        if (code == kBand24) ++band24;
        if (code == kBand5) ++band5;
        if (code == kBand6) ++band6;
    }
};

// Without Fing, the user's customisation flags and the automatically found name,
// model and type come from the known-device table. False when that table cannot be
// reached, which ends the pass.
bool fill_attach_device_details_others(AttachPass& p) {
    std::string list;
    get_attach_mac_list(p.uci, list);
    if (!p.uci.use_dir(kDeviceInfoDir)) {
        std::fputs(kSwitchDirFailed, stderr);
        return false;
    }
    std::printf("%s(%d):mac list for knowndevice searching : %s\n", __func__, __LINE__,
                list.c_str());

    std::unordered_map<std::string_view, int> record_of;
    for (int i = 0; i < p.table.num_entry; ++i)
        record_of.try_emplace(p.table.entries[static_cast<size_t>(i)].macaddr.view(), i);

    for (std::string_view mac : split_mac_list(list)) {
        std::printf("%s(%d):%.*s\n", __func__, __LINE__, static_cast<int>(mac.size()), mac.data());
        if (read_option(p, "devices", mac, "conndevice", kOptionSize) == "satellite") continue;
        unsigned char bytes[6] = {};
        parse_mac_bytes(mac, bytes);
        auto found = record_of.find(upper_colon_mac(bytes));
        if (found == record_of.end()) {
            std::printf("%s(%d) Not find mac in list\n", "fill_attach_device_details_others",
                        __LINE__);
            continue;
        }
        if (p.fing) continue;
        AttachDevEntry& e = p.table.entries[static_cast<size_t>(found->second)];
        auto known = [&](const char* option, size_t size) {
            return read_option(p, "knowndevices", mac, option, size);
        };
        // An empty flag counts as user-defined: only an explicit "0" does not.
        e.name_user_defined = known("customizationName", kFlagSize).c_str()[0] != '0';
        e.name_auto_detect = known("defaultName", kShortOptionSize);
        e.model_user_defined = known("customizationModel", kFlagSize).c_str()[0] != '0';
        e.model_auto_detect = known("defaultModel", kShortOptionSize);
        e.type_user_defined = known("customizationType", kFlagSize).c_str()[0] != '0';
        std::string type = known("defaultType", kShortOptionSize);
        if (!type.empty()) e.type_auto_detect = type;
    }
    return true;
}

void fill_offline_record(AttachPass& p, AttachDevEntry& e, std::string_view mac,
                         const unsigned char bytes[6]) {
    std::printf("[%s]deviceMac=%.*s\n", "fill_attach_device_details_offline",
                static_cast<int>(mac.size()), mac.data());
    e = AttachDevEntry{};
    auto known = [&](const char* option, size_t size) {
        return read_option(p, "knowndevices", mac, option, size);
    };
    e.ipaddr = known("ip", kOptionSize);
    e.name = known("name", kOptionSize);
    e.macaddr = known("mac", kOptionSize);
    e.conntype = known("connection", kOptionSize);
    e.speed = kRateMark;
    e.signal = "0";
    e.conn_status = "Offline";
    fill_access(bytes, e);
    fill_connected_node(p, "knowndevices", mac, bytes, e);
    CustomFlags flags;
    flags.name = known("customizationName", kFlagSize);
    flags.type = known("customizationType", kFlagSize);
    flags.model = known("customizationModel", kFlagSize);
    fill_fing_identity(p, "knowndevices", mac, flags, e);
}

// Appends the known devices that are offline now; returns the new number of records.
int fill_attach_device_details_offline(AttachPass& p, int filled) {
    if (!p.uci.use_dir(kDeviceInfoDir)) std::fputs(kSwitchDirFailed, stderr);
    std::string list;
    if (!p.uci.read("knowndevices.lists.mac", list, kKnownMacListSize)) {
        std::fputs("Failed to get attach device mac list in knowndevice.\n", stderr);
        list.clear();
    }
    std::printf("%s(%d): offline attach_devices_list_know=%s\n", __func__, __LINE__, list.c_str());
    for (std::string_view mac : split_mac_list(list)) {
        if (filled >= kMaxAttachedDevices) break;
        std::printf("%s(%d):%.*s\n", __func__, __LINE__, static_cast<int>(mac.size()), mac.data());
        unsigned char bytes[6] = {};
        if (parse_mac_bytes(mac, bytes) != 6) continue;
        if (read_option(p, "knowndevices", mac, "conndevice", kOptionSize) == "satellite") continue;
        // A device the table still marks online is either attached (and listed above)
        // or a stale entry; neither is reported as offline.
        if (read_option(p, "knowndevices", mac, "devConnStat", kOptionSize) == "1") continue;
        load_ac_mac_list();
        fill_offline_record(p, p.table.entries[static_cast<size_t>(filled)], mac, bytes);
        ++filled;
    }
    return filled;
}

void write_count(FixedText<16>& field, int n) {
    field = std::to_string(n);
}

}  // namespace

int get_attach_dev(Daemon& d) {
    AttachedDevices& table = d.info.attached;
    table.entries.fill(AttachDevEntry{});
    AttachPass p{d, table, table.fing_present != 0, {}, {}};

    if (p.fing) preload_customisation(p);

    std::string list;
    get_attach_mac_list(p.uci, list);
    std::printf("%s(%d):%s\n", __func__, __LINE__, list.c_str());
    int filled = 0;
    BandCounts counts;
    for (std::string_view mac : split_mac_list(list)) {
        if (filled >= kMaxAttachedDevices) break;
        int code = fill_attach_device_details(p, filled, mac);
        if (!counted(code)) continue;
        counts.count(code);
        ++filled;
    }

    table.num_entry = filled;
    int wireless = counts.band24 + counts.band5;  // 6 GHz is reported on its own
    std::printf("wired : %d, wireless : %d, 2g : %d, 5g : %d 6g: %d\n", counts.wired, wireless,
                counts.band24, counts.band5, counts.band6);
    std::printf("dev_info->num_entry =%d\n", table.num_entry);
    write_count(table.attached_wired, counts.wired);
    write_count(table.attached_wireless, wireless);
    write_count(table.attached_2g, counts.band24);
    write_count(table.attached_5g, counts.band5);
    write_count(table.attached_6g, counts.band6);

    if (!fill_attach_device_details_others(p)) return 0;
    if (table.num_entry < kMaxAttachedDevices && p.fing)
        table.num_entry = fill_attach_device_details_offline(p, table.num_entry);
    return 0;
}
