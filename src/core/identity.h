// The router's identity: firmware version, MAC address, serial number, SKU.
#pragma once

#include <string>
#include <string_view>

struct Daemon;

// Acquires the identity into the collection record, with retries, and leaves the
// one-line logs under /tmp/router-analytics.
void acquire_identity(Daemon& d);

// The parts of the acquisition, in the order acquire_identity runs them.
void acquire_firmware_version(Daemon& d);
void acquire_mac_address(Daemon& d);
void acquire_serial_number(Daemon& d);

// The second "/"-separated field of the `version` tool's second line.
std::string firmware_version_from_line(std::string_view line);
// `lan_macaddr` in the xx:xx:xx:xx:xx:xx form made into 12 characters: the six
// two-character groups, each right-aligned in two columns, without the colons.
std::string mac_without_colons(std::string_view lan_macaddr);
// The fourth blank-separated word of `burnsn`'s first line.
std::string serial_number_from_line(std::string_view line);
