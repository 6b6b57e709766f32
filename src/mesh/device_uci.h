// The UCI session of one attached-device pass over the device-tracking tables.
//
// The wrapper library keeps one session, holding each package it has loaded under the
// package's name only. The pass moves between two configuration directories that both
// hold a `devices` package, so a package is reloaded when, and only when, the pass
// reads it from a directory other than the one it was loaded from. Every other read is
// served from the loaded package: a pass loads each package a handful of times at
// most, whatever the number of devices.
#pragma once

#include <string>
#include <string_view>
#include <vector>

inline constexpr const char* kLiveDeviceDir = "/tmp";
inline constexpr const char* kDeviceInfoDir = "/opt/cache/system/device-info-table";

class DeviceUci {
  public:
    DeviceUci();   // ovraUciConfig_w_init
    ~DeviceUci();  // ovraUciConfig_w_exit
    DeviceUci(const DeviceUci&) = delete;
    DeviceUci& operator=(const DeviceUci&) = delete;

    // ovraUciConfig_w_set_config_dir; false when the switch failed.
    bool use_dir(std::string_view dir);
    // The value at `path` ("<package>.<section>.<option>") as a buffer of `size` bytes
    // holds it; nothing when the package or the option is missing.
    bool read(std::string_view path, std::string& out, size_t size);
    // The value, or "" when missing.
    std::string get(std::string_view path, size_t size);
    // get() of "<package>.<section>.<option>".
    std::string option(std::string_view package, std::string_view section, std::string_view option,
                       size_t size);

  private:
    struct Loaded {
        std::string package;
        std::string dir;
        bool ok = false;
    };
    bool ensure_loaded(std::string_view package);

    std::string dir_;
    std::vector<Loaded> loaded_;
    std::string path_;  // scratch for option()
};
