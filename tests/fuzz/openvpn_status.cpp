// The OpenVPN status logs counted for VPN clients.
#include "core/samplers.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    testing_support::FakeRouter fake;
    const std::string input = fuzz::text(data, size);
    const auto parts = fuzz::pieces(input, 2);
    fake->write("/tmp/openvpn-status_tap.log", parts[0]);
    fake->write("/tmp/openvpn-status_tun.log", parts[1]);
    (void)get_openvpn_clients();
    return 0;
}
