// The policy checker as a policy author runs it: the built tool on real files.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sandbox.h"
#include "support/temp_dir.h"

using testing_support::TempDir;

namespace {

const std::string kTool = std::string(TELEM_BIN_DIR) + "/telem_policy";
const std::string kRouterPath = "/tmp/media/persistent/router-analytics/RAE_Policy.json";

e2e::Outcome check(const TempDir& dir, const std::string& text,
                   const std::vector<std::string>& options = {}) {
    dir.write("policy.json", text);
    std::vector<std::string> argv{kTool};
    argv.insert(argv.end(), options.begin(), options.end());
    argv.push_back(dir.file("policy.json"));
    return e2e::run(argv);
}

bool has(const e2e::Outcome& o, const std::string& text) {
    return o.out.find(text) != std::string::npos;
}

const char* kGoodPolicy = R"({
    "raePolicyVersion": "7",
    "routerInfo": "30",
    "routerConfig": "60",
    "connectedDeviceDetails": "15",
    "internetBandwidth": "120",
    "wifiConnectEvent": [{"wifiEventLogLevel": "1", "wifiEventMaxNumber": "5",
                          "wifiEventSendInterval": "30"}],
    "stopPublishEventType": ["2", "4"],
    "eventLogPolicy": [{"cpuThresholdHigh": "90", "cpuThresholdDuration": "5",
                        "memoryUtilizationsHigh": "80", "memoryUtilizationsDuration": "10"}],
    "stage": "beta",
    "trafficMeter": "120",
    "reportMethod": "IoT",
    "dailyUpdateMethod": "1",
    "dbgLogsPolicy": {"satNotify": "1", "soapApi": "0"}
})";

}  // namespace

TEST(PolicyChecker, GoodPolicyIsUsedAndItsTableShown) {
    TempDir dir;
    e2e::Outcome o = check(dir, kGoodPolicy);
    EXPECT_EQ(o.status, 0) << o.out;
    EXPECT_TRUE(has(o, "--- effective policy: the file is used")) << o.out;
    // The daemon's own messages, console lines included.
    EXPECT_TRUE(has(o, "/dev/console: open " + kRouterPath + " ok\n")) << o.out;
    EXPECT_TRUE(has(o, "/dev/console: awsiot stage: beta\n")) << o.out;
    EXPECT_TRUE(has(o, "policyVersion: 7\n")) << o.out;
    EXPECT_TRUE(has(o, "stopPublishEventType value:4\n")) << o.out;
    EXPECT_TRUE(has(o, "DRI update interval:\n")) << o.out;
    // The table.
    EXPECT_TRUE(has(o, "row  0  routerInfo                     1800\n")) << o.out;
    EXPECT_TRUE(has(o, "row  1  routerConfig                   3600\n")) << o.out;
    EXPECT_TRUE(has(o, "row  2  hubShare                       1440\n")) << o.out;
    EXPECT_TRUE(has(o, "row  6  connectedDeviceDetails         900\n")) << o.out;
    EXPECT_TRUE(has(o, "row 12  internetBandwidth              7200\n")) << o.out;
    EXPECT_TRUE(has(o, "row 15  (avsAnalytic, fixed)           86400\n")) << o.out;
    EXPECT_TRUE(has(o, "cpuThresholdHigh 90, cpuThresholdDuration 5\n")) << o.out;
    EXPECT_TRUE(has(o, "memoryUtilizationsHigh 80, memoryUtilizationsDuration 10\n")) << o.out;
    EXPECT_TRUE(has(o, "stage: beta (class 2)\n")) << o.out;
    EXPECT_TRUE(has(o, "report method: IoT\n")) << o.out;
    EXPECT_TRUE(has(o, "daily update method: 1\n")) << o.out;
    EXPECT_TRUE(has(o, "traffic meter: every 2 hours\n")) << o.out;
    EXPECT_TRUE(has(o, "policy version: \"7\"\n")) << o.out;
    EXPECT_TRUE(has(o, "stop-publish event types (2): 2 4\n")) << o.out;
    EXPECT_TRUE(has(o,
                    "Wi-Fi events: log level 1, at most 5 files waiting, sent every 1800 "
                    "seconds\n"))
        << o.out;
    EXPECT_TRUE(has(o, "  satNotify: allowed\n")) << o.out;
    EXPECT_TRUE(has(o, "  soapApi: not allowed\n")) << o.out;
}

TEST(PolicyChecker, PartialPolicyKeepsDefaultsForWhatItLeavesOut) {
    TempDir dir;
    e2e::Outcome o = check(dir, R"({"routerInfo": "10"})");
    EXPECT_EQ(o.status, 0) << o.out;
    EXPECT_TRUE(has(o, "Can't get wifiConnectEvent\n")) << o.out;
    EXPECT_TRUE(has(o, "Can't get eventLogPolicy\n")) << o.out;
    EXPECT_TRUE(has(o, "Can't get stopPublishEventType array value")) << o.out;
    EXPECT_TRUE(has(o, "row  0  routerInfo                     600\n")) << o.out;
    EXPECT_TRUE(has(o, "row  1  routerConfig                   1440\n")) << o.out;
    EXPECT_TRUE(has(o, "stage: prod (class 1)\n")) << o.out;
    EXPECT_TRUE(has(o, "report method: none\n")) << o.out;
    EXPECT_TRUE(has(o, "traffic meter: every 24 hours\n")) << o.out;
    EXPECT_TRUE(has(o, "stop-publish event types (0):\n")) << o.out;
    EXPECT_TRUE(has(o,
                    "Wi-Fi events: log level 2, at most 2 files waiting, sent every 43200 "
                    "seconds\n"))
        << o.out;
    EXPECT_TRUE(has(o, "  satNotify: not allowed\n")) << o.out;
}

TEST(PolicyChecker, MembersOfTheWrongTypeAreIgnoredButTheFileIsUsed) {
    TempDir dir;
    e2e::Outcome o = check(dir, R"({"routerInfo": 30, "wifiConnectEvent": [],
        "stopPublishEventType": "1", "stage": "qa", "dbgLogsPolicy": {"satNotify": 1}})");
    EXPECT_EQ(o.status, 0) << o.out;
    EXPECT_TRUE(has(o, "row  0  routerInfo                     1440\n")) << o.out;
    EXPECT_TRUE(has(o, "array invaild\n")) << o.out;
    // A "qa" stage that only the policy names becomes "prod".
    EXPECT_TRUE(has(o, "stage: prod (class 1)\n")) << o.out;
    EXPECT_TRUE(has(o, "  satNotify: not allowed\n")) << o.out;
}

TEST(PolicyChecker, NvramOverridesShowInTheTable) {
    TempDir dir;
    e2e::Outcome o =
        check(dir, kGoodPolicy, {"-n", "RA_stage=qa", "-n", "ra_WifiEventMaxNumber=9"});
    EXPECT_EQ(o.status, 0) << o.out;
    EXPECT_TRUE(has(o, "stage: qa (class 2)\n")) << o.out;
    EXPECT_TRUE(has(o, "at most 9 files waiting")) << o.out;
    EXPECT_TRUE(has(o, "ra_WifiEventRuleChanged=0\n")) << o.out;
}

TEST(PolicyChecker, TextThatIsNotJsonFallsBackToDefaults) {
    TempDir dir;
    e2e::Outcome o = check(dir, R"({"routerInfo": "30",)");
    EXPECT_EQ(o.status, 1) << o.out;
    EXPECT_TRUE(has(o, "Not valid JSON string, Error before: [")) << o.out;
    EXPECT_TRUE(has(o, "--- effective policy: the file is NOT used, defaults stand")) << o.out;
    EXPECT_TRUE(has(o, "row  0  routerInfo                     1440\n")) << o.out;
}

TEST(PolicyChecker, MissingFileFallsBackToDefaults) {
    TempDir dir;
    e2e::Outcome o = e2e::run({kTool, dir.file("nowhere.json")});
    EXPECT_EQ(o.status, 1) << o.out;
    EXPECT_TRUE(has(o, "Failed to open " + kRouterPath + "! Use default!\n")) << o.out;
}

TEST(PolicyChecker, DirectoryInsteadOfFileFallsBackToDefaults) {
    TempDir dir;
    e2e::Outcome o = e2e::run({kTool, dir.path()});
    EXPECT_EQ(o.status, 1) << o.out;
}

TEST(PolicyChecker, HostileNestingAndBinaryNoiseFallBackWithoutCrash) {
    TempDir dir;
    e2e::Outcome deep = check(dir, std::string(200000, '[') + std::string(200000, ']'));
    EXPECT_EQ(deep.status, 1) << deep.out.substr(0, 400);
    std::string noise;
    for (unsigned i = 0; i < (1u << 20); ++i) noise += static_cast<char>((i * 7919u) % 251u);
    e2e::Outcome binary = check(dir, noise);
    EXPECT_EQ(binary.status, 1);
    EXPECT_TRUE(has(binary, "the file is NOT used"));
}

TEST(PolicyChecker, HostileValuesAreBoundedAsTheDaemonBoundsThem) {
    TempDir dir;
    std::string stops = "[";
    for (int i = 0; i < 20; ++i)
        stops += std::string(i ? "," : "") + "\"" + std::to_string(i) + "\"";
    stops += "]";
    e2e::Outcome o = check(dir, R"({"routerInfo": "-5", "trafficMeter": "99999999999",
        "stopPublishEventType": )" + stops +
                                    R"(, "reportMethod": ")" + std::string(5000, 'x') + R"("})");
    EXPECT_EQ(o.status, 0) << o.out.substr(0, 400);
    EXPECT_TRUE(has(o, "stop-publish event types (16): 0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15\n"));
    // -5 minutes is -300 seconds in an unsigned 32-bit word.
    EXPECT_TRUE(has(o, "row  0  routerInfo                     4294966996\n"))
        << o.out.substr(0, 400);
    EXPECT_TRUE(has(o, "traffic meter: every 35791394 hours\n"));
}

TEST(PolicyChecker, UsageErrorsGiveStatusTwo) {
    EXPECT_EQ(e2e::run({kTool}).status, 2);
    EXPECT_EQ(e2e::run({kTool, "-n", "=x", "f.json"}).status, 2);
    EXPECT_EQ(e2e::run({kTool, "a.json", "b.json"}).status, 2);
}
