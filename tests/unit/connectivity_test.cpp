#include "core/connectivity.h"

#include <gtest/gtest.h>

#include "core/daemon.h"
#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

class Connectivity : public ::testing::Test {
  protected:
    void SetUp() override {
        fake->nvram = {{"wan_ipaddr", "203.0.113.7"}, {"wan_gateway", "203.0.113.1"}};
        fake->now_wall = 1767225600;
    }
    std::string run_check() {
        testing::internal::CaptureStdout();
        check_internet_and_gateway(d);
        return testing::internal::GetCapturedStdout();
    }
    FakeRouter fake;
    Daemon d;
};

TEST_F(Connectivity, AnsweredPingsCountNothing) {
    fake->on_prefix("ping -4 -c 3 ", FakeBackend::outputs("3\n"));
    std::string out = run_check();
    EXPECT_EQ(d.info.internet_fail_count, 0);
    EXPECT_EQ(d.info.gateway_fail_count, 0);
    EXPECT_NE(out.find("check_connection: [ping -4 -c 3 www.google.com -I 203.0.113.7 | grep time "
                       "| wc -l > /tmp/ping_test]\n"),
              std::string::npos);
    EXPECT_NE(out.find("This is the line:::3\n::::\n"), std::string::npos);
}

TEST_F(Connectivity, PingWithoutTimeLineCountsAsFailure) {
    fake->on_prefix("ping -4 -c 3 ", FakeBackend::outputs("0\n"));
    std::string out = run_check();
    EXPECT_EQ(d.info.internet_fail_count, 1);
    EXPECT_EQ(d.info.gateway_fail_count, 1);
    EXPECT_NE(out.find("ping www.google.com fail, check internet connection fail count = 1\n"),
              std::string::npos);
    EXPECT_NE(out.find("ping 203.0.113.1, check gateway connection fail count = 1\n"),
              std::string::npos);
}

TEST_F(Connectivity, HostWithUnderscoreFailsTextCheck) {
    EXPECT_EQ(check_connection(d, "bad_host.example"), 1);
    EXPECT_TRUE(fake->commands.empty());
}

TEST_F(Connectivity, WanAddressOutOfRangeFailsWithoutPinging) {
    for (const char* addr : {"0.0.0.0", "10.0.0.255", "1.2.3", "1234.1.1.1"}) {
        fake->nvram["wan_ipaddr"] = addr;
        EXPECT_EQ(check_connection(d, "www.google.com"), 1) << addr;
    }
    EXPECT_TRUE(fake->commands.empty());
}

TEST_F(Connectivity, MissingResultIsInconclusiveAndHoldsOffTenMinutes) {
    FakeBackend::Response vanished;
    vanished.remove.push_back("/tmp/ping_test");
    fake->on_prefix("ping -4 -c 3 ", vanished);
    testing::internal::CaptureStdout();
    EXPECT_EQ(check_connection(d, "www.google.com"), -1);
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("\nretry 1, wait for ping www.google.com\n"), std::string::npos);
    EXPECT_EQ(fake->sleeps, std::vector<unsigned>{1});
    size_t ran = fake->commands.size();
    EXPECT_EQ(check_connection(d, "203.0.113.1"), 0);  // held off
    EXPECT_EQ(fake->commands.size(), ran);
    fake->now_wall += 600;
    fake->on_prefix("ping -4 -c 3 ", FakeBackend::outputs("2\n"));
    testing::internal::CaptureStdout();
    EXPECT_EQ(check_connection(d, "203.0.113.1"), 0);
    testing::internal::GetCapturedStdout();
    EXPECT_GT(fake->commands.size(), ran);
}

TEST_F(Connectivity, EmptyResultIsInconclusiveWithoutRetryMessage) {
    fake->on_prefix("ping -4 -c 3 ", FakeBackend::outputs(""));
    testing::internal::CaptureStdout();
    EXPECT_EQ(check_connection(d, "www.google.com"), -1);
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out.find("retry"), std::string::npos);
    EXPECT_EQ(d.info.last_inconclusive_test, fake->now_wall);
}

TEST_F(Connectivity, DialOnDemandSkipsInternetTestButNotGateway) {
    fake->nvram["wan_proto"] = "pppoe";
    fake->nvram["pppoe_dod"] = "1";
    fake->on_prefix("ping -4 -c 3 ", FakeBackend::outputs("0\n"));
    std::string out = run_check();
    EXPECT_NE(out.find("PPPoE/PPTP/L2TP is configured in dial on demand mode, do not do internet "
                       "connection check"),
              std::string::npos);
    EXPECT_EQ(d.info.internet_fail_count, 0);
    EXPECT_EQ(d.info.gateway_fail_count, 1);
    ASSERT_EQ(fake->commands.size(), 1u);
    EXPECT_NE(fake->commands[0].find("ping -4 -c 3 203.0.113.1 "), std::string::npos);
}

TEST_F(Connectivity, UnknownGatewayCountsWithoutPinging) {
    fake->nvram["wan_gateway"] = "0.0.0.0";
    fake->on_prefix("ping -4 -c 3 ", FakeBackend::outputs("3\n"));
    std::string out = run_check();
    EXPECT_EQ(d.info.gateway_fail_count, 1);
    EXPECT_NE(out.find("can not get gateway IP address, check gateway connection fail count = 1\n"),
              std::string::npos);
}

TEST_F(Connectivity, ApModeUsesLanAddressForCheckAndApGateway) {
    fake->nvram["enable_ap_mode"] = "1";
    fake->nvram["lan_ipaddr"] = "192.168.1.2";
    fake->nvram["wan_ipaddr"] = "0.0.0.0";  // not checked in AP mode, still named in -I
    fake->nvram["apmode_gateway"] = "192.168.1.1";
    fake->on_prefix("ping -4 -c 3 ", FakeBackend::outputs("3\n"));
    run_check();
    ASSERT_EQ(fake->commands.size(), 2u);
    EXPECT_EQ(fake->commands[1],
              "ping -4 -c 3 192.168.1.1 -I 0.0.0.0 | grep time | wc -l > /tmp/ping_test");
}

}  // namespace
