// The cloud agent's identity values and the device-location fetch.
#pragma once

#include <cstddef>
#include <string>

struct Daemon;

// Fills `dest` (at most size - 1 characters) with the cloud agent value of `kind` (1..6).
void getQagentInformation(int kind, std::string& dest, size_t size);
// The location fetch and parse of one collection pass (only while not yet obtained).
void fetch_geo_location(Daemon& d);
