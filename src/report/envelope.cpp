#include "report/envelope.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <span>

#include "core/daemon.h"
#include "core/timezone.h"
#include "platform/fs.h"
#include "platform/md5.h"
#include "platform/platform.h"
#include "report/event_files.h"

namespace {

constexpr const char* kKilnTool = "/usr/bin/kiln";
constexpr const char* kKilnVersionFile = "/tmp/rae_kiln_version";
constexpr size_t kKilnLineBuffer = 512;  // lines of at most 511 characters

// The identifiers are sent as they are only when the user opted in; otherwise their
// MD5 digests stand in as stable pseudonyms.
json::Ptr device_info_obj(json::Ptr info, const DevInfo& dev, bool consented) {
    json::add_string(info.get(), "macAddress", consented ? dev.mac : md5_hex_string(dev.mac));
    json::add_string(info.get(), "serialNumber",
                     consented ? dev.serial : md5_hex_string(dev.serial));
    return info;
}

std::string hardware_revision() {
    std::string rev = ovraNvramConfig_get("hwrev");
    return rev.empty() ? "H1" : rev;
}

void set_report_stamp(Daemon& d, const int date[3], const int time[3]) {
    char stamp[32];
    std::snprintf(stamp, sizeof stamp, "%04d%02d%02d-%02d%02d%02d", date[0], date[1], date[2],
                  time[0], time[1], time[2]);
    d.report_stamp = stamp;
}

// "eventType" and "timeStamp" of an ordinary report: the code and the local time now.
void add_event_type_and_time(Daemon& d, cJSON* header, json::Ptr time_stamp, int event_code,
                             int* event_type) {
    json::add_number(header, "eventType", event_code);
    if (event_type) *event_type = event_code;
    int date[3] = {0, 0, 0};
    int time[3] = {0, 0, 0};
    get_local_date_time(date, time);
    json::add(time_stamp.get(), "date", json::int_array(std::span<const int>(date, 3)));
    json::add(time_stamp.get(), "time", json::int_array(std::span<const int>(time, 3)));
    json::add(header, "timeStamp", std::move(time_stamp));
    set_report_stamp(d, date, time);
}

// A DAL event brings its own type and time: the header refers to those members of the
// file's first object. The parsed file is kept in the daemon so the references stay
// valid while the report document lives.
void add_dal_event_fields(Daemon& d, cJSON* header, int event_code, int* event_type) {
    if (event_type) *event_type = event_code;
    EventMember event = read_dal_event_member(1);
    if (event) {
        cJSON* type = json::get(event.member, "eventType");
        if (cJSON_IsNumber(type)) {
            json::add_reference(header, "eventType", type);
            if (event_type) *event_type = type->valueint;
            if (type->valueint == kInstallEventType) d.info.install_event = 1;
        }
        for (const char* name : {"timeStamp", "epochTimeStamp", "ntpResult"})
            if (cJSON* item = json::get(event.member, name))
                json::add_reference(header, name, item);
    }
    d.dal_header_source = std::move(event.document);
}

std::string timezone_offset() {
    std::string offset;
    get_timezone_offset(offset, kTimeZoneOffsetMax + 1);
    return offset;
}

json::Ptr firmware_obj(json::Ptr firmware, DevInfo& dev) {
    dev.fw_last_upgrade = ovraNvramConfig_get("telem_fw_last_upgrade_time");
    dev.fw_last_check = ovraNvramConfig_get("telem_fw_last_check_time");
    json::add_string(firmware.get(), "fwVersion", dev.fw_version);
    json::add_string(firmware.get(), "fwLastUpdate", dev.fw_last_upgrade);
    json::add_string(firmware.get(), "fwLastChecked", dev.fw_last_check);
    return firmware;
}

int auto_update_option() {
    if (ovraNvramConfig_match("auto_upgrade_enable", "1")) return 1;
    if (ovraNvramConfig_match("auto_upgrade_enable", "0")) return 2;
    return 0;
}

// 1 opted in, 2 opted out; 0 means the user has not chosen and the member is left out.
int router_analytics_option() {
    if (ovraNvramConfig_match("RA_enable", "1")) return 1;
    if (ovraNvramConfig_match("RA_enable", "0")) return 2;
    return 0;
}

void add_kiln_members(cJSON* header) {
    if (!platform::file_exists(kKilnTool)) {
        json::add_string(header, "kilnEnabled", "false");
        return;
    }
    std::string version;
    std::string services;
    get_kiln_version(version, services);
    json::add_string(header, "kiln_version", version);
    json::add_string(header, "kiln_services", services);
    json::add_string(header, "kilnEnabled", "true");
}

// "V<token>" cut to the output's 31 characters. A line that did not match its scan
// format leaves the token empty and gives "V".
std::string kiln_version_text(const char* token) {
    std::string out = "V" + std::string(token);
    if (out.size() > kKilnVersionMax) out.resize(kKilnVersionMax);
    return out;
}

}  // namespace

json::Ptr create_router_hardware_obj(Daemon& d, int event_code, int* event_type) {
    json::Ptr header = json::object();
    json::Ptr device_info = json::object();
    json::Ptr time_stamp = json::object();
    json::Ptr firmware = json::object();
    if (!header || !device_info || !time_stamp || !firmware) {
        json::report_no_memory();
        return nullptr;
    }
    cJSON* h = header.get();
    bool consented = ovraNvramConfig_match("RA_enable", "1") != 0;

    json::add_string(h, "productFamily", "wifiSystem");
    json::add_string(h, "modelName", d.info.model);
    if (consented) json::add_string(h, "hwRevision", hardware_revision());
    json::add_string(h, "stage", d.policy.stage);
    json::add(h, "deviceInfo", device_info_obj(std::move(device_info), d.info, consented));
    if (event_code == kDalEventCode)
        add_dal_event_fields(d, h, event_code, event_type);
    else
        add_event_type_and_time(d, h, std::move(time_stamp), event_code, event_type);
    json::add_string(h, "timeZoneOffset", timezone_offset());
    json::add(h, "firmware", firmware_obj(std::move(firmware), d.info));
    json::add_string(h, "tncVersion", "V2.0");
    json::add_number(h, "autoUpdateOption", auto_update_option());
    if (int option = router_analytics_option())
        json::add_number(h, "routerAnalyticsOption", option);
    add_kiln_members(h);
    return header;
}

void get_kiln_version(std::string& version, std::string& services) {
    doSystem("kiln version -s > /tmp/rae_kiln_version");
    if (auto lines = platform::read_lines(kKilnVersionFile, kKilnLineBuffer)) {
        for (const std::string& line : *lines) {
            // A token can be no longer than the line it comes from.
            if (line.find("kiln:") != std::string::npos) {
                char token[kKilnLineBuffer] = {};
                std::sscanf(line.c_str(), "kiln: v%s", token);
                version = kiln_version_text(token);
            }
            if (line.find("kiln_services:") != std::string::npos) {
                char token[kKilnLineBuffer] = {};
                std::sscanf(line.c_str(), "kiln_services: v%s", token);
                services = kiln_version_text(token);
            }
        }
    }
    platform::remove_file(kKilnVersionFile);
}

std::string md5_hex_string(std::string_view text) {
    MD5_CTX ctx;
    MD5Init(&ctx);
    MD5Update(&ctx, reinterpret_cast<const uint8_t*>(text.data()), text.size());
    uint8_t digest[MD5_DIGEST_LENGTH];
    MD5Final(digest, &ctx);
    static constexpr char kHex[] = "0123456789abcdef";
    std::string hex;
    hex.reserve(2 * MD5_DIGEST_LENGTH);
    for (uint8_t byte : digest) {
        hex.push_back(kHex[byte >> 4]);
        hex.push_back(kHex[byte & 0x0f]);
    }
    return hex;
}

void get_local_date_time(int date[3], int time[3]) {
    time_t now = static_cast<time_t>(platform::wall_time());
    std::tm local{};
    my_localtime_r(&now, &local);
    date[0] = local.tm_year + 1900;
    date[1] = local.tm_mon + 1;
    date[2] = local.tm_mday;
    time[0] = local.tm_hour;
    time[1] = local.tm_min;
    time[2] = local.tm_sec;
    if (ovraNvramConfig_match("telem_debug", "1")) {
        char line[128];
        std::snprintf(line, sizeof line, "%d %d %d %d %d %d\n", date[0], date[1], date[2], time[0],
                      time[1], time[2]);
        platform::append_console(line);
    }
}
