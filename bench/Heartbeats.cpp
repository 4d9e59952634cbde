// Heartbeats while the main loop hangs inside a tool and every core is busy: how many there were, and how
// late each one was. Argument: seconds to watch, 60 by default.
#include "bench/RunningPlugin.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace
{
std::atomic<bool> g_hang{false};
std::atomic<bool> g_done{false};

void BurnOneCore()
{
    volatile std::uint64_t work = 0;
    while (!g_done)
    {
        work = work + 1;
    }
}
} // namespace

int main(int argc, char** argv)
{
    const int seconds = argc > 1 ? std::atoi(argv[1]) : 60;
    const bench::Answer appliance = bench::ApplianceWithDisks(4);
    bench::CRunningPlugin plugin([&appliance](const std::vector<std::string>& arguments) -> const std::string*
                                 { return g_hang ? nullptr : appliance(arguments); });

    g_hang = true;
    static constexpr std::string_view kRefresh =
        R"(<zDVR Delta="1"><Storage ID="3604480"><Refresh Controllers="all"/></Storage></zDVR>)";
    plugin.Manager().PostConfigUpdate(static_cast<std::uint32_t>(kRefresh.size()), kRefresh.data());
    while (!plugin.Host().IsHanging())
    {
        std::this_thread::yield();
    }

    std::vector<std::thread> burners;
    for (unsigned core = 0; core < std::max(2U, std::thread::hardware_concurrency()); ++core)
    {
        burners.emplace_back(BurnOneCore);
    }
    const std::size_t first = plugin.Host().HeartbeatTimes().size();
    // The length of the measurement; nothing is waited for.
    std::this_thread::sleep_for(std::chrono::seconds(seconds) + std::chrono::milliseconds(500));
    std::vector<std::int64_t> times = plugin.Host().HeartbeatTimes();
    g_done = true;
    for (std::thread& burner : burners)
    {
        burner.join();
    }

    std::vector<double> lateMs; // beyond one second after the one before
    for (std::size_t i = std::max<std::size_t>(first, 1); i < times.size(); ++i)
    {
        lateMs.push_back(static_cast<double>(times[i] - times[i - 1] - 1000000000) / 1e6);
    }
    if (lateMs.empty())
    {
        std::printf("no heartbeat at all\n");
        return 1;
    }
    std::sort(lateMs.begin(), lateMs.end());
    std::printf("heartbeats in %d s with the main loop hung and all cores busy: %zu\n", seconds,
                lateMs.size());
    std::printf("lateness ms: median %.2f, 99th percentile %.2f, worst %.2f (limit 50 at the 99th)\n",
                lateMs[lateMs.size() / 2], lateMs[lateMs.size() * 99 / 100], lateMs.back());
    return 0;
}
