#include "report/policy.h"

#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <string>

#include "core/daemon.h"
#include "support/fake_backend.h"

namespace {

using testing_support::FakeRouter;

const std::string kPath = kPolicyFile;
const std::string kOpenLine = "open " + kPath + " ok\n";
const std::string kFailedOpen = "Failed to open " + kPath + "! Use default!\n";

// Loads the policy and returns what it printed.
std::string load(Daemon& d, int reset = 1) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(load_DRI_interval(d, reset), 0);
    return testing::internal::GetCapturedStdout();
}

std::string load_text(FakeRouter& fake, Daemon& d, const std::string& text, int reset = 1) {
    fake->write(kPolicyFile, text);
    return load(d, reset);
}

void expect_default_schedule(const Policy& p) {
    for (int i = 0; i < kScheduleRows; ++i) {
        uint32_t want = (i == ROW_USER_OPTION || i == ROW_AVS_ANALYTIC) ? 86400u : 1440u;
        EXPECT_EQ(p.rows[static_cast<size_t>(i)].interval, want) << "row " << i;
    }
    EXPECT_EQ(p.wifi_event_log_level, 2);
    EXPECT_EQ(p.wifi_event_max_number, 2);
    EXPECT_EQ(p.wifi_event_send_interval, 43200u);
    EXPECT_EQ(p.cpu_threshold_high, 1440);
    EXPECT_EQ(p.memory_utilization_duration, 1440);
}

// Defaults of a load whose file was read but supplied nothing.
void expect_empty_document_settings(const Policy& p) {
    expect_default_schedule(p);
    EXPECT_EQ(p.stage, "prod");
    EXPECT_EQ(p.stage_class, 1);
    EXPECT_EQ(p.traffic_update_interval, 24);
    EXPECT_EQ(p.report_method, "none");
    EXPECT_EQ(p.daily_update_method, 0);
    EXPECT_EQ(p.stop_publish_count, 0);
    EXPECT_EQ(p.policy_version, "");
}

// What a load of a JSON value that holds none of the policy members prints.
std::string empty_document_output() {
    return "Can't get wifiConnectEvent\n"
           "\n[load_DRI_interval(13297)] Can't get stopPublishEventType array value \n"
           "Can't get eventLogPolicy\n"
           "traffic_info.update_interval : 24\n"
           "DRI_update_info.dailyUpdateMethod : 0\n";
}

std::string default_summary() {
    return "DRI update interval:\n"
           "routerInfo:   last_update: 0, interval: 1440\n"
           "routerConfig: last_update: 0, interval: 1440\n"
           "hubshare:   last_update: 0, interval: 1440\n"
           "mediaDevice:  last_update: 0, interval: 1440\n"
           "wifiAnalytics:  last_update: 0, interval: 1440\n"
           "connectedDeviceDetails: last_update: 0, interval: 1440\n"
           "wifiEventLogLevel: 2\n"
           "wifiEventMaxNumber: 2\n"
           "wifiEventSendInterval: 43200 seconds\n"
           "cpuUtilizations: threshold: 1440, duration: 0\n"
           "memoryUsage: threshold: 0, duration: 1440\n";
}

bool starts_with(const std::string& text, const std::string& prefix) {
    return text.rfind(prefix, 0) == 0;
}

}  // namespace

// ---- schedule rows -------------------------------------------------------------------

TEST(PolicyLoad, RouterInfoStringThirtyGives1800Seconds) {
    FakeRouter fake;
    Daemon d;
    load_text(fake, d, R"({"routerInfo": "30"})");
    EXPECT_EQ(d.policy.rows[ROW_ROUTER_INFO].interval, 1800u);
}

TEST(PolicyLoad, RouterInfoJsonNumberIsIgnored) {
    FakeRouter fake;
    Daemon d;
    load_text(fake, d, R"({"routerInfo": 30})");
    EXPECT_EQ(d.policy.rows[ROW_ROUTER_INFO].interval, 1440u);
}

TEST(PolicyLoad, EveryRowKeySetsItsRowInMinutes) {
    FakeRouter fake;
    Daemon d;
    load_text(fake, d,
              R"({"routerInfo":"1","routerConfig":"2","hubShare":"3","kernelReboot":"4",
                  "mediaDevice":"5","wifiAnalytics":"6","connectedDeviceDetails":"7",
                  "bandwidthInfo":"8","pixieAccess":"9","accountProfile":"10",
                  "internetBandwidth":"12"})");
    const auto& rows = d.policy.rows;
    EXPECT_EQ(rows[ROW_ROUTER_INFO].interval, 60u);
    EXPECT_EQ(rows[ROW_ROUTER_CONFIG].interval, 120u);
    EXPECT_EQ(rows[ROW_HUB_SHARE].interval, 180u);
    EXPECT_EQ(rows[ROW_KERNEL_REBOOT].interval, 240u);
    EXPECT_EQ(rows[ROW_MEDIA_DEVICE].interval, 300u);
    EXPECT_EQ(rows[ROW_WIFI_ANALYTICS].interval, 360u);
    EXPECT_EQ(rows[ROW_CONNECTED_DEVICES].interval, 420u);
    EXPECT_EQ(rows[ROW_BANDWIDTH].interval, 480u);
    EXPECT_EQ(rows[ROW_PIXIE_ACCESS].interval, 540u);
    EXPECT_EQ(rows[ROW_ACCOUNT_PROFILE].interval, 600u);
    EXPECT_EQ(rows[ROW_INTERNET_BANDWIDTH].interval, 720u);
    // Rows the policy does not name keep their defaults.
    EXPECT_EQ(rows[ROW_WIFI_EVENT_SEND].interval, 1440u);
    EXPECT_EQ(rows[11].interval, 1440u);
    EXPECT_EQ(rows[ROW_USER_OPTION].interval, 86400u);
    EXPECT_EQ(rows[ROW_AVS_ANALYTIC].interval, 86400u);
}

TEST(PolicyLoad, RowKeysMatchCaseInsensitively) {
    FakeRouter fake;
    Daemon d;
    load_text(fake, d, R"({"ROUTERINFO": "2"})");
    EXPECT_EQ(d.policy.rows[ROW_ROUTER_INFO].interval, 120u);
}

TEST(PolicyLoad, HugeIntervalSaturatesLikeAtoiAndWrapsTo32Bits) {
    FakeRouter fake;
    Daemon d;
    load_text(fake, d, R"({"routerInfo": "99999999999", "routerConfig": "-1"})");
    EXPECT_EQ(d.policy.rows[ROW_ROUTER_INFO].interval,
              static_cast<uint32_t>(int64_t{60} * INT_MAX));
    EXPECT_EQ(d.policy.rows[ROW_ROUTER_CONFIG].interval, static_cast<uint32_t>(-60));
}

TEST(PolicyLoad, ResetLoadZeroesLastUpdateOfEveryRow) {
    FakeRouter fake;
    Daemon d;
    for (auto& row : d.policy.rows) row.last_update = 500;
    load(d, 1);
    for (const auto& row : d.policy.rows) EXPECT_EQ(row.last_update, 0u);
}

TEST(PolicyLoad, ReloadKeepsLastUpdateAndTriggers) {
    FakeRouter fake;
    Daemon d;
    for (auto& row : d.policy.rows) {
        row.last_update = 500;
        row.trigger = 1;
        row.interval = 7;
    }
    load(d, 0);
    for (const auto& row : d.policy.rows) {
        EXPECT_EQ(row.last_update, 500u);
        EXPECT_EQ(row.trigger, 1u);
    }
    expect_default_schedule(d.policy);
}

// ---- settings sharing words with rows 17 and 18 ----------------------------------------

TEST(PolicyLoad, CpuThresholdHighAndMemoryDurationReturnTo1440OnEveryLoad) {
    FakeRouter fake;
    Daemon d;
    load_text(fake, d,
              R"({"eventLogPolicy":[{"cpuThresholdHigh":"80","memoryUtilizationsDuration":"5"}]})");
    EXPECT_EQ(d.policy.cpu_threshold_high, 80);
    EXPECT_EQ(d.policy.memory_utilization_duration, 5);
    fake->write(kPolicyFile, "{}");
    load(d, 0);
    EXPECT_EQ(d.policy.cpu_threshold_high, 1440);
    EXPECT_EQ(d.policy.memory_utilization_duration, 1440);
}

TEST(PolicyLoad, MemoryHighReturnsToZeroOnlyOnResetLoad) {
    FakeRouter fake;
    Daemon d;
    load_text(fake, d, R"({"eventLogPolicy":[{"memoryUtilizationsHigh":"85"}]})");
    EXPECT_EQ(d.policy.memory_utilization_high, 85);
    fake->write(kPolicyFile, "{}");
    load(d, 0);
    EXPECT_EQ(d.policy.memory_utilization_high, 85);
    load(d, 1);
    EXPECT_EQ(d.policy.memory_utilization_high, 0);
}

TEST(PolicyLoad, CpuThresholdDurationKeepsItsValueAcrossLoads) {
    FakeRouter fake;
    Daemon d;
    load_text(fake, d, R"({"eventLogPolicy":[{"cpuThresholdDuration":"15"}]})");
    EXPECT_EQ(d.policy.cpu_threshold_duration, 15);
    fake->write(kPolicyFile, "{}");
    load(d, 1);
    EXPECT_EQ(d.policy.cpu_threshold_duration, 15);
    fake->write(kPolicyFile, "");  // unusable file: still kept
    load(d, 1);
    EXPECT_EQ(d.policy.cpu_threshold_duration, 15);
}

TEST(PolicyLoad, AlarmDefaultsOnFirstLoadWithoutFile) {
    FakeRouter fake;
    Daemon d;
    d.policy.cpu_threshold_high = 1;
    d.policy.memory_utilization_duration = 2;
    d.policy.memory_utilization_high = 3;
    load(d, 1);
    EXPECT_EQ(d.policy.cpu_threshold_high, 1440);
    EXPECT_EQ(d.policy.cpu_threshold_duration, 0);
    EXPECT_EQ(d.policy.memory_utilization_high, 0);
    EXPECT_EQ(d.policy.memory_utilization_duration, 1440);
}

// ---- missing or unusable file -----------------------------------------------------------

TEST(PolicyLoad, MissingFileUsesDefaultsAndSkipsTheDocumentSteps) {
    FakeRouter fake;
    Daemon d;
    d.policy.stage = "beta";
    d.policy.stage_class = 2;
    fake->nvram["ra_WifiEventMaxNumber"] = "5";
    std::string out = load(d, 1);
    EXPECT_EQ(out, kFailedOpen + default_summary());
    expect_default_schedule(d.policy);
    EXPECT_EQ(d.policy.stage, "beta");  // keeps whatever it had
    EXPECT_EQ(d.policy.stage_class, 2);
    EXPECT_EQ(d.policy.report_method, "none");
    EXPECT_EQ(d.policy.stop_publish_count, 0);
    EXPECT_EQ(fake->console(), "");
    EXPECT_EQ(fake->nvram.count("ra_WifiEventRuleChanged"), 0u);  // no merge either
    EXPECT_EQ(d.policy.wifi_event_max_number, 2);
}

TEST(PolicyLoad, InvalidJsonPrintsErrorPosition) {
    FakeRouter fake;
    Daemon d;
    std::string out = load_text(fake, d, R"({"routerInfo": "30",, "x": 1})");
    EXPECT_EQ(out, R"(Not valid JSON string, Error before: [ "x": 1}])"
                   "\n" +
                       default_summary());
    EXPECT_EQ(fake->console(), kOpenLine);
    expect_default_schedule(d.policy);
}

TEST(PolicyLoad, EmptyFileIsInvalidJson) {
    FakeRouter fake;
    Daemon d;
    std::string out = load_text(fake, d, "");
    EXPECT_EQ(out, "Not valid JSON string, Error before: []\n" + default_summary());
    expect_default_schedule(d.policy);
}

// ---- Wi-Fi event rules ------------------------------------------------------------------

TEST(PolicyLoad, WifiConnectEventLastElementWins) {
    FakeRouter fake;
    Daemon d;
    load_text(fake, d, R"({"wifiConnectEvent":[
        {"wifiEventLogLevel":"1","wifiEventMaxNumber":"3","wifiEventSendInterval":"10"},
        {"wifiEventLogLevel":"4"}]})");
    EXPECT_EQ(d.policy.wifi_event_log_level, 4);
    EXPECT_EQ(d.policy.wifi_event_max_number, 3);
    EXPECT_EQ(d.policy.wifi_event_send_interval, 600u);
    EXPECT_EQ(fake->nvram["ra_WifiEventEnable"], "4");
    EXPECT_EQ(fake->nvram["ra_WifiEventRuleChanged"], "2");
}

TEST(PolicyLoad, WifiConnectEventNumbersAreTreatedAsAbsent) {
    FakeRouter fake;
    Daemon d;
    load_text(fake, d, R"({"wifiConnectEvent":[{"wifiEventLogLevel":1,"wifiEventMaxNumber":9}]})");
    EXPECT_EQ(d.policy.wifi_event_log_level, 2);
    EXPECT_EQ(d.policy.wifi_event_max_number, 2);
}

TEST(PolicyLoad, WifiConnectEventAbsentPrintsMessage) {
    FakeRouter fake;
    Daemon d;
    std::string out = load_text(fake, d, "{}");
    EXPECT_TRUE(starts_with(out, "Can't get wifiConnectEvent\n")) << out;
}

TEST(PolicyLoad, WifiConnectEventEmptyArrayPrintsArrayInvaild) {
    FakeRouter fake;
    Daemon d;
    std::string out = load_text(fake, d, R"({"wifiConnectEvent":[],"eventLogPolicy":[{}]})");
    EXPECT_TRUE(starts_with(out, "array invaild\n")) << out;
}

TEST(PolicyLoad, WifiEventMaxNumberNvramOverrideWinsAfterEveryLoad) {
    FakeRouter fake;
    Daemon d;
    fake->nvram["ra_WifiEventMaxNumber"] = "5";
    load_text(fake, d, R"({"wifiConnectEvent":[{"wifiEventMaxNumber":"3"}]})");
    EXPECT_EQ(d.policy.wifi_event_max_number, 5);
    EXPECT_EQ(fake->nvram["ra_WifiEventRuleChanged"], "0");
    load(d, 0);
    EXPECT_EQ(d.policy.wifi_event_max_number, 5);
    EXPECT_EQ(fake->nvram["ra_WifiEventRuleChanged"], "0");
    EXPECT_EQ(fake->nvram["ra_WifiEventMaxNumber"], "5");
}

TEST(WifiEventRuleMerge, OverridesSetTheirSettingsAndMarkRulesChangedZero) {
    FakeRouter fake;
    Policy p;
    fake->nvram["ra_WifiEventLogLevel"] = "3";
    fake->nvram["ra_WifiEventSendInterval"] = "15";
    fake->nvram["ra_WifiEventRuleChanged"] = "1";
    merge_wifi_event_rule(p);
    EXPECT_EQ(p.wifi_event_log_level, 3);
    EXPECT_EQ(p.wifi_event_max_number, 2);
    EXPECT_EQ(p.wifi_event_send_interval, 900u);
    EXPECT_EQ(fake->nvram["ra_WifiEventRuleChanged"], "0");
    EXPECT_EQ(fake->nvram["ra_WifiEventEnable"], "3");
    EXPECT_EQ(fake->nvram.count("ra_WifiEventLogLevel"), 1u);
}

TEST(WifiEventRuleMerge, RulesChangedOneRereadsPolicyAndClearsOverrides) {
    FakeRouter fake;
    Policy p;
    fake->write(kPolicyFile, R"({"wifiConnectEvent":[
        {"wifiEventLogLevel":"0","wifiEventMaxNumber":"7","wifiEventSendInterval":"2"},
        {"wifiEventLogLevel":"9"}]})");
    fake->nvram["ra_WifiEventRuleChanged"] = "1";
    fake->nvram["ra_WifiEventLogLevel"] = "";  // empty overrides do not count
    merge_wifi_event_rule(p);
    EXPECT_EQ(p.wifi_event_log_level, 0);  // first element only
    EXPECT_EQ(p.wifi_event_max_number, 7);
    EXPECT_EQ(p.wifi_event_send_interval, 120u);
    EXPECT_EQ(fake->nvram["ra_WifiEventRuleChanged"], "2");
    EXPECT_EQ(fake->nvram.count("ra_WifiEventLogLevel"), 0u);
    EXPECT_EQ(fake->nvram["ra_WifiEventEnable"], "0");
}

TEST(WifiEventRuleMerge, NoOverridesLeavesSettingsAndPublishesLevel) {
    FakeRouter fake;
    Policy p;
    p.wifi_event_log_level = 6;
    merge_wifi_event_rule(p);
    EXPECT_EQ(p.wifi_event_log_level, 6);
    EXPECT_EQ(fake->nvram.count("ra_WifiEventRuleChanged"), 0u);
    EXPECT_EQ(fake->nvram["ra_WifiEventEnable"], "6");
}

TEST(WifiEventRuleReader, TakesOnlyAnObjectFirstElementAndStringMembers) {
    FakeRouter fake;
    Policy p;
    fake->write("/tmp/rule.json",
                R"({"wifiConnectEvent":[{"wifiEventLogLevel":"5","wifiEventMaxNumber":8,
                    "wifiEventSendInterval":"3"}]})");
    read_wifi_event_rule(p, "/tmp/rule.json");
    EXPECT_EQ(p.wifi_event_log_level, 5);
    EXPECT_EQ(p.wifi_event_max_number, 2);
    EXPECT_EQ(p.wifi_event_send_interval, 180u);

    Policy q;
    fake->write("/tmp/rule.json", R"({"wifiConnectEvent":["x",{"wifiEventLogLevel":"5"}]})");
    read_wifi_event_rule(q, "/tmp/rule.json");
    EXPECT_EQ(q.wifi_event_log_level, 2);
}

TEST(WifiEventRuleReader, MissingOrBrokenFileChangesNothingSilently) {
    FakeRouter fake;
    Policy p;
    testing::internal::CaptureStdout();
    read_wifi_event_rule(p, "/tmp/none.json");
    fake->write("/tmp/bad.json", "{{{");
    read_wifi_event_rule(p, "/tmp/bad.json");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(p.wifi_event_log_level, 2);
}

// ---- stop-publish list ---------------------------------------------------------------------

TEST(PolicyLoad, StopPublishTwentyElementsStoresFirstSixteen) {
    FakeRouter fake;
    Daemon d;
    std::string list;
    for (int i = 0; i < 20; ++i) list += (i ? ",\"" : "\"") + std::to_string(100 + i) + "\"";
    std::string out = load_text(fake, d, "{\"stopPublishEventType\":[" + list + "]}");
    EXPECT_EQ(d.policy.stop_publish_count, 16);
    std::string printed;
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(d.policy.stop_publish[static_cast<size_t>(i)], 100 + i);
        printed += "stopPublishEventType value:" + std::to_string(100 + i) + "\n";
    }
    EXPECT_NE(out.find(printed), std::string::npos) << out;
    EXPECT_EQ(out.find("value:116"), std::string::npos);
}

TEST(PolicyLoad, StopPublishNonStringElementKeepsSlotButCounts) {
    FakeRouter fake;
    Daemon d;
    d.policy.stop_publish = {9, 9, 9};
    std::string out = load_text(fake, d, R"({"stopPublishEventType":["2", 3, "4"]})");
    EXPECT_EQ(d.policy.stop_publish_count, 3);
    EXPECT_EQ(d.policy.stop_publish[0], 2);
    EXPECT_EQ(d.policy.stop_publish[1], 9);
    EXPECT_EQ(d.policy.stop_publish[2], 4);
    EXPECT_NE(out.find("stopPublishEventType value:2\nstopPublishEventType value:4\n"),
              std::string::npos);
}

TEST(PolicyLoad, StopPublishNotAnArrayPrintsMessageAndKeepsList) {
    FakeRouter fake;
    Daemon d;
    d.policy.stop_publish_count = 1;
    d.policy.stop_publish[0] = 2;
    std::string out = load_text(fake, d, R"({"stopPublishEventType":"2"})");
    EXPECT_NE(
        out.find("\n[load_DRI_interval(13297)] Can't get stopPublishEventType array value \n"),
        std::string::npos);
    EXPECT_EQ(d.policy.stop_publish_count, 1);
}

TEST(PolicyLoad, StopPublishShorterListLowersCount) {
    FakeRouter fake;
    Daemon d;
    load_text(fake, d, R"({"stopPublishEventType":["1","2","3"]})");
    load_text(fake, d, R"({"stopPublishEventType":[]})");
    EXPECT_EQ(d.policy.stop_publish_count, 0);
}

// ---- event log policy, version, stage, traffic and publisher ---------------------------

TEST(PolicyLoad, EventLogPolicyElementsSetPlainValues) {
    FakeRouter fake;
    Daemon d;
    load_text(fake, d, R"({"eventLogPolicy":[
        {"cpuThresholdHigh":"90","cpuThresholdDuration":"10"},
        {"memoryUtilizationsHigh":"80","memoryUtilizationsDuration":"20","cpuThresholdHigh":"95"}]})");
    EXPECT_EQ(d.policy.cpu_threshold_high, 95);
    EXPECT_EQ(d.policy.cpu_threshold_duration, 10);
    EXPECT_EQ(d.policy.memory_utilization_high, 80);
    EXPECT_EQ(d.policy.memory_utilization_duration, 20);
}

TEST(PolicyLoad, EventLogPolicyAbsentAndEmptyMessages) {
    FakeRouter fake;
    Daemon d;
    std::string out = load_text(fake, d, R"({"wifiConnectEvent":[{}]})");
    EXPECT_NE(out.find("Can't get eventLogPolicy\n"), std::string::npos);
    out = load_text(fake, d, R"({"wifiConnectEvent":[{}],"eventLogPolicy":[]})");
    EXPECT_NE(out.find("array invaild\n"), std::string::npos);
    EXPECT_EQ(out.find("Can't get eventLogPolicy"), std::string::npos);
}

TEST(PolicyLoad, PolicyVersionIsCopiedAndPrinted) {
    FakeRouter fake;
    Daemon d;
    std::string out = load_text(fake, d, R"({"raePolicyVersion":"2.3"})");
    EXPECT_EQ(d.policy.policy_version, "2.3");
    EXPECT_NE(out.find("policyVersion: 2.3\n"), std::string::npos);
}

TEST(PolicyStage, NvramQaGivesStageQaAndClassTwo) {
    FakeRouter fake;
    Daemon d;
    fake->nvram["RA_stage"] = "qa";
    load_text(fake, d, R"({"stage":"beta"})");
    EXPECT_EQ(d.policy.stage, "qa");
    EXPECT_EQ(d.policy.stage_class, 2);
    EXPECT_EQ(fake->console(), kOpenLine + "awsiot stage: qa\n");
}

TEST(PolicyStage, PolicyQaWithoutNvramBecomesProdClassOne) {
    FakeRouter fake;
    Daemon d;
    fake->nvram["RA_stage"] = "";
    load_text(fake, d, R"({"stage":"qa"})");
    EXPECT_EQ(d.policy.stage, "prod");
    EXPECT_EQ(d.policy.stage_class, 1);
    EXPECT_EQ(fake->console(), kOpenLine + "awsiot stage: prod\n");
}

TEST(PolicyStage, BetaAndDevFromPolicyGiveClassTwo) {
    FakeRouter fake;
    Daemon d;
    load_text(fake, d, R"({"stage":"beta"})");
    EXPECT_EQ(d.policy.stage, "beta");
    EXPECT_EQ(d.policy.stage_class, 2);
    load_text(fake, d, R"({"stage":"dev"})");
    EXPECT_EQ(d.policy.stage, "dev");
    EXPECT_EQ(d.policy.stage_class, 2);
}

TEST(PolicyStage, UnknownNvramStageFallsBackToPolicy) {
    FakeRouter fake;
    Daemon d;
    fake->nvram["RA_stage"] = "staging";
    load_text(fake, d, R"({"stage":"dev"})");
    EXPECT_EQ(d.policy.stage, "dev");
    fake->nvram["RA_stage"] = "prod";
    load_text(fake, d, R"({"stage":"dev"})");
    EXPECT_EQ(d.policy.stage, "prod");
    EXPECT_EQ(d.policy.stage_class, 1);
}

TEST(PolicyStage, UnknownOrMissingStageBecomesProd) {
    FakeRouter fake;
    Daemon d;
    load_text(fake, d, R"({"stage":"Beta"})");  // values compare exactly
    EXPECT_EQ(d.policy.stage, "prod");
    EXPECT_EQ(d.policy.stage_class, 1);
    d.policy.stage = "dev";
    load_text(fake, d, R"({"stage": 2})");
    EXPECT_EQ(d.policy.stage, "prod");
}

TEST(PolicyTraffic, FiftyNineMinutesGiveOneHour) {
    FakeRouter fake;
    Daemon d;
    std::string out = load_text(fake, d, R"({"trafficMeter":"59"})");
    EXPECT_EQ(d.policy.traffic_update_interval, 1);
    EXPECT_NE(out.find("traffic_info.update_interval : 1\n"), std::string::npos);
}

TEST(PolicyTraffic, HundredTwentyMinutesGiveTwoHours) {
    FakeRouter fake;
    Daemon d;
    load_text(fake, d, R"({"trafficMeter":"120"})");
    EXPECT_EQ(d.policy.traffic_update_interval, 2);
}

TEST(PolicyTraffic, ZeroMinutesGiveOneHour) {
    FakeRouter fake;
    Daemon d;
    load_text(fake, d, R"({"trafficMeter":"0"})");
    EXPECT_EQ(d.policy.traffic_update_interval, 1);
}

TEST(PolicyTraffic, AbsentOrNumberGivesTwentyFourHours) {
    FakeRouter fake;
    Daemon d;
    d.policy.traffic_update_interval = 5;
    load_text(fake, d, R"({"trafficMeter":120})");
    EXPECT_EQ(d.policy.traffic_update_interval, 24);
    d.policy.traffic_update_interval = 5;
    load_text(fake, d, "{}");
    EXPECT_EQ(d.policy.traffic_update_interval, 24);
    load_text(fake, d, R"({"trafficMeter":"119"})");
    EXPECT_EQ(d.policy.traffic_update_interval, 1);
}

TEST(PolicyPublisher, ReportMethodCopiedAndPrinted) {
    FakeRouter fake;
    Daemon d;
    std::string out = load_text(fake, d, R"({"reportMethod":"MCS"})");
    EXPECT_EQ(d.policy.report_method, "MCS");
    EXPECT_NE(out.find("DRI_update_info.reportMethod : MCS\n"), std::string::npos);
}

TEST(PolicyPublisher, ReportMethodStaysNoneWithoutPolicy) {
    FakeRouter fake;
    Daemon d;
    std::string out = load_text(fake, d, R"({"reportMethod": 1})");
    EXPECT_EQ(d.policy.report_method, "none");
    EXPECT_EQ(out.find("reportMethod :"), std::string::npos);
}

TEST(PolicyPublisher, DailyUpdateMethodStringOrZero) {
    FakeRouter fake;
    Daemon d;
    std::string out = load_text(fake, d, R"({"dailyUpdateMethod":"3"})");
    EXPECT_EQ(d.policy.daily_update_method, 3);
    EXPECT_NE(out.find("DRI_update_info.dailyUpdateMethod : 3\n"), std::string::npos);
    load_text(fake, d, R"({"dailyUpdateMethod":3})");
    EXPECT_EQ(d.policy.daily_update_method, 0);
}

TEST(PolicyPublisher, InternetBandwidthSetsRowTwelve) {
    FakeRouter fake;
    Daemon d;
    load_text(fake, d, R"({"internetBandwidth":"45"})");
    EXPECT_EQ(d.policy.rows[ROW_INTERNET_BANDWIDTH].interval, 2700u);
}

// ---- the whole start-up output ------------------------------------------------------------

TEST(PolicySummary, StartupOutputMatchesTheFormatsExactly) {
    FakeRouter fake;
    Daemon d;
    std::string out = load_text(fake, d, R"({
        "routerInfo":"30", "routerConfig":"60", "hubShare":"120", "mediaDevice":"5",
        "wifiAnalytics":"10", "connectedDeviceDetails":"15",
        "wifiConnectEvent":[{"wifiEventLogLevel":"1","wifiEventMaxNumber":"4",
                             "wifiEventSendInterval":"30"}],
        "stopPublishEventType":["2","5"],
        "eventLogPolicy":[{"cpuThresholdHigh":"90","cpuThresholdDuration":"10",
                           "memoryUtilizationsHigh":"80","memoryUtilizationsDuration":"20"}],
        "raePolicyVersion":"1.0.7", "stage":"beta", "trafficMeter":"180",
        "internetBandwidth":"720", "reportMethod":"IoT", "dailyUpdateMethod":"1"})");
    EXPECT_EQ(out,
              "stopPublishEventType value:2\n"
              "stopPublishEventType value:5\n"
              "policyVersion: 1.0.7\n"
              "traffic_info.update_interval : 3\n"
              "DRI_update_info.reportMethod : IoT\n"
              "DRI_update_info.dailyUpdateMethod : 1\n"
              "DRI update interval:\n"
              "routerInfo:   last_update: 0, interval: 1800\n"
              "routerConfig: last_update: 0, interval: 3600\n"
              "hubshare:   last_update: 0, interval: 7200\n"
              "mediaDevice:  last_update: 0, interval: 300\n"
              "wifiAnalytics:  last_update: 0, interval: 600\n"
              "connectedDeviceDetails: last_update: 0, interval: 900\n"
              "wifiEventLogLevel: 1\n"
              "wifiEventMaxNumber: 4\n"
              "wifiEventSendInterval: 1800 seconds\n"
              "cpuUtilizations: threshold: 90, duration: 10\n"
              "memoryUsage: threshold: 80, duration: 20\n");
    EXPECT_EQ(fake->console(), kOpenLine + "awsiot stage: beta\n");
    EXPECT_EQ(d.policy.stage_class, 2);
    EXPECT_EQ(fake->nvram["ra_WifiEventEnable"], "1");
}

TEST(PolicySummary, LastUpdateOfAReloadIsPrinted) {
    FakeRouter fake;
    Daemon d;
    d.policy.rows[ROW_HUB_SHARE].last_update = 4242;
    std::string out = load(d, 0);
    EXPECT_NE(out.find("hubshare:   last_update: 4242, interval: 1440\n"), std::string::npos);
}

// ---- dbgLogsPolicy -------------------------------------------------------------------------

TEST(DbgLogsPolicy, SourceWithTextOneIsAllowed) {
    FakeRouter fake;
    fake->write(kPolicyFile, R"({"dbgLogsPolicy":{"satNotify":"1"}})");
    EXPECT_EQ(dbgLogsPolicy("satNotify"), 1);
    EXPECT_EQ(dbgLogsPolicy("SATNOTIFY"), 1);  // lookups ignore case
    EXPECT_EQ(dbgLogsPolicy("other"), 0);
}

TEST(DbgLogsPolicy, ElevenOrNumberOneIsNotAllowed) {
    FakeRouter fake;
    fake->write(kPolicyFile, R"({"dbgLogsPolicy":{"satNotify":"11","soapApi":1}})");
    EXPECT_EQ(dbgLogsPolicy("satNotify"), 0);
    EXPECT_EQ(dbgLogsPolicy("soapApi"), 0);
}

TEST(DbgLogsPolicy, MissingBrokenOrWrongShapeGivesZero) {
    FakeRouter fake;
    testing::internal::CaptureStdout();
    EXPECT_EQ(dbgLogsPolicy("satNotify"), 0);
    fake->write(kPolicyFile, R"({"dbgLogsPolicy":{"satNotify":"1")");
    EXPECT_EQ(dbgLogsPolicy("satNotify"), 0);
    fake->write(kPolicyFile, R"({"dbgLogsPolicy":[{"satNotify":"1"}]})");
    EXPECT_EQ(dbgLogsPolicy("satNotify"), 0);
    fake->write(kPolicyFile, R"({"satNotify":"1"})");
    EXPECT_EQ(dbgLogsPolicy("satNotify"), 0);
    EXPECT_EQ(dbgLogsPolicy(nullptr), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(DbgLogsPolicy, RereadsTheFileOnEveryCall) {
    FakeRouter fake;
    fake->write(kPolicyFile, R"({"dbgLogsPolicy":{"satNotify":"1"}})");
    EXPECT_EQ(dbgLogsPolicy("satNotify"), 1);
    fake->write(kPolicyFile, R"({"dbgLogsPolicy":{"satNotify":"0"}})");
    EXPECT_EQ(dbgLogsPolicy("satNotify"), 0);
}

// ---- hostile files: never a crash, always the defaults ------------------------------------

TEST(PolicyFuzz, EveryTruncationOfAPolicyFallsBackToDefaults) {
    const std::string full = R"({"routerInfo":"30","wifiConnectEvent":[{"wifiEventLogLevel":"1"}],)"
                             R"("stopPublishEventType":["2"],"stage":"beta","trafficMeter":"120"})";
    FakeRouter fake;
    for (size_t n = 0; n < full.size(); ++n) {
        Daemon d;
        std::string out = load_text(fake, d, full.substr(0, n));
        EXPECT_TRUE(starts_with(out, "Not valid JSON string, Error before: [")) << n << ": " << out;
        EXPECT_NE(out.find(default_summary()), std::string::npos) << n;
        expect_default_schedule(d.policy);
        EXPECT_EQ(d.policy.stage, "prod");
    }
}

TEST(PolicyFuzz, TenThousandNestedArraysAreRefused) {
    FakeRouter fake;
    Daemon d;
    std::string deep = "{\"routerInfo\":" + std::string(10000, '[') + std::string(10000, ']') + "}";
    std::string out = load_text(fake, d, deep);
    EXPECT_TRUE(starts_with(out, "Not valid JSON string, Error before: [")) << out.substr(0, 80);
    expect_default_schedule(d.policy);
}

TEST(PolicyFuzz, TenThousandNestedObjectsAreRefused) {
    FakeRouter fake;
    Daemon d;
    std::string deep;
    for (int i = 0; i < 10000; ++i) deep += "{\"wifiConnectEvent\":";
    deep += "\"1\"";
    deep += std::string(10000, '}');
    std::string out = load_text(fake, d, deep);
    EXPECT_TRUE(starts_with(out, "Not valid JSON string, Error before: [")) << out.substr(0, 80);
    expect_default_schedule(d.policy);
    EXPECT_EQ(dbgLogsPolicy("satNotify"), 0);
}

TEST(PolicyFuzz, NestingWithinTheParserLimitIsWalkedSafely) {
    FakeRouter fake;
    Daemon d;
    std::string inner = std::string(500, '[') + std::string(500, ']');
    std::string out =
        load_text(fake, d,
                  "{\"wifiConnectEvent\":[" + inner + "],\"eventLogPolicy\":" + inner +
                      ",\"stopPublishEventType\":[" + inner + "]}");
    expect_default_schedule(d.policy);
    EXPECT_EQ(d.policy.stop_publish_count, 1);
    EXPECT_EQ(d.policy.stop_publish[0], 0);
}

TEST(PolicyFuzz, NonObjectDocumentsGiveDefaults) {
    for (const char* text :
         {"[1,2,3]", "[{\"routerInfo\":\"30\"}]", "\"routerInfo\"", "42", "true", "null"}) {
        FakeRouter fake;
        Daemon d;
        std::string out = load_text(fake, d, text);
        EXPECT_EQ(out, empty_document_output() + default_summary()) << text;
        expect_empty_document_settings(d.policy);
        EXPECT_EQ(fake->console(), kOpenLine + "awsiot stage: prod\n");
    }
}

TEST(PolicyFuzz, BinaryGarbageGivesDefaults) {
    std::mt19937 rng(20260101);
    FakeRouter fake;
    for (int round = 0; round < 200; ++round) {
        Daemon d;
        std::string garbage(1 + rng() % 600, '\0');
        for (char& c : garbage) c = static_cast<char>(rng() & 0xff);
        garbage[0] = static_cast<char>(0x80 | (rng() & 0x7f));  // never starts a JSON value
        std::string out = load_text(fake, d, garbage);
        EXPECT_TRUE(starts_with(out, "Not valid JSON string, Error before: [")) << round;
        EXPECT_NE(out.find(default_summary()), std::string::npos) << round;
        expect_default_schedule(d.policy);
        EXPECT_EQ(d.policy.report_method, "none");
    }
}

TEST(PolicyFuzz, TextAfterAValidDocumentIsIgnoredLikeTheParser) {
    FakeRouter fake;
    Daemon d;
    load_text(fake, d, std::string(R"({"routerInfo":"30"})") + "\x01\xff garbage");
    EXPECT_EQ(d.policy.rows[ROW_ROUTER_INFO].interval, 1800u);
}

TEST(PolicyFuzz, WrongTypesEverywhereAreIgnored) {
    FakeRouter fake;
    Daemon d;
    std::string out = load_text(fake, d, R"({"routerInfo":null,"wifiConnectEvent":"x",
        "stopPublishEventType":{"a":"1"},"eventLogPolicy":7,"raePolicyVersion":[],
        "stage":{},"trafficMeter":[],"internetBandwidth":true,"reportMethod":{},
        "dailyUpdateMethod":null})");
    expect_empty_document_settings(d.policy);
    EXPECT_EQ(out,
              "array invaild\n"
              "\n[load_DRI_interval(13297)] Can't get stopPublishEventType array value \n"
              "array invaild\n"
              "traffic_info.update_interval : 24\n"
              "DRI_update_info.dailyUpdateMethod : 0\n" +
                  default_summary());
}
