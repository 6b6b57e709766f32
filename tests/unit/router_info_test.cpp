#include "state/router_info.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>

#include "core/daemon.h"
#include "json/json.h"
#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

std::filesystem::path golden_path(const std::string& name) {
    return std::filesystem::path(__FILE__).parent_path().parent_path() / "golden" / name;
}

// The golden files are written by hand, indented for reading; both sides are printed
// by the same printer without blanks, so member order, types and values must agree.
void expect_golden(const std::string& name, const cJSON* built) {
    std::ifstream in(golden_path(name), std::ios::binary);
    ASSERT_TRUE(in) << "missing golden file " << name;
    std::stringstream text;
    text << in.rdbuf();
    json::Ptr golden = json::parse(text.str());
    ASSERT_TRUE(golden) << name << " does not parse";
    EXPECT_EQ(json::print_compact(built), json::print_compact(golden.get())) << name;
}

std::string link(int port, bool up) {
    return "Port " + std::to_string(port) + ": link:" + (up ? "up speed:1000baseT" : "down") + "\n";
}

class RouterInfo : public ::testing::Test {
  protected:
    json::Ptr build() {
        testing::internal::CaptureStdout();
        json::Ptr o = create_router_info_obj(d);
        out = testing::internal::GetCapturedStdout();
        return o;
    }
    void swconfig(const char* device, int port, bool up) {
        fake->on_exact(std::string("swconfig dev ") + device + " port " + std::to_string(port) +
                           " show|grep port:" + std::to_string(port),
                       FakeBackend::outputs(link(port, up)));
    }
    FakeRouter fake;
    Daemon d;
    std::string out;
};

// --- the three model families ----------------------------------------------------------

class RouterInfoGolden : public RouterInfo {};

TEST_F(RouterInfoGolden, Vre650IndexTwo) {
    fake->nvram = {
        {"hwver", "VRE650"},
        {"wan_ipaddr", "198.51.100.23"},
        {"lan_ipaddr", "192.168.1.1"},
        {"q_agent_id", "qa-7d1f"},
        {"q_agent_claim_code", "CLM-48213"},
        {"q_agent_registered", "1"},
        {"q_agent_claimed", "0"},
        {"install_by_gui_app", "app"},
        {"install_fw_upgrade_latest", "1"},
        {"manage_by_gui", "1"},
        {"manage_by_app", "0"},
        {"telem_fw_last_upgrade_time", "2024-11-12 03:10:44"},
        {"telem_fw_last_check_time", "2024-11-20 03:00:02"},
        {"currentDLmethod", "AUTO"},
        {"is_cable_wan_mode", "0"},
        {"gui_region", "English"},
        {"wla_region", "11"},
        {"ntp_sync_status", "0"},
        {"ntp_is_synced", "1"},
        {"time_state", "Cloud"},
        {"qos_manual", "0"},
        {"qos_Lasttesttime", "2024-11-19 22:05:09"},
        {"qos_bw_downlink", "412000000"},
        {"qos_bw_uplink", "38000000"},
        {"qos_bw_tmp_downlink", "412000000"},
        {"qos_bw_tmp_uplink", "38000000"},
        {"qos_bw_tmp_ping", "14 ms"},
        {"ra_speedtest_report_lasttime", "first"},
        {"bond_wan", "0"},
        {"ra_otp_alder-wifi0_highestTemp", "66"},
        {"ra_otp_alder-wifi0_lowestTemp", "51"},
        {"ra_otp_waikiki-wifi1_highestTemp", "70"},
        {"detectWANType", "DHCP"},
        {"detectWANTypeResponseCode", "000"},
        {"checkInternetStatusInternetLinkStatus", "Up"},
        {"checkInternetStatusWANType", "DHCP"},
        {"checkInternetStatusReponsesCode", "000"},
    };
    d.ports = {{"0x04", "0x02", "0x10", "0x08", "0x40"}, 5, -1, {2, 1, 4, 3, 6}};
    for (int port : {1, 3, 4}) swconfig("switch0", port, false);
    swconfig("switch0", 2, true);
    swconfig("switch0", 6, true);
    d.info.fw_version = "V1.0.4.86";
    d.info.geo = {"",         -480,    "America/Los_Angeles", "US",         "CA",
                  "San Jose", "95134", "198.51.100.23",       "Example ISP"};
    d.info.cable_modem = {"na", "na"};
    d.info.uptime_text = "3 days 04:05:06";
    d.info.health.mem_free_kb = "142336";
    d.info.health.mem_used_kb = "369664";
    d.info.health.high_mem_count = 2;
    d.info.traffic.day_tx = 144;
    d.info.traffic.day_rx = 432;
    d.info.internet_fail_count = 3;
    d.info.gateway_fail_count = 1;
    d.info.cpu_core_sum = {10, 20, 30, 40};
    d.info.health.cpu_core_count = {2, 2, 2, 2};
    d.info.health.high_cpu_count = 3;
    ensure_thermal_table(d);
    auto& sensors = d.info.health.thermal.sensors;
    sensors[0].enable = 1;
    sensors[1].enable = 1;
    sensors[1].trigger_status = 1;
    sensors[1].trigger_count = 2;
    sensors[1].longest_duration = 3;
    sensors[3].enable = 1;
    sensors[3].trigger_status = 2;
    fake->write("/tmp/net_scan.log", "hops to the device: 2\n");
    fake->on_exact("cat /tmp/net_scan.log | grep 'hops to the device:' | sed 's/^.*device: //g'",
                   FakeBackend::outputs("2\n"));
    fake->on_exact("circlectl status > /tmp/circlectl_info.txt",
                   FakeBackend::outputs("Circle Running: true\nCircle Cloud Connectivity:\n"
                                        "rclient:   connected\nCircle Provisioned: false\n"));
    fake->write("/usr/bin/get_fingRA_data.sh", "");
    fake->on_prefix("/usr/bin/get_fingRA_data.sh newDeviceQueryCount", FakeBackend::outputs("4\n"));
    fake->on_prefix("/usr/bin/get_fingRA_data.sh weeklyRefreshQueryCount",
                    FakeBackend::outputs("27\n"));
    fake->on_prefix("/usr/bin/get_fingRA_data.sh weeklyRefreshQueryTimestamp",
                    FakeBackend::outputs("2024-11-10 03:00:12\n"));
    json::Ptr o = build();
    ASSERT_TRUE(o);
    expect_golden("router_info_vre650.json", o.get());
    EXPECT_NE(out.find("int hop:2\n"), std::string::npos);
    EXPECT_NE(out.find("[ethWan]port 2 is up,portLinkState:0x44,(1<<port):0x4\n"),
              std::string::npos);
    EXPECT_NE(out.find("[ethWan]port 6 is up,portLinkState:0x44,(1<<port):0x40\n"),
              std::string::npos);
    EXPECT_NE(out.find("[telem_json] cpu_ave_all = 12.500000, cpu0_ave = 5.000000, cpu1_ave = "
                       "10.000000, cpu2_ave = 15.000000, cpu3_ave = 20.000000\n"),
              std::string::npos);
    EXPECT_FALSE(fake->exists("/tmp/fing_query.txt"));
    EXPECT_FALSE(fake->exists("/tmp/circlectl_info.txt") &&
                 fake->read("/tmp/circlectl_info.txt")->empty());
}

TEST_F(RouterInfoGolden, Vra420IndexOne) {
    fake->nvram = {
        {"hwver", "VRA420"},
        {"wan_ipaddr", "203.0.113.77"},
        {"lan_ipaddr", "192.168.1.1"},
        {"install_fw_upgrade_latest", "0"},
        {"manage_by_gui", "0"},
        {"manage_by_app", "1"},
        {"telem_fw_last_upgrade_time", ""},
        {"telem_fw_last_check_time", "2024-11-01 02:00:00"},
        {"currentDLmethod", "MANUAL"},
        {"gui_region", "German"},
        {"wla_region", "5"},
        {"ntp_sync_status", "1"},
        {"time_state", "NTP"},
        {"ntp_is_synced", "0"},
        {"qos_manual", "1"},
        {"qos_bw_downlink_manual", "100000000"},
        {"qos_bw_uplink_manual", ""},
        {"qos_bw_tmp_downlink", "5"},
        {"qos_bw_tmp_uplink", "5"},
        {"qos_bw_tmp_ping", "9 ms"},
        {"bond_wan", "1"},
        {"ra_otp_onboard-flash1_highestTemp", "70"},
        {"ra_otp_onboard-flash1_lowestTemp", "0"},
    };
    d.ports = {{"0x02", "0x04", "0x08", "0x10", ""}, 5, -1, {1, 2, 3, 4, -1}};
    swconfig("switch0", 1, true);
    for (int port : {2, 3, 4}) swconfig("switch0", port, false);
    d.info.fw_version = "V1.0.2.10";
    d.info.cable_modem = {"A0B1C2D3E4F5", "A0B1C2"};
    d.info.uptime_text = "0 days 00:10:00";
    d.info.health.mem_free_kb = "200000";
    d.info.health.mem_used_kb = "312000";
    d.info.internet_fail_count = 4;
    d.info.gateway_fail_count = 2;
    d.info.router_info.disconnect_counts_in_minutes = 1;
    d.info.features.circle_in_container = 1;
    json::Ptr o = build();
    ASSERT_TRUE(o);
    expect_golden("router_info_vra420.json", o.get());
    EXPECT_EQ(fake->commands_containing("lxc-attach spc-circle -- /usr/bin/circlectl status > "
                                        "/tmp/circlectl_info.txt")
                  .size(),
              4u);
    EXPECT_EQ(fake->nvram["ra_speedtest_report_lasttime"], "first");
}

TEST_F(RouterInfoGolden, Vre670IndexThree) {
    fake->nvram = {
        {"hwver", "VRE670"},
        {"wan_ipaddr", "192.0.2.141"},
        {"lan_ipaddr", "10.0.0.1"},
        {"install_by_gui_app", "gui"},
        {"install_fw_upgrade_latest", "1"},
        {"manage_by_gui", "0"},
        {"manage_by_app", "0"},
        {"telem_fw_last_upgrade_time", "2025-01-20 04:00:00"},
        {"telem_fw_last_check_time", "2025-02-01 04:00:00"},
        {"currentDLmethod", "MANUAL"},
        {"is_cable_wan_mode", "1"},
        {"gui_region", "English"},
        {"wla_region", "28"},
        {"ntp_sync_status", "2"},
        {"time_state", "Cloud"},
        {"ntp_is_synced", "1"},
        {"ntp_sync_port", "4123"},
        {"qos_Lasttesttime", "2025-02-01 20:44:31"},
        {"ra_speedtest_report_lasttime", "2025-02-01 20:44:31"},
        {"qos_bw_downlink", "940000000"},
        {"qos_bw_uplink", "312000000"},
        {"qos_bw_tmp_downlink", "940000000"},
        {"qos_bw_tmp_uplink", "312000000"},
        {"soapc_sat_access_count", "2"},
        {"soapc_sat_0_DeviceInfo_GetCurrentSatellitesWIFIinfo_Hop", "1"},
        {"soapc_sat_1_DeviceInfo_GetCurrentSatellitesWIFIinfo_Hop", "2"},
        {"bond_wan", "0"},
        {"ra_otp_miami-wifi0_highestTemp", "61"},
        {"ra_otp_miami-wifi0_lowestTemp", "48"},
        {"detectWANType", "PPPoE"},
        {"detectWANTypeResponseCode", "001"},
        {"checkInternetStatusInternetLinkStatus", "Up"},
        {"checkInternetStatusWANType", "PPPoE"},
        {"checkInternetStatusReponsesCode", "000"},
    };
    fake->write("/usr/bin/zt", "");
    auto zt = [&](const std::string& key, const std::string& value, const char* file) {
        fake->on_exact("zt -s " + key + " > " + file, FakeBackend::outputs(value));
    };
    zt("qagentcfg[0].q_agent_id", "qa-670\n", "/tmp/qagent.txt");
    zt("qagentcfg[0].q_agent_claim_code", "", "/tmp/qagent.txt");
    zt("qagentcfg[0].q_agent_registered", "1\n", "/tmp/qagent.txt");
    zt("qagentcfg[0].q_agent_claimed", "1\n", "/tmp/qagent.txt");
    fake->on_prefix("zt -s circlestatus.activationStatus ", FakeBackend::outputs("Activated\n"));
    fake->on_prefix("zt -s circlestatus.spcStatus ", FakeBackend::outputs("Enabled\n"));
    fake->on_prefix("zt -s circleDebug.lastTimestamp ", FakeBackend::outputs("1738440000\n"));
    fake->on_prefix("zt -s circleDebug.errorId ", FakeBackend::outputs("0\n"));
    fake->on_prefix("zt -s circleDebug.errorMessage ", FakeBackend::outputs("\n"));
    fake->on_exact("/usr/sbin/ipcCmd getcminfo", FakeBackend::outputs("'DOCSIS 3.1|7.1.2.3|ok\n"));
    fake->on_exact("circlectl status > /tmp/circlectl_info.txt",
                   FakeBackend::outputs("Circle Running: false\nCircle Cloud Connectivity:\n"
                                        "rclient:   disconnected\nCircle Provisioned: true\n"));
    d.ports = {{"0x08", "0x04", "0x02", "", ""}, 2, -1, {3, 2, 1, -1, -1}};
    swconfig("switch1", 3, true);
    for (int port : {1, 2}) swconfig("switch1", port, false);
    d.info.fw_version = "V1.0.9.12";
    d.info.geo = {"",       330,           "Asia/Kolkata",     "IN", "KA", "Bengaluru",
                  "560001", "192.0.2.141", "Example Broadband"};
    d.info.cable_modem = {"001A2B3C4D5E", "001A2B"};
    d.info.uptime_text = "12 days 01:02:03";
    d.info.health.mem_free_kb = "65536";
    d.info.health.mem_used_kb = "983040";
    d.info.health.high_mem_count = 1;
    d.info.traffic.day_tx = 1.5;
    d.info.traffic.day_rx = 20.25;
    d.info.cpu_core_sum = {50, 50, 25, 0};
    d.info.health.cpu_core_count = {4, 4, 4, 4};
    ensure_thermal_table(d);
    for (auto& s : d.info.health.thermal.sensors) s.enable = 1;
    int saves = fake->saves;
    json::Ptr o = build();
    ASSERT_TRUE(o);
    expect_golden("router_info_vre670.json", o.get());
    // An already reported test changes nothing in the store.
    EXPECT_EQ(fake->saves, saves);
}

// --- members and their rules --------------------------------------------------------------

TEST_F(RouterInfo, WifiRegionCodesAndCountryCode) {
    for (auto [code, region] :
         std::vector<std::pair<std::string, std::string>>{{"4", "Canada"},
                                                          {"28", "Canada"},
                                                          {"13", "Unknown"},
                                                          {"6", "Irasel"},
                                                          {"19", "Middle East(Iran/Labanon/Qatar)"},
                                                          {"0", "Unknown"},
                                                          {"-3", "Unknown"},
                                                          {"abc", "Unknown"},
                                                          {"", "Unknown"}}) {
        fake->nvram["wla_region"] = code;
        json::Ptr o = build();
        EXPECT_STREQ(json::get_string(o.get(), "wifiRegion"), region.c_str()) << code;
        EXPECT_EQ(cJSON_GetObjectItem(o.get(), "countryCode")->valuedouble, std::atoi(code.c_str()))
            << code;
    }
    for (int c : {13, 15, 25, 26, 27, 29}) EXPECT_STREQ(wifi_region_name(c), "Unknown") << c;
}

TEST_F(RouterInfo, NtpStatusZeroGivesYesAndEmptyReason) {
    fake->nvram["ntp_sync_status"] = "0";
    json::Ptr o = build();
    EXPECT_STREQ(json::get_string(o.get(), "ntpResult"), "yes");
    EXPECT_STREQ(json::get_string(o.get(), "ntpFailReason"), "");
}

TEST_F(RouterInfo, NtpStatusTwoGivesNoReasonMember) {
    fake->nvram["ntp_sync_status"] = "2";
    json::Ptr o = build();
    EXPECT_STREQ(json::get_string(o.get(), "ntpResult"), "no");
    EXPECT_EQ(cJSON_GetObjectItem(o.get(), "ntpFailReason"), nullptr);
}

TEST_F(RouterInfo, NtpReasonsForEmptyMinusOneAndOne) {
    for (auto [status, reason] :
         std::vector<std::pair<std::string, std::string>>{{"", "Internet unavailable"},
                                                          {"-1", "Internet unavailable"},
                                                          {"1", "Fail to reach server"}}) {
        fake->nvram["ntp_sync_status"] = status;
        json::Ptr o = build();
        EXPECT_STREQ(json::get_string(o.get(), "ntpFailReason"), reason.c_str()) << status;
    }
}

TEST_F(RouterInfo, NtpPortNumber) {
    json::Ptr o = build();
    EXPECT_STREQ(json::get_string(o.get(), "ntpPortNumber"), "");
    fake->nvram["ntp_is_synced"] = "1";
    o = build();
    EXPECT_STREQ(json::get_string(o.get(), "ntpPortNumber"), "123");
    fake->nvram["ntp_sync_port"] = "123";
    o = build();
    EXPECT_STREQ(json::get_string(o.get(), "ntpPortNumber"), "123");
    fake->nvram["ntp_sync_port"] = "";
    o = build();
    EXPECT_STREQ(json::get_string(o.get(), "ntpPortNumber"), "non-123");
}

class SpeedTest : public RouterInfo {
  protected:
    void SetUp() override {
        fake->nvram = {{"qos_manual", "0"},
                       {"qos_Lasttesttime", "2024-03-07 18:05:09"},
                       {"qos_bw_downlink", "100000000"},
                       {"qos_bw_uplink", "20000000"},
                       {"qos_bw_tmp_downlink", "100000000"},
                       {"qos_bw_tmp_uplink", "20000000"},
                       {"qos_bw_tmp_ping", "12.5 ms"},
                       {"ra_speedtest_report_lasttime", "first"}};
    }
    std::string speed() {
        json::Ptr o = create_speedtest_obj(d);
        return json::print_compact(o.get());
    }
};

TEST_F(SpeedTest, NewTestIsReportedAndRemembered) {
    EXPECT_EQ(speed(), R"({"downloadSpeed":800,"uploadSpeed":160,"averagePing":12.5,)"
                       R"("lastTestTime":"2024_03.07_18:05:09","speedtestResults":"Success"})");
    EXPECT_EQ(fake->nvram["ra_speedtest_report_lasttime"], "2024-03-07 18:05:09");
    EXPECT_EQ(fake->saves, 1);
}

TEST_F(SpeedTest, SecondReportWithoutNewTestIsAllNull) {
    speed();
    EXPECT_EQ(speed(), R"({"downloadSpeed":null,"uploadSpeed":null,"averagePing":null,)"
                       R"("lastTestTime":null,"speedtestResults":null})");
    EXPECT_EQ(fake->saves, 1);
}

TEST_F(SpeedTest, NoTestEverIsAllNull) {
    fake->nvram.erase("qos_Lasttesttime");
    EXPECT_EQ(speed(), R"({"downloadSpeed":null,"uploadSpeed":null,"averagePing":null,)"
                       R"("lastTestTime":null,"speedtestResults":null})");
    EXPECT_EQ(fake->saves, 0);
}

TEST_F(SpeedTest, DownloadRateWithEmptyUploadRateGivesNumberNullNull) {
    fake->nvram["qos_bw_uplink"] = "";
    EXPECT_EQ(speed(), R"({"downloadSpeed":800,"uploadSpeed":null,"averagePing":null,)"
                       R"("lastTestTime":"2024_03.07_18:05:09","speedtestResults":"Success"})");
}

TEST_F(SpeedTest, ManualRatesAreUsedWhenQosIsManual) {
    fake->nvram["qos_manual"] = "1";
    fake->nvram["qos_bw_downlink_manual"] = "50000000";
    fake->nvram["qos_bw_uplink_manual"] = "10000000";
    EXPECT_EQ(speed(), R"({"downloadSpeed":400,"uploadSpeed":80,"averagePing":12.5,)"
                       R"("lastTestTime":"2024_03.07_18:05:09","speedtestResults":"Success"})");
}

TEST_F(SpeedTest, EmptyTemporaryRatesGiveZeroSpeeds) {
    fake->nvram["qos_bw_tmp_uplink"] = "";
    EXPECT_EQ(speed(), R"({"downloadSpeed":null,"uploadSpeed":null,"averagePing":null,)"
                       R"("lastTestTime":"2024_03.07_18:05:09","speedtestResults":"Success"})");
}

TEST_F(SpeedTest, EmptyTestTimeIsAFailedTestRememberedAsEmpty) {
    fake->nvram["qos_Lasttesttime"] = "";
    fake->nvram["ra_speedtest_report_lasttime"] = "2024-01-01 00:00:00";
    EXPECT_EQ(speed(), R"({"downloadSpeed":800,"uploadSpeed":160,"averagePing":12.5,)"
                       R"("lastTestTime":null,"speedtestResults":"Failed"})");
    EXPECT_EQ(fake->nvram["ra_speedtest_report_lasttime"], "");
}

// A time that is not in the tool's date form is still a test that ran: the parts read
// before the first mismatch are rewritten, the others stay empty.
TEST_F(SpeedTest, TestTimeThatIsNotADateIsRewrittenFromThePartsRead) {
    const std::pair<std::string, std::string> cases[] = {
        {"yesterday", "yest_._::"},
        {"2024/03/07 18:05:09", "2024_._::"},
        {"2024-03-07", "2024_03.07_::"},
        {"-", "-_._::"},
        // Read up to 127 characters; each part keeps its width.
        {"20245-031-07 18:05:09" + std::string(300, '9'), "2024_._::"},
        {"2024-03-07 18:05" + std::string(300, ' '), "2024_03.07_18:05:"},
    };
    for (const auto& [value, rewritten] : cases) {
        fake->nvram["qos_Lasttesttime"] = value;
        fake->nvram["ra_speedtest_report_lasttime"] = "first";
        json::Ptr o = create_speedtest_obj(d);
        EXPECT_STREQ(json::get_string(o.get(), "lastTestTime"), rewritten.c_str()) << value;
        EXPECT_STREQ(json::get_string(o.get(), "speedtestResults"), "Success") << value;
    }
}

TEST_F(SpeedTest, StoreIsCommittedOnlyWhenTheReportedTimeChanges) {
    speed();
    EXPECT_EQ(fake->saves, 1);
    // Somebody resets the key to the same test: reported again, but no new commit.
    fake->nvram["ra_speedtest_report_lasttime"] = "first";
    speed();
    EXPECT_EQ(fake->saves, 1);
    fake->nvram["qos_Lasttesttime"] = "2024-03-08 10:00:00";
    speed();
    EXPECT_EQ(fake->saves, 2);
}

TEST_F(RouterInfo, FanOnlyOnVre660AndItsKeysAreReset) {
    fake->nvram = {
        {"hwver", "VRE660"}, {"fan_Trigger_count", "3"}, {"fan_duration_Longest_time", "17"}};
    json::Ptr o = build();
    EXPECT_EQ(cJSON_GetObjectItem(o.get(), "numberOfFans")->valuedouble, 1);
    EXPECT_EQ(json::print_compact(cJSON_GetObjectItem(o.get(), "fan")),
              R"([{"Name":"fan1","fanEnable":true,"fanTriggerStatus":"Triggered",)"
              R"("fanTriggerCount":3,"fanTriggerLongestDuration":17}])");
    EXPECT_EQ(fake->nvram["fan_Trigger_count"], "0");
    EXPECT_EQ(fake->nvram["fan_duration_Longest_time"], "0");
    EXPECT_EQ(cJSON_GetObjectItem(o.get(), "numberOfSensors")->valuedouble, 5);
    o = build();
    EXPECT_STREQ(json::get_string(cJSON_GetArrayItem(cJSON_GetObjectItem(o.get(), "fan"), 0),
                                  "fanTriggerStatus"),
                 "Not triggered");

    for (const char* other : {"VRE650", "VRE670", "VRA420"}) {
        Daemon fresh;
        fake->nvram["hwver"] = other;
        testing::internal::CaptureStdout();
        json::Ptr p = create_router_info_obj(fresh);
        testing::internal::GetCapturedStdout();
        EXPECT_EQ(cJSON_GetObjectItem(p.get(), "numberOfFans"), nullptr) << other;
        EXPECT_EQ(cJSON_GetObjectItem(p.get(), "fan"), nullptr) << other;
    }
}

TEST_F(RouterInfo, BondedWanOnAFourPortModelLeavesThreePorts) {
    fake->nvram = {{"hwver", "VRA420"}, {"bond_wan", "1"}};
    json::Ptr lan = create_lan_port_obj(d);
    EXPECT_EQ(json::print_compact(lan.get()), R"({"lanPortUsed":0,"totalLanPort":3})");
    fake->nvram["bond_wan"] = "0";
    lan = create_lan_port_obj(d);
    EXPECT_EQ(json::print_compact(lan.get()), R"({"lanPortUsed":0,"totalLanPort":4})");
}

TEST_F(RouterInfo, LanPortCountsByModel) {
    for (auto [hwver, ports] : std::vector<std::pair<std::string, int>>{{"VRB540", 4},
                                                                        {"VCA310", 4},
                                                                        {"VRA310", 3},
                                                                        {"VRE650", 5},
                                                                        {"VRE630", 1},
                                                                        {"VRE670", 3},
                                                                        {"VRE640", 3},
                                                                        {"XYZ", 3}}) {
        fake->nvram["hwver"] = hwver;
        json::Ptr lan = create_lan_port_obj(d);
        EXPECT_EQ(cJSON_GetObjectItem(lan.get(), "totalLanPort")->valueint, ports) << hwver;
    }
}

TEST_F(RouterInfo, CpuAveragesAreConsumedByTheReport) {
    d.info.cpu_core_sum = {30, 60, 90, 120};
    d.info.health.cpu_core_count = {3, 3, 3, 3};
    d.info.health.high_cpu_count = 5;
    testing::internal::CaptureStdout();
    json::Ptr o = create_cpu_average_obj(d);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(json::print_compact(o.get()),
              R"({"cpuAveAll":25,"totalCoreNumber":4,"cpuAveByCores":[10,20,30,40],)"
              R"("highCpuTime":50})");
    EXPECT_EQ(d.info.cpu_core_sum, (std::array<double, 4>{0, 0, 0, 0}));
    EXPECT_EQ(d.info.health.cpu_core_count, (std::array<double, 4>{0, 0, 0, 0}));
    EXPECT_EQ(d.info.health.high_cpu_count, 0u);
}

TEST_F(RouterInfo, TrafficTotalsAreReportedOnce) {
    d.info.traffic.day_tx = 2.5;
    d.info.traffic.day_rx = 7.25;
    json::Ptr o = build();
    EXPECT_EQ(json::print_compact(cJSON_GetObjectItem(o.get(), "trafficMeter")),
              R"({"Uplink":2.5,"Downlink":7.25})");
    EXPECT_EQ(d.info.traffic.day_tx, 0);
    EXPECT_EQ(d.info.traffic.day_rx, 0);
    o = build();
    EXPECT_EQ(json::print_compact(cJSON_GetObjectItem(o.get(), "trafficMeter")),
              R"({"Uplink":0,"Downlink":0})");
}

TEST_F(RouterInfo, DisconnectCountsAreTenMinutePassesUnlessInMinutes) {
    d.info.internet_fail_count = 3;
    d.info.gateway_fail_count = 2;
    json::Ptr o = create_internet_conn_obj(d);
    EXPECT_EQ(json::print_compact(o.get()),
              R"({"internetDisconnDuration":30,"gwDisconnDuration":20})");
    d.info.router_info.disconnect_counts_in_minutes = 1;
    o = create_internet_conn_obj(d);
    EXPECT_EQ(json::print_compact(o.get()),
              R"({"internetDisconnDuration":3,"gwDisconnDuration":2})");
    // The report does not reset them; a successful upload does.
    EXPECT_EQ(d.info.internet_fail_count, 3);
}

TEST_F(RouterInfo, MemoryFiguresAreKilobytesAsRead) {
    d.info.health.mem_free_kb = "262144";
    d.info.health.mem_used_kb = "786432";
    d.info.mem_free = "256";  // the main loop's MiB texts are not what the report carries
    d.info.health.high_mem_count = 4;
    json::Ptr o = build();
    EXPECT_EQ(json::print_compact(cJSON_GetObjectItem(o.get(), "memoryInfo")),
              R"({"memoryFree":262144,"memoryUsed":786432,"highMemTime":40})");
    EXPECT_EQ(d.info.health.high_mem_count, 4u);
}

TEST_F(RouterInfo, PolicyVersionIsReportedEmpty) {
    d.policy.policy_version = "2.7";
    json::Ptr o = build();
    EXPECT_EQ(json::print_compact(cJSON_GetObjectItem(o.get(), "raeLibrary")),
              R"({"raeAgentVersion":"V1.5.1.4","raePolicyVersion":""})");
}

TEST_F(RouterInfo, CableModemFirmwareOnlyInCableWanMode) {
    fake->on_exact("/usr/sbin/ipcCmd getcminfo", FakeBackend::outputs("'CM|1.2|\n"));
    json::Ptr o = build();
    EXPECT_EQ(cJSON_GetObjectItem(o.get(), "cmModule"), nullptr);
    EXPECT_TRUE(fake->commands_containing("ipcCmd").empty());
    fake->nvram["is_cable_wan_mode"] = "1";
    o = build();
    EXPECT_EQ(json::print_compact(cJSON_GetObjectItem(o.get(), "cmModule")),
              R"({"cmFWVersion":"1.2"})");
}

TEST_F(RouterInfo, CableModemLineWithoutApostropheOrBarsIsEmpty) {
    fake->nvram["is_cable_wan_mode"] = "1";
    for (const char* line :
         {"CM|1.2|x\n", "'no bars at all\n", "'CM\n", "", "'|\n", "'CM||\n", "\x01\xff"}) {
        fake->on_exact("/usr/sbin/ipcCmd getcminfo", FakeBackend::outputs(line));
        json::Ptr o = build();
        EXPECT_STREQ(json::get_string(cJSON_GetObjectItem(o.get(), "cmModule"), "cmFWVersion"), "")
            << line;
    }
    // The version buffer holds 15 characters.
    fake->on_exact("/usr/sbin/ipcCmd getcminfo",
                   FakeBackend::outputs("'CM|" + std::string(200, '7') + "|\n"));
    json::Ptr o = build();
    EXPECT_STREQ(json::get_string(cJSON_GetObjectItem(o.get(), "cmModule"), "cmFWVersion"),
                 std::string(15, '7').c_str());
}

TEST_F(RouterInfo, TopologyFromTheScanLogThenTheSatellites) {
    fake->nvram["soapc_sat_access_count"] = "1";
    fake->nvram["soapc_sat_0_DeviceInfo_GetCurrentSatellitesWIFIinfo_Hop"] = "2";
    json::Ptr o = build();
    EXPECT_STREQ(json::get_string(o.get(), "topology"), "Daisy");
    // A scan log, when present, decides alone.
    fake->write("/tmp/net_scan.log", "x");
    fake->on_exact("cat /tmp/net_scan.log | grep 'hops to the device:' | sed 's/^.*device: //g'",
                   FakeBackend::outputs("1\n1\n"));
    o = build();
    EXPECT_STREQ(json::get_string(o.get(), "topology"), "Star");
    EXPECT_NE(out.find("int hop:1\nint hop:1\n"), std::string::npos);
    EXPECT_EQ(get_hop_from_net_scan(), 0);
}

TEST_F(RouterInfo, HopPiecesAreSevenCharacters) {
    fake->write("/tmp/net_scan.log", "x");
    // "12345678" is read as "1234567" then "8".
    fake->on_exact("cat /tmp/net_scan.log | grep 'hops to the device:' | sed 's/^.*device: //g'",
                   FakeBackend::outputs("0\n12345678\n"));
    testing::internal::CaptureStdout();
    EXPECT_EQ(get_hop_from_net_scan(), 1);
    std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_EQ(printed, "int hop:0\nint hop:1234567\n");
}

TEST_F(RouterInfo, SatelliteHopsAndTheirBounds) {
    EXPECT_EQ(get_hop_from_sat_info(), 0);
    fake->nvram["soapc_sat_access_count"] = "-5";
    EXPECT_EQ(get_hop_from_sat_info(), 0);
    fake->nvram["soapc_sat_access_count"] = "2000000000";
    fake->nvram["soapc_sat_40_DeviceInfo_GetCurrentSatellitesWIFIinfo_Hop"] = "3";
    EXPECT_EQ(get_hop_from_sat_info(), 0);  // only the 32 cache entries are looked at
    fake->nvram["soapc_sat_31_DeviceInfo_GetCurrentSatellitesWIFIinfo_Hop"] = "3";
    EXPECT_EQ(get_hop_from_sat_info(), 1);
}

TEST_F(RouterInfo, SoapTriggerRunsBeforeTheTopology) {
    std::vector<std::string> calls;
    d.info.router_info.soap_router_fire = [&](Daemon&, std::string_view v) {
        calls.push_back(std::string(v) + "@" + std::to_string(fake->commands.size()));
    };
    fake->write("/tmp/net_scan.log", "x");
    build();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].substr(0, 2), "8@");
    size_t at = std::stoul(calls[0].substr(2));
    ASSERT_LT(at, fake->commands.size());
    EXPECT_EQ(fake->commands[at].rfind("cat /tmp/net_scan.log", 0), 0u);
}

TEST_F(RouterInfo, CircleOutputOfOneMegabyteIsBounded) {
    std::string big = "Circle Running: true\n" + std::string(1 << 20, 'c') + "\n";
    fake->on_exact("circlectl status > /tmp/circlectl_info.txt", FakeBackend::outputs(big));
    json::Ptr o = build();
    EXPECT_STREQ(json::get_string(o.get(), "circleV2AgentIsStart"), "yes");
    EXPECT_EQ(std::string(json::get_string(o.get(), "circleV2CtlStatusLog")), big.substr(0, 2048));
    EXPECT_STREQ(json::get_string(o.get(), "circleV2AgentIsOnline"), "no");
}

TEST_F(RouterInfo, CircleValueOnAnOverlongLineIsCutAt511) {
    fake->on_exact("circlectl status > /tmp/circlectl_info.txt",
                   FakeBackend::outputs("Circle Provisioned: " + std::string(2000, 't') + "\n"));
    EXPECT_EQ(query_circlectl("Circle Provisioned:", false).size(), 511u - 20u);
    EXPECT_FALSE(fake->exists("/tmp/circlectl_info.txt"));
    EXPECT_EQ(query_circlectl("ALL_INFO", false).size(), 2021u);
    EXPECT_TRUE(fake->exists("/tmp/circlectl_info.txt"));
}

TEST_F(RouterInfo, FingCountsAreMinusOneWithoutOutput) {
    fake->write("/usr/bin/get_fingRA_data.sh", "");
    FakeBackend::Response none;
    none.remove = {"/tmp/fing_query.txt"};
    fake->on_prefix("/usr/bin/get_fingRA_data.sh", none);
    json::Ptr o = build();
    EXPECT_EQ(cJSON_GetObjectItem(o.get(), "fingQueryCountNewDevice")->valuedouble, -1);
    EXPECT_EQ(cJSON_GetObjectItem(o.get(), "fingQueryCountWeeklyRefresh")->valuedouble, -1);
    EXPECT_STREQ(json::get_string(o.get(), "fingQueryWeeklyRefreshTimestamp"), "");
}

TEST_F(RouterInfo, FingMembersOnlyWithTheScript) {
    json::Ptr o = build();
    EXPECT_EQ(cJSON_GetObjectItem(o.get(), "fingQueryCountNewDevice"), nullptr);
    EXPECT_TRUE(fake->commands_containing("get_fingRA_data.sh").empty());
}

TEST_F(RouterInfo, LastReportCopiesAndGroupCount) {
    fake->nvram = {{"wan_ipaddr", std::string(40, '1')},
                   {"wla_region", "123456789"},
                   {"ntp_sync_status", "0"}};
    d.info.uptime_text = std::string(100, 'u');
    json::Ptr o = build();
    const RouterInfoState& s = d.info.router_info;
    EXPECT_EQ(s.last_wan_ip, std::string(31, '1'));
    EXPECT_EQ(s.last_wla_region, "1234567");
    EXPECT_EQ(s.last_uptime, std::string(63, 'u'));
    EXPECT_EQ(s.last_agent_version, "V1.5.1.4");
    // ipAddress, firmware, raeLibrary, language, countryCode, wifiRegion, regionCode,
    // ntpResult, ntpFailReason, ntpPortNumber, upTime, memoryInfo, trafficMeter.
    EXPECT_EQ(s.reported_groups, 13);
    fake->nvram["ntp_sync_status"] = "7";
    build();
    EXPECT_EQ(d.info.router_info.reported_groups, 12);
}

TEST_F(RouterInfo, SensorExtremesOnlyWhenBothAreSet) {
    fake->nvram = {{"hwver", "VRE670"},
                   {"ra_otp_miami-wifi0_highestTemp", "60"},
                   {"ra_otp_miami-wifi0_lowestTemp", "40"},
                   {"ra_otp_waikiki-wifi1_highestTemp", "60"}};
    ensure_thermal_table(d);
    json::Ptr a = create_thermal_sensor_array(d);
    ASSERT_EQ(cJSON_GetArraySize(a.get()), 3);
    EXPECT_NE(cJSON_GetObjectItem(cJSON_GetArrayItem(a.get(), 0), "highestTemp"), nullptr);
    EXPECT_EQ(cJSON_GetObjectItem(cJSON_GetArrayItem(a.get(), 1), "highestTemp"), nullptr);
    EXPECT_EQ(cJSON_GetObjectItem(cJSON_GetArrayItem(a.get(), 1), "lowestTemp"), nullptr);
}

}  // namespace
