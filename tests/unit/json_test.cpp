#include "json/json.h"

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

TEST(JsonRules, UnnamedMemberIsRefusedAndFreed) {
    json::Ptr obj = json::object();
    json::add(obj.get(), nullptr, json::string("x"));  // the sanitizer build checks the free
    EXPECT_EQ(cJSON_GetArraySize(obj.get()), 0);
}

TEST(JsonRules, ArrayRefusesItselfAndFreesNothingTwice) {
    json::Ptr arr = json::array();
    json::add_to_array(arr.get(), json::number(1));
    json::add_to_array(arr.get(), json::number(2));
    EXPECT_EQ(json::print_compact(arr.get()), "[1,2]");
}

// An item that carries a name (one taken out of a parsed object, say) is held to the
// duplicate-member rule inside an array too; unnamed items never collide.
TEST(JsonRules, NamedItemAddedToArrayUnderTakenNameIsDropped) {
    // The parser keeps both members of a document that repeats a name.
    json::Ptr source = json::parse(R"({"macAddress":"first","macAddress":"second"})");
    ASSERT_TRUE(source);
    json::Ptr first(cJSON_DetachItemFromObject(source.get(), "macAddress"));
    json::Ptr second(cJSON_DetachItemFromObject(source.get(), "macAddress"));
    ASSERT_TRUE(first && second);
    ASSERT_STREQ(second->valuestring, "second");

    json::Ptr arr = json::array();
    json::add_to_array(arr.get(), json::number(1));
    testing::internal::CaptureStdout();
    json::add_to_array(arr.get(), std::move(first));
    json::add_to_array(arr.get(), std::move(second));  // freed by the rule
    json::add_to_array(arr.get(), json::number(2));
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out, "\n[RA format warning] warning duplicate attribute name = macAddress   \n");
    EXPECT_EQ(cJSON_GetArraySize(arr.get()), 3);
    EXPECT_EQ(json::print_compact(arr.get()), R"([1,"first",2])");
}

TEST(JsonRules, NamedItemInArrayComparesNamesExactly) {
    json::Ptr source = json::parse(R"({"stage":"a","Stage":"b"})");
    ASSERT_TRUE(source);
    json::Ptr lower(cJSON_DetachItemFromObjectCaseSensitive(source.get(), "stage"));
    json::Ptr upper(cJSON_DetachItemFromObjectCaseSensitive(source.get(), "Stage"));
    ASSERT_TRUE(lower && upper);
    json::Ptr arr = json::array();
    testing::internal::CaptureStdout();
    json::add_to_array(arr.get(), std::move(lower));
    json::add_to_array(arr.get(), std::move(upper));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(cJSON_GetArraySize(arr.get()), 2);
}

TEST(JsonRules, ReferenceShowsItemWithoutOwningIt) {
    json::Ptr source = json::parse(R"({"ts":{"date":[1,2,3]},"n":5,"s":"x"})");
    ASSERT_TRUE(source);
    {
        json::Ptr report = json::object();
        for (const char* name : {"ts", "n", "s"})
            json::add_reference(report.get(), name, json::get(source.get(), name));
        EXPECT_EQ(json::print_compact(report.get()), R"({"ts":{"date":[1,2,3]},"n":5,"s":"x"})");
        EXPECT_TRUE(json::get(report.get(), "ts")->type & cJSON_IsReference);
    }
    // The report is gone; the source is whole and is freed once, by its own owner.
    EXPECT_EQ(json::print_compact(source.get()), R"({"ts":{"date":[1,2,3]},"n":5,"s":"x"})");
}

TEST(JsonRules, ReferenceUnderTakenNameWarnsAndIsDropped) {
    json::Ptr source = json::parse(R"({"n":5})");
    json::Ptr report = json::object();
    json::add_number(report.get(), "n", 1);
    testing::internal::CaptureStdout();
    json::add_reference(report.get(), "n", json::get(source.get(), "n"));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\n[RA format warning] warning duplicate attribute name = n   \n");
    EXPECT_EQ(json::print_compact(report.get()), R"({"n":1})");
}

TEST(JsonRules, ReferenceWithoutNameOrItemIsIgnored) {
    json::Ptr source = json::parse(R"({"n":5})");
    json::Ptr report = json::object();
    json::add_reference(report.get(), nullptr, json::get(source.get(), "n"));
    json::add_reference(report.get(), "m", nullptr);
    EXPECT_EQ(cJSON_GetArraySize(report.get()), 0);
}
