#include "platform/zt.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <regex>

#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

constexpr const char* kOut = "/tmp/tmp_zt_file_telem";

void install_zt(FakeRouter& fake) {
    fake->write("/usr/bin/zt", "#!/bin/sh\n");
}

}  // namespace

TEST(ZtGet, MultiLineOutputYieldsTheFirstLine) {
    FakeRouter fake;
    install_zt(fake);
    fake->on_exact("zt -s qagentcfg[0].q_agent_id > /tmp/tmp_zt_file_telem",
                   FakeBackend::outputs("abc def\nxyz"));
    std::string value = "stale";
    EXPECT_EQ(ovraZTConfig_get("qagentcfg[0].q_agent_id", value), 1);
    EXPECT_EQ(value, "abc def");
    EXPECT_EQ(fake->commands,
              std::vector<std::string>{"zt -s qagentcfg[0].q_agent_id > /tmp/tmp_zt_file_telem"});
}

TEST(ZtGet, OutputFileIsDeletedAfterReading) {
    FakeRouter fake;
    install_zt(fake);
    fake->on_prefix("zt -s", FakeBackend::outputs("v\n"));
    std::string value;
    ASSERT_EQ(ovraZTConfig_get("k", value), 1);
    EXPECT_FALSE(fake->exists(kOut));
}

TEST(ZtGet, MissingToolReturnsZeroWithEmptyValueAndRunsNothing) {
    FakeRouter fake;
    fake->on_prefix("zt -s", FakeBackend::outputs("should not be read\n"));
    std::string value = "stale";
    EXPECT_EQ(ovraZTConfig_get("k", value), 0);
    EXPECT_EQ(value, "");
    EXPECT_TRUE(fake->commands.empty());
}

TEST(ZtGet, EmptyKeyReturnsZeroAndRunsNothing) {
    FakeRouter fake;
    install_zt(fake);
    std::string value = "stale";
    EXPECT_EQ(ovraZTConfig_get("", value), 0);
    EXPECT_EQ(value, "");
    EXPECT_TRUE(fake->commands.empty());
}

TEST(ZtGet, EmptyOutputFileStillYieldsOneWithEmptyValue) {
    FakeRouter fake;
    install_zt(fake);
    fake->on_prefix("zt -s", FakeBackend::outputs(""));
    std::string value = "stale";
    EXPECT_EQ(ovraZTConfig_get("k", value), 1);
    EXPECT_EQ(value, "");
    EXPECT_FALSE(fake->exists(kOut));
}

TEST(ZtGet, LeadingNewlineGivesEmptyValue) {
    FakeRouter fake;
    install_zt(fake);
    fake->on_prefix("zt -s", FakeBackend::outputs("\nsecond\n"));
    std::string value;
    EXPECT_EQ(ovraZTConfig_get("k", value), 1);
    EXPECT_EQ(value, "");
}

TEST(ZtGet, OutputThatCannotBeOpenedReturnsZero) {
    FakeRouter fake;
    install_zt(fake);
    // The output path is a dangling link, so the redirection target cannot be created
    // or opened.
    ASSERT_EQ(
        ::symlink((fake->root() + "/no/such/dir/file").c_str(), (fake->root() + kOut).c_str()), 0);
    std::string value = "stale";
    EXPECT_EQ(ovraZTConfig_get("k", value), 0);
    EXPECT_EQ(value, "");
    EXPECT_EQ(fake->commands.size(), 1u);
    EXPECT_FALSE(fake->exists(kOut));
}

TEST(ZtGet, ReadsOneLineOfAtMost512Bytes) {
    FakeRouter fake;
    install_zt(fake);
    fake->on_prefix("zt -s", FakeBackend::outputs(std::string(600, 'x') + "\n"));
    std::string value;
    EXPECT_EQ(ovraZTConfig_get("k", value), 1);
    EXPECT_EQ(value, std::string(511, 'x'));
}

TEST(ZtGet, CommandIsCutToA512ByteBuffer) {
    FakeRouter fake;
    install_zt(fake);
    std::string key(600, 'k');
    std::string value;
    ovraZTConfig_get(key, value);
    ASSERT_EQ(fake->commands.size(), 1u);
    EXPECT_EQ(fake->commands[0], ("zt -s " + key).substr(0, 511));
}

TEST(ZtGet, HostileKeyIsRefusedAndNothingRuns) {
    FakeRouter fake;
    install_zt(fake);
    testing::internal::CaptureStdout();
    std::string value = "stale";
    EXPECT_EQ(ovraZTConfig_get("k; reboot", value), 0);
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(value, "");
    EXPECT_TRUE(fake->commands.empty());
    EXPECT_EQ(out, "[telem_json] refused to run \"zt -s %s > %s\": unsafe key \"k; reboot\"\n");
}

TEST(ZtSet, PrintsTraceLineThenRunsCommand) {
    FakeRouter fake;
    install_zt(fake);
    testing::internal::CaptureStdout();
    EXPECT_EQ(ovraZTConfig_set("qagentcfg[0].q_agent_id", "abc"), 1);
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(std::regex_match(
        out, std::regex(R"(ovraZTConfig_set\(\d+\) qagentcfg\[0\]\.q_agent_id=abc\n)")))
        << out;
    EXPECT_EQ(fake->commands, std::vector<std::string>{"zt -c qagentcfg[0].q_agent_id abc"});
}

TEST(ZtSet, ValueWithBlanksIsNotQuoted) {
    FakeRouter fake;
    install_zt(fake);
    testing::internal::CaptureStdout();
    EXPECT_EQ(ovraZTConfig_set("k", "two words"), 1);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(fake->commands, std::vector<std::string>{"zt -c k two words"});
}

TEST(ZtSet, ExitStatusOfTheToolIsNotLookedAt) {
    FakeRouter fake;
    install_zt(fake);
    fake->on_prefix("zt -c", FakeBackend::outputs("", 1));
    testing::internal::CaptureStdout();
    EXPECT_EQ(ovraZTConfig_set("k", "v"), 1);
    testing::internal::GetCapturedStdout();
}

TEST(ZtSet, MissingToolReturnsZeroPrintsNothingRunsNothing) {
    FakeRouter fake;
    testing::internal::CaptureStdout();
    EXPECT_EQ(ovraZTConfig_set("k", "v"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_TRUE(fake->commands.empty());
}

TEST(ZtSet, EmptyKeyReturnsZeroAndRunsNothing) {
    FakeRouter fake;
    install_zt(fake);
    testing::internal::CaptureStdout();
    EXPECT_EQ(ovraZTConfig_set("", "v"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_TRUE(fake->commands.empty());
}

TEST(ZtSet, HostileValueIsRefusedAndNothingRuns) {
    FakeRouter fake;
    install_zt(fake);
    testing::internal::CaptureStdout();
    EXPECT_EQ(ovraZTConfig_set("k", "v; reboot"), 0);
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("refused to run \"zt -c %s %s\": unsafe text \"v; reboot\""),
              std::string::npos)
        << out;
    EXPECT_TRUE(fake->commands.empty());
}

TEST(ZtMatch, StoredTenMatchesWantedOneByPrefix) {
    FakeRouter fake;
    install_zt(fake);
    fake->on_exact("zt -s k > /tmp/tmp_zt_file_telem", FakeBackend::outputs("10\n"));
    EXPECT_NE(ovraZTConfig_match("k", "1"), 0);
    EXPECT_NE(ovraZTConfig_match("k", "10"), 0);
    EXPECT_EQ(ovraZTConfig_match("k", "100"), 0);
    EXPECT_EQ(ovraZTConfig_match("k", "2"), 0);
}

TEST(ZtMatch, EmptyWantedMatchesAnyValueThatWasRead) {
    FakeRouter fake;
    install_zt(fake);
    fake->on_prefix("zt -s", FakeBackend::outputs(""));
    EXPECT_NE(ovraZTConfig_match("k", ""), 0);
}

TEST(ZtMatch, MissingToolNeverMatches) {
    FakeRouter fake;
    EXPECT_EQ(ovraZTConfig_match("k", ""), 0);
    EXPECT_EQ(ovraZTConfig_match("k", "1"), 0);
    EXPECT_TRUE(fake->commands.empty());
}
