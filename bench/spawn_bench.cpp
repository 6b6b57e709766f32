// What starting one command costs the daemon itself. Every pass starts about a thousand
// shell commands whose lines are fixed, so the cost of one start, measured as the
// daemon's own CPU time (the "CPU" column; the child's time is its own), is what a pass
// can save. The posix_spawn case is the way commands were started before, for
// comparison on the same machine.
#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/wait.h>

#include <string>

#include "platform/host_backend.h"
#include "platform/platform.h"
#include "support/temp_dir.h"

extern char** environ;

namespace {

using testing_support::TempDir;

struct Router {
    TempDir dir;
    platform::HostBackend host{dir.file("nvram.txt"), dir.path()};
    Router() { platform::install(&host); }
    ~Router() { platform::install(nullptr); }
};

void BM_RunShellTrue(benchmark::State& state) {
    Router r;
    for (auto _ : state) benchmark::DoNotOptimize(doSystem("true"));
}
BENCHMARK(BM_RunShellTrue)->UseRealTime();

void BM_PopenReadEcho(benchmark::State& state) {
    Router r;
    for (auto _ : state) benchmark::DoNotOptimize(platform::backend().popen_read("echo x"));
}
BENCHMARK(BM_PopenReadEcho)->UseRealTime();

void BM_ExecToFileWithoutShell(benchmark::State& state) {
    Router r;
    r.dir.write("tmp/.keep", "");
    for (auto _ : state) benchmark::DoNotOptimize(_eval({"true"}, "/tmp/out", 0, nullptr));
}
BENCHMARK(BM_ExecToFileWithoutShell)->UseRealTime();

void BM_GlibcPosixSpawnShellTrue(benchmark::State& state) {
    char sh[] = "sh";
    char dash_c[] = "-c";
    char line[] = "true";
    char* argv[] = {sh, dash_c, line, nullptr};
    for (auto _ : state) {
        pid_t pid = -1;
        if (::posix_spawn(&pid, "/bin/sh", nullptr, nullptr, argv, environ) == 0) {
            int status = 0;
            ::waitpid(pid, &status, 0);
        }
    }
}
BENCHMARK(BM_GlibcPosixSpawnShellTrue)->UseRealTime();

}  // namespace
