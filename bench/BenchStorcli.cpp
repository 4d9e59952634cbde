// Reading a controller's whole list of drives against a library that only builds its tree of the same text.
#include "bench/LsiAppliance.h"
#include "raid/Storcli.h"

#include <benchmark/benchmark.h>
#include <rapidjson/document.h>

#include <string>

namespace
{
constexpr int kDrives = 29;
const std::string kListing = bench::MakeDisksListing(kDrives);

void ParseDisksInfoWhole(benchmark::State& state)
{
    for ([[maybe_unused]] auto iteration : state)
    {
        const StorcliDisks list = ParseDisksInfo(0, kListing);
        if (list.disks.size() != kDrives || list.disks.back().serialNumber.empty())
        {
            state.SkipWithError("the listing was not read");
        }
        benchmark::DoNotOptimize(list.disks.data());
    }
}

void RapidJsonTree(benchmark::State& state)
{
    for ([[maybe_unused]] auto iteration : state)
    {
        rapidjson::Document document;
        document.Parse(kListing.data(), kListing.size());
        benchmark::DoNotOptimize(document.HasParseError());
    }
}

BENCHMARK(ParseDisksInfoWhole);
BENCHMARK(RapidJsonTree);
} // namespace

BENCHMARK_MAIN();
