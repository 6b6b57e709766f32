// The report's time-zone offset text.
#pragma once

#include <cstddef>
#include <string>

// From nvram `time_zone`: "-05:00", "+00:00", "+05:30", ...; `dest` is left alone for
// values without a mapping. At most size - 1 characters are written.
void get_timezone_offset(std::string& dest, size_t size);
