// Throughput of the topology parser on the fixture dump (a router with two satellites,
// one of them daisy-chained), and on a dump with 100 satellites built from it.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "mesh/net_scan.h"

namespace {

std::string fixture_dump() {
    std::filesystem::path path = std::filesystem::path(__FILE__).parent_path().parent_path() /
                                 "tests" / "data" / "net_scan" / "two_satellites.log";
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// The fixture's first satellite entry repeated: 100 entries after the router's own.
std::string hundred_satellites() {
    std::string dump = fixture_dump();
    if (dump.empty()) return dump;
    size_t db = dump.find("-- DB (");
    size_t first = dump.find('\n', db) + 1;
    size_t second = dump.find("QCA IEEE 1905.1 device: #2");
    std::string entry = dump.substr(first, second - first);
    std::string out = dump.substr(0, db) + "-- DB (100 entries) --\n";
    for (int i = 0; i < 100; ++i) out += entry;
    return out;
}

void parse(benchmark::State& state, const std::string& dump) {
    if (dump.empty()) {
        state.SkipWithError("fixture dump not found");
        return;
    }
    for (auto _ : state) {
        NetScanResult r = parse_net_scan(dump);
        benchmark::DoNotOptimize(r.root.get());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(dump.size()));
}

void BM_NetScanParseFixture(benchmark::State& state) {
    static const std::string dump = fixture_dump();
    parse(state, dump);
}
BENCHMARK(BM_NetScanParseFixture);

void BM_NetScanParseHundredSatellites(benchmark::State& state) {
    static const std::string dump = hundred_satellites();
    parse(state, dump);
}
BENCHMARK(BM_NetScanParseHundredSatellites);

// Parse and print, as netlog_create_json does before writing the file.
void BM_NetScanParseAndPrintFixture(benchmark::State& state) {
    static const std::string dump = fixture_dump();
    for (auto _ : state) {
        NetScanResult r = parse_net_scan(dump);
        json::Text text = json::print(r.root.get());
        benchmark::DoNotOptimize(text.get());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(dump.size()));
}
BENCHMARK(BM_NetScanParseAndPrintFixture);

}  // namespace
