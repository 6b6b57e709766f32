// The device-location service's answer, line by line and as the file the curl command
// leaves.
#include "core/daemon.h"
#include "core/geo_location.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    testing_support::FakeRouter fake;
    const std::string input = fuzz::text(data, size);
    GeoLocation geo;
    parse_location_line(input, geo);
    fake->write(kLocationFile, input);
    GeoLocation from_file;
    parse_location_file(from_file);
    return 0;
}
