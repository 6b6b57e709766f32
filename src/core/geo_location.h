// The cloud agent's identity values and the device-location fetch.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

struct Daemon;
struct GeoLocation;

// Where the device-location service's answer is kept.
inline constexpr const char* kLocationFile = "/tmp/qCloud_MAXmind";
// Bound of the curl command line (a 320-byte buffer with its terminator).
inline constexpr size_t kLocationCommandSize = 320;
// Lines of the answer are read in pieces of at most 63 characters.
inline constexpr size_t kLocationLineSize = 64;
// Text members of the location hold at most 31 characters.
inline constexpr size_t kLocationFieldMax = 31;
// Source line numbers the fetch prints with "collect_current_info"; they only have to
// stay the same.
inline constexpr int kLocationExistingLine = 1412;
inline constexpr int kLocationCommandLine = 1437;

// Fills `dest` (at most size - 1 characters) with the cloud agent value of `kind` (1..6).
void getQagentInformation(int kind, std::string& dest, size_t size);
// The location fetch and parse of one collection pass (only while not yet obtained).
void fetch_geo_location(Daemon& d);

// The device-location host for the cloud agent's advisor URL: development, QA or
// production.
const char* device_location_host(std::string_view advisor_url);
// Reads the service's answer line by line into `geo`.
void parse_location_file(GeoLocation& geo);
// One line of the answer: the first known member named in it is stored.
void parse_location_line(std::string_view line, GeoLocation& geo);
