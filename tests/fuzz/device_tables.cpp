// The device-tracking UCI tables: the live table in /tmp and the known-device table,
// the input split into the two texts.
#include "core/daemon.h"
#include "fuzz_support.h"
#include "mesh/attached_devices.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    testing_support::FakeRouter fake;
    const auto parts = fuzz::pieces(fuzz::text(data, size), 3);
    fake->set_uci("/tmp", "devices", parts[0]);
    fake->set_uci("/opt/cache/system/device-info-table", "knowndevices", parts[1]);
    fuzz::every_command_outputs(*fake, parts[2]);
    Daemon d;
    (void)get_attach_dev(d);
    (void)get_attach_dev(d);  // a second pass over the same tables
    return 0;
}
