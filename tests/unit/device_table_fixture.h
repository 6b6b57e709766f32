// Device-tracking tables for the attached-device tests: the live table /tmp/devices
// and the known-device tables of /opt/cache/system/device-info-table, written as UCI
// text into a FakeBackend.
#pragma once

#include <regex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/model.h"
#include "platform/uci_file.h"
#include "support/fake_backend.h"

namespace device_fixture {

inline constexpr const char* kInfoDir = "/opt/cache/system/device-info-table";

// One section of a device table, named by the device's MAC as 12 hex digits.
struct FakeDevice {
    std::string section;
    std::vector<std::pair<std::string, std::string>> options;

    FakeDevice& set(std::string option, std::string value) {
        for (auto& o : options)
            if (o.first == option) {
                o.second = std::move(value);
                return *this;
            }
        options.emplace_back(std::move(option), std::move(value));
        return *this;
    }
};

// "AABBCCDDEEFF" -> "AA:BB:CC:DD:EE:FF".
inline std::string colon_mac(std::string_view mac12) {
    std::string out;
    for (size_t i = 0; i < mac12.size(); i += 2) {
        if (!out.empty()) out += ':';
        out += mac12.substr(i, 2);
    }
    return out;
}

// A device as the tracking service lists it: its MAC, address and connection text.
inline FakeDevice device(std::string mac12, std::string connection, std::string ip = "") {
    FakeDevice d{mac12, {}};
    d.set("mac", colon_mac(mac12));
    d.set("ip", ip.empty() ? "192.168.1.100" : ip);
    d.set("connection", std::move(connection));
    return d;
}

inline std::string package_text(const std::vector<std::string>& list,
                                const std::vector<FakeDevice>& devices) {
    std::string text;
    if (!list.empty()) {
        text += "config lists 'lists'\n";
        for (const auto& mac : list) text += "\tlist mac " + platform::uci_quote(mac) + "\n";
        text += "\n";
    }
    for (const auto& d : devices) {
        text += "config device " + platform::uci_quote(d.section) + "\n";
        for (const auto& [k, v] : d.options)
            text += "\toption " + k + " " + platform::uci_quote(v) + "\n";
        text += "\n";
    }
    return text;
}

// The live table: every attached device listed in the order given.
inline void set_live(testing_support::FakeBackend& fake, const std::vector<FakeDevice>& devices,
                     std::vector<std::string> list = {}) {
    if (list.empty())
        for (const auto& d : devices) list.push_back(d.section);
    fake.set_uci("/tmp", "devices", package_text(list, devices));
}

// The persistent copy of the live table (only conndevice is read from it).
inline void set_persistent(testing_support::FakeBackend& fake,
                           const std::vector<FakeDevice>& devices) {
    fake.set_uci(kInfoDir, "devices", package_text({}, devices));
}

// Every device ever seen, listed in the order given unless `list` says otherwise.
inline void set_known(testing_support::FakeBackend& fake, const std::vector<FakeDevice>& devices,
                      std::vector<std::string> list = {}) {
    if (list.empty())
        for (const auto& d : devices) list.push_back(d.section);
    fake.set_uci(kInfoDir, "knowndevices", package_text(list, devices));
}

// The switch of a VRE650 (model index 2).
inline void use_vre650(testing_support::FakeBackend& fake, platform::PortMap& ports) {
    fake.nvram["hwver"] = "VRE650";
    ports = {{"0x04", "0x02", "0x10", "0x08", "0x40"}, 5, -1, {2, 1, 4, 3, 6}};
}

// Source line numbers in messages ("func(123)", "[func,123]") replaced by "L".
inline std::string without_line_numbers(const std::string& text) {
    static const std::regex paren(R"(([A-Za-z_]+)\(\d+\))");
    static const std::regex bracket(R"(\[([A-Za-z_]+),\d+\])");
    std::string out = std::regex_replace(text, paren, "$1(L)");
    return std::regex_replace(out, bracket, "[$1,L]");
}

}  // namespace device_fixture
