#include "core/traffic_meter.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "core/daemon.h"
#include "core/main_loop.h"
#include "report/policy.h"
#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

constexpr const char* kPassFile = "/opt/persistent/router-analytics/traffic_min.txt";
constexpr const char* kHourFile = "/opt/persistent/router-analytics/traffic_hour.txt";

std::string ifconfig_text(unsigned long rx, unsigned long tx) {
    char text[256];
    std::snprintf(text, sizeof text,
                  "eth0      Link encap:Ethernet  HWaddr 00:11:22:33:44:55\n"
                  "          RX packets:10 errors:0 dropped:0 overruns:0 frame:0\n"
                  "          RX bytes:%lu (1.0 KiB)  TX bytes:%lu (2.0 KiB)\n\n",
                  rx, tx);
    return text;
}

// `echo "<line>" >><file>` appends the line, as the shell would.
void answer_echo_appends(FakeBackend& fake) {
    fake.on_prefix("echo \"", [&fake](const std::string& cmd) {
        size_t close = cmd.find("\" >>");
        std::string line = cmd.substr(6, close - 6);
        std::string file = cmd.substr(close + 4);
        FakeBackend::Response r;
        r.files[file] = fake.read(file).value_or("") + line + "\n";
        return r;
    });
}

size_t occurrences(const std::string& text, const std::string& what) {
    size_t n = 0;
    for (size_t p = text.find(what); p != std::string::npos; p = text.find(what, p + 1)) ++n;
    return n;
}

class TrafficMeterTest : public ::testing::Test {
  protected:
    void SetUp() override {
        fake->nvram = {{"wan_status", "up"},
                       {"wan_proto", "dhcp"},
                       {"enable_ap_mode", "0"},
                       {"wan_ifname", "eth0"}};
        answer_echo_appends(*fake);
        // Every ifconfig call advances the counters by rx_step / tx_step.
        fake->on_prefix("ifconfig ", [this](const std::string&) {
            rx += rx_step;
            tx += tx_step;
            return FakeBackend::outputs(ifconfig_text(rx, tx));
        });
    }
    std::string passes(int n) {
        testing::internal::CaptureStdout();
        for (int i = 0; i < n; ++i) update_traffic_meter(d);
        return testing::internal::GetCapturedStdout();
    }

    FakeRouter fake;
    Daemon d;
    unsigned long rx = 1000, tx = 500;
    unsigned long rx_step = 2048, tx_step = 1024;
};

TEST_F(TrafficMeterTest, FirstPassAppendsZeroLineAndDeletesBothFiles) {
    fake->write(kPassFile, "3-1,1\n");
    fake->write(kHourFile, "2-5,5\n");
    std::string out = passes(1);
    EXPECT_EQ(fake->read(kPassFile).value_or(""), "0-0,0\n");
    EXPECT_FALSE(fake->exists(kHourFile));
    EXPECT_EQ(d.info.traffic.initialized, 1);
    EXPECT_EQ(fake->commands_containing("ifconfig eth0 >/tmp/ifconfig.txt").size(), 1u);
    EXPECT_EQ(fake->commands_containing(
                      "echo \"0-0,0\" >>/opt/persistent/router-analytics/traffic_min.txt")
                  .size(),
              1u);
    EXPECT_NE(out.find("min:0\n"), std::string::npos);
    // The ifconfig output is left in place.
    EXPECT_TRUE(fake->exists("/tmp/ifconfig.txt"));
}

TEST_F(TrafficMeterTest, LaterPassesRecordDifferences) {
    passes(2);
    EXPECT_EQ(fake->read(kPassFile).value_or(""), "0-0,0\n1-1024,2048\n");
}

TEST_F(TrafficMeterTest, FirstHourlyLineInSeventhPass) {
    passes(6);
    EXPECT_FALSE(fake->exists(kHourFile));
    std::string out = passes(1);
    // Passes 2..7 each added 1024 sent and 2048 received bytes.
    EXPECT_EQ(fake->read(kHourFile).value_or(""), "1-6144,12288\n");
    EXPECT_FALSE(fake->exists(kPassFile));
    EXPECT_EQ(fake->commands_containing(
                      "echo \"1-6144,12288\" >>/opt/persistent/router-analytics/traffic_hour.txt")
                  .size(),
              1u);
    EXPECT_EQ(d.info.traffic.pass_count, 0);
    EXPECT_NE(out.find("min:0\n"), std::string::npos);
}

TEST_F(TrafficMeterTest, DailyTotalAfterTwentyFourHourlyLinesWithDefaultPolicy) {
    ASSERT_EQ(d.policy.traffic_update_interval, 24);
    tx_step = 1u << 20;  // 1 MiB a pass
    rx_step = 3u << 20;
    std::string out = passes(1 + 23 * 6);
    EXPECT_EQ(occurrences(out, "[RAE]one day"), 0u);
    EXPECT_EQ(d.info.traffic.hour_count, 23);
    out = passes(6);
    // 24 hours of 6 passes: 144 MiB sent, 432 MiB received.
    EXPECT_EQ(occurrences(out, "\n[RAE]one day - tx traffic 144.00 MB, rx traffic 432.00 MB\n"),
              1u);
    EXPECT_EQ(d.info.traffic.day_ready, 1);
    EXPECT_DOUBLE_EQ(d.info.traffic.day_tx, 144.0);
    EXPECT_DOUBLE_EQ(d.info.traffic.day_rx, 432.0);
    EXPECT_FALSE(fake->exists(kHourFile));
    EXPECT_EQ(d.info.traffic.hour_count, 0);
    passes(1);
    EXPECT_EQ(d.info.traffic.day_ready, 0);
}

TEST_F(TrafficMeterTest, TrafficMeterOfThirtyMinutesGivesOneHourlyLinePerDay) {
    fake->write(kPolicyFile, R"({"trafficMeter":"30"})");
    testing::internal::CaptureStdout();
    load_DRI_interval(d, 1);
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(d.policy.traffic_update_interval, 1);
    std::string out = passes(7);
    EXPECT_EQ(occurrences(out, "[RAE]one day"), 1u);
    out = passes(6);
    EXPECT_EQ(occurrences(out, "[RAE]one day"), 1u);
}

TEST_F(TrafficMeterTest, AccessPointModeWithDhcpReadsZeroCounters) {
    fake->nvram["enable_ap_mode"] = "1";
    passes(3);
    EXPECT_TRUE(fake->commands_containing("ifconfig").empty());
    EXPECT_EQ(fake->read(kPassFile).value_or(""), "0-0,0\n1-0,0\n2-0,0\n");
    WanCounters c = read_wan_counters();
    EXPECT_EQ(c.tx, 0u);
    EXPECT_EQ(c.rx, 0u);
}

TEST_F(TrafficMeterTest, PppProtocolsReadPpp0AndPrintTheCounters) {
    for (const char* proto : {"pppoe", "l2tp", "pptp"}) {
        fake->nvram["wan_proto"] = proto;
        fake->nvram["enable_ap_mode"] = "1";  // the mode does not matter for PPP
        fake->commands.clear();
        testing::internal::CaptureStdout();
        WanCounters c = read_wan_counters();
        std::string out = testing::internal::GetCapturedStdout();
        EXPECT_EQ(fake->commands, std::vector<std::string>{"ifconfig ppp0 >/tmp/ifconfig.txt"});
        EXPECT_EQ(c.rx, rx);
        EXPECT_EQ(c.tx, tx);
        EXPECT_NE(out.find("RX bytes : " + std::to_string(rx) + "\n"), std::string::npos);
        EXPECT_NE(out.find("TX bytes : " + std::to_string(tx) + "\n"), std::string::npos);
    }
}

TEST_F(TrafficMeterTest, WanDownRecordsZerosAndLeavesCountersAlone) {
    passes(2);
    fake->nvram["wan_status"] = "down";
    fake->commands.clear();
    passes(1);
    EXPECT_TRUE(fake->commands_containing("ifconfig").empty());
    EXPECT_EQ(fake->read(kPassFile).value_or(""), "0-0,0\n1-1024,2048\n1-0,0\n");
    EXPECT_EQ(d.info.traffic.pass_count, 1);
}

TEST_F(TrafficMeterTest, InterfaceResetGivesNegativeDifferenceRecordedAsIs) {
    passes(1);
    rx = 100 - rx_step;  // the next call reads rx 100, tx 1524 + ...
    tx = 0;
    passes(1);
    // rx went from 3048 to 100, tx from 1524 to 1024.
    EXPECT_EQ(fake->read(kPassFile).value_or(""), "0-0,0\n1--500,-2948\n");
}

TEST_F(TrafficMeterTest, CounterWrapAt32BitsIsPlainSubtraction) {
    rx = 4294967000ul - rx_step;
    passes(1);
    rx = 100 - rx_step;
    passes(1);
    // 100 - 4294967000 in 32 bits.
    EXPECT_EQ(fake->read(kPassFile).value_or(""), "0-0,0\n1-1024,396\n");
}

TEST_F(TrafficMeterTest, ForeignLinesInThePassFileAreSkipped) {
    passes(6);
    std::string text = fake->read(kPassFile).value_or("");
    fake->write(kPassFile, text + "garbage line\n" + std::string(300, 'x') + "\nabc,def\n");
    passes(1);
    EXPECT_EQ(fake->read(kHourFile).value_or(""), "1-6144,12288\n");
}

TEST_F(TrafficMeterTest, HourlySumsParseEveryNumberedLine) {
    passes(1);
    // Lines numbered within the hour are summed whatever their position.
    fake->write(kPassFile, "5-10,20\n0-1,2\n9-1000,1000\nz3-7,7\n");
    d.info.traffic.pass_count = 5;
    passes(1);
    // "9-..." matches no number up to 6; "z3-7,7" holds "3-" but does not scan.
    EXPECT_EQ(fake->read(kHourFile).value_or(""), "1-1035,2070\n");
}

TEST_F(TrafficMeterTest, DayTotalShiftsToKibThenDividesToMib) {
    fake->write(kPolicyFile, R"({"trafficMeter":"60"})");
    testing::internal::CaptureStdout();
    load_DRI_interval(d, 1);
    testing::internal::GetCapturedStdout();
    tx_step = 1048576 / 6 + 1;  // 174763 a pass: the shift drops the odd bytes
    rx_step = 1023;             // below one KiB a pass
    std::string out = passes(7);
    // tx: 1048578 >> 10 = 1024 KiB = 1.00 MiB; rx: 6138 >> 10 = 5 KiB.
    EXPECT_NE(out.find("tx traffic 1.00 MB, rx traffic 0.00 MB"), std::string::npos);
    EXPECT_DOUBLE_EQ(d.info.traffic.day_tx, 1.0);
    EXPECT_DOUBLE_EQ(d.info.traffic.day_rx, 5.0f / 1024.0f);
}

TEST_F(TrafficMeterTest, MissingHourFileGivesZeroTotals) {
    fake->write(kPolicyFile, R"({"trafficMeter":"60"})");
    testing::internal::CaptureStdout();
    load_DRI_interval(d, 1);
    testing::internal::GetCapturedStdout();
    passes(6);
    // The hour file cannot be written: the day total reads nothing.
    FakeBackend::Response lost;
    lost.remove = {kHourFile};
    fake->on_prefix("echo \"1-", lost);
    std::string out = passes(1);
    EXPECT_NE(out.find("tx traffic 0.00 MB, rx traffic 0.00 MB"), std::string::npos);
    EXPECT_EQ(d.info.traffic.day_ready, 1);
}

// The main loop: a day of passes with the default policy gives one daily total. The
// first pass only takes the counters' starting point, so the 24th hourly line (and
// the day's total) comes in the pass after the 144th.
class TrafficMeterDay : public ::testing::Test {
  protected:
    void SetUp() override {
        fake->hwversion = "VRE670";
        fake->nvram = {{"hwver", "VRE670"},     {"RA_enable", "1"},
                       {"wan_status", "up"},    {"wan_proto", "dhcp"},
                       {"enable_ap_mode", "0"}, {"wan_ifname", "eth0"},
                       {"sku_name", "US"},      {"lan_macaddr", "AA:BB:CC:00:11:22"},
                       {"ra_test_trigger", "1"}};
        fake->mkdir("/tmp/telem_json_dir");
        fake->write(kPolicyFile, R"({"reportMethod":"none"})");
        fake->on_prefix("ps | grep 'telem_heartbeat'",
                        FakeBackend::outputs("1 root telem_heartbeat\n"));
        answer_echo_appends(*fake);
        fake->on_prefix("ifconfig eth0 ", [this](const std::string&) {
            bytes += 1u << 20;
            return FakeBackend::outputs(ifconfig_text(bytes, bytes));
        });
    }
    FakeRouter fake;
    Daemon d;
    unsigned long bytes = 0;
};

TEST_F(TrafficMeterDay, ADayOfPassesGivesExactlyOneDailyTotal) {
    testing::internal::CaptureStdout();
    prepare_daemon(d);
    for (int i = 0; i < 144; ++i) run_pass(d);
    std::string day = testing::internal::GetCapturedStdout();
    EXPECT_EQ(occurrences(day, "[RAE]one day"), 0u);
    EXPECT_EQ(d.info.traffic.hour_count, 23);

    testing::internal::CaptureStdout();
    run_pass(d);
    std::string next = testing::internal::GetCapturedStdout();
    EXPECT_EQ(occurrences(next,
                          "\n[RAE]one day - tx traffic 144.00 MB, rx traffic "
                          "144.00 MB\n"),
              1u);

    // The next day's total needs another 144 passes.
    testing::internal::CaptureStdout();
    for (int i = 0; i < 143; ++i) run_pass(d);
    std::string after = testing::internal::GetCapturedStdout();
    EXPECT_EQ(occurrences(after, "[RAE]one day"), 0u);
}

}  // namespace
