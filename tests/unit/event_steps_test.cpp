// The reboot, USB, login and debug-log steps as the main loop runs them.
#include <gtest/gtest.h>

#include <algorithm>

#include "core/daemon.h"
#include "core/main_loop.h"
#include "json/json.h"
#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

constexpr const char* kPublishPrefix = "LD_LIBRARY_PATH=/usr/share /usr/bin/awsiotpub";

class EventSteps : public ::testing::Test {
  protected:
    void SetUp() override {
        fake->hwversion = "VRE670";
        fake->nvram = {{"hwver", "VRE670"},
                       {"RA_enable", "1"},
                       {"wan_status", "up"},
                       {"sku_name", "US"},
                       {"time_zone", "0"},
                       {"ra_test_trigger", "1"},
                       {"lan_macaddr", "AA:BB:CC:00:11:22"}};
        fake->mkdir("/tmp/telem_json_dir");
        fake->write("/tmp/media/persistent/router-analytics/RAE_Policy.json",
                    R"({"reportMethod":"IoT","routerInfo":"10","hubShare":"10"})");
        fake->on_prefix("ps | grep 'telem_heartbeat'",
                        FakeBackend::outputs("1 root telem_heartbeat\n"));
        fake->on_prefix(kPublishPrefix, [this](const std::string& cmd) {
            size_t f = cmd.find(" -f ");
            std::string file = cmd.substr(f + 4, cmd.find(' ', f + 4) - f - 4);
            sent.push_back({file, fake->read(file).value_or("")});
            return FakeBackend::outputs("Publish done\n");
        });
    }
    void run(int n) {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        prepare_daemon(d);
        for (int i = 0; i < n; ++i) run_pass(d);
        testing::internal::GetCapturedStdout();
        testing::internal::GetCapturedStderr();
    }
    // Published reports of event type `code` that carry the root member `name`.
    int published(int code, const char* name) {
        std::string file = "/tmp/telem_json_dir/telem_VRE670_" + std::to_string(code) + ".json";
        int n = 0;
        for (const auto& [path, content] : sent) {
            if (path != file) continue;
            json::Ptr doc = json::parse(content);
            if (cJSON_GetObjectItemCaseSensitive(doc.get(), name)) ++n;
        }
        return n;
    }
    FakeRouter fake;
    Daemon d;
    std::vector<std::pair<std::string, std::string>> sent;
};

}  // namespace

TEST_F(EventSteps, SsoTriggerPublishesOneLoginEvent) {
    fake->nvram["SSO_enable"] = "1";
    fake->nvram["SSO_event"] = "3";
    fake->write("/tmp/telem_sso", "");
    run(3);
    EXPECT_EQ(published(2, "ssorapLoginEvent"), 1);
    EXPECT_EQ(d.info.login_event, 0);
}

TEST_F(EventSteps, SsoTriggerWithoutAnalyticsRaisesNoLoginEvent) {
    fake->nvram["SSO_enable"] = "1";
    fake->nvram["RA_enable"] = "0";
    fake->write("/tmp/telem_sso", "");
    run(1);
    EXPECT_EQ(d.info.login_event, 0);
    EXPECT_FALSE(fake->exists("/tmp/telem_sso"));
}

TEST_F(EventSteps, FirstPassPublishesOneKernelRebootReport) {
    run(3);
    EXPECT_EQ(published(0, "kernelReboot"), 1);
    EXPECT_EQ(d.info.kernel_reboot_pending, 0);
    EXPECT_EQ(fake->commands_containing("reason: 0\" > ").size(), 1u);
}

TEST_F(EventSteps, BootAlreadyReportedRecordsNoReboot) {
    fake->write("/tmp/first_kernel_ra", "");
    run(2);
    EXPECT_EQ(published(0, "kernelReboot"), 0);
    EXPECT_TRUE(fake->commands_containing("reason:").empty());
}

TEST_F(EventSteps, UsbStickScannedInThePassGivesHubShareInItsRoutineReport) {
    fake->on_exact("cat /proc/bus/usb/devices >/tmp/usb_devices_info",
                   FakeBackend::outputs("T:  Bus=01 Lev=01 Prnt=01 Port=00 Cnt=01\n"
                                        "I:* If#= 0 Alt= 0 Driver=usb-storage\n"));
    run(1);
    EXPECT_EQ(published(1, "hubShare"), 1);
    EXPECT_EQ(d.info.usb_storage_present, 1);
}

TEST_F(EventSteps, WithoutUsbStorageNoHubShare) {
    run(1);
    EXPECT_EQ(published(1, "routerHardware"), 1);
    EXPECT_EQ(published(1, "hubShare"), 0);
}

TEST_F(EventSteps, SoapResultsAreHandedOverAfterTheReports) {
    fake->write("/tmp/soap/ra/DetectWANType", R"({"ReponsesCode ": "0"})");
    run(1);
    auto& c = fake->commands;
    auto mv =
        std::find(c.begin(), c.end(), "mv /tmp/telem_dbglog_file /tmp/event_ra/DetectWANType");
    auto rm = std::find(c.begin(), c.end(), "rm -rf /tmp/soap/ra/*");
    ASSERT_NE(mv, c.end());
    ASSERT_NE(rm, c.end());
    EXPECT_LT(mv, rm);
    auto pub = std::find_if(c.begin(), c.end(),
                            [](const std::string& s) { return s.rfind(kPublishPrefix, 0) == 0; });
    EXPECT_LT(pub, mv);
}
