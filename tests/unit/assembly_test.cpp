#include "report/assembly.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "core/daemon.h"
#include "json/json.h"
#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

constexpr const char* kPublishPrefix = "LD_LIBRARY_PATH=/usr/share /usr/bin/awsiotpub";

json::Ptr simple_body(const char* member, const char* value) {
    json::Ptr o = json::object();
    json::add_string(o.get(), member, value);
    return o;
}

class Assembly : public ::testing::Test {
  protected:
    void SetUp() override {
        fake->hwversion = "VRE670";
        fake->nvram = {{"hwver", "VRE670"},  {"RA_enable", "1"},
                       {"wan_status", "up"}, {"lan_macaddr", "AA:BB:CC:00:11:22"},
                       {"sku_name", "US"},   {"time_zone", "0"}};
        d.info.model = "VRE670";
        d.info.mac = "AABBCC001122";
        d.info.serial = "SN0001";
        d.policy.report_method = "IoT";
        fake->now_uptime = 5000;
        fake->mkdir("/tmp/telem_json_dir");
        publisher_says("Publish done\n");
    }
    void publisher_says(const std::string& log) {
        fake->on_prefix(kPublishPrefix, FakeBackend::outputs(log));
    }
    std::vector<std::string> published() { return fake->commands_containing("awsiotpub"); }
    json::Ptr last_report(int code) {
        auto text =
            fake->read("/tmp/telem_json_dir/telem_VRE670_" + std::to_string(code) + ".json");
        return text ? json::parse(*text) : nullptr;
    }
    std::string publish_line(int code) const {
        return std::string(kPublishPrefix) +
               " -i AABBCC001122 -f /tmp/telem_json_dir/telem_VRE670_" + std::to_string(code) +
               ".json -t \"analytics/\" -o 1 >/tmp/ra_pub_log.txt";
    }
    int run(int code) {
        testing::internal::CaptureStdout();
        int rc = create_device_json(d, code);
        out = testing::internal::GetCapturedStdout();
        return rc;
    }

    FakeRouter fake;
    Daemon d;
    std::string out;
};

TEST_F(Assembly, RoutineReportWithConsentCarriesHeaderAndDeviceBody) {
    EXPECT_EQ(run(1), 0);
    ASSERT_EQ(published().size(), 1u);
    EXPECT_EQ(published()[0], publish_line(1));
    json::Ptr doc = last_report(1);
    ASSERT_TRUE(doc);
    ASSERT_TRUE(doc->child);
    EXPECT_STREQ(doc->child->string, "routerHardware");
    EXPECT_TRUE(json::get(doc.get(), "connectedDeviceDetails"));
}

TEST_F(Assembly, RoutineReportWithoutConsentIsHeaderOnlyWithHashedIdentifiers) {
    fake->nvram["RA_enable"] = "0";
    d.bodies.routerInfo = [](Daemon&) { return simple_body("x", "y"); };
    EXPECT_EQ(run(1), 0);
    ASSERT_EQ(published().size(), 1u);
    json::Ptr doc = last_report(1);
    ASSERT_TRUE(doc);
    EXPECT_EQ(cJSON_GetArraySize(doc.get()), 1);
    cJSON* info = json::get(json::get(doc.get(), "routerHardware"), "deviceInfo");
    const char* mac = json::get_string(info, "macAddress");
    ASSERT_NE(mac, nullptr);
    EXPECT_EQ(std::string(mac).size(), 32u);
    EXPECT_NE(std::string(mac), "AABBCC001122");
}

TEST_F(Assembly, AlarmReportWithoutConsentKeepsItsBodies) {
    fake->nvram["RA_enable"] = "0";
    d.info.cpu_alarm = 1;
    d.bodies.cpuUtilizations = [](Daemon&) { return simple_body("cpuInfo", "x"); };
    EXPECT_EQ(run(2), 0);
    json::Ptr doc = last_report(2);
    ASSERT_TRUE(doc);
    EXPECT_TRUE(json::get(doc.get(), "cpuUtilizations"));
    EXPECT_EQ(published().size(), 1u);
}

TEST_F(Assembly, PrSkuWithConsentNeverPublishes) {
    fake->nvram["sku_name"] = "PR";
    d.info.cpu_alarm = 1;
    d.bodies.cpuUtilizations = [](Daemon&) { return simple_body("cpuInfo", "x"); };
    for (int code : {0, 1, 2, 3, 4, 6}) run(code);
    EXPECT_TRUE(published().empty());
}

TEST_F(Assembly, PrSkuClearsFirstPublishMarkerOnAlarmReport) {
    fake->nvram["sku_name"] = "PR";
    d.info.cpu_alarm = 1;
    d.publish.first_publish_marker = 1;
    d.bodies.cpuUtilizations = [](Daemon&) { return simple_body("cpuInfo", "x"); };
    run(2);
    EXPECT_NE(out.find("\n[RAE]Don't publish for PR SKU"), std::string::npos);
    EXPECT_EQ(d.publish.first_publish_marker, 0);
}

TEST_F(Assembly, WwSkuWithBlankStateDoesNotPublish) {
    fake->nvram["sku_name"] = "WW";
    fake->nvram["blank_state"] = "1";
    run(1);
    EXPECT_TRUE(published().empty());
}

TEST_F(Assembly, WwSkuWithoutBlankStatePublishes) {
    fake->nvram["sku_name"] = "WW";
    fake->nvram["blank_state"] = "0";
    run(1);
    EXPECT_EQ(published().size(), 1u);
}

TEST_F(Assembly, GateLetsEverythingThroughWithoutConsent) {
    fake->nvram["sku_name"] = "PR";
    fake->nvram["RA_enable"] = "0";
    run(1);
    EXPECT_EQ(published().size(), 1u);
}

TEST_F(Assembly, StopPublishListSuppressesBuiltAlarmReports) {
    d.policy.stop_publish[0] = 2;
    d.policy.stop_publish_count = 1;
    d.info.cpu_alarm = 1;
    int builds = 0;
    d.bodies.cpuUtilizations = [&builds](Daemon&) {
        ++builds;
        return simple_body("cpuInfo", "x");
    };
    EXPECT_EQ(run(2), 0);
    EXPECT_EQ(builds, 1);
    EXPECT_NE(out.find("\n[telem_json][check_stop_publish_event_type(997)]stop send event type 2 "
                       "event. \n"),
              std::string::npos);
    EXPECT_TRUE(published().empty());
    EXPECT_FALSE(fake->exists("/tmp/telem_json_dir/telem_VRE670_2.json"));
}

TEST_F(Assembly, CpuAlarmIsReportedOnceWhileMarkFileExists) {
    d.info.cpu_alarm = 1;
    d.bodies.cpuUtilizations = [](Daemon&) { return simple_body("cpuInfo", "x"); };
    run(2);
    EXPECT_EQ(published().size(), 1u);
    EXPECT_EQ(fake->read("/tmp/ra_cpu_alarm"), "1\n");
    EXPECT_EQ(fake->commands_containing("echo 1 > /tmp/ra_cpu_alarm").size(), 1u);
    run(2);
    EXPECT_EQ(published().size(), 1u);
    fake->commands.clear();
    ASSERT_EQ(::unlink((fake->root() + "/tmp/ra_cpu_alarm").c_str()), 0);
    run(2);
    EXPECT_EQ(published().size(), 1u);
}

TEST_F(Assembly, MemoryAlarmUsesItsOwnMark) {
    d.info.memory_alarm = 1;
    d.bodies.memoryUsage = [](Daemon&) { return simple_body("memoryInfo", "x"); };
    run(2);
    EXPECT_TRUE(fake->exists("/tmp/ra_memory_alarm"));
    json::Ptr doc = last_report(2);
    ASSERT_TRUE(doc);
    EXPECT_TRUE(json::get(doc.get(), "memoryUsage"));
}

TEST_F(Assembly, FirmwareTriggerFlagsArePrintedAndCleared) {
    d.info.triggeredByFirmwareUpgrade = 1;
    d.bodies.firmwareUpgradeAnalytics = [](Daemon&) { return simple_body("a", "b"); };
    run(2);
    EXPECT_NE(out.find("[create_device_json,12195] dev_info->triggeredByFirmwareUpgrade:1, "
                       "dev_info->notTriggeredByFirmwareUpgrade:0\n"),
              std::string::npos);
    EXPECT_EQ(d.info.triggeredByFirmwareUpgrade, 0);
    json::Ptr doc = last_report(2);
    ASSERT_TRUE(doc);
    EXPECT_TRUE(json::get(doc.get(), "firmwareUpgradeAnalytics"));
}

TEST_F(Assembly, NothingPendingInEventReportSendsNothing) {
    EXPECT_EQ(run(2), 0);
    EXPECT_TRUE(published().empty());
}

// Only the connected-device part of the routine report is under test in the two due
// rule tests below; the other bodies have rows of their own.
void keep_only_connected_devices(Daemon& d) {
    ReportBodies only;
    only.connectedDeviceDetails = d.bodies.connectedDeviceDetails;
    d.bodies = only;
}

TEST_F(Assembly, RowIsNotDueAgainBeforeItsInterval) {
    keep_only_connected_devices(d);
    run(1);
    EXPECT_EQ(published().size(), 1u);
    EXPECT_EQ(d.policy.rows[ROW_CONNECTED_DEVICES].last_update, 5000u);
    d.policy.rows[ROW_CONNECTED_DEVICES].interval = 1440;
    fake->now_uptime = 5000 + 1440;  // not yet: the interval must be exceeded
    run(1);
    EXPECT_EQ(published().size(), 1u);
    fake->now_uptime = 5000 + 1441;
    run(1);
    EXPECT_EQ(published().size(), 2u);
}

TEST_F(Assembly, DueRuleUsesUnsignedWrapAround) {
    keep_only_connected_devices(d);
    auto& row = d.policy.rows[ROW_CONNECTED_DEVICES];
    row.last_update = 0xFFFFFF00u;  // taken just before the 32-bit uptime wrapped
    row.interval = 1440;
    fake->now_uptime = 0x100;  // 512 s later
    run(1);
    EXPECT_TRUE(published().empty());
    fake->now_uptime = 0x100 + 1000;  // 1512 s later
    run(1);
    EXPECT_EQ(published().size(), 1u);
}

TEST_F(Assembly, FirstReportFlagSetsFirstPublishMarker) {
    auto& row = d.policy.rows[ROW_CONNECTED_DEVICES];
    row.trigger = 1;
    testing::internal::CaptureStdout();
    create_device_json(d, 1);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(row.trigger, 0u);
    // The success was recorded and the marker consumed by the publisher.
    EXPECT_NE(fake->console().find("awsiot first Publish success for group 1 at "),
              std::string::npos);
}

TEST_F(Assembly, KernelRebootNeedsPendingRecordAndTouchesMark) {
    d.bodies.kernelReboot = [](Daemon&) { return simple_body("reason", "panic"); };
    run(0);
    EXPECT_TRUE(published().empty());  // no pending record
    d.info.kernel_reboot_pending = 1;
    run(0);
    EXPECT_EQ(published().size(), 1u);
    EXPECT_EQ(fake->commands_containing("touch /tmp/first_kernel_ra").size(), 1u);
}

TEST_F(Assembly, UserOptionReportIsHeaderOnlyAndHonoursSuppression) {
    run(4);
    ASSERT_EQ(published().size(), 1u);
    json::Ptr doc = last_report(4);
    ASSERT_TRUE(doc);
    EXPECT_EQ(cJSON_GetArraySize(doc.get()), 1);
    d.policy.rows[ROW_USER_OPTION].last_update = 0;
    d.loop.suppress_user_option = 1;
    run(4);
    EXPECT_EQ(published().size(), 1u);
    EXPECT_EQ(d.loop.suppress_user_option, 0);
}

TEST_F(Assembly, ReservedEventTypeIsNeverPublished) {
    EXPECT_EQ(run(5), 0);
    EXPECT_TRUE(published().empty());
}

TEST_F(Assembly, DalEventBodyGoesOutUnderItsNameAndFileIsRemoved) {
    fake->write("/tmp/telem_json_dal_dir/dal_event.json",
                R"({"hdr":{"eventType":9,"timeStamp":{"date":[2026,1,1]}},"dalThing":{"k":"v"}})");
    run(6);
    EXPECT_FALSE(fake->exists("/tmp/telem_json_dal_dir/dal_event.json"));
    ASSERT_EQ(published().size(), 1u);
    json::Ptr doc = last_report(6);
    ASSERT_TRUE(doc);
    EXPECT_STREQ(json::get_string(json::get(doc.get(), "dalThing"), "k"), "v");
}

TEST_F(Assembly, DalEventWithSingleMemberIsRemovedWithoutReport) {
    fake->write("/tmp/telem_json_dal_dir/dal_event.json", R"({"hdr":{"eventType":9}})");
    run(6);
    EXPECT_FALSE(fake->exists("/tmp/telem_json_dal_dir/dal_event.json"));
    EXPECT_TRUE(published().empty());
}

TEST_F(Assembly, UnwritableReportFileGivesMinusThree) {
    ASSERT_EQ(::rmdir((fake->root() + "/tmp/telem_json_dir").c_str()), 0);
    EXPECT_EQ(run(1), -3);
    EXPECT_TRUE(published().empty());
}

TEST_F(Assembly, PendingRetryRepublishesWithoutBuilding) {
    publisher_says("ERROR: broker down\n");
    run(1);
    ASSERT_EQ(published().size(), 1u);
    int builds = 0;
    d.bodies.connectedDeviceDetails = [&builds](Daemon&) {
        ++builds;
        return json::array();
    };
    run(1);
    EXPECT_EQ(builds, 0);
    EXPECT_EQ(published().size(), 2u);
    EXPECT_EQ(fake->commands_containing("cat /tmp/telem_json_dir/telem_VRE670.json > "
                                        "/tmp/telem_json_dir/telem_VRE670_1.json")
                  .size(),
              2u);
}

}  // namespace
