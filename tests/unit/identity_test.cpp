#include "core/identity.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/daemon.h"
#include "support/fake_backend.h"

namespace {

using testing_support::FakeBackend;
using testing_support::FakeRouter;

const std::string kVersionCommand = "version > /tmp/version";
const std::string kBurnsnCommand = "burnsn 2>/tmp/serial_num.txt";

std::string fw_log(const std::string& when, const std::string& version, int retries) {
    return "echo " + when + ", fw_ver=" + version + ", retries=" + std::to_string(retries) +
           " > /tmp/router-analytics/latest_fw_ver_log.txt\n";
}
std::string mac_log(const std::string& when, const std::string& mac) {
    return "echo " + when + ", mac_addr=" + mac +
           ", retries=0 > /tmp/router-analytics/latest_mac_addr_log.txt\n";
}
std::string sn_log(const std::string& when, const std::string& sn, int retries) {
    return "echo " + when + ", sn=" + sn + ", retries=" + std::to_string(retries) +
           " > /tmp/router-analytics/latest_sn_log.txt\n";
}

// Runs `step` with standard output captured.
template <typename F>
std::string captured(F&& step) {
    testing::internal::CaptureStdout();
    step();
    return testing::internal::GetCapturedStdout();
}

// A command that answers with nothing for its first `failures` runs, then `text`.
FakeBackend::Handler fails_then(int failures, std::string text) {
    auto runs = std::make_shared<int>(0);
    return [runs, failures, text](const std::string&) {
        return (*runs)++ < failures ? FakeBackend::outputs("") : FakeBackend::outputs(text);
    };
}

}  // namespace

// --- firmware version ---------------------------------------------------------------

TEST(FirmwareVersion, SecondFieldOfSecondLine) {
    FakeRouter fake;
    fake->on_exact(kVersionCommand, FakeBackend::outputs("Firmware\nV1/1.2.3.4/x\n"));
    Daemon d;
    d.info.fw_version_missing = 1;
    std::string out = captured([&] { acquire_firmware_version(d); });
    EXPECT_EQ(d.info.fw_version, "1.2.3.4");
    EXPECT_EQ(d.info.fw_version_missing, 0);
    EXPECT_EQ(out, "current firmware version=[1.2.3.4]\n");
    EXPECT_TRUE(fake->sleeps.empty());
    EXPECT_FALSE(fake->exists("/tmp/version"));
    EXPECT_EQ(fake->commands, (std::vector<std::string>{
                                  kVersionCommand, fw_log("2026/1/1 00:00:00", "1.2.3.4", 0)}));
}

TEST(FirmwareVersion, SingleLineGivesEmptyVersionAfterThreeOneSecondAttempts) {
    FakeRouter fake;
    fake->on_exact(kVersionCommand, FakeBackend::outputs("V1/1.2.3.4/x\n"));
    Daemon d;
    std::string out = captured([&] { acquire_firmware_version(d); });
    EXPECT_EQ(d.info.fw_version, "");
    EXPECT_EQ(d.info.fw_version_missing, 1);
    EXPECT_EQ(fake->sleeps, (std::vector<unsigned>{1, 1, 1}));
    EXPECT_EQ(fake->commands_containing("version >").size(), 3u);
    EXPECT_EQ(out,
              "Get firmware version fail[]\nGet firmware version fail[]\n"
              "Get firmware version fail[]\nERROR: firmware version is NULL\n");
    // The log is written after the three seconds of waiting.
    EXPECT_EQ(fake->commands.back(), fw_log("2026/1/1 00:00:03", "", 3));
    EXPECT_FALSE(fake->exists("/tmp/version"));
}

TEST(FirmwareVersion, SucceedsOnThirdAttemptWithTwoRetries) {
    FakeRouter fake;
    fake->on_prefix(kVersionCommand, fails_then(2, "a\nV2/9.8.7.6/y\n"));
    Daemon d;
    std::string out = captured([&] { acquire_firmware_version(d); });
    EXPECT_EQ(d.info.fw_version, "9.8.7.6");
    EXPECT_EQ(d.info.fw_version_missing, 0);
    EXPECT_EQ(fake->sleeps, (std::vector<unsigned>{1, 1}));
    EXPECT_EQ(out,
              "Get firmware version fail[]\nGet firmware version fail[]\n"
              "current firmware version=[9.8.7.6]\n");
    EXPECT_EQ(fake->commands.back(), fw_log("2026/1/1 00:00:02", "9.8.7.6", 2));
}

TEST(FirmwareVersion, MissingOutputFileCountsAsFailure) {
    FakeRouter fake;
    FakeBackend::Response gone;
    gone.remove = {"/tmp/version"};
    fake->on_exact(kVersionCommand, gone);
    Daemon d;
    captured([&] { acquire_firmware_version(d); });
    EXPECT_EQ(d.info.fw_version, "");
    EXPECT_EQ(d.info.fw_version_missing, 1);
    EXPECT_EQ(fake->sleeps.size(), 3u);
}

TEST(FirmwareVersion, LinesAreReadIn128BytePieces) {
    FakeRouter fake;
    // The first line is longer than the 128-byte buffer, so the second read gets
    // its tail rather than the tool's second line.
    std::string first = std::string(127, 'A') + "B/5.5.5/z\n";
    fake->on_exact(kVersionCommand, FakeBackend::outputs(first + "V1/1.2.3.4/x\n"));
    Daemon d;
    captured([&] { acquire_firmware_version(d); });
    EXPECT_EQ(d.info.fw_version, "5.5.5");
}

TEST(FirmwareVersion, FieldParsing) {
    EXPECT_EQ(firmware_version_from_line("V1/1.2.3.4/x\n"), "1.2.3.4");
    EXPECT_EQ(firmware_version_from_line("V1/1.2.3.4\n"), "1.2.3.4\n");
    EXPECT_EQ(firmware_version_from_line("/1.2.3.4/x\n"), "");
    EXPECT_EQ(firmware_version_from_line("V1//x\n"), "");
    EXPECT_EQ(firmware_version_from_line("no slashes\n"), "");
    EXPECT_EQ(firmware_version_from_line(""), "");
}

TEST(FirmwareVersion, HostileVersionIsStoredButNotLogged) {
    FakeRouter fake;
    fake->on_exact(kVersionCommand, FakeBackend::outputs("a\nV1/1.0;reboot/x\n"));
    Daemon d;
    std::string out = captured([&] { acquire_firmware_version(d); });
    EXPECT_EQ(d.info.fw_version, "1.0;reboot");
    EXPECT_TRUE(fake->commands_containing("latest_fw_ver_log").empty());
    EXPECT_NE(out.find("refused"), std::string::npos) << out;
}

// --- MAC address --------------------------------------------------------------------

TEST(MacAddress, ColonFormJoinedWithoutColons) {
    FakeRouter fake;
    fake->nvram["lan_macaddr"] = "AA:BB:CC:00:11:22";
    Daemon d;
    captured([&] { acquire_mac_address(d); });
    EXPECT_EQ(d.info.mac, "AABBCC001122");
    EXPECT_EQ(fake->commands,
              std::vector<std::string>{mac_log("2026/1/1 00:00:00", "AABBCC001122")});
}

TEST(MacAddress, MissingFlagAndMessageOnEveryStart) {
    FakeRouter fake;
    fake->nvram["lan_macaddr"] = "AA:BB:CC:00:11:22";
    Daemon d;
    std::string out = captured([&] { acquire_mac_address(d); });
    EXPECT_EQ(out, "ERROR: mac address is NULL\n");
    EXPECT_EQ(d.info.mac_missing, 1);
}

TEST(MacAddress, CaseIsKeptAsStored) {
    EXPECT_EQ(mac_without_colons("aa:bb:cc:dd:ee:0f"), "aabbccddee0f");
}

TEST(MacAddress, ShortGroupsArePaddedWithBlanks) {
    // "%02s" takes up to two non-blank characters, the colon included, so a short
    // first group swallows its colon and the split stops there.
    EXPECT_EQ(mac_without_colons("A:B:C:D:E:F"), "A:          ");
    EXPECT_EQ(mac_without_colons("AA:B:CC:DD:EE:FF"), "AAB:        ");
    EXPECT_EQ(mac_without_colons(""), "            ");
    EXPECT_EQ(mac_without_colons("AABBCCDDEEFF"), "AA          ");
}

TEST(MacAddress, EmptyAddressLogsTwelveBlanks) {
    FakeRouter fake;
    Daemon d;
    captured([&] { acquire_mac_address(d); });
    EXPECT_EQ(d.info.mac, std::string(12, ' '));
    EXPECT_EQ(fake->commands,
              std::vector<std::string>{mac_log("2026/1/1 00:00:00", std::string(12, ' '))});
}

TEST(MacAddress, HostileAddressIsNotLogged) {
    FakeRouter fake;
    fake->nvram["lan_macaddr"] = "A;:BB:CC:DD:EE:FF";
    Daemon d;
    std::string out = captured([&] { acquire_mac_address(d); });
    EXPECT_EQ(d.info.mac, "A;BBCCDDEEFF");
    EXPECT_TRUE(fake->commands.empty());
    EXPECT_NE(out.find("refused"), std::string::npos) << out;
}

// --- serial number ------------------------------------------------------------------

TEST(SerialNumber, FourthWordOfFirstLine) {
    FakeRouter fake;
    fake->on_exact(kBurnsnCommand,
                   FakeBackend::outputs("Serial Number is 6LA1234XYZ extra\n2nd\n"));
    Daemon d;
    d.info.serial_missing = 1;
    std::string out = captured([&] { acquire_serial_number(d); });
    EXPECT_EQ(d.info.serial, "6LA1234XYZ");
    EXPECT_EQ(d.info.serial_missing, 0);
    EXPECT_EQ(out, "current serial number=[6LA1234XYZ]\n");
    EXPECT_FALSE(fake->exists("/tmp/serial_num.txt"));
    EXPECT_EQ(fake->commands, (std::vector<std::string>{
                                  kBurnsnCommand, sn_log("2026/1/1 00:00:00", "6LA1234XYZ", 0)}));
}

TEST(SerialNumber, ThreeOneSecondAttemptsThenFlagged) {
    FakeRouter fake;
    fake->on_exact(kBurnsnCommand, FakeBackend::outputs("only three words\n"));
    Daemon d;
    std::string out = captured([&] { acquire_serial_number(d); });
    EXPECT_EQ(d.info.serial, "");
    EXPECT_EQ(d.info.serial_missing, 1);
    EXPECT_EQ(fake->sleeps, (std::vector<unsigned>{1, 1, 1}));
    EXPECT_EQ(fake->commands_containing("burnsn").size(), 3u);
    EXPECT_EQ(out,
              "Get serial number fail[]\nGet serial number fail[]\nGet serial number fail[]\n"
              "ERROR: serial number is NULL\n");
    EXPECT_EQ(fake->commands.back(), sn_log("2026/1/1 00:00:03", "", 3));
}

TEST(SerialNumber, SucceedsOnSecondAttempt) {
    FakeRouter fake;
    fake->on_prefix(kBurnsnCommand, fails_then(1, "SN : = ABC\n"));
    Daemon d;
    captured([&] { acquire_serial_number(d); });
    EXPECT_EQ(d.info.serial, "ABC");
    EXPECT_EQ(fake->sleeps, (std::vector<unsigned>{1}));
    EXPECT_EQ(fake->commands.back(), sn_log("2026/1/1 00:00:01", "ABC", 1));
}

TEST(SerialNumber, WordParsing) {
    EXPECT_EQ(serial_number_from_line("a b c d\n"), "d");
    EXPECT_EQ(serial_number_from_line("  a\tb  c   dd e\n"), "dd");
    EXPECT_EQ(serial_number_from_line("a b c\n"), "");
    EXPECT_EQ(serial_number_from_line(""), "");
}

// --- whole acquisition --------------------------------------------------------------

TEST(Identity, AcquiresInOrderAndCopiesSku) {
    FakeRouter fake;
    fake->hwversion = "VRE670";
    fake->nvram["lan_macaddr"] = "AA:BB:CC:00:11:22";
    fake->nvram["sku_name"] = "US";
    fake->on_exact(kVersionCommand, FakeBackend::outputs("x\nV1/1.2.3.4/x\n"));
    fake->on_exact(kBurnsnCommand, FakeBackend::outputs("Serial Number is SN1\n"));
    Daemon d;
    std::string out = captured([&] { acquire_identity(d); });
    EXPECT_EQ(d.info.model, "VRE670");
    EXPECT_EQ(d.info.fw_version, "1.2.3.4");
    EXPECT_EQ(d.info.mac, "AABBCC001122");
    EXPECT_EQ(d.info.serial, "SN1");
    EXPECT_EQ(d.info.sku_name, "US");
    EXPECT_EQ(d.info.fw_version_missing, 0);
    EXPECT_EQ(d.info.mac_missing, 1);
    EXPECT_EQ(d.info.serial_missing, 0);
    EXPECT_EQ(fake->commands, (std::vector<std::string>{
                                  kVersionCommand,
                                  fw_log("2026/1/1 00:00:00", "1.2.3.4", 0),
                                  mac_log("2026/1/1 00:00:00", "AABBCC001122"),
                                  kBurnsnCommand,
                                  sn_log("2026/1/1 00:00:00", "SN1", 0),
                              }));
    EXPECT_EQ(out,
              "current firmware version=[1.2.3.4]\nERROR: mac address is NULL\n"
              "current serial number=[SN1]\n");
}

TEST(Identity, SkuLeftAloneWhenKeyIsAbsent) {
    FakeRouter fake;
    Daemon d;
    d.info.sku_name = "before";
    captured([&] { acquire_identity(d); });
    EXPECT_EQ(d.info.sku_name, "before");
}

TEST(Identity, SkuCopiedWhenKeyExistsEvenEmpty) {
    FakeRouter fake;
    fake->nvram["sku_name"] = "";
    Daemon d;
    d.info.sku_name = "before";
    captured([&] { acquire_identity(d); });
    EXPECT_EQ(d.info.sku_name, "");
}

TEST(Identity, ModelIsCutAt31Characters) {
    FakeRouter fake;
    fake->hwversion = std::string(40, 'M');
    Daemon d;
    captured([&] { acquire_identity(d); });
    EXPECT_EQ(d.info.model, std::string(31, 'M'));
}

TEST(Identity, LogTimeIsLocalTimeWithZeroPaddedClock) {
    FakeRouter fake;
    fake->now_wall = 1709247845;  // 2024-02-29 23:04:05 on the fake's UTC clock
    fake->nvram["lan_macaddr"] = "AA:BB:CC:00:11:22";
    Daemon d;
    captured([&] { acquire_mac_address(d); });
    EXPECT_EQ(fake->commands.back(), mac_log("2024/2/29 23:04:05", "AABBCC001122"));
}
