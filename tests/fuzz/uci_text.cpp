// UCI configuration text: any bytes parse or fail cleanly, and a parsed package renders
// to text that parses to the same package.
#include "fuzz_support.h"
#include "platform/uci_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string error;
    auto pkg = platform::parse_uci(fuzz::text(data, size), "p", &error);
    if (!pkg) return 0;
    const std::string rendered = platform::render_uci(*pkg);
    auto again = platform::parse_uci(rendered, "p");
    fuzz::require(again.has_value(), "rendered UCI text does not parse");
    fuzz::require(platform::render_uci(*again) == rendered, "UCI text does not round trip");
    for (const auto& s : pkg->sections())
        for (const auto& o : s.options()) (void)pkg->get(s.name + "." + o.name);
    return 0;
}
