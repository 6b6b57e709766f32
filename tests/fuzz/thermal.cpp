// The thermal tools: thermaltool's per-radio answer, thermalctrl's on-board reading and
// the protection log /tmp/OTP_result.log, sampled over several watch ticks and then
// reported. The input is split into the thermaltool output, the thermalctrl output,
// the protection log, nvram extremes ("key=value" lines) and a model piece whose first
// byte picks the router model (so that both kinds of sensor are read).
#include "core/daemon.h"
#include "fuzz_support.h"
#include "state/health_alarms.h"
#include "state/router_info.h"

namespace {
const char* const kModels[] = {"VRE660", "VRE650", "VRA310", "VRA420", "VRB540",
                               "VRE670", "VRE630", "VRE640", "unknown"};
constexpr size_t kModelCount = sizeof kModels / sizeof kModels[0];
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::quiet();
    testing_support::FakeRouter fake;
    const auto parts = fuzz::pieces(fuzz::text(data, size), 5);
    const size_t model = fuzz::first_byte(parts[4]);
    fake->nvram["hwver"] = kModels[model % kModelCount];
    fake->on_prefix("/usr/sbin/thermaltool", testing_support::FakeBackend::outputs(parts[0]));
    fake->on_prefix("/sbin/thermalctrl", testing_support::FakeBackend::outputs(parts[1]));
    if (!(model & 0x80)) fake->write("/tmp/OTP_result.log", parts[2]);
    fuzz::nvram_lines(*fake, parts[3]);

    Daemon d;
    // Ticks a minute apart and one close behind: trigger episodes start, grow and end.
    for (uint64_t step : {0u, 60u, 61u, 200u}) {
        fake->now_uptime += step;
        poll_thermal_sensors(d);
    }
    for (const ThermalSensor& s : d.info.health.thermal.sensors)
        fuzz::require(s.trigger_status >= 0 && s.trigger_status <= 2, "trigger status 0..2");
    json::Ptr sensors = create_thermal_sensor_array(d);
    fuzz::require(sensors != nullptr, "the sensor array is built");
    clear_radio_temperature_statistics(d, 0);
    return 0;
}
