// Costs of inputs other programs could make large: a UCI section with many options
// (linear, not quadratic, in the option count) and a store replacement that reaches
// stable storage.
#include <benchmark/benchmark.h>

#include <string>

#include "platform/file_watch.h"
#include "platform/uci_file.h"
#include "support/temp_dir.h"

namespace {

void BM_UciParseOptionsInOneSection(benchmark::State& state) {
    std::string text = "config device 'AABBCC001122'\n";
    for (int64_t i = 0; i < state.range(0); ++i)
        text += "\toption o" + std::to_string(i) + " 'v'\n";
    for (auto _ : state) {
        auto pkg = platform::parse_uci(text, "devices");
        benchmark::DoNotOptimize(pkg);
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_UciParseOptionsInOneSection)
    ->RangeMultiplier(4)
    ->Range(2500, 40000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity();

void BM_ReplaceFileDurably(benchmark::State& state) {
    testing_support::TempDir dir;
    const std::string path = dir.file("nvram.txt");
    const std::string content(static_cast<size_t>(state.range(0)), 'x');
    for (auto _ : state) benchmark::DoNotOptimize(platform::replace_file_atomically(path, content));
}
BENCHMARK(BM_ReplaceFileDurably)->Arg(4096)->Arg(65536)->Unit(benchmark::kMicrosecond);

}  // namespace
