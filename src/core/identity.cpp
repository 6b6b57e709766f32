#include "core/identity.h"

#include <cstdio>
#include <ctime>
#include <optional>
#include <vector>

#include "core/daemon.h"
#include "platform/fs.h"
#include "platform/platform.h"
#include "platform/shell.h"

namespace {

constexpr int kAttempts = 3;
constexpr size_t kModelMax = 31;  // 32-byte field with its terminator
constexpr size_t kLineSize = 128;
// The log lines below are short; no value they carry comes near this bound.
constexpr size_t kLogCommandSize = 256;

constexpr const char* kVersionFile = "/tmp/version";
constexpr const char* kSerialFile = "/tmp/serial_num.txt";

std::tm local_now() {
    time_t now = static_cast<time_t>(platform::wall_time());
    std::tm tm{};
    my_localtime_r(&now, &tm);
    return tm;
}

// Leaves a one-line record of the last acquisition, "echo <date> <time>, <what>"
// into the log file `format` names. The value comes from the router's tools and
// nvram, so it is checked like any outside text before it meets the shell.
void write_identity_log(const char* format, const shell::Arg& value, int retries) {
    std::tm tm = local_now();
    shell::run(shell::compose(kLogCommandSize, format, tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday,
                              tm.tm_hour, tm.tm_min, tm.tm_sec, value, retries));
}

// The version tool's second line; nothing when it printed fewer than two lines.
std::string read_firmware_version() {
    std::string version;
    doSystem(std::string("version > ") + kVersionFile);
    if (auto lines = platform::read_lines(kVersionFile, kLineSize)) {
        if (lines->size() >= 2) version = firmware_version_from_line((*lines)[1]);
    }
    platform::remove_file(kVersionFile);
    return version;
}

std::string read_serial_number() {
    std::string serial;
    doSystem(std::string("burnsn 2>") + kSerialFile);
    if (auto line = platform::read_first_line(kSerialFile, kLineSize))
        serial = serial_number_from_line(*line);
    platform::remove_file(kSerialFile);
    return serial;
}

}  // namespace

std::string firmware_version_from_line(std::string_view line) {
    std::string text(line);
    char first[kLineSize] = "", second[kLineSize] = "", third[kLineSize] = "";
    std::sscanf(text.c_str(), "%127[^/]/%127[^/]/%127[^/]", first, second, third);
    return second;
}

std::string mac_without_colons(std::string_view lan_macaddr) {
    std::string text(lan_macaddr);
    char part[6][3] = {};
    std::sscanf(text.c_str(), "%02s:%02s:%02s:%02s:%02s:%02s", part[0], part[1], part[2], part[3],
                part[4], part[5]);
    char joined[13];
    std::snprintf(joined, sizeof joined, "%2s%2s%2s%2s%2s%2s", part[0], part[1], part[2], part[3],
                  part[4], part[5]);
    return joined;
}

std::string serial_number_from_line(std::string_view line) {
    std::string text(line);
    char word[kLineSize] = "";
    std::sscanf(text.c_str(), "%*s%*s%*s%127s", word);
    return word;
}

// Reads one identity value with up to three attempts one second apart. Returns the
// number of failed attempts; the messages name the value as `what`.
template <typename Read>
int read_with_retries(std::string& value, int& missing, Read read, const char* what) {
    int failures = 0;
    value.clear();
    while (failures < kAttempts) {
        value = read();
        if (!value.empty()) {
            std::printf("current %s=[%s]\n", what, value.c_str());
            missing = 0;
            return failures;
        }
        std::printf("Get %s fail[%s]\n", what, value.c_str());
        platform::sleep_seconds(1);
        ++failures;
    }
    std::printf("ERROR: %s is NULL\n", what);
    missing = 1;
    return failures;
}

void acquire_firmware_version(Daemon& d) {
    DevInfo& info = d.info;
    int failures = read_with_retries(info.fw_version, info.fw_version_missing,
                                     read_firmware_version, "firmware version");
    write_identity_log(
        "echo %d/%d/%d %02d:%02d:%02d, fw_ver=%s, retries=%d > "
        "/tmp/router-analytics/latest_fw_ver_log.txt\n",
        shell::word(info.fw_version), failures);
}

void acquire_mac_address(Daemon& d) {
    DevInfo& info = d.info;
    info.mac = mac_without_colons(ovraNvramConfig_get("lan_macaddr"));
    // Reported as missing on every start, whatever the address: the report pipeline
    // has always received the flag set and reads it that way.
    std::puts("ERROR: mac address is NULL");
    info.mac_missing = 1;
    // Short groups are padded with blanks, so the value is checked as text.
    write_identity_log(
        "echo %d/%d/%d %02d:%02d:%02d, mac_addr=%s, retries=%d > "
        "/tmp/router-analytics/latest_mac_addr_log.txt\n",
        shell::text(info.mac), 0);
}

void acquire_serial_number(Daemon& d) {
    DevInfo& info = d.info;
    int failures =
        read_with_retries(info.serial, info.serial_missing, read_serial_number, "serial number");
    write_identity_log(
        "echo %d/%d/%d %02d:%02d:%02d, sn=%s, retries=%d > "
        "/tmp/router-analytics/latest_sn_log.txt\n",
        shell::word(info.serial), failures);
}

void acquire_identity(Daemon& d) {
    d.info.model = getHWVersion().substr(0, kModelMax);
    acquire_firmware_version(d);
    acquire_mac_address(d);
    acquire_serial_number(d);
    if (ovraNvramConfig_exist("sku_name")) d.info.sku_name = ovraNvramConfig_get("sku_name");
}
