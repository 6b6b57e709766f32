#include <gtest/gtest.h>

#include "platform/shell.h"
#include "support/fake_backend.h"

using shell::Arg;
using shell::Kind;
using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

const Kind kCheckedKinds[] = {Kind::Key,  Kind::Mac,  Kind::Ifname, Kind::Host,
                              Kind::Path, Kind::Word, Kind::Text};

const std::string kHostile[] = {
    "eth0; reboot", "$(reboot)", "`id`",   "a|b",    "a&b",         "a>b",   "a<b", "x\ny",
    "'quoted'",     "\"dq\"",    "../..",  "..",     "/tmp/../etc", "a\\b",  "*",   "a?",
    "~root",        "-rf",       "--help", "a\tb",   "x\ry",        "$HOME", "a;b", "(x)",
    "{a,b}",        "!x",        "a#b",    "x y -c",
};

Arg wrap(Kind kind, const std::string& value) {
    switch (kind) {
        case Kind::Key:
            return shell::key(value);
        case Kind::Mac:
            return shell::mac(value);
        case Kind::Ifname:
            return shell::ifname(value);
        case Kind::Host:
            return shell::host(value);
        case Kind::Path:
            return shell::path(value);
        case Kind::Word:
            return shell::word(value);
        case Kind::Text:
            return shell::text(value);
        case Kind::Constant:
            break;
    }
    return shell::constant(value);
}

}  // namespace

TEST(CommandSafety, HostileValuesAreRefusedForEveryKindAndNothingRuns) {
    FakeRouter fake;
    fake->on_prefix("echo", FakeBackend::outputs("ran\n"));
    for (Kind kind : kCheckedKinds) {
        for (const auto& value : kHostile) {
            SCOPED_TRACE(std::string(shell::kind_name(kind)) + " <" + value + ">");
            testing::internal::CaptureStdout();
            auto command = shell::compose(128, "echo %s > /tmp/telem_one_line", wrap(kind, value));
            int rc = shell::run(command);
            auto line = shell::capture_first_line(
                shell::compose(128, "echo %s > /tmp/telem_one_line", wrap(kind, value)),
                "/tmp/telem_one_line", 128);
            auto lines = shell::capture_lines(
                shell::compose(128, "echo %s %d > /tmp/telem_one_line", wrap(kind, value), 5),
                "/tmp/telem_one_line", 128);
            std::string out = testing::internal::GetCapturedStdout();
            EXPECT_FALSE(command);
            EXPECT_EQ(rc, -1);
            EXPECT_FALSE(line);
            EXPECT_FALSE(lines);
            EXPECT_TRUE(fake->commands.empty());
            EXPECT_NE(out.find("[telem_json] refused to run \"echo %s"), std::string::npos) << out;
            EXPECT_NE(out.find(std::string("unsafe ") + shell::kind_name(kind)), std::string::npos)
                << out;
        }
    }
}

TEST(CommandSafety, RefusalMessageShowsTheValueOnOneLine) {
    FakeRouter fake;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(shell::compose(128, "ifconfig %s > %s", shell::ifname("x\ny\"\x01"),
                                shell::constant("/tmp/telem_parse_file")));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "[telem_json] refused to run \"ifconfig %s > %s\": unsafe interface name "
              "\"x\\ny\\\"\\x01\"\n");
}

TEST(CommandSafety, OneBadValueRefusesTheWholeLine) {
    FakeRouter fake;
    testing::internal::CaptureStdout();
    auto command = shell::compose(128, "arping -I %s -c 1 %s > /tmp/x", shell::ifname("br0"),
                                  shell::host("1.2.3.4;reboot"));
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_FALSE(command);
    EXPECT_EQ(out,
              "[telem_json] refused to run \"arping -I %s -c 1 %s > /tmp/x\": unsafe host "
              "\"1.2.3.4;reboot\"\n");
}

TEST(CommandSafety, GoodValuesPassForEachKind) {
    const std::pair<Kind, std::vector<std::string>> good[] = {
        {Kind::Key, {"qagentcfg[0].q_agent_id", "Fh1_2G.ifname", "RA_stage", "soapc_sat_1_mac"}},
        {Kind::Mac, {"AA:BB:CC:00:11:22", "aabbcc001122", ""}},
        {Kind::Ifname, {"ath0", "br-lan", "eth0.2", "wlan0@phy0"}},
        {Kind::Host, {"www.example.com", "192.168.1.1", "fe80::1", "https://a.example/x"}},
        {Kind::Path, {"/tmp/telem_one_line", "/opt/persistent/router-analytics/a+b.json", "a..b"}},
        {Kind::Word, {"key=value", "100%", "-5", "user@host", "a,b"}},
        {Kind::Text, {"abc def", "V1.0.2 build 5", "-3 dBm", "a..b c"}},
    };
    for (const auto& [kind, values] : good) {
        for (const auto& v : values) {
            SCOPED_TRACE(std::string(shell::kind_name(kind)) + " <" + v + ">");
            EXPECT_TRUE(shell::acceptable(kind, v));
        }
    }
}

TEST(CommandSafety, AcceptedLineIsComposedLikeSnprintfAndRun) {
    FakeRouter fake;
    fake->on_exact("iw dev ath1 station dump > /tmp/telem_parse_file",
                   FakeBackend::outputs("Station aa:bb\nsignal -40\n"));
    auto lines = shell::capture_lines(
        shell::compose(128, "iw dev %s station dump > %s", shell::ifname("ath1"),
                       shell::constant("/tmp/telem_parse_file")),
        "/tmp/telem_parse_file", 128);
    ASSERT_TRUE(lines);
    EXPECT_EQ(*lines, (std::vector<std::string>{"Station aa:bb\n", "signal -40\n"}));
    EXPECT_EQ(fake->commands,
              std::vector<std::string>{"iw dev ath1 station dump > /tmp/telem_parse_file"});
    EXPECT_FALSE(fake->exists("/tmp/telem_parse_file"));
}

TEST(CommandSafety, ComposeCutsTheLineToItsBuffer) {
    FakeRouter fake;
    auto command = shell::compose(16, "echo %s %d", shell::word("abcdefghij"), 12345);
    ASSERT_TRUE(command);
    EXPECT_EQ(*command, "echo abcdefghij");
}

TEST(CommandSafety, ConstantsAreNotChecked) {
    EXPECT_TRUE(shell::acceptable(Kind::Constant, "a; b | c"));
    auto command = shell::compose(64, "%s", shell::constant("x > /dev/null 2>&1"));
    ASSERT_TRUE(command);
    EXPECT_EQ(*command, "x > /dev/null 2>&1");
}

TEST(CommandSafety, MissingOutputFileReadsAsNoValue) {
    FakeRouter fake;
    fake->on_exact("true", FakeBackend::Response{});
    auto line = shell::capture_first_line(shell::compose(64, "true"), "/tmp/never_written", 64);
    EXPECT_FALSE(line);
    EXPECT_EQ(fake->commands, std::vector<std::string>{"true"});
}
