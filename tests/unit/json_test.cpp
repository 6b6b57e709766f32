#include "report/json.h"

#include <gtest/gtest.h>

TEST(JsonRules, DuplicateMemberKeepsFirstAndWarnsOnce) {
    json::Ptr obj = json::object();
    testing::internal::CaptureStdout();
    json::add_string(obj.get(), "macAddress", "first");
    json::add_string(obj.get(), "macAddress", "second");
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out, "\n[RA format warning] warning duplicate attribute name = macAddress   \n");
    EXPECT_STREQ(json::get_string(obj.get(), "macAddress"), "first");
    EXPECT_EQ(cJSON_GetArraySize(obj.get()), 1);
}

TEST(JsonRules, NullItemIsIgnored) {
    json::Ptr obj = json::object();
    json::add(obj.get(), "a", nullptr);
    EXPECT_EQ(cJSON_GetArraySize(obj.get()), 0);
}

TEST(JsonRules, NamesCompareExactlyOnInsertion) {
    json::Ptr obj = json::object();
    json::add_number(obj.get(), "Stage", 1);
    json::add_number(obj.get(), "stage", 2);
    EXPECT_EQ(cJSON_GetArraySize(obj.get()), 2);
}

TEST(JsonRules, LookupIsCaseInsensitive) {
    json::Ptr doc = json::parse(R"({"RouterInfo":"30"})");
    ASSERT_TRUE(doc);
    EXPECT_STREQ(json::get_string(doc.get(), "routerinfo"), "30");
}

TEST(JsonRules, ParseErrorGivesPosition) {
    std::string before;
    json::Ptr doc = json::parse(R"({"a": x})", &before);
    EXPECT_FALSE(doc);
    EXPECT_EQ(before, "x}");
}
