// The kiln version file and services list.
#include "fuzz_support.h"
#include "report/envelope.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    testing_support::FakeRouter fake;
    const std::string input = fuzz::text(data, size);
    fuzz::every_command_outputs(*fake, input);
    fake->write("/usr/bin/kiln", "");
    fake->write("/tmp/rae_kiln_version", input);
    std::string version, services;
    get_kiln_version(version, services);
    return 0;
}
