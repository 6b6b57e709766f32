// Output of the version tool, for the firmware version.
#include "core/daemon.h"
#include "core/identity.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    testing_support::FakeRouter fake;
    const std::string input = fuzz::text(data, size);
    fuzz::every_command_outputs(*fake, input);
    Daemon d;
    acquire_firmware_version(d);
    (void)firmware_version_from_line(input);
    return 0;
}
