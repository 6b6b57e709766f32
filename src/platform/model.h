// Router model tables: the model index of the hardware version, the per-model map of
// wireless interface names and the per-model switch port map.
#pragma once

#include <array>
#include <string>
#include <string_view>

namespace platform {

// 11 slots; 0/1/2 are the 2.4, 5 and 6 GHz radios. Each name holds at most 7
// characters (8-byte slots on the router).
using IfnameMap = std::array<std::string, 11>;

struct PortMap {
    std::array<std::string, 5> mask{};  // "0x02" style, "" where the model has no port
    int wan = 0;                        // W
    int wan_cable = 0;                  // Wc
    std::array<int, 5> port{};          // P1..P5, -1 where the model has no port
};

}  // namespace platform

// -1..5 from nvram `hwver`.
int get_model_index();
int init_ifname_map(platform::IfnameMap& map, std::string_view hwver);
int wait_wireless_state();
int get_state_ifname(std::string_view key, std::string& out);
int init_port_map(platform::PortMap& ports);
