#include "mesh/device_types.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

const std::array<const char*, kDeviceTypeRows> device_type_names = {
    "Amazon Kindle",
    "Android Device",
    "Android Phone",
    "Android Tablet",
    "Apple Airport Express",
    "Blu-ray player",
    "Bridge",
    "Cable STB",
    "Camera",
    "Router",
    "DVR",
    "Gaming Console",
    "iMac",
    "iPad",
    "iPad mini",
    "iPhone 5/5s/5c",
    "iPhone",
    "iPod Touch",
    "Linux PC",
    "Mac mini",
    "Mac Pro",
    "Mac Book",
    "Media Device",
    "Network Device",
    "Other STB",
    "Powerline",
    "Printer",
    "Repeater",
    "Satellite STB",
    "scanner",
    "Sling box",
    "Smart phone",
    "Storage NAS",
    "Switch",
    "TV",
    "Tablet",
    "Unix PC",
    "Windows PC",
    "Surface",
    "Wifi Extender",
    "Apple TV",
    "AV Receiver",
    "Chromcast",
    "Google Nexus 5",
    "Google Nexus 7",
    "Google Nexus 10",
    "Other",
    "XR310E",
    "XR420E",
    "VoIP",
    "iPhone 6/6 Plus",
    "default",
};

DeviceType parse_device_type(std::string_view type) {
    DeviceType result;
    if (type.empty()) return result;
    if (type == " ") return {kGenericDeviceType, kGenericDeviceTypeId};

    std::string text(type);
    size_t open = text.find('(');
    if (open != std::string::npos) text[open] = ' ';
    size_t close = text.find(')');
    if (close != std::string::npos) text[close] = ' ';

    if (open != std::string::npos && close != std::string::npos) {
        std::vector<char> name(text.size() + 1, '\0');
        std::vector<char> id(text.size() + 1, '\0');
        std::sscanf(text.c_str(), "%s %s", name.data(), id.data());
        result.name = name.data();
        result.id = std::atoi(id.data());
    } else {
        result.name = text;
        result.id = 0;
    }
    // Every row found in the text sets the id, so the most specific name, which
    // stands later in the table ("iPhone 6/6 Plus" after "iPhone"), wins.
    for (int row = 0; row < kDeviceTypeRows; ++row)
        if (text.find(device_type_names[static_cast<size_t>(row)]) != std::string::npos)
            result.id = row + 1;
    return result;
}
