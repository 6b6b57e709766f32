#include "platform/numbers.h"

#include <algorithm>
#include <climits>
#include <limits>

namespace numbers {

int64_t parse_int64(std::string_view text) {
    size_t i = 0;
    while (i < text.size() && (text[i] == ' ' || (text[i] >= '\t' && text[i] <= '\r'))) ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
    // Accumulated as a negative number, whose range is the wider one.
    constexpr int64_t kMin = std::numeric_limits<int64_t>::min();
    int64_t value = 0;
    bool saturated = false;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
        const int digit = text[i] - '0';
        if (saturated) continue;
        if (value < (kMin + digit) / 10) {
            saturated = true;
            continue;
        }
        value = value * 10 - digit;
    }
    if (saturated) return negative ? kMin : std::numeric_limits<int64_t>::max();
    if (negative) return value;
    return value == kMin ? std::numeric_limits<int64_t>::max() : -value;
}

int parse_int(std::string_view text) {
    return static_cast<int>(std::clamp<int64_t>(parse_int64(text), INT_MIN, INT_MAX));
}

int increment_saturated(int value) {
    return value == INT_MAX ? value : value + 1;
}

}  // namespace numbers
