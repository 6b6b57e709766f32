#include "core/startup.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <vector>

#include "core/daemon.h"
#include "platform/fs.h"
#include "support/fake_backend.h"

namespace {

using testing_support::FakeRouter;

const std::string kVersionBlock = "Version V1.5.1.4\nDate    Feb 18 2025 19:01:29\n";
const std::vector<std::string> kFreshStartCommands = {"mkdir -p /tmp/telem_json_dir",
                                                      "mkdir -p /tmp/router-analytics",
                                                      "mkdir -p /tmp/telem_wifi_json_dir",
                                                      "killall telem_heartbeat",
                                                      "telem_heartbeat &",
                                                      "killall telem_wifi",
                                                      "telem_wifi &"};

// A writable argv as main() receives it.
class Args {
  public:
    Args(std::initializer_list<std::string> args) : text_{"telem_json"} {
        text_.insert(text_.end(), args.begin(), args.end());
        for (auto& a : text_) ptrs_.push_back(a.data());
        ptrs_.push_back(nullptr);
    }
    int argc() const { return static_cast<int>(text_.size()); }
    char** argv() { return ptrs_.data(); }

  private:
    std::vector<std::string> text_;
    std::vector<char*> ptrs_;
};

// The start-up installs process-wide signal dispositions; each test puts back what
// the test program had, so a later test (or a death test's waitpid) is not affected.
class SignalGuard {
  public:
    SignalGuard() {
        for (size_t i = 0; i < std::size(kSignals); ++i)
            sigaction(kSignals[i], nullptr, &saved_[i]);
    }
    ~SignalGuard() {
        for (size_t i = 0; i < std::size(kSignals); ++i)
            sigaction(kSignals[i], &saved_[i], nullptr);
    }

  private:
    static constexpr int kSignals[] = {SIGTERM, SIGSEGV, SIGUSR1, SIGCHLD};
    struct sigaction saved_[std::size(kSignals)]{};
};

struct RunResult {
    int status = -1;
    int body_calls = 0;
    std::string out;
};

RunResult run_main(Daemon& d, Args args) {
    SignalGuard guard;
    RunResult r;
    testing::internal::CaptureStdout();
    r.status = telem_main(d, args.argc(), args.argv(), [&](Daemon&) { ++r.body_calls; });
    r.out = testing::internal::GetCapturedStdout();
    return r;
}

struct sigaction current_action(int sig) {
    struct sigaction sa {};
    sigaction(sig, nullptr, &sa);
    return sa;
}

bool mask_is_empty(const sigset_t& set) {
    for (int sig = 1; sig < NSIG; ++sig)
        if (sigismember(&set, sig) == 1) return false;
    return true;
}

}  // namespace

// --- command line -------------------------------------------------------------------

TEST(StartupCommandLine, VersionPrintsTwoLinesAndExitsZero) {
    FakeRouter fake;
    Daemon d;
    RunResult r = run_main(d, {"-v"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, kVersionBlock);
    EXPECT_EQ(r.body_calls, 0);
    EXPECT_TRUE(fake->commands.empty());
}

TEST(StartupCommandLine, VersionBeforeOptionCExitsWithoutLookingAtIt) {
    FakeRouter fake;
    Daemon d;
    RunResult r = run_main(d, {"-v", "-c", "x"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, kVersionBlock);
    EXPECT_EQ(d.publisher_dir, "/usr/bin");
    EXPECT_EQ(r.body_calls, 0);
}

TEST(StartupCommandLine, OptionCBeforeVersionSetsDirectoryThenPrintsVersion) {
    FakeRouter fake;
    Daemon d;
    RunResult r = run_main(d, {"-c", "x", "-v"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, kVersionBlock);
    EXPECT_EQ(d.publisher_dir, "x");
    EXPECT_EQ(r.body_calls, 0);
}

TEST(StartupCommandLine, OptionCSetsPublisherDirectory) {
    FakeRouter fake;
    Daemon d;
    std::string seen;
    SignalGuard guard;
    Args args{"-c", "/opt/pub"};
    testing::internal::CaptureStdout();
    int status = telem_main(d, args.argc(), args.argv(),
                            [&](Daemon& daemon) { seen = daemon.publisher_dir; });
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(seen, "/opt/pub");
    EXPECT_EQ(d.publisher_dir, "/opt/pub");
}

TEST(StartupCommandLine, PublisherDirectoryDefaultsToUsrBin) {
    FakeRouter fake;
    Daemon d;
    RunResult r = run_main(d, {});
    EXPECT_EQ(r.body_calls, 1);
    EXPECT_EQ(d.publisher_dir, "/usr/bin");
}

TEST(StartupCommandLine, PublisherDirectoryIsCutAt255Characters) {
    FakeRouter fake;
    Daemon d;
    std::string longdir = "/" + std::string(299, 'p');
    RunResult r = run_main(d, {"-c", longdir});
    EXPECT_EQ(r.body_calls, 1);
    EXPECT_EQ(d.publisher_dir.size(), 255u);
    EXPECT_EQ(d.publisher_dir, longdir.substr(0, 255));

    Daemon exact;
    std::string fits = "/" + std::string(254, 'q');
    run_main(exact, {"-c", fits});
    EXPECT_EQ(exact.publisher_dir, fits);
}

TEST(StartupCommandLine, OptionCWithoutArgumentPrintsMessageAndExitsZero) {
    FakeRouter fake;
    Daemon d;
    RunResult r = run_main(d, {"-c"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "Option -c requires an argument.\n");
    EXPECT_EQ(r.body_calls, 0);
    EXPECT_TRUE(fake->commands.empty());
}

TEST(StartupCommandLine, UnknownPrintableOptionPrintsMessageAndExitsZero) {
    FakeRouter fake;
    Daemon d;
    RunResult r = run_main(d, {"-z"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "Unknown option '-z'.\n");
    EXPECT_EQ(r.body_calls, 0);
    EXPECT_TRUE(fake->commands.empty());
}

TEST(StartupCommandLine, UnknownNonPrintableOptionPrintsHexAndExitsZero) {
    FakeRouter fake;
    Daemon d;
    RunResult r = run_main(d, {"-\x01"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "Unknown option character '\\x1'.\n");
    EXPECT_EQ(r.body_calls, 0);
}

TEST(StartupCommandLine, UnknownOptionAfterOptionCStillSetsDirectory) {
    FakeRouter fake;
    Daemon d;
    RunResult r = run_main(d, {"-c", "/a", "-q"});
    EXPECT_EQ(r.out, "Unknown option '-q'.\n");
    EXPECT_EQ(d.publisher_dir, "/a");
    EXPECT_EQ(r.body_calls, 0);
}

TEST(StartupCommandLine, ParsingStartsOverOnEveryCall) {
    FakeRouter fake;
    SignalGuard guard;
    // "-vc" stops inside the cluster; the next parse must not resume there. Both
    // argument vectors stay alive so that a parse resuming in the old one would show.
    Args first_args{"-vc", "x"};
    Args second_args{"-c", "/b"};
    Daemon first, second;
    int calls = 0;
    testing::internal::CaptureStdout();
    telem_main(first, first_args.argc(), first_args.argv(), [&](Daemon&) { ++calls; });
    telem_main(second, second_args.argc(), second_args.argv(), [&](Daemon&) { ++calls; });
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out, kVersionBlock);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(first.publisher_dir, "/usr/bin");
    EXPECT_EQ(second.publisher_dir, "/b");
}

// --- start-up sequence --------------------------------------------------------------

TEST(StartupSequence, FreshStartMakesDirectoriesRestartsSiblingsAndRunsBody) {
    FakeRouter fake;
    fake->nvram["ra_init_report_time"] = "1234";
    Daemon d;
    RunResult r = run_main(d, {});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(fake->commands, kFreshStartCommands);
    EXPECT_FALSE(fake->nvram.contains("ra_init_report_time"));
    EXPECT_EQ(r.body_calls, 1);
}

TEST(StartupSequence, ExistingWorkingDirectoriesAreLeftAlone) {
    FakeRouter fake;
    fake->mkdir("/tmp/telem_json_dir");
    fake->mkdir("/tmp/router-analytics");
    fake->mkdir("/tmp/telem_wifi_json_dir");
    Daemon d;
    run_main(d, {});
    EXPECT_TRUE(fake->commands_containing("mkdir").empty());
    EXPECT_EQ(fake->commands,
              std::vector<std::string>(kFreshStartCommands.begin() + 3, kFreshStartCommands.end()));
}

TEST(StartupSequence, OnlyMissingWorkingDirectoryIsMade) {
    FakeRouter fake;
    fake->mkdir("/tmp/telem_json_dir");
    fake->mkdir("/tmp/telem_wifi_json_dir");
    Daemon d;
    run_main(d, {});
    EXPECT_EQ(fake->commands_containing("mkdir"),
              std::vector<std::string>{"mkdir -p /tmp/router-analytics"});
}

TEST(StartupSequence, PidFilePresentRefusesToStartAndLeavesSiblingsAlone) {
    FakeRouter fake;
    fake->write("/var/run/telemjson.pid", "4242");
    fake->nvram["ra_init_report_time"] = "1234";
    Daemon d;
    RunResult r = run_main(d, {});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "telem_json already running.\n");
    EXPECT_EQ(r.body_calls, 0);
    EXPECT_TRUE(fake->commands_containing("telem_heartbeat").empty());
    EXPECT_TRUE(fake->commands_containing("telem_wifi &").empty());
    EXPECT_TRUE(fake->commands_containing("killall").empty());
    EXPECT_EQ(fake->nvram["ra_init_report_time"], "1234");
    EXPECT_EQ(fake->read("/var/run/telemjson.pid"), "4242");
}

TEST(StartupSequence, EmptyPidFileAlsoRefusesToStart) {
    FakeRouter fake;
    fake->write("/var/run/telemjson.pid", "");
    Daemon d;
    RunResult r = run_main(d, {});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "telem_json already running.\n");
    EXPECT_EQ(r.body_calls, 0);
    EXPECT_TRUE(fake->commands_containing("killall").empty());
}

TEST(StartupSequence, WorkingDirectoriesAreMadeBeforeThePidFileCheck) {
    FakeRouter fake;
    fake->write("/var/run/telemjson.pid", "1");
    Daemon d;
    run_main(d, {});
    EXPECT_EQ(fake->commands, std::vector<std::string>(kFreshStartCommands.begin(),
                                                       kFreshStartCommands.begin() + 3));
}

TEST(StartupSignals, FatalSignalHandlersUseTelemStopWithEmptyMaskAndRestart) {
    FakeRouter fake;
    Daemon d;
    SignalGuard guard;
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGSEGV, SIG_DFL);
    struct sigaction term {
    }, segv{};
    Args args{};
    testing::internal::CaptureStdout();
    telem_main(d, args.argc(), args.argv(), [&](Daemon&) {
        term = current_action(SIGTERM);
        segv = current_action(SIGSEGV);
    });
    testing::internal::GetCapturedStdout();
    for (const struct sigaction* sa : {&term, &segv}) {
        EXPECT_EQ(sa->sa_handler, &telem_stop);
        EXPECT_TRUE(sa->sa_flags & SA_RESTART);
        EXPECT_FALSE(sa->sa_flags & SA_SIGINFO);
        EXPECT_TRUE(mask_is_empty(sa->sa_mask));
    }
}

TEST(StartupSignals, VersionLeavesSignalHandlingUntouched) {
    FakeRouter fake;
    Daemon d;
    SignalGuard guard;
    std::signal(SIGTERM, SIG_DFL);
    run_main(d, {"-v"});
    EXPECT_EQ(current_action(SIGTERM).sa_handler, SIG_DFL);
}

TEST(StartupSignals, StopMessageNamesSigterm) {
    EXPECT_EQ(telem_stop_message(SIGTERM),
              "[telem_stop " + std::to_string(kTelemStopLine) + "] Receive signal SIGTERM\n");
}

TEST(StartupSignals, StopMessageNamesSigsegv) {
    EXPECT_EQ(telem_stop_message(SIGSEGV),
              "[telem_stop " + std::to_string(kTelemStopLine) + "] Receive signal SIGSEGV\n");
}

TEST(StartupSignals, StopMessageForOtherSignalsPrintsTheNumber) {
    EXPECT_EQ(telem_stop_message(SIGINT),
              "[telem_stop " + std::to_string(kTelemStopLine) + "] Receve signal 2\n");
    EXPECT_EQ(telem_stop_message(SIGUSR2), "[telem_stop " + std::to_string(kTelemStopLine) +
                                               "] Receve signal " + std::to_string(SIGUSR2) + "\n");
}

// Standard output is sent to standard error in the dying child so that the line
// telem_stop prints can be matched.
TEST(StartupSignalsDeathTest, TelemStopPrintsAndExitsWithStatusOne) {
    EXPECT_EXIT(
        {
            dup2(2, 1);
            telem_stop(SIGTERM);
        },
        testing::ExitedWithCode(1), "\\[telem_stop [0-9]+\\] Receive signal SIGTERM");
    EXPECT_EXIT(
        {
            dup2(2, 1);
            telem_stop(SIGSEGV);
        },
        testing::ExitedWithCode(1), "Receive signal SIGSEGV");
    EXPECT_EXIT(
        {
            dup2(2, 1);
            telem_stop(SIGHUP);
        },
        testing::ExitedWithCode(1), "Receve signal 1");
}

TEST(StartupSignalsDeathTest, DeliveredSigtermEndsTheDaemonWithStatusOne) {
    FakeRouter fake;
    EXPECT_EXIT(
        {
            dup2(2, 1);
            Daemon d;
            Args args{};
            telem_main(d, args.argc(), args.argv(), [](Daemon&) { raise(SIGTERM); });
            std::exit(7);  // not reached when the handler runs
        },
        testing::ExitedWithCode(1), "Receive signal SIGTERM");
}

// --- head of the daemon body --------------------------------------------------------

TEST(DaemonStartup, DetachesAndWritesPidWithoutNewline) {
    FakeRouter fake;
    SignalGuard guard;
    Daemon d;
    daemon_startup_steps(d);
    EXPECT_EQ(fake->daemonized, 1);
    EXPECT_EQ(fake->read("/var/run/telemjson.pid"), std::to_string(getpid()));
}

TEST(DaemonStartup, PidFileFailureIsReportedAndStartContinues) {
    FakeRouter fake;
    SignalGuard guard;
    std::filesystem::remove_all(platform::resolve("/var/run"));
    std::signal(SIGUSR1, SIG_DFL);
    Daemon d;
    testing::internal::CaptureStderr();
    daemon_startup_steps(d);
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(err.rfind("Can not open PID file.: ", 0), 0u) << err;
    EXPECT_NE(current_action(SIGUSR1).sa_handler, SIG_DFL);
}

TEST(DaemonStartup, Sigusr1OnlySetsTheFlag) {
    FakeRouter fake;
    SignalGuard guard;
    Daemon d;
    daemon_startup_steps(d);
    g_sigusr1_flag = 0;
    raise(SIGUSR1);
    EXPECT_EQ(g_sigusr1_flag, 1);
    g_sigusr1_flag = 0;
}

TEST(DaemonStartup, SigchldIsIgnored) {
    FakeRouter fake;
    SignalGuard guard;
    std::signal(SIGCHLD, SIG_DFL);
    Daemon d;
    daemon_startup_steps(d);
    EXPECT_EQ(current_action(SIGCHLD).sa_handler, SIG_IGN);
}

TEST(DaemonStartupDeathTest, DaemonFailureExitsWithStatusOne) {
    FakeRouter fake;
    fake->daemonize_result = -1;
    Daemon d;
    EXPECT_EXIT(daemon_startup_steps(d), testing::ExitedWithCode(1), "^daemon: ");
}
