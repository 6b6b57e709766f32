// Circle's status tool ("circlectl status", in the "spc-circle" container or not) and
// its version files, as the router information and the Circle versions read them. The
// input is split into the circlectl output, the loader version (circled -v), the
// firmware and database version files and a flags piece (first byte: bit 0 the
// service runs in its container).
#include "core/daemon.h"
#include "fuzz_support.h"
#include "state/router_info.h"
#include "state/usb_reboot.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    testing_support::FakeRouter fake;
    const auto parts = fuzz::pieces(fuzz::text(data, size), 5);
    const unsigned flags = fuzz::first_byte(parts[4]);
    using testing_support::FakeBackend;
    fake->on_contains("circlectl status", FakeBackend::outputs(parts[0]));
    fake->on_prefix("circled -v", FakeBackend::outputs(parts[1]));
    fake->write("/mnt/circle/shares/VERSION", parts[2]);
    fake->write("/mnt/circle/shares/DATABASE_VERSION", parts[3]);

    const bool in_container = flags & 1;
    for (const char* what :
         {"Circle Running:", "Circle Cloud Connectivity:", "Circle Provisioned:"})
        (void)query_circlectl(what, in_container);
    const std::string all = query_circlectl("ALL_INFO", in_container);
    fuzz::require(all.size() <= 2048, "the status log keeps its 2048 bytes");
    fuzz::require(all.find('\0') == std::string::npos, "the status log ends at a NUL");

    Daemon d;
    d.info.features.circle_in_container = in_container ? 1 : 0;
    json::Ptr info = json::object();
    add_circle_status(d, info.get());
    json::Ptr versions = create_circle_version_obj();
    fuzz::require(versions != nullptr, "the version object is built");
    return 0;
}
