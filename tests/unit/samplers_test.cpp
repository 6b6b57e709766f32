#include "core/samplers.h"

#include <gtest/gtest.h>

#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

const char* const kMpstat = "mpstat -P ALL > /tmp/telem_CPULoad";

std::string mpstat_output(const char* all_idle, const char* cpu0_idle = "90.00") {
    return std::string("Linux 5.4.213 (router) \t01/01/26\t_armv7l_\t(4 CPU)\n") + "\n" +
           "10:00:00     CPU    %usr   %nice    %sys %iowait    %irq   %soft  %steal  %guest  "
           "%gnice   %idle\n" +
           "10:00:00     all    1.00    0.00    1.00    0.00    0.00    0.50    0.00    0.00    "
           "0.00   " +
           all_idle + "\n" +
           "10:00:00       0    5.00    0.00    5.00    0.00    0.00    0.00    0.00    0.00    "
           "0.00   " +
           cpu0_idle + "\n";
}

}  // namespace

TEST(CpuLoad, AllLineWithIdle9750Yields250) {
    FakeRouter fake;
    fake->on_exact(kMpstat, FakeBackend::outputs(mpstat_output("97.50")));
    double load = -1;
    get_cpu_load(load);
    EXPECT_DOUBLE_EQ(load, 2.50);
    ASSERT_EQ(fake->commands.size(), 1u);
    EXPECT_EQ(fake->commands[0], kMpstat);
    EXPECT_FALSE(fake->exists("/tmp/telem_CPULoad"));
}

TEST(CpuLoad, LoadKeepsTwoDecimals) {
    FakeRouter fake;
    fake->on_exact(kMpstat, FakeBackend::outputs(mpstat_output("33.333")));
    double load = -1;
    get_cpu_load(load);
    EXPECT_DOUBLE_EQ(load, 66.67);
}

TEST(CpuLoad, ReadingStopsAtTheAllLine) {
    FakeRouter fake;
    fake->on_exact(kMpstat, FakeBackend::outputs(mpstat_output("80.00", "10.00")));
    double load = -1;
    get_cpu_load(load);
    EXPECT_DOUBLE_EQ(load, 20.0);
}

TEST(CpuLoad, NoIdleColumnLeavesTheValueAlone) {
    FakeRouter fake;
    fake->on_exact(kMpstat, FakeBackend::outputs("mpstat: not found\n"));
    double load = 42.0;
    get_cpu_load(load);
    EXPECT_DOUBLE_EQ(load, 42.0);
    FakeRouter other;
    double untouched = 7.0;
    get_cpu_load(untouched);  // no output at all
    EXPECT_DOUBLE_EQ(untouched, 7.0);
}

TEST(CpuLoad, ShortAllLineKeepsTheIdleOfTheLineBefore) {
    FakeRouter fake;
    // The column buffers keep what the last line with twelve columns put there.
    fake->on_exact(kMpstat, FakeBackend::outputs("t CPU a b c d e f g h i 60.00\n"
                                                 "Average: all 1.00\n"));
    double load = -1;
    get_cpu_load(load);
    EXPECT_DOUBLE_EQ(load, 40.0);
}

TEST(UptimeText, DaysAndClockSinceBoot) {
    FakeRouter fake;
    fake->now_uptime = 2 * 86400 + 3 * 3600 + 4 * 60 + 5;
    std::string text;
    get_uptime_text(text);
    EXPECT_EQ(text, "2 days 03:04:05");
    fake->now_uptime = 59;
    get_uptime_text(text);
    EXPECT_EQ(text, "0 days 00:00:59");
}

TEST(NetUsb, KcNetUsbDriverLineYieldsOne) {
    FakeRouter fake;
    fake->on_exact("cat /proc/bus/usb/devices >/tmp/usb_devices_info",
                   FakeBackend::outputs("T:  Bus=01 Lev=00 Prnt=00 Port=00 Cnt=00 Dev#=  1\n"
                                        "I:* If#= 0 Alt= 0 #EPs= 1 Cls=09(hub  ) Driver=hub\n"
                                        "I:* If#= 0 Alt= 0 #EPs= 2 Cls=07(print) Driver=KC "
                                        "NetUSB General Driver\n"));
    EXPECT_EQ(get_netusb_present(), 1);
    ASSERT_EQ(fake->commands.size(), 1u);
    EXPECT_EQ(fake->commands[0], "cat /proc/bus/usb/devices >/tmp/usb_devices_info");
    EXPECT_FALSE(fake->exists("/tmp/usb_devices_info"));
}

TEST(NetUsb, DriverLineNamingAnotherDriverYieldsZero) {
    FakeRouter fake;
    fake->on_exact(
        "cat /proc/bus/usb/devices >/tmp/usb_devices_info",
        FakeBackend::outputs("I:* If#= 0 Alt= 0 #EPs= 2 Cls=08(stor.) Driver=usb-storage\n"));
    EXPECT_EQ(get_netusb_present(), 0);
    EXPECT_FALSE(fake->exists("/tmp/usb_devices_info"));
}

TEST(NetUsb, DriverNameMustFollowDriverEquals) {
    FakeRouter fake;
    fake->on_exact("cat /proc/bus/usb/devices >/tmp/usb_devices_info",
                   FakeBackend::outputs("S:  Product=KC NetUSB Driver=usblp\n"));
    EXPECT_EQ(get_netusb_present(), 0);
}

TEST(NetUsb, MissingDeviceListYieldsZero) {
    FakeRouter fake;
    FakeBackend::Response r;
    r.remove = {"/tmp/usb_devices_info"};
    fake->on_exact("cat /proc/bus/usb/devices >/tmp/usb_devices_info", r);
    EXPECT_EQ(get_netusb_present(), 0);
}

namespace {

std::string vpn_log(const std::string& clients) {
    return "OpenVPN CLIENT LIST\n"
           "Updated,Thu Jan  1 00:00:00 2026\n"
           "Common Name,Real Address,Bytes Received,Bytes Sent,Connected Since\n"
           "quorvex_client,203.0.113.7:51234,1000,2000,Thu Jan  1 00:00:00 2026\n"
           "ROUTING TABLE\n"
           "Virtual Address,Common Name,Real Address,Last Ref\n" +
           clients + "GLOBAL STATS\nMax bcast/mcast queue length,0\nEND\n";
}

}  // namespace

TEST(OpenVpnClients, TableWithTwoMakerClientsYieldsTwo) {
    FakeRouter fake;
    fake->write("/tmp/openvpn-status_tap.log",
                vpn_log("10.8.0.6,quorvex_client,203.0.113.7:51234,Thu Jan  1 00:00:00 2026\n"
                        "10.8.0.7,quorvex_client,203.0.113.9:40000,Thu Jan  1 00:00:00 2026\n"));
    EXPECT_EQ(get_openvpn_clients(), 2);
    EXPECT_TRUE(fake->commands.empty());
}

TEST(OpenVpnClients, OtherCommonNamesAndLinesOutsideTheTableAreNotCounted) {
    FakeRouter fake;
    fake->write("/tmp/openvpn-status_tun.log",
                vpn_log("10.8.0.6,someone_else,203.0.113.7:51234,Thu Jan  1 00:00:00 2026\n"
                        "10.8.0.7,quorvex_client,203.0.113.9:40000,Thu Jan  1 00:00:00 2026\n") +
                    "quorvex after the table\n");
    EXPECT_EQ(get_openvpn_clients(), 1);
}

TEST(OpenVpnClients, BothLogsAddUp) {
    FakeRouter fake;
    fake->write("/tmp/openvpn-status_tap.log", vpn_log("10.8.0.6,quorvex_a,x,y\n"));
    fake->write("/tmp/openvpn-status_tun.log",
                vpn_log("10.9.0.6,quorvex_b,x,y\n10.9.0.7,quorvex_c,x,y\n"));
    EXPECT_EQ(get_openvpn_clients(), 3);
}

TEST(OpenVpnClients, TableOpenAtTheEndOfTheFirstLogCountsOnInTheSecond) {
    FakeRouter fake;
    fake->write("/tmp/openvpn-status_tap.log",
                "Virtual Address,Common Name,Real Address,Last Ref\n10.8.0.6,quorvex_a,x,y\n");
    // The table is still open when the second log starts, so its first line and the
    // client list above its own table count too: 1 + 1 + 1 (client list) + 1.
    fake->write("/tmp/openvpn-status_tun.log",
                "quorvex_client,203.0.113.7:1,1,2,now\n" + vpn_log("10.9.0.6,quorvex_b,x,y\n"));
    EXPECT_EQ(get_openvpn_clients(), 4);
}

TEST(OpenVpnClients, MissingLogsAddNothing) {
    FakeRouter fake;
    EXPECT_EQ(get_openvpn_clients(), 0);
}
