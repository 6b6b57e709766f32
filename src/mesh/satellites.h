// The "SatelliteInfo" body of the routine report: the mesh's satellites, connected and
// disconnected, with identity, uptime, memory, SOAP and mesh link state, SSID clone
// state, backhaul link, firmware, voice-service registration and temperature sensors.
//
// The satellites' own answers come from the SOAP client's nvram cache
// (`soapc_sat_<i>_...`), mesh link and SSID data from the topology document of
// net_scan.h, and device-table data from UCI.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "json/json.h"
#include "mesh/attached_devices.h"
#include "platform/input_limits.h"

struct Daemon;

// The satellite table holds this many satellites; every satellite count is kept
// within it.
inline constexpr int kMaxSatellites = limits::kMaxSatellites;

// What the collection record remembers of each satellite between passes, in the
// router's fixed buffers.
struct SatelliteCacheEntry {
    FixedText<20> mac;
    FixedText<64> fw_version;
    FixedText<64> fw_last_update;
    FixedText<32> speed_test_time;
};

struct SatelliteCache {
    std::array<SatelliteCacheEntry, kMaxSatellites> entries{};
    int32_t count = 0;
    // Set on every report of the satellites; the report assembly reads it afterwards.
    int32_t changed = 0;
};

// Builds "SatelliteInfo". `router_info` is the "routerInfo" object of the same report
// (may be null): its "satAllSSIDCloneStatus" is replaced by the mesh-wide clone state.
json::Ptr create_satellite_obj(Daemon& d, cJSON* router_info);

// Appends an object for every known satellite whose backhaul is down.
void create_disconnected_satellite_obj(cJSON* satellites);

// The body slot: create_satellite_obj with the router information being assembled.
json::Ptr satellite_info_body(Daemon& d);

// Helpers with rules of their own, exposed for the tests.
// The reported uptime: "<n> days <hh:mm:ss>"; nothing when the text cannot be read.
std::optional<std::string> satellite_uptime(std::string_view uptime_text);
// "failed", "sync", "out of sync" or "default".
const char* satellite_soap_status(std::string_view isconnected, std::string_view auth_response);
// "Close", "OK" or "Far".
const char* backhaul_link_status(std::string_view conn_type, std::string_view rssi);
// The text between <tag> and </tag> in at most 7 characters; "" without the opening tag.
std::string voice_designator(std::string_view xml, std::string_view tag);
