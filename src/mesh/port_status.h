// Ethernet port status: the managed switch behind the LAN ports, queried with swconfig
// through the per-model port map (d.ports, filled at start-up).
#pragma once

#include <string_view>

struct Daemon;

// Link-speed codes of get_port_status(1, port).
enum PortSpeedCode {
    kPortSpeed10 = 0,  // 10baseT and anything not recognised
    kPortSpeed100 = 1,
    kPortSpeed1000 = 2,  // also a line without any speed
    kPortSpeed2500 = 3,
    kPortSpeed5000 = 4,
    kPortSpeed10000 = 5,
};

// Switch port number of LAN port `port` (1..5); the WAN port for any other number.
int get_switch_port(const Daemon& d, int port);
// Mode 0: 1 when the link of LAN port `port` is up, else 0. Mode 1: its speed code.
// Any other mode: 0.
int get_port_status(const Daemon& d, int mode, int port);
// OR of the switch masks of the LAN ports whose link is up.
unsigned int get_lan_link_mask(const Daemon& d);
// The LAN port (1..5) behind which the switch learnt `mac` (lower-case colon form),
// or 0 when it is not known.
void get_device_switch_port(const Daemon& d, std::string_view mac, int& port);
