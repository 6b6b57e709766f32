#include "sandbox.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "platform/unique_fd.h"

namespace e2e {

const std::string kBinary = std::string(TELEM_BIN_DIR) + "/telem_json";

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
static const char* kSandboxSetup = R"SH(set -e
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

}  // namespace e2e
