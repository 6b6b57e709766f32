// Inputs other programs on the router could leave behind that once made the daemon
// overflow, block, balloon or misname a file. Each test is built from the input that
// showed the fault.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <climits>
#include <string>

#include "core/daemon.h"
#include "core/main_loop.h"
#include "json/json.h"
#include "platform/fs.h"
#include "platform/input_limits.h"
#include "platform/numbers.h"
#include "platform/uci_file.h"
#include "report/firmware_upgrade.h"
#include "report/install_event_id.h"
#include "report/publish.h"
#include "report/report_files.h"
#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

// --- saturating numbers ------------------------------------------------------------

TEST(SaturatingNumbers, ReadLikeStrtollWithinRange) {
    EXPECT_EQ(numbers::parse_int64(""), 0);
    EXPECT_EQ(numbers::parse_int64("abc"), 0);
    EXPECT_EQ(numbers::parse_int64("  42kB"), 42);
    EXPECT_EQ(numbers::parse_int64("\t-17 "), -17);
    EXPECT_EQ(numbers::parse_int64("+8"), 8);
    EXPECT_EQ(numbers::parse_int64("9223372036854775807"), INT64_MAX);
    EXPECT_EQ(numbers::parse_int64("-9223372036854775808"), INT64_MIN);
}

TEST(SaturatingNumbers, BeyondRangeReadsAsTheBound) {
    EXPECT_EQ(numbers::parse_int64("9223372036854775808"), INT64_MAX);
    EXPECT_EQ(numbers::parse_int64("99999999999999999999999999"), INT64_MAX);
    EXPECT_EQ(numbers::parse_int64("-9223372036854775809"), INT64_MIN);
    EXPECT_EQ(numbers::parse_int("2147483648"), INT_MAX);
    EXPECT_EQ(numbers::parse_int("-2147483649"), INT_MIN);
    EXPECT_EQ(numbers::parse_int("2147483647"), INT_MAX);
}

TEST(SaturatingNumbers, IncrementStopsAtIntMax) {
    EXPECT_EQ(numbers::increment_saturated(0), 1);
    EXPECT_EQ(numbers::increment_saturated(-1), 0);
    EXPECT_EQ(numbers::increment_saturated(INT_MAX), INT_MAX);
}

// --- A: install event identifier at the top of the range ------------------------------

TEST(HostileInput, InstallEventIdAtLlongMaxStaysAtIntMax) {
    FakeRouter fake;
    fake->nvram["RAE_installEventId"] = "9223372036854775807";
    EXPECT_EQ(advance_install_event_id(), INT_MAX);
    EXPECT_EQ(fake->nvram["RAE_installEventId"], "2147483647");
    EXPECT_EQ(advance_install_event_id(), INT_MAX);
    EXPECT_EQ(fake->nvram["RAE_installEventId"], "2147483647");
}

TEST(HostileInput, InstallEventIdAdvancesNormallyBelowTheTop) {
    FakeRouter fake;
    fake->nvram["RAE_installEventId"] = "2147483646";
    EXPECT_EQ(advance_install_event_id(), INT_MAX);
    fake->nvram["RAE_installEventId"] = "-5";
    EXPECT_EQ(advance_install_event_id(), -4);
}

TEST(HostileInput, InstallEventIdAtLlongMaxAfterSuccessfulPublish) {
    FakeRouter fake;
    Daemon d;
    d.info.mac = "AABBCC001122";
    d.policy.report_method = "IoT";
    d.policy.stage_class = 1;
    fake->nvram["RAE_installEventId"] = "9223372036854775807";
    fake->on_prefix("LD_LIBRARY_PATH=/usr/share /usr/bin/awsiotpub",
                    FakeBackend::outputs("Publish done\n"));
    testing::internal::CaptureStdout();
    publish_report(d, 2);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(fake->nvram["RAE_installEventId"], "2147483647");
}

// --- B: failure counter at the top of the range ----------------------------------------

TEST(HostileInput, AwsiotRetryCountAtLlongMaxWithErrorLogStaysAtIntMax) {
    FakeRouter fake;
    Daemon d;
    d.info.mac = "AABBCC001122";
    d.policy.report_method = "IoT";
    d.policy.stage_class = 1;
    fake->nvram["awsiot_retry_count"] = "9223372036854775807";
    fake->on_prefix("LD_LIBRARY_PATH=/usr/share /usr/bin/awsiotpub",
                    FakeBackend::outputs("ERROR: connection refused\n"));
    testing::internal::CaptureStdout();
    publish_report(d, 2);
    EXPECT_EQ(fake->nvram["awsiot_retry_count"], "2147483647");
    fake->nvram["awsiot_retry_count"] = "99999999999999999999999";
    publish_report(d, 2);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(fake->nvram["awsiot_retry_count"], "2147483647");
}

// --- C: /proc/meminfo with values at the edge of an int ----------------------------

TEST(HostileInput, MeminfoAtIntMaxAndNegativeFreeDoesNotOverflow) {
    FakeRouter fake;
    Daemon d;
    d.policy.memory_utilization_high = 90;
    fake->on_exact("cat /proc/meminfo > /tmp/meminfo",
                   FakeBackend::outputs("MemTotal: 2147483647 kB\n"
                                        "MemFree: -1 kB\n"
                                        "MemAvailable: 0 kB\n"
                                        "Buffers: 0 kB\n"
                                        "Cached: 0 kB\n"));
    sample_memory(d);
    // (2147483647 + 1) / 2147483647 x 100, a hair above 100.
    EXPECT_GT(d.info.mem_used_percent, 100.0);
    EXPECT_LT(d.info.mem_used_percent, 100.001);
    EXPECT_EQ(d.info.mem_total, "2097152");  // (2147483647 + 512) / 1024
    EXPECT_EQ(d.info.mem_free, "0");         // (-1 + 512) / 1024
    EXPECT_EQ(d.info.mem_used, "2097152");   // (2147483648 + 512) / 1024
}

TEST(HostileInput, MeminfoValuesBeyondIntSaturate) {
    FakeRouter fake;
    Daemon d;
    fake->on_exact("cat /proc/meminfo > /tmp/meminfo",
                   FakeBackend::outputs("MemTotal:   99999999999999999999 kB\n"
                                        "MemFree:    -99999999999999999999 kB\n"
                                        "MemAvailable: 0 kB\n"
                                        "Buffers:    2147483647 kB\n"
                                        "Cached:     2147483647 kB\n"));
    sample_memory(d);
    EXPECT_EQ(d.info.mem_total, "2097152");
    // -2147483648 + 2 x 2147483647 = 2147483646
    EXPECT_EQ(d.info.mem_free, "2097152");
    EXPECT_EQ(d.info.mem_used, "0");  // (1 + 512) / 1024
}

TEST(HostileInput, MeminfoReadsTheRouterLayout) {
    FakeRouter fake;
    Daemon d;
    fake->on_exact("cat /proc/meminfo > /tmp/meminfo",
                   FakeBackend::outputs("MemTotal:         1024000 kB\n"
                                        "MemFree:          512000 kB\n"
                                        "MemAvailable:          600000 kB\n"
                                        "Buffers:             1024 kB\n"
                                        "Cached:            101376 kB\n"));
    sample_memory(d);
    EXPECT_DOUBLE_EQ(d.info.mem_used_percent, (1024000.0 - 614400.0) / 1024000.0 * 100.0);
    EXPECT_EQ(d.info.mem_total, "1000");
    EXPECT_EQ(d.info.mem_free, "600");
    EXPECT_EQ(d.info.mem_used, "400");
}

// --- D: a wild satellite count ----------------------------------------------------

TEST(HostileInput, SatelliteCountOf100000ListsAtMost32Satellites) {
    FakeRouter fake;
    fake->nvram["soapc_sat_access_count"] = "100000";
    json::Ptr obj = create_satellite_fw_obj();
    ASSERT_TRUE(obj);
    cJSON* count = cJSON_GetObjectItem(obj.get(), "numberOfSatellite");
    ASSERT_TRUE(cJSON_IsString(count));
    EXPECT_STREQ(count->valuestring, "100000");  // reported as it stands
    cJSON* list = cJSON_GetObjectItem(obj.get(), "satellite");
    ASSERT_TRUE(cJSON_IsArray(list));
    EXPECT_EQ(cJSON_GetArraySize(list), limits::kMaxSatellites);
    EXPECT_LT(json::print_string(obj.get()).size(), 64u * 1024);
}

TEST(HostileInput, SatelliteCountBeyondIntListsAtMost32Satellites) {
    FakeRouter fake;
    fake->nvram["soapc_sat_access_count"] = "99999999999999999999";
    json::Ptr obj = create_satellite_fw_obj();
    ASSERT_TRUE(obj);
    EXPECT_EQ(cJSON_GetArraySize(cJSON_GetObjectItem(obj.get(), "satellite")), 32);
}

// --- E: a FIFO where the DAL event file should be ------------------------------------

TEST(HostileInput, FifoAtDalEventFileIsRefusedWithoutBlocking) {
    FakeRouter fake;
    fake->mkdir("/tmp/telem_json_dal_dir");
    const std::string fifo = platform::resolve("/tmp/telem_json_dal_dir/dal_event.json");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    testing::internal::CaptureStdout();
    // Each of these would block for good in the open of a FIFO without a writer.
    EXPECT_FALSE(platform::read_file("/tmp/telem_json_dal_dir/dal_event.json"));
    EXPECT_FALSE(platform::read_lines("/tmp/telem_json_dal_dir/dal_event.json", 64));
    EXPECT_FALSE(platform::read_first_line("/tmp/telem_json_dal_dir/dal_event.json", 64));
    EXPECT_FALSE(platform::read_first_line_or_empty("/tmp/telem_json_dal_dir/dal_event.json", 64));
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("dal_event.json is not a regular file, not read"), std::string::npos) << out;
}

TEST(HostileInput, DirectoryInPlaceOfAFileIsRefused) {
    FakeRouter fake;
    fake->mkdir("/tmp/ra_pub_log.txt");
    testing::internal::CaptureStdout();
    EXPECT_FALSE(platform::read_lines("/tmp/ra_pub_log.txt", 64));
    testing::internal::GetCapturedStdout();
}

// --- F: a 100 MiB policy file ------------------------------------------------------

TEST(HostileInput, HundredMebibytePolicyFileIsRefusedWithoutReadingItWhole) {
    FakeRouter fake;
    const std::string policy = "/tmp/media/persistent/router-analytics/RAE_Policy.json";
    fake->write(policy, "{}");
    // A sparse file: 100 MiB long without taking the space.
    ASSERT_EQ(::truncate(platform::resolve(policy).c_str(), 100L * 1024 * 1024), 0);
    testing::internal::CaptureStdout();
    EXPECT_FALSE(platform::read_file(policy));
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("RAE_Policy.json is larger than 2097152 bytes, not read"), std::string::npos)
        << out;
}

TEST(HostileInput, FileAtTheReadLimitIsReadWhole) {
    FakeRouter fake;
    fake->write("/tmp/big", std::string(limits::kMaxInputFileBytes, 'x'));
    auto text = platform::read_file("/tmp/big");
    ASSERT_TRUE(text);
    EXPECT_EQ(text->size(), limits::kMaxInputFileBytes);
}

TEST(HostileInput, HugeToolOutputIsReadOnlyUpToTheLimit) {
    FakeRouter fake;
    fake->write("/tmp/big", "x\n");
    ASSERT_EQ(::truncate(platform::resolve("/tmp/big").c_str(), 100L * 1024 * 1024), 0);
    auto lines = platform::read_lines("/tmp/big", 256);
    ASSERT_TRUE(lines);
    size_t kept = 0;
    for (const auto& l : *lines) kept += l.size() + sizeof(std::string);
    EXPECT_GE(lines->size(), 2u);
    EXPECT_LE(kept, limits::kMaxInputFileBytes + 256 + sizeof(std::string));
    EXPECT_EQ((*lines)[0], "x\n");
}

// --- G: 40,000 options in one UCI section ------------------------------------------

TEST(HostileInput, FortyThousandOptionsInOneSectionParseInLinearTime) {
    std::string text = "config device 'AABBCC001122'\n";
    for (int i = 0; i < 40000; ++i) text += "\toption o" + std::to_string(i) + " 'v'\n";
    // Twice the size must cost about twice the time; counted by lookups would need a
    // hook, so the test checks the result and that the parse finishes (a quadratic
    // parse took over a second and a half here; the bench measures the time).
    auto pkg = platform::parse_uci(text, "devices");
    ASSERT_TRUE(pkg);
    const platform::UciSection* s = pkg->section("AABBCC001122");
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->options().size(), 40000u);
    EXPECT_EQ(pkg->get("AABBCC001122.o39999"), "v");
    EXPECT_EQ(pkg->get("AABBCC001122.o0"), "v");
}

TEST(HostileInput, OptionIndexFollowsDeletesAndRepeats) {
    auto pkg = platform::parse_uci(
        "config t 's'\n\toption a '1'\n\toption b '2'\n\toption c '3'\n\toption a '4'\n", "p");
    ASSERT_TRUE(pkg);
    EXPECT_EQ(pkg->get("s.a"), "4");
    ASSERT_TRUE(platform::apply_uci_change(*pkg, "-p.s.a"));
    EXPECT_FALSE(pkg->get("s.a"));
    EXPECT_EQ(pkg->get("s.b"), "2");
    EXPECT_EQ(pkg->get("s.c"), "3");
    ASSERT_TRUE(platform::apply_uci_change(*pkg, "p.s.a=5"));
    EXPECT_EQ(pkg->get("s.a"), "5");
    EXPECT_EQ(platform::render_uci(*pkg),
              "\nconfig t 's'\n\toption b '2'\n\toption c '3'\n\toption a '5'\n\n");
    EXPECT_FALSE(platform::apply_uci_change(*pkg, "-p.s.zz"));
}

// --- H: a hardware version too long for the copy command ------------------------------

TEST(HostileInput, FortyCharacterHardwareVersionIsRefusedNotCopiedToACutName) {
    FakeRouter fake;
    Daemon d;
    const std::string hw(40, 'H');
    fake->hwversion = hw;
    fake->mkdir("/tmp/telem_json_dir");
    testing::internal::CaptureStdout();
    EXPECT_EQ(write_report_file(d, "{}", 2), 0);
    copy_report_to_type_file(2);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(fake->commands_containing("cat /tmp/telem_json_dir/").empty());
    EXPECT_NE(out.find("[telem_json] hardware version \"" + hw +
                       "\" too long for the report file names, report not copied"),
              std::string::npos)
        << out;
    EXPECT_TRUE(fake->exists(shared_report_path(hw)));
}

TEST(HostileInput, LongestHardwareVersionThatFitsIsCopied) {
    // "cat /tmp/telem_json_dir/telem_%s.json > /tmp/telem_json_dir/telem_%s_%d.json"
    // is 71 characters around the two names (the code digit included): the 127
    // characters a 128-byte buffer holds leave 28 for each name.
    FakeRouter fake;
    Daemon d;
    const std::string hw(28, 'H');
    fake->hwversion = hw;
    copy_report_to_type_file(2);
    const std::string expected = "cat /tmp/telem_json_dir/telem_" + hw +
                                 ".json > /tmp/telem_json_dir/telem_" + hw + "_2.json";
    ASSERT_EQ(expected.size(), 127u);
    ASSERT_EQ(fake->commands.size(), 1u);
    EXPECT_EQ(fake->commands[0], expected);

    fake->commands.clear();
    fake->hwversion = std::string(29, 'H');
    testing::internal::CaptureStdout();
    copy_report_to_type_file(2);
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(fake->commands.empty());
}

}  // namespace
