#include "frame/Clock.h"

#include <cerrno>
#include <ctime>

std::int64_t CSystemClock::UtcSeconds() const
{
    return static_cast<std::int64_t>(std::time(nullptr));
}

std::int64_t CSystemClock::MonotonicMs() const
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

void CSystemClock::Sleep(std::chrono::milliseconds period) const
{
    timespec rest{};
    rest.tv_sec = static_cast<time_t>(period.count() / 1000);
    rest.tv_nsec = static_cast<long>(period.count() % 1000) * 1000000;
    while (nanosleep(&rest, &rest) == -1 && errno == EINTR)
    {
    }
}
