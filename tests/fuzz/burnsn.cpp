// Output of the burnsn tool, for the serial number.
#include "core/daemon.h"
#include "core/identity.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    testing_support::FakeRouter fake;
    const std::string input = fuzz::text(data, size);
    fuzz::every_command_outputs(*fake, input);
    Daemon d;
    acquire_serial_number(d);
    (void)serial_number_from_line(input);
    (void)mac_without_colons(input);
    return 0;
}
