// The satellite report: the SOAP client's per-satellite answers in nvram (one
// "key=value" per line of the first piece), the live device table (second piece, UCI
// text), the known-device table (third piece) and the topology dump (fourth piece).
#include <cjson/cJSON.h>

#include "core/daemon.h"
#include "fuzz_support.h"
#include "mesh/net_scan.h"
#include "mesh/satellites.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    testing_support::FakeRouter fake;
    const auto parts = fuzz::pieces(fuzz::text(data, size), 4);
    fuzz::nvram_lines(*fake, parts[0]);
    fake->set_uci("/tmp", "devices", parts[1]);
    fake->set_uci("/opt/cache/system/device-info-table", "knowndevices", parts[2]);
    fake->write(kNetScanLog, parts[3]);
    Daemon d;
    json::Ptr router_info = json::object();
    json::add_string(router_info.get(), "satAllSSIDCloneStatus", "");
    json::Ptr body = create_satellite_obj(d, router_info.get());
    fuzz::require(body != nullptr, "the satellite body is built");
    fuzz::require(d.info.satellites.count >= 0 && d.info.satellites.count <= kMaxSatellites,
                  "the satellite cache count stays within the table");
    const cJSON* list = json::get(body.get(), "Satellite");
    const cJSON* number = json::get(body.get(), "numberOfSatellite");
    fuzz::require(cJSON_IsNumber(number), "numberOfSatellite is a number");
    fuzz::require((list != nullptr) == (number->valueint != 0), "a list exactly when counted");
    (void)satellite_uptime(parts[0]);
    (void)voice_designator(parts[0], "AvsSupport");
    return 0;
}
