#include "mesh/backhaul.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "support/fake_backend.h"

using testing_support::FakeRouter;

namespace {

constexpr const char* kMac = "94:A6:7E:20:30:40";

std::string device_section(const std::string& duration, const std::string& all_time,
                           const std::string& count) {
    std::string text = "config device '94A67E203040'\n";
    if (!duration.empty()) text += "\toption bhDisconnectDuration '" + duration + "'\n";
    if (!all_time.empty()) text += "\toption bhDisconnectAllTime '" + all_time + "'\n";
    if (!count.empty()) text += "\toption bhDisconnectCount '" + count + "'\n";
    return text;
}

struct Counters {
    std::string count;
    std::string minutes;
    std::string out;
};

Counters read_counters(std::string_view mac) {
    Counters c{"stale", "stale", ""};
    testing::internal::CaptureStdout();
    get_BHDisconnect(mac, c.count, c.minutes);
    c.out = testing::internal::GetCapturedStdout();
    return c;
}

std::string minutes_for(FakeRouter& fake, const std::string& duration, const std::string& all) {
    fake->set_uci("/tmp", "devices", device_section(duration, all, "3"));
    return read_counters(kMac).minutes;
}

std::string record_with(int32_t switches, size_t size = 40) {
    std::string record(size, '\x5a');
    if (size >= 40) std::memcpy(record.data() + 36, &switches, sizeof switches);
    return record;
}

std::string reset(std::string_view mac, int mode) {
    testing::internal::CaptureStdout();
    reset_BHDisconnect(mac, mode);
    return testing::internal::GetCapturedStdout();
}

}  // namespace

TEST(Backhaul, NoOutageGivesTimeZero) {
    FakeRouter fake;
    EXPECT_EQ(minutes_for(fake, "0", "0"), "0");
}

TEST(Backhaul, OutageOf59SecondsIsOneMinute) {
    FakeRouter fake;
    EXPECT_EQ(minutes_for(fake, "59", "0"), "1");
}

TEST(Backhaul, OutageOf60SecondsIsOneMinute) {
    FakeRouter fake;
    EXPECT_EQ(minutes_for(fake, "0", "60"), "1");
}

TEST(Backhaul, OutageOf61SecondsRoundsUpToTwoMinutes) {
    FakeRouter fake;
    EXPECT_EQ(minutes_for(fake, "61", "0"), "2");
}

TEST(Backhaul, CurrentAndAccumulatedOutagesAreAdded) {
    FakeRouter fake;
    EXPECT_EQ(minutes_for(fake, "30", "3571"), "61");
}

TEST(Backhaul, CountIsReadAsItStands) {
    FakeRouter fake;
    fake->set_uci("/tmp", "devices", device_section("0", "0", "4"));
    Counters c = read_counters(kMac);
    EXPECT_EQ(c.count, "4");
    EXPECT_NE(c.out.find("[get_BHDisconnect,"), std::string::npos);
    EXPECT_NE(c.out.find("]satelliteMac:94:A6:7E:20:30:40\n"), std::string::npos);
    EXPECT_NE(c.out.find("]deviceMacWithoutColon:94A67E203040\n"), std::string::npos);
}

TEST(Backhaul, LowerCaseMacIsAcceptedAndTheSectionIsUpperCase) {
    FakeRouter fake;
    fake->set_uci("/tmp", "devices", device_section("120", "0", "2"));
    Counters c = read_counters("94:a6:7e:20:30:40");
    EXPECT_EQ(c.count, "2");
    EXPECT_EQ(c.minutes, "2");
    EXPECT_NE(c.out.find("]deviceMacWithoutColon:94A67E203040\n"), std::string::npos);
    EXPECT_EQ(backhaul_section_name("94:a6:7e:20:3f:4a"), "94A67E203F4A");
}

TEST(Backhaul, MissingValuesGiveEmptyCountAndTimeZeroWithTheErrorsPrinted) {
    FakeRouter fake;
    fake->set_uci("/tmp", "devices", "config device 'OTHER'\n");
    Counters c = read_counters(kMac);
    EXPECT_EQ(c.count, "");
    EXPECT_EQ(c.minutes, "0");
    EXPECT_NE(c.out.find("] ovraUciConfig_w_get_value : UCI_ERR_NOTFOUND\n"), std::string::npos);
}

TEST(Backhaul, MissingDeviceTablePrintsTheUpdateError) {
    FakeRouter fake;
    Counters c = read_counters(kMac);
    EXPECT_EQ(c.count, "");
    EXPECT_EQ(c.minutes, "0");
    EXPECT_NE(c.out.find("[get_BHDisconnect "), std::string::npos);
    EXPECT_NE(c.out.find("] ovraUciConfig_w_update : UCI_ERR_NOTFOUND\n"), std::string::npos);
}

TEST(Backhaul, SeventeenCharactersThatAreNotHexNameNoSection) {
    FakeRouter fake;
    fake->set_uci("/tmp", "devices", device_section("600", "0", "9"));
    Counters c = read_counters("ZZ:A6:7E:20:30:4G");
    EXPECT_EQ(c.count, "");
    EXPECT_EQ(c.minutes, "0");
    EXPECT_EQ(fake->uci_loads, 0);
    EXPECT_EQ(backhaul_section_name("94-A6-7E-20-30-40"), std::nullopt);
    EXPECT_EQ(backhaul_section_name("94:A6:7E:20:30:4"), std::nullopt);
}

TEST(Backhaul, ResetModeOneStartsAtZeroDisconnections) {
    FakeRouter fake;
    fake->now_uptime = 86461;
    fake->set_uci("/tmp", "devices", device_section("75", "300", "3"));
    std::string out = reset(kMac, 1);
    std::string table = fake->uci_text("/tmp", "devices").value_or("");
    EXPECT_NE(table.find("option bhDisconnectTime '86461'"), std::string::npos) << table;
    EXPECT_NE(table.find("option bhDisconnectCount '0'"), std::string::npos) << table;
    EXPECT_NE(table.find("option bhDisconnectDuration '0'"), std::string::npos) << table;
    EXPECT_NE(table.find("option bhDisconnectAllTime '0'"), std::string::npos) << table;
    EXPECT_NE(out.find("]satelliteMac:94:A6:7E:20:30:40\n"), std::string::npos);
    EXPECT_NE(out.find("]deviceMac:94A67E203040\n"), std::string::npos);
    EXPECT_NE(out.find("] update device bhDisconnectTime : 86461\n"), std::string::npos);
    EXPECT_NE(out.find("] update device bhDisconnectCount : 0\n"), std::string::npos);
    EXPECT_NE(out.find("] update device bhDisconnectDuration : 0\n"), std::string::npos);
    EXPECT_NE(out.find("] update device bhDisconnectAllTime : 0\n"), std::string::npos);
}

TEST(Backhaul, ResetModeZeroCountsOneDisconnectionButSaysZero) {
    FakeRouter fake;
    fake->set_uci("/tmp", "devices", device_section("75", "300", "3"));
    std::string out = reset(kMac, 0);
    std::string table = fake->uci_text("/tmp", "devices").value_or("");
    EXPECT_NE(table.find("option bhDisconnectCount '1'"), std::string::npos) << table;
    EXPECT_NE(table.find("option bhDisconnectTime '1000'"), std::string::npos) << table;
    EXPECT_NE(out.find("[reset_BHDisconnect "), std::string::npos);
    EXPECT_NE(out.find("] update device bhDisconnectCount : 0\n"), std::string::npos);
}

TEST(Backhaul, ResetOfAnUnknownDevicePrintsEveryFailedWriteAndGoesOn) {
    FakeRouter fake;
    fake->set_uci("/tmp", "devices", "config device 'OTHER'\n");
    std::string out = reset(kMac, 1);
    size_t failures = 0;
    for (size_t at = 0; (at = out.find("] ovraUciConfig_w_set_value : UCI_ERR_NOTFOUND\n", at)) !=
                        std::string::npos;
         ++at)
        ++failures;
    EXPECT_EQ(failures, 4u) << out;
    EXPECT_EQ(out.find("update device"), std::string::npos);
    std::string table = fake->uci_text("/tmp", "devices").value_or("");
    EXPECT_NE(table.find("config device 'OTHER'"), std::string::npos);
    EXPECT_EQ(table.find("bhDisconnect"), std::string::npos) << table;
}

TEST(Backhaul, ResetOfANonHexMacWritesNothing) {
    FakeRouter fake;
    fake->set_uci("/tmp", "devices", device_section("75", "300", "3"));
    reset("GG:A6:7E:20:30:40", 1);
    EXPECT_EQ(fake->uci_text("/tmp", "devices"), device_section("75", "300", "3"));
}

TEST(Backhaul, SwitchCountIsTheSignedIntegerAtOffset36) {
    FakeRouter fake;
    fake->write("/tmp/apswitchcount/94:A6:7E:20:30:40", record_with(7));
    std::string out = "old";
    EXPECT_EQ(get_APSwithCount(kMac, out, 32), 0);
    EXPECT_EQ(out, "7");
    fake->write("/tmp/apswitchcount/94:A6:7E:20:30:40", record_with(-3));
    EXPECT_EQ(get_APSwithCount(kMac, out, 32), 0);
    EXPECT_EQ(out, "-3");
}

TEST(Backhaul, SwitchCountIsCutToTheBuffer) {
    FakeRouter fake;
    fake->write("/tmp/apswitchcount/94:A6:7E:20:30:40", record_with(123456));
    std::string out;
    get_APSwithCount(kMac, out, 4);
    EXPECT_EQ(out, "123");
}

TEST(Backhaul, MacOf16Or18CharactersGivesNoSwitchCount) {
    FakeRouter fake;
    fake->write("/tmp/apswitchcount/94:A6:7E:20:30:4", record_with(5));
    fake->write("/tmp/apswitchcount/94:A6:7E:20:30:400", record_with(5));
    std::string out = "untouched";
    EXPECT_EQ(get_APSwithCount("94:A6:7E:20:30:4", out, 32), 0);
    EXPECT_EQ(get_APSwithCount("94:A6:7E:20:30:400", out, 32), 0);
    EXPECT_EQ(get_APSwithCount("", out, 32), 0);
    EXPECT_EQ(out, "untouched");
}

TEST(Backhaul, MissingSwitchRecordGivesNoValueAndADebugLine) {
    FakeRouter fake;
    std::string out = "untouched";
    EXPECT_EQ(get_APSwithCount(kMac, out, 32), 0);
    EXPECT_EQ(out, "untouched");
    EXPECT_EQ(fake->console(), "");
    fake->nvram["telem_debug"] = "1";
    EXPECT_EQ(get_APSwithCount(kMac, out, 32), 0);
    EXPECT_EQ(out, "untouched");
    EXPECT_EQ(fake->console(), "[get_APSwithCount] open file failure\n");
}

TEST(Backhaul, SwitchRecordOfThreeBytesGivesNoValue) {
    FakeRouter fake;
    fake->write("/tmp/apswitchcount/94:A6:7E:20:30:40", "abc");
    std::string out = "untouched";
    EXPECT_EQ(get_APSwithCount(kMac, out, 32), 0);
    EXPECT_EQ(out, "untouched");
}

TEST(Backhaul, SwitchRecordNameCannotLeaveItsFolder) {
    FakeRouter fake;
    fake->write("/tmp/record", record_with(9));
    std::string out = "untouched";
    EXPECT_EQ(get_APSwithCount("../../tmp/record", out, 32), 0);
    EXPECT_EQ(out, "untouched");
}
