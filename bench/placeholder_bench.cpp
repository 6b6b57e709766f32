#include <benchmark/benchmark.h>

#include "report/json.h"

static void BM_PrintSmallReport(benchmark::State& state) {
    json::Ptr doc = json::object();
    for (int i = 0; i < 20; ++i) json::add_string(doc.get(), ("k" + std::to_string(i)).c_str(), "v");
    for (auto _ : state) benchmark::DoNotOptimize(json::print_string(doc.get()));
}
BENCHMARK(BM_PrintSmallReport);
