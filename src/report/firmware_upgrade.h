// The "firmwareUpgradeAnalytics" body of the alarms and events report (event type 2):
// what the firmware checker found for the router and, through the SOAP client's
// per-satellite cache, for every satellite.
#pragma once

#include <string>
#include <string_view>

#include "json/json.h"

struct Daemon;

// The router's firmware check and download settings, with "satelliteFwInfo" last.
// Prints the last upgrade status (without a newline). Null when out of memory.
json::Ptr create_firmware_upgrade_obj(Daemon& d);

// {"numberOfSatellite": count text, "satellite": [...]}: one object per satellite of
// nvram soapc_sat_access_count. A forced satellite upgrade is reported once: its
// nvram flag and version are reset here. Null when out of memory.
json::Ptr create_satellite_fw_obj();

// The text of a firmware checker result code ("unknown error" for codes it does not
// name).
const char* firmware_check_result_text(int code);
// The text of a satellite's check-and-download response (nvram text).
const char* satellite_check_result_text(std::string_view response);
// "V" and the version up to its first underscore (at most 63 characters looked at);
// empty for an empty version.
std::string firmware_version_label(std::string_view version);
// A colon-separated MAC address (at most 31 characters looked at) with its six
// groups joined: aa:bb:cc:dd:ee:ff -> aabbccddeeff.
std::string compact_satellite_mac(std::string_view mac);
