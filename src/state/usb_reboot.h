// Router-state reports of the USB port and the last reboot: the USB storage report
// ("hubShare", member "usbStorage"), the kernel reboot report ("kernelReboot"), the
// table of USB devices attached to the router and the Circle component versions.
#pragma once

#include <string>
#include <vector>

#include "json/json.h"

struct Daemon;

// One USB device of interest; the widths are those of the router's records.
struct UsbDevice {
    std::string port;          // at most 7 characters
    std::string version;       // at most 7
    std::string manufacturer;  // at most 63
    std::string serial;        // at most 63
    std::string kind;          // "usbStorage" or "usbPrinter"
};

// Longest device table kept; further devices are not recorded, though storage is
// still counted.
inline constexpr size_t kMaxUsbDevices = 16;

// What the USB storage report keeps in the collection record.
struct UsbReportState {
    std::vector<UsbDevice> devices;  // filled by scan_usb_devices
    // Copies of what the last USB storage report said.
    std::string last_usb_storage;  // "on" / "off"
    int last_usb_storage_reported = 0;
    std::string last_usb_feature;  // "on" / "off" from the USB-storage flag
    int last_usb_feature_reported = 0;
    int reported_groups = 0;
};

// {"usbStorage": true/false} from the USB storage count; records what it reported.
json::Ptr create_usb_storage_obj(Daemon& d);

// "lastRebootTimestamp", "lastRebootReason" and, after a kernel crash,
// "kernelCrashLog". Null when the crash log exists but cannot be read in full.
json::Ptr create_kernel_reboot_obj();

// The kernel reboot body of the event type 0 report: built once per recorded reboot,
// so the pending record is cleared when the body is made.
json::Ptr build_kernel_reboot_body(Daemon& d);

// Reads the kernel's USB device list into `devices` (cleared first) and sets the USB
// storage count of the collection record. Returns the number of records filled.
int scan_usb_devices(Daemon& d);

// "circleEnabled", "circleLoaderVersion", "circleFirmwareVersion", "circleDBVersion".
json::Ptr create_circle_version_obj();
