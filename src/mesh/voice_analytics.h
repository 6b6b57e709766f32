// The "avsAnalytic" body of the routine report: usage counters of the satellites with
// a built-in voice assistant (AVS), fetched for us by the router's SOAP client into
// nvram keys "soapc_sat_<i>_...", and the nvram hand-shake that asks the SOAP client
// for them.
#pragma once

#include <string_view>

#include "json/json.h"
#include "platform/input_limits.h"

struct Daemon;

// SOAP client actions the voice builder asks for.
inline constexpr std::string_view kSoapActionVoiceControlStatus = "16";
inline constexpr std::string_view kSoapActionAvsAnalytic = "23";

// Bounds on what nvram may announce (platform/input_limits.h gives the reasons).
inline constexpr int kMaxVoiceSatellites = limits::kMaxVoiceSatellites;
inline constexpr int kMaxVoiceRecords = limits::kMaxVoiceRecordsPerSatellite;
inline constexpr int kMaxVoiceMedia = limits::kMaxVoiceMediaPerRecord;
inline constexpr int kMaxVoiceRecordsPerBody = limits::kMaxVoiceRecordsPerBody;
inline constexpr int kMaxVoiceMediaPerBody = limits::kMaxVoiceMediaPerBody;

// Asks the SOAP client to run `action` against the satellite in nvram soapc_sat_index:
// waits (1 s steps, at most 5) for soapc_sat_router_fire to read "0", sets it to
// `action`, then sleeps 4 s and polls soapc_action for "0" at most 9 times, 1 s apart.
// Returns whatever the client did; every sleep goes through the platform clock.
void setSoapRouterFire(std::string_view action);

// {"numberOfDevice": n, "device": [...]}, one element per satellite announcing AVS
// support, in index order; a satellite whose AVS registration status is not "1"
// contributes an empty element. Null when out of memory.
json::Ptr create_satellite_voice_obj(Daemon& d);
