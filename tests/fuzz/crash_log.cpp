// The reboot and crash records: the kernel crash log the platform leaves (the panic
// file, or the "DebugMsg" flash partition when there is none), the copy of the crash
// already accounted for, and the latest reboot line, as the first pass records them
// and the kernel reboot report reads them back. The input is split into the panic
// file, the recorded crash copy, the reboot line file and a flags piece (first byte:
// bit 0 the panic file is missing and the partition is read, bit 1 the orderly-reboot
// marker is present, bit 2 telem_debug is on).
#include "core/reboot_records.h"
#include "fuzz_support.h"
#include "state/usb_reboot.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    testing_support::FakeRouter fake;
    const auto parts = fuzz::pieces(fuzz::text(data, size), 4);
    const unsigned flags = fuzz::first_byte(parts[3]);
    if (flags & 1) {
        fake->mtd = 3;
        fake->write("/dev/mtd3", parts[0]);
    } else {
        fake->write(kPanicRebootFile, parts[0]);
    }
    fake->write(kLatestCrashLogFile, parts[1]);
    fake->write(kLatestRebootDataFile, parts[2]);
    if (flags & 2) fake->write(kLatestRebootNormalFile, "");
    if (flags & 4) fake->nvram["telem_debug"] = "1";

    (void)parse_crash_header(parts[0]);
    (void)get_kernel_reboot_data();
    fuzz::require(!fake->exists(kKernelCrashLogCopy), "the crash log copy is removed");
    fuzz::require(fake->nvram["ra_reboot_flags"] == "0", "the reboot flags are reset");
    // The stand-in shell does not run echo: the report reads the reboot line given.
    fake->write(kLatestRebootDataFile, parts[2]);
    json::Ptr body = create_kernel_reboot_obj();
    if (body) fuzz::require(json::print_string(body.get()).size() > 0, "the body prints");
    return 0;
}
