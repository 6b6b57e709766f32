// The "wifiAnalytics" event: per-band BSS information, the wireless interfaces with
// their radio, details and traffic counters, and the shape of a neighbourhood scan.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "json/json.h"

struct Daemon;

// 1 when the PHY behind `ifname` announces the capability generation `generation`
// ("HT", "VHT", "HE", "EHT"); 0 otherwise.
int probe_phy_capability(std::string_view generation, std::string_view ifname);

// The virtual interfaces the radio whose access point is `ap_ifname` carries, BYOD
// interfaces left out.
int count_radio_vaps(Daemon& d, std::string_view ap_ifname);

// The sent share of dropped frames, in whole percent, computed division first.
uint64_t tx_drop_percent(uint64_t packets, uint64_t dropped);

// A statistics file's first line as an unsigned 64-bit count; 0 when it does not
// start with a digit.
uint64_t counter_value(std::string_view line);

// "a0:b1:c2:d3:e4:f5" as "A0B1C2D3E4F5"; "" when it is not a MAC address.
std::string mac_twelve_digits(std::string_view addr);

// The BSS objects and the "wifiIface" array; null when the model has no bands.
json::Ptr create_wifi_analytic_obj(Daemon& d);
// { "wifiScanResult": [ one placeholder entry ] }.
json::Ptr create_wifi_scan_obj();
// The body of the "wifiAnalytics" event: the analytics object with the scan result
// appended; null when the model has no bands.
json::Ptr create_wifi_analytics_event(Daemon& d);
