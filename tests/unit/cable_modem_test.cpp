#include "state/cable_modem.h"

#include <gtest/gtest.h>

#include <string>

#include "core/daemon.h"
#include "platform/fs.h"
#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

constexpr const char* kArpingToMac =
    "cat /tmp/cable_mac_arping.txt | grep -w Unicast | tr -d '[' | tr -d ']' | awk '{print $5}'| "
    "awk -F: '{print $1$2$3$4$5$6}' | awk '{ print toupper($0) }' > /tmp/cable_mac.txt";

class CableModemTest : public ::testing::Test {
  protected:
    void SetUp() override {
        fake->nvram = {{"hwver", "VRE650"},
                       {"is_cable_wan_mode", "0"},
                       {"enable_ap_mode", "0"},
                       {"wan_ipaddr", "198.51.100.23"},
                       {"wan_netmask", "255.255.255.0"},
                       {"lan_ipaddr", "192.168.1.1"},
                       {"lan_netmask", "255.255.255.0"},
                       {"lan_ifname", "br0"},
                       {"wan_ifname", "eth0"}};
    }
    std::string run() {
        testing::internal::CaptureStdout();
        get_cablemodem_mac(d);
        return testing::internal::GetCapturedStdout();
    }
    FakeRouter fake;
    Daemon d;
};

TEST_F(CableModemTest, WanAddressOnTheModemSubnetReportsNaWithoutAnyCommand) {
    fake->nvram["wan_ipaddr"] = "192.168.100.20";
    std::string out = run();
    EXPECT_TRUE(fake->commands.empty());
    EXPECT_EQ(d.info.cable_modem.mac, "na");
    EXPECT_EQ(d.info.cable_modem.oui, "na");
    EXPECT_EQ(out, "");
    EXPECT_TRUE(on_modem_management_subnet("192.168.100.20", "255.255.255.0"));
    EXPECT_FALSE(on_modem_management_subnet("192.168.101.20", "255.255.255.0"));
}

TEST_F(CableModemTest, ApModeTestsTheLanAddress) {
    fake->nvram["enable_ap_mode"] = "1";
    fake->nvram["lan_ipaddr"] = "192.168.100.7";
    run();
    EXPECT_TRUE(fake->commands.empty());
    EXPECT_EQ(d.info.cable_modem.mac, "na");
}

TEST_F(CableModemTest, BuiltInModemAnswerEndingInBlankAddressAndNewline) {
    fake->nvram["is_cable_wan_mode"] = "1";
    fake->on_exact("ipcCmd getcmmac  > /tmp/cable_mac.txt",
                   FakeBackend::outputs("CM MAC address is 00:1a:2b:3c:4d:5e\n"));
    std::string out = run();
    EXPECT_EQ(fake->commands, std::vector<std::string>{"ipcCmd getcmmac  > /tmp/cable_mac.txt"});
    EXPECT_EQ(d.info.cable_modem.mac, "001A2B3C4D5E");
    EXPECT_EQ(d.info.cable_modem.oui, "001A2B");
    EXPECT_EQ(out, "Cable MAC OUI = 001A2B\nCable MAC = 001A2B3C4D5E\n");
}

TEST_F(CableModemTest, SecondCallWithTheCachePresentRunsNoCommand) {
    fake->nvram["is_cable_wan_mode"] = "1";
    fake->on_exact("ipcCmd getcmmac  > /tmp/cable_mac.txt",
                   FakeBackend::outputs("mac= 00:1a:2b:3c:4d:5e\n"));
    run();
    fake->commands.clear();
    d.info.cable_modem = {};
    run();
    EXPECT_TRUE(fake->commands.empty());
    EXPECT_EQ(d.info.cable_modem.mac, "001A2B3C4D5E");

    // The external probe is cached the same way.
    fake->nvram["is_cable_wan_mode"] = "0";
    fake->write("/tmp/cable_mac.txt", "A0B1C2D3E4F5\n");
    run();
    EXPECT_TRUE(fake->commands.empty());
    EXPECT_EQ(d.info.cable_modem.mac, "A0B1C2D3E4F5");
    EXPECT_EQ(d.info.cable_modem.oui, "A0B1C2");
}

TEST_F(CableModemTest, BuiltInModemLineWithoutAddressStaysNa) {
    fake->nvram["is_cable_wan_mode"] = "1";
    for (const char* answer : {"", "\n", "x", "no colons here at all, none at all\n",
                               "::::::::::::::::::::::::::::\n"}) {
        fake->write("/tmp/cable_mac.txt", answer);
        d.info.cable_modem = {};
        testing::internal::CaptureStdout();
        get_cablemodem_mac(d);
        testing::internal::GetCapturedStdout();
        EXPECT_EQ(d.info.cable_modem.oui.size() <= 6, true) << answer;
        EXPECT_LE(d.info.cable_modem.mac.size(), 17u) << answer;
    }
    fake->write("/tmp/cable_mac.txt", "");
    run();
    EXPECT_EQ(d.info.cable_modem.mac, "na");
    EXPECT_EQ(d.info.cable_modem.oui, "na");
}

TEST_F(CableModemTest, AnswerTailIsTheLast19CharactersLessTheNewline) {
    EXPECT_EQ(cable_mac_from_answer("Cable modem MAC: 00:1a:2b:3c:4d:5e\n"), "001A2B3C4D5E");
    // Without the trailing newline the tail is one character early: the first word of
    // "x 00:1a:2b:3c:4d:5" is all that is scanned.
    EXPECT_EQ(cable_mac_from_answer("x 00:1a:2b:3c:4d:5e"), "X");
    EXPECT_EQ(cable_mac_from_answer("short\n"), "SHORT");
    EXPECT_EQ(cable_mac_from_answer(""), "");
    EXPECT_EQ(cable_mac_from_answer("                   \n"), "");
}

TEST_F(CableModemTest, ExternalModemProbeCommandsInRouterMode) {
    fake->nvram["hwver"] = "VRA310";  // "VRA3" models borrow the address on the WAN
    fake->on_exact(kArpingToMac, FakeBackend::outputs("0A1B2C3D4E5F\n"));
    std::string out = run();
    EXPECT_EQ(fake->commands,
              (std::vector<std::string>{
                  "ip addr add 192.168.100.100/24 dev eth0 label eth0:100",
                  "/usr/sbin/arping -s 192.168.100.100 -c 1 192.168.100.1 -I eth0 > "
                  "/tmp/cable_mac_arping.txt",
                  kArpingToMac, "ip addr del 192.168.100.100/24 dev eth0 label eth0:100"}));
    EXPECT_EQ(out,
              "[get_cablemodem_mac] file is not exist\nCable FULL MAC =[0A1B2C3D4E5F]\n"
              "Cable OUI MAC =[0A1B2C]\n");
    EXPECT_EQ(d.info.cable_modem.mac, "0A1B2C3D4E5F");
    EXPECT_EQ(d.info.cable_modem.oui, "0A1B2C");
}

TEST_F(CableModemTest, ApModeProbesThroughTheLanInterface) {
    fake->nvram["enable_ap_mode"] = "1";
    run();
    EXPECT_EQ(fake->commands[0], "ip addr add 192.168.100.100/24 dev eth0 label eth0:100");
    EXPECT_EQ(fake->commands[1],
              "/usr/sbin/arping -s 192.168.100.100 -c 1 192.168.100.1 -I br0 > "
              "/tmp/cable_mac_arping.txt");
}

TEST_F(CableModemTest, RouterModeOnOtherModelsLeavesTheWanInterfaceEmpty) {
    fake->nvram["hwver"] = "VRE650";
    run();
    EXPECT_EQ(fake->commands[0], "ip addr add 192.168.100.100/24 dev  label :100");
    EXPECT_EQ(fake->commands[1],
              "/usr/sbin/arping -s 192.168.100.100 -c 1 192.168.100.1 -I  > "
              "/tmp/cable_mac_arping.txt");
    // Index 1 models use the WAN interface too.
    fake->commands.clear();
    fake->nvram["hwver"] = "VRA420";
    fake->write("/tmp/cable_mac.txt", "");
    platform::remove_file("/tmp/cable_mac.txt");
    run();
    EXPECT_EQ(fake->commands[0], "ip addr add 192.168.100.100/24 dev eth0 label eth0:100");
}

TEST_F(CableModemTest, NoReplyGivesNaAndIsNotRetried) {
    std::string out = run();
    EXPECT_EQ(d.info.cable_modem.mac, "na");
    EXPECT_EQ(d.info.cable_modem.oui, "na");
    EXPECT_NE(out.find("Cable FULL MAC =[na]\n"), std::string::npos);
    fake->commands.clear();
    run();
    EXPECT_TRUE(fake->commands.empty());
    EXPECT_EQ(d.info.cable_modem.mac, "na");
}

TEST_F(CableModemTest, LongCacheLineKeepsTwelveCharacters) {
    fake->write("/tmp/cable_mac.txt", std::string(500, 'A') + "\n");
    run();
    EXPECT_EQ(d.info.cable_modem.mac, std::string(12, 'A'));
    EXPECT_EQ(d.info.cable_modem.oui, std::string(6, 'A'));
}

TEST_F(CableModemTest, UnsafeInterfaceNameRunsNoProbeCommand) {
    fake->nvram["wan_ifname"] = "eth0;reboot";
    fake->nvram["hwver"] = "VRA310";
    testing::internal::CaptureStdout();
    get_cablemodem_mac(d);
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(fake->commands_containing("reboot").empty());
    EXPECT_NE(out.find("refused"), std::string::npos);
}

}  // namespace
