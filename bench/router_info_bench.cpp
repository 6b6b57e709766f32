// Building the "routerInfo" body on the fake router, for the three model families:
// CPU time per report and the commands it runs.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>

#include "core/daemon.h"
#include "platform/unique_fd.h"
#include "state/router_info.h"
#include "support/fake_backend.h"
#include "support/quiet_stdout.h"

namespace {

using testing_support::FakeBackend;
using testing_support::FakeRouter;
using testing_support::QuietStdout;

// A router of the model with every optional source present: speed test, scan log,
// Circle, Fing, and (index 3) the built-in cable modem.
void build_router(FakeBackend& fake, Daemon& d, const std::string& hwver) {
    fake.hwversion = hwver;
    fake.nvram = {{"hwver", hwver},
                  {"wan_ipaddr", "198.51.100.23"},
                  {"lan_ipaddr", "192.168.1.1"},
                  {"q_agent_id", "qa-1"},
                  {"q_agent_registered", "1"},
                  {"gui_region", "English"},
                  {"wla_region", "11"},
                  {"ntp_sync_status", "0"},
                  {"ntp_is_synced", "1"},
                  {"qos_bw_downlink", "412000000"},
                  {"qos_bw_uplink", "38000000"},
                  {"qos_bw_tmp_downlink", "412000000"},
                  {"qos_bw_tmp_uplink", "38000000"},
                  {"qos_bw_tmp_ping", "14 ms"},
                  {"is_cable_wan_mode", hwver == "VRE670" ? "1" : "0"}};
    fake.write("/tmp/net_scan.log", "hops to the device: 1\n");
    fake.on_prefix("cat /tmp/net_scan.log", FakeBackend::outputs("1\n"));
    fake.on_prefix("swconfig dev", FakeBackend::outputs("Port 1: link:up speed:1000baseT\n"));
    fake.on_prefix("circlectl status",
                   FakeBackend::outputs("Circle Running: true\nCircle Cloud Connectivity:\n"
                                        "rclient:   connected\nCircle Provisioned: true\n"));
    fake.write("/usr/bin/get_fingRA_data.sh", "");
    fake.on_prefix("/usr/bin/get_fingRA_data.sh", FakeBackend::outputs("4\n"));
    fake.on_prefix("/usr/sbin/ipcCmd getcminfo", FakeBackend::outputs("'CM|7.1.2.3|\n"));
    if (hwver == "VRE650")
        d.ports = {{"0x04", "0x02", "0x10", "0x08", "0x40"}, 5, -1, {2, 1, 4, 3, 6}};
    else if (hwver == "VRA420")
        d.ports = {{"0x02", "0x04", "0x08", "0x10", ""}, 5, -1, {1, 2, 3, 4, -1}};
    else
        d.ports = {{"0x08", "0x04", "0x02", "", ""}, 2, -1, {3, 2, 1, -1, -1}};
}

void build_reports(benchmark::State& state, const std::string& hwver) {
    FakeRouter fake;
    auto d = std::make_unique<Daemon>();
    build_router(*fake, *d, hwver);
    size_t commands = 0;
    size_t bytes = 0;
    {
        QuietStdout quiet;
        for (auto _ : state) {
            fake->commands.clear();
            // A new speed test each time, so the speed-test member is built in full.
            fake->nvram["ra_speedtest_report_lasttime"] = "first";
            fake->nvram["qos_Lasttesttime"] = "2024-11-19 22:05:09";
            json::Ptr info = create_router_info_obj(*d);
            std::string text = json::print_string(info.get());
            benchmark::DoNotOptimize(text.data());
            commands = fake->commands.size();
            bytes = text.size();
        }
    }
    state.counters["commands_per_report"] = static_cast<double>(commands);
    state.counters["sensors"] = static_cast<double>(d->info.health.thermal.sensors.size());
    state.counters["report_bytes"] = static_cast<double>(bytes);
}

void BM_RouterInfo_Vra420(benchmark::State& state) {
    build_reports(state, "VRA420");
}
void BM_RouterInfo_Vre650(benchmark::State& state) {
    build_reports(state, "VRE650");
}
void BM_RouterInfo_Vre670Cable(benchmark::State& state) {
    build_reports(state, "VRE670");
}

}  // namespace

BENCHMARK(BM_RouterInfo_Vra420)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RouterInfo_Vre650)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RouterInfo_Vre670Cable)->Unit(benchmark::kMicrosecond);
