// The contract the call sites rely on for the imported operations, on the fake router.
#include <gtest/gtest.h>

#include "platform/platform.h"
#include "support/fake_backend.h"

using testing_support::FakeRouter;

TEST(NvramContract, MissingKeyReadsAsEmptyText) {
    FakeRouter fake;
    EXPECT_EQ(ovraNvramConfig_get("never_set"), "");
    EXPECT_EQ(ovraNvramConfig_exist("never_set"), 0);
}

TEST(NvramContract, MatchIsExactAndInvmatchItsOpposite) {
    FakeRouter fake;
    fake->nvram["RA_enable"] = "1";
    EXPECT_NE(ovraNvramConfig_match("RA_enable", "1"), 0);
    EXPECT_EQ(ovraNvramConfig_match("RA_enable", "10"), 0);
    EXPECT_EQ(ovraNvramConfig_match("RA_enable", ""), 0);
    EXPECT_EQ(ovraNvramConfig_invmatch("RA_enable", "1"), 0);
    EXPECT_NE(ovraNvramConfig_invmatch("RA_enable", "0"), 0);
    EXPECT_NE(ovraNvramConfig_match("unset_key", ""), 0);  // unset reads as ""
}

TEST(NvramContract, SetUnsetAndSave) {
    FakeRouter fake;
    ovraNvramConfig_set("ra_count", itoa(42));
    EXPECT_EQ(fake->nvram["ra_count"], "42");
    EXPECT_NE(ovraNvramConfig_exist("ra_count"), 0);
    ovraNvramConfig_unset("ra_count");
    EXPECT_EQ(ovraNvramConfig_exist("ra_count"), 0);
    ovraNvramConfig_save();
    EXPECT_EQ(fake->saves, 1);
}

TEST(SharedHelpers, TrimRemovesLeadingAndTrailingWhiteSpace) {
    std::string t = " \t value with  inner \r\n";
    trim_(t);
    EXPECT_EQ(t, "value with  inner");
    std::string blank = " \n ";
    trim_(blank);
    EXPECT_EQ(blank, "");
}

TEST(SharedHelpers, StrlwrLowerCasesInPlace) {
    std::string t = "AA:Bb:0F";
    strlwr(t);
    EXPECT_EQ(t, "aa:bb:0f");
}

TEST(SharedHelpers, ItoaGivesDecimalText) {
    EXPECT_EQ(itoa(0), "0");
    EXPECT_EQ(itoa(-17), "-17");
    EXPECT_EQ(itoa(79000), "79000");
}

TEST(SharedHelpers, IsTimeoutOnTheRouterClock) {
    FakeRouter fake;
    fake->now_uptime = 5000;
    uint32_t start = sys_uptime();
    EXPECT_EQ(IsTimeout(start, 60), 0);
    fake->now_uptime += 59;
    EXPECT_EQ(IsTimeout(start, 60), 0);
    fake->now_uptime += 1;
    EXPECT_NE(IsTimeout(start, 60), 0);
}

TEST(SharedHelpers, LocalTimeOfTheRouter) {
    FakeRouter fake;
    time_t when = 1767225600 + 3661;  // 2026-01-01 01:01:01 on the fake's UTC clock
    std::tm tm{};
    EXPECT_EQ(my_localtime_r(&when, &tm), &tm);
    EXPECT_EQ(tm.tm_year, 126);
    EXPECT_EQ(tm.tm_hour, 1);
    EXPECT_EQ(tm.tm_min, 1);
    EXPECT_EQ(tm.tm_sec, 1);
}

TEST(SharedHelpers, Md5IsRfc1321) {
    MD5_CTX ctx;
    MD5Init(&ctx);
    MD5Update(&ctx, reinterpret_cast<const unsigned char*>("abc"), 3);
    unsigned char digest[16];
    MD5Final(digest, &ctx);
    char hex[33];
    for (int i = 0; i < 16; ++i) std::snprintf(hex + 2 * i, 3, "%02x", digest[i]);
    EXPECT_STREQ(hex, "900150983cd24fb0d6963f7d28e17f72");
}

TEST(SharedHelpers, HardwareVersionAndVendorHooksReachTheBackend) {
    FakeRouter fake;
    fake->hwversion = "VRE640";
    fake->mtd = 9;
    fake->fw_response_code = 200;
    EXPECT_EQ(getHWVersion(), "VRE640");
    EXPECT_EQ(shared_get_mtd_index("DebugMsg"), 9);
    EXPECT_EQ(get_check_fw_responseCode(), 200);
    hook_soapc(3);
    EXPECT_EQ(fake->soapc_requests, std::vector<int>{3});
}
