#include "host/RealTime.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>

namespace host
{
std::chrono::milliseconds RealNow()
{
    timespec now{};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
    return std::chrono::milliseconds(static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000);
}
} // namespace host
