// The clock behind the simulated time: modes, the manual clock's waiters, and what the exported C functions
// are made of. Internal to SimTime.cpp and SimTimeSymbols.cpp. Callable before main, from any thread and from
// a signal handler.
#pragma once

#include <sys/timerfd.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>

namespace host::simtime
{
enum class Mode : int
{
    PassThrough,
    Scaled,
    Manual,
};

// The three clocks that are simulated.
enum Clock : std::size_t
{
    Monotonic,
    BootTime,
    RealTime,
};
inline constexpr std::size_t kClockCount = 3;

Mode CurrentMode();
std::optional<Clock> SimulatedClock(clockid_t clock);

// The rest is not for pass-through; `mode` is what CurrentMode has just said.

std::int64_t NowNs(Mode mode, Clock clock);

// The manual clock has been read by this thread; a timer that it arms next counts from there.
void NoteReading();

// Sleeps `ns` of simulated time. 0, or EINTR with what was left in `restNs`.
int SleepSimulated(Mode mode, std::int64_t ns, std::int64_t& restNs);

// timerfd_settime; arguments in simulated time.
int SetTimer(Mode mode, int fd, bool absolute, const itimerspec& value, itimerspec* old);

// Saturating conversions.
std::int64_t ToNs(const timespec& value);
timespec ToTimespec(std::int64_t ns);
bool IsValid(const timespec& value);
} // namespace host::simtime
