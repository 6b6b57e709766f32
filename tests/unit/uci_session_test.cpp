#include "platform/uci_session.h"

#include <gtest/gtest.h>

#include <regex>

#include "platform/platform.h"
#include "support/fake_backend.h"

using testing_support::FakeRouter;

namespace {

const char* kDevices = R"(
config device 'AABBCCDDEEFF'
	option ip '192.168.1.20'
	option bhDisconnectTime '12'

config lists 'lists'
	list mac 'AABBCCDDEEFF'
	list mac '001122334455'
)";

std::string captured(const std::function<void()>& body) {
    testing::internal::CaptureStdout();
    body();
    return testing::internal::GetCapturedStdout();
}

}  // namespace

TEST(UciErrorName, TableOfNineNamesIndexedByCode) {
    const char* want[] = {"UCI_OK",      "UCI_ERR_MEM",   "UCI_ERR_INVAL",     "UCI_ERR_NOTFOUND",
                          "UCI_ERR_IO",  "UCI_ERR_PARSE", "UCI_ERR_DUPLICATE", "UCI_ERR_UNKNOWN",
                          "UCI_ERR_LAST"};
    for (int code = 0; code < 9; ++code) EXPECT_STREQ(uci_error_name(code), want[code]) << code;
}

TEST(UciErrorName, CodesOutsideTheTableReadAsUnknown) {
    EXPECT_STREQ(uci_error_name(-1), "UCI_ERR_UNKNOWN");
    EXPECT_STREQ(uci_error_name(9), "UCI_ERR_UNKNOWN");
}

TEST(UciReport, MessageFormatNamesFunctionLineOperationAndCode) {
    std::string out =
        captured([] { uci_report("get_bh_count", 321, "ovraUciConfig_w_set_value", 3); });
    EXPECT_EQ(out, "[get_bh_count 321] ovraUciConfig_w_set_value : UCI_ERR_NOTFOUND\n");
}

TEST(UciSessionTest, ReadsThePackageOfTheGivenDirectory) {
    FakeRouter fake;
    fake->set_uci("/tmp", "devices", kDevices);
    fake->set_uci("/etc/config", "devices", "config device 'AABBCCDDEEFF'\n\toption ip 'wrong'\n");
    UciSession uci("/tmp", "devices", "reader");
    EXPECT_EQ(uci.status(), UCI_OK);
    EXPECT_EQ(uci.get("devices.AABBCCDDEEFF.ip", 512), "192.168.1.20");
    EXPECT_EQ(uci.get("devices.lists.mac", 512), "AABBCCDDEEFF 001122334455");
    EXPECT_EQ(fake->uci_loads, 1);
}

TEST(UciSessionTest, GetIsCutToTheCallersBuffer) {
    FakeRouter fake;
    fake->set_uci("/tmp", "devices", kDevices);
    UciSession uci("/tmp", "devices", "reader");
    EXPECT_EQ(uci.get("devices.AABBCCDDEEFF.ip", 8), "192.168");
    std::string out;
    EXPECT_EQ(uci.get("devices.AABBCCDDEEFF.ip", out, 4), UCI_OK);
    EXPECT_EQ(out, "192");
}

TEST(UciSessionTest, MissingOptionKeepsCallersDefault) {
    FakeRouter fake;
    fake->set_uci("/tmp", "devices", kDevices);
    UciSession uci("/tmp", "devices", "reader");
    std::string value = "default";
    EXPECT_EQ(uci.get("devices.AABBCCDDEEFF.nothing", value, 512), UCI_ERR_NOTFOUND);
    EXPECT_EQ(value, "default");
    std::string out = captured([&] { EXPECT_FALSE(uci.get("devices.nosuch.ip", 512, false)); });
    EXPECT_TRUE(std::regex_match(
        out, std::regex(R"(\[reader \d+\] ovraUciConfig_w_get_value : UCI_ERR_NOTFOUND\n)")))
        << out;
}

TEST(UciSessionTest, WritesReachTheStoreOnlyOnCommit) {
    FakeRouter fake;
    fake->set_uci("/tmp", "devices", kDevices);
    {
        UciSession uci("/tmp", "devices", "writer");
        EXPECT_EQ(uci.set("devices.AABBCCDDEEFF.bhDisconnectTime", "13"), UCI_OK);
        EXPECT_EQ(uci.get("devices.AABBCCDDEEFF.bhDisconnectTime", 512), "13");
        EXPECT_EQ(fake->uci_text("/tmp", "devices"), kDevices);
        EXPECT_EQ(uci.commit(), UCI_OK);
    }
    UciSession again("/tmp", "devices", "reader");
    EXPECT_EQ(again.get("devices.AABBCCDDEEFF.bhDisconnectTime", 512), "13");
    EXPECT_EQ(again.get("devices.AABBCCDDEEFF.ip", 512), "192.168.1.20");
}

TEST(UciSessionTest, UncommittedChangesAreDroppedWhenTheSessionExits) {
    FakeRouter fake;
    fake->set_uci("/tmp", "devices", kDevices);
    {
        UciSession uci("/tmp", "devices", "writer");
        uci.set("devices.AABBCCDDEEFF.ip", "10.0.0.1");
    }
    EXPECT_EQ(fake->uci_text("/tmp", "devices"), kDevices);
    UciSession again("/tmp", "devices", "reader");
    EXPECT_EQ(again.get("devices.AABBCCDDEEFF.ip", 512), "192.168.1.20");
}

TEST(UciSessionTest, ExitClosesTheSessionAndItsDirectory) {
    FakeRouter fake;
    fake->set_uci("/tmp", "devices", kDevices);
    { UciSession uci("/tmp", "devices", "reader"); }
    // Outside any session the wrapper is back on its default directory, where there is
    // no devices package, and nothing of the closed session is left.
    std::string value = "default";
    EXPECT_EQ(ovraUciConfig_w_get_value("devices.AABBCCDDEEFF.ip", value, 512), UCI_ERR_NOTFOUND);
    EXPECT_EQ(value, "default");
}

TEST(UciSessionTest, SetOfMissingSectionPrintsNotFoundAndGoesOn) {
    FakeRouter fake;
    fake->set_uci("/tmp", "devices", kDevices);
    UciSession uci("/tmp", "devices", "writer");
    std::string out =
        captured([&] { EXPECT_EQ(uci.set("devices.nosuch.x", "1"), UCI_ERR_NOTFOUND); });
    EXPECT_TRUE(std::regex_match(
        out, std::regex(R"(\[writer \d+\] ovraUciConfig_w_set_value : UCI_ERR_NOTFOUND\n)")))
        << out;
    EXPECT_EQ(uci.set("devices.AABBCCDDEEFF.x", "1"), UCI_OK);
    EXPECT_EQ(uci.commit(), UCI_OK);
    EXPECT_NE(fake->uci_text("/tmp", "devices")->find("option x '1'"), std::string::npos);
}

TEST(UciSessionTest, SetWithBadOptionNameIsInvalid) {
    FakeRouter fake;
    fake->set_uci("/tmp", "devices", kDevices);
    UciSession uci("/tmp", "devices", "writer");
    captured([&] { EXPECT_EQ(uci.set("devices.AABBCCDDEEFF.bad name", "1"), UCI_ERR_INVAL); });
}

TEST(UciSessionTest, SetOfSectionTypeCreatesTheSection) {
    FakeRouter fake;
    fake->set_uci("/tmp", "devices", kDevices);
    UciSession uci("/tmp", "devices", "writer");
    EXPECT_EQ(uci.set("devices.001122334455", "device"), UCI_OK);
    EXPECT_EQ(uci.set("devices.001122334455.ip", "192.168.1.30"), UCI_OK);
    EXPECT_EQ(uci.get("devices.001122334455", 512), "device");
    EXPECT_EQ(uci.get("devices.001122334455.ip", 512), "192.168.1.30");
}

TEST(UciSessionTest, MissingPackagePrintsUpdateFailure) {
    FakeRouter fake;
    std::string out = captured([] {
        UciSession uci("/tmp", "devices", "reader");
        EXPECT_EQ(uci.status(), UCI_ERR_NOTFOUND);
        EXPECT_FALSE(uci.get("devices.AABBCCDDEEFF.ip", 512));
    });
    EXPECT_TRUE(std::regex_match(
        out, std::regex(R"(\[reader \d+\] ovraUciConfig_w_update : UCI_ERR_NOTFOUND\n)")))
        << out;
}

TEST(UciSessionTest, MalformedFileGivesParseErrorAndCallerKeepsDefault) {
    FakeRouter fake;
    fake->set_uci("/tmp", "devices", "config device 'AABBCCDDEEFF'\n\toption ip '192.168\n");
    std::string value = "0.0.0.0";
    std::string out = captured([&] {
        UciSession uci("/tmp", "devices", "get_device_ip");
        EXPECT_EQ(uci.status(), UCI_ERR_PARSE);
        uci.get("devices.AABBCCDDEEFF.ip", value, 512);
    });
    EXPECT_TRUE(std::regex_match(
        out, std::regex(R"(\[get_device_ip \d+\] ovraUciConfig_w_update : UCI_ERR_PARSE\n)")))
        << out;
    EXPECT_EQ(value, "0.0.0.0");
}

TEST(UciWrapper, UpdateOfMalformedPackageReturnsParseCode) {
    FakeRouter fake;
    fake->set_uci("/tmp", "devices", "nonsense here\n");
    ovraUciConfig_w_init();
    ovraUciConfig_w_set_config_dir("/tmp");
    EXPECT_EQ(ovraUciConfig_w_update("devices"), UCI_ERR_PARSE);
    ovraUciConfig_w_exit();
}

TEST(UciWrapper, FailedReloadForgetsTheEarlierLoad) {
    FakeRouter fake;
    fake->set_uci("/tmp", "devices", kDevices);
    ovraUciConfig_w_init();
    ovraUciConfig_w_set_config_dir("/tmp");
    ASSERT_EQ(ovraUciConfig_w_update("devices"), UCI_OK);
    fake->set_uci("/tmp", "devices", "broken '\n");
    EXPECT_EQ(ovraUciConfig_w_update("devices"), UCI_ERR_PARSE);
    std::string value = "default";
    EXPECT_NE(ovraUciConfig_w_get_value("devices.AABBCCDDEEFF.ip", value, 512), UCI_OK);
    EXPECT_EQ(value, "default");
    ovraUciConfig_w_exit();
}

TEST(UciWrapper, BadArgumentsAreInvalid) {
    FakeRouter fake;
    std::string value;
    EXPECT_EQ(ovraUciConfig_w_set_config_dir(""), UCI_ERR_INVAL);
    EXPECT_EQ(ovraUciConfig_w_update(""), UCI_ERR_INVAL);
    EXPECT_EQ(ovraUciConfig_w_update("a.b"), UCI_ERR_INVAL);
    EXPECT_EQ(ovraUciConfig_w_get_value("nodot", value, 512), UCI_ERR_INVAL);
    EXPECT_EQ(ovraUciConfig_w_get_value(".x", value, 512), UCI_ERR_INVAL);
    EXPECT_EQ(ovraUciConfig_w_set_value("nodot", "v"), UCI_ERR_INVAL);
}
