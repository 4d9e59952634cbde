// A full storage pass (scan, one report per disk for discovery and one for its SMART data, documents, saved
// configuration) against a host that answers at once.
#include "bench/RunningPlugin.h"

#include <benchmark/benchmark.h>

namespace
{
void FullPass(benchmark::State& state)
{
    const auto disks = static_cast<int>(state.range(0));
    bench::CRunningPlugin plugin(bench::ApplianceWithDisks(disks));
    for ([[maybe_unused]] auto iteration : state)
    {
        plugin.Pass();
    }
}

BENCHMARK(FullPass)->Arg(16)->Arg(256)->UseRealTime()->Unit(benchmark::kMillisecond);
} // namespace

BENCHMARK_MAIN();
