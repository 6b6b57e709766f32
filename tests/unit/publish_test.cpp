#include "report/publish.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "core/daemon.h"
#include "report/install_event_id.h"
#include "report/report_files.h"
#include "state/health_alarms.h"
#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

const std::string kAwsPrefix = "LD_LIBRARY_PATH=/usr/share /usr/bin/awsiotpub";
const std::string kLog = "/tmp/ra_pub_log.txt";

std::string aws_command(int code, int stage_class = 1, const std::string& dir = "/usr/bin") {
    return "LD_LIBRARY_PATH=/usr/share " + dir +
           "/awsiotpub -i AABBCC001122 -f /tmp/telem_json_dir/telem_VRE670_" +
           std::to_string(code) + ".json -t \"analytics/\" -o " + std::to_string(stage_class) +
           " >/tmp/ra_pub_log.txt";
}
const std::string kAwsDirectoryCommand =
    "LD_LIBRARY_PATH=/usr/share /usr/bin/awsiotpub -i AABBCC001122 -e 1 -d "
    "/tmp/telem_wifi_json_dir -t \"analytics/\" -o 1 >/tmp/ra_pub_log.txt";
std::string console_cat(int code) {
    return "cat /tmp/telem_json_dir/telem_VRE670_" + std::to_string(code) + ".json > /dev/console";
}
std::string mcs_command(int code) {
    return "/usr/bin/mcs_publish -g " + std::to_string(code) + " -f /tmp/ra_pub_log.txt";
}
const std::string kShowLog = "cat /tmp/ra_pub_log.txt";
const std::string kAwsSuccess = "\n[RAE]awsiot Publish success !!";
const std::string kAwsFailure = "\n[RAE]awsiot Publish failed !!";

bool same(const RetryState& r, int first, int second, int phase) {
    return r.first == first && r.second == second && r.phase == phase;
}

class Publish : public ::testing::Test {
  protected:
    void SetUp() override {
        d.info.mac = "AABBCC001122";
        d.policy.report_method = "IoT";
        d.policy.stage_class = 1;
    }
    // The publisher writes `log` through the ">/tmp/ra_pub_log.txt" of its command.
    void awsiotpub_logs(const std::string& log) {
        fake->on_prefix(kAwsPrefix, FakeBackend::outputs(log));
    }
    // mcs_publish writes its log itself ("-f"): no redirection in its command.
    void mcs_publish_logs(const std::string& log) {
        FakeBackend::Response r;
        r.files[kLog] = log;
        fake->on_prefix("/usr/bin/mcs_publish", r);
    }
    std::string publish(int code, bool wifi_directory = false) {
        testing::internal::CaptureStdout();
        publish_report(d, code, wifi_directory);
        return testing::internal::GetCapturedStdout();
    }

    FakeRouter fake;
    Daemon d;
};

// --- command lines -------------------------------------------------------------------

TEST_F(Publish, AwsIotCommandLineWithDefaultPublisherDirectory) {
    awsiotpub_logs("Publish done\n");
    const std::string out = publish(2);
    EXPECT_EQ(fake->commands, (std::vector<std::string>{console_cat(2), aws_command(2)}));
    EXPECT_EQ(out, "cmd=" + aws_command(2) + "\n" + kAwsSuccess);
    EXPECT_NE(aws_command(2).find("/usr/bin/awsiotpub"), std::string::npos);
}

TEST_F(Publish, PublisherDirectoryOptionNamesTheAwsIotPublisher) {
    d.publisher_dir = "/opt/pub";
    fake->on_prefix("LD_LIBRARY_PATH=/usr/share /opt/pub/awsiotpub",
                    FakeBackend::outputs("Publish done\n"));
    publish(0);
    ASSERT_EQ(fake->commands.size(), 2u);
    EXPECT_EQ(fake->commands[1],
              "LD_LIBRARY_PATH=/usr/share /opt/pub/awsiotpub -i AABBCC001122 -f "
              "/tmp/telem_json_dir/telem_VRE670_0.json -t \"analytics/\" -o 1 "
              ">/tmp/ra_pub_log.txt");
    EXPECT_EQ(fake->nvram["RAE_installEventId"], "1");  // the log was read: success
}

TEST_F(Publish, PublisherDirectoryOptionNamesTheMcsPublisher) {
    d.policy.report_method = "MCS";
    d.publisher_dir = "/opt/pub";
    publish(2);
    ASSERT_EQ(fake->commands.size(), 2u);
    EXPECT_EQ(fake->commands[1], "/opt/pub/mcs_publish -g 2 -f /tmp/ra_pub_log.txt");
}

TEST_F(Publish, WifiEventDirectoryIsShownAndPublishedWhole) {
    fake->mkdir("/tmp/telem_wifi_json_dir");
    fake->on_prefix(kAwsPrefix + " -i AABBCC001122 -e 1", FakeBackend::outputs("Publish done\n"));
    const std::string out = publish(3, true);
    EXPECT_EQ(fake->commands,
              (std::vector<std::string>{"ls /tmp/telem_wifi_json_dir > /dev/console",
                                        "cat /tmp/telem_wifi_json_dir/* > /dev/console",
                                        kAwsDirectoryCommand}));
    EXPECT_EQ(out.rfind("cmd=" + kAwsDirectoryCommand + "\n", 0), 0u);
    EXPECT_EQ(fake->console().rfind("\n[TELEM_WIFI show directory events]\n", 0), 0u);
}

TEST_F(Publish, NoReportMethodRunsNothingAndRecordsNothing) {
    d.policy.report_method = "none";
    fake->nvram["telem_json_backup"] = "1";
    fake->write(kLog, "ERROR\n");
    d.publish.retry[2].first = 2;
    const std::string out = publish(2);
    EXPECT_TRUE(fake->commands.empty());
    EXPECT_EQ(out, "");
    EXPECT_EQ(fake->console(), "");
    EXPECT_TRUE(same(d.publish.retry[2], 2, 0, 0));
    EXPECT_FALSE(fake->nvram.contains("awsiot_retry_count"));
}

TEST_F(Publish, ReportMethodIsMatchedExactly) {
    d.policy.report_method = "iot";
    publish(2);
    EXPECT_TRUE(fake->commands.empty());
}

TEST_F(Publish, HostilePublisherDirectoryIsRefusedAndNothingRuns) {
    d.publisher_dir = "/usr/bin;reboot";
    fake->write(kLog, "ERROR\n");  // an old log must not be taken as this outcome
    fake->nvram["telem_json_backup"] = "1";
    const std::string out = publish(1);
    EXPECT_TRUE(fake->commands.empty());
    EXPECT_NE(out.find("refused"), std::string::npos);
    EXPECT_EQ(out.find("cmd="), std::string::npos);
    EXPECT_TRUE(same(d.publish.retry[1], 0, 0, 0));
    EXPECT_FALSE(fake->nvram.contains("awsiot_retry_count"));
    EXPECT_EQ(fake->console(), "");
}

TEST_F(Publish, HostileMacAddressIsRefusedAndNothingRuns) {
    d.info.mac = "AABB$(reboot)";
    fake->write(kLog, "Publish done\n");
    const std::string out = publish(2);
    EXPECT_TRUE(fake->commands.empty());
    EXPECT_NE(out.find("refused"), std::string::npos);
    EXPECT_FALSE(fake->nvram.contains("RAE_installEventId"));
}

TEST_F(Publish, HostilePublisherDirectoryIsRefusedForMcs) {
    d.policy.report_method = "MCS";
    d.publisher_dir = "/usr/bin/../../tmp/x";
    d.publish.retry[2].first = 2;
    publish(2);
    EXPECT_TRUE(fake->commands.empty());
    EXPECT_TRUE(same(d.publish.retry[2], 2, 0, 0));  // no MCS "success" either
}

// --- stage class -----------------------------------------------------------------------

TEST_F(Publish, StageBetaLeavesTheClassThePolicyLoaderSet) {
    fake->nvram["RA_stage"] = "beta";
    d.policy.stage_class = 2;
    awsiotpub_logs("Publish done\n");
    publish(2);
    EXPECT_EQ(d.policy.stage_class, 2);
    EXPECT_EQ(fake->commands[1], aws_command(2, 2));
}

TEST_F(Publish, StageIsReadAgainBeforeEveryPublish) {
    const std::vector<std::pair<std::string, int>> cases = {
        {"", 1}, {"prod", 1}, {"dev", 2}, {"qa", 2}, {"prod", 1}};
    int previous = 2;
    for (const auto& [stage, expected] : cases) {
        fake->nvram["RA_stage"] = stage;
        d.policy.stage_class = previous == 1 ? 2 : 1;
        fake->commands.clear();
        publish(2);
        EXPECT_EQ(d.policy.stage_class, expected) << stage;
        EXPECT_EQ(fake->commands[1], aws_command(2, expected)) << stage;
        previous = expected;
    }
}

// --- awsiotpub log -----------------------------------------------------------------------

TEST_F(Publish, ErrorBeforePublishDoneIsAFailure) {
    awsiotpub_logs("connecting\nERROR: timeout\nPublish done\n");
    const std::string out = publish(2);
    EXPECT_TRUE(same(d.publish.retry[2], 1, 0, 0));
    EXPECT_NE(out.find(kAwsFailure), std::string::npos);
    EXPECT_EQ(out.find(kAwsSuccess), std::string::npos);
    EXPECT_FALSE(fake->nvram.contains("RAE_installEventId"));
}

TEST_F(Publish, PublishDoneBeforeErrorIsASuccess) {
    d.publish.retry[2].first = 1;
    awsiotpub_logs("Publish done\nERROR later\n");
    const std::string out = publish(2);
    EXPECT_TRUE(same(d.publish.retry[2], 0, 0, 0));
    EXPECT_NE(out.find(kAwsSuccess), std::string::npos);
}

TEST_F(Publish, LogWithNeitherVerdictRecordsNothing) {
    d.publish.retry[6] = {2, 0, 0};
    d.publish.first_publish_marker = 1;
    awsiotpub_logs("connecting\nsubscribed\n");
    const std::string out = publish(6);
    EXPECT_EQ(out, "cmd=" + aws_command(6) + "\n");
    EXPECT_TRUE(same(d.publish.retry[6], 2, 0, 0));
    EXPECT_EQ(d.publish.first_publish_marker, 1);
    EXPECT_FALSE(fake->nvram.contains("awsiot_retry_count"));
    EXPECT_FALSE(fake->nvram.contains("RAE_installEventId"));
    EXPECT_EQ(fake->console(), "");
}

TEST_F(Publish, EmptyLogOfPublisherThatDidNotStartRecordsNothing) {
    // No script: the shell still creates the redirection target, empty.
    const std::string out = publish(2);
    EXPECT_EQ(fake->read(kLog), "");
    EXPECT_EQ(out, "cmd=" + aws_command(2) + "\n");
    EXPECT_TRUE(same(d.publish.retry[2], 0, 0, 0));
}

TEST_F(Publish, VerdictSplitAcrossThe127CharacterReadIsNotSeen) {
    // "ERROR" straddles the end of the first 127-character piece of the line.
    awsiotpub_logs(std::string(125, 'x') + "ERROR\nPublish done\n");
    publish(2);
    EXPECT_EQ(fake->nvram["RAE_installEventId"], "1");
    EXPECT_TRUE(same(d.publish.retry[2], 0, 0, 0));
}

TEST_F(Publish, VerdictWithinThe127CharacterReadIsSeen) {
    awsiotpub_logs(std::string(122, 'x') + "ERROR\nPublish done\n");
    publish(2);
    EXPECT_TRUE(same(d.publish.retry[2], 1, 0, 0));
}

// --- awsiotpub failure -------------------------------------------------------------------

TEST_F(Publish, AwsIotFailurePrintsShowsLogAndCountsRetries) {
    awsiotpub_logs("ERROR\n");
    const std::string out = publish(2);
    EXPECT_EQ(out, "cmd=" + aws_command(2) + "\n" + kAwsFailure);
    EXPECT_EQ(fake->console(), "\nawsiot Publish failed !!\n");
    EXPECT_EQ(fake->commands, (std::vector<std::string>{console_cat(2), aws_command(2), kShowLog}));
    EXPECT_EQ(fake->nvram["awsiot_retry_count"], "1");
    publish(2);
    EXPECT_EQ(fake->nvram["awsiot_retry_count"], "2");
    fake->nvram["awsiot_retry_count"] = "41";
    publish(2);
    EXPECT_EQ(fake->nvram["awsiot_retry_count"], "42");
}

TEST_F(Publish, FourAwsIotFailuresOfRoutineReportThenSecondCycle) {
    fake->mkdir("/tmp/telem_json_dir");
    // The shell's report copies.
    fake->on_prefix("cat /tmp/telem_json_dir/telem_VRE670.json", [this](const std::string& cmd) {
        static const std::regex form(R"(^cat (\S+) ?> ?(\S+)$)");
        std::smatch m;
        FakeBackend::Response r;
        if (std::regex_match(cmd, m, form))
            r.files[m[2].str()] = fake->read(m[1].str()).value_or("");
        return r;
    });
    std::vector<std::string> published;
    fake->on_prefix(kAwsPrefix, [this, &published](const std::string&) {
        published.push_back(fake->read("/tmp/telem_json_dir/telem_VRE670_1.json").value_or(""));
        return FakeBackend::outputs("ERROR: no connection\n");
    });

    int built = 0;
    std::vector<RetryState> after;
    for (int occasion = 0; occasion < 5; ++occasion) {
        json::Ptr doc;
        if (!retry_pending(d.publish, 1)) {
            doc = json::object();
            json::add_number(doc.get(), "report", ++built);
        }
        ASSERT_EQ(write_report(d, doc, 1), 0);
        publish(1);
        after.push_back(d.publish.retry[1]);
    }
    EXPECT_EQ(built, 2);
    ASSERT_EQ(published.size(), 5u);
    for (int i = 1; i < 4; ++i) EXPECT_EQ(published[static_cast<size_t>(i)], published[0]);
    EXPECT_NE(published[4], published[0]);
    EXPECT_TRUE(same(after[0], 1, 0, 0));
    EXPECT_TRUE(same(after[1], 2, 0, 0));
    EXPECT_TRUE(same(after[2], 3, 0, 0));
    EXPECT_TRUE(same(after[3], 0, 0, 1));
    EXPECT_TRUE(same(after[4], 0, 1, 1));
    EXPECT_EQ(fake->nvram["awsiot_retry_count"], "5");
}

TEST_F(Publish, SecondCycleEndsBackInTheFirst) {
    awsiotpub_logs("ERROR\n");
    d.publish.retry[2].phase = 1;
    for (int expected : {1, 2, 3}) {
        publish(2);
        EXPECT_TRUE(same(d.publish.retry[2], 0, expected, 1));
    }
    publish(2);
    EXPECT_TRUE(same(d.publish.retry[2], 0, 0, 0));
}

TEST_F(Publish, WifiEventFailuresNeverUseTheSecondCycle) {
    fake->on_prefix(kAwsPrefix, FakeBackend::outputs("ERROR\n"));
    for (int i = 0; i < 4; ++i) publish(3, true);
    EXPECT_TRUE(same(d.publish.retry[3], 0, 0, 0));
    publish(3, true);
    EXPECT_TRUE(same(d.publish.retry[3], 1, 0, 0));
    // Another code goes on to its second cycle after the same four failures.
    for (int i = 0; i < 4; ++i) publish(6);
    EXPECT_TRUE(same(d.publish.retry[6], 0, 0, 1));
}

TEST_F(Publish, FailedUserOptionReportRearmsItsKey) {
    awsiotpub_logs("ERROR\n");
    fake->nvram["RA_useroption_report"] = "0";
    publish(4);
    EXPECT_EQ(fake->nvram["RA_useroption_report"], "1");
    fake->nvram["RA_useroption_report"] = "2";
    publish(4);
    EXPECT_EQ(fake->nvram["RA_useroption_report"], "2");
    fake->nvram["RA_voice_report"] = "0";
    publish(4);
    EXPECT_EQ(fake->nvram["RA_voice_report"], "0");
}

TEST_F(Publish, FailedVoiceReportRearmsItsKey) {
    awsiotpub_logs("ERROR\n");
    fake->nvram["RA_voice_report"] = "0";
    fake->nvram["RA_useroption_report"] = "0";
    publish(5);
    EXPECT_EQ(fake->nvram["RA_voice_report"], "1");
    EXPECT_EQ(fake->nvram["RA_useroption_report"], "0");
}

// --- awsiotpub success -------------------------------------------------------------------

TEST_F(Publish, EverySuccessAdvancesTheInstallEventId) {
    awsiotpub_logs("Publish done\n");
    publish(2);
    EXPECT_EQ(fake->nvram["RAE_installEventId"], "1");
    publish(0);
    EXPECT_EQ(fake->nvram["RAE_installEventId"], "2");
    EXPECT_EQ(fake->console(), "\nawsiot Publish success !!\n\nawsiot Publish success !!\n");
}

TEST_F(Publish, FirstPublishMarkerIsClearedWithConsoleLine) {
    fake->now_wall = 1772600767;  // 2026-03-04 05:06:07 (the fake's local time is UTC)
    d.publish.first_publish_marker = 1;
    awsiotpub_logs("Publish done\n");
    publish(2);
    EXPECT_EQ(d.publish.first_publish_marker, 0);
    EXPECT_EQ(fake->console(),
              "\nawsiot Publish success !!\nawsiot first Publish success for group 2 at "
              "2026/3/4 05:06:07!!\n");
    publish(2);
    EXPECT_EQ(fake->console().find("first Publish", 60), std::string::npos);
}

TEST_F(Publish, RoutineReportSuccessClearsWhatItCarried) {
    awsiotpub_logs("Publish done\n");
    d.info.gateway_fail_count = 3;
    d.info.internet_fail_count = 4;
    d.info.last_inconclusive_test = 1767225000;
    d.publish.retry[1] = {0, 2, 1};
    d.loop.backoff_wait[1] = 3;
    d.ifnames[0] = "ath0";
    d.ifnames[1] = "ath1";
    for (int radio = 0; radio < 3; ++radio) {
        fake->nvram["ra_otp_wifi" + std::to_string(radio) + "_highestTemp"] = "70";
        fake->nvram["ra_otp_wifi" + std::to_string(radio) + "_lowestTemp"] = "40";
    }
    fake->nvram["manage_by_gui"] = "1";
    fake->nvram["manage_by_app"] = "1";

    const std::string out = publish(1);
    EXPECT_EQ(out, "cmd=" + aws_command(1) + "\n" + kAwsSuccess +
                       "clear  gateway_fail_count!!"
                       "Clear manageByGui, manageByApp after publish ok !!!!");
    EXPECT_EQ(d.info.gateway_fail_count, 0);
    EXPECT_EQ(d.info.internet_fail_count, 0);
    EXPECT_EQ(d.info.last_inconclusive_test, 0);
    EXPECT_TRUE(same(d.publish.retry[1], 0, 0, 0));
    EXPECT_EQ(d.loop.backoff_wait[1], 0);
    for (const char* key : {"ra_otp_wifi0_highestTemp", "ra_otp_wifi0_lowestTemp",
                            "ra_otp_wifi1_highestTemp", "ra_otp_wifi1_lowestTemp"})
        EXPECT_FALSE(fake->nvram.contains(key)) << key;
    EXPECT_EQ(fake->nvram["ra_otp_wifi2_highestTemp"], "70");
    EXPECT_EQ(fake->nvram["ra_otp_wifi2_lowestTemp"], "40");
    EXPECT_EQ(fake->nvram["manage_by_gui"], "0");
    EXPECT_EQ(fake->nvram["manage_by_app"], "0");
}

TEST_F(Publish, RoutineReportSuccessClearsTheRadiosTemperatureStatistics) {
    awsiotpub_logs("Publish done\n");
    fake->nvram["hwver"] = "VRE670";  // sensors wifi0, wifi1, wifi2
    ensure_thermal_table(d);
    for (auto& s : d.info.health.thermal.sensors) {
        s.highest = 80;
        s.lowest = 70;
        s.trigger_count = 2;
    }
    d.ifnames[0] = "ath0";
    d.ifnames[1] = "ath1";
    publish(1);
    const auto& sensors = d.info.health.thermal.sensors;
    for (int radio : {0, 1}) {
        EXPECT_EQ(sensors[static_cast<size_t>(radio)].highest, 999) << radio;
        EXPECT_EQ(sensors[static_cast<size_t>(radio)].lowest, 999) << radio;
        EXPECT_EQ(sensors[static_cast<size_t>(radio)].trigger_count, 2u) << radio;
    }
    EXPECT_EQ(sensors[2].highest, 80);
    EXPECT_EQ(sensors[2].lowest, 70);
}

TEST_F(Publish, RadioIndicesRunFromZeroToTheRadioCount) {
    awsiotpub_logs("Publish done\n");
    d.ifnames[1] = "ath1";
    d.ifnames[2] = "ath2";
    for (int radio = 0; radio < 3; ++radio)
        fake->nvram["ra_otp_wifi" + std::to_string(radio) + "_highestTemp"] = "70";
    publish(1);
    EXPECT_FALSE(fake->nvram.contains("ra_otp_wifi0_highestTemp"));
    EXPECT_FALSE(fake->nvram.contains("ra_otp_wifi1_highestTemp"));
    EXPECT_TRUE(fake->nvram.contains("ra_otp_wifi2_highestTemp"));
}

TEST_F(Publish, WifiEventSuccessEmptiesTheWaitingDirectory) {
    fake->write("/tmp/telem_wifi_json_dir/telem_wifi_VRE670_0.json", "{}");
    fake->write("/tmp/telem_wifi_json_dir/telem_wifi_VRE670_1.json", "{}");
    d.publish.retry[3].first = 2;
    fake->on_prefix(kAwsPrefix, FakeBackend::outputs("Publish done\n"));
    publish(3, true);
    EXPECT_EQ(std::filesystem::is_empty(fake->root() + "/tmp/telem_wifi_json_dir"), true);
    EXPECT_TRUE(same(d.publish.retry[3], 0, 0, 0));
    EXPECT_EQ(fake->console(),
              "\n[TELEM_WIFI show directory events]\n\nawsiot Publish success !!\n"
              "[create_device_json 12881] Publish done, remove all file on "
              "/tmp/telem_wifi_json_dir\n\n");
}

TEST_F(Publish, UserOptionAndVoiceSuccessSetTheirKeys) {
    awsiotpub_logs("Publish done\n");
    d.publish.retry[4].first = 1;
    d.publish.retry[5].second = 1;
    fake->nvram["RA_useroption_report"] = "0";
    fake->nvram["RA_voice_report"] = "0";
    publish(4);
    EXPECT_EQ(fake->nvram["RA_useroption_report"], "1");
    EXPECT_EQ(fake->nvram["RA_voice_report"], "0");
    EXPECT_TRUE(same(d.publish.retry[4], 0, 0, 0));
    publish(5);
    EXPECT_EQ(fake->nvram["RA_voice_report"], "1");
    EXPECT_TRUE(same(d.publish.retry[5], 0, 0, 0));
}

TEST_F(Publish, SuccessClearsOnlyTheRetryStateOfItsOwnCode) {
    awsiotpub_logs("Publish done\n");
    for (int code : {0, 2, 6}) d.publish.retry[static_cast<size_t>(code)] = {2, 1, 1};
    d.loop.backoff_wait[0] = 4;
    publish(0);
    EXPECT_TRUE(same(d.publish.retry[0], 0, 0, 0));
    EXPECT_EQ(d.loop.backoff_wait[0], 0);
    EXPECT_TRUE(same(d.publish.retry[2], 2, 1, 1));
    publish(2);
    EXPECT_TRUE(same(d.publish.retry[2], 0, 0, 0));
    publish(6);
    EXPECT_TRUE(same(d.publish.retry[6], 0, 0, 0));
}

// --- backup ------------------------------------------------------------------------------

TEST_F(Publish, BackupCopiesTheTypeFileUnderTheReportStamp) {
    fake->nvram["telem_json_backup"] = "1";
    d.report_stamp = "20260101-000000";
    awsiotpub_logs("Publish done\n");
    const std::string out = publish(1);
    ASSERT_EQ(fake->commands.size(), 3u);
    EXPECT_EQ(fake->commands[2],
              "cp /tmp/telem_json_dir/telem_VRE670_1.json "
              "/opt/persistent/router-analytics/telem_VRE670.json_20260101-000000");
    EXPECT_EQ(
        out.rfind("cmd=" + aws_command(1) + "\n" +
                      "backup JSON file ==> "
                      "/opt/persistent/router-analytics//telem_VRE670.json_20260101-000000\n" +
                      kAwsSuccess,
                  0),
        0u);
}

TEST_F(Publish, BackupWithEmptyStampEndsInJsonUnderscore) {
    fake->nvram["telem_json_backup"] = "1";
    awsiotpub_logs("Publish done\n");
    const std::string out = publish(2);
    ASSERT_EQ(fake->commands.size(), 3u);
    EXPECT_EQ(fake->commands[2],
              "cp /tmp/telem_json_dir/telem_VRE670_2.json "
              "/opt/persistent/router-analytics/telem_VRE670.json_");
    EXPECT_NE(
        out.find("backup JSON file ==> /opt/persistent/router-analytics//telem_VRE670.json_\n"),
        std::string::npos);
}

TEST_F(Publish, BackupIsMadeBeforeTheLogIsRead) {
    fake->nvram["telem_json_backup"] = "1";
    awsiotpub_logs("Publish done\n");
    // Whatever the log says once the backup has run is what counts.
    FakeBackend::Response cp;
    cp.files[kLog] = "ERROR\n";
    fake->on_prefix("cp ", cp);
    publish(2);
    EXPECT_TRUE(same(d.publish.retry[2], 1, 0, 0));
}

TEST_F(Publish, NoBackupUnlessEnabled) {
    fake->nvram["telem_json_backup"] = "yes";
    awsiotpub_logs("ERROR\n");
    const std::string out = publish(2);
    EXPECT_TRUE(fake->commands_containing("cp ").empty());
    EXPECT_EQ(out.find("backup"), std::string::npos);
}

TEST_F(Publish, HostileReportStampIsNotBackedUp) {
    fake->nvram["telem_json_backup"] = "1";
    d.report_stamp = "x; rm -rf /";
    awsiotpub_logs("Publish done\n");
    testing::internal::CaptureStdout();
    publish_report(d, 2);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(fake->commands_containing("cp ").empty());
    EXPECT_NE(out.find("refused"), std::string::npos);
    EXPECT_EQ(fake->nvram["RAE_installEventId"], "1");  // the upload itself went through
}

// --- MCS -----------------------------------------------------------------------------------

TEST_F(Publish, McsCommandLineAndSuccessWithoutLog) {
    d.policy.report_method = "MCS";
    d.publish.retry[2] = {3, 1, 1};
    const std::string out = publish(2);
    EXPECT_EQ(fake->commands, (std::vector<std::string>{console_cat(2), mcs_command(2)}));
    EXPECT_EQ(out, "\n[RAE]MCS Publish success !!");
    EXPECT_TRUE(same(d.publish.retry[2], 0, 1, 1));  // only the first counter
    EXPECT_FALSE(fake->nvram.contains("RAE_installEventId"));
    EXPECT_EQ(fake->console(), "");
}

TEST_F(Publish, McsLogWithoutFailureLineIsASuccess) {
    d.policy.report_method = "MCS";
    mcs_publish_logs("HTTP/1.1 200 OK\nERROR is not an MCS failure\n");
    d.publish.retry[4].first = 1;
    fake->nvram["RA_useroption_report"] = "0";
    publish(4);
    EXPECT_EQ(d.publish.retry[4].first, 0);
    EXPECT_EQ(fake->nvram["RA_useroption_report"], "1");
    fake->nvram["RA_voice_report"] = "0";
    publish(5);
    EXPECT_EQ(fake->nvram["RA_voice_report"], "1");
}

TEST_F(Publish, McsXErrorIsAFailureWrappingAtFour) {
    d.policy.report_method = "MCS";
    mcs_publish_logs("HTTP/1.1 403\nX-Error: denied\n");
    const std::string out = publish(2);
    EXPECT_EQ(out, "\n[RAE]MCS Publish failed !!");
    EXPECT_EQ(fake->commands, (std::vector<std::string>{console_cat(2), mcs_command(2), kShowLog}));
    EXPECT_TRUE(same(d.publish.retry[2], 1, 0, 0));
    publish(2);
    publish(2);
    EXPECT_TRUE(same(d.publish.retry[2], 3, 0, 0));
    publish(2);
    EXPECT_TRUE(same(d.publish.retry[2], 0, 0, 0));  // no phase for MCS
    EXPECT_FALSE(fake->nvram.contains("awsiot_retry_count"));
    EXPECT_EQ(fake->console(), "");
}

TEST_F(Publish, McsUnresolvedHostIsAFailure) {
    d.policy.report_method = "MCS";
    mcs_publish_logs("curl: (6) Couldn't resolve host 'mcs'\n");
    fake->nvram["RA_useroption_report"] = "0";
    publish(4);
    EXPECT_TRUE(same(d.publish.retry[4], 1, 0, 0));
    EXPECT_EQ(fake->nvram["RA_useroption_report"], "0");  // only AWS IoT failures rearm it
}

TEST_F(Publish, McsWifiEventDirectoryUsesTheCodeThreeCommand) {
    d.policy.report_method = "MCS";
    publish(3, true);
    EXPECT_EQ(fake->commands.back(), mcs_command(3));
    EXPECT_EQ(fake->commands.size(), 3u);
}

// --- main-loop view -------------------------------------------------------------------------

TEST_F(Publish, RetryPendingWhileEitherCounterIsSet) {
    EXPECT_FALSE(retry_pending(d.publish, 2));
    d.publish.retry[2].second = 1;
    EXPECT_TRUE(retry_pending(d.publish, 2));
    d.publish.retry[2] = {1, 0, 0};
    EXPECT_TRUE(retry_pending(d.publish, 2));
    d.publish.retry[2] = {0, 0, 1};
    EXPECT_FALSE(retry_pending(d.publish, 2));
    EXPECT_FALSE(retry_pending(d.publish, 7));
    EXPECT_FALSE(retry_pending(d.publish, -1));
}

TEST_F(Publish, MainLoopSeesAnyRetryPendingAndAnyBackingOff) {
    EXPECT_FALSE(any_retry_pending(d.publish));
    EXPECT_FALSE(any_backing_off(d.publish));
    d.publish.retry[6].second = 1;
    EXPECT_TRUE(any_retry_pending(d.publish));
    EXPECT_FALSE(any_backing_off(d.publish));
    d.publish.retry[6].second = 0;
    d.publish.retry[0].phase = 1;
    EXPECT_FALSE(any_retry_pending(d.publish));
    EXPECT_TRUE(any_backing_off(d.publish));
}

TEST_F(Publish, SixBackoffWaitsArmTheSecondCycleRetry) {
    d.publish.retry[1].phase = 1;
    d.publish.retry[4].phase = 1;
    d.loop.backoff_wait[4] = 4;
    for (int tick = 1; tick <= 5; ++tick) {
        backoff_tick(d);
        EXPECT_EQ(d.loop.backoff_wait[1], tick);
        EXPECT_EQ(d.publish.retry[1].second, 0);
    }
    EXPECT_EQ(d.publish.retry[4].second, 1);  // reached 6 on its second tick
    backoff_tick(d);
    EXPECT_EQ(d.publish.retry[1].second, 1);
    EXPECT_EQ(d.loop.backoff_wait[1], 0);
    EXPECT_TRUE(retry_pending(d.publish, 1));
    EXPECT_EQ(d.loop.backoff_wait[2], 0);  // not backing off: untouched
    EXPECT_EQ(d.publish.retry[2].second, 0);
}

// --- directory purge and install event id ------------------------------------------------------

TEST_F(Publish, PurgeDeletesEveryEntry) {
    fake->write("/tmp/purge/a.json", "1");
    fake->write("/tmp/purge/b", "2");
    EXPECT_EQ(purge_directory("/tmp/purge"), 0);
    EXPECT_TRUE(std::filesystem::is_empty(fake->root() + "/tmp/purge"));
}

TEST_F(Publish, PurgeOfMissingDirectoryReportsSystemError) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(purge_directory("/tmp/no_such_dir"), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Failed to open directory: No such file or directory\n");
}

TEST_F(Publish, PurgePathIsBoundTo383Characters) {
    const std::string dir = "/tmp/" + std::string(195, 'd');
    const std::string long_name(190, 'f');  // dir + "/" + name = 391 characters
    fake->write(dir + "/" + long_name, "x");
    fake->write(dir + "/short", "x");
    EXPECT_EQ(purge_directory(dir), 0);
    EXPECT_TRUE(fake->exists(dir + "/" + long_name));
    EXPECT_FALSE(fake->exists(dir + "/short"));
}

TEST_F(Publish, InstallEventIdStartsAtOneAndCountsUp) {
    EXPECT_EQ(advance_install_event_id(), 1);
    EXPECT_EQ(fake->nvram["RAE_installEventId"], "1");
    fake->nvram["RAE_installEventId"] = "41";
    EXPECT_EQ(advance_install_event_id(), 42);
    EXPECT_EQ(fake->nvram["RAE_installEventId"], "42");
    fake->nvram["RAE_installEventId"] = "junk";
    EXPECT_EQ(advance_install_event_id(), 1);
}

}  // namespace
