// The security service's status report (the JSON document bdagent-manage writes to
// /tmp/shield_status_report) and the answers of its zt keys and version files, as the
// router configuration's shield members read them. The input is split into the status
// document, the zt answer, the release file's VERSION lines, the Guster version and a
// flags piece (first byte: bit 0 the service runs in its container, bit 1 the release
// file exists, bit 2 AP mode).
#include "core/daemon.h"
#include "fuzz_support.h"
#include "state/shield.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    testing_support::FakeRouter fake;
    const auto parts = fuzz::pieces(fuzz::text(data, size), 5);
    const unsigned flags = fuzz::first_byte(parts[4]);
    using testing_support::FakeBackend;
    fake->on_contains("bdagent-manage", FakeBackend::outputs(parts[0]));
    fake->on_prefix("zt ", FakeBackend::outputs(parts[1]));
    fake->on_contains("bitdefender-release", FakeBackend::outputs(parts[2]));
    fake->on_prefix("kiln ", FakeBackend::outputs(parts[2]));
    fake->on_contains("guster.version", FakeBackend::outputs(parts[3]));
    fake->write("/usr/bin/zt", "");
    if (flags & 2) fake->write("/opt/bitdefender/bitdefender-release", parts[2]);
    if (flags & 4) fake->nvram["enable_ap_mode"] = "1";

    Daemon d;
    d.info.features.security_in_container = (flags & 1) ? 1 : 0;
    json::Ptr config = json::object();
    create_router_config_shield(d, config.get());
    const ShieldStatus& s = d.info.router_config.shield;
    for (const std::string* f : {&s.agent_status, &s.registration, &s.subscription_status,
                                 &s.expiry, &s.level, &s.license_status})
        fuzz::require(f->size() <= 31, "status fields keep their 32-byte buffers");
    fuzz::require(!fake->exists("/tmp/shield_status_report"), "the status file is removed");
    return 0;
}
