#include "mesh/attached_devices.h"

#include <gtest/gtest.h>

#include "core/daemon.h"
#include "device_table_fixture.h"
#include "support/fake_backend.h"

using device_fixture::colon_mac;
using device_fixture::device;
using device_fixture::FakeDevice;
using device_fixture::kInfoDir;
using device_fixture::without_line_numbers;
using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

struct PassOutput {
    std::string out;
    std::string err;
};

PassOutput run_pass(Daemon& d) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(get_attach_dev(d), 0);
    PassOutput o;
    o.err = testing::internal::GetCapturedStderr();
    o.out = testing::internal::GetCapturedStdout();
    return o;
}

const AttachDevEntry& entry(const Daemon& d, int i) {
    return d.info.attached.entries[static_cast<size_t>(i)];
}

std::string arl_query(const std::string& mac) {
    return "swconfig dev switch0 get dump_arl|grep " + mac +
           " | sed 's/^.*PORTMAP: //g'|sed 's/ VID:.*//g' >/tmp/device_port.txt";
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// A wireless device on `band` ("2.4GHz Wireless", ...) with RSSI and link rate.
FakeDevice radio(std::string mac12, std::string band, std::string rssi = "50",
                 std::string rate = "144") {
    FakeDevice d = device(std::move(mac12), std::move(band));
    d.set("fronthaulRSSI", std::move(rssi)).set("linkSpeed", std::move(rate));
    return d;
}

class AttachedDevicesTest : public testing::Test {
  protected:
    AttachedDevicesTest() {
        device_fixture::use_vre650(*fake, d.ports);
        d.info.mac = "A0B1C2D3E4F5";
    }
    void fing() { d.info.attached.fing_present = 1; }

    FakeRouter fake;
    Daemon d;
};

}  // namespace

// --- connection classification and counting ------------------------------------------

TEST_F(AttachedDevicesTest, WirelessTextWithoutBandIsSkippedUncounted) {
    device_fixture::set_live(
        *fake, {device("001122334401", "Wireless"), radio("001122334402", "2.4GHz Wireless")});
    PassOutput o = run_pass(d);
    EXPECT_EQ(d.info.attached.num_entry, 1);
    EXPECT_EQ(entry(d, 0).macaddr, "00:11:22:33:44:02");
    // The skipped device is never printed as a record.
    EXPECT_FALSE(contains(o.out, "macaddr[0] = 00:11:22:33:44:01"));
    EXPECT_FALSE(contains(o.out, "return connection = -1"));
    EXPECT_EQ(d.info.attached.attached_wireless, "1");
}

TEST_F(AttachedDevicesTest, UnknownConnectionIsFilledPrintedThenOverwritten) {
    device_fixture::set_live(
        *fake, {device("001122334401", "Powerline"), radio("001122334402", "5GHz Wireless")});
    PassOutput o = run_pass(d);
    EXPECT_TRUE(contains(o.out, "conntype[0] = Powerline\n"));
    EXPECT_TRUE(contains(o.out, "macaddr[0] = 00:11:22:33:44:01\n"));
    EXPECT_TRUE(contains(o.out, "return connection = -1\n"));
    EXPECT_EQ(d.info.attached.num_entry, 1);
    EXPECT_EQ(entry(d, 0).macaddr, "00:11:22:33:44:02");
    EXPECT_EQ(entry(d, 0).conntype, "5GHz Wireless");
    EXPECT_TRUE(entry(d, 1).macaddr.empty());
}

TEST_F(AttachedDevicesTest, SixGhzCountsInTotalAndOwnCountNotInWireless) {
    device_fixture::set_live(
        *fake, {radio("001122334401", "2.4GHz Wireless"), radio("001122334402", "5GHz Wireless"),
                radio("001122334403", "6GHz Wireless"), radio("001122334404", "6GHz Guest Network"),
                device("001122334405", "vpn tunnel")});
    PassOutput o = run_pass(d);
    const AttachedDevices& t = d.info.attached;
    EXPECT_EQ(t.num_entry, 5);
    EXPECT_EQ(t.attached_wired, "0");
    EXPECT_EQ(t.attached_wireless, "2");
    EXPECT_EQ(t.attached_2g, "1");
    EXPECT_EQ(t.attached_5g, "1");
    EXPECT_EQ(t.attached_6g, "2");
    EXPECT_TRUE(contains(o.out, "wired : 0, wireless : 2, 2g : 1, 5g : 1 6g: 2\n"));
    EXPECT_TRUE(contains(o.out, "dev_info->num_entry =5\n"));
}

TEST_F(AttachedDevicesTest, ClassificationTakesTheFirstMatchingText) {
    device_fixture::set_live(
        *fake, {device("001122334401", "wired 5G"), radio("001122334402", "2.4G and 5G"),
                radio("001122334403", "5G 6G"), device("001122334404", "6G vpn Wireless")});
    PassOutput o = run_pass(d);
    EXPECT_EQ(d.info.attached.attached_wired, "1");
    EXPECT_EQ(d.info.attached.attached_2g, "1");
    EXPECT_EQ(d.info.attached.attached_5g, "1");
    EXPECT_EQ(d.info.attached.attached_6g, "1");
    EXPECT_EQ(d.info.attached.num_entry, 4);
}

// --- radio values --------------------------------------------------------------------

TEST_F(AttachedDevicesTest, SignalFromRssiZeroNegativeFiftyAndAbove106) {
    device_fixture::set_live(*fake, {radio("001122334401", "5GHz Wireless", "0"),
                                     radio("001122334402", "5GHz Wireless", "-7"),
                                     radio("001122334403", "5GHz Wireless", "50"),
                                     radio("001122334404", "5GHz Wireless", "110"),
                                     radio("001122334405", "5GHz Wireless", "1")});
    run_pass(d);
    EXPECT_EQ(entry(d, 0).signal, "0");
    EXPECT_EQ(entry(d, 1).signal, "0");
    EXPECT_EQ(entry(d, 2).signal, "-56");
    EXPECT_EQ(entry(d, 3).signal, "--4");
    EXPECT_EQ(entry(d, 4).signal, "-105");
}

TEST_F(AttachedDevicesTest, RadioRateCarriesTheMillionth) {
    device_fixture::set_live(*fake, {radio("001122334401", "2.4GHz Wireless", "40", "144.4"),
                                     radio("001122334402", "6GHz Wireless", "40", "")});
    run_pass(d);
    EXPECT_DOUBLE_EQ(entry(d, 0).speed, 144.4 + 0.000001);
    EXPECT_DOUBLE_EQ(entry(d, 1).speed, 0.000001);
}

TEST_F(AttachedDevicesTest, DeviceEntryCarriesNoRadioValues) {
    FakeDevice dev = radio("001122334401", "5GHz Wireless", "50", "866");
    dev.set("conndevice", "device");
    device_fixture::set_live(*fake, {dev});
    run_pass(d);
    EXPECT_EQ(d.info.attached.num_entry, 1);
    EXPECT_TRUE(entry(d, 0).signal.empty());
    EXPECT_EQ(entry(d, 0).speed, 0.0);
}

TEST_F(AttachedDevicesTest, VpnHasMillionthRateAndNoSignal) {
    device_fixture::set_live(*fake, {device("001122334401", "vpn")});
    run_pass(d);
    EXPECT_EQ(d.info.attached.num_entry, 1);
    EXPECT_EQ(entry(d, 0).speed, 0.000001);
    EXPECT_TRUE(entry(d, 0).signal.empty());
    EXPECT_EQ(d.info.attached.attached_wired, "0");
    EXPECT_EQ(d.info.attached.attached_wireless, "0");
}

// --- wired devices -------------------------------------------------------------------

TEST_F(AttachedDevicesTest, WiredDeviceUnknownToSwitchHasSpeedExactlyZero) {
    device_fixture::set_live(*fake, {device("001122334401", "wired")});
    PassOutput o = run_pass(d);
    EXPECT_EQ(entry(d, 0).speed, 0.0);
    EXPECT_EQ(entry(d, 0).signal, "0");
    // No port, so no link query either.
    std::vector<std::string> expected = {arl_query("00:11:22:33:44:01")};
    EXPECT_EQ(fake->commands, expected);
    EXPECT_TRUE(contains(without_line_numbers(o.out),
                         "[fill_attach_device_details,L]mac_str:00:11:22:33:44:01, "
                         "deviceConnectedPort:0\n"));
}

TEST_F(AttachedDevicesTest, WiredDeviceOn10MbpsOrUnknownLinkHas10Point000001) {
    device_fixture::set_live(*fake,
                             {device("0011223344AA", "wired"), device("0011223344BB", "wired")});
    fake->on_exact(arl_query("00:11:22:33:44:aa"), FakeBackend::outputs("0x04\n"));
    fake->on_exact(arl_query("00:11:22:33:44:bb"), FakeBackend::outputs("0x02\n"));
    fake->on_exact("swconfig dev switch0 port 2 show|grep port:2",
                   FakeBackend::outputs("Port 2: link:up speed:10baseT half-duplex\n"));
    fake->on_exact("swconfig dev switch0 port 1 show|grep port:1",
                   FakeBackend::outputs("Port 1: link:up speed:40000baseT\n"));
    run_pass(d);
    EXPECT_EQ(entry(d, 0).speed, 10.000001);
    EXPECT_EQ(entry(d, 1).speed, 10.000001);
    EXPECT_EQ(d.info.attached.attached_wired, "2");
}

TEST_F(AttachedDevicesTest, WiredDeviceOnPortWithoutSpeedTextHas1000Point000001) {
    device_fixture::set_live(*fake, {device("001122334401", "wired")});
    fake->on_exact(arl_query("00:11:22:33:44:01"), FakeBackend::outputs("0x10\n"));
    fake->on_exact("swconfig dev switch0 port 4 show|grep port:4",
                   FakeBackend::outputs("Port 4: link:up\n"));
    PassOutput o = run_pass(d);
    EXPECT_EQ(entry(d, 0).speed, 1000.000001);
    EXPECT_TRUE(contains(without_line_numbers(o.out),
                         "[fill_attach_device_details,L]mac_str:00:11:22:33:44:01, "
                         "deviceConnectedPort:3\n"));
    EXPECT_TRUE(contains(o.out, "speed[0] = 1000.000001\n"));
}

TEST_F(AttachedDevicesTest, LinkRatesOfEverySpeedCode) {
    const std::pair<const char*, double> cases[] = {
        {"speed:100baseT", 100.000001},     {"speed:1000baseT", 1000.000001},
        {"speed:2500baseT", 2500.000001},   {"speed:5000baseT", 5000.000001},
        {"speed:10000baseT", 10000.000001},
    };
    device_fixture::set_live(*fake, {device("001122334401", "wired")});
    fake->on_exact(arl_query("00:11:22:33:44:01"), FakeBackend::outputs("0x04\n"));
    for (const auto& [text, rate] : cases) {
        fake->on_exact("swconfig dev switch0 port 2 show|grep port:2",
                       FakeBackend::outputs(std::string("Port 2: link:up ") + text + "\n"));
        run_pass(d);
        EXPECT_EQ(entry(d, 0).speed, rate) << text;
    }
}

TEST_F(AttachedDevicesTest, OnlyTheTwoSwitchCommandsPerWiredDeviceRun) {
    device_fixture::set_live(
        *fake, {device("001122334401", "wired"), radio("001122334402", "5GHz Wireless"),
                device("001122334403", "wired"), device("001122334404", "vpn")});
    fake->on_exact(arl_query("00:11:22:33:44:01"), FakeBackend::outputs("0x04\n"));
    fake->on_exact(arl_query("00:11:22:33:44:03"), FakeBackend::outputs("0x40\n"));
    run_pass(d);
    std::vector<std::string> expected = {
        arl_query("00:11:22:33:44:01"), "swconfig dev switch0 port 2 show|grep port:2",
        arl_query("00:11:22:33:44:03"), "swconfig dev switch0 port 6 show|grep port:6"};
    EXPECT_EQ(fake->commands, expected);
    EXPECT_EQ(entry(d, 2).speed, 1000.000001);  // empty answer: no speed text
}

// --- identity without Fing -----------------------------------------------------------

TEST_F(AttachedDevicesTest, SingleBlankTypeIsGenericNetwork) {
    FakeDevice dev = radio("001122334401", "5GHz Wireless");
    dev.set("type", " ");
    device_fixture::set_live(*fake, {dev});
    run_pass(d);
    EXPECT_EQ(entry(d, 0).devtype, "Network (Generic)");
    EXPECT_EQ(entry(d, 0).devtypeid, 19);
}

TEST_F(AttachedDevicesTest, TypeIphone17GivesIphoneAnd17) {
    FakeDevice dev = radio("001122334401", "5GHz Wireless");
    dev.set("type", "iPhone(17)");
    device_fixture::set_live(*fake, {dev});
    PassOutput o = run_pass(d);
    EXPECT_EQ(entry(d, 0).devtype, "iPhone");
    EXPECT_EQ(entry(d, 0).devtypeid, 17);
    EXPECT_TRUE(contains(o.out, "devtype[0] = iPhone\ndevtypeid[0]") ||
                contains(o.out, "devtype[0] = iPhone\n"));
    EXPECT_TRUE(contains(o.out, "devtypeid[0] = 17\n"));
}

TEST_F(AttachedDevicesTest, LastMatchingTypeRowWins) {
    FakeDevice a = radio("001122334401", "5GHz Wireless");
    a.set("type", "iPhone 6/6 Plus");
    FakeDevice b = radio("001122334402", "5GHz Wireless");
    b.set("type", "Android Phone(3)");
    FakeDevice c = radio("001122334403", "5GHz Wireless");
    c.set("type", "Smart TV)");
    FakeDevice e = radio("001122334404", "5GHz Wireless");
    e.set("type", "Gadget(77)");
    device_fixture::set_live(*fake, {a, b, c, e});
    run_pass(d);
    // No parentheses: the whole text, then the last row found in it ("iPhone 6/6 Plus"
    // after "iPhone").
    EXPECT_EQ(entry(d, 0).devtype, "iPhone 6/6 Plus");
    EXPECT_EQ(entry(d, 0).devtypeid, 51);
    // With both parentheses the first word is the name; the id comes from the table.
    EXPECT_EQ(entry(d, 1).devtype, "Android");
    EXPECT_EQ(entry(d, 1).devtypeid, 3);
    // A lone ")" is blanked; "TV" is row 35.
    EXPECT_EQ(entry(d, 2).devtype, "Smart TV ");
    EXPECT_EQ(entry(d, 2).devtypeid, 35);
    // No row matches: the id in parentheses stands.
    EXPECT_EQ(entry(d, 3).devtype, "Gadget");
    EXPECT_EQ(entry(d, 3).devtypeid, 77);
}

TEST_F(AttachedDevicesTest, ModelIsUnknownWhenEmptyAndVendorIsTheModelAsRead) {
    FakeDevice a = radio("001122334401", "5GHz Wireless");
    a.set("model", "Pixel 8").set("name", "kitchen");
    FakeDevice b = radio("001122334402", "5GHz Wireless");
    device_fixture::set_live(*fake, {a, b});
    run_pass(d);
    EXPECT_EQ(entry(d, 0).model, "Pixel 8");
    EXPECT_EQ(entry(d, 0).deviceVendorAutoDetect, "Pixel 8");
    EXPECT_EQ(entry(d, 0).name, "kitchen");
    EXPECT_EQ(entry(d, 1).model, "unknown");
    EXPECT_TRUE(entry(d, 1).deviceVendorAutoDetect.empty());
    EXPECT_TRUE(entry(d, 1).conn_status.empty());
    EXPECT_EQ(entry(d, 1).ipaddr, "192.168.1.100");
}

// --- mesh nodes, access control and the node a device is attached to ----------------

TEST_F(AttachedDevicesTest, SatellitesAreNeverListed) {
    FakeDevice sat = device("001122334401", "5GHz Wireless");
    sat.set("conndevice", "satellite");
    FakeDevice outdoor = device("001122334402", "wired");
    outdoor.set("conndevice", "outdoor satellite");
    device_fixture::set_live(*fake, {sat, outdoor, radio("001122334403", "5GHz Wireless")});
    PassOutput o = run_pass(d);
    EXPECT_EQ(d.info.attached.num_entry, 1);
    EXPECT_EQ(entry(d, 0).macaddr, "00:11:22:33:44:03");
    EXPECT_TRUE(fake->commands.empty());
    EXPECT_FALSE(contains(o.out, "00:11:22:33:44:01\n"));
}

TEST_F(AttachedDevicesTest, AccessIsAllowBlockOrEmpty) {
    device_fixture::set_live(
        *fake, {radio("001122334401", "5GHz Wireless"), radio("001122334402", "5GHz Wireless"),
                radio("001122334403", "5GHz Wireless")});
    fake->mac_statuses["001122334401"] = 1;
    fake->mac_statuses["001122334402"] = 0;
    fake->mac_statuses["001122334403"] = 2;
    run_pass(d);
    EXPECT_EQ(entry(d, 0).access, "allow");
    EXPECT_EQ(entry(d, 1).access, "block");
    EXPECT_TRUE(entry(d, 2).access.empty());
    EXPECT_EQ(fake->ac_loads, 3);  // the list is loaded for every device
}

TEST_F(AttachedDevicesTest, DeviceOnTheRouterReportsTheRoutersMacAndModelName) {
    FakeDevice dev = radio("001122334401", "5GHz Wireless");
    dev.set("connectedVyro", "Vyro Router");
    device_fixture::set_live(*fake, {dev});
    fake->nvram["vyro_device_name"] = "Vyro Max";
    run_pass(d);
    EXPECT_EQ(entry(d, 0).connectedVyro, "Vyro Router");
    EXPECT_EQ(entry(d, 0).connectedVyromac, "A0:B1:C2:D3:E4:F5");
    EXPECT_EQ(entry(d, 0).connectedVyroModel, "Vyro Max");
}

TEST_F(AttachedDevicesTest, DeviceOnASatelliteReportsTheSatellitesNameMacAndModel) {
    FakeDevice vrs = device("AABBCC000001", "wired");
    vrs.set("conndevice", "satellite")
        .set("name", "VRS650-living")
        .set("devnamedefault", "Living room")
        .set("model", "VRS650");
    FakeDevice pro = device("AABBCC000002", "wired");
    pro.set("conndevice", "satellite").set("name", "Vyro Pro").set("devnamedefault", "Office");
    FakeDevice named = device("AABBCC000003", "wired");
    named.set("conndevice", "satellite").set("name", "Garage").set("model", "VRW630");
    FakeDevice a = radio("001122334401", "5GHz Wireless");
    a.set("connectedVyro", "AABBCC000001");
    FakeDevice b = radio("001122334402", "5GHz Wireless");
    b.set("connectedVyro", "AABBCC000002");
    FakeDevice c = radio("001122334403", "5GHz Wireless");
    c.set("connectedVyro", "AABBCC000003");
    device_fixture::set_live(*fake, {vrs, pro, named, a, b, c},
                             {"001122334401", "001122334402", "001122334403"});
    run_pass(d);
    EXPECT_EQ(entry(d, 0).connectedVyro, "Living room");
    EXPECT_EQ(entry(d, 0).connectedVyromac, "AA:BB:CC:00:00:01");
    EXPECT_EQ(entry(d, 0).connectedVyroModel, "VRS650");
    EXPECT_EQ(entry(d, 1).connectedVyro, "Office");
    EXPECT_EQ(entry(d, 2).connectedVyro, "Garage");
    EXPECT_EQ(entry(d, 2).connectedVyroModel, "VRW630");
}

TEST_F(AttachedDevicesTest, NodeTextThatIsNoMacLeavesTheDevicesOwnMac) {
    FakeDevice a = radio("001122334401", "5GHz Wireless");
    a.set("connectedVyro", "unknown");
    FakeDevice b = radio("001122334402", "5GHz Wireless");
    device_fixture::set_live(*fake, {a, b});
    run_pass(d);
    EXPECT_EQ(entry(d, 0).connectedVyromac, "00:11:22:33:44:01");
    EXPECT_TRUE(entry(d, 0).connectedVyro.empty());
    EXPECT_EQ(entry(d, 1).connectedVyromac, "00:11:22:33:44:02");
}

// --- messages ------------------------------------------------------------------------

TEST_F(AttachedDevicesTest, PassPrintsTheListTheRecordAndTheCounts) {
    FakeDevice dev = radio("001122334401", "5GHz Wireless", "46", "866.7");
    dev.set("name", "tablet").set("model", "Tab S9").set("type", "Tablet(36)");
    dev.set("connectedVyro", "Vyro Router");
    device_fixture::set_live(*fake, {dev});
    fake->mac_statuses["001122334401"] = 1;
    fake->nvram["vyro_device_name"] = "Vyro";
    PassOutput o = run_pass(d);
    EXPECT_EQ(without_line_numbers(o.out),
              "get_attach_dev(L):001122334401\n"
              "conntype[0] = 5GHz Wireless\n"
              "name[0] = tablet\n"
              "model[0] = Tab S9\n"
              "devtype[0] = Tablet\n"
              "ipaddr[0] = 192.168.1.100\n"
              "macaddr[0] = 00:11:22:33:44:01\n"
              "signal[0] = -60\n"
              "access[0] = allow\n"
              "connectedVyro[0] = Vyro Router\n"
              "connectedVyromac[0] = A0:B1:C2:D3:E4:F5\n"
              "devtypeid[0] = 36\n"
              "deviceVendorAutoDetect[0] = Tab S9\n"
              "speed[0] = 866.700001\n"
              "return connection = 2\n"
              "wired : 0, wireless : 1, 2g : 0, 5g : 1 6g: 0\n"
              "dev_info->num_entry =1\n"
              "fill_attach_device_details_others(L):mac list for knowndevice searching : "
              "001122334401\n"
              "fill_attach_device_details_others(L):001122334401\n");
    EXPECT_EQ(o.err, "");
}

TEST_F(AttachedDevicesTest, MissingLiveTableReportsAndCountsZero) {
    PassOutput o = run_pass(d);
    EXPECT_EQ(o.err,
              "Failed to get attach device mac list.\n"
              "Failed to get attach device mac list.\n");
    EXPECT_EQ(d.info.attached.num_entry, 0);
    EXPECT_EQ(d.info.attached.attached_wired, "0");
    EXPECT_EQ(d.info.attached.attached_6g, "0");
    EXPECT_TRUE(contains(without_line_numbers(o.out), "get_attach_dev(L):\n"));
}

TEST_F(AttachedDevicesTest, EmptyTokenEndsTheList) {
    device_fixture::set_live(
        *fake, {radio("001122334401", "5GHz Wireless"), radio("001122334402", "5GHz Wireless")});
    // Two blanks between the MACs: the list ends after the first.
    std::string text = *fake->uci_text("/tmp", "devices");
    fake->set_uci("/tmp", "devices",
                  "config lists 'lists'\n\toption mac '001122334401  001122334402'\n\n" +
                      text.substr(text.find("config device")));
    run_pass(d);
    EXPECT_EQ(d.info.attached.num_entry, 1);
}

// --- customisation without Fing ------------------------------------------------------

TEST_F(AttachedDevicesTest, KnownDeviceFlagsAndDefaultsWithoutFing) {
    device_fixture::set_live(
        *fake, {radio("001122334401", "5GHz Wireless"), radio("001122334402", "5GHz Wireless")});
    FakeDevice k1{"001122334401", {}};
    k1.set("customizationName", "0")
        .set("customizationModel", "1")
        .set("defaultName", "Galaxy")
        .set("defaultModel", "S24")
        .set("defaultType", "Smart phone");
    FakeDevice k2{"001122334402", {}};
    k2.set("customizationType", "0").set("defaultName", "Laptop");
    device_fixture::set_known(*fake, {k1, k2});
    run_pass(d);
    EXPECT_EQ(entry(d, 0).name_user_defined, 0);
    EXPECT_EQ(entry(d, 0).name_auto_detect, "Galaxy");
    EXPECT_EQ(entry(d, 0).model_user_defined, 1);
    EXPECT_EQ(entry(d, 0).model_auto_detect, "S24");
    // An empty flag counts as user-defined here.
    EXPECT_EQ(entry(d, 0).type_user_defined, 1);
    EXPECT_EQ(entry(d, 0).type_auto_detect, "Smart phone");
    EXPECT_EQ(entry(d, 1).name_user_defined, 1);
    EXPECT_EQ(entry(d, 1).type_user_defined, 0);
    EXPECT_TRUE(entry(d, 1).type_auto_detect.empty());
}

TEST_F(AttachedDevicesTest, ListedMacWithoutRecordIsReportedNotFound) {
    device_fixture::set_live(
        *fake, {device("001122334401", "Wireless"), radio("001122334402", "5GHz Wireless")});
    FakeDevice persisted{"001122334402", {}};
    persisted.set("conndevice", "satellite");
    device_fixture::set_persistent(*fake, {persisted});
    PassOutput o = run_pass(d);
    std::string out = without_line_numbers(o.out);
    EXPECT_TRUE(contains(out,
                         "fill_attach_device_details_others(L):001122334401\n"
                         "fill_attach_device_details_others(L) Not find mac in list\n"
                         "fill_attach_device_details_others(L):001122334402\n"));
    // The second is a satellite in the persistent table: skipped without a message.
    EXPECT_EQ(out.rfind("Not find mac in list"), out.find("Not find mac in list"));
}

// --- Fing identity -------------------------------------------------------------------

TEST_F(AttachedDevicesTest, FingUserValuesWinWhenTheFlagsAllow) {
    fing();
    FakeDevice dev = radio("001122334401", "5GHz Wireless");
    dev.set("devConnStat", "1")
        .set("devNameUser", "Dad's phone")
        .set("devDPIName", "Galaxy-S24")
        .set("devMByUser", "S24 Ultra")
        .set("devMByFing", "Galaxy S24")
        .set("devTypeNameByUser", "Smart phone")
        .set("devTypeIndexByUser", "32")
        .set("devTypeNameByQRVX", "Android Phone")
        .set("devTypeIndexByQRVX", "3")
        .set("devBrandByFing", "Samsung")
        .set("devMacVendor", "Samsung Electronics")
        .set("devOSByFing", "Android")
        .set("devOSVerByFing", "14")
        .set("detectEngine", "fing-dil")
        .set("devTByFing", "Mobile")
        .set("devDhcpOpts", "1,3,6,15")
        .set("devUsragent", "Mozilla/5.0");
    device_fixture::set_live(*fake, {dev});
    FakeDevice known{"001122334401", {}};
    known.set("customizationName", "1").set("customizationType", "").set("customizationModel", "1");
    known.set("devConnStat", "1");  // online, so not listed again as offline
    device_fixture::set_known(*fake, {known});
    PassOutput o = run_pass(d);
    EXPECT_EQ(d.info.attached.num_entry, 1);
    const AttachDevEntry& e = entry(d, 0);
    EXPECT_EQ(e.conn_status, "Online");
    EXPECT_EQ(e.name, "Dad's phone");
    EXPECT_EQ(e.name_user_defined, 1);
    EXPECT_EQ(e.name_auto_detect, "Galaxy-S24");
    EXPECT_EQ(e.model, "S24 Ultra");
    EXPECT_EQ(e.model_user_defined, 1);
    EXPECT_EQ(e.model_auto_detect, "Galaxy S24");
    EXPECT_EQ(e.type_v2_user_defined, "true");
    EXPECT_EQ(e.type_v2, "Smart phone");
    EXPECT_EQ(e.type_v2_index, "32");
    EXPECT_EQ(e.type_user_defined, 1);
    EXPECT_EQ(e.devtype, "Smart phone");
    EXPECT_EQ(e.devtypeid, 32);
    EXPECT_EQ(e.type_auto_detect, "Android Phone");
    EXPECT_EQ(e.type_v2_auto_detect, "Android Phone");
    EXPECT_EQ(e.brand, "Samsung");
    EXPECT_EQ(e.mac_vendor, "Samsung Electronics");
    EXPECT_EQ(e.deviceVendorAutoDetect, "Samsung Electronics");
    EXPECT_EQ(e.os_name, "Android");
    EXPECT_EQ(e.os_version, "14");
    EXPECT_EQ(e.detect_engine, "Fing");
    EXPECT_EQ(e.fing_type, "Mobile");
    EXPECT_EQ(e.fing_model, "Galaxy S24");
    EXPECT_EQ(e.dhcp_fingerprint, "1,3,6,15");
    EXPECT_EQ(e.user_agent, "Mozilla/5.0");
    EXPECT_FALSE(contains(o.out, "not found"));
    EXPECT_FALSE(contains(o.out, "No fing"));
}

TEST_F(AttachedDevicesTest, FingFlagZeroKeepsTheDetectedValues) {
    fing();
    FakeDevice dev = radio("001122334401", "5GHz Wireless");
    dev.set("devNameUser", "Mine")
        .set("devNameQrvx", "android-1234")
        .set("devMByUser", "Mine")
        .set("devMByFing", "Pixel")
        .set("devTypeNameByUser", "Tablet")
        .set("devTypeIndexByUser", "36")
        .set("devTypeNameByQRVX", "Android Phone")
        .set("devTypeIndexByQRVX", "3");
    device_fixture::set_live(*fake, {dev});
    FakeDevice known{"001122334401", {}};
    known.set("customizationName", "0")
        .set("customizationType", "0")
        .set("customizationModel", "0");
    device_fixture::set_known(*fake, {known});
    run_pass(d);
    const AttachDevEntry& e = entry(d, 0);
    EXPECT_EQ(e.conn_status, "Offline");  // devConnStat missing
    EXPECT_EQ(e.name, "android-1234");
    EXPECT_EQ(e.name_user_defined, 0);
    EXPECT_EQ(e.name_auto_detect, "android-1234");
    EXPECT_EQ(e.model, "Pixel");
    EXPECT_EQ(e.model_user_defined, 0);
    EXPECT_EQ(e.type_v2_user_defined, "false");
    EXPECT_EQ(e.type_v2, "Android Phone");
    EXPECT_EQ(e.type_v2_index, "3");
    EXPECT_EQ(e.devtype, "Android Phone");
    EXPECT_EQ(e.devtypeid, 3);
    EXPECT_EQ(e.type_user_defined, 0);
}

TEST_F(AttachedDevicesTest, FingFlagOtherThanOneOrEmptyIsNotSet) {
    fing();
    FakeDevice dev = radio("001122334401", "5GHz Wireless");
    dev.set("devNameUser", "Mine").set("devDPIName", "dpi");
    device_fixture::set_live(*fake, {dev});
    FakeDevice known{"001122334401", {}};
    known.set("customizationName", "10");
    device_fixture::set_known(*fake, {known});
    run_pass(d);
    EXPECT_EQ(entry(d, 0).name, "dpi");
    EXPECT_EQ(entry(d, 0).name_user_defined, 0);
}

TEST_F(AttachedDevicesTest, FingDeviceWithoutCustomisationRowLetsTheUserWin) {
    fing();
    FakeDevice dev = radio("001122334401", "5GHz Wireless");
    dev.set("devNameUser", "Mine").set("devDPIName", "dpi");
    device_fixture::set_live(*fake, {dev});
    // No knowndevices package at all: no row, empty flags.
    run_pass(d);
    EXPECT_EQ(entry(d, 0).name, "Mine");
    EXPECT_EQ(entry(d, 0).name_user_defined, 1);
}

TEST_F(AttachedDevicesTest, FingCustomisationRowIsTheFirstWhoseMacIsAPrefix) {
    fing();
    FakeDevice dev = radio("AABBCCDDEEFF", "5GHz Wireless");
    dev.set("devNameUser", "Mine").set("devDPIName", "dpi");
    device_fixture::set_live(*fake, {dev}, {"AABBCC", "AABBCCDDEEFF"});
    FakeDevice short_row{"AABBCC", {}};
    short_row.set("customizationName", "0");
    FakeDevice own_row{"AABBCCDDEEFF", {}};
    own_row.set("customizationName", "1");
    device_fixture::set_known(*fake, {short_row, own_row});
    run_pass(d);
    // The row of the 6-digit token comes first and is a prefix of the device's MAC.
    EXPECT_EQ(entry(d, 0).macaddr, "AA:BB:CC:DD:EE:FF");
    EXPECT_EQ(entry(d, 0).name, "dpi");
    EXPECT_EQ(entry(d, 0).name_user_defined, 0);
}

TEST_F(AttachedDevicesTest, FingSatelliteGetsNoCustomisationRow) {
    fing();
    FakeDevice dev = radio("001122334401", "5GHz Wireless");
    dev.set("devNameUser", "Mine").set("devDPIName", "dpi");
    device_fixture::set_live(*fake, {dev});
    FakeDevice persisted{"001122334401", {}};
    persisted.set("conndevice", "satellite");
    device_fixture::set_persistent(*fake, {persisted});
    FakeDevice known{"001122334401", {}};
    known.set("customizationName", "0");
    device_fixture::set_known(*fake, {known});
    run_pass(d);
    // The flag "0" was never loaded, so the device's empty row lets the user win.
    EXPECT_EQ(entry(d, 0).name, "Mine");
}

TEST_F(AttachedDevicesTest, FingWithoutAnyTypeReportsGenericIndex19) {
    fing();
    device_fixture::set_live(*fake, {radio("001122334401", "5GHz Wireless")});
    PassOutput o = run_pass(d);
    const AttachDevEntry& e = entry(d, 0);
    EXPECT_EQ(e.type_v2, "Network (Generic)");
    EXPECT_EQ(e.devtype, "Network (Generic)");
    EXPECT_EQ(e.type_v2_index, "19");
    EXPECT_EQ(e.devtypeid, 19);
    EXPECT_EQ(e.type_v2_user_defined, "false");
    EXPECT_EQ(e.type_auto_detect, "Network (Generic)");
    EXPECT_EQ(e.type_v2_auto_detect, "Network (Generic)");
    // Every missing value announces itself, in this order.
    EXPECT_TRUE(contains(o.out,
                         "New device type not found.\n"
                         "Auto detect new device name not found.\n"
                         "Auto detect new device name not found.\n"
                         "Auto detect mac vendor not found.\n"
                         "Auto detect device OS name not found.\n"
                         "Auto detect device OS version not found.\n"
                         "No fing\n"
                         "No fing type\n"
                         "No fing model\n"
                         "device Dhcp Opts not found.\n"
                         "device devUsragent not found.\n"
                         "conntype[0] = 5GHz Wireless\n"));
}

TEST_F(AttachedDevicesTest, FingNameFallsBackFromDpiToRouterDetection) {
    fing();
    FakeDevice a = radio("001122334401", "5GHz Wireless");
    a.set("devDPIName", "dpi-name").set("devNameQrvx", "qrvx-name");
    FakeDevice b = radio("001122334402", "5GHz Wireless");
    b.set("devNameQrvx", "qrvx-name").set("name", "tracked-name");
    FakeDevice c = radio("001122334403", "5GHz Wireless");
    c.set("name", "tracked-name");
    device_fixture::set_live(*fake, {a, b, c});
    run_pass(d);
    EXPECT_EQ(entry(d, 0).name, "dpi-name");
    EXPECT_EQ(entry(d, 1).name, "qrvx-name");
    // With Fing the tracking service's own name is not used.
    EXPECT_TRUE(entry(d, 2).name.empty());
    EXPECT_TRUE(entry(d, 2).name_auto_detect.empty());
}

// --- offline devices -----------------------------------------------------------------

TEST_F(AttachedDevicesTest, OfflineKnownDevicesFollowTheOnlineOnesWithFing) {
    fing();
    device_fixture::set_live(*fake, {radio("001122334401", "5GHz Wireless")});
    FakeDevice online_known = device("001122334401", "5GHz Wireless");
    online_known.set("devConnStat", "1");
    FakeDevice gone = device("0011223344AA", "2.4GHz Wireless", "192.168.1.50");
    gone.set("name", "old laptop")
        .set("devDPIName", "laptop-dpi")
        .set("devConnStat", "0")
        .set("connectedVyro", "Vyro Router")
        .set("customizationName", "0");
    device_fixture::set_known(*fake, {online_known, gone});
    fake->mac_statuses["0011223344AA"] = 0;
    PassOutput o = run_pass(d);
    const AttachedDevices& t = d.info.attached;
    EXPECT_EQ(t.num_entry, 2);
    EXPECT_EQ(t.attached_wireless, "1");  // offline devices are not counted
    EXPECT_EQ(t.attached_2g, "0");
    const AttachDevEntry& e = entry(d, 1);
    EXPECT_EQ(e.conn_status, "Offline");
    EXPECT_EQ(e.macaddr, "00:11:22:33:44:AA");
    EXPECT_EQ(e.ipaddr, "192.168.1.50");
    EXPECT_EQ(e.conntype, "2.4GHz Wireless");
    EXPECT_EQ(e.speed, 0.000001);
    EXPECT_EQ(e.signal, "0");
    EXPECT_EQ(e.access, "block");
    EXPECT_EQ(e.name, "laptop-dpi");
    EXPECT_EQ(e.connectedVyro, "Vyro Router");
    EXPECT_EQ(e.connectedVyromac, "A0:B1:C2:D3:E4:F5");
    EXPECT_EQ(e.devtype, "Network (Generic)");
    std::string out = without_line_numbers(o.out);
    EXPECT_TRUE(contains(out,
                         "fill_attach_device_details_offline(L): offline "
                         "attach_devices_list_know=001122334401 0011223344AA\n"
                         "fill_attach_device_details_offline(L):001122334401\n"
                         "fill_attach_device_details_offline(L):0011223344AA\n"
                         "[fill_attach_device_details_offline]deviceMac=0011223344AA\n"));
}

TEST_F(AttachedDevicesTest, OfflineDeviceStillMarkedOnlineIsNotListed) {
    fing();
    device_fixture::set_live(*fake, {});
    FakeDevice stale = device("0011223344AA", "5GHz Wireless");
    stale.set("devConnStat", "1");
    device_fixture::set_known(*fake, {stale});
    run_pass(d);
    EXPECT_EQ(d.info.attached.num_entry, 0);
}

TEST_F(AttachedDevicesTest, OfflineSatellitesAndMalformedTokensAreNotListed) {
    fing();
    device_fixture::set_live(*fake, {});
    FakeDevice sat = device("0011223344AA", "wired");
    sat.set("conndevice", "satellite");
    FakeDevice bad = device("0011223344ZZ", "wired");
    FakeDevice ok = device("0011223344BB", "wired");
    device_fixture::set_known(*fake, {sat, bad, ok});
    run_pass(d);
    EXPECT_EQ(d.info.attached.num_entry, 1);
    EXPECT_EQ(entry(d, 0).macaddr, "00:11:22:33:44:BB");
}

TEST_F(AttachedDevicesTest, OfflineDevicesAreNotListedWithoutFing) {
    device_fixture::set_live(*fake, {});
    device_fixture::set_known(*fake, {device("0011223344AA", "wired")});
    PassOutput o = run_pass(d);
    EXPECT_EQ(d.info.attached.num_entry, 0);
    EXPECT_FALSE(contains(o.out, "offline attach_devices_list_know"));
}

TEST_F(AttachedDevicesTest, OfflineNodeNamesComeFromTheKnownDevices) {
    fing();
    device_fixture::set_live(*fake, {});
    FakeDevice sat = device("AABBCC000001", "wired");
    sat.set("conndevice", "satellite").set("name", "VRW-office").set("devnamedefault", "Office");
    sat.set("model", "VRW630");
    FakeDevice gone = device("0011223344AA", "5GHz Wireless");
    gone.set("connectedVyro", "AABBCC000001");
    device_fixture::set_known(*fake, {sat, gone});
    run_pass(d);
    ASSERT_EQ(d.info.attached.num_entry, 1);
    EXPECT_EQ(entry(d, 0).connectedVyro, "Office");
    EXPECT_EQ(entry(d, 0).connectedVyroModel, "VRW630");
    EXPECT_EQ(entry(d, 0).connectedVyromac, "AA:BB:CC:00:00:01");
}

TEST_F(AttachedDevicesTest, OfflineFlagsComeFromTheKnownDevice) {
    fing();
    device_fixture::set_live(*fake, {});
    FakeDevice gone = device("0011223344AA", "5GHz Wireless");
    gone.set("devNameUser", "Mine").set("devNameQrvx", "qrvx").set("customizationName", "0");
    gone.set("devMByUser", "M1").set("devMByFing", "F1");
    device_fixture::set_known(*fake, {gone});
    run_pass(d);
    EXPECT_EQ(entry(d, 0).name, "qrvx");
    EXPECT_EQ(entry(d, 0).model, "M1");  // empty model flag: the user's model wins
    EXPECT_EQ(entry(d, 0).model_user_defined, 1);
}

TEST_F(AttachedDevicesTest, MissingKnownDeviceListIsReported) {
    fing();
    device_fixture::set_live(*fake, {radio("001122334401", "5GHz Wireless")});
    PassOutput o = run_pass(d);
    EXPECT_EQ(o.err, "Failed to get attach device mac list in knowndevice.\n");
    EXPECT_EQ(d.info.attached.num_entry, 1);
}

// --- bounds --------------------------------------------------------------------------

namespace {

std::string mac_of(int i) {
    char text[13];
    std::snprintf(text, sizeof text, "00AA%08X", i);
    return text;
}

}  // namespace

TEST_F(AttachedDevicesTest, TableHoldsAtMost128Devices) {
    fing();
    std::vector<FakeDevice> devs;
    for (int i = 0; i < 130; ++i) devs.push_back(radio(mac_of(i), "5GHz Wireless"));
    device_fixture::set_live(*fake, devs);
    device_fixture::set_known(*fake, {device("0011223344AA", "wired")});
    PassOutput o = run_pass(d);
    EXPECT_EQ(d.info.attached.num_entry, 128);
    EXPECT_EQ(d.info.attached.attached_5g, "128");
    EXPECT_EQ(entry(d, 127).macaddr, colon_mac(mac_of(127)));
    EXPECT_FALSE(contains(o.out, "offline attach_devices_list_know"));
}

TEST_F(AttachedDevicesTest, OfflineDevicesStopAt128) {
    fing();
    std::vector<FakeDevice> live;
    for (int i = 0; i < 126; ++i) live.push_back(radio(mac_of(i), "5GHz Wireless"));
    device_fixture::set_live(*fake, live);
    std::vector<FakeDevice> known;
    for (int i = 200; i < 205; ++i) known.push_back(device(mac_of(i), "wired"));
    device_fixture::set_known(*fake, known);
    run_pass(d);
    EXPECT_EQ(d.info.attached.num_entry, 128);
    EXPECT_EQ(entry(d, 127).macaddr, colon_mac(mac_of(201)));
}

TEST_F(AttachedDevicesTest, ShortFieldsKeepAtMost63Characters) {
    FakeDevice dev = radio("001122334401", "5GHz Wireless " + std::string(70, 'x'));
    dev.set("name", std::string(100, 'n')).set("model", std::string(80, 'm'));
    device_fixture::set_live(*fake, {dev});
    run_pass(d);
    EXPECT_EQ(entry(d, 0).name.str(), std::string(63, 'n'));
    EXPECT_EQ(entry(d, 0).model.str(), std::string(63, 'm'));
    EXPECT_EQ(entry(d, 0).deviceVendorAutoDetect.str(), std::string(63, 'm'));
    EXPECT_EQ(entry(d, 0).conntype.size(), 63u);
}

TEST_F(AttachedDevicesTest, TypeTextKeepsAtMost255CharactersAndItsNameAt63) {
    fing();
    FakeDevice dev = radio("001122334401", "5GHz Wireless");
    dev.set("devTypeNameByUser", std::string(300, 't'))
        .set("devTypeIndexByUser", "7")
        .set("devBrandByFing", std::string(300, 'b'))
        .set("devNameUser", std::string(100, 'u'));
    device_fixture::set_live(*fake, {dev});
    run_pass(d);
    EXPECT_EQ(entry(d, 0).type_v2.str(), std::string(255, 't'));
    EXPECT_EQ(entry(d, 0).devtype.str(), std::string(63, 't'));
    EXPECT_EQ(entry(d, 0).brand.str(), std::string(255, 'b'));
    EXPECT_EQ(entry(d, 0).name.str(), std::string(63, 'u'));
}

TEST_F(AttachedDevicesTest, CustomisationFlagsAreReadWithEightBytes) {
    fing();
    FakeDevice dev = radio("001122334401", "5GHz Wireless");
    dev.set("devNameUser", "Mine").set("devDPIName", "dpi");
    device_fixture::set_live(*fake, {dev});
    FakeDevice known{"001122334401", {}};
    // Read as "0000000" (seven characters): not "1", not empty.
    known.set("customizationName", "00000001");
    device_fixture::set_known(*fake, {known});
    run_pass(d);
    EXPECT_EQ(entry(d, 0).name, "dpi");
}

TEST_F(AttachedDevicesTest, MacListIsReadWith4096Bytes) {
    // 315 unknown tokens of 12 digits and a blank fill 4095 - 1 characters; the real
    // device's MAC then starts at character 4095 and is cut.
    std::vector<std::string> list;
    for (int i = 0; i < 315; ++i) list.push_back(mac_of(1000 + i));
    list.push_back("001122334401");
    device_fixture::set_live(*fake, {radio("001122334401", "5GHz Wireless")}, list);
    PassOutput o = run_pass(d);
    EXPECT_EQ(d.info.attached.num_entry, 0);
    list.erase(list.begin());
    device_fixture::set_live(*fake, {radio("001122334401", "5GHz Wireless")}, list);
    o = run_pass(d);
    EXPECT_EQ(d.info.attached.num_entry, 1);
}

// --- pass bookkeeping ----------------------------------------------------------------

TEST_F(AttachedDevicesTest, TableIsClearedAtTheStartOfEveryPass) {
    device_fixture::set_live(
        *fake, {radio("001122334401", "5GHz Wireless"), radio("001122334402", "5GHz Wireless")});
    run_pass(d);
    EXPECT_EQ(d.info.attached.num_entry, 2);
    device_fixture::set_live(*fake, {radio("001122334403", "2.4GHz Wireless")});
    run_pass(d);
    EXPECT_EQ(d.info.attached.num_entry, 1);
    EXPECT_EQ(entry(d, 0).macaddr, "00:11:22:33:44:03");
    EXPECT_TRUE(entry(d, 1).macaddr.empty());
    EXPECT_EQ(d.info.attached.attached_5g, "0");
    EXPECT_EQ(d.info.attached.attached_2g, "1");
}

TEST_F(AttachedDevicesTest, PackagesAreLoadedAFewTimesPerPassWhateverTheDeviceCount) {
    auto loads_for = [&](int devices, bool with_fing) {
        FakeRouter router;
        Daemon daemon;
        device_fixture::use_vre650(*router, daemon.ports);
        daemon.info.attached.fing_present = with_fing ? 1 : 0;
        std::vector<FakeDevice> live, known;
        for (int i = 0; i < devices; ++i) {
            live.push_back(radio(mac_of(i), "5GHz Wireless"));
            known.push_back(device(mac_of(i), "5GHz Wireless"));
        }
        for (int i = 0; i < devices / 4; ++i) known.push_back(device(mac_of(500 + i), "wired"));
        device_fixture::set_live(*router, live);
        device_fixture::set_persistent(*router, live);
        device_fixture::set_known(*router, known);
        testing::internal::CaptureStdout();
        get_attach_dev(daemon);
        testing::internal::GetCapturedStdout();
        return router->uci_loads;
    };
    // Without Fing: the live table, then the persistent and the known tables.
    EXPECT_EQ(loads_for(2, false), 3);
    EXPECT_EQ(loads_for(100, false), 3);
    // With Fing the live table is visited twice and the persistent table twice.
    EXPECT_EQ(loads_for(2, true), 5);
    EXPECT_EQ(loads_for(100, true), 5);
}
