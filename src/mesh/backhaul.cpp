#include "mesh/backhaul.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/fs.h"
#include "platform/platform.h"
#include "platform/uci_session.h"

namespace {

constexpr const char* kLiveDir = "/tmp";
constexpr const char* kDevices = "devices";
constexpr size_t kCounterSize = 512;
constexpr size_t kRecordSize = 40;
constexpr size_t kCountOffset = 36;
constexpr size_t kColonMacLength = 17;

int hex_digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// One session on `devices` of the live table, its open steps reported by name.
struct DeviceTable {
    explicit DeviceTable(const char* func) : func(func) {
        ovraUciConfig_w_init();
        int rc = ovraUciConfig_w_set_config_dir(kLiveDir);
        if (rc != UCI_OK) uci_report(func, __LINE__, "ovraUciConfig_w_set_config_dir", rc);
        rc = ovraUciConfig_w_update(kDevices);
        if (rc != UCI_OK) uci_report(func, __LINE__, "ovraUciConfig_w_update", rc);
    }
    ~DeviceTable() { ovraUciConfig_w_exit(); }
    DeviceTable(const DeviceTable&) = delete;
    DeviceTable& operator=(const DeviceTable&) = delete;

    std::optional<std::string> get(const std::string& path) {
        std::string value;
        int rc = ovraUciConfig_w_get_value(path, value, kCounterSize);
        if (rc != UCI_OK) {
            uci_report(func, __LINE__, "ovraUciConfig_w_get_value", rc);
            return std::nullopt;
        }
        return value;
    }
    // Writes one counter; the success message is printed by the caller's format.
    bool set(const std::string& path, std::string_view value) {
        int rc = ovraUciConfig_w_set_value(path, value);
        if (rc != UCI_OK) uci_report(func, __LINE__, "ovraUciConfig_w_set_value", rc);
        return rc == UCI_OK;
    }
    void commit() {
        int rc = ovraUciConfig_w_commit(kDevices);
        if (rc != UCI_OK) uci_report(func, __LINE__, "ovraUciConfig_w_commit", rc);
    }
    const char* func;
};

std::string option_path(const std::string& section, const char* option) {
    return std::string(kDevices) + "." + section + "." + option;
}

std::string minutes_rounded_up(long seconds) {
    if (seconds < 1) return "0";
    long minutes = seconds / 60 + (seconds % 60 != 0 ? 1 : 0);
    return std::to_string(minutes);
}

}  // namespace

std::optional<std::string> backhaul_section_name(std::string_view colon_mac) {
    if (colon_mac.size() != kColonMacLength) return std::nullopt;
    std::string section;
    for (size_t i = 0; i < kColonMacLength; i += 3) {
        int hi = hex_digit(colon_mac[i]);
        int lo = hex_digit(colon_mac[i + 1]);
        if (hi < 0 || lo < 0) return std::nullopt;
        if (i + 2 < kColonMacLength && colon_mac[i + 2] != ':') return std::nullopt;
        static constexpr char kHex[] = "0123456789ABCDEF";
        section += kHex[hi];
        section += kHex[lo];
    }
    return section;
}

void get_BHDisconnect(std::string_view colon_mac, std::string& count, std::string& minutes) {
    static const char* const func = "get_BHDisconnect";
    count.clear();
    minutes.clear();
    std::optional<std::string> section = backhaul_section_name(colon_mac);
    std::string mac(colon_mac);
    std::printf("[%s,%d]satelliteMac:%s\n", func, __LINE__, mac.c_str());
    std::printf("[%s,%d]deviceMacWithoutColon:%s\n", func, __LINE__,
                section ? section->c_str() : "");
    if (!section) {
        // Not an address the table can name: there is nothing counted for it.
        minutes = "0";
        return;
    }
    DeviceTable table(func);
    std::string duration = table.get(option_path(*section, "bhDisconnectDuration")).value_or("");
    std::string all_time = table.get(option_path(*section, "bhDisconnectAllTime")).value_or("");
    long total = std::atol(duration.c_str()) + std::atol(all_time.c_str());
    minutes = minutes_rounded_up(total);
    if (auto c = table.get(option_path(*section, "bhDisconnectCount"))) count = *c;
}

void reset_BHDisconnect(std::string_view colon_mac, int mode) {
    static const char* const func = "reset_BHDisconnect";
    std::optional<std::string> section = backhaul_section_name(colon_mac);
    std::string mac(colon_mac);
    std::printf("[%s,%d]satelliteMac:%s\n", func, __LINE__, mac.c_str());
    std::printf("[%s,%d]deviceMac:%s\n", func, __LINE__, section ? section->c_str() : "");
    // An address the table cannot name would only create a stray section.
    if (!section) return;
    DeviceTable table(func);
    std::string uptime = std::to_string(static_cast<unsigned long>(sys_uptime()));
    if (table.set(option_path(*section, "bhDisconnectTime"), uptime))
        std::printf("[%s %d] update device bhDisconnectTime : %s\n", func, __LINE__,
                    uptime.c_str());
    // A satellite reported as disconnected starts its next period with one
    // disconnection already counted; the message has always said 0.
    if (table.set(option_path(*section, "bhDisconnectCount"), mode == 0 ? "1" : "0"))
        std::printf("[%s %d] update device bhDisconnectCount : 0\n", func, __LINE__);
    if (table.set(option_path(*section, "bhDisconnectDuration"), "0"))
        std::printf("[%s %d] update device bhDisconnectDuration : 0\n", func, __LINE__);
    if (table.set(option_path(*section, "bhDisconnectAllTime"), "0"))
        std::printf("[%s %d] update device bhDisconnectAllTime : 0\n", func, __LINE__);
    table.commit();
}

int get_APSwithCount(std::string_view colon_mac, std::string& out, size_t size) {
    if (colon_mac.empty() || colon_mac.size() != kColonMacLength) return 0;
    // The MAC names a file in the record folder; a '/' would lead out of it.
    std::string mac(colon_mac);
    std::optional<std::string> record;
    if (mac.find('/') == std::string::npos && mac.find('\0') == std::string::npos)
        record = platform::read_file("/tmp/apswitchcount/" + mac);
    if (!record) {
        if (ovraNvramConfig_get("telem_debug") == "1")
            platform::append_console("[get_APSwithCount] open file failure\n");
        return 0;
    }
    // A record cut short holds no count.
    if (record->size() < kRecordSize || size == 0) return 0;
    int32_t switches = 0;
    std::memcpy(&switches, record->data() + kCountOffset, sizeof switches);
    out = std::to_string(switches).substr(0, size - 1);
    return 0;
}
