// /proc/meminfo as the memory sampler reads it.
#include "core/daemon.h"
#include "core/main_loop.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    testing_support::FakeRouter fake;
    const std::string input = fuzz::text(data, size);
    fuzz::every_command_outputs(*fake, input);
    Daemon d;
    sample_memory(d);
    return 0;
}
