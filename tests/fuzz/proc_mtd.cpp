// /proc/mtd as the host backend reads it to find a flash partition.
#include <filesystem>
#include <fstream>

#include "fuzz_support.h"
#include "platform/host_backend.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    testing_support::FakeRouter fake;  // only for its private root directory
    const std::string root = fake->root();
    std::filesystem::create_directories(root + "/proc");
    std::ofstream(root + "/proc/mtd", std::ios::binary) << fuzz::text(data, size);
    platform::HostBackend host(root + "/nvram.txt", root);
    (void)host.mtd_index("crashlog");
    (void)host.mtd_index("");
    return 0;
}
