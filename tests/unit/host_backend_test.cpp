#include "platform/host_backend.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <regex>

#include "platform/platform.h"
#include "platform/uci_session.h"
#include "support/temp_dir.h"

using platform::HostBackend;
using testing_support::TempDir;

namespace {

// Installs a host backend rooted in a temporary directory for one test.
struct HostRouter {
    TempDir dir;
    HostBackend host{dir.file("nvram.txt"), dir.path()};
    HostRouter() { platform::install(&host); }
    ~HostRouter() { platform::install(nullptr); }
};

// SIGCHLD ignored for the scope, as the daemon has it.
struct IgnoredSigchld {
    struct sigaction saved {};
    IgnoredSigchld() {
        struct sigaction ign {};
        ign.sa_handler = SIG_IGN;
        sigemptyset(&ign.sa_mask);
        ::sigaction(SIGCHLD, &ign, &saved);
    }
    ~IgnoredSigchld() { ::sigaction(SIGCHLD, &saved, nullptr); }
};

sighandler_t current_sigchld() {
    struct sigaction now {};
    ::sigaction(SIGCHLD, nullptr, &now);
    return now.sa_handler;
}

}  // namespace

TEST(HostBackendNvram, DefaultStoreComesFromNvramFileVariable) {
    TempDir dir;
    dir.write("store.txt", "hwver=VRE670\n");
    ::setenv("NVRAM_FILE", dir.file("store.txt").c_str(), 1);
    HostBackend host;
    ::unsetenv("NVRAM_FILE");
    platform::install(&host);
    EXPECT_EQ(ovraNvramConfig_get("hwver"), "VRE670");
    EXPECT_EQ(ovraNvramConfig_get("missing"), "");
    EXPECT_EQ(ovraNvramConfig_match("hwver", "VRE670"), 1);
    EXPECT_EQ(ovraNvramConfig_invmatch("hwver", "VRE670"), 0);
    ovraNvramConfig_set("RA_stage", "2");
    EXPECT_EQ(ovraNvramConfig_exist("RA_stage"), 1);
    ovraNvramConfig_unset("hwver");
    EXPECT_EQ(ovraNvramConfig_exist("hwver"), 0);
    ovraNvramConfig_save();
    EXPECT_EQ(dir.read("store.txt"), "RA_stage=2\n");
    platform::install(nullptr);
}

TEST(HostBackendNvram, ReadsSeeAnotherProcessesWrite) {
    HostRouter r;
    EXPECT_EQ(ovraNvramConfig_get("k"), "");
    platform::NvramFile other(r.dir.file("nvram.txt"));
    ASSERT_TRUE(other.set("k", "from elsewhere"));
    EXPECT_EQ(ovraNvramConfig_get("k"), "from elsewhere");
}

TEST(HostBackendHwVersion, FirstLineOfHwVersionFileWithoutNewline) {
    HostRouter r;
    r.dir.write("etc/hw_version", "VRE670v2\nsecond line\n");
    EXPECT_EQ(getHWVersion(), "VRE670v2");
}

TEST(HostBackendHwVersion, MissingFileGivesEmptyText) {
    HostRouter r;
    EXPECT_EQ(getHWVersion(), "");
}

TEST(HostBackendMtd, IndexOfTheNamedPartition) {
    HostRouter r;
    r.dir.write("proc/mtd",
                "dev:    size   erasesize  name\n"
                "mtd0: 00080000 00020000 \"0:SBL1\"\n"
                "mtd7: 00040000 00020000 \"DebugMsg\"\n");
    EXPECT_EQ(shared_get_mtd_index("DebugMsg"), 7);
    EXPECT_EQ(shared_get_mtd_index("Debug"), -1);
}

TEST(HostBackendShell, RunShellReturnsExitStatusWhileSigchldIsIgnored) {
    HostRouter r;
    IgnoredSigchld ignored;
    int status = doSystem("exit 3");
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 3);
    EXPECT_EQ(current_sigchld(), SIG_IGN);  // the daemon's disposition is back
}

TEST(HostBackendShell, CommandLineRunsThroughTheShellAsComposed) {
    HostRouter r;
    std::string out = r.dir.file("out.txt");
    int status = doSystem("echo 'a  b' $((1+2)) > " + out);
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(r.dir.read("out.txt"), "a  b 3\n");
}

TEST(HostBackendShell, PopenReadsTheWholeOutputWhileSigchldIsIgnored) {
    HostRouter r;
    IgnoredSigchld ignored;
    EXPECT_EQ(platform::backend().popen_read("printf 'one\\ntwo\\n'"), "one\ntwo\n");
    EXPECT_EQ(current_sigchld(), SIG_IGN);
}

TEST(HostBackendShell, EvalRunsWithoutShellIntoRootedFile) {
    HostRouter r;
    r.dir.write("tmp/.keep", "");
    EXPECT_EQ(_eval({"echo", "1", "$HOME"}, "/tmp/ra_cpu_alarm", 0, nullptr), 0);
    EXPECT_EQ(r.dir.read("tmp/ra_cpu_alarm"), "1 $HOME\n");
    EXPECT_EQ(_eval({"sh", "-c", "exit 4"}, "/tmp/x", 0, nullptr), 4);
}

int open_descriptors() {
    int n = 0;
    for ([[maybe_unused]] const auto& e : std::filesystem::directory_iterator("/proc/self/fd")) ++n;
    return n;
}

TEST(HostBackendShell, ShellThatCannotRunTheCommandGivesStatus127) {
    HostRouter r;
    int status = doSystem("/nonexistent/program-of-no-router");
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 127);
}

TEST(HostBackendShell, CommandSeesTheDaemonEnvironmentAndExactLine) {
    HostRouter r;
    ::setenv("TELEM_TEST_MARK", "x y", 1);
    auto out = platform::backend().popen_read("printf '%s|%s' \"$TELEM_TEST_MARK\" \"$0\"");
    ::unsetenv("TELEM_TEST_MARK");
    EXPECT_EQ(out, "x y|sh");
}

TEST(HostBackendShell, PopenKeepsOutputOfAFailingCommandAndLeaksNoDescriptor) {
    HostRouter r;
    int before = open_descriptors();
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(platform::backend().popen_read("echo partial; exit 2"), "partial\n");
    EXPECT_EQ(open_descriptors(), before);
}

TEST(HostBackendShell, PopenReadsOutputLargerThanThePipe) {
    HostRouter r;
    auto out = platform::backend().popen_read(
        "i=0; while [ $i -lt 20000 ]; do echo 0123456789; i=$((i+1)); done");
    ASSERT_TRUE(out.has_value());
    EXPECT_EQ(out->size(), 20000u * 11u);
}

TEST(HostBackendShell, StandardOutputOfTheDaemonIsNotTheCommandsAfterRedirection) {
    HostRouter r;
    // The command's own output goes where its line sends it; the daemon's stays put.
    testing::internal::CaptureStdout();
    std::printf("before\n");
    doSystem("echo inside > " + r.dir.file("o.txt"));
    std::printf("after\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "before\nafter\n");
    EXPECT_EQ(r.dir.read("o.txt"), "inside\n");
}

TEST(HostBackendShell, EvalOfAMissingProgramGives127AndLeaksNoDescriptor) {
    HostRouter r;
    r.dir.write("tmp/.keep", "");
    int before = open_descriptors();
    EXPECT_EQ(_eval({"no-such-program-anywhere"}, "/tmp/out", 0, nullptr), 127);
    EXPECT_EQ(open_descriptors(), before);
}

TEST(HostBackendShell, EvalIntoAnUncreatableFileStillRunsTheProgram) {
    HostRouter r;
    EXPECT_EQ(_eval({"sh", "-c", "exit 6"}, "/missing-dir/out", 0, nullptr), 6);
}

TEST(HostBackendShell, CommandKilledByASignalGivesItsWaitStatus) {
    HostRouter r;
    int status = doSystem("kill -9 $$");
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
}

// The signal mask a program starts with, from its own status file. The program runs
// without a shell in between: the shell clears its mask when it starts.
unsigned long long blocked_signals_of_a_program(HostRouter& r) {
    r.dir.write("tmp/.keep", "");
    _eval({"awk", "$1 == \"SigBlk:\" { print $2 }", "/proc/self/status"}, "/tmp/sigblk", 0,
          nullptr);
    return std::strtoull(r.dir.read("tmp/sigblk").c_str(), nullptr, 16);
}

TEST(HostBackendShell, ProgramStartsWithTheDaemonsSignalMask) {
    HostRouter r;
    // While starting a program every signal is blocked; the program must not keep that.
    EXPECT_EQ(blocked_signals_of_a_program(r), 0u);
    sigset_t usr2;
    sigset_t saved;
    sigemptyset(&usr2);
    sigaddset(&usr2, SIGUSR2);
    ::sigprocmask(SIG_BLOCK, &usr2, &saved);
    unsigned long long mask = blocked_signals_of_a_program(r);
    ::sigprocmask(SIG_SETMASK, &saved, nullptr);
    EXPECT_EQ(mask, 1ull << (SIGUSR2 - 1));
}

TEST(HostBackendShell, IgnoredSignalsStayIgnoredInTheCommandAsExecLeavesThem) {
    HostRouter r;
    struct sigaction ign {};
    struct sigaction saved {};
    ign.sa_handler = SIG_IGN;
    sigemptyset(&ign.sa_mask);
    ::sigaction(SIGUSR1, &ign, &saved);
    auto out = platform::backend().popen_read("kill -USR1 $$; echo survived");
    ::sigaction(SIGUSR1, &saved, nullptr);
    EXPECT_EQ(out, "survived\n");
}

TEST(HostBackendShell, HundredsOfCommandsLeaveDescriptorsAndSigchldAsTheyWere) {
    HostRouter r;
    IgnoredSigchld ignored;
    int before = open_descriptors();
    int ok = 0;
    for (int i = 0; i < 100; ++i) {
        if (platform::backend().popen_read("echo " + std::to_string(i)) == std::to_string(i) + "\n")
            ++ok;
        if (doSystem("exit 0") == 0) ++ok;
    }
    EXPECT_EQ(ok, 200);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(current_sigchld(), SIG_IGN);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);  // no child of ours left behind
    EXPECT_EQ(errno, ECHILD);
}

TEST(HostBackendShellDeathTest, OutputIsCapturedWhenThePipeIsTheDaemonsDescriptorOne) {
    // A daemon started with its standard streams closed gets descriptors 0 and 1 for
    // the pipe: the command's output is then already where it must be.
    EXPECT_EXIT(
        {
            HostRouter r;
            ::close(STDIN_FILENO);
            ::close(STDOUT_FILENO);
            auto out = platform::backend().popen_read("echo through-one");
            ::_exit(out == "through-one\n" ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(HostBackendMacList, AllowAndBlockListsFromNvram) {
    HostRouter r;
    ovraNvramConfig_set("ac_allow_list", "aa:bb:cc:dd:ee:ff 001122334455");
    ovraNvramConfig_set("ac_block_list", "66-77-88-99-AA-BB");
    load_ac_mac_list();
    const unsigned char allowed[6] = {0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
    const unsigned char allowed2[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
    const unsigned char blocked[6] = {0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB};
    const unsigned char other[6] = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(get_mac_status(allowed), 1);
    EXPECT_EQ(get_mac_status(allowed2), 1);
    EXPECT_EQ(get_mac_status(blocked), 0);
    EXPECT_EQ(get_mac_status(other), -1);
}

TEST(HostBackendHooks, FirmwareCheckCodeAndSoapHook) {
    HostRouter r;
    EXPECT_EQ(get_check_fw_responseCode(), 0);
    ovraNvramConfig_set("check_fw_response_code", "404");
    EXPECT_EQ(get_check_fw_responseCode(), 404);
    testing::internal::CaptureStdout();
    hook_soapc(5);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[hook_soapc] request 5\n");
}

TEST(HostBackendUci, PackageIsParsedAgainOnlyWhenTheFileChanged) {
    HostRouter r;
    r.dir.write("tmp/devices", "config device 'AA'\n\toption ip '1.1.1.1'\n");
    for (int i = 0; i < 5; ++i) {
        UciSession uci("/tmp", "devices", "reader");
        EXPECT_EQ(uci.get("devices.AA.ip", 512), "1.1.1.1");
    }
    EXPECT_EQ(r.host.uci_parse_count(), 1u);
    r.dir.write("tmp/devices", "config device 'AA'\n\toption ip '2.2.2.2'\n");
    for (int i = 0; i < 3; ++i) {
        UciSession uci("/tmp", "devices", "reader");
        EXPECT_EQ(uci.get("devices.AA.ip", 512), "2.2.2.2");
    }
    EXPECT_EQ(r.host.uci_parse_count(), 2u);
}

TEST(HostBackendUci, YoungPackageRewrittenInPlaceWithTheSameSizeIsParsedAgain) {
    // Same inode, same size and very likely the same time stamp: only the content's
    // digest tells the versions apart, and an unchanged one is still not parsed again.
    HostRouter r;
    auto read_ip = [] {
        UciSession uci("/tmp", "devices", "reader");
        return uci.get("devices.AA.ip", 512);
    };
    for (const char* ip : {"1.1.1.1", "2.2.2.2", "3.3.3.3"}) {
        r.dir.write("tmp/devices", std::string("config device 'AA'\n\toption ip '") + ip + "'\n");
        EXPECT_EQ(read_ip(), ip);
        EXPECT_EQ(read_ip(), ip);  // young and unchanged: confirmed by its digest
    }
    EXPECT_EQ(r.host.uci_parse_count(), 3u);
}

TEST(HostBackendUci, LargePackagesAreReleasedWhileTheDaemonSleeps) {
    HostRouter r;
    std::string large;
    for (int i = 0; large.size() < HostBackend::kKeepParsedBelow; ++i)
        large += "config device 'D" + std::to_string(i) + "'\n\toption ip '10.0.0.1'\n";
    r.dir.write("tmp/devices", large);
    r.dir.write("tmp/small", "config s 'a'\n\toption v '1'\n");
    auto read_both = [] {
        {
            UciSession devices("/tmp", "devices", "reader");
            EXPECT_EQ(devices.get("devices.D0.ip", 512), "10.0.0.1");
        }
        UciSession small("/tmp", "small", "reader");
        EXPECT_EQ(small.get("small.a.v", 512), "1");
    };
    read_both();
    read_both();
    EXPECT_EQ(r.host.uci_parse_count(), 2u);  // within a pass: one parse each
    r.host.sleep_seconds(0);
    read_both();
    read_both();
    EXPECT_EQ(r.host.uci_parse_count(), 3u);  // only the large one is parsed again
    {
        // A package a session still holds stays usable over the sleep.
        UciSession devices("/tmp", "devices", "reader");
        r.host.sleep_seconds(0);
        EXPECT_EQ(devices.get("devices.D1.ip", 512), "10.0.0.1");
    }
}

TEST(HostBackendUci, CommitReplacesTheFileAndIsNotParsedTwice) {
    HostRouter r;
    r.dir.write("tmp/devices", "config device 'AA'\n\toption count '1'\n");
    {
        UciSession uci("/tmp", "devices", "writer");
        EXPECT_EQ(uci.set("devices.AA.count", "2"), UCI_OK);
        EXPECT_EQ(uci.commit(), UCI_OK);
    }
    EXPECT_EQ(r.dir.read("tmp/devices"), "\nconfig device 'AA'\n\toption count '2'\n\n");
    {
        UciSession uci("/tmp", "devices", "reader");
        EXPECT_EQ(uci.get("devices.AA.count", 512), "2");
    }
    EXPECT_FALSE(
        std::filesystem::exists(r.dir.file("tmp/devices.tmp." + std::to_string(::getpid()))));
}

TEST(HostBackendUci, MalformedFileGivesParseErrorWithoutParsingItAgain) {
    HostRouter r;
    r.dir.write("tmp/devices", "config device 'AA\n");
    std::string value = "default";
    testing::internal::CaptureStdout();
    for (int i = 0; i < 3; ++i) {
        UciSession uci("/tmp", "devices", "get_dev");
        EXPECT_EQ(uci.status(), UCI_ERR_PARSE);
        uci.get("devices.AA.ip", value, 512);
    }
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(std::regex_search(
        out, std::regex(R"(\[get_dev \d+\] ovraUciConfig_w_update : UCI_ERR_PARSE\n)")))
        << out;
    EXPECT_EQ(value, "default");
    EXPECT_EQ(r.host.uci_parse_count(), 1u);
}

TEST(HostBackendUci, MissingPackageIsNotFound) {
    HostRouter r;
    int err = 0;
    EXPECT_FALSE(r.host.uci_load("/tmp", "devices", err));
    EXPECT_EQ(err, UCI_ERR_NOTFOUND);
}

TEST(HostBackendClock, UptimeAndWallTimeMove) {
    HostRouter r;
    EXPECT_GT(sys_uptime(), 0u);
    EXPECT_GT(platform::wall_time(), 1600000000);
    EXPECT_EQ(IsTimeout(sys_uptime(), 60), 0);
    EXPECT_EQ(IsTimeout(sys_uptime() - 61, 60), 1);
}

namespace {

// A host backend that records the package it hands over and the one it stores.
struct RecordingHost : HostBackend {
    using HostBackend::HostBackend;
    std::shared_ptr<platform::UciPackage> uci_hand_over(const std::string& dir,
                                                        const std::string& package) override {
        auto p = HostBackend::uci_hand_over(dir, package);
        handed = p.get();
        return p;
    }
    int uci_store(const std::string& dir, const platform::UciPackage& pkg) override {
        stored = &pkg;
        return HostBackend::uci_store(dir, pkg);
    }
    const platform::UciPackage* handed = nullptr;
    const platform::UciPackage* stored = nullptr;
};

struct RecordingRouter {
    TempDir dir;
    RecordingHost host{dir.file("nvram.txt"), dir.path()};
    RecordingRouter() { platform::install(&host); }
    ~RecordingRouter() { platform::install(nullptr); }
};

}  // namespace

TEST(HostBackendUci, SessionChangesTheCachedPackageInPlaceWithoutACopy) {
    RecordingRouter r;
    r.dir.write("tmp/devices", "config device 'AA'\n\toption count '1'\n");
    int err = 0;
    const platform::UciPackage* cached = r.host.uci_load("/tmp", "devices", err).get();
    ASSERT_NE(cached, nullptr);
    {
        UciSession uci("/tmp", "devices", "writer");
        EXPECT_EQ(uci.set("devices.AA.count", "2"), UCI_OK);
        EXPECT_EQ(uci.set("devices.AA.other", "3"), UCI_OK);
        EXPECT_EQ(uci.commit(), UCI_OK);
    }
    EXPECT_EQ(r.host.handed, cached);
    EXPECT_EQ(r.host.stored, cached);
    EXPECT_EQ(r.dir.read("tmp/devices"),
              "\nconfig device 'AA'\n\toption count '2'\n\toption other '3'\n\n");
    // The cache gave the package away: the next reader parses the committed file.
    EXPECT_EQ(r.host.uci_parse_count(), 1u);
    UciSession uci("/tmp", "devices", "reader");
    EXPECT_EQ(uci.get("devices.AA.count", 512), "2");
    EXPECT_EQ(r.host.uci_parse_count(), 2u);
}

TEST(HostBackendUci, ReaderStillHoldingThePackageKeepsWhatItReadWhenASessionChangesIt) {
    RecordingRouter r;
    r.dir.write("tmp/devices", "config device 'AA'\n\toption count '1'\n");
    int err = 0;
    std::shared_ptr<const platform::UciPackage> reader = r.host.uci_load("/tmp", "devices", err);
    ASSERT_TRUE(reader);
    {
        UciSession uci("/tmp", "devices", "writer");
        EXPECT_EQ(uci.set("devices.AA.count", "2"), UCI_OK);
        EXPECT_EQ(uci.commit(), UCI_OK);
    }
    EXPECT_EQ(r.host.handed, reader.get());
    EXPECT_NE(r.host.stored, reader.get());  // the session changed a copy
    EXPECT_EQ(reader->get("AA.count"), "1");
    EXPECT_EQ(r.dir.read("tmp/devices"), "\nconfig device 'AA'\n\toption count '2'\n\n");
}

TEST(HostBackendUci, ChangesLeftUncommittedAreDroppedAndTheFileIsReadAgain) {
    RecordingRouter r;
    r.dir.write("tmp/devices", "config device 'AA'\n\toption count '1'\n");
    {
        UciSession uci("/tmp", "devices", "writer");
        EXPECT_EQ(uci.set("devices.AA.count", "2"), UCI_OK);
        EXPECT_EQ(uci.get("devices.AA.count", 512), "2");
    }
    EXPECT_NE(r.host.handed, nullptr);
    EXPECT_EQ(r.host.stored, nullptr);
    {
        UciSession uci("/tmp", "devices", "reader");
        EXPECT_EQ(uci.get("devices.AA.count", 512), "1");
    }
    // A reload inside a session drops its changes the same way.
    UciSession uci("/tmp", "devices", "writer");
    EXPECT_EQ(uci.set("devices.AA.count", "5"), UCI_OK);
    EXPECT_EQ(ovraUciConfig_w_update("devices"), UCI_OK);
    EXPECT_EQ(uci.get("devices.AA.count", 512), "1");
    EXPECT_EQ(r.dir.read("tmp/devices"), "config device 'AA'\n\toption count '1'\n");
}
