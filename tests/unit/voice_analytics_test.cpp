#include "mesh/voice_analytics.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "core/daemon.h"
#include "platform/fs.h"
#include "report/assembly.h"
#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

const std::string kAvs = "soapc_sat_0_AVSAnalytic_GetAvsAnalytic_";

// The router's SOAP client as the builder meets it: on each sleep it serves a pending
// request (soapc_sat_router_fire not "0") by writing the answer keys for that action
// and satellite, then hands the idle state back.
struct SoapClient {
    std::map<std::pair<std::string, std::string>, std::map<std::string, std::string>> answers;
    std::vector<std::pair<std::string, std::string>> served;  // (satellite, action)

    void attach(FakeBackend& fake) {
        fake.on_sleep = [this, &fake](unsigned) {
            std::string action = fake.nvram["soapc_sat_router_fire"];
            if (action.empty() || action == "0") return;
            std::string sat = fake.nvram["soapc_sat_index"];
            served.emplace_back(sat, action);
            for (const auto& [key, value] : answers[{sat, action}]) fake.nvram[key] = value;
            fake.nvram["soapc_sat_router_fire"] = "0";
            fake.nvram["soapc_action"] = "0";
        };
    }
};

class VoiceAnalytics : public ::testing::Test {
  protected:
    void SetUp() override {
        fake->nvram = {{"soapc_sat_router_fire", "0"}, {"soapc_action", "0"}};
        client.attach(*fake);
    }
    // Satellite `sat` announces AVS support; the SOAP client answers the voice control
    // status request with `reg`.
    void avs_satellite(int sat, const std::string& reg) {
        std::string s = std::to_string(sat);
        fake->nvram["soapc_sat_" + s + "_DeviceInfo_GetSupportFeatureListXML_AvsSupport"] = "1";
        client.answers[{s, "16"}]
                      ["soapc_sat_" + s + "_VoiceControl_GetVoiceControlStatus_AvsRegStatus"] = reg;
    }
    // Analytics keys the SOAP client writes for satellite 0 on the AVS analytics request.
    std::map<std::string, std::string>& analytics0() { return client.answers[{"0", "23"}]; }
    void record0(const std::string& suffix, const std::string& date, const std::string& media) {
        auto& a = analytics0();
        a[kAvs + "RecordDate" + suffix] = date;
        a[kAvs + "RecordHour" + suffix] = "9";
        a[kAvs + "MediaCount" + suffix] = media;
    }
    json::Ptr build() {
        testing::internal::CaptureStdout();
        json::Ptr obj = create_satellite_voice_obj(d);
        out = testing::internal::GetCapturedStdout();
        return obj;
    }
    static std::string compact(const json::Ptr& obj) { return json::print_compact(obj.get()); }
    static cJSON* device(const json::Ptr& obj, int index) {
        return cJSON_GetArrayItem(json::get(obj.get(), "device"), index);
    }
    static cJSON* record(const json::Ptr& obj, int index) {
        return cJSON_GetArrayItem(json::get(device(obj, 0), "record"), index);
    }

    // Satellites 0..count-1 announce AVS support, are registered and each announce
    // `records` records of `media` media entries; satellite 0's keys carry values of
    // the sizes a satellite writes, the others only their counts.
    void every_satellite_announces(int count, int records, int media) {
        fake->nvram["soapc_sat_access_count"] = std::to_string(count);
        for (int sat = 0; sat < count; ++sat) {
            std::string s = std::to_string(sat);
            std::string avs = "soapc_sat_" + s + "_AVSAnalytic_GetAvsAnalytic_";
            avs_satellite(sat, "1");
            auto& a = client.answers[{s, "23"}];
            a[avs + "RecordNumber"] = std::to_string(records);
            if (sat != 0) continue;
            a[avs + "MAC"] = "A0:04:60:12:34:56";
            a[avs + "SerialNumber"] = "6LA1234567890";
            for (int r = 0; r < records; ++r) {
                std::string suffix = r == 0 ? "" : "_" + std::to_string(r);
                a[avs + "RecordDate" + suffix] = "2026-11-23";
                for (const char* stem : {"RecordHour", "TriggerCountByVoice",
                                         "TriggerCountByButton", "SpeechRecognitionFailCount",
                                         "AvsDisconnectedCount", "TokenRefreshFailedCount",
                                         "GeneralEventCount", "TodoListCount", "AlertCount"})
                    a[avs + stem + suffix] = "12345";
                a[avs + "MediaCount" + suffix] = std::to_string(media);
                for (int m = 1; m <= media; ++m) {
                    std::string stem =
                        avs + "rec_" + std::to_string(r) + "_media_" + std::to_string(m);
                    a[stem + "_MediaProvider"] = "Amazon Music";
                    a[stem + "_MediaPlayPeriod"] = "1234";
                }
            }
        }
    }

    FakeRouter fake;
    Daemon d;
    SoapClient client;
    std::string out;
};

// --- the SOAP client hand-shake --------------------------------------------------

TEST_F(VoiceAnalytics, FireOnIdleClientSetsActionAndSleepsFourSeconds) {
    fake->on_sleep = nullptr;
    setSoapRouterFire("16");
    EXPECT_EQ(fake->nvram["soapc_sat_router_fire"], "16");
    EXPECT_EQ(fake->sleeps, (std::vector<unsigned>{4}));
}

TEST_F(VoiceAnalytics, FireWaitsForBusyClientOneSecondAtATime) {
    fake->nvram["soapc_sat_router_fire"] = "7";
    fake->on_sleep = [this](unsigned) {
        if (fake->sleeps.size() == 2) fake->nvram["soapc_sat_router_fire"] = "0";
    };
    setSoapRouterFire("23");
    EXPECT_EQ(fake->nvram["soapc_sat_router_fire"], "23");
    EXPECT_EQ(fake->sleeps, (std::vector<unsigned>{1, 1, 4}));
}

TEST_F(VoiceAnalytics, FireStopsWaitingForBusyClientAfterFiveSleeps) {
    fake->on_sleep = nullptr;
    fake->nvram["soapc_sat_router_fire"] = "7";
    setSoapRouterFire("16");
    EXPECT_EQ(fake->nvram["soapc_sat_router_fire"], "16");
    EXPECT_EQ(fake->sleeps, (std::vector<unsigned>{1, 1, 1, 1, 1, 4}));
}

TEST_F(VoiceAnalytics, FirePollsActionUntilItReadsZero) {
    fake->nvram["soapc_action"] = "16";
    fake->on_sleep = [this](unsigned) {
        if (fake->sleeps.size() == 4) fake->nvram["soapc_action"] = "0";
    };
    setSoapRouterFire("16");
    EXPECT_EQ(fake->sleeps, (std::vector<unsigned>{4, 1, 1, 1}));
}

TEST_F(VoiceAnalytics, FireGivesUpAfterNinePollsThirteenSecondsInAll) {
    fake->on_sleep = nullptr;
    fake->nvram["soapc_action"] = "23";
    uint64_t start = fake->now_uptime;
    setSoapRouterFire("23");
    EXPECT_EQ(fake->sleeps, (std::vector<unsigned>{4, 1, 1, 1, 1, 1, 1, 1, 1, 1}));
    EXPECT_EQ(fake->now_uptime - start, 13u);
}

TEST_F(VoiceAnalytics, BuilderAsksStatusThenAnalyticsOfEachRegisteredSatellite) {
    fake->nvram["soapc_sat_access_count"] = "3";
    avs_satellite(0, "1");
    avs_satellite(2, "0");
    analytics0()[kAvs + "MAC"] = "94:A6:7E:20:30:40";
    build();
    EXPECT_EQ(client.served, (std::vector<std::pair<std::string, std::string>>{
                                 {"0", "16"}, {"0", "23"}, {"2", "16"}}));
    EXPECT_EQ(fake->sleeps, (std::vector<unsigned>{4, 4, 4}));
}

// --- the body ------------------------------------------------------------------------

TEST_F(VoiceAnalytics, NoSatelliteWithAvsSupportGivesZeroAndEmptyDeviceArray) {
    fake->nvram["soapc_sat_access_count"] = "2";
    fake->nvram["soapc_sat_0_DeviceInfo_GetSupportFeatureListXML_AvsSupport"] = "";
    json::Ptr obj = build();
    ASSERT_TRUE(obj);
    EXPECT_EQ(compact(obj), R"({"numberOfDevice":0,"device":[]})");
    EXPECT_TRUE(client.served.empty());
    EXPECT_TRUE(fake->sleeps.empty());
}

TEST_F(VoiceAnalytics, NoSatellitesAtAllGivesZeroAndEmptyDeviceArray) {
    json::Ptr obj = build();
    ASSERT_TRUE(obj);
    EXPECT_EQ(compact(obj), R"({"numberOfDevice":0,"device":[]})");
}

TEST_F(VoiceAnalytics, UnregisteredSatelliteIsCountedWithEmptyElement) {
    fake->nvram["soapc_sat_access_count"] = "1";
    avs_satellite(0, "0");
    analytics0()[kAvs + "MAC"] = "94:A6:7E:20:30:40";
    json::Ptr obj = build();
    ASSERT_TRUE(obj);
    EXPECT_EQ(compact(obj), R"({"numberOfDevice":1,"device":[{}]})");
    EXPECT_EQ(out, "[create_satellite_voice_obj,11174]satRegStatus:0\n");
    // The analytics are not asked for.
    EXPECT_EQ(client.served, (std::vector<std::pair<std::string, std::string>>{{"0", "16"}}));
}

TEST_F(VoiceAnalytics, RegistrationStatusMustBeExactlyOne) {
    fake->nvram["soapc_sat_access_count"] = "1";
    avs_satellite(0, "1 ");
    json::Ptr obj = build();
    EXPECT_EQ(compact(obj), R"({"numberOfDevice":1,"device":[{}]})");
}

TEST_F(VoiceAnalytics, RecordCountTwoReadsSecondRecordFromKeysEndingInOne) {
    fake->nvram["soapc_sat_access_count"] = "1";
    avs_satellite(0, "1");
    analytics0()[kAvs + "RecordNumber"] = "2";
    record0("", "2023-7-4", "0");
    record0("_1", "2023-7-5", "0");
    analytics0()[kAvs + "RecordHour"] = "8";
    analytics0()[kAvs + "RecordHour_1"] = "21";
    analytics0()[kAvs + "AlertCount"] = "3";
    analytics0()[kAvs + "AlertCount_1"] = "4";
    json::Ptr obj = build();
    ASSERT_TRUE(obj);
    ASSERT_EQ(cJSON_GetArraySize(json::get(device(obj, 0), "record")), 2);
    EXPECT_EQ(json::print_compact(json::get(record(obj, 0), "recordDate")), "[2023,7,4]");
    EXPECT_EQ(json::get(record(obj, 0), "recordHour")->valueint, 8);
    EXPECT_EQ(json::get(record(obj, 0), "alertCount")->valueint, 3);
    EXPECT_EQ(json::print_compact(json::get(record(obj, 1), "recordDate")), "[2023,7,5]");
    EXPECT_EQ(json::get(record(obj, 1), "recordHour")->valueint, 21);
    EXPECT_EQ(json::get(record(obj, 1), "alertCount")->valueint, 4);
}

TEST_F(VoiceAnalytics, RecordDateTextGivesYearMonthDayArray) {
    fake->nvram["soapc_sat_access_count"] = "1";
    avs_satellite(0, "1");
    analytics0()[kAvs + "RecordNumber"] = "1";
    record0("", "2023-7-4", "0");
    json::Ptr obj = build();
    ASSERT_TRUE(obj);
    EXPECT_EQ(json::print_compact(json::get(record(obj, 0), "recordDate")), "[2023,7,4]");
    EXPECT_EQ(fake->console(),
              "nv soapc_sat_0_AVSAnalytic_GetAvsAnalytic_RecordDate = 2023-7-4\n"
              "year_int =2023, month_int=7, day_int=4\n");
}

TEST_F(VoiceAnalytics, DateThatDoesNotScanLeavesZeros) {
    fake->nvram["soapc_sat_access_count"] = "1";
    avs_satellite(0, "1");
    analytics0()[kAvs + "RecordNumber"] = "3";
    record0("", "yesterday", "0");
    record0("_1", "2023-07", "0");
    record0("_2", "", "0");
    json::Ptr obj = build();
    ASSERT_TRUE(obj);
    EXPECT_EQ(json::print_compact(json::get(record(obj, 0), "recordDate")), "[0,0,0]");
    EXPECT_EQ(json::print_compact(json::get(record(obj, 1), "recordDate")), "[2023,7,0]");
    EXPECT_EQ(json::print_compact(json::get(record(obj, 2), "recordDate")), "[0,0,0]");
    EXPECT_NE(fake->console().find("nv soapc_sat_0_AVSAnalytic_GetAvsAnalytic_RecordDate_2 = \n"
                                   "year_int =0, month_int=0, day_int=0\n"),
              std::string::npos);
}

TEST_F(VoiceAnalytics, RecordNumberIsReportedAsItStands) {
    fake->nvram["soapc_sat_access_count"] = "1";
    avs_satellite(0, "1");
    analytics0()[kAvs + "MAC"] = "94:A6:7E:20:30:40";
    analytics0()[kAvs + "SerialNumber"] = "6VS650B0004321";
    analytics0()[kAvs + "RecordNumber"] = "0";
    json::Ptr obj = build();
    EXPECT_EQ(compact(obj), R"({"numberOfDevice":1,"device":[{"macAddress":"94:A6:7E:20:30:40",)"
                            R"("serialNumber":"6VS650B0004321","numberOfRecord":"0"}]})");
    EXPECT_EQ(out,
              "[create_satellite_voice_obj,11174]satRegStatus:1\n"
              "create_satellite_voice_obj(11196):recordCount:0\n");

    analytics0()[kAvs + "RecordNumber"] = "two";
    obj = build();
    EXPECT_EQ(compact(obj), R"({"numberOfDevice":1,"device":[{"macAddress":"94:A6:7E:20:30:40",)"
                            R"("serialNumber":"6VS650B0004321","numberOfRecord":"two"}]})");

    analytics0()[kAvs + "RecordNumber"] = "-4";
    obj = build();
    EXPECT_EQ(json::get(device(obj, 0), "record"), nullptr);
    EXPECT_STREQ(json::get_string(device(obj, 0), "numberOfRecord"), "-4");
}

TEST_F(VoiceAnalytics, MediaEntriesAreListedFromIndexOne) {
    fake->nvram["soapc_sat_access_count"] = "1";
    avs_satellite(0, "1");
    analytics0()[kAvs + "RecordNumber"] = "2";
    record0("", "2023-7-4", "0");
    record0("_1", "2023-7-5", "2");
    analytics0()[kAvs + "rec_1_media_1_MediaProvider"] = "TuneIn";
    analytics0()[kAvs + "rec_1_media_1_MediaPlayPeriod"] = "60";
    analytics0()[kAvs + "rec_1_media_2_MediaProvider"] = "Audible";
    analytics0()[kAvs + "rec_1_media_2_MediaPlayPeriod"] = "120";
    analytics0()[kAvs + "rec_1_media_0_MediaProvider"] = "never read";
    json::Ptr obj = build();
    EXPECT_EQ(json::get(record(obj, 0), "mediaRecord"), nullptr);
    EXPECT_EQ(json::print_compact(json::get(record(obj, 1), "mediaRecord")),
              R"([{"mediaProvider":"TuneIn","mediaPlayPeriod":"60"},)"
              R"({"mediaProvider":"Audible","mediaPlayPeriod":"120"}])");
    EXPECT_EQ(out,
              "[create_satellite_voice_obj,11174]satRegStatus:1\n"
              "create_satellite_voice_obj(11196):recordCount:2\n"
              "create_satellite_voice_obj(11323):mediaCount:0\n"
              "create_satellite_voice_obj(11323):mediaCount:2\n");
}

TEST_F(VoiceAnalytics, RecordWithoutMediaLooksUpRecordCountAndRunningMediaIndex) {
    fake->nvram["soapc_sat_access_count"] = "1";
    avs_satellite(0, "1");
    analytics0()[kAvs + "RecordNumber"] = "3";
    record0("", "2023-7-4", "0");
    record0("_1", "2023-7-4", "0");
    record0("_2", "2023-7-4", "0");
    // Keys under the record index are not the ones looked up.
    analytics0()[kAvs + "rec_0_media_1_MediaProvider"] = "by record index";
    // Under the record count (3): media index 1 for the first look-up, 2 for the
    // second (empty: no member), 3 for the third.
    analytics0()[kAvs + "rec_3_media_1_MediaProvider"] = "Spotify";
    analytics0()[kAvs + "rec_3_media_1_MediaPlayPeriod"] = "300";
    analytics0()[kAvs + "rec_3_media_2_MediaPlayPeriod"] = "no provider";
    analytics0()[kAvs + "rec_3_media_3_MediaProvider"] = "Pandora";
    json::Ptr obj = build();
    ASSERT_TRUE(obj);
    EXPECT_EQ(json::print_compact(json::get(record(obj, 0), "mediaRecord")),
              R"([{"mediaProvider":"Spotify","mediaPlayPeriod":"300"}])");
    EXPECT_EQ(json::get(record(obj, 1), "mediaRecord"), nullptr);
    EXPECT_EQ(json::print_compact(json::get(record(obj, 2), "mediaRecord")),
              R"([{"mediaProvider":"Pandora","mediaPlayPeriod":""}])");
}

TEST_F(VoiceAnalytics, NegativeMediaCountAddsNoMedia) {
    fake->nvram["soapc_sat_access_count"] = "1";
    avs_satellite(0, "1");
    analytics0()[kAvs + "RecordNumber"] = "1";
    record0("", "2023-7-4", "-1");
    analytics0()[kAvs + "rec_1_media_1_MediaProvider"] = "Spotify";
    json::Ptr obj = build();
    EXPECT_EQ(json::get(record(obj, 0), "mediaCount")->valueint, -1);
    EXPECT_EQ(json::get(record(obj, 0), "mediaRecord"), nullptr);
}

TEST_F(VoiceAnalytics, CountersReadAsDecimalNumbers) {
    fake->nvram["soapc_sat_access_count"] = "1";
    avs_satellite(0, "1");
    analytics0()[kAvs + "RecordNumber"] = "1";
    record0("", "2023-7-4", "0");
    analytics0()[kAvs + "TriggerCountByVoice"] = "12abc";
    analytics0()[kAvs + "TriggerCountByButton"] = "none";
    analytics0()[kAvs + "TokenRefreshFailedCount"] = "99999999999";
    json::Ptr obj = build();
    cJSON* rec = record(obj, 0);
    EXPECT_EQ(json::get(rec, "triggerCountByVoice")->valuedouble, 12);
    EXPECT_EQ(json::get(rec, "triggerCountbyButton")->valuedouble, 0);
    EXPECT_EQ(json::get(rec, "tokenRefeshFailedCount")->valuedouble, 2147483647.0);
}

TEST_F(VoiceAnalytics, SatelliteCountIsBoundedByTheSatelliteCache) {
    fake->on_sleep = nullptr;  // an idle client: nothing to serve
    fake->nvram["soapc_sat_access_count"] = "100000";
    for (int i = 0; i < 40; ++i)
        fake->nvram["soapc_sat_" + std::to_string(i) +
                    "_DeviceInfo_GetSupportFeatureListXML_AvsSupport"] = "1";
    json::Ptr obj = build();
    ASSERT_TRUE(obj);
    EXPECT_EQ(json::get(obj.get(), "numberOfDevice")->valueint, kMaxVoiceSatellites);
    EXPECT_EQ(cJSON_GetArraySize(json::get(obj.get(), "device")), kMaxVoiceSatellites);
}

TEST_F(VoiceAnalytics, RecordAndMediaCountsAreBounded) {
    fake->nvram["soapc_sat_access_count"] = "1";
    avs_satellite(0, "1");
    analytics0()[kAvs + "RecordNumber"] = "2147483647";
    record0("", "2023-7-4", "100000");
    json::Ptr obj = build();
    ASSERT_TRUE(obj);
    EXPECT_STREQ(json::get_string(device(obj, 0), "numberOfRecord"), "2147483647");
    EXPECT_EQ(cJSON_GetArraySize(json::get(device(obj, 0), "record")), kMaxVoiceRecords);
    EXPECT_EQ(json::get(record(obj, 0), "mediaCount")->valueint, 100000);
    EXPECT_EQ(cJSON_GetArraySize(json::get(record(obj, 0), "mediaRecord")), kMaxVoiceMedia);
}

TEST_F(VoiceAnalytics, BodyStopsAtAWeekOfRecordsOverAllSatellites) {
    fake->nvram["soapc_sat_access_count"] = "3";
    for (int sat = 0; sat < 3; ++sat) {
        avs_satellite(sat, "1");
        client.answers[{std::to_string(sat), "23"}]["soapc_sat_" + std::to_string(sat) +
                                                    "_AVSAnalytic_GetAvsAnalytic_RecordNumber"] =
            "100";
    }
    json::Ptr obj = build();
    ASSERT_TRUE(obj);
    ASSERT_EQ(kMaxVoiceRecordsPerBody, 168);
    EXPECT_EQ(cJSON_GetArraySize(json::get(device(obj, 0), "record")), 100);
    EXPECT_EQ(cJSON_GetArraySize(json::get(device(obj, 1), "record")), 68);
    // The third satellite is still reported, with what it announced and no records.
    const cJSON* third = device(obj, 2);
    EXPECT_STREQ(json::get_string(third, "numberOfRecord"), "100");
    ASSERT_TRUE(cJSON_IsArray(json::get(third, "record")));
    EXPECT_EQ(cJSON_GetArraySize(json::get(third, "record")), 0);
    EXPECT_EQ(json::get(obj.get(), "numberOfDevice")->valueint, 3);
}

TEST_F(VoiceAnalytics, BodyStopsAtItsMediaBudgetAcrossRecords) {
    fake->nvram["soapc_sat_access_count"] = "1";
    avs_satellite(0, "1");
    analytics0()[kAvs + "RecordNumber"] = "4";
    for (const char* suffix : {"", "_1", "_2", "_3"}) record0(suffix, "2023-7-4", "64");
    json::Ptr obj = build();
    ASSERT_TRUE(obj);
    ASSERT_EQ(kMaxVoiceMediaPerBody, 168);
    auto media_of = [&](int r) {
        return cJSON_GetArraySize(json::get(record(obj, r), "mediaRecord"));
    };
    EXPECT_EQ(media_of(0), 64);
    EXPECT_EQ(media_of(1), 64);
    EXPECT_EQ(media_of(2), 40);
    EXPECT_EQ(media_of(3), 0);
    // The announced count is reported as read, whatever was listed.
    EXPECT_EQ(json::get(record(obj, 3), "mediaCount")->valueint, 64);
}

TEST_F(VoiceAnalytics, RecordWithoutMediaAddsNoLeftOverEntryOnceTheMediaBudgetIsSpent) {
    fake->nvram["soapc_sat_access_count"] = "1";
    avs_satellite(0, "1");
    analytics0()[kAvs + "RecordNumber"] = "4";
    for (const char* suffix : {"", "_1", "_2"}) record0(suffix, "2023-7-4", "56");
    record0("_3", "2023-7-4", "0");
    // The entry a record without media would report: record count 4, media index 1.
    analytics0()[kAvs + "rec_4_media_1_MediaProvider"] = "left-over";
    json::Ptr obj = build();
    ASSERT_TRUE(obj);
    EXPECT_EQ(cJSON_GetArraySize(json::get(record(obj, 2), "mediaRecord")), 56);
    EXPECT_EQ(json::get(record(obj, 3), "mediaRecord"), nullptr);
}

TEST_F(VoiceAnalytics, EverySatelliteAtEveryBoundGivesABodyOfAtMostNinetyKiB) {
    every_satellite_announces(32, 168, 64);
    json::Ptr obj = build();
    ASSERT_TRUE(obj);
    EXPECT_EQ(json::get(obj.get(), "numberOfDevice")->valueint, 32);
    int records = 0;
    int media = 0;
    const cJSON* dev = nullptr;
    cJSON_ArrayForEach(dev, json::get(obj.get(), "device")) {
        const cJSON* rec = nullptr;
        cJSON_ArrayForEach(rec, json::get(dev, "record")) {
            ++records;
            media += cJSON_GetArraySize(json::get(rec, "mediaRecord"));
        }
    }
    EXPECT_EQ(records, kMaxVoiceRecordsPerBody);
    EXPECT_EQ(media, kMaxVoiceMediaPerBody);
    // As the routine report prints it: one level deeper than the body's own root.
    json::Ptr root = json::object();
    json::add(root.get(), "avsAnalytic", std::move(obj));
    json::Text text = json::print(root.get());
    ASSERT_TRUE(text);
    size_t size = std::strlen(text.get());
    RecordProperty("printed_bytes", static_cast<int>(size));
    EXPECT_LE(size, 90u * 1024u);
}

// --- the routine report --------------------------------------------------------------

TEST_F(VoiceAnalytics, RoutineReportCarriesAvsAnalyticWhenItsRowIsDue) {
    fake->hwversion = "VRE670";
    fake->nvram["hwver"] = "VRE670";
    fake->nvram["RA_enable"] = "1";
    fake->nvram["sku_name"] = "US";
    fake->nvram["soapc_sat_access_count"] = "1";
    avs_satellite(0, "0");
    d.info.model = "VRE670";
    d.info.mac = "AABBCC001122";
    d.policy.report_method = "none";
    d.policy.rows[ROW_AVS_ANALYTIC].interval = kDailyInterval;
    fake->mkdir("/tmp/telem_json_dir");
    fake->now_uptime = 5000;
    auto report = [&]() -> json::Ptr {
        testing::internal::CaptureStdout();
        create_device_json(d, 1);
        testing::internal::GetCapturedStdout();
        auto text = fake->read("/tmp/telem_json_dir/telem_VRE670_1.json");
        return text ? json::parse(*text) : nullptr;
    };
    json::Ptr doc = report();
    ASSERT_TRUE(doc);
    EXPECT_EQ(json::print_compact(json::get(doc.get(), "avsAnalytic")),
              R"({"numberOfDevice":1,"device":[{}]})");
    // The row counts from the pass's time, before the hand-shake's sleeps.
    EXPECT_EQ(d.policy.rows[ROW_AVS_ANALYTIC].last_update, 5000u);

    // Not due again within the day...
    fake->now_uptime += 3600;
    platform::remove_file("/tmp/telem_json_dir/telem_VRE670_1.json");
    doc = report();
    EXPECT_FALSE(doc && json::get(doc.get(), "avsAnalytic"));
    // ...unless voice reports are switched to every pass.
    fake->nvram["RA_voice_report"] = "0";
    fake->now_uptime += 600;
    doc = report();
    ASSERT_TRUE(doc);
    EXPECT_TRUE(json::get(doc.get(), "avsAnalytic"));
}

// --- golden body of a fixture mesh ---------------------------------------------------

// Three satellites: 0 registered with two records (the first with two media entries,
// the second with none but an entry under the record count), 1 without voice support,
// 2 with voice support but not registered.
json::Ptr fixture_body(FakeBackend& fake, SoapClient& client, Daemon& d) {
    fake.nvram["soapc_sat_access_count"] = "3";
    fake.nvram["soapc_sat_0_DeviceInfo_GetSupportFeatureListXML_AvsSupport"] = "1";
    fake.nvram["soapc_sat_2_DeviceInfo_GetSupportFeatureListXML_AvsSupport"] = "1";
    client.answers[{"0", "16"}]["soapc_sat_0_VoiceControl_GetVoiceControlStatus_AvsRegStatus"] =
        "1";
    client.answers[{"2", "16"}]["soapc_sat_2_VoiceControl_GetVoiceControlStatus_AvsRegStatus"] =
        "0";
    auto& a = client.answers[{"0", "23"}];
    a[kAvs + "MAC"] = "94:A6:7E:20:30:40";
    a[kAvs + "SerialNumber"] = "6VS650B0004321";
    a[kAvs + "RecordNumber"] = "2";
    const std::vector<std::pair<std::string, std::vector<std::string>>> records = {
        {"", {"2023-7-4", "9", "7", "1", "2", "0", "1", "3", "4", "5", "2"}},
        {"_1", {"2023-7-5", "10", "0", "6", "0", "1", "0", "0", "0", "0", "0"}},
    };
    const char* stems[] = {"RecordDate",
                           "RecordHour",
                           "TriggerCountByVoice",
                           "TriggerCountByButton",
                           "SpeechRecognitionFailCount",
                           "AvsDisconnectedCount",
                           "TokenRefreshFailedCount",
                           "GeneralEventCount",
                           "TodoListCount",
                           "AlertCount",
                           "MediaCount"};
    for (const auto& [suffix, values] : records)
        for (size_t k = 0; k < values.size(); ++k) a[kAvs + stems[k] + suffix] = values[k];
    a[kAvs + "rec_0_media_1_MediaProvider"] = "TuneIn";
    a[kAvs + "rec_0_media_1_MediaPlayPeriod"] = "1260";
    a[kAvs + "rec_0_media_2_MediaProvider"] = "Amazon Music";
    a[kAvs + "rec_0_media_2_MediaPlayPeriod"] = "45";
    a[kAvs + "rec_2_media_1_MediaProvider"] = "Spotify";
    a[kAvs + "rec_2_media_1_MediaPlayPeriod"] = "300";
    testing::internal::CaptureStdout();
    json::Ptr obj = create_satellite_voice_obj(d);
    testing::internal::GetCapturedStdout();
    return obj;
}

std::string golden_text(const std::string& name) {
    std::filesystem::path path =
        std::filesystem::path(__FILE__).parent_path().parent_path() / "golden" / name;
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

TEST_F(VoiceAnalytics, GoldenBodyOfFixtureMesh) {
    json::Ptr obj = fixture_body(*fake, client, d);
    ASSERT_TRUE(obj);
    std::string golden = golden_text("avs_analytic.json");
    ASSERT_FALSE(golden.empty()) << "missing golden file avs_analytic.json";
    // Exactly as printed, then member order and types independent of layout.
    EXPECT_EQ(json::print_string(obj.get()) + "\n", golden);
    json::Ptr expected = json::parse(golden);
    ASSERT_TRUE(expected);
    EXPECT_EQ(json::print_compact(obj.get()), json::print_compact(expected.get()));
}

}  // namespace
