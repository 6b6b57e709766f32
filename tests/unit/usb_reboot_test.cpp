#include "state/usb_reboot.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "core/daemon.h"
#include "platform/input_limits.h"
#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

const char* const kUsbCommand = "cat /proc/bus/usb/devices >/tmp/usb_devices_info";
const std::string kDir = "/opt/persistent/router-analytics/";

const char* const kRootHub =
    "T:  Bus=01 Lev=00 Prnt=00 Port=00 Cnt=00 Dev#=  1 Spd=480  MxCh= 1\n"
    "D:  Ver= 2.00 Cls=09(hub  ) Sub=00 Prot=01 MxPS=64 #Cfgs=  1\n"
    "S:  Manufacturer=Linux 5.4.213 xhci-hcd\n"
    "I:* If#= 0 Alt= 0 #EPs= 1 Cls=09(hub  ) Sub=00 Prot=00 Driver=hub\n";

// A stick with two storage interfaces.
const char* const kSandisk =
    "T:  Bus=01 Lev=01 Prnt=01 Port=00 Cnt=01 Dev#=  2 Spd=480  MxCh= 0\n"
    "D:  Ver= 2.10 Cls=00(>ifc ) Sub=00 Prot=00 MxPS=64 #Cfgs=  1\n"
    "P:  Vendor=0781 ProdID=5581 Rev=01.00\n"
    "S:  Manufacturer=SanDisk\n"
    "S:  Product=Ultra\n"
    "S:  SerialNumber=4C530001\n"
    "I:* If#= 0 Alt= 0 #EPs= 2 Cls=08(stor.) Sub=06 Prot=50 Driver=usb-storage\n"
    "I:  If#= 1 Alt= 0 #EPs= 2 Cls=08(stor.) Sub=06 Prot=50 Driver=usb-storage\n";

const char* const kKingston =
    "T:  Bus=02 Lev=01 Prnt=01 Port=01 Cnt=01 Dev#=  3 Spd=5000 MxCh= 0\n"
    "D:  Ver= 3.00 Cls=00(>ifc ) Sub=00 Prot=00 MxPS= 9 #Cfgs=  1\n"
    "S:  Manufacturer=Kingston\n"
    "S:  SerialNumber=KT0002\n"
    "I:* If#= 0 Alt= 0 #EPs= 2 Cls=08(stor.) Sub=06 Prot=50 Driver=usb-storage\n";

const char* const kPrinter =
    "T:  Bus=01 Lev=01 Prnt=01 Port=02 Cnt=02 Dev#=  4 Spd=12   MxCh= 0\n"
    "D:  Ver= 1.10 Cls=00(>ifc ) Sub=00 Prot=00 MxPS= 8 #Cfgs=  1\n"
    "S:  Manufacturer=HP\n"
    "S:  SerialNumber=CN12345\n"
    "I:* If#= 0 Alt= 0 #EPs= 2 Cls=07(print) Sub=01 Prot=02 Driver=KC NetUSB\n";

// A command whose output file does not appear.
FakeBackend::Response no_output(const char* file) {
    FakeBackend::Response r;
    r.remove.push_back(file);
    return r;
}

class UsbDevices : public ::testing::Test {
  protected:
    int scan(const std::string& list) {
        fake->on_exact(kUsbCommand, FakeBackend::outputs(list));
        return scan_usb_devices(d);
    }
    FakeRouter fake;
    Daemon d;
};

}  // namespace

TEST_F(UsbDevices, TwoUsbSticksGiveAStorageCountOfTwoAndUsbStorageTrue) {
    EXPECT_EQ(scan(std::string(kRootHub) + kSandisk + kKingston), 2);
    EXPECT_EQ(d.info.usb_storage_present, 2);
    json::Ptr obj = create_usb_storage_obj(d);
    ASSERT_TRUE(obj);
    EXPECT_EQ(json::print_compact(obj.get()), R"({"usbStorage":true})");
}

TEST_F(UsbDevices, KcNetUsbPrinterIsListedAsPrinterAndIsNotStorage) {
    EXPECT_EQ(scan(std::string(kRootHub) + kPrinter), 1);
    EXPECT_EQ(d.info.usb_storage_present, 0);
    ASSERT_EQ(d.info.usb.devices.size(), 1u);
    const UsbDevice& p = d.info.usb.devices[0];
    EXPECT_EQ(p.kind, "usbPrinter");
    EXPECT_EQ(p.port, "02");
    EXPECT_EQ(p.version, "1.10");
    EXPECT_EQ(p.serial, "CN12345");
    EXPECT_EQ(p.manufacturer, "HP");
    json::Ptr obj = create_usb_storage_obj(d);
    EXPECT_EQ(json::print_compact(obj.get()), R"({"usbStorage":false})");
}

TEST_F(UsbDevices, SecondInterfaceOfTheSameStickIsNotCountedAgain) {
    EXPECT_EQ(scan(kSandisk), 1);
    EXPECT_EQ(d.info.usb_storage_present, 1);
}

TEST_F(UsbDevices, StorageRecordCarriesPortVersionSerialAndKind) {
    scan(std::string(kSandisk) + kKingston + kPrinter);
    ASSERT_EQ(d.info.usb.devices.size(), 3u);
    const UsbDevice& s = d.info.usb.devices[0];
    EXPECT_EQ(s.port, "00");
    EXPECT_EQ(s.version, "2.10");
    EXPECT_EQ(s.serial, "4C530001");
    EXPECT_EQ(s.manufacturer, "");
    EXPECT_EQ(s.kind, "usbStorage");
    EXPECT_EQ(d.info.usb.devices[1].serial, "KT0002");
    EXPECT_EQ(d.info.usb.devices[2].kind, "usbPrinter");
}

TEST_F(UsbDevices, RunsTheListCommandAndDeletesItsOutput) {
    scan(kSandisk);
    EXPECT_EQ(fake->commands, std::vector<std::string>{kUsbCommand});
    EXPECT_FALSE(fake->exists("/tmp/usb_devices_info"));
}

TEST_F(UsbDevices, MissingListClearsTheCount) {
    d.info.usb_storage_present = 3;
    d.info.usb.devices.push_back({});
    fake->on_exact(kUsbCommand, no_output("/tmp/usb_devices_info"));
    EXPECT_EQ(scan_usb_devices(d), 0);
    EXPECT_EQ(d.info.usb_storage_present, 0);
    EXPECT_TRUE(d.info.usb.devices.empty());
}

TEST_F(UsbDevices, DriverLineBeforeAnyDeviceIsIgnored) {
    EXPECT_EQ(scan("I:* If#= 0 Alt= 0 Driver=usb-storage\n"), 0);
    EXPECT_EQ(d.info.usb_storage_present, 0);
}

TEST_F(UsbDevices, ValuesAreCutToTheirRecordWidths) {
    std::string list =
        "T:  Bus=01 Lev=01 Prnt=01 Port=123456789 Cnt=01\n"
        "D:  Ver= 12345678901 Cls=00\n"
        "S:  Manufacturer=" +
        std::string(100, 'M') + "\nS:  SerialNumber=" + std::string(100, 'S') +
        "\nI:* If#= 0 Driver=KC NetUSB\n";
    scan(list);
    ASSERT_EQ(d.info.usb.devices.size(), 1u);
    EXPECT_EQ(d.info.usb.devices[0].port, "1234567");
    EXPECT_EQ(d.info.usb.devices[0].version, "1234567");
    EXPECT_EQ(d.info.usb.devices[0].manufacturer, std::string(63, 'M'));
    EXPECT_EQ(d.info.usb.devices[0].serial, std::string(63, 'S'));
}

TEST_F(UsbDevices, TableKeepsSixteenRecordsButCountsEveryStick) {
    std::string list;
    for (int i = 0; i < 20; ++i) list += kKingston;
    EXPECT_EQ(scan(list), static_cast<int>(kMaxUsbDevices));
    EXPECT_EQ(d.info.usb_storage_present, 20);
}

TEST_F(UsbDevices, StorageReportRecordsWhatItSaid) {
    scan(kSandisk);
    create_usb_storage_obj(d);
    EXPECT_EQ(d.info.usb.last_usb_storage, "on");
    EXPECT_EQ(d.info.usb.last_usb_storage_reported, 1);
    EXPECT_EQ(d.info.usb.last_usb_feature, "on");
    EXPECT_EQ(d.info.usb.last_usb_feature_reported, 1);
    EXPECT_EQ(d.info.usb.reported_groups, 2);
    scan("");
    create_usb_storage_obj(d);
    EXPECT_EQ(d.info.usb.last_usb_storage, "off");
    EXPECT_EQ(d.info.usb.last_usb_feature, "off");
    EXPECT_EQ(d.info.usb.reported_groups, 2);
}

// --- kernel reboot report ------------------------------------------------------------

namespace {

class KernelReboot : public ::testing::Test {
  protected:
    std::string compact() {
        json::Ptr obj = create_kernel_reboot_obj();
        return obj ? json::print_compact(obj.get()) : "<null>";
    }
    FakeRouter fake;
};

}  // namespace

TEST_F(KernelReboot, ReasonOneWithoutCrashLogGivesReasonOneAndNoCrashLog) {
    fake->write(kDir + "latest_reboot_data.txt", "2026/1/1 02:00:00, reason: 1\n");
    EXPECT_EQ(compact(), R"({"lastRebootTimestamp":"2026/1/1 02:00:00","lastRebootReason":1})");
}

TEST_F(KernelReboot, ReasonOneCarriesTheWholeCrashLog) {
    fake->write(kDir + "latest_reboot_data.txt", "2026/1/1 02:00:00, reason: 1\n");
    fake->write(kDir + "latest_crash_log.txt", "line one\nline \"two\"\n");
    EXPECT_EQ(compact(), R"({"lastRebootTimestamp":"2026/1/1 02:00:00","lastRebootReason":1,)"
                         R"("kernelCrashLog":"line one\nline \"two\"\n"})");
}

TEST_F(KernelReboot, ReasonZeroLeavesTheCrashLogOut) {
    fake->write(kDir + "latest_reboot_data.txt", "2026/1/2 13:14:15, reason: 0\n");
    fake->write(kDir + "latest_crash_log.txt", "old crash\n");
    EXPECT_EQ(compact(), R"({"lastRebootTimestamp":"2026/1/2 13:14:15","lastRebootReason":0})");
}

TEST_F(KernelReboot, MissingRecordGivesTheZeroTimestampAndReasonZero) {
    EXPECT_EQ(compact(), R"({"lastRebootTimestamp":"0/0/0 00:00:00","lastRebootReason":0})");
}

TEST_F(KernelReboot, LineWithoutTheReasonWordGivesZeros) {
    fake->write(kDir + "latest_reboot_data.txt", "2026/1/2 13:14:15\n");
    EXPECT_EQ(compact(), R"({"lastRebootTimestamp":"0/0/0 00:00:00","lastRebootReason":0})");
}

TEST_F(KernelReboot, ReasonWithoutNewlineLosesItsLastCharacter) {
    fake->write(kDir + "latest_reboot_data.txt", "2026/1/2 13:14:15, reason: 12");
    EXPECT_EQ(compact(), R"({"lastRebootTimestamp":"2026/1/2 13:14:15","lastRebootReason":1})");
}

TEST_F(KernelReboot, CrashLogThatCannotBeReadInFullGivesNoObject) {
    fake->write(kDir + "latest_reboot_data.txt", "2026/1/1 02:00:00, reason: 1\n");
    fake->mkdir(kDir + "latest_crash_log.txt");  // exists, but reads nothing
    EXPECT_EQ(compact(), "<null>");
}

// The daemon reads no input file beyond its limit: a crash log larger than that cannot
// be read in full, and the report is not built rather than sent cut.
TEST_F(KernelReboot, TenMegabyteCrashLogCannotBeReadInFullAndGivesNoObject) {
    fake->write(kDir + "latest_reboot_data.txt", "2026/1/1 02:00:00, reason: 1\n");
    fake->write(kDir + "latest_crash_log.txt", std::string(10u << 20, 'x'));
    EXPECT_FALSE(create_kernel_reboot_obj());
}

TEST_F(KernelReboot, CrashLogAtTheInputLimitIsSentWhole) {
    fake->write(kDir + "latest_reboot_data.txt", "2026/1/1 02:00:00, reason: 1\n");
    std::string log(limits::kMaxInputFileBytes, 'x');
    fake->write(kDir + "latest_crash_log.txt", log);
    json::Ptr obj = create_kernel_reboot_obj();
    ASSERT_TRUE(obj);
    const char* text = json::get_string(obj.get(), "kernelCrashLog");
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(std::string(text).size(), log.size());
}

TEST_F(KernelReboot, BodyOfTheReportClearsThePendingRecord) {
    Daemon d;
    d.info.kernel_reboot_pending = 1;
    fake->write(kDir + "latest_reboot_data.txt", "2026/1/1 02:00:00, reason: 0\n");
    EXPECT_TRUE(build_kernel_reboot_body(d));
    EXPECT_EQ(d.info.kernel_reboot_pending, 0);
}

TEST_F(KernelReboot, BodyNotBuiltKeepsThePendingRecord) {
    Daemon d;
    d.info.kernel_reboot_pending = 1;
    fake->write(kDir + "latest_reboot_data.txt", "2026/1/1 02:00:00, reason: 1\n");
    fake->mkdir(kDir + "latest_crash_log.txt");
    EXPECT_FALSE(build_kernel_reboot_body(d));
    EXPECT_EQ(d.info.kernel_reboot_pending, 1);
}

// --- golden --------------------------------------------------------------------------

TEST(KernelRebootGolden, ReportBodyWithCrashLog) {
    FakeRouter fake;
    fake->write(kDir + "latest_reboot_data.txt", "2026/1/1 02:00:00, reason: 1\n");
    fake->write(kDir + "latest_crash_log.txt",
                "==========================Kernel crash log  2026/1/1 02:00:00==========\n"
                "Unable to handle kernel NULL pointer dereference at virtual address 00000000\n"
                "PC is at \"wlan_vap_get\"+0x14/0x30\n");
    json::Ptr obj = create_kernel_reboot_obj();
    ASSERT_TRUE(obj);
    std::filesystem::path path = std::filesystem::path(__FILE__).parent_path().parent_path() /
                                 "golden" / "kernel_reboot_crash.json";
    std::ifstream in(path, std::ios::binary);
    ASSERT_TRUE(in) << "missing golden file " << path;
    std::stringstream golden;
    golden << in.rdbuf();
    EXPECT_EQ(json::print_string(obj.get()) + "\n", golden.str());
}

// --- Circle versions -----------------------------------------------------------------

TEST(CircleVersion, MembersInOrderFromTheToolAndTheShareFiles) {
    FakeRouter fake;
    fake->nvram["ParentalControlCircle"] = "1";
    fake->on_exact("circled -v > /tmp/circle_loader.ver", FakeBackend::outputs("2.1.0\n"));
    fake->write("/mnt/circle/shares/VERSION", "3.4.5\n");
    fake->write("/mnt/circle/shares/DATABASE_VERSION", "20260101\n");
    json::Ptr obj = create_circle_version_obj();
    EXPECT_EQ(json::print_compact(obj.get()),
              R"({"circleEnabled":true,"circleLoaderVersion":"2.1.0\n",)"
              R"("circleFirmwareVersion":"3.4.5","circleDBVersion":"20260101"})");
    EXPECT_FALSE(fake->exists("/tmp/circle_loader.ver"));
}

TEST(CircleVersion, MissingFileLeavesTheValueReadBefore) {
    FakeRouter fake;
    fake->on_exact("circled -v > /tmp/circle_loader.ver", no_output("/tmp/circle_loader.ver"));
    fake->write("/mnt/circle/shares/VERSION", "3.4.5\n");
    json::Ptr obj = create_circle_version_obj();
    EXPECT_EQ(json::print_compact(obj.get()),
              R"({"circleEnabled":false,"circleLoaderVersion":"",)"
              R"("circleFirmwareVersion":"3.4.5","circleDBVersion":"3.4.5"})");
}
