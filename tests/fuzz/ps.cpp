// ps output, read to supervise the heartbeat and to detect the containers.
#include "core/daemon.h"
#include "core/features.h"
#include "core/main_loop.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    testing_support::FakeRouter fake;
    const std::string input = fuzz::text(data, size);
    fuzz::every_command_outputs(*fake, input);
    Daemon d;
    supervise_heartbeat();
    detect_features(d);
    return 0;
}
