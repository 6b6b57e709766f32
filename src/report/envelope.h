// The "routerHardware" header every report carries, and its small helpers.
#pragma once

#include <string>
#include <string_view>

#include "report/json.h"

struct Daemon;

// The header of a report of `event_code`; null when out of memory. The event type put
// into the header is handed back through `event_type`.
json::Ptr create_router_hardware_obj(Daemon& d, int event_code, int* event_type);
// "V<digits>" of the kiln tool and of its services, each at most 31 characters.
void get_kiln_version(std::string& version, std::string& services);
// 32 lower-case hex digits of the MD5 digest of `text`.
std::string md5_hex_string(std::string_view text);
// Local date [year, month, day] and time [hour, minute, second].
void get_local_date_time(int date[3], int time[3]);
