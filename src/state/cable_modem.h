// The MAC address of the cable modem in front of the router (or of the router's own
// built-in modem), with its OUI, cached in /tmp/cable_mac.txt until the next restart
// of the system: the probing commands run only while that file does not exist.
#pragma once

#include <string>
#include <string_view>

struct Daemon;

inline constexpr const char* kCableMacFile = "/tmp/cable_mac.txt";

struct CableModem {
    std::string mac;  // twelve upper-case hex digits, or "na" (at most 31 characters)
    std::string oui;  // the first six digits, or "na"
};

void get_cablemodem_mac(Daemon& d);

// The built-in modem's answer line made into twelve upper-case hex digits: the 18
// characters that begin 19 before the line's end, a colon-separated address, its six
// parts joined. Empty when the line holds no address.
std::string cable_mac_from_answer(std::string_view line);
// True when `address`/`mask` lies in the modem's management subnet 192.168.100.0/24.
bool on_modem_management_subnet(const std::string& address, const std::string& mask);
