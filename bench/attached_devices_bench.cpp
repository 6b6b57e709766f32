// One collection pass over a full device table on the fake router: the attached-device
// inventory, the connected-device report built from it and the report text.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>

#include "core/daemon.h"
#include "mesh/attached_devices.h"
#include "mesh/connected_devices.h"
#include "platform/uci_file.h"
#include "platform/unique_fd.h"
#include "support/fake_backend.h"
#include "support/quiet_stdout.h"

namespace {

using testing_support::FakeBackend;
using testing_support::FakeRouter;
using testing_support::QuietStdout;

constexpr const char* kInfoDir = "/opt/cache/system/device-info-table";
const char* const kBands[] = {"wired", "2.4GHz Wireless", "5GHz Wireless", "6GHz Wireless"};

std::string mac12(int i) {
    char text[13];
    std::snprintf(text, sizeof text, "02AB%08X", i);
    return text;
}

std::string colon(const std::string& m) {
    std::string out;
    for (size_t i = 0; i < m.size(); i += 2) out += (i ? ":" : "") + m.substr(i, 2);
    return out;
}

void option(std::string& text, const char* name, const std::string& value) {
    text += std::string("\toption ") + name + " " + platform::uci_quote(value) + "\n";
}

// A device section with every option a pass reads.
std::string device_section(int i, bool online) {
    std::string m = mac12(i);
    std::string text = "config device '" + m + "'\n";
    option(text, "mac", colon(m));
    option(text, "ip", "192.168.1." + std::to_string(10 + i % 200));
    option(text, "name", "device-" + std::to_string(i));
    option(text, "connection", kBands[i % 4]);
    option(text, "fronthaulRSSI", std::to_string(30 + i % 40));
    option(text, "linkSpeed", "866.7");
    option(text, "type", "Android Phone(3)");
    option(text, "model", "Galaxy S" + std::to_string(i % 30));
    option(text, "connectedVyro", i % 2 ? "Vyro Router" : "AABBCC000001");
    option(text, "devConnStat", online ? "1" : "0");
    option(text, "devNameUser", i % 3 ? "" : "user name " + std::to_string(i));
    option(text, "devDPIName", "dpi-" + std::to_string(i));
    option(text, "devMByFing", "Galaxy S24");
    option(text, "devTypeNameByQRVX", "Android Phone");
    option(text, "devTypeIndexByQRVX", "3");
    option(text, "devBrandByFing", "Samsung");
    option(text, "devMacVendor", "Samsung Electronics Co.,Ltd");
    option(text, "devOSByFing", "Android");
    option(text, "devOSVerByFing", "14");
    option(text, "detectEngine", "fing");
    option(text, "devTByFing", "Mobile");
    option(text, "devDhcpOpts", "1,3,6,15,26,28,51,58,59,43");
    option(text, "devUsragent", "Dalvik/2.1.0 (Linux; U; Android 14)");
    option(text, "customizationName", "1");
    option(text, "customizationType", "1");
    option(text, "customizationModel", "0");
    option(text, "defaultName", "dpi-" + std::to_string(i));
    option(text, "defaultModel", "Galaxy S24");
    option(text, "defaultType", "Android Phone");
    return text + "\n";
}

std::string satellite_section() {
    return "config device 'AABBCC000001'\n\toption conndevice 'satellite'\n"
           "\toption name 'VRS650-1'\n\toption devnamedefault 'Living room'\n"
           "\toption model 'VRS650'\n\n";
}

std::string list_section(int first, int count) {
    std::string text = "config lists 'lists'\n";
    for (int i = first; i < first + count; ++i) text += "\tlist mac '" + mac12(i) + "'\n";
    return text + "\n";
}

// `online` attached devices (a quarter of them wired) and `offline` known devices.
void build_router(FakeBackend& fake, Daemon& d, int online, int offline) {
    fake.nvram["hwver"] = "VRE650";
    d.ports = {{"0x04", "0x02", "0x10", "0x08", "0x40"}, 5, -1, {2, 1, 4, 3, 6}};
    d.info.mac = "A0B1C2D3E4F5";
    std::string live = list_section(0, online) + satellite_section();
    for (int i = 0; i < online; ++i) live += device_section(i, true);
    fake.set_uci("/tmp", "devices", live);
    fake.set_uci(kInfoDir, "devices", satellite_section());
    std::string known = list_section(0, online + offline) + satellite_section();
    for (int i = 0; i < online + offline; ++i) known += device_section(i, i < online);
    fake.set_uci(kInfoDir, "knowndevices", known);
    fake.on_prefix("swconfig dev switch0 get dump_arl", FakeBackend::outputs("0x04\n"));
    fake.on_prefix("swconfig dev switch0 port",
                   FakeBackend::outputs("Port 2: link:up speed:1000baseT full-duplex\n"));
}

void run_passes(benchmark::State& state, bool fing, int online, int offline) {
    FakeRouter fake;
    auto d = std::make_unique<Daemon>();
    build_router(*fake, *d, online, offline);
    d->info.attached.fing_present = fing ? 1 : 0;
    size_t commands = 0;
    int loads = 0;
    size_t bytes = 0;
    {
        QuietStdout quiet;
        for (auto _ : state) {
            fake->commands.clear();
            int loads_before = fake->uci_loads;
            get_attach_dev(*d);
            json::Ptr report = create_connected_device_detail_obj(*d);
            std::string text = json::print_string(report.get());
            benchmark::DoNotOptimize(text.data());
            commands = fake->commands.size();
            loads = fake->uci_loads - loads_before;
            bytes = text.size();
        }
    }
    state.counters["devices"] = d->info.attached.num_entry;
    state.counters["commands_per_pass"] = static_cast<double>(commands);
    state.counters["uci_loads_per_pass"] = loads;
    state.counters["report_bytes"] = static_cast<double>(bytes);
}

void BM_AttachedDevicePass_NoFing(benchmark::State& state) {
    run_passes(state, false, 128, 0);
}
void BM_AttachedDevicePass_Fing(benchmark::State& state) {
    run_passes(state, true, 96, 32);
}

}  // namespace

BENCHMARK(BM_AttachedDevicePass_NoFing)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AttachedDevicePass_Fing)->Unit(benchmark::kMillisecond);
