#include "core/timezone.h"

#include <climits>
#include <cstdio>
#include <cstdlib>

#include "platform/platform.h"

namespace {

// atoi as the router's C library computes it: leading blanks, an optional sign,
// decimal digits; anything else ends the number; out-of-range values saturate.
int decimal_value(const std::string& text) {
    long v = std::strtol(text.c_str(), nullptr, 10);
    if (v > INT_MAX) return INT_MAX;
    if (v < INT_MIN) return INT_MIN;
    return static_cast<int>(v);
}

void put_bounded(std::string& dest, size_t size, const char* text) {
    if (size == 0) return;
    dest = text;
    if (dest.size() > size - 1) dest.resize(size - 1);
}

}  // namespace

void get_timezone_offset(std::string& dest, size_t size) {
    int zone = decimal_value(ovraNvramConfig_get("time_zone"));
    char text[32];
    if (zone >= -12 && zone <= -1) {
        std::snprintf(text, sizeof text, "%03d:00", zone);
    } else if (zone >= 0 && zone <= 13) {
        std::snprintf(text, sizeof text, "+%02d:00", zone);
    } else if (zone == -35) {
        std::snprintf(text, sizeof text, "-03:30");
    } else if (zone == 55) {
        std::snprintf(text, sizeof text, "+05:30");
    } else if (zone == 95) {
        std::snprintf(text, sizeof text, "+09:30");
    } else {
        return;  // no mapping: the caller's text stays as it was
    }
    put_bounded(dest, size, text);
}
