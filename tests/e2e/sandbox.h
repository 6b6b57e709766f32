// Running the built binaries as the router's init scripts run them, inside private
// namespaces so that nothing on this machine is touched.
#pragma once

#include <string>
#include <vector>

namespace e2e {

extern const std::string kBinary;

struct Outcome {
    std::string out;  // standard output
    int status = -1;  // exit status, -1 when the program did not exit normally
};

// Runs argv without a shell; standard error is discarded.
Outcome run(const std::vector<std::string>& argv);

// The unshare options that give private mount and PID namespaces here: as root the
// namespaces alone, otherwise inside a user namespace. Empty when neither works.
std::vector<std::string> sandbox_prefix();

// Runs `body` with sh in the sandbox: tmpfs on /tmp and /var/run, nvram in
// /tmp/nvram.txt, stand-ins for killall, telem_heartbeat and telem_wifi in /tmp/stub
// (first on PATH), $1 set to the daemon binary. Anything still running when the shell
// ends is killed with its PID namespace.
Outcome run_in_sandbox(const std::vector<std::string>& prefix, const std::string& body);

// Processes on this machine running the binary under test.
int running_copies();

}  // namespace e2e
