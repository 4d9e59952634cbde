// Reading a whole disk report against two libraries that only build their tree of the same text.
//
//   bench_smartctl [--benchmark_...] [FILE]
//
// FILE is another report to measure with.
#include "bench/AtaReport.h"
#include "storage/Smartctl.h"

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>
#include <rapidjson/document.h>

#include <fstream>
#include <iterator>
#include <string>

namespace
{
std::string g_report;

void ParseDiskInfoWhole(benchmark::State& state)
{
    for ([[maybe_unused]] auto iteration : state)
    {
        const SmartctlDiskInfo info = ParseDiskInfo(0, g_report);
        if (!info.error.empty() || info.attributes.empty())
        {
            state.SkipWithError("the report was not read");
        }
        benchmark::DoNotOptimize(info.attributes.data());
    }
}

void RapidJsonTree(benchmark::State& state)
{
    for ([[maybe_unused]] auto iteration : state)
    {
        rapidjson::Document document;
        document.Parse(g_report.data(), g_report.size());
        benchmark::DoNotOptimize(document.HasParseError());
    }
}

void NlohmannTree(benchmark::State& state)
{
    for ([[maybe_unused]] auto iteration : state)
    {
        const nlohmann::json document = nlohmann::json::parse(g_report);
        benchmark::DoNotOptimize(document.size());
    }
}

} // namespace

BENCHMARK(ParseDiskInfoWhole);
BENCHMARK(RapidJsonTree);
BENCHMARK(NlohmannTree);

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    g_report = MakeAtaReport();
    if (argc > 1)
    {
        std::ifstream file(argv[1], std::ios::binary);
        g_report.assign(std::istreambuf_iterator<char>(file), {});
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
