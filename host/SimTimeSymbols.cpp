#include "host/SimClock.h"

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>

// The exported symbols that win over the C library's, for the executable and every library it loads.

using namespace host::simtime;

// The C library's names. Default visibility, or the dynamic linker would not offer them to the plug-in.
#define HOST_EXPORT extern "C" [[gnu::visibility("default")]]

HOST_EXPORT int clock_gettime(clockid_t clock, timespec* out) noexcept
{
    const Mode mode = CurrentMode();
    const auto simulated = SimulatedClock(clock);
    if (mode == Mode::PassThrough || !simulated)
    {
        return static_cast<int>(syscall(SYS_clock_gettime, clock, out));
    }
    if (mode == Mode::Manual && *simulated != RealTime)
    {
        NoteReading();
    }
    *out = ToTimespec(NowNs(mode, *simulated));
    return 0;
}

HOST_EXPORT time_t time(time_t* out) noexcept
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (out != nullptr)
    {
        *out = now.tv_sec;
    }
    return now.tv_sec;
}

HOST_EXPORT int gettimeofday(timeval* out, void* zone) noexcept
{
    if (zone != nullptr)
    {
        *static_cast<struct timezone*>(zone) = {};
    }
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    out->tv_sec = now.tv_sec;
    out->tv_usec = now.tv_nsec / 1000;
    return 0;
}

HOST_EXPORT int nanosleep(const timespec* period, timespec* rest)
{
    const Mode mode = CurrentMode();
    if (mode == Mode::PassThrough || !IsValid(*period))
    {
        return static_cast<int>(syscall(SYS_nanosleep, period, rest));
    }
    std::int64_t restNs = 0;
    const int error = SleepSimulated(mode, ToNs(*period), restNs);
    if (error == 0)
    {
        return 0;
    }
    if (rest != nullptr)
    {
        *rest = ToTimespec(restNs);
    }
    errno = error;
    return -1;
}

// Unlike nanosleep it returns the error.
HOST_EXPORT int clock_nanosleep(clockid_t clock, int flags, const timespec* period, timespec* rest)
{
    const Mode mode = CurrentMode();
    const auto simulated = SimulatedClock(clock);
    if (mode == Mode::PassThrough || !simulated || !IsValid(*period))
    {
        return syscall(SYS_clock_nanosleep, clock, flags, period, rest) == 0 ? 0 : errno;
    }
    const bool absolute = (flags & TIMER_ABSTIME) != 0;
    std::int64_t ns = ToNs(*period);
    if (absolute)
    {
        ns -= NowNs(mode, *simulated);
        if (ns <= 0)
        {
            return 0;
        }
    }
    std::int64_t restNs = 0;
    const int error = SleepSimulated(mode, ns, restNs);
    if (error != 0 && rest != nullptr && !absolute)
    {
        *rest = ToTimespec(restNs);
    }
    return error;
}

HOST_EXPORT int timerfd_settime(int fd, int flags, const itimerspec* value, itimerspec* old) noexcept
{
    const Mode mode = CurrentMode();
    if (mode == Mode::PassThrough || !IsValid(value->it_value) || !IsValid(value->it_interval))
    {
        return static_cast<int>(syscall(SYS_timerfd_settime, fd, flags, value, old));
    }
    return SetTimer(mode, fd, (flags & TFD_TIMER_ABSTIME) != 0, *value, old);
}
