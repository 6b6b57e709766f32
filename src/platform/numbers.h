// Decimal numbers written by other programs, read without undefined behaviour.
//
// The router's code reads such numbers with atoi/strtoll and adds to them; a value at
// or beyond the range of the type then overflows. These helpers keep the C reading
// (leading blanks, an optional sign, digits up to the first other character, 0 when
// there are none) but saturate at the bounds of the type instead of overflowing.
#pragma once

#include <cstdint>
#include <string_view>

namespace numbers {

// strtoll-like, saturating at INT64_MIN / INT64_MAX.
int64_t parse_int64(std::string_view text);
// atoi-like, saturating at INT_MIN / INT_MAX.
int parse_int(std::string_view text);
// value + 1, staying at INT_MAX once there.
int increment_saturated(int value);

}  // namespace numbers
