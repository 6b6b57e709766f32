// The built telem_json binary, run as the router's init scripts run it.
//
// Runs that get past the command line touch /tmp, /var/run and nvram on the machine
// the binary runs on, so they run inside private namespaces: a mount namespace with
// tmpfs on /tmp and /var/run (and nvram kept in that /tmp), and a PID namespace whose
// first process is the shell below, so that anything the binary leaves running is
// killed when the shell ends. Stand-ins for killall, telem_heartbeat and telem_wifi
// record their calls instead of touching real processes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/unique_fd.h"

namespace {

const std::string kBinary = std::string(TELEM_BIN_DIR) + "/telem_json";

struct Outcome {
    std::string out;  // standard output
    int status = -1;  // exit status, -1 when the program did not exit normally
};

// Runs argv without a shell; standard error is discarded.
Outcome run(const std::vector<std::string>& argv) {
    Outcome o;
    int fds[2];
    if (::pipe(fds) != 0) return o;
    platform::UniqueFd read_end(fds[0]), write_end(fds[1]);
    pid_t pid = ::fork();
    if (pid < 0) return o;
    if (pid == 0) {
        ::dup2(write_end.get(), 1);
        int null = ::open("/dev/null", O_WRONLY);
        if (null >= 0) ::dup2(null, 2);
        std::vector<char*> args;
        for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        ::execvp(args[0], args.data());
        ::_exit(127);
    }
    write_end.reset();
    char buf[4096];
    ssize_t n;
    while ((n = ::read(read_end.get(), buf, sizeof buf)) > 0) o.out.append(buf, n);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    o.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return o;
}

// The unshare options that give private mount and PID namespaces here: as root the
// namespaces alone, otherwise inside a user namespace. Empty when neither works.
std::vector<std::string> sandbox_prefix() {
    for (const char* opts : {"-mpf", "-rmpf"}) {
        if (::geteuid() != 0 && std::string(opts) == "-mpf") continue;
        std::vector<std::string> prefix = {"unshare", opts, "--"};
        std::vector<std::string> probe = prefix;
        probe.insert(probe.end(), {"sh", "-c", "mount -t tmpfs tmpfs /tmp && echo ok"});
        if (run(probe).out == "ok\n") return prefix;
    }
    return {};
}

// Prepares the private /tmp and /var/run, then runs `body` with $BIN set.
const char* kSandboxSetup = R"SH(set -e
mount -t tmpfs tmpfs /var/run
mount -t tmpfs tmpfs /tmp
mkdir /tmp/stub
for t in killall telem_heartbeat telem_wifi; do
    printf '#!/bin/sh\necho "%s $*" >> /tmp/sibling_calls\n' "$t" > /tmp/stub/$t
    chmod +x /tmp/stub/$t
done
export PATH=/tmp/stub:$PATH NVRAM_FILE=/tmp/nvram.txt
set +e
)SH";

Outcome run_in_sandbox(const std::vector<std::string>& prefix, const std::string& body) {
    std::vector<std::string> argv = prefix;
    argv.insert(argv.end(), {"sh", "-c", std::string(kSandboxSetup) + body, "sandbox", kBinary});
    return run(argv);
}

// Processes on this machine running the binary under test.
int running_copies() {
    int count = 0;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", ec)) {
        std::error_code link_ec;
        auto exe = std::filesystem::read_symlink(entry.path() / "exe", link_ec);
        if (!link_ec && exe == std::filesystem::path(kBinary)) ++count;
    }
    return count;
}

}  // namespace

TEST(DaemonCli, VersionPrintsTwoLinesAndExitsZero) {
    Outcome o = run({kBinary, "-v"});
    EXPECT_EQ(o.out, "Version V1.5.1.4\nDate    Feb 18 2025 19:01:29\n");
    EXPECT_EQ(o.status, 0);
}

TEST(DaemonCli, UnknownOptionPrintsMessageAndExitsZero) {
    Outcome o = run({kBinary, "-x"});
    EXPECT_EQ(o.out, "Unknown option '-x'.\n");
    EXPECT_EQ(o.status, 0);
}

TEST(DaemonCli, OptionCWithoutArgumentPrintsMessageAndExitsZero) {
    Outcome o = run({kBinary, "-c"});
    EXPECT_EQ(o.out, "Option -c requires an argument.\n");
    EXPECT_EQ(o.status, 0);
}

TEST(DaemonCli, PresentPidFileRefusesToStart) {
    auto prefix = sandbox_prefix();
    if (prefix.empty()) GTEST_SKIP() << "no private mount and PID namespaces here";
    Outcome o = run_in_sandbox(prefix, R"SH(printf 4242 > /var/run/telemjson.pid
"$1"
echo "status=$?"
echo "pidfile=$(cat /var/run/telemjson.pid)"
[ -e /tmp/sibling_calls ] && echo "siblings touched"
for d in /tmp/telem_json_dir /tmp/router-analytics /tmp/telem_wifi_json_dir; do
    [ -d $d ] && echo "made $d"
done
exit 0
)SH");
    EXPECT_EQ(o.out,
              "telem_json already running.\n"
              "status=0\n"
              "pidfile=4242\n"
              "made /tmp/telem_json_dir\n"
              "made /tmp/router-analytics\n"
              "made /tmp/telem_wifi_json_dir\n");
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(running_copies(), 0);
}

TEST(DaemonCli, FreshStartDetachesWritesPidFileAndRestartsSiblings) {
    auto prefix = sandbox_prefix();
    if (prefix.empty()) GTEST_SKIP() << "no private mount and PID namespaces here";
    Outcome o = run_in_sandbox(prefix, R"SH("$1"
echo "status=$?"
i=0
while [ ! -s /var/run/telemjson.pid ] && [ $i -lt 100 ]; do sleep 0.1; i=$((i+1)); done
pid=$(cat /var/run/telemjson.pid)
case "$pid" in *[!0-9]*|'') echo "bad pid file: $pid" ;; *) kill -0 "$pid" && echo "daemon running" ;; esac
i=0
while [ "$(grep -c . /tmp/sibling_calls 2>/dev/null)" != 4 ] && [ $i -lt 100 ]; do sleep 0.1; i=$((i+1)); done
sort /tmp/sibling_calls
exit 0
)SH");
    EXPECT_EQ(o.out,
              "status=0\n"
              "daemon running\n"
              "killall telem_heartbeat\n"
              "killall telem_wifi\n"
              "telem_heartbeat \n"
              "telem_wifi \n");
    EXPECT_EQ(o.status, 0);
    // The PID namespace ended with its first process and took the daemon with it.
    EXPECT_EQ(running_copies(), 0);
}
