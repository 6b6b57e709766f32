#include "state/wifi_analytics.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "core/daemon.h"
#include "json/json.h"
#include "platform/model.h"
#include "report/assembly.h"
#include "report/policy.h"
#include "sim_scenario_fixture.h"
#include "state/wifi_config.h"
#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

class WifiAnalytics : public ::testing::Test {
  protected:
    void SetUp() override {
        fake->hwversion = "VRE670";
        fake->nvram["hwver"] = "VRE670";
        d.ifnames = {"ath0",  "ath1",  "ath2",  "ath04", "ath14", "",
                     "ath03", "ath13", "ath02", "ath12", "ath22"};
    }
    void listing(const std::string& ap, const std::string& text) {
        fake->on_exact("iwconfig | grep " + ap + " | sort -V > /tmp/telem_parse_file",
                       FakeBackend::outputs(text));
    }
    void iw(const std::string& ifname, const std::string& text) {
        fake->on_exact("iw dev " + ifname + " info > /tmp/telem_one_line",
                       FakeBackend::outputs(text));
    }
    void stat(const std::string& ifname, const std::string& file, const std::string& value) {
        fake->write("/sys/class/net/" + ifname + "/statistics/" + file, value);
    }
    static const cJSON* first_entry(const json::Ptr& obj) {
        return cJSON_GetArrayItem(cJSON_GetObjectItem(obj.get(), "wifiIface"), 0);
    }
    static double counter(const cJSON* entry, const char* name) {
        return cJSON_GetObjectItem(cJSON_GetObjectItem(entry, "ifaceStat"), name)->valuedouble;
    }
    static std::string names(const cJSON* obj) {
        std::string out;
        for (const cJSON* c = obj ? obj->child : nullptr; c; c = c->next)
            out += std::string(out.empty() ? "" : ",") + c->string;
        return out;
    }
    FakeRouter fake;
    Daemon d;
};

}  // namespace

TEST_F(WifiAnalytics, ModelWithEmptyBandTableGivesNoObject) {
    fake->nvram["hwver"] = "VRA420";
    EXPECT_EQ(create_wifi_analytic_obj(d), nullptr);
    EXPECT_EQ(create_wifi_analytics_event(d), nullptr);
    EXPECT_TRUE(fake->commands.empty());
}

TEST_F(WifiAnalytics, Band5GIsReportedAs5g1AndSecond5GAs5g2) {
    json::Ptr obj = create_wifi_analytic_obj(d);
    ASSERT_TRUE(obj);
    EXPECT_EQ(names(obj.get()), "2gBssInfo,5g1BssInfo,6gBssInfo,5g2BssInfo,wifiIface");
}

TEST_F(WifiAnalytics, MacAddressIsReportedAsTwelveUpperCaseDigits) {
    EXPECT_EQ(mac_twelve_digits("a0:b1:c2:d3:e4:f5"), "A0B1C2D3E4F5");
    EXPECT_EQ(mac_twelve_digits("a:b:c:d:e:f"), "0A0B0C0D0E0F");
    EXPECT_EQ(mac_twelve_digits(""), "");
    EXPECT_EQ(mac_twelve_digits("a0:b1:c2"), "");
    listing("ath0", "ath0      IEEE 802.11be  ESSID:\"Casa\"\n");
    iw("ath0", "Interface ath0\n\taddr a0:b1:c2:d3:e4:f5\n\ttype AP\n");
    json::Ptr obj = create_wifi_analytic_obj(d);
    const cJSON* info = cJSON_GetObjectItem(first_entry(obj), "ifaceInfo");
    EXPECT_STREQ(json::get_string(info, "ifaceMac"), "A0B1C2D3E4F5");
}

TEST_F(WifiAnalytics, TenDroppedAnd990SentGiveDropPercentZero) {
    EXPECT_EQ(tx_drop_percent(990, 10), 0u);
    EXPECT_EQ(tx_drop_percent(0, 10), 100u);
    EXPECT_EQ(tx_drop_percent(0, 0), 0u);
    EXPECT_EQ(tx_drop_percent(5, 0), 0u);
    listing("ath0", "ath0      IEEE 802.11be\n");
    stat("ath0", "tx_packets", "990\n");
    stat("ath0", "tx_dropped", "10\n");
    json::Ptr obj = create_wifi_analytic_obj(d);
    EXPECT_EQ(counter(first_entry(obj), "txPacket"), 990);
    EXPECT_EQ(counter(first_entry(obj), "txDropped"), 10);
    EXPECT_EQ(counter(first_entry(obj), "txDropPercent"), 0);
}

TEST_F(WifiAnalytics, StatisticsHoldingMinusOneOrTextCountZero) {
    EXPECT_EQ(counter_value("-1\n"), 0u);
    EXPECT_EQ(counter_value("abc\n"), 0u);
    EXPECT_EQ(counter_value(""), 0u);
    EXPECT_EQ(counter_value("18446744073709551615\n"), UINT64_MAX);
    EXPECT_EQ(counter_value("99999999999999999999999\n"), UINT64_MAX);
    EXPECT_EQ(counter_value("4294967296\n"), 4294967296u);
    listing("ath0", "ath0      IEEE 802.11be\n");
    stat("ath0", "rx_bytes", "-1\n");
    stat("ath0", "rx_packets", "lots\n");
    stat("ath0", "tx_bytes", "5000000000\n");
    json::Ptr obj = create_wifi_analytic_obj(d);
    EXPECT_EQ(counter(first_entry(obj), "rxBytes"), 0);
    EXPECT_EQ(counter(first_entry(obj), "rxPacket"), 0);
    EXPECT_EQ(counter(first_entry(obj), "txBytes"), 5000000000.0);
}

TEST_F(WifiAnalytics, FrameErrorsAreA32BitCount) {
    listing("ath0", "ath0      IEEE 802.11be\n");
    stat("ath0", "rx_frame_errors", "4294967297\n");
    json::Ptr obj = create_wifi_analytic_obj(d);
    EXPECT_EQ(counter(first_entry(obj), "rxErrorFrame"), 1);
}

TEST_F(WifiAnalytics, EntryShape) {
    listing("ath0", "ath0      IEEE 802.11be\n");
    fake->nvram["wla_channel"] = "0";
    fake->nvram["sku_name"] = "NA";
    iw("wifi0", "Interface wifi0\n\tchannel 6 (2437 MHz), width: 40 MHz\n");
    iw("ath0", "Interface ath0\n\taddr d4:6e:0e:70:80:b0\n\ttype AP\n");
    fake->write("/sys/class/net/ath0/operstate", "unknown\n");
    fake->on_prefix("iw dev | grep -A 1 'Interface' | grep -B 1 'ath0'",
                    FakeBackend::outputs("ath0\nath02\nath03 ath04\n"));
    json::Ptr obj = create_wifi_analytic_obj(d);
    EXPECT_EQ(json::print_compact(first_entry(obj)),
              R"({"radioInfo":{"radioName":"wifi0","radioBand":"2G","radioInfoRegion":"NA",)"
              R"("radioInfoChannel":"auto"},"radioStat":{"radioStatChannel":"6",)"
              R"("radioStatChannelUserSet":"auto","radioStatUtilitization":"",)"
              R"("radioNumOfVaps":4},"ifaceInfo":{"ifaceName":"ath0","ifaceMac":"D46E0E7080B0",)"
              R"("ifaceMode":"AP","ifacePurpose":"main","ifaceEnable":true},)"
              R"("ifaceStat":{"rxBytes":0,"rxPacket":0,"rxMulticast":0,"rxDropped":0,)"
              R"("rxErrorCrc":0,"rxErrorFifo":0,"rxErrorFrame":0,"rxErrorLength":0,"txBytes":0,)"
              R"("txPacket":0,"txDropped":0,"txDropPercent":0,"txError":0,"txErrorFifo":0,)"
              R"("txErrorCarrier":0,"txBcnSuccess":0,"txBcnFailure":0,"txBeaconPercent":0}})");
}

TEST_F(WifiAnalytics, RadioChannelKinds) {
    listing("ath0", "ath0\n");
    auto kind = [&]() {
        json::Ptr obj = create_wifi_analytic_obj(d);
        return std::string(json::get_string(cJSON_GetObjectItem(first_entry(obj), "radioInfo"),
                                            "radioInfoChannel"));
    };
    fake->nvram["wla_channel"] = "11";
    EXPECT_EQ(kind(), "");  // no live channel
    fake->nvram["wla_channel"] = "1";
    EXPECT_EQ(kind(), "fixed");
    fake->nvram["wla_channel"] = "11";
    iw("wifi0", "\tchannel 11 (2462 MHz)\n");
    EXPECT_EQ(kind(), "fixed");
    fake->nvram["wla_channel"] = "0";
    EXPECT_EQ(kind(), "auto");
}

TEST_F(WifiAnalytics, InterfacesFollowTheListingAndUnknownOnesHaveNoPurpose) {
    listing("ath1", "ath1      IEEE\nath12     IEEE\nath13     IEEE\nath19     IEEE\n");
    json::Ptr obj = create_wifi_analytic_obj(d);
    const cJSON* list = cJSON_GetObjectItem(obj.get(), "wifiIface");
    ASSERT_EQ(cJSON_GetArraySize(list), 4);
    const char* expected[][2] = {
        {"ath1", "main"}, {"ath12", "backhaul"}, {"ath13", "iot"}, {"ath19", ""}};
    for (int i = 0; i < 4; ++i) {
        const cJSON* info = cJSON_GetObjectItem(cJSON_GetArrayItem(list, i), "ifaceInfo");
        EXPECT_STREQ(json::get_string(info, "ifaceName"), expected[i][0]);
        EXPECT_STREQ(json::get_string(info, "ifacePurpose"), expected[i][1]);
        EXPECT_STREQ(json::get_string(cJSON_GetObjectItem(cJSON_GetArrayItem(list, i), "radioInfo"),
                                      "radioBand"),
                     "5G");
    }
}

TEST_F(WifiAnalytics, FortyCharacterInterfaceNameIsCutTo31) {
    listing("ath0", std::string(40, 'a') + " IEEE\n");
    json::Ptr obj = create_wifi_analytic_obj(d);
    EXPECT_STREQ(json::get_string(cJSON_GetObjectItem(first_entry(obj), "ifaceInfo"), "ifaceName"),
                 std::string(31, 'a').c_str());
}

TEST_F(WifiAnalytics, RadioWhoseListingCannotBeReadIsPassedOver) {
    FakeBackend::Response gone;
    gone.remove = {"/tmp/telem_parse_file"};
    fake->on_exact("iwconfig | grep ath0 | sort -V > /tmp/telem_parse_file", gone);
    listing("ath1", "ath1 IEEE\n");
    json::Ptr obj = create_wifi_analytic_obj(d);
    const cJSON* list = cJSON_GetObjectItem(obj.get(), "wifiIface");
    ASSERT_EQ(cJSON_GetArraySize(list), 1);
    EXPECT_STREQ(json::get_string(cJSON_GetObjectItem(cJSON_GetArrayItem(list, 0), "ifaceInfo"),
                                  "ifaceName"),
                 "ath1");
    EXPECT_TRUE(fake->commands_containing("iw dev wifi0 info > ").size() > 0);  // BSS info still
}

TEST_F(WifiAnalytics, BssInfoMembersAndCommandLines) {
    iw("wifi1",
       "Interface wifi1\n\taddr d4:6e:0e:70:80:a1\n\tmld_addr 02:6e:0e:70:80:a1\n"
       "\tchannel 100 (5500 MHz), width: 160 MHz\n");
    fake->on_exact(
        "iw dev wifi1 info | tail -1 | awk -F'width: ' '{print $2}' | awk '{print $1}' > "
        "/tmp/telem_one_line",
        FakeBackend::outputs("160\n"));
    fake->on_exact(
        "iwlist ath1 channel | head -2 | tail -1 | awk '{print $2}' > /tmp/telem_one_line",
        FakeBackend::outputs("36\n"));
    fake->on_exact(
        "iwlist ath1 channel | tail -3 | head -1 | awk '{print $2}' > /tmp/telem_one_line",
        FakeBackend::outputs("165\n"));
    fake->write("/sys/class/net/ath1/phy80211/name", "phy1\n");
    fake->on_exact("iw phy phy1 info | grep 'VHT Capabilities' > /tmp/telem_one_line",
                   FakeBackend::outputs("\t\tVHT Capabilities (0x1):\n"));
    fake->on_exact("iw phy phy1 info | grep 'HE PHY Capabilities' > /tmp/telem_one_line",
                   FakeBackend::outputs("\t\t\tHE PHY Capabilities: (0x2):\n"));
    json::Ptr obj = create_wifi_analytic_obj(d);
    EXPECT_EQ(json::print_compact(cJSON_GetObjectItem(obj.get(), "5g1BssInfo")),
              R"({"bssMac":"d4:6e:0e:70:80:a1","bssMLDMac":"02:6e:0e:70:80:a1","bssBW":"160",)"
              R"("bssStartChannel":36,"bssEndChannel":165,"bssMainChannel":100,"bssNoiseFlr":"",)"
              R"("bssColor":0,"bssHT":0,"bssVHT":1,"bssHE":1,"bssEHT":0,"bssBasicRate":0,)"
              R"("bssChanUtil":0,"bssObssChanUtil":0,"bssCcaThreshold":0,"bssObssPdThreshold":0,)"
              R"("bssRadarDetectCnt":0})");
    EXPECT_FALSE(fake->exists("/tmp/telem_one_line"));
    EXPECT_FALSE(fake->exists("/tmp/telem_parse_file"));
}

TEST_F(WifiAnalytics, ProbePhyCapability) {
    EXPECT_EQ(probe_phy_capability("HT", "ath0"), 0);  // no PHY name: one command only
    EXPECT_EQ(fake->commands, std::vector<std::string>{
                                  "cat /sys/class/net/ath0/phy80211/name > /tmp/telem_one_line"});
    fake->write("/sys/class/net/ath0/phy80211/name", "phy0\n");
    fake->on_exact(
        "iw phy phy0 info | grep 'HT TX/RX MCS rate indexes supported' > "
        "/tmp/telem_one_line",
        FakeBackend::outputs("\t\tHT TX/RX MCS rate indexes supported: 0-31\n"));
    EXPECT_EQ(probe_phy_capability("HT", "ath0"), 1);
    EXPECT_EQ(probe_phy_capability("EHT", "ath0"), 0);
    EXPECT_EQ(fake->commands.back(),
              "iw phy phy0 info | grep 'EHT PHY Capabilities' > /tmp/telem_one_line");
    size_t before = fake->commands.size();
    EXPECT_EQ(probe_phy_capability("XT", "ath0"), 0);
    EXPECT_EQ(fake->commands.size(), before);
}

TEST_F(WifiAnalytics, CountRadioVapsSplitsOnBlanksAndNewlines) {
    fake->on_exact(
        "iw dev | grep -A 1 'Interface' | grep -B 1 'ath1' | grep -o 'Interface .*' | awk "
        "'{print $2}' > /tmp/telem_one_line",
        FakeBackend::outputs("ath1\nath12 ath13\nath14\n"));
    EXPECT_EQ(count_radio_vaps(d, "ath1"), 4);
    EXPECT_EQ(count_radio_vaps(d, "ath2"), 0);
}

TEST_F(WifiAnalytics, IwOutputOfTenThousandLinesKeepsItsBound) {
    std::string big;
    for (int i = 0; i < 10000; ++i) big += "ath" + std::to_string(i) + "\n";
    fake->on_prefix("iw dev | grep", FakeBackend::outputs(big));
    EXPECT_EQ(count_radio_vaps(d, "ath0"), 10000);
    std::string wide(5000, 'x');
    iw("wifi0", "\tchannel " + wide + "\n");
    json::Ptr obj = create_wifi_analytic_obj(d);
    // A line longer than the 511-byte read comes in pieces; the channel keeps its bound.
    EXPECT_EQ(cJSON_GetObjectItem(cJSON_GetObjectItem(obj.get(), "2gBssInfo"), "bssMainChannel")
                  ->valuedouble,
              0);
}

TEST(WifiScan, SinglePlaceholderEntry) {
    json::Ptr obj = create_wifi_scan_obj();
    EXPECT_EQ(json::print_compact(obj.get()),
              R"({"wifiScanResult":[{"frequencyBand":"","ssidName":"","bssMac":"","bssMLDMac":"",)"
              R"("bssBW":"","bssStartChannel":0,"bssEndChannel":0,"bssMainChannel":0,"bssRssi":"",)"
              R"("bssSNR":"","bssNoise":"","bssColor":0,"bssHT":0,"bssVHT":0,"bssHE":0,"bssEHT":0,)"
              R"("bssBasicRate":0,"chanLoad":0}]})");
}

TEST_F(WifiAnalytics, EventBodyEndsWithTheScanResult) {
    json::Ptr obj = create_wifi_analytics_event(d);
    EXPECT_EQ(names(obj.get()),
              "2gBssInfo,5g1BssInfo,6gBssInfo,5g2BssInfo,wifiIface,wifiScanResult");
}

// The event rides on the Wi-Fi event report (event type 3) when its schedule is due.
TEST_F(WifiAnalytics, DueScheduleSendsTheEventWithTheWifiEventReport) {
    fake->nvram["RA_enable"] = "1";
    fake->nvram["sku_name"] = "US";
    fake->mkdir("/tmp/telem_json_dir");
    fake->mkdir("/tmp/telem_wifi_json_dir");
    d.info.mac = "AABBCC001122";
    d.policy.report_method = "none";
    d.policy.rows[ROW_WIFI_EVENT_SEND].last_update = 49000;  // batch not due
    fake->now_uptime = 50000;
    testing::internal::CaptureStdout();
    create_device_json(d, 3);
    testing::internal::GetCapturedStdout();
    auto text = fake->read("/tmp/telem_wifi_json_dir/telem_wifi_VRE670_0.json");
    ASSERT_TRUE(text);
    json::Ptr doc = json::parse(*text);
    ASSERT_TRUE(doc);
    EXPECT_EQ(names(doc.get()), "routerHardware,wifiAnalytics");
    EXPECT_EQ(cJSON_GetObjectItem(cJSON_GetObjectItem(doc.get(), "routerHardware"), "eventType")
                  ->valueint,
              3);
    EXPECT_EQ(d.policy.rows[ROW_WIFI_ANALYTICS].last_update, 50000u);

    // Not due again until its interval has passed: nothing more is queued.
    d.policy.rows[ROW_WIFI_ANALYTICS].interval = 3600;
    fake->now_uptime = 50100;
    testing::internal::CaptureStdout();
    create_device_json(d, 3);
    testing::internal::GetCapturedStdout();
    EXPECT_FALSE(fake->exists("/tmp/telem_wifi_json_dir/telem_wifi_VRE670_1.json"));
}

TEST_F(WifiAnalytics, ModelWithoutBandsSendsNoEvent) {
    fake->nvram["hwver"] = "VRA420";
    fake->nvram["RA_enable"] = "1";
    fake->mkdir("/tmp/telem_json_dir");
    fake->mkdir("/tmp/telem_wifi_json_dir");
    d.policy.report_method = "none";
    d.policy.rows[ROW_WIFI_EVENT_SEND].last_update = 49000;
    fake->now_uptime = 50000;
    testing::internal::CaptureStdout();
    create_device_json(d, 3);
    testing::internal::GetCapturedStdout();
    EXPECT_FALSE(fake->exists("/tmp/telem_json_dir/telem_VRE670.json"));
    EXPECT_EQ(d.policy.rows[ROW_WIFI_ANALYTICS].last_update, 50000u);
}

// --- golden document and command counts of the simulator's routers -------------------

namespace {

struct Built {
    std::string text;
    size_t commands;
};

Built scenario_wifi_analytics(const std::string& scenario) {
    FakeRouter fake;
    sim_fixture::Scenario router(*fake, scenario);
    Daemon d;
    testing::internal::CaptureStdout();
    init_ifname_map(d.ifnames, fake->nvram["hwver"]);
    testing::internal::GetCapturedStdout();
    fake->commands.clear();
    json::Ptr obj = create_wifi_analytics_event(d);
    return {obj ? json::print_string(obj.get()) + "\n" : "null\n", fake->commands.size()};
}

}  // namespace

TEST(WifiAnalyticsGolden, Vre670) {
    Built b = scenario_wifi_analytics("vre670");
    std::filesystem::path path = std::filesystem::path(__FILE__).parent_path().parent_path() /
                                 "golden" / "wifi_analytics_vre670.json";
    std::ifstream in(path, std::ios::binary);
    ASSERT_TRUE(in) << "missing golden file " << path;
    std::stringstream golden;
    golden << in.rdbuf();
    EXPECT_EQ(b.text, golden.str()) << "differs from " << path;
    // 14 for each of the 4 BSS objects, less one for each of the 4 capability probes of
    // ath3, which has no PHY; 3 for each radio and 17 for each of the 10 interfaces
    // listed.
    EXPECT_EQ(b.commands, 4u * 14 - 4 + 4 * 3 + 10 * 17);
}

TEST(WifiAnalyticsGolden, CommandCounts) {
    // VRA420: no bands, no command.
    EXPECT_EQ(scenario_wifi_analytics("vra420").commands, 0u);
    // VRE650: 4 BSS objects, 4 radios, 10 interfaces listed.
    EXPECT_EQ(scenario_wifi_analytics("vre650").commands, 4u * 14 + 4 * 3 + 10 * 17);
}
