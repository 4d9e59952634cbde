// What a log call costs, below the host's threshold and above it.
#include "bench/AllocationCount.h"
#include "frame/HostMessage.h"
#include "frame/Log.h"

#include <benchmark/benchmark.h>

namespace
{
// Not inlined and not known to the compiler, as the real host's is not.
[[gnu::noinline]] std::int32_t QuietHost(const HostMessage* message, void* /*reserved*/)
{
    benchmark::DoNotOptimize(message);
    return LogWarning;
}

HostCallback Opaque(HostCallback callback)
{
    benchmark::DoNotOptimize(callback);
    return callback;
}

void CountAllocations(benchmark::State& state, std::uint64_t before)
{
    state.counters["allocations"] = static_cast<double>(bench::Allocations() - before);
}

// The least any implementation has to do: build the query envelope and ask. A function of its own, as a log
// call is.
[[gnu::noinline]] std::int32_t Ask(HostCallback callback)
{
    HostMessage message;
    message.category = static_cast<std::uint64_t>(MessageCategory::LogMessage);
    message.type = kTypeLogQuery;
    return callback(&message, nullptr);
}

void QueryAlone(benchmark::State& state)
{
    const HostCallback callback = Opaque(QuietHost);
    const std::uint64_t before = bench::Allocations();
    for ([[maybe_unused]] auto iteration : state)
    {
        benchmark::DoNotOptimize(Ask(callback));
    }
    CountAllocations(state, before);
}

void LineBelowThreshold(benchmark::State& state)
{
    const HostCallback callback = Opaque(QuietHost);
    const std::uint64_t before = bench::Allocations();
    for ([[maybe_unused]] auto iteration : state)
    {
        benchmark::DoNotOptimize(LogToHost(kPluginId, callback, LogDebug,
                                           "SMARTCTL: %s get disk warnings: %s", "/dev/sda", "none"));
    }
    CountAllocations(state, before);
}

void LineThatPasses(benchmark::State& state)
{
    const HostCallback callback = Opaque(QuietHost);
    const std::uint64_t before = bench::Allocations();
    for ([[maybe_unused]] auto iteration : state)
    {
        benchmark::DoNotOptimize(LogToHost(kPluginId, callback, LogError,
                                           "SMARTCTL: %s get disk warnings: %s", "/dev/sda", "none"));
    }
    CountAllocations(state, before);
}

BENCHMARK(QueryAlone);
BENCHMARK(LineBelowThreshold);
BENCHMARK(LineThatPasses);
} // namespace

BENCHMARK_MAIN();
