#include "core/timezone.h"

#include <gtest/gtest.h>

#include "support/fake_backend.h"

namespace {

std::string offset_for(testing_support::FakeRouter& fake, const char* zone,
                       std::string start = "unchanged", size_t size = 16) {
    fake->nvram["time_zone"] = zone;
    get_timezone_offset(start, size);
    return start;
}

}  // namespace

TEST(TimezoneOffset, ZeroGivesPlusZero) {
    testing_support::FakeRouter fake;
    EXPECT_EQ(offset_for(fake, "0"), "+00:00");
}

TEST(TimezoneOffset, MinusTwelveGivesMinusTwelve) {
    testing_support::FakeRouter fake;
    EXPECT_EQ(offset_for(fake, "-12"), "-12:00");
}

TEST(TimezoneOffset, FourteenLeavesTextUnchanged) {
    testing_support::FakeRouter fake;
    EXPECT_EQ(offset_for(fake, "14"), "unchanged");
}

TEST(TimezoneOffset, NegativeWholeHoursUseThreeDigitForm) {
    testing_support::FakeRouter fake;
    EXPECT_EQ(offset_for(fake, "-5"), "-05:00");
    EXPECT_EQ(offset_for(fake, "-1"), "-01:00");
}

TEST(TimezoneOffset, PositiveWholeHoursUpToThirteen) {
    testing_support::FakeRouter fake;
    EXPECT_EQ(offset_for(fake, "1"), "+01:00");
    EXPECT_EQ(offset_for(fake, "8"), "+08:00");
    EXPECT_EQ(offset_for(fake, "13"), "+13:00");
}

TEST(TimezoneOffset, HalfHourZones) {
    testing_support::FakeRouter fake;
    EXPECT_EQ(offset_for(fake, "-35"), "-03:30");
    EXPECT_EQ(offset_for(fake, "55"), "+05:30");
    EXPECT_EQ(offset_for(fake, "95"), "+09:30");
}

TEST(TimezoneOffset, ValuesWithoutMappingLeaveTextUnchanged) {
    testing_support::FakeRouter fake;
    for (const char* zone : {"-13", "-36", "35", "56", "96", "100", "99999999999"})
        EXPECT_EQ(offset_for(fake, zone), "unchanged") << zone;
}

TEST(TimezoneOffset, ReadsLikeAtoi) {
    testing_support::FakeRouter fake;
    // Leading blanks and trailing text are what atoi makes of them; an empty or
    // non-numeric value reads as 0.
    EXPECT_EQ(offset_for(fake, " 55abc"), "+05:30");
    EXPECT_EQ(offset_for(fake, "abc"), "+00:00");
    EXPECT_EQ(offset_for(fake, ""), "+00:00");
}

TEST(TimezoneOffset, UnsetKeyReadsAsZero) {
    testing_support::FakeRouter fake;
    std::string text = "unchanged";
    get_timezone_offset(text, 16);
    EXPECT_EQ(text, "+00:00");
}

TEST(TimezoneOffset, BoundedBySize) {
    testing_support::FakeRouter fake;
    EXPECT_EQ(offset_for(fake, "-5", "x", 4), "-05");
    EXPECT_EQ(offset_for(fake, "-5", "x", 1), "");
    EXPECT_EQ(offset_for(fake, "-5", "x", 0), "x");
}
