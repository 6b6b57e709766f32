// The nvram store's text file: any bytes parse, and what is written reads back the same.
#include "fuzz_support.h"
#include "platform/nvram_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto values = platform::parse_nvram_text(fuzz::text(data, size));
    fuzz::require(platform::parse_nvram_text(platform::render_nvram_text(values)) == values,
                  "nvram text does not read back what was written");
    return 0;
}
