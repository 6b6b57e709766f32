// The ping count file of the connectivity check.
#include "core/connectivity.h"
#include "core/daemon.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    testing_support::FakeRouter fake;
    const std::string input = fuzz::text(data, size);
    fuzz::every_command_outputs(*fake, input);
    fake->nvram["wan_ifname"] = "eth0";
    fake->nvram["wan_gateway"] = "10.0.0.1";
    Daemon d;
    (void)check_connection(d, "www.google.com");
    check_internet_and_gateway(d);
    return 0;
}
