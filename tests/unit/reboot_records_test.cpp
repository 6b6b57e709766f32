#include "core/reboot_records.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "core/daemon.h"
#include "support/fake_backend.h"

using testing_support::FakeBackend;
using testing_support::FakeRouter;

namespace {

const std::string kDir = "/opt/persistent/router-analytics/";

std::string header(const char* when) {
    return std::string("==========================Kernel crash log  ") + when + "==========\n";
}

// The record keeping runs echo, tail, mv, cp and rm through the shell; here they run
// for real on the test root (every absolute path of the line moved under it).
class RebootRecords : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const char* prefix :
             {"echo \"", "cat /opt/persistent/router-analytics/reboot_by_user.txt |", "mv -f ",
              "cp -f ", "rm -rf "})
            fake->on_prefix(prefix, [this](const std::string& command) {
                run_on_root(command);
                return FakeBackend::Response{};
            });
        fake->now_wall = 1767225600 + 3 * 3600 + 4 * 60 + 5;  // 2026-01-01 03:04:05 UTC
    }
    void run_on_root(const std::string& command) {
        std::string line;
        for (size_t i = 0; i < command.size(); ++i) {
            line += command[i];
            if ((command[i] == ' ' || command[i] == '>') && i + 1 < command.size() &&
                command[i + 1] == '/')
                line += fake->root();
        }
        // As on the router, a command that fails (cp of a missing file) is not looked at.
        std::string quiet = line + " 2>/dev/null";
        int status = std::system(quiet.c_str());
        (void)status;
    }
    bool run() {
        testing::internal::CaptureStdout();
        bool written = get_kernel_reboot_data();
        testing::internal::GetCapturedStdout();
        return written;
    }
    std::string file(const std::string& name) {
        return fake->read(kDir + name).value_or("<missing>");
    }

    FakeRouter fake;
};

}  // namespace

TEST_F(RebootRecords, CrashLogWithTheRecordedHeaderTimeRecordsNoCrash) {
    fake->write(kDir + "RA_panic_reboot.txt", "boot\n" + header("2026/1/1 02:00:00") + "oops\n");
    fake->write(kDir + "latest_crash_log.txt", header("2026/1/1 02:00:00") + "old\n");
    fake->write(kDir + "latest_reboot_normal.txt", "");
    EXPECT_FALSE(run());
    EXPECT_EQ(file("latest_crash_log.txt"), header("2026/1/1 02:00:00") + "old\n");
    EXPECT_FALSE(fake->exists(kDir + "latest_reboot_data.txt"));
    EXPECT_TRUE(fake->commands_containing("reason: 1").empty());
}

TEST_F(RebootRecords, NormalRebootMarkerWithoutNewCrashWritesNoLineAndDeletesMarker) {
    fake->write(kDir + "latest_reboot_normal.txt", "");
    fake->write(kDir + "reboot_by_user.txt", "2025/12/31 10:00:00, reason: 0\n");
    EXPECT_FALSE(run());
    EXPECT_FALSE(fake->exists(kDir + "latest_reboot_data.txt"));
    EXPECT_EQ(file("reboot_by_user.txt"), "2025/12/31 10:00:00, reason: 0\n");
    EXPECT_FALSE(fake->exists(kDir + "latest_reboot_normal.txt"));
    EXPECT_EQ(fake->commands.back(), "rm -rf " + kDir + "latest_reboot_normal.txt");
}

TEST_F(RebootRecords, SixRebootsKeepOnlyTheLastFiveLines) {
    for (int boot = 0; boot < 6; ++boot) {
        fake->now_wall += 3600;
        EXPECT_TRUE(run());
    }
    EXPECT_EQ(file("reboot_by_user.txt"),
              "2026/1/1 05:04:05, reason: 0\n2026/1/1 06:04:05, reason: 0\n"
              "2026/1/1 07:04:05, reason: 0\n2026/1/1 08:04:05, reason: 0\n"
              "2026/1/1 09:04:05, reason: 0\n");
    EXPECT_EQ(file("latest_reboot_data.txt"), "2026/1/1 09:04:05, reason: 0\n");
}

TEST_F(RebootRecords, NewCrashRunsTheRecordingStepsInOrder) {
    fake->write(kDir + "RA_panic_reboot.txt",
                "boot\n" + header("2026/1/1 02:00:00") + "oops\n" + header("2026/1/1 02:30:00"));
    fake->write(kDir + "latest_crash_log.txt", header("2025/12/30 08:00:00"));
    EXPECT_TRUE(run());
    const std::string p = kDir;
    EXPECT_EQ(fake->commands,
              (std::vector<std::string>{
                  "cat " + p + "RA_panic_reboot.txt > /tmp/kernel_crash_log.txt",
                  "rm -rf " + p + "latest_crash_log.txt",
                  "echo \"2026/1/1 02:00:00, reason: 1\" > " + p + "latest_reboot_data.txt",
                  "echo \"2026/1/1 02:00:00, reason: 1\" >> " + p + "reboot_by_user.txt",
                  "cat " + p + "reboot_by_user.txt | tail -n 5 > /tmp/reboot_by_user_tmp.txt",
                  "mv -f /tmp/reboot_by_user_tmp.txt " + p + "reboot_by_user.txt",
                  "cp -f " + p + "RA_panic_reboot.txt " + p + "latest_crash_log.txt",
                  "rm -rf " + p + "latest_reboot_normal.txt",
              }));
    EXPECT_EQ(file("latest_reboot_data.txt"), "2026/1/1 02:00:00, reason: 1\n");
    EXPECT_EQ(file("latest_crash_log.txt"), file("RA_panic_reboot.txt"));
    EXPECT_FALSE(fake->exists("/tmp/kernel_crash_log.txt"));
    EXPECT_EQ(fake->nvram["ra_reboot_flags"], "0");
}

TEST_F(RebootRecords, HeadersEqualToTheRecordedOneAreSkippedUntilOneDiffers) {
    fake->write(kDir + "RA_panic_reboot.txt",
                header("2026/1/1 02:00:00") + "x\n" + header("2026/1/1 02:45:09"));
    fake->write(kDir + "latest_crash_log.txt", header("2026/1/1 02:00:00"));
    EXPECT_TRUE(run());
    EXPECT_EQ(file("latest_reboot_data.txt"), "2026/1/1 02:45:09, reason: 1\n");
}

TEST_F(RebootRecords, CrashNoticedAlthoughTheOrderlyMarkerExists) {
    fake->write(kDir + "RA_panic_reboot.txt", header("2026/1/1 02:00:00"));
    fake->write(kDir + "latest_reboot_normal.txt", "");
    EXPECT_TRUE(run());
    EXPECT_EQ(file("latest_reboot_data.txt"), "2026/1/1 02:00:00, reason: 1\n");
    EXPECT_FALSE(fake->exists(kDir + "latest_reboot_normal.txt"));
}

TEST_F(RebootRecords, WithoutPanicFileTheDebugMsgPartitionIsRead) {
    fake->mtd = 7;
    fake->write("/dev/mtd7", header("2026/1/1 01:02:03"));
    EXPECT_TRUE(run());
    EXPECT_EQ(fake->commands.front(), "cat /dev/mtd7 > /tmp/kernel_crash_log.txt");
    EXPECT_EQ(file("latest_reboot_data.txt"), "2026/1/1 01:02:03, reason: 1\n");
    // The accounted-for copy is taken from the panic file only, which is missing here.
    EXPECT_FALSE(fake->exists(kDir + "latest_crash_log.txt"));
}

TEST_F(RebootRecords, NoCrashSourceMeansAnUnexplainedRebootWithReasonZero) {
    fake->mtd = -1;
    EXPECT_TRUE(run());
    EXPECT_TRUE(fake->commands_containing("/dev/mtd").empty());
    EXPECT_EQ(file("latest_reboot_data.txt"), "2026/1/1 03:04:05, reason: 0\n");
    EXPECT_EQ(file("reboot_by_user.txt"), "2026/1/1 03:04:05, reason: 0\n");
    EXPECT_EQ(fake->nvram["ra_reboot_flags"], "0");
}

TEST_F(RebootRecords, DebugConsoleLinesWithTelemDebug) {
    fake->nvram["telem_debug"] = "1";
    fake->write(kDir + "RA_panic_reboot.txt", header("2026/1/1 02:00:00"));
    fake->write(kDir + "latest_crash_log.txt", header("2025/12/30 08:00:00"));
    run();
    EXPECT_EQ(fake->console(),
              "[get_kernel_reboot_data] latest_crash_log time=2025 12 30 8 0 0 \n"
              "[get_kernel_reboot_data]Kernel crash log time=2026 1 1 2 0 0 \n");
}

TEST_F(RebootRecords, NoConsoleLinesWithoutTelemDebug) {
    fake->write(kDir + "RA_panic_reboot.txt", header("2026/1/1 02:00:00"));
    run();
    EXPECT_EQ(fake->console(), "");
}

TEST_F(RebootRecords, TenMegabyteCrashLogIsScannedToItsHeader) {
    std::string big;
    big.reserve(10u << 20);
    while (big.size() < (10u << 20)) big += std::string(100, 'x') + "\n";
    fake->write(kDir + "RA_panic_reboot.txt", big + header("2026/1/1 02:00:00"));
    EXPECT_TRUE(run());
    EXPECT_EQ(file("latest_reboot_data.txt"), "2026/1/1 02:00:00, reason: 1\n");
}

TEST_F(RebootRecords, CrashLogWithoutNewlineAndNoHeaderIsNoCrash) {
    fake->write(kDir + "RA_panic_reboot.txt", std::string(1 << 20, 'x'));
    EXPECT_TRUE(run());
    EXPECT_EQ(file("latest_reboot_data.txt"), "2026/1/1 03:04:05, reason: 0\n");
}

TEST_F(RebootRecords, HeaderWithGarbageNumbersReadsAsZeros) {
    EXPECT_EQ(parse_crash_header(header("ab/cd/ef gh:ij:kl")), (CrashTime{0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(parse_crash_header(header("2026/1/x 02:00:00")), (CrashTime{2026, 1, 0, 0, 0, 0}));
    EXPECT_FALSE(parse_crash_header("no header here\n"));
    // Against a recorded crash it differs, and is recorded with its zeros.
    fake->write(kDir + "RA_panic_reboot.txt", header("ab/cd/ef gh:ij:kl"));
    fake->write(kDir + "latest_crash_log.txt", header("2025/12/30 08:00:00"));
    EXPECT_TRUE(run());
    EXPECT_EQ(file("latest_reboot_data.txt"), "0/0/0 00:00:00, reason: 1\n");
}

TEST_F(RebootRecords, GarbageHeaderWithoutRecordedCrashEqualsTheZeroRecord) {
    fake->write(kDir + "RA_panic_reboot.txt", header("ab/cd/ef gh:ij:kl"));
    EXPECT_TRUE(run());
    EXPECT_EQ(file("latest_reboot_data.txt"), "2026/1/1 03:04:05, reason: 0\n");
}

TEST_F(RebootRecords, HundredThousandLineHistoryIsTrimmedToFive) {
    std::string history;
    for (int i = 0; i < 100000; ++i) history += "2020/1/1 00:00:00, reason: 0\n";
    fake->write(kDir + "reboot_by_user.txt", history);
    EXPECT_TRUE(run());
    EXPECT_EQ(file("reboot_by_user.txt"),
              "2020/1/1 00:00:00, reason: 0\n2020/1/1 00:00:00, reason: 0\n"
              "2020/1/1 00:00:00, reason: 0\n2020/1/1 00:00:00, reason: 0\n"
              "2026/1/1 03:04:05, reason: 0\n");
}

TEST_F(RebootRecords, FirstPassMarksTheKernelRebootReportPending) {
    Daemon d;
    d.loop.first_run = 1;
    testing::internal::CaptureStdout();
    record_kernel_reboot(d);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(d.info.kernel_reboot_pending, 1);
}

TEST_F(RebootRecords, DaemonRestartedAfterTheBootWasReportedLeavesTheRecordsAlone) {
    Daemon d;
    d.loop.first_run = 0;  // /tmp/first_kernel_ra exists
    record_kernel_reboot(d);
    EXPECT_EQ(d.info.kernel_reboot_pending, 0);
    EXPECT_TRUE(fake->commands.empty());
}
