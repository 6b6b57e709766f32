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

#include "sandbox.h"

using namespace e2e;

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
