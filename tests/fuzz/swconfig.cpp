// swconfig port and address-table output read by the Ethernet port status.
#include "core/daemon.h"
#include "fuzz_support.h"
#include "mesh/port_status.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    testing_support::FakeRouter fake;
    const std::string input = fuzz::text(data, size);
    fuzz::every_command_outputs(*fake, input);
    Daemon d;
    for (const char* hw : {"VRE670", "VRC670"}) {
        fake->nvram["hwver"] = hw;
        for (int port = 0; port <= 5; ++port) {
            (void)get_port_status(d, 0, port);
            (void)get_port_status(d, 1, port);
        }
        (void)get_lan_link_mask(d);
        int switch_port = -1;
        get_device_switch_port(d, "aa:bb:cc:00:11:22", switch_port);
    }
    return 0;
}
