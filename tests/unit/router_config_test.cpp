#include "state/router_config.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "core/daemon.h"
#include "core/features.h"
#include "json/json.h"
#include "sim_scenario_fixture.h"
#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

class RouterConfig : public ::testing::Test {
  protected:
    void SetUp() override {
        fake->hwversion = "VRE670";
        fake->nvram = {{"hwver", "VRE670"}, {"sku_name", "US"}};
        // Every feature present unless a test says otherwise.
        auto& f = d.info.features;
        f.traffic_classification = f.remote_access_cloud = f.openvpn = f.download_manager = 1;
        f.not_cable_model = 1;
    }
    json::Ptr build() {
        testing::internal::CaptureStdout();
        json::Ptr obj = create_router_config_obj(d);
        out = testing::internal::GetCapturedStdout();
        return obj;
    }
    static std::string text(const json::Ptr& obj, const char* name) {
        const char* s = json::get_string(obj.get(), name);
        return s ? s : "<missing>";
    }
    static bool is_true(const json::Ptr& obj, const char* name) {
        return cJSON_IsTrue(cJSON_GetObjectItemCaseSensitive(obj.get(), name));
    }
    static bool has(const json::Ptr& obj, const char* name) {
        return cJSON_GetObjectItemCaseSensitive(obj.get(), name) != nullptr;
    }
    static std::string names(const cJSON* obj) {
        std::string out;
        for (const cJSON* c = obj ? obj->child : nullptr; c; c = c->next)
            out += std::string(out.empty() ? "" : ",") + c->string;
        return out;
    }
    FakeRouter fake;
    Daemon d;
    std::string out;
};

}  // namespace

TEST_F(RouterConfig, ApModeDropsTrafficMeterAndPortsAndTurnsRouterServicesOff) {
    fake->nvram["enable_ap_mode"] = "1";
    fake->nvram["openvpnActive"] = "enable";
    fake->nvram["access_control_mode"] = "1";
    fake->nvram["http_rmenable"] = "1";
    fake->nvram["ipv6_proto"] = "dhcp";
    json::Ptr obj = build();
    ASSERT_TRUE(obj);
    EXPECT_FALSE(has(obj, "trafficMeterEnabled"));
    EXPECT_FALSE(has(obj, "portForwarding"));
    EXPECT_FALSE(has(obj, "portTriggering"));
    ASSERT_TRUE(has(obj, "serviceVPN"));
    EXPECT_FALSE(is_true(obj, "serviceVPN"));
    EXPECT_FALSE(is_true(obj, "accessControl"));
    EXPECT_FALSE(is_true(obj, "remoteManagement"));
    ASSERT_TRUE(has(obj, "ipv6"));
    EXPECT_FALSE(is_true(obj, "ipv6"));
    EXPECT_EQ(text(obj, "ipv6Type"), "Disable");
    EXPECT_EQ(text(obj, "mode"), "AP");
}

TEST_F(RouterConfig, PortForwardingCountsEveryAtWhereverItStands) {
    fake->nvram["pf_services_tbl"] = "@a@@b c@ d@";
    json::Ptr obj = build();
    cJSON* pf = cJSON_GetObjectItem(obj.get(), "portForwarding");
    EXPECT_EQ(json::print_compact(pf), R"({"enabled":true,"ruleCount":5})");
}

TEST_F(RouterConfig, EmptyPortForwardingTableCountsZero) {
    json::Ptr obj = build();
    cJSON* pf = cJSON_GetObjectItem(obj.get(), "portForwarding");
    EXPECT_EQ(json::print_compact(pf), R"({"enabled":true,"ruleCount":0})");
}

TEST_F(RouterConfig, PortTriggeringFromItsKeys) {
    fake->nvram["fwpt_enable"] = "1";
    fake->nvram["fwpt_count"] = "3";
    json::Ptr obj = build();
    EXPECT_EQ(json::print_compact(cJSON_GetObjectItem(obj.get(), "portTriggering")),
              R"({"enabled":true,"ruleCount":3})");
}

TEST_F(RouterConfig, PptpGivesStaticIpAndDialOnDemand) {
    fake->nvram["wan_proto"] = "pptp";
    fake->nvram["pptp_dod"] = "1";
    json::Ptr wan = create_wan_config_obj(d);
    EXPECT_STREQ(json::get_string(wan.get(), "type"), "pptp");
    EXPECT_STREQ(json::get_string(wan.get(), "ipSetting"), "static");
    EXPECT_STREQ(json::get_string(wan.get(), "connectionMode"), "dial on demand");
}

TEST_F(RouterConfig, UnreadableWanSpeedFileLeavesTen) {
    fake->nvram["wan_ifname"] = "eth0";
    json::Ptr wan = create_wan_config_obj(d);
    EXPECT_STREQ(json::get_string(wan.get(), "wanPortSpeed"), "10");
}

TEST_F(RouterConfig, WanSpeedIsTheFirstTokenOfTheSpeedFile) {
    fake->nvram["wan_ifname"] = "eth0";
    fake->write("/sys/class/net/eth0/speed", "2500\textra\n");
    json::Ptr wan = create_wan_config_obj(d);
    EXPECT_STREQ(json::get_string(wan.get(), "wanPortSpeed"), "2500");
}

TEST_F(RouterConfig, WanInterfaceNameThatClimbsOutOfSysfsIsNotRead) {
    fake->nvram["wan_ifname"] = "../../etc";
    fake->write("/etc/speed", "99\n");
    json::Ptr wan = create_wan_config_obj(d);
    EXPECT_STREQ(json::get_string(wan.get(), "wanPortSpeed"), "10");
}

// Every branch puts its members in one order: type, connectionMode, ipSetting,
// dnsSetting, then the port and detection members.
TEST_F(RouterConfig, WanConfigMemberOrderIsTheSameForEveryBranch) {
    const std::string full =
        "type,connectionMode,ipSetting,dnsSetting,wanPortPreference,wanPortSpeed,wanDetection";
    fake->nvram["is_cable"] = "1";
    EXPECT_EQ(names(create_wan_config_obj(d).get()), full);
    fake->nvram["is_cable"] = "0";
    fake->nvram["enable_sta_mode"] = "1";
    EXPECT_EQ(names(create_wan_config_obj(d).get()), full);
    fake->nvram["enable_sta_mode"] = "0";
    for (const char* proto : {"dhcp", "static", "pppoe", "pptp", "l2tp"}) {
        fake->nvram["wan_proto"] = proto;
        fake->nvram["pppoe_dod"] = fake->nvram["pptp_dod"] = fake->nvram["l2tp_dod"] = "0";
        EXPECT_EQ(names(create_wan_config_obj(d).get()), full) << proto;
    }
}

TEST_F(RouterConfig, ApBranchWithStaticAddress) {
    fake->nvram["enable_ap_mode"] = "1";
    fake->nvram["ap_dyn_ip"] = "0";
    fake->nvram["ap_dyn_dns"] = "1";
    EXPECT_EQ(json::print_compact(create_wan_config_obj(d).get()),
              R"({"type":"static","connectionMode":"na","ipSetting":"static",)"
              R"("dnsSetting":"from ISP","wanPortPreference":"Internet Port",)"
              R"("wanPortSpeed":"10","wanDetection":"Manual"})");
}

TEST_F(RouterConfig, CableBranch) {
    fake->nvram["is_cable"] = "1";
    fake->nvram["wan_proto"] = "static";
    fake->nvram["wan_dns_sel"] = "1";
    fake->nvram["bond_wan"] = "1";
    fake->write("/usr/sbin/wandetect", "");
    EXPECT_EQ(json::print_compact(create_wan_config_obj(d).get()),
              R"({"type":"dhcp","connectionMode":"na","ipSetting":"static",)"
              R"("dnsSetting":"manual setting","wanPortPreference":"Multi-Gig Port",)"
              R"("wanPortSpeed":"10","wanDetection":"Auto"})");
}

TEST_F(RouterConfig, JapanesePppoeIsNamedByTheFletsSelection) {
    fake->nvram["sku_name"] = "JP";
    fake->nvram["wan_proto"] = "pppoe";
    fake->nvram["pppoe_flet_sel"] = "fletdisable";
    EXPECT_STREQ(json::get_string(create_wan_config_obj(d).get(), "type"), "pppoe");
    fake->nvram["pppoe_flet_sel"] = "fletenable";
    EXPECT_STREQ(json::get_string(create_wan_config_obj(d).get(), "type"), "mul-pppoe");
    fake->nvram["sku_name"] = "US";
    EXPECT_STREQ(json::get_string(create_wan_config_obj(d).get(), "type"), "pppoe");
}

TEST_F(RouterConfig, DialUpCodesAndUnknownCodeWithoutMember) {
    fake->nvram["wan_proto"] = "l2tp";
    const std::pair<const char*, const char*> cases[] = {
        {"0", "always on"}, {"1", "dial on demand"}, {"2", "maunally connect"}};
    for (const auto& [code, mode] : cases) {
        fake->nvram["l2tp_dod"] = code;
        EXPECT_STREQ(json::get_string(create_wan_config_obj(d).get(), "connectionMode"), mode);
    }
    fake->nvram["l2tp_dod"] = "7";
    json::Ptr wan = create_wan_config_obj(d);
    EXPECT_EQ(cJSON_GetObjectItem(wan.get(), "connectionMode"), nullptr);
    EXPECT_STREQ(json::get_string(wan.get(), "ipSetting"), "static");
}

TEST_F(RouterConfig, UnknownWanProtocolHasNeitherModeNorIpSetting) {
    fake->nvram["wan_proto"] = "wwan";
    EXPECT_EQ(names(create_wan_config_obj(d).get()),
              "type,dnsSetting,wanPortPreference,wanPortSpeed,wanDetection");
}

TEST_F(RouterConfig, WanProtocolIsCutTo127Characters) {
    fake->nvram["wan_proto"] = std::string(300, 'p');
    EXPECT_EQ(std::string(json::get_string(create_wan_config_obj(d).get(), "type")),
              std::string(127, 'p'));
}

TEST_F(RouterConfig, TrafficControlTypes) {
    fake->nvram["traffic_enable"] = "1";
    fake->nvram["traffic_control_type"] = "0";
    const char* words[] = {"traffic volume-nolimit", "traffic volume-download",
                           "traffic volume-bi-direction"};
    for (int dir = 0; dir < 3; ++dir) {
        fake->nvram["traffic_volume_ctrl_dir"] = std::to_string(dir);
        EXPECT_STREQ(json::get_string(create_traffic_ctrl_obj().get(), "controlType"), words[dir]);
    }
    fake->nvram["traffic_volume_ctrl_dir"] = "5";
    EXPECT_EQ(json::print_compact(create_traffic_ctrl_obj().get()), R"({"enabled":true})");
    fake->nvram["traffic_control_type"] = "1";
    EXPECT_STREQ(json::get_string(create_traffic_ctrl_obj().get(), "controlType"),
                 "connection time control");
}

TEST_F(RouterConfig, Ipv6TypeTable) {
    const std::pair<const char*, const char*> table[] = {{"autoconfig", "Auto config"},
                                                         {"6to4", "6to4 Tunnel"},
                                                         {"6rd", "6rd"},
                                                         {"passthrough", "Pass through"},
                                                         {"fixed", "Fixed"},
                                                         {"dhcp", "DHCP"},
                                                         {"pppoe", "PPPoE"},
                                                         {"dslite", "DS-lite"},
                                                         {"ipv6_plus", "MAP-E"},
                                                         {"", "Auto detect"},
                                                         {"other", "Auto detect"}};
    for (const auto& [proto, type] : table) {
        fake->nvram["ipv6_proto"] = proto;
        json::Ptr obj = build();
        EXPECT_TRUE(is_true(obj, "ipv6")) << proto;
        EXPECT_EQ(text(obj, "ipv6Type"), type);
    }
    fake->nvram["ipv6_proto"] = "disable";
    json::Ptr obj = build();
    EXPECT_FALSE(is_true(obj, "ipv6"));
    EXPECT_EQ(text(obj, "ipv6Type"), "Disable");
}

TEST_F(RouterConfig, ModeTakesTheFirstSettingThatHolds) {
    EXPECT_EQ(text(build(), "mode"), "Router");
    fake->nvram["wlg_wds_enable"] = "1";
    EXPECT_EQ(text(build(), "mode"), "Repeating");
    fake->nvram["enable_extender_mode"] = "1";
    EXPECT_EQ(text(build(), "mode"), "Extender");
    fake->nvram["enable_sta_mode"] = "1";
    EXPECT_EQ(text(build(), "mode"), "Bridge");
    fake->nvram["enable_ap_mode"] = "1";
    EXPECT_EQ(text(build(), "mode"), "AP");
}

TEST_F(RouterConfig, FeatureMembersAreLeftOutWithoutTheirFeature) {
    d.info.features = FeatureFlags{};
    json::Ptr obj = build();
    for (const char* name :
         {"advanceQos", "dynamicQos", "smartConnect", "hubCloud", "dynamicDNS", "serviceVPN",
          "dwnloader", "accessControl", "remoteManagement", "ipv6", "ipv6Type"})
        EXPECT_FALSE(has(obj, name)) << name;
    EXPECT_TRUE(has(obj, "mode"));
    // Mode and USB storage are recorded whatever the features.
    EXPECT_EQ(d.info.router_config.reported_groups, 2);
}

TEST_F(RouterConfig, FeatureMembersFollowTheProbedFeatures) {
    FeatureFlags f;
    f.traffic_classification = 1;
    RouterConfigFeatures r = router_config_features(f);
    EXPECT_EQ(r.qos, 1);
    EXPECT_EQ(r.smart_connect + r.hub_cloud + r.dynamic_dns + r.vpn_server + r.downloader +
                  r.access_control + r.remote_management + r.ipv6,
              0);
    f = FeatureFlags{};
    f.remote_access_cloud = 1;
    EXPECT_EQ(router_config_features(f).hub_cloud, 1);
    f = FeatureFlags{};
    f.openvpn = 1;
    EXPECT_EQ(router_config_features(f).vpn_server, 1);
    f = FeatureFlags{};
    f.download_manager = 1;
    EXPECT_EQ(router_config_features(f).downloader, 1);
    f = FeatureFlags{};
    f.not_cable_model = 1;
    r = router_config_features(f);
    EXPECT_EQ(r.smart_connect, 1);
    EXPECT_EQ(r.dynamic_dns, 1);
    EXPECT_EQ(r.access_control, 1);
    EXPECT_EQ(r.remote_management, 1);
    EXPECT_EQ(r.ipv6, 1);
    EXPECT_EQ(r.qos + r.hub_cloud + r.vpn_server + r.downloader, 0);
}

TEST_F(RouterConfig, LastReportedValuesAndGroupCounter) {
    fake->nvram["qos_enable"] = "1";
    fake->nvram["enable_band_steering"] = "1";
    fake->nvram["enable_sta_mode"] = "1";  // smart connect off in bridge mode
    d.info.usb_storage_present = 1;
    d.info.router_config.reported_groups = 40;
    build();
    const auto& last = d.info.router_config.last;
    EXPECT_EQ(last[LR_ADVANCE_QOS].value, "on");
    EXPECT_EQ(last[LR_ADVANCE_QOS].reported, 1);
    EXPECT_EQ(last[LR_DYNAMIC_QOS].value, "off");
    EXPECT_EQ(last[LR_SMART_CONNECT].value, "off");
    EXPECT_EQ(last[LR_MODE].value, "Bridge");
    EXPECT_EQ(last[LR_USB_STORAGE].value, "on");
    EXPECT_EQ(last[LR_USB_STORAGE].reported, 1);
    // 10 feature members (ipv6Type goes with ipv6), the mode and USB storage.
    EXPECT_EQ(d.info.router_config.reported_groups, 12);
}

TEST_F(RouterConfig, SmartConnectNeedsBandSteeringOutsideBridgeMode) {
    fake->nvram["enable_band_steering"] = "1";
    EXPECT_TRUE(is_true(build(), "smartConnect"));
    fake->nvram["enable_sta_mode"] = "1";
    EXPECT_FALSE(is_true(build(), "smartConnect"));
}

TEST_F(RouterConfig, RoamingAndNtpAndTimeZone) {
    json::Ptr obj = build();
    EXPECT_EQ(text(obj, "roaming"), "default");
    EXPECT_EQ(text(obj, "ntpConfig"), "user-preferred");  // a missing key too
    EXPECT_EQ(text(obj, "ntpPreferredServer"), "");
    EXPECT_EQ(text(obj, "timeZoneConfig"), "default");
    fake->nvram["higher_roaming_aggresive"] = "1";
    fake->nvram["ntp_enable_customized_server"] = "1";
    fake->nvram["ntp_customized_server"] = "time.example.invalid";
    fake->nvram["time_zone_state"] = "ManualConfigured";
    obj = build();
    EXPECT_EQ(text(obj, "roaming"), "agreesive");
    EXPECT_EQ(text(obj, "ntpConfig"), "user-preferred");
    EXPECT_EQ(text(obj, "ntpPreferredServer"), "time.example.invalid");
    EXPECT_EQ(text(obj, "timeZoneConfig"), "Manual");
    fake->nvram["ntp_enable_customized_server"] = "0";
    fake->nvram["time_zone_state"] = "AutoConfigured";
    obj = build();
    EXPECT_EQ(text(obj, "ntpConfig"), "default");
    EXPECT_EQ(text(obj, "ntpPreferredServer"), "");
    EXPECT_EQ(text(obj, "timeZoneConfig"), "Auto");
}

TEST_F(RouterConfig, Wifi11axMembers) {
    json::Ptr obj = build();
    EXPECT_EQ(text(obj, "11axEnable"), "false");  // never null on a fixed model
    EXPECT_EQ(text(obj, "11axEnable2G"), "false");
    fake->nvram["hwver"] = "VRE650";
    EXPECT_EQ(text(build(), "11axEnable"), "false");
    fake->nvram["wlh_hwmode"] = "11axa";
    fake->nvram["wli_hwmode"] = "11axa";
    obj = build();
    EXPECT_EQ(text(obj, "11axEnable"), "true");
    EXPECT_EQ(text(obj, "11axEnable2G"), "false");
    EXPECT_EQ(text(obj, "11axEnable5G"), "true");
    EXPECT_EQ(text(obj, "11axEnable6G"), "true");
    EXPECT_EQ(text(obj, "bh_240mhz"), "disabled");
}

TEST_F(RouterConfig, IotBandRule) {
    const std::tuple<const char*, const char*, const char*> cases[] = {{"1", "0", "2G"},
                                                                       {"0", "1", "5G"},
                                                                       {"1", "1", "2G,5G"},
                                                                       {"0", "0", "2G,5G"},
                                                                       {"", "1", "2G,5G"}};
    for (const auto& [g2, g5, band] : cases) {
        fake->nvram["iot_2g_enable"] = g2;
        fake->nvram["iot_5g_enable"] = g5;
        json::Ptr obj = build();
        EXPECT_STREQ(json::get_string(cJSON_GetObjectItem(obj.get(), "wifiIOT"), "frequencyBand"),
                     band);
    }
}

TEST_F(RouterConfig, SsidSetsRepeatTheEnableStateAsBroadcast) {
    fake->nvram["wla_wlanstate"] = "Enable";
    fake->nvram["wla_preset_ssid"] = "Home";
    fake->nvram["wla_secu_type"] = "WPA3";
    json::Ptr obj = build();
    EXPECT_EQ(json::print_compact(cJSON_GetObjectItem(obj.get(), "wifiMain")),
              R"({"enable":"yes","ssid":"Home","frequencyBand":"2G,5G","broadcast":"yes",)"
              R"("security":"WPA3"})");
    EXPECT_EQ(json::print_compact(cJSON_GetObjectItem(obj.get(), "wifiGuest")),
              R"({"enable":"no","ssid":"","frequencyBand":"2G,5G","broadcast":"no",)"
              R"("security":""})");
}

TEST_F(RouterConfig, RemotePixieFollowsTheClaimedFlag) {
    fake->nvram["q_agent_claimed"] = "1";
    EXPECT_TRUE(is_true(build(), "remotePixieEnabled"));
    fake->nvram["q_agent_claimed"] = "0";
    EXPECT_FALSE(is_true(build(), "remotePixieEnabled"));
}

TEST_F(RouterConfig, CircleValuesComeFromZt) {
    fake->write("/usr/bin/zt", "");
    fake->on_prefix("zt -s circlecfg.circleId ", FakeBackend::outputs("circle-1\n"));
    json::Ptr obj = build();
    EXPECT_EQ(text(obj, "circleFeatureVersion"), "2");
    EXPECT_EQ(text(obj, "circleV2CircleID"), "circle-1");
    EXPECT_EQ(text(obj, "circleV2Cuuid"), "");
    EXPECT_EQ(fake->commands_containing("zt -s circlecfg.").size(), 5u);
    EXPECT_EQ(fake->commands_containing("zt -s dalspcra.").size(), 3u);
}

TEST_F(RouterConfig, FiveKilobyteZtValueIsCutToTheReadBuffer) {
    fake->write("/usr/bin/zt", "");
    fake->on_prefix("zt -s circlecfg.cloudhost ", FakeBackend::outputs(std::string(5000, 'h')));
    json::Ptr obj = build();
    EXPECT_EQ(text(obj, "circleV2CloudHost"), std::string(511, 'h'));
}

TEST_F(RouterConfig, MemberOrder) {
    fake->write("/usr/bin/zt", "");
    fake->nvram["ipv6_proto"] = "dhcp";
    json::Ptr obj = build();
    EXPECT_EQ(names(obj.get()),
              "enabledDaisy,roaming,advanceQos,dynamicQos,smartConnect,circleFeatureVersion,"
              "circleV2ActivationConfig,circleV2EnableConfig,circleV2ProvisionHardwareURL,"
              "circleV2CircleID,circleV2Cuuid,circleV2AgentVersion,circleV2DBVersion,"
              "circleV2CloudHost,ntpConfig,ntpPreferredServer,timeZoneConfig,"
              "trafficMeterEnabled,wanConfig,portForwarding,portTriggering,shieldActivate,"
              "shieldEnable,shieldAgentVersion,shieldSubscriptionStatus,"
              "shieldSubscriptionExpirationDate,shieldSubscriptionType,shieldBdAgentStatus,"
              "shieldRegistrationStatus,shieldGusterVersion,routerProtectLicenseStatus,"
              "routerProtectEnabled,hubCloud,dynamicDNS,serviceVPN,dwnloader,accessControl,"
              "remoteManagement,ipv6,ipv6Type,mode,remotePixieEnabled,11axEnable,11axEnable2G,"
              "11axEnable5G,11axEnable6G,bh_240mhz,wifiMain,wifiGuest,wifiIOT");
}

// --- golden documents of the simulator's routers ---------------------------------------

namespace {

std::filesystem::path golden_path(const std::string& name) {
    return std::filesystem::path(__FILE__).parent_path().parent_path() / "golden" / name;
}

void expect_golden(const std::string& name, const std::string& text) {
    std::filesystem::path path = golden_path(name);
    std::ifstream in(path, std::ios::binary);
    ASSERT_TRUE(in) << "missing golden file " << path;
    std::stringstream golden;
    golden << in.rdbuf();
    EXPECT_EQ(text, golden.str()) << "differs from " << path;
}

std::string scenario_router_config(const std::string& scenario) {
    FakeRouter fake;
    sim_fixture::Scenario router(*fake, scenario);
    Daemon d;
    testing::internal::CaptureStdout();
    d.info.sku_name = fake->nvram["sku_name"];
    detect_features(d);
    json::Ptr obj = create_router_config_obj(d);
    testing::internal::GetCapturedStdout();
    return json::print_string(obj.get()) + "\n";
}

}  // namespace

TEST(RouterConfigGolden, Vra420) {
    expect_golden("router_config_vra420.json", scenario_router_config("vra420"));
}

TEST(RouterConfigGolden, Vre650) {
    expect_golden("router_config_vre650.json", scenario_router_config("vre650"));
}

TEST(RouterConfigGolden, Vre670) {
    expect_golden("router_config_vre670.json", scenario_router_config("vre670"));
}
