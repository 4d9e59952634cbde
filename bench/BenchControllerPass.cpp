// A full storage pass on an appliance with a RAID controller, against a host that answers at once: processor
// time of the main loop's thread alone.
#include "bench/LsiAppliance.h"
#include "bench/RunningPlugin.h"

#include <benchmark/benchmark.h>

namespace
{
using bench::SmartThrough;

void Run(benchmark::State& state, SmartThrough smart)
{
    bench::CRunningPlugin plugin(bench::LsiAppliance(static_cast<int>(state.range(0)), smart));
    for ([[maybe_unused]] auto iteration : state)
    {
        const auto before = plugin.MainLoopTime();
        plugin.Pass();
        state.SetIterationTime(std::chrono::duration<double>(plugin.MainLoopTime() - before).count());
    }
}

// The drives' SMART data comes from the controller's own table.
void PassThroughTable(benchmark::State& state)
{
    Run(state, SmartThrough::Controller);
}

// Every drive answers smartctl with a report.
void PassThroughSmartctl(benchmark::State& state)
{
    Run(state, SmartThrough::Smartctl);
}

BENCHMARK(PassThroughTable)->Arg(16)->Arg(60)->Arg(240)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(PassThroughSmartctl)->Arg(16)->Arg(60)->Arg(240)->UseManualTime()->Unit(benchmark::kMillisecond);
} // namespace

BENCHMARK_MAIN();
