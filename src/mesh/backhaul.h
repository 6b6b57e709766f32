// Backhaul history of one satellite: how long and how often its backhaul link was down
// since the previous report, and how often it switched access point. Other router
// services keep the counters in the live device table (/tmp, package `devices`, one
// section per device named by its MAC as 12 upper-case hex digits) and in one 40-byte
// record per satellite under /tmp/apswitchcount/; these operations read them and, after
// each report, reset the table's counters.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

// The section name of a colon-form MAC ("%02X%02X%02X%02X%02X%02X"); either case of hex
// digit is accepted. Nothing when the text is not six hex pairs joined by colons.
std::optional<std::string> backhaul_section_name(std::string_view colon_mac);

// The disconnection count and the outage time in minutes (rounded up) since the last
// reset. `count` stays empty when the table has no count; `minutes` is "0" when there
// was no outage.
void get_BHDisconnect(std::string_view colon_mac, std::string& count, std::string& minutes);

// Starts a new counting period: mode 1 for a satellite reported as connected (count
// "0"), mode 0 for one reported as disconnected (count "1").
void reset_BHDisconnect(std::string_view colon_mac, int mode);

// The access-point switch count of the satellite's record, written into `out` as a
// buffer of `size` bytes would hold it; `out` is left untouched when there is no
// record. Returns 0 in every case.
int get_APSwithCount(std::string_view colon_mac, std::string& out, size_t size);
