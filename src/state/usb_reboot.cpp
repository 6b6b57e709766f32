#include "state/usb_reboot.h"

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include "core/daemon.h"
#include "core/reboot_records.h"
#include "platform/fs.h"
#include "platform/platform.h"
#include "platform/shell.h"

namespace {

constexpr const char* kUsbListCommand = "cat /proc/bus/usb/devices >/tmp/usb_devices_info";
constexpr const char* kUsbListFile = "/tmp/usb_devices_info";
constexpr size_t kUsbLineBuffer = 256;
constexpr size_t kRebootLineBuffer = 128;
constexpr size_t kCircleLineBuffer = 128;

// sscanf of one "%Ns" field into a string of at most `width` characters.
std::string scan_word(const std::string& line, const char* format) {
    char value[64] = "";
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    if (std::sscanf(line.c_str(), format, value) != 1) value[0] = '\0';
#pragma GCC diagnostic pop
    return value;
}

// The values of the device being read from the list.
struct UsbScan {
    bool started = false;
    UsbDevice current;
    std::string driver;

    void start(const std::string& line) {
        started = true;
        current = UsbDevice{};
        driver.clear();
        current.port = scan_word(line, "T:  Bus=%*s Lev=%*s Prnt=%*s Port=%7s");
    }
};

void read_usb_line(Daemon& d, UsbScan& scan, const std::string& line) {
    auto& devices = d.info.usb.devices;
    if (line.find("Bus=") != std::string::npos) {
        scan.start(line);
    } else if (line.find("Ver=") != std::string::npos) {
        scan.current.version = scan_word(line, "D:  Ver= %7s ");
    } else if (line.find("Manufacturer=") != std::string::npos) {
        scan.current.manufacturer = scan_word(line, "S:  Manufacturer=%63s");
    } else if (line.find("SerialNumber=") != std::string::npos) {
        scan.current.serial = scan_word(line, "S:  SerialNumber=%63s");
    }
    size_t at = line.find("Driver=");
    if (at == std::string::npos || !scan.started) return;
    scan.driver = scan_word(line.substr(at), "Driver=%63s");
    const bool room = devices.size() < kMaxUsbDevices;
    if (scan.driver == "usb-storage") {
        UsbDevice rec{scan.current.port, scan.current.version, "", scan.current.serial,
                      "usbStorage"};
        if (room) devices.push_back(std::move(rec));
        ++d.info.usb_storage_present;
        // A second interface of the same stick is not counted again.
        scan.started = false;
    } else if (line.find("KC NetUSB") != std::string::npos && room) {
        UsbDevice rec = scan.current;
        rec.kind = "usbPrinter";
        devices.push_back(std::move(rec));
    }
}

// The reboot record line: "<date time>, reason: <r>".
struct RebootRecord {
    int t[6] = {0, 0, 0, 0, 0, 0};
    std::string reason;
};

RebootRecord read_reboot_record() {
    RebootRecord r;
    auto line = platform::read_first_line(kLatestRebootDataFile, kRebootLineBuffer);
    if (!line) return r;
    size_t at = line->find("reason");
    if (at == std::string::npos) return r;
    std::sscanf(line->c_str(), "%d/%d/%d %02d:%02d:%02d,", &r.t[0], &r.t[1], &r.t[2], &r.t[3],
                &r.t[4], &r.t[5]);
    if (at + 8 <= line->size()) r.reason = line->substr(at + 8);
    if (!r.reason.empty()) r.reason.pop_back();  // the newline
    return r;
}

// The whole crash log: nothing when it is missing; `complete` false when it exists
// but could not be read in full.
std::optional<std::string> read_crash_log(bool& complete) {
    complete = true;
    auto size = platform::file_size(kLatestCrashLogFile);
    if (!size) return std::nullopt;
    auto text = platform::read_file(kLatestCrashLogFile);
    if (!text || text->size() != *size) complete = false;
    return text;
}

}  // namespace

json::Ptr create_usb_storage_obj(Daemon& d) {
    const bool on = d.info.usb_storage_present > 0;
    json::Ptr obj = json::object();
    json::Ptr flag = json::boolean(on);
    if (!obj || !flag) {
        json::report_no_memory();
        return nullptr;
    }
    json::add(obj.get(), "usbStorage", std::move(flag));
    UsbReportState& usb = d.info.usb;
    usb.last_usb_storage = on ? "on" : "off";
    usb.last_usb_storage_reported = 1;
    usb.last_usb_feature = d.info.usb_storage_present ? "on" : "off";
    usb.last_usb_feature_reported = 1;
    usb.reported_groups = 1;
    ++usb.reported_groups;
    return obj;
}

json::Ptr create_kernel_reboot_obj() {
    json::Ptr obj = json::object();
    if (!obj) {
        json::report_no_memory();
        return nullptr;
    }
    RebootRecord r = read_reboot_record();
    char stamp[96];
    std::snprintf(stamp, sizeof stamp, "%d/%d/%d %02d:%02d:%02d", r.t[0], r.t[1], r.t[2], r.t[3],
                  r.t[4], r.t[5]);
    const int reason = std::atoi(r.reason.c_str());
    json::add_string(obj.get(), "lastRebootTimestamp", stamp);
    json::add_number(obj.get(), "lastRebootReason", reason);
    if (reason != 1) return obj;
    bool complete = true;
    auto log = read_crash_log(complete);
    if (!complete) return nullptr;
    if (log) json::add_string(obj.get(), "kernelCrashLog", *log);
    return obj;
}

json::Ptr build_kernel_reboot_body(Daemon& d) {
    json::Ptr body = create_kernel_reboot_obj();
    if (body) d.info.kernel_reboot_pending = 0;
    return body;
}

int scan_usb_devices(Daemon& d) {
    d.info.usb.devices.clear();
    d.info.usb_storage_present = 0;
    UsbScan scan;
    auto lines = shell::capture_lines(std::string(kUsbListCommand), kUsbListFile, kUsbLineBuffer);
    if (lines)
        for (const auto& line : *lines) read_usb_line(d, scan, line);
    return static_cast<int>(d.info.usb.devices.size());
}

json::Ptr create_circle_version_obj() {
    json::Ptr obj = json::object();
    if (!obj) {
        json::report_no_memory();
        return nullptr;
    }
    json::add(obj.get(), "circleEnabled",
              json::boolean(ovraNvramConfig_get("ParentalControlCircle") == "1"));
    // One buffer serves the three reads: a missing file leaves the value before it.
    std::string value;
    if (auto line = shell::capture_first_line(std::string("circled -v > /tmp/circle_loader.ver"),
                                              "/tmp/circle_loader.ver", kCircleLineBuffer))
        value = *line;
    json::add_string(obj.get(), "circleLoaderVersion", value);
    if (auto line = platform::read_first_line("/mnt/circle/shares/VERSION", kCircleLineBuffer))
        value = platform::strip_newline(*line);
    json::add_string(obj.get(), "circleFirmwareVersion", value);
    if (auto line =
            platform::read_first_line("/mnt/circle/shares/DATABASE_VERSION", kCircleLineBuffer))
        value = platform::strip_newline(*line);
    json::add_string(obj.get(), "circleDBVersion", value);
    return obj;
}
