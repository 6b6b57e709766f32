#include "core/main_loop.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "core/daemon.h"
#include "json/json.h"
#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

constexpr const char* kPublishPrefix = "LD_LIBRARY_PATH=/usr/share /usr/bin/awsiotpub";
constexpr const char* kPolicy = "/tmp/media/persistent/router-analytics/RAE_Policy.json";

class MainLoop : public ::testing::Test {
  protected:
    void SetUp() override {
        fake->hwversion = "VRE670";
        fake->nvram = {{"hwver", "VRE670"},     {"RA_enable", "1"},
                       {"wan_status", "up"},    {"lan_macaddr", "AA:BB:CC:00:11:22"},
                       {"sku_name", "US"},      {"time_zone", "0"},
                       {"ra_test_trigger", "1"}};
        fake->mkdir("/tmp/telem_json_dir");
        // This boot's kernel reboot report has gone out already, so the passes here
        // publish only what each test is about.
        fake->write("/tmp/first_kernel_ra", "");
        fake->set_uci("/tmp", "devices", "config lists 'lists'\n\tlist mac '001122334455'\n");
        fake->write(kPolicy,
                    R"({"reportMethod":"IoT","routerInfo":"10","connectedDeviceDetails":"10"})");
        fake->on_exact("version > /tmp/version", FakeBackend::outputs("Firmware\nV1/1.2.3.4/x\n"));
        fake->on_exact("burnsn 2>/tmp/serial_num.txt",
                       FakeBackend::outputs("serial number is SN123\n"));
        fake->on_prefix("ps | grep 'telem_heartbeat'",
                        FakeBackend::outputs("1 root telem_heartbeat\n"));
        publisher_says("Publish done\n");
        // Only the reports these tests count are published.
        d.bodies.wifiAnalytics = nullptr;
    }
    void publisher_says(const std::string& log) {
        fake->on_prefix(kPublishPrefix, [this, log](const std::string& cmd) {
            size_t f = cmd.find(" -f ");
            std::string file = cmd.substr(f + 4, cmd.find(' ', f + 4) - f - 4);
            sent.push_back({file, fake->read(file).value_or("")});
            return FakeBackend::outputs(log);
        });
    }
    void start() {
        testing::internal::CaptureStdout();
        prepare_daemon(d);
        out += testing::internal::GetCapturedStdout();
    }
    void passes(int n) {
        testing::internal::CaptureStdout();
        for (int i = 0; i < n; ++i) run_pass(d);
        out += testing::internal::GetCapturedStdout();
    }
    size_t count(const std::string& text) const {
        size_t n = 0;
        for (size_t p = out.find(text); p != std::string::npos; p = out.find(text, p + 1)) ++n;
        return n;
    }
    std::vector<std::string> sent_files() const {
        std::vector<std::string> files;
        for (const auto& s : sent) files.push_back(s.first);
        return files;
    }

    FakeRouter fake;
    Daemon d;
    std::string out;
    std::vector<std::pair<std::string, std::string>> sent;  // published file, its content
};

TEST_F(MainLoop, ForcedInitTimeIsAnnouncedEveryPass) {
    fake->nvram["ra_test_init_report_time"] = "30";
    start();
    passes(3);
    EXPECT_EQ(count("\n[RAE]Randomized init time force to 30 secs\n"), 1u);
    EXPECT_EQ(count("\n[RAE]set init time force to 30 secs\n"), 3u);
    EXPECT_EQ(count("\n[RAE]Randomized init time is 30 secs\n"), 3u);
}

TEST_F(MainLoop, RandomDrawIsRestoredWhenNotForced) {
    fake->random_values = {79000 + 4321};
    start();
    passes(1);
    EXPECT_EQ(d.loop.init_report_draw, 4321);
    EXPECT_NE(out.find("\n[RAE]\n[start_telemjson_deamon,"), std::string::npos);
    EXPECT_NE(out.find("]set init_report_interval to init_random_report_interval\n"),
              std::string::npos);
    EXPECT_NE(out.find("\n[RAE]Randomized init time is 4321 secs\n"), std::string::npos);
    EXPECT_EQ(fake->seeded, static_cast<unsigned>(1767225600));
}

TEST_F(MainLoop, WanDownRequestsNoReportButWatchPhaseRuns) {
    fake->nvram["wan_status"] = "down";
    fake->nvram.erase("ra_test_trigger");
    start();
    passes(1);
    EXPECT_NE(out.find("\n[RAE]WAN connection fail, wait 1 min then retry"), std::string::npos);
    EXPECT_TRUE(sent.empty());
    EXPECT_EQ(std::count(fake->sleeps.begin(), fake->sleeps.end(), 5u), 120);
}

TEST_F(MainLoop, ApModeCountsAsWanUpWhenProbePassed) {
    fake->nvram["wan_status"] = "down";
    fake->nvram["enable_ap_mode"] = "1";
    start();  // the ping probe answers with status 0
    passes(1);
    EXPECT_EQ(out.find("WAN connection fail"), std::string::npos);
    EXPECT_FALSE(sent.empty());
}

TEST_F(MainLoop, ApModeWithFailedProbeIsWanDown) {
    fake->nvram["wan_status"] = "down";
    fake->nvram["enable_ap_mode"] = "1";
    fake->on_prefix("ping -4 -c 2 ", FakeBackend::outputs("", 256));
    start();
    passes(1);
    EXPECT_NE(out.find("WAN connection fail"), std::string::npos);
}

TEST_F(MainLoop, SignalPresentAtBootIsDroppedWithoutReport) {
    fake->nvram["check_fw_bootup"] = "1";
    fake->write("/tmp/telem_signal", "");
    fake->write("/tmp/telem_signal_not_trigger", "");
    d.bodies.firmwareUpgradeAnalytics = [](Daemon&) { return json::object(); };
    start();
    passes(1);
    EXPECT_FALSE(fake->exists("/tmp/telem_signal"));
    EXPECT_FALSE(fake->exists("/tmp/telem_signal_not_trigger"));
    EXPECT_EQ(fake->nvram["check_fw_bootup"], "0");
    EXPECT_EQ(out.find("receive trigger signal from check_fw"), std::string::npos);
    for (const auto& f : sent_files()) EXPECT_EQ(f.find("_2.json"), std::string::npos);
}

TEST_F(MainLoop, TriggerFileIsServedOnce) {
    d.bodies.firmwareUpgradeAnalytics = [](Daemon&) {
        json::Ptr o = json::object();
        json::add_string(o.get(), "fwCheckResult", "no error");
        return o;
    };
    start();
    fake->write("/tmp/telem_signal", "");
    passes(4);
    EXPECT_FALSE(fake->exists("/tmp/telem_signal"));
    EXPECT_EQ(count("receive trigger signal from check_fw\n"), 1u);
    auto files = sent_files();
    EXPECT_EQ(std::count(files.begin(), files.end(), "/tmp/telem_json_dir/telem_VRE670_2.json"), 1);
}

TEST_F(MainLoop, NotTriggerFileIsServedOnce) {
    d.bodies.firmwareUpgradeAnalytics = [](Daemon&) { return json::object(); };
    start();
    fake->write("/tmp/telem_signal_not_trigger", "");
    passes(3);
    EXPECT_FALSE(fake->exists("/tmp/telem_signal_not_trigger"));
    EXPECT_EQ(count("receive not-trigger signal from check_fw\n"), 1u);
}

TEST_F(MainLoop, SsoTriggerNeedsSsoEnabled) {
    d.bodies.ssorapLoginEvent = [](Daemon&) { return json::object(); };
    start();
    fake->write("/tmp/telem_sso", "");
    passes(1);
    EXPECT_TRUE(fake->exists("/tmp/telem_sso"));
    fake->nvram["SSO_enable"] = "1";
    passes(1);
    EXPECT_FALSE(fake->exists("/tmp/telem_sso"));
    EXPECT_EQ(count("receive trigger signal from SSO\n"), 1u);
}

TEST_F(MainLoop, AnalyticsOffRequestsOnlyTheRoutineReport) {
    fake->nvram["RA_enable"] = "0";
    d.info.cpu_alarm = 0;
    start();
    passes(3);
    ASSERT_FALSE(sent.empty());
    for (const auto& f : sent_files()) EXPECT_EQ(f, "/tmp/telem_json_dir/telem_VRE670_1.json");
    EXPECT_TRUE(fake->commands_containing("cat /proc/meminfo > /tmp/meminfo").size() > 0);
    EXPECT_TRUE(fake->commands_containing("top -n 1").empty());  // no collection pass
}

TEST_F(MainLoop, AnalyticsUndecidedRequestsNothing) {
    fake->nvram["RA_enable"] = "2";
    start();
    passes(3);
    EXPECT_TRUE(sent.empty());
}

TEST_F(MainLoop, PublisherFailureSequenceResendsThenRebuildsThenSecondCycle) {
    publisher_says("ERROR: connection refused\n");
    start();
    passes(1);
    ASSERT_EQ(sent.size(), 1u);
    std::string first = sent[0].second;
    // Three re-sends of the same file, 20 s apart.
    passes(3);
    ASSERT_EQ(sent.size(), 4u);
    for (size_t i = 1; i < 4; ++i) {
        EXPECT_EQ(sent[i].first, "/tmp/telem_json_dir/telem_VRE670_1.json");
        EXPECT_EQ(sent[i].second, first);
    }
    EXPECT_EQ(count("start_telemjson_deamon(612)retry sleep 20 seconds\n"), 3u);
    EXPECT_EQ(d.publish.retry[1].phase, 1);
    // Backing off: the ten-minute wait.
    EXPECT_EQ(count("\n[RAE]*** Wait 60 min for retry again  ***"), 1u);
    EXPECT_EQ(fake->sleeps.back(), 600u);
    // The next pass builds a fresh report, whose failures count in the second cycle.
    passes(1);
    ASSERT_EQ(sent.size(), 5u);
    EXPECT_EQ(d.publish.retry[1].second, 1);
    passes(3);
    ASSERT_EQ(sent.size(), 8u);
    for (size_t i = 5; i < 8; ++i) EXPECT_EQ(sent[i].second, sent[4].second);
    EXPECT_EQ(d.publish.retry[1].second, 0);
    EXPECT_EQ(d.publish.retry[1].phase, 0);
    EXPECT_EQ(fake->nvram["awsiot_retry_count"], "8");
}

TEST_F(MainLoop, StopPublishListHoldsBackRoutineReports) {
    fake->write(kPolicy, R"({"reportMethod":"IoT","stopPublishEventType":["1"]})");
    start();
    passes(5);
    EXPECT_TRUE(sent.empty());
    EXPECT_GE(count("stop send event type 1 event. \n"), 1u);
}

TEST_F(MainLoop, PrSkuNeverPublishesAcrossPasses) {
    fake->nvram["sku_name"] = "PR";
    start();
    passes(5);
    EXPECT_TRUE(sent.empty());
}

TEST_F(MainLoop, HeartbeatIsRestartedWhenMissing) {
    fake->on_prefix("ps | grep 'telem_heartbeat'", FakeBackend::outputs("1 root other\n"));
    start();
    passes(1);
    auto kill = std::find(fake->commands.begin(), fake->commands.end(), "killall telem_heartbeat");
    ASSERT_NE(kill, fake->commands.end());
    ASSERT_NE(kill + 1, fake->commands.end());
    EXPECT_EQ(*(kill + 1), "telem_heartbeat &");
}

TEST_F(MainLoop, HeartbeatLeftAloneWhenRunning) {
    start();
    passes(1);
    EXPECT_TRUE(fake->commands_containing("killall telem_heartbeat").empty());
}

TEST_F(MainLoop, TestTriggerEndsWatchPhaseOnThirteenthTick) {
    start();
    passes(1);
    EXPECT_EQ(std::count(fake->sleeps.begin(), fake->sleeps.end(), 5u), 13);
}

TEST_F(MainLoop, PerCoreCpuUsageCommandsAndMessages) {
    fake->on_prefix("mpstat -P 0 |", FakeBackend::outputs("12.5\n"));
    start();
    passes(1);
    EXPECT_EQ(fake->commands_containing("mpstat -P 2 | tail -n 1 | awk '{print 100 -  $ 12}' > "
                                        "/tmp/cpu2_usage")
                  .size(),
              1u);
    EXPECT_NE(out.find("[telem_json] cpu0_usage: 12.500000 count 12.500000\n"), std::string::npos);
    EXPECT_FALSE(fake->exists("/tmp/cpu0_usage"));
}

TEST_F(MainLoop, CpuOverrideThresholdMessage) {
    fake->nvram["telem_high_cpu_percent"] = "10";
    for (int c = 0; c < 4; ++c)
        fake->on_prefix("mpstat -P " + std::to_string(c) + " |", FakeBackend::outputs("50\n"));
    start();
    passes(1);
    EXPECT_NE(out.find("[telem_json] The CPU usage has reached 10%, current= 50.00 count 1\n"),
              std::string::npos);
}

TEST_F(MainLoop, MemorySamplingStoresWholeMebibytes) {
    fake->on_exact(
        "cat /proc/meminfo > /tmp/meminfo",
        FakeBackend::outputs("MemTotal:         1024000 kB\nMemFree:          512000 kB\n"
                             "MemAvailable:          600000 kB\nBuffers:             "
                             "1536 kB\nCached:            10240 kB\n"));
    start();
    testing::internal::CaptureStdout();
    sample_memory(d);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(d.info.mem_total, "1000");
    EXPECT_EQ(d.info.mem_free, "512");  // (512000+1536+10240)/1024 = 511.5 -> 512
    EXPECT_EQ(d.info.mem_used, "489");  // 500224 kB -> 488.5 -> 489
    EXPECT_NEAR(d.info.mem_used_percent, 48.85, 0.01);
}

TEST_F(MainLoop, FingPresenceIsProbedEveryPass) {
    start();
    passes(1);
    EXPECT_EQ(d.info.attached.fing_present, 0);
    fake->write("/usr/bin/fing_dil", "");
    passes(1);
    EXPECT_EQ(d.info.attached.fing_present, 1);
}

TEST_F(MainLoop, CpuAlarmInWatchPhaseIsReportedOnce) {
    fake->write(kPolicy,
                R"({"reportMethod":"IoT","routerInfo":"1440","connectedDeviceDetails":"1440",
                            "eventLogPolicy":[{"cpuThresholdHigh":"50","cpuThresholdDuration":"1"}]})");
    fake->on_prefix("mpstat -P ALL",
                    FakeBackend::outputs("Linux\n12:00:00 all 1 2 3 4 5 6 7 8 9 5.00\n"));
    int builds = 0;
    d.bodies.cpuUtilizations = [&builds](Daemon&) {
        ++builds;
        json::Ptr o = json::object();
        json::add_string(o.get(), "alarmReason", "cpu");
        return o;
    };
    fake->nvram.erase("ra_test_trigger");
    // The SOAP client answers at once, so the routine report's wait for it stays short.
    fake->nvram["soapc_sat_router_fire"] = "0";
    fake->nvram["soapc_action"] = "0";
    start();
    passes(1);
    auto files = sent_files();
    EXPECT_EQ(std::count(files.begin(), files.end(), "/tmp/telem_json_dir/telem_VRE670_2.json"), 1);
    EXPECT_EQ(builds, 1);
    // The pass asks once; the watch phase asks only when an alarm is counted, every 60 s
    // (ticks 12, 24, ... 108 of 120): 1 + 9 requests, all but the first stopped by the
    // mark file.
    EXPECT_EQ(d.info.cpu_alarm, 1);
    EXPECT_EQ(fake->commands_containing("echo 1 > /tmp/ra_cpu_alarm").size(), 1u);
    EXPECT_EQ(count("[create_device_json,12195]"), 10u);
}

TEST_F(MainLoop, HundredsOfPassesRunOnTheFakeClock) {
    start();
    passes(300);
    EXPECT_EQ(count("\n[RAE]Randomized init time is "), 300u);
    EXPECT_FALSE(sent.empty());
}

}  // namespace
