// The "routerHardware" header every report carries, and its small helpers.
#pragma once

#include <string>
#include <string_view>

#include "json/json.h"

struct Daemon;

// Event type code of a DAL event report; its header takes the event's own fields.
inline constexpr int kDalEventCode = 6;
// DAL event type of an install event (raises DevInfo::install_event).
inline constexpr int kInstallEventType = 17;
// Longest version text get_kiln_version writes (a 32-byte buffer on the router).
inline constexpr size_t kKilnVersionMax = 31;
// Longest time-zone offset text in the header.
inline constexpr size_t kTimeZoneOffsetMax = 15;

// The header of a report of `event_code`; null when out of memory. The event type put
// into the header is handed back through `event_type` (when not null): the code
// itself, or for a DAL event the file's numeric "eventType" when it has one.
//
// A DAL header (code 6) refers to members of the parsed DAL event file instead of
// copying them; that tree is kept in d.dal_header_source, so the report document must
// be deleted before the next DAL header is built or `d` goes away.
json::Ptr create_router_hardware_obj(Daemon& d, int event_code, int* event_type);
// "V<digits>" of the kiln tool and of its services, each at most 31 characters. Both
// outputs are expected empty on entry and stay empty when the tool says nothing.
void get_kiln_version(std::string& version, std::string& services);
// 32 lower-case hex digits of the MD5 digest of `text`.
std::string md5_hex_string(std::string_view text);
// Local date [year, month, day] and time [hour, minute, second].
void get_local_date_time(int date[3], int time[3]);
