#include "tests/support/KernelWait.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>
#include <ctime>

namespace
{
constexpr std::int64_t kLimitSec = 60;

std::int64_t KernelSeconds()
{
    timespec now{};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}
} // namespace

bool WaitByKernelClock(const CFakeHost& host, const std::function<bool(const CFakeHost::Record&)>& condition)
{
    constexpr timespec kPause{0, 200'000};
    const std::int64_t end = KernelSeconds() + kLimitSec;
    while (!condition(host.Told()))
    {
        if (KernelSeconds() > end)
        {
            return false;
        }
        syscall(SYS_nanosleep, &kPause, nullptr);
    }
    return true;
}

std::vector<std::string> DocumentTexts(const CFakeHost& host, MessageCategory category)
{
    std::vector<std::string> texts;
    for (const CFakeHost::Document& document : host.Documents())
    {
        if (document.category == static_cast<std::uint64_t>(category))
        {
            texts.push_back(document.text);
        }
    }
    return texts;
}
