#include "report/wifi_events.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "core/daemon.h"
#include "json/json.h"
#include "report/assembly.h"
#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

constexpr const char* kDir = "/tmp/telem_wifi_json_dir";

class WifiEvents : public ::testing::Test {
  protected:
    void SetUp() override {
        fake->hwversion = "VRE670";
        fake->nvram = {{"RA_enable", "1"}, {"sku_name", "US"}};
        fake->mkdir("/tmp/telem_json_dir");
        fake->mkdir(kDir);
        d.info.mac = "AABBCC001122";
        // Publishing is left out unless a test asks for it, so waiting files stay.
        d.policy.report_method = "none";
        d.policy.rows[ROW_WIFI_EVENT_SEND].last_update = 1;
        fake->now_uptime = 50000;  // well past the 43200 s send interval
    }
    void events_waiting(const std::string& body = R"({"wifiEvents":[{"event":"join"}]})") {
        fake->write(kWifiEventFile, body);
    }
    std::string file(int index) const {
        return std::string(kDir) + "/telem_wifi_VRE670_" + std::to_string(index) + ".json";
    }
    std::string run() {
        testing::internal::CaptureStdout();
        create_device_json(d, 3);
        return testing::internal::GetCapturedStdout();
    }
    FakeRouter fake;
    Daemon d;
};

TEST_F(WifiEvents, OldestWaitingFileMakesRoomForTheNewOne) {
    fake->write(file(0), "{}");
    fake->write(file(1), "{}");
    events_waiting();
    std::string out = run();
    EXPECT_FALSE(fake->exists(file(0)));
    EXPECT_TRUE(fake->exists(file(1)));
    EXPECT_TRUE(fake->exists(file(2)));
    EXPECT_NE(out.find("[create_device_json 12514] Exceed wifiEventMaxNumber, remove: " + file(0) +
                       "\n\n"),
              std::string::npos);
    json::Ptr doc = json::parse(fake->read(file(2)).value_or(""));
    ASSERT_TRUE(doc);
    EXPECT_TRUE(json::get(doc.get(), "wifiEvents"));

    d.policy.rows[ROW_WIFI_EVENT_SEND].last_update = 1;
    events_waiting();
    run();
    EXPECT_FALSE(fake->exists(file(1)));
    EXPECT_TRUE(fake->exists(file(2)));
    EXPECT_TRUE(fake->exists(file(3)));
}

TEST_F(WifiEvents, NothingToSendWhenNoEventsAndEmptyDirectory) {
    d.policy.report_method = "IoT";
    std::string out = run();
    EXPECT_NE(out.find("\n[WIFI RA] Group 3 : No files to be sent."), std::string::npos);
    EXPECT_TRUE(fake->commands_containing("awsiotpub").empty());
}

TEST_F(WifiEvents, DueBatchHandsOverTheWifiDaemonOutput) {
    run();
    EXPECT_EQ(fake->commands_containing("cat /tmp/telem_json_dir/telem_wifi_output.json").size(),
              1u);
    EXPECT_EQ(fake->commands_containing("mv /tmp/telem_json_dir/telem_wifi_output.json "
                                        "/tmp/telem_json_dir/telem_wifi_event.json")
                  .size(),
              1u);
    EXPECT_NE(fake->console().find("[TELEM_WIFI]: need to send wifiEvent lo"), std::string::npos);
    EXPECT_EQ(d.policy.rows[ROW_WIFI_EVENT_SEND].last_update, 50000u);
}

TEST_F(WifiEvents, HandOverWritesThirtyNineCharactersOfItsFirstLineToConsole) {
    hand_over_wifi_output();
    const std::string first = "[TELEM_WIFI]: need to send wifiEvent lo";
    ASSERT_EQ(first.size(), 39u);
    EXPECT_EQ(fake->console(), first +
                                   "\n[TELEM_WIFI]: mv /tmp/telem_json_dir/telem_wifi_output.json "
                                   "/tmp/telem_json_dir/telem_wifi_event.json\n");
}

TEST_F(WifiEvents, OnlyRegularJsonFilesCountAsWaiting) {
    fake->write(file(0), "{}");
    fake->mkdir(std::string(kDir) + "/old.json");
    std::filesystem::create_symlink(fake->root() + file(0),
                                    fake->root() + std::string(kDir) + "/link.json");
    fake->write(std::string(kDir) + "/notes.txt", "x");
    events_waiting();
    std::string out = run();
    // One waiting file is under the maximum of 2: nothing is removed and the new
    // report takes index 1.
    EXPECT_EQ(out.find("Exceed wifiEventMaxNumber"), std::string::npos);
    EXPECT_TRUE(fake->exists(file(0)));
    EXPECT_TRUE(fake->exists(file(1)));
    EXPECT_FALSE(fake->exists(file(3)));
}

TEST_F(WifiEvents, DirectoryAndLinkNamedJsonAreNotFilesToSend) {
    d.policy.report_method = "IoT";
    fake->mkdir(std::string(kDir) + "/old.json");
    fake->write("/tmp/elsewhere.json", "{}");
    std::filesystem::create_symlink(fake->root() + "/tmp/elsewhere.json",
                                    fake->root() + std::string(kDir) + "/link.json");
    std::string out = run();
    EXPECT_NE(out.find("\n[WIFI RA] Group 3 : No files to be sent."), std::string::npos);
    EXPECT_TRUE(fake->commands_containing("awsiotpub").empty());
}

TEST_F(WifiEvents, FirstCallOnlyStartsTheSendTimer) {
    d.policy.rows[ROW_WIFI_EVENT_SEND].last_update = 0;
    events_waiting();
    run();
    EXPECT_EQ(d.policy.rows[ROW_WIFI_EVENT_SEND].last_update, 50000u);
    EXPECT_TRUE(fake->commands_containing("mv ").empty());
    // The event file read without a due batch is lost.
    EXPECT_FALSE(fake->exists(kWifiEventFile));
    EXPECT_FALSE(fake->exists(file(0)));
}

TEST_F(WifiEvents, DisabledWifiEventsSkipEverything) {
    fake->nvram["ra_WifiEventEnable"] = "0";
    events_waiting();
    run();
    EXPECT_TRUE(fake->commands.empty());
    EXPECT_TRUE(fake->exists(kWifiEventFile));
}

TEST_F(WifiEvents, WaitingDirectoryIsPublishedAndPurgedOnSuccess) {
    d.policy.report_method = "IoT";
    fake->on_prefix("LD_LIBRARY_PATH=/usr/share /usr/bin/awsiotpub",
                    FakeBackend::outputs("Publish done\n"));
    events_waiting();
    run();
    auto sent = fake->commands_containing("awsiotpub");
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0],
              "LD_LIBRARY_PATH=/usr/share /usr/bin/awsiotpub -i AABBCC001122 -e 1 -d "
              "/tmp/telem_wifi_json_dir -t \"analytics/\" -o 1 >/tmp/ra_pub_log.txt");
    EXPECT_FALSE(fake->exists(file(0)));
}

TEST_F(WifiEvents, WifiAnalyticsScheduleStartsCollectionScriptAndAsksSatellites) {
    fake->write("/qrvx/crond_wifira.sh", "");
    fake->nvram["soapc_sat_access_count"] = "2";
    run();
    EXPECT_EQ(fake->commands_containing("/bin/sh /qrvx/crond_wifira.sh &").size(), 1u);
    EXPECT_EQ(fake->soapc_requests, std::vector<int>{1063});
    EXPECT_EQ(fake->sleeps, std::vector<unsigned>{3});
    EXPECT_EQ(d.policy.rows[ROW_WIFI_ANALYTICS].last_update, 50000u);
}

}  // namespace
