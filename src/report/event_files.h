// Readers of the event files other programs drop for this agent: the Wi-Fi event
// batch and the DAL event.
#pragma once

#include "json/json.h"

inline constexpr const char* kWifiEventFile = "/tmp/telem_json_dir/telem_wifi_event.json";
inline constexpr const char* kDalEventFile = "/tmp/telem_json_dal_dir/dal_event.json";

// One top-level member of a parsed event file together with the document that owns
// it. `member` points into `document` and is valid while `document` lives.
struct EventMember {
    json::Ptr document;
    cJSON* member = nullptr;

    explicit operator bool() const { return member != nullptr; }
    // The member's name in the file (null for an unnamed item).
    const char* name() const { return member ? member->string : nullptr; }
    // Detaches the member from its document and hands it over; the document keeps
    // the rest. Null when there is no member.
    json::Ptr take();
};

// The first top-level member of the Wi-Fi event file, or an empty result (with the
// reason printed) when the file is missing, unreadable or not JSON.
EventMember read_wifi_event_member();

// Member `which` (1 = the event's header fields, 2 = the event body) of the DAL event
// file. A file with fewer than two top-level members gives an empty result for either.
EventMember read_dal_event_member(int which);
