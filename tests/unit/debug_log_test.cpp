#include "report/debug_log.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "report/policy.h"
#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

const char* const kIncomplete = "SatelliteSetupInfo.incompleteSatSetupEventStatus";
const char* const kComplete = "SatelliteSetupInfo.completeSatSetupEventStatus";

// A router with the zt tool (its database in `zt`), the debug-log policy allowing
// satellite notifications, and mv / mkdir carried out on the test root.
class DebugLog : public ::testing::Test {
  protected:
    void SetUp() override {
        fake->write("/usr/bin/zt", "#!/bin/sh\n");
        fake->on_prefix("zt -s ", [this](const std::string& command) {
            std::string key = command.substr(6, command.find(" > ") - 6);
            auto it = zt.find(key);
            return it == zt.end() ? FakeBackend::outputs("")
                                  : FakeBackend::outputs(it->second + "\n");
        });
        for (const char* prefix : {"mv ", "mkdir -p "})
            fake->on_prefix(prefix, [this](const std::string& command) {
                std::string line;
                for (size_t i = 0; i < command.size(); ++i) {
                    line += command[i];
                    if (command[i] == ' ' && i + 1 < command.size() && command[i + 1] == '/')
                        line += fake->root();
                }
                EXPECT_EQ(std::system(line.c_str()), 0) << line;
                return FakeBackend::Response{};
            });
        zt[kDalRaFolderKey] = "/tmp/event_ra";
        fake->mkdir("/tmp/event_ra");
        allow("satNotify");
    }
    void allow(const char* source) {
        fake->write(kPolicyFile, std::string(R"({"dbgLogsPolicy": {")") + source + R"(": "1"}})");
    }
    // The events moved into the DAL folder, by file name.
    std::map<std::string, json::Ptr> events() {
        std::map<std::string, json::Ptr> out;
        for (const auto& e : std::filesystem::directory_iterator(fake->root() + "/tmp/event_ra")) {
            std::ifstream in(e.path());
            std::stringstream text;
            text << in.rdbuf();
            out[e.path().filename().string()] = json::parse(text.str());
        }
        return out;
    }
    // The single entry of the only event in the folder.
    json::Ptr only_event() {
        auto all = events();
        EXPECT_EQ(all.size(), 1u);
        if (all.size() != 1) return nullptr;
        return std::move(all.begin()->second);
    }
    static std::string entry(const json::Ptr& doc, const char* name) {
        const cJSON* e = cJSON_GetArrayItem(json::get(doc.get(), "dbgLogs"), 0);
        const char* text = json::get_string(e, name);
        return text ? text : "<missing>";
    }
    void sat_notify() {
        testing::internal::CaptureStdout();
        satNotify();
        out = testing::internal::GetCapturedStdout();
    }
    void soap() {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        soap_api_event();
        out = testing::internal::GetCapturedStdout();
        err = testing::internal::GetCapturedStderr();
    }
    void clear_folder() {
        std::filesystem::remove_all(fake->root() + "/tmp/event_ra");
        fake->mkdir("/tmp/event_ra");
    }

    FakeRouter fake;
    std::map<std::string, std::string> zt;
    std::string out, err;
};

}  // namespace

// --- satellite notifications ---------------------------------------------------------

TEST_F(DebugLog, FirstRunWithBothStatusesSendsOneNoEventSending) {
    zt[kIncomplete] = "SatOffline";
    zt[kComplete] = "SatReady";
    sat_notify();
    json::Ptr doc = only_event();
    ASSERT_TRUE(doc);
    EXPECT_EQ(entry(doc, "dbgSummary"), "No event sending");
    EXPECT_EQ(entry(doc, "dbglogType"), "satNotify");
    EXPECT_EQ(entry(doc, "dbgArg1"), "");
    EXPECT_EQ(entry(doc, "dbgArg2"), "SatOffline");
    EXPECT_EQ(fake->nvram["rae_satNotify_first_arg1"], "SatReady");
    EXPECT_EQ(fake->nvram["rae_satNotify_first_arg2"], "SatOffline");
    EXPECT_EQ(fake->commands_containing("mv ").size(), 1u);
}

TEST_F(DebugLog, CompleteStatusChangingFromAToBSendsTheCompleteMessageWithB) {
    fake->nvram["rae_satNotify_first_arg1"] = "A";
    zt[kComplete] = "B";
    sat_notify();
    json::Ptr doc = only_event();
    ASSERT_TRUE(doc);
    EXPECT_EQ(entry(doc, "dbgSummary"), "Sat complete event sending: B");
    EXPECT_EQ(entry(doc, "dbgArg1"), "B");
    EXPECT_EQ(fake->nvram["rae_satNotify_first_arg1"], "B");
}

TEST_F(DebugLog, OnlyTheIncompleteStatusChangingSendsTheIncompleteMessage) {
    fake->nvram["rae_satNotify_first_arg1"] = "Ready";
    fake->nvram["rae_satNotify_first_arg2"] = "Old";
    zt[kComplete] = "Ready";
    zt[kIncomplete] = "New";
    sat_notify();
    json::Ptr doc = only_event();
    ASSERT_TRUE(doc);
    EXPECT_EQ(entry(doc, "dbgSummary"), "Sat incomplete event sending: New");
    EXPECT_EQ(entry(doc, "dbgArg1"), "Ready");
    EXPECT_EQ(entry(doc, "dbgArg2"), "New");
    EXPECT_EQ(fake->nvram["rae_satNotify_first_arg2"], "New");
}

TEST_F(DebugLog, UnchangedStatusesSendNothing) {
    fake->nvram["rae_satNotify_first_arg1"] = "Ready";
    fake->nvram["rae_satNotify_first_arg2"] = "Old";
    zt[kComplete] = "Ready";
    zt[kIncomplete] = "Old";
    sat_notify();
    EXPECT_TRUE(events().empty());
    EXPECT_EQ(fake->saves, 0);
}

TEST_F(DebugLog, BothStatusesEmptySendNothing) {
    sat_notify();
    EXPECT_TRUE(events().empty());
    EXPECT_FALSE(fake->nvram.count("rae_satNotify_first_arg1"));
}

TEST_F(DebugLog, IncompleteStatusSeenFirstSendsNoEventSending) {
    zt[kIncomplete] = "SatOffline";
    sat_notify();
    json::Ptr doc = only_event();
    ASSERT_TRUE(doc);
    EXPECT_EQ(entry(doc, "dbgSummary"), "No event sending");
    EXPECT_EQ(fake->saves, 1);
}

TEST_F(DebugLog, StatusesAreKeptToThirtyOneCharacters) {
    zt[kComplete] = std::string(40, 'c');
    fake->nvram["rae_satNotify_first_arg1"] = "A";
    sat_notify();
    EXPECT_EQ(fake->nvram["rae_satNotify_first_arg1"], std::string(31, 'c'));
    json::Ptr doc = only_event();
    EXPECT_EQ(entry(doc, "dbgSummary"), "Sat complete event sending: " + std::string(31, 'c'));
}

TEST_F(DebugLog, SatelliteSetupFileBecomesTheMessageObject) {
    fake->write(kSatelliteSetupFile, R"({"satellites": [{"mac": "AA"}]})");
    fake->nvram["rae_satNotify_first_arg1"] = "A";
    zt[kComplete] = "B";
    sat_notify();
    json::Ptr doc = only_event();
    const cJSON* e = cJSON_GetArrayItem(json::get(doc.get(), "dbgLogs"), 0);
    EXPECT_EQ(json::print_compact(json::get(e, "dbgMsg")), R"({"satellites":[{"mac":"AA"}]})");
}

TEST_F(DebugLog, WithoutSetupFileTheMessageIsLeftOut) {
    fake->nvram["rae_satNotify_first_arg1"] = "A";
    zt[kComplete] = "B";
    sat_notify();
    json::Ptr doc = only_event();
    EXPECT_EQ(entry(doc, "dbgMsg"), "<missing>");
}

TEST_F(DebugLog, PolicyWithoutSatNotifyMovesNoSatelliteEventsButSoapEventsStill) {
    allow("somethingElse");
    zt[kIncomplete] = "SatOffline";
    zt[kComplete] = "SatReady";
    sat_notify();
    EXPECT_TRUE(events().empty());
    EXPECT_TRUE(fake->commands_containing("mv ").empty());
    fake->write("/tmp/soap/ra/CheckInternetStatus", R"({"ReponsesCode ": "OK"})");
    soap();
    EXPECT_EQ(events().count("CheckInternetStatus"), 1u);
}

// --- SOAP API results ----------------------------------------------------------------

TEST(SoapResultCheck, ResponseCodeWithTrailingBlankOkIsSuccessWithoutBlankIsFail) {
    std::string summary;
    soap_result_check(json::parse(R"({"ReponsesCode ": "OK"})").get(), "DetectWANType", summary);
    EXPECT_EQ(summary, "Success");
    soap_result_check(json::parse(R"({"ReponsesCode": "OK"})").get(), "DetectWANType", summary);
    EXPECT_EQ(summary, "Fail");
}

TEST(SoapResultCheck, ZeroCodesSucceedOthersFail) {
    std::string summary;
    for (const char* good : {"0", "000", "OK"}) {
        std::string text = std::string(R"({"ReponsesCode ": ")") + good + "\"}";
        soap_result_check(json::parse(text).get(), "CheckInternetStatus", summary);
        EXPECT_EQ(summary, "Success") << good;
    }
    for (const char* bad : {"1", "00", "ok ", "", "FAIL"}) {
        std::string text = std::string(R"({"ReponsesCode ": ")") + bad + "\"}";
        soap_result_check(json::parse(text).get(), "CheckInternetStatus", summary);
        EXPECT_EQ(summary, "Fail") << bad;
    }
    soap_result_check(json::parse(R"({"ReponsesCode ": 0})").get(), "X", summary);
    EXPECT_EQ(summary, "Fail");
    soap_result_check(nullptr, "X", summary);
    EXPECT_EQ(summary, "Fail");
}

TEST(SoapResultCheck, NetworkDiagnosticsUseTheCompleteResponseCode) {
    std::string summary;
    soap_result_check(json::parse(R"({"completeSOAPResponseCode": "000"})").get(),
                      "RunNetworkDiagnostics", summary);
    EXPECT_EQ(summary, "Success");
    soap_result_check(json::parse(R"({"ReponsesCode ": "OK"})").get(), "RunNetworkDiagnostics",
                      summary);
    EXPECT_EQ(summary, "Fail");
}

TEST_F(DebugLog, SoapResultsBecomeEventsNamedAfterTheirFilesAndTheFolderIsEmptied) {
    fake->write("/tmp/soap/ra/CheckInternetStatus", R"({"ReponsesCode ": "OK"})");
    fake->write("/tmp/soap/ra/RunNetworkDiagnostics", R"({"completeSOAPResponseCode": "1"})");
    soap();
    auto all = events();
    ASSERT_EQ(all.size(), 2u);
    const json::Ptr& check = all["CheckInternetStatus"];
    EXPECT_EQ(entry(check, "dbglogType"), "SOAP API");
    EXPECT_EQ(entry(check, "dbglevel"), "Debug");
    EXPECT_EQ(entry(check, "dbgSource"), "Device");
    EXPECT_EQ(entry(check, "dbgMsg"), "CheckInternetStatus");
    EXPECT_EQ(entry(check, "dbgSummary"), "Success");
    const cJSON* e = cJSON_GetArrayItem(json::get(check.get(), "dbgLogs"), 0);
    EXPECT_EQ(json::print_compact(json::get(e, "dbgArg1")), R"({"ReponsesCode ":"OK"})");
    EXPECT_EQ(entry(all["RunNetworkDiagnostics"], "dbgSummary"), "Fail");
    EXPECT_EQ(fake->commands.back(), "rm -rf /tmp/soap/ra/*");
}

TEST_F(DebugLog, DetectWanTypeTakesAndUnsetsItsSecondArgument) {
    fake->nvram["detectWANType_dbgarg2"] = std::string(3000, 'w');
    fake->write("/tmp/soap/ra/DetectWANType", R"({"ReponsesCode ": "0"})");
    soap();
    json::Ptr doc = only_event();
    EXPECT_EQ(entry(doc, "dbgArg2"), std::string(2047, 'w'));
    EXPECT_FALSE(fake->nvram.count("detectWANType_dbgarg2"));
}

TEST_F(DebugLog, OtherResultNamesKeepTypeSourceAndMessageEmpty) {
    fake->nvram["detectWANType_dbgarg2"] = "kept";
    fake->write("/tmp/soap/ra/GetInfo", R"({"ReponsesCode ": "0"})");
    soap();
    json::Ptr doc = only_event();
    EXPECT_EQ(entry(doc, "dbglogType"), "");
    EXPECT_EQ(entry(doc, "dbgSource"), "");
    EXPECT_EQ(entry(doc, "dbgMsg"), "");
    EXPECT_EQ(entry(doc, "dbglevel"), "Debug");
    EXPECT_EQ(entry(doc, "dbgSummary"), "Success");
    EXPECT_EQ(entry(doc, "dbgArg2"), "");
    EXPECT_EQ(fake->nvram["detectWANType_dbgarg2"], "kept");
}

TEST_F(DebugLog, ResultThatIsNotJsonFailsWithoutArgumentObject) {
    fake->write("/tmp/soap/ra/DetectWANType", "<html>not json</html>");
    soap();
    json::Ptr doc = only_event();
    EXPECT_EQ(entry(doc, "dbgSummary"), "Fail");
    EXPECT_EQ(entry(doc, "dbgArg1"), "<missing>");
}

TEST_F(DebugLog, OneMegabyteResultIsReadWhole) {
    std::string big = R"({"ReponsesCode ": "OK", "pad": ")" + std::string(1 << 20, 'p') + "\"}";
    fake->write("/tmp/soap/ra/CheckInternetStatus", big);
    fake->write("/tmp/soap/ra/DetectWANType", std::string(1 << 20, '{'));
    soap();
    auto all = events();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(entry(all["CheckInternetStatus"], "dbgSummary"), "Success");
    EXPECT_EQ(entry(all["DetectWANType"], "dbgSummary"), "Fail");
}

TEST_F(DebugLog, ResultNamesWithBlanksOrShellCharactersAreNotRun) {
    fake->write("/tmp/soap/ra/a b", R"({"ReponsesCode ": "OK"})");
    fake->write("/tmp/soap/ra/x;reboot", R"({"ReponsesCode ": "OK"})");
    fake->write("/tmp/soap/ra/$(id)", R"({"ReponsesCode ": "OK"})");
    soap();
    EXPECT_TRUE(fake->commands_containing("mv ").empty());
    EXPECT_TRUE(events().empty());
    EXPECT_NE(out.find("refused to run"), std::string::npos);
    EXPECT_EQ(fake->commands.back(), "rm -rf /tmp/soap/ra/*");
}

TEST_F(DebugLog, UnreadableEntriesAreSkippedAndTheFolderStillEmptied) {
    fake->mkdir("/tmp/soap/ra");
    std::filesystem::create_symlink("/nonexistent/target", fake->root() + "/tmp/soap/ra/Dangling");
    soap();
    EXPECT_TRUE(events().empty());
    EXPECT_EQ(fake->commands.back(), "rm -rf /tmp/soap/ra/*");
}

TEST_F(DebugLog, MissingResultFolderIsReportedAndNothingRuns) {
    soap();
    EXPECT_NE(err.find("opendir"), std::string::npos);
    EXPECT_TRUE(fake->commands.empty());
}

// --- hand-over to the DAL folder -----------------------------------------------------

TEST_F(DebugLog, DalFolderIsAskedThreeTimesTenSecondsApartThenDefaults) {
    zt.erase(kDalRaFolderKey);
    EXPECT_EQ(get_dal_ra_folder(), "/tmp/event_ra");
    EXPECT_EQ(fake->commands_containing("zt -s DalRaFolderPath.dalRaMemoryPath").size(), 3u);
    EXPECT_EQ(fake->sleeps, (std::vector<unsigned>{10, 10}));
}

TEST_F(DebugLog, DalFolderFromZt) {
    zt[kDalRaFolderKey] = "/tmp/dal_ra";
    EXPECT_EQ(get_dal_ra_folder(), "/tmp/dal_ra");
    EXPECT_TRUE(fake->sleeps.empty());
}

TEST_F(DebugLog, MissingFolderIsMadeAndTheHeartbeatRestarted) {
    zt[kDalRaFolderKey] = "/tmp/dal_ra";
    json::Ptr doc = json::object();
    EXPECT_EQ(move_dbglog_file(doc.get(), "", "E1"), 0);
    EXPECT_EQ(fake->commands_containing("dal_ra"),
              (std::vector<std::string>{"mkdir -p /tmp/dal_ra",
                                        "mv /tmp/telem_dbglog_file /tmp/dal_ra/E1"}));
    EXPECT_EQ(fake->commands_containing("killall"),
              std::vector<std::string>{"killall telem_heartbeat"});
    EXPECT_EQ(fake->read("/tmp/dal_ra/E1"), "{\n}");
}

TEST_F(DebugLog, FolderHoldingEventsRestartsTheHeartbeatEmptyFolderDoesNot) {
    json::Ptr doc = json::object();
    move_dbglog_file(doc.get(), "", "E1");
    EXPECT_TRUE(fake->commands_containing("killall").empty());
    move_dbglog_file(doc.get(), "", "E2");
    EXPECT_EQ(fake->commands_containing("killall"),
              std::vector<std::string>{"killall telem_heartbeat"});
}

TEST_F(DebugLog, EmptyFileNameMovesTheStagingFileUnderItsOwnName) {
    json::Ptr doc = json::object();
    move_dbglog_file(doc.get(), "", "");
    EXPECT_EQ(fake->commands.back(), "mv /tmp/telem_dbglog_file /tmp/event_ra/");
    EXPECT_TRUE(fake->exists("/tmp/event_ra/telem_dbglog_file"));
}

TEST_F(DebugLog, SourceNotAllowedByThePolicyIsNotMoved) {
    json::Ptr doc = json::object();
    EXPECT_EQ(move_dbglog_file(doc.get(), "satNotifyX", "E1"), -1);
    EXPECT_FALSE(fake->exists(kDbgLogStagingFile));
    EXPECT_TRUE(fake->commands.empty());
}

TEST_F(DebugLog, UnsafeFolderFromZtRunsNoCommand) {
    zt[kDalRaFolderKey] = "/tmp/x;reboot";
    json::Ptr doc = json::object();
    testing::internal::CaptureStdout();
    EXPECT_EQ(move_dbglog_file(doc.get(), "", "E1"), -1);
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(fake->commands_containing("mkdir").empty());
    EXPECT_TRUE(fake->commands_containing("mv ").empty());
}

// --- the document --------------------------------------------------------------------

TEST(NtpResult, YesCloudOrNo) {
    FakeRouter fake;
    EXPECT_EQ(ntp_result(), "no");
    fake->nvram["time_state"] = "Cloud";
    EXPECT_EQ(ntp_result(), "Cloud");
    fake->nvram["ntp_sync_status"] = "0";
    EXPECT_EQ(ntp_result(), "yes");
    fake->nvram["ntp_sync_status"] = "1";
    EXPECT_EQ(ntp_result(), "Cloud");
}

namespace {

void expect_golden(const std::string& name, const json::Ptr& doc) {
    ASSERT_TRUE(doc);
    std::filesystem::path path =
        std::filesystem::path(__FILE__).parent_path().parent_path() / "golden" / name;
    std::ifstream in(path, std::ios::binary);
    ASSERT_TRUE(in) << "missing golden file " << path;
    std::stringstream golden;
    golden << in.rdbuf();
    EXPECT_EQ(json::print_string(doc.get()) + "\n", golden.str()) << "differs from " << path;
}

}  // namespace

TEST(DebugLogGolden, MessageObjectVariant) {
    FakeRouter fake;
    fake->now_wall = 1767269106;  // 2026-01-01 12:05:06
    fake->nvram["ntp_sync_status"] = "0";
    DbgLogFields f{"satNotify", "Debug",    "Device",    "Sat complete event sending: SatReady",
                   "",          "SatReady", "SatOffline"};
    expect_golden("dbglog_message_object.json",
                  create_dbglog_msg_event(f, json::parse(R"({"satCount": 2})")));
}

TEST(DebugLogGolden, ArgumentObjectVariant) {
    FakeRouter fake;
    fake->now_wall = 1767269106;
    fake->nvram["time_state"] = "Cloud";
    DbgLogFields f{"SOAP API", "Debug", "Device", "Success", "DetectWANType", "", "dhcp"};
    expect_golden("dbglog_argument_object.json",
                  create_dbglog_arg_event(f, json::parse(R"({"ReponsesCode ": "0"})")));
}

TEST(DebugLogDocument, VariantWithoutItsObjectLeavesTheMemberOut) {
    FakeRouter fake;
    DbgLogFields f{"t", "l", "s", "m", "msg", "a1", "a2"};
    json::Ptr a = create_dbglog_msg_event(f, nullptr);
    const cJSON* ea = cJSON_GetArrayItem(json::get(a.get(), "dbgLogs"), 0);
    EXPECT_EQ(json::get(ea, "dbgMsg"), nullptr);
    EXPECT_STREQ(json::get_string(ea, "dbgArg1"), "a1");
    json::Ptr b = create_dbglog_arg_event(f, nullptr);
    const cJSON* eb = cJSON_GetArrayItem(json::get(b.get(), "dbgLogs"), 0);
    EXPECT_EQ(json::get(eb, "dbgArg1"), nullptr);
    EXPECT_STREQ(json::get_string(eb, "dbgMsg"), "msg");
}
