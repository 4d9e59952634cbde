// What the plug-in adds to its host with 24 disks, and whether it grows: 1,000 full storage passes (fewer
// with an argument).
#include "bench/RunningPlugin.h"

#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace
{
constexpr int kDisks = 24;
constexpr int kWarmUp = 100;

// Resident memory of this process in KiB, after giving free pages back.
long ResidentKiB()
{
    malloc_trim(0);
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word)
    {
        if (word == "VmRSS:")
        {
            long kib = 0;
            status >> kib;
            return kib;
        }
    }
    return 0;
}

long HeapKiB()
{
    return static_cast<long>(mallinfo2().uordblks / 1024);
}
} // namespace

int main(int argc, char** argv)
{
    const int passes = argc > 1 ? std::atoi(argv[1]) : 1000;
    bench::Answer answer = bench::ApplianceWithDisks(kDisks);
    const long before = ResidentKiB();
    bench::CRunningPlugin plugin(std::move(answer));
    for (int i = 0; i < kWarmUp; ++i)
    {
        plugin.Pass();
    }
    const long warm = ResidentKiB();
    const long warmHeap = HeapKiB();
    for (int i = kWarmUp; i < passes; ++i)
    {
        plugin.Pass();
    }
    const long after = ResidentKiB();
    std::printf("passes %d, disks %d, programs run %llu\n", passes, kDisks,
                static_cast<unsigned long long>(plugin.Host().ProgramsRun()));
    std::printf("resident KiB: before %ld, after %d passes %ld, after %d passes %ld\n", before, kWarmUp, warm,
                passes, after);
    std::printf("heap in use KiB: after %d passes %ld, after %d passes %ld\n", kWarmUp, warmHeap, passes,
                HeapKiB());
    std::printf("added by the plug-in: %ld KiB (limit 8192)\n", after - before);
    return 0;
}
