// /proc/bus/usb/devices as the USB sampler reads it.
#include "core/samplers.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    testing_support::FakeRouter fake;
    const std::string input = fuzz::text(data, size);
    fuzz::every_command_outputs(*fake, input);
    (void)get_netusb_present();
    return 0;
}
