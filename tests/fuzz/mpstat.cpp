// mpstat output, for the CPU load and the per-core samples.
#include "core/daemon.h"
#include "core/main_loop.h"
#include "core/samplers.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    testing_support::FakeRouter fake;
    const std::string input = fuzz::text(data, size);
    fuzz::every_command_outputs(*fake, input);
    Daemon d;
    double load = 0;
    get_cpu_load(load);
    sample_cpu_cores(d);
    return 0;
}
