// Device type names of the device-tracking service and their numeric ids.
#pragma once

#include <array>
#include <string>
#include <string_view>

inline constexpr int kDeviceTypeRows = 52;
inline constexpr int kDeviceTypeRowSize = 30;

// Row i (0-based) names device type id i + 1.
extern const std::array<const char*, kDeviceTypeRows> device_type_names;

// The generic type every fallback reports. Its id is 19 although row 19 of the table
// reads "Linux PC"; the cloud side knows the generic type by this pair.
inline constexpr const char* kGenericDeviceType = "Network (Generic)";
inline constexpr int kGenericDeviceTypeId = 19;

struct DeviceType {
    std::string name;
    int id = 0;
};

// The type of a device from its `type` option ("<name>(<id>)"): the name word and
// the id between the parentheses, then the id of the last table row whose name occurs
// in the text. A single blank is the generic type; an empty text gives nothing.
DeviceType parse_device_type(std::string_view type);
