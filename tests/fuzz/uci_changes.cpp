// Saved UCI change lists (the form `uci -P` keeps) applied to a known package.
#include "fuzz_support.h"
#include "platform/uci_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    auto pkg = platform::parse_uci(
        "config lists 'lists'\n\tlist mac '001122334455'\n"
        "config device '001122334455'\n\toption name 'tv'\n\toption ip '10.0.0.2'\n"
        "config device\n\toption name 'anon'\n",
        "devices");
    fuzz::require(pkg.has_value(), "seed package does not parse");
    platform::apply_uci_changes(*pkg, fuzz::text(data, size));
    auto again = platform::parse_uci(platform::render_uci(*pkg), "devices");
    fuzz::require(again.has_value(), "package after changes does not render to valid text");
    return 0;
}
