#include "mesh/port_status.h"

#include <gtest/gtest.h>

#include "core/daemon.h"
#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

// The switch port maps of the models, as start-up fills them.
platform::PortMap port_map(int model) {
    platform::PortMap m;
    switch (model) {
        case 0:
            m = {{"0x02", "0x04", "0x08", "0x10", "0x20"}, 1, 6, {1, 2, 3, 4, 5}};
            break;
        case 1:
            m = {{"0x02", "0x04", "0x08", "0x10", ""}, 5, -1, {1, 2, 3, 4, -1}};
            break;
        case 2:
            m = {{"0x04", "0x02", "0x10", "0x08", "0x40"}, 5, -1, {2, 1, 4, 3, 6}};
            break;
        case 3:
            m = {{"0x08", "0x04", "0x02", "", ""}, 2, -1, {3, 2, 1, -1, -1}};
            break;
        case 4:
            m = {{"0x02", "", "", "", ""}, 2, -1, {1, -1, -1, -1, -1}};
            break;
        case 5:
            m = {{"0x02", "0x04", "0x08", "", ""}, 2, -1, {1, 2, 3, -1, -1}};
            break;
        default:
            break;
    }
    return m;
}

const char* hwver_of(int model) {
    static const char* const kHw[] = {"VRA310", "VRA420", "VRE650", "VRE670", "VRE630", "VRE640"};
    return model >= 0 && model <= 5 ? kHw[model] : "XR999";
}

void use_model(FakeBackend& fake, Daemon& d, int model) {
    fake.nvram["hwver"] = hwver_of(model);
    d.ports = port_map(model);
}

std::string port_query(const char* sw, int switch_port) {
    return std::string("swconfig dev ") + sw + " port " + std::to_string(switch_port) +
           " show|grep port:" + std::to_string(switch_port);
}

std::string arl_query(const std::string& mac) {
    return "swconfig dev switch0 get dump_arl|grep " + mac +
           " | sed 's/^.*PORTMAP: //g'|sed 's/ VID:.*//g' >/tmp/device_port.txt";
}

}  // namespace

TEST(SwitchPort, LanPortsMapToTheirColumnsAndOthersToWan) {
    FakeRouter fake;
    Daemon d;
    use_model(*fake, d, 2);
    EXPECT_EQ(get_switch_port(d, 1), 2);
    EXPECT_EQ(get_switch_port(d, 2), 1);
    EXPECT_EQ(get_switch_port(d, 3), 4);
    EXPECT_EQ(get_switch_port(d, 4), 3);
    EXPECT_EQ(get_switch_port(d, 5), 6);
    EXPECT_EQ(get_switch_port(d, 0), 5);
    EXPECT_EQ(get_switch_port(d, 6), 5);
}

TEST(SwitchPort, Model0IsShiftedByOneAndWrapsLanFive) {
    FakeRouter fake;
    Daemon d;
    use_model(*fake, d, 0);
    EXPECT_EQ(get_switch_port(d, 1), 2);
    EXPECT_EQ(get_switch_port(d, 2), 3);
    EXPECT_EQ(get_switch_port(d, 3), 4);
    EXPECT_EQ(get_switch_port(d, 4), 5);
    EXPECT_EQ(get_switch_port(d, 5), 1);
}

TEST(SwitchPort, Model0WanIsTheCablePortInCableWanMode) {
    FakeRouter fake;
    Daemon d;
    use_model(*fake, d, 0);
    EXPECT_EQ(get_switch_port(d, 0), 1);
    fake->nvram["is_cable_wan_mode"] = "1";
    EXPECT_EQ(get_switch_port(d, 0), 6);
    EXPECT_EQ(get_switch_port(d, 9), 6);
    // Only model 0 has a cable WAN port.
    use_model(*fake, d, 1);
    EXPECT_EQ(get_switch_port(d, 0), 5);
}

TEST(PortStatus, Model2LanPortOneIsReadFromSwitchPortTwo) {
    FakeRouter fake;
    Daemon d;
    use_model(*fake, d, 2);
    fake->on_exact(port_query("switch0", 2),
                   FakeBackend::outputs("Port 2: link:up speed:1000baseT full-duplex\n"));
    EXPECT_EQ(get_port_status(d, 0, 1), 1);
    ASSERT_EQ(fake->commands.size(), 1u);
    EXPECT_EQ(fake->commands[0], "swconfig dev switch0 port 2 show|grep port:2");
}

TEST(PortStatus, LinkDownWithoutLinkUpText) {
    FakeRouter fake;
    Daemon d;
    use_model(*fake, d, 1);
    fake->on_exact(port_query("switch0", 1), FakeBackend::outputs("Port 1: link:down\n"));
    EXPECT_EQ(get_port_status(d, 0, 1), 0);
}

TEST(PortStatus, Model3LinkQueriesGoToSwitch1WhileArlReadsSwitch0) {
    FakeRouter fake;
    Daemon d;
    use_model(*fake, d, 3);
    fake->on_exact(port_query("switch1", 3),
                   FakeBackend::outputs("Port 3: link:up speed:100baseT\n"));
    fake->on_exact(arl_query("aa:bb:cc:dd:ee:01"), FakeBackend::outputs("0x08\n"));
    EXPECT_EQ(get_port_status(d, 1, 1), kPortSpeed100);
    int port = -1;
    get_device_switch_port(d, "aa:bb:cc:dd:ee:01", port);
    EXPECT_EQ(port, 1);
    ASSERT_EQ(fake->commands.size(), 2u);
    EXPECT_EQ(fake->commands[0], "swconfig dev switch1 port 3 show|grep port:3");
    EXPECT_EQ(fake->commands[1], arl_query("aa:bb:cc:dd:ee:01"));
}

TEST(PortStatus, SpeedTextsMapToSpeedCodes) {
    FakeRouter fake;
    Daemon d;
    use_model(*fake, d, 1);
    const std::pair<const char*, int> cases[] = {
        {"speed:10000baseT", 5}, {"speed:5000baseT", 4}, {"speed:2500baseT", 3},
        {"speed:1000baseT", 2},  {"speed:100baseT", 1},  {"speed:10baseT", 0},
        {"speed:fast", 0},
    };
    for (const auto& [text, code] : cases) {
        fake->on_exact(port_query("switch0", 1),
                       FakeBackend::outputs(std::string("Port 1: link:up ") + text + " \n"));
        EXPECT_EQ(get_port_status(d, 1, 1), code) << text;
    }
}

TEST(PortStatus, LineWithoutSpeedIsTakenAsGigabit) {
    FakeRouter fake;
    Daemon d;
    use_model(*fake, d, 1);
    fake->on_exact(port_query("switch0", 2), FakeBackend::outputs("Port 2: link:up\n"));
    EXPECT_EQ(get_port_status(d, 1, 2), kPortSpeed1000);
}

TEST(PortStatus, OnlyTheFirst127CharactersOfTheLineAreRead) {
    FakeRouter fake;
    Daemon d;
    use_model(*fake, d, 1);
    std::string filler(125, 'x');
    // "link:up" starts at character 126 and so is cut; "speed:" beyond the buffer
    // is not seen either.
    fake->on_exact(port_query("switch0", 1),
                   FakeBackend::outputs(filler + "link:up speed:100baseT\n"));
    EXPECT_EQ(get_port_status(d, 0, 1), 0);
    EXPECT_EQ(get_port_status(d, 1, 1), kPortSpeed1000);
    std::string shorter(100, 'x');
    fake->on_exact(port_query("switch0", 1),
                   FakeBackend::outputs(shorter + "link:up speed:100baseT\n"));
    EXPECT_EQ(get_port_status(d, 0, 1), 1);
    EXPECT_EQ(get_port_status(d, 1, 1), kPortSpeed100);
}

TEST(PortStatus, OnlyTheFirstLineCounts) {
    FakeRouter fake;
    Daemon d;
    use_model(*fake, d, 1);
    fake->on_exact(port_query("switch0", 1),
                   FakeBackend::outputs("Port 1: link:down\nPort 11: link:up speed:100baseT\n"));
    EXPECT_EQ(get_port_status(d, 0, 1), 0);
    EXPECT_EQ(get_port_status(d, 1, 1), kPortSpeed1000);
}

TEST(PortStatus, OtherModesGiveZero) {
    FakeRouter fake;
    Daemon d;
    use_model(*fake, d, 1);
    fake->on_exact(port_query("switch0", 1),
                   FakeBackend::outputs("Port 1: link:up speed:1000baseT\n"));
    EXPECT_EQ(get_port_status(d, 2, 1), 0);
    EXPECT_EQ(get_port_status(d, -1, 1), 0);
}

TEST(LanLinkMask, OrsTheMasksOfPortsThatAreUp) {
    FakeRouter fake;
    Daemon d;
    use_model(*fake, d, 2);
    fake->on_exact(port_query("switch0", 2), FakeBackend::outputs("Port 2: link:up\n"));
    fake->on_exact(port_query("switch0", 6), FakeBackend::outputs("Port 6: link:up\n"));
    fake->on_exact(port_query("switch0", 4), FakeBackend::outputs("Port 4: link:down\n"));
    EXPECT_EQ(get_lan_link_mask(d), 0x04u | 0x40u);
    std::vector<std::string> expected = {port_query("switch0", 2), port_query("switch0", 1),
                                         port_query("switch0", 4), port_query("switch0", 3),
                                         port_query("switch0", 6)};
    EXPECT_EQ(fake->commands, expected);
}

TEST(LanLinkMask, EmptyMaskAddsNothing) {
    FakeRouter fake;
    Daemon d;
    use_model(*fake, d, 4);
    // Every query answers "up"; only LAN 1 has a mask on this model.
    fake->on_prefix("swconfig dev switch0 port", FakeBackend::outputs("link:up\n"));
    EXPECT_EQ(get_lan_link_mask(d), 0x02u);
}

TEST(LanLinkMask, UnknownModelQueriesTheWanPortFiveTimesAndAddsNothing) {
    FakeRouter fake;
    Daemon d;
    use_model(*fake, d, -1);
    fake->on_prefix("swconfig dev switch0 port", FakeBackend::outputs("link:up\n"));
    EXPECT_EQ(get_lan_link_mask(d), 0u);
    EXPECT_EQ(fake->commands.size(), 5u);
}

TEST(LanLinkMask, Model0NeverQueriesLanTwoAndCountsLanFiveOnlyInCableMode) {
    FakeRouter fake;
    Daemon d;
    use_model(*fake, d, 0);
    fake->on_prefix("swconfig dev switch0 port", FakeBackend::outputs("link:up\n"));
    // LAN 1 -> mask 2, LAN 3 -> mask 4, LAN 4 -> mask 5; LAN 5 ignored outside cable mode.
    EXPECT_EQ(get_lan_link_mask(d), 0x04u | 0x10u | 0x20u);
    std::vector<std::string> expected = {port_query("switch0", 2), port_query("switch0", 4),
                                         port_query("switch0", 5), port_query("switch0", 1)};
    EXPECT_EQ(fake->commands, expected);
    // The bit of mask 3 (LAN 2) never appears.
    EXPECT_EQ(get_lan_link_mask(d) & 0x08u, 0u);

    fake->nvram["is_cable_wan_mode"] = "1";
    EXPECT_EQ(get_lan_link_mask(d), 0x02u | 0x04u | 0x10u | 0x20u);
}

TEST(DeviceSwitchPort, Model2ArlMask0x04IsLanPortOne) {
    FakeRouter fake;
    Daemon d;
    use_model(*fake, d, 2);
    fake->on_exact(arl_query("00:11:22:33:44:55"), FakeBackend::outputs("0x04\n"));
    int port = -1;
    get_device_switch_port(d, "00:11:22:33:44:55", port);
    EXPECT_EQ(port, 1);
    ASSERT_EQ(fake->commands.size(), 1u);
    EXPECT_EQ(fake->commands[0],
              "swconfig dev switch0 get dump_arl|grep 00:11:22:33:44:55 | sed 's/^.*PORTMAP: "
              "//g'|sed 's/ VID:.*//g' >/tmp/device_port.txt");
    EXPECT_FALSE(fake->exists("/tmp/device_port.txt"));
}

TEST(DeviceSwitchPort, Model0DeviceOnMask0x08IsNeverFound) {
    FakeRouter fake;
    Daemon d;
    use_model(*fake, d, 0);
    fake->on_exact(arl_query("00:11:22:33:44:55"), FakeBackend::outputs("0x08\n"));
    int port = -1;
    get_device_switch_port(d, "00:11:22:33:44:55", port);
    EXPECT_EQ(port, 0);
}

TEST(DeviceSwitchPort, ComparisonOrderPerModel) {
    struct Case {
        int model;
        const char* portmap;
        int port;
    };
    const Case cases[] = {
        {0, "0x20", 4},  {0, "0x10", 3}, {0, "0x04", 1}, {0, "0x02", 5}, {0, "0x08", 0},
        {1, "0x02", 1},  {1, "0x04", 2}, {1, "0x08", 3}, {1, "0x10", 4}, {1, "0x20", 0},
        {2, "0x04", 1},  {2, "0x02", 2}, {2, "0x10", 3}, {2, "0x08", 4}, {2, "0x40", 5},
        {3, "0x08", 1},  {3, "0x04", 2}, {3, "0x02", 3}, {3, "0x10", 0}, {4, "0x02", 1},
        {4, "0x04", 0},  {5, "0x02", 1}, {5, "0x04", 2}, {5, "0x08", 3}, {5, "0x10", 0},
        {-1, "0x02", 0},
    };
    FakeRouter fake;
    for (const Case& c : cases) {
        Daemon d;
        use_model(*fake, d, c.model);
        fake->on_exact(arl_query("00:11:22:33:44:55"),
                       FakeBackend::outputs(std::string(c.portmap) + "\n"));
        int port = -1;
        get_device_switch_port(d, "00:11:22:33:44:55", port);
        EXPECT_EQ(port, c.port) << "model " << c.model << " portmap " << c.portmap;
    }
}

TEST(DeviceSwitchPort, EmptyAnswerGivesPortZero) {
    FakeRouter fake;
    Daemon d;
    use_model(*fake, d, 1);
    int port = -1;
    get_device_switch_port(d, "00:11:22:33:44:55", port);
    EXPECT_EQ(port, 0);
    fake->on_exact(arl_query("00:11:22:33:44:55"), FakeBackend::outputs("\n"));
    port = -1;
    get_device_switch_port(d, "00:11:22:33:44:55", port);
    EXPECT_EQ(port, 0);
}

TEST(DeviceSwitchPort, LastCharacterIsDroppedEvenWithoutNewline) {
    FakeRouter fake;
    Daemon d;
    use_model(*fake, d, 1);
    // "0x04" without its newline loses the "4" and matches nothing.
    fake->on_exact(arl_query("00:11:22:33:44:55"), FakeBackend::outputs("0x04"));
    int port = -1;
    get_device_switch_port(d, "00:11:22:33:44:55", port);
    EXPECT_EQ(port, 0);
}

TEST(DeviceSwitchPort, UnsafeMacRunsNothing) {
    FakeRouter fake;
    Daemon d;
    use_model(*fake, d, 1);
    testing::internal::CaptureStdout();
    int port = -1;
    get_device_switch_port(d, "00:11;reboot", port);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(port, 0);
    EXPECT_TRUE(fake->commands.empty());
}
