#include "report/event_files.h"

#include <gtest/gtest.h>

#include <string>

#include "support/fake_backend.h"

namespace {

using testing_support::FakeRouter;

const std::string kDal = kDalEventFile;
const std::string kWifi = kWifiEventFile;

EventMember read_dal(int which, std::string& out) {
    testing::internal::CaptureStdout();
    EventMember m = read_dal_event_member(which);
    out = testing::internal::GetCapturedStdout();
    return m;
}

EventMember read_wifi(std::string& out) {
    testing::internal::CaptureStdout();
    EventMember m = read_wifi_event_member();
    out = testing::internal::GetCapturedStdout();
    return m;
}

const char* kDalEvent = R"({
  "event": {"eventType": 17, "timeStamp": {"date": [2026, 1, 2], "time": [3, 4, 5]},
            "epochTimeStamp": 1767323045, "ntpResult": "ok"},
  "installEvent": {"app": "x"}
})";

}  // namespace

// ---- DAL event reader ---------------------------------------------------------------------

TEST(DalEventReader, FirstMemberIsTheEventHeaderFields) {
    FakeRouter fake;
    fake->write(kDalEventFile, kDalEvent);
    std::string out;
    EventMember m = read_dal(1, out);
    ASSERT_TRUE(m);
    EXPECT_EQ(out, "");
    EXPECT_STREQ(m.name(), "event");
    EXPECT_EQ(cJSON_GetObjectItem(m.member, "eventType")->valueint, 17);
    EXPECT_EQ(m.member->next, m.document->child->next);  // still inside its document
}

TEST(DalEventReader, SecondMemberIsTheBody) {
    FakeRouter fake;
    fake->write(kDalEventFile, kDalEvent);
    std::string out;
    EventMember m = read_dal(2, out);
    ASSERT_TRUE(m);
    EXPECT_STREQ(m.name(), "installEvent");
    EXPECT_EQ(json::print_compact(m.member), R"({"app":"x"})");
}

TEST(DalEventReader, SingleTopLevelMemberIsRejectedForEitherMember) {
    FakeRouter fake;
    fake->write(kDalEventFile, R"({"event": {"eventType": 6}})");
    for (int which : {1, 2}) {
        std::string out;
        EventMember m = read_dal(which, out);
        EXPECT_FALSE(m);
        EXPECT_FALSE(m.document);
        EXPECT_EQ(out, "JSON format error: No second child node found.\n");
    }
    // The reader leaves the file to its caller, which deletes it after every attempt.
    EXPECT_TRUE(fake->exists(kDalEventFile));
}

TEST(DalEventReader, NoMemberAtAll) {
    FakeRouter fake;
    for (const char* text : {"{}", "[]", "\"text\"", "5"}) {
        fake->write(kDalEventFile, text);
        std::string out;
        EXPECT_FALSE(read_dal(1, out)) << text;
        EXPECT_EQ(out, "JSON format error: No child node found.\n") << text;
    }
}

TEST(DalEventReader, MissingFile) {
    FakeRouter fake;
    std::string out;
    EXPECT_FALSE(read_dal(1, out));
    EXPECT_EQ(out, "Failed to open " + kDal + "! \n");
}

TEST(DalEventReader, InvalidJsonNamesFileAndPosition) {
    FakeRouter fake;
    fake->write(kDalEventFile, R"({"a": {}, "b": oops})");
    std::string out;
    EXPECT_FALSE(read_dal(2, out));
    EXPECT_EQ(out, "Not " + kDal + " valid JSON string, Error before: [oops}]\n");
}

TEST(DalEventReader, OtherMemberNumbersGiveNothing) {
    FakeRouter fake;
    fake->write(kDalEventFile, kDalEvent);
    std::string out;
    EXPECT_FALSE(read_dal(3, out));
    EXPECT_FALSE(read_dal(0, out));
    EXPECT_EQ(out, "");
}

TEST(DalEventReader, TakeDetachesTheBodyWithItsName) {
    FakeRouter fake;
    fake->write(kDalEventFile, kDalEvent);
    std::string out;
    EventMember m = read_dal(2, out);
    json::Ptr body = m.take();
    ASSERT_TRUE(body);
    EXPECT_FALSE(m);
    EXPECT_STREQ(body->string, "installEvent");
    EXPECT_EQ(cJSON_GetArraySize(m.document.get()), 1);  // the document keeps the rest
    json::Ptr root = json::object();
    std::string name = body->string;
    json::add(root.get(), name.c_str(), std::move(body));
    EXPECT_EQ(json::print_compact(root.get()), R"({"installEvent":{"app":"x"}})");
    EXPECT_FALSE(m.take());
}

// ---- Wi-Fi event reader -------------------------------------------------------------------

TEST(WifiEventReader, ReturnsFirstTopLevelMember) {
    FakeRouter fake;
    fake->write(kWifiEventFile, R"({"wifiEvent": [{"a": 1}], "extra": 2})");
    std::string out;
    EventMember m = read_wifi(out);
    ASSERT_TRUE(m);
    EXPECT_EQ(out, "");
    EXPECT_STREQ(m.name(), "wifiEvent");
    EXPECT_EQ(json::print_compact(m.member), R"([{"a":1}])");
}

TEST(WifiEventReader, MissingFile) {
    FakeRouter fake;
    std::string out;
    EXPECT_FALSE(read_wifi(out));
    EXPECT_EQ(out, "Failed to open " + kWifi + "!\n");
}

TEST(WifiEventReader, InvalidJson) {
    FakeRouter fake;
    fake->write(kWifiEventFile, R"({"wifiEvent": [1,)");
    std::string out;
    EXPECT_FALSE(read_wifi(out));
    EXPECT_EQ(out, "Invalid JSON string in " + kWifi + ": \n");
}

TEST(WifiEventReader, EmptyObjectGivesNothingQuietly) {
    FakeRouter fake;
    fake->write(kWifiEventFile, "{}");
    std::string out;
    EXPECT_FALSE(read_wifi(out));
    EXPECT_EQ(out, "");
}

TEST(WifiEventReader, UnnamedMemberIsFreedWhenAddedToAnObject) {
    FakeRouter fake;
    fake->write(kWifiEventFile, R"([{"a": 1}])");
    std::string out;
    EventMember m = read_wifi(out);
    ASSERT_TRUE(m);
    EXPECT_EQ(m.name(), nullptr);
    json::Ptr root = json::object();
    json::add(root.get(), m.name(), m.take());  // refused by cJSON; must not leak
    EXPECT_EQ(cJSON_GetArraySize(root.get()), 0);
}

TEST(WifiEventReader, DeepNestingIsRefusedWithoutCrash) {
    FakeRouter fake;
    fake->write(kWifiEventFile,
                "{\"e\":" + std::string(10000, '[') + std::string(10000, ']') + "}");
    std::string out;
    EXPECT_FALSE(read_wifi(out));
    EXPECT_EQ(out.rfind("Invalid JSON string in " + kWifi + ": ", 0), 0u);
}
