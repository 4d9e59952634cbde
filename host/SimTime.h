// Simulated time for the whole process. The source defines clock_gettime, time, gettimeofday, nanosleep,
// clock_nanosleep and timerfd_settime as exported symbols of the executable, which win over the C library's,
// so that a plug-in library sees the simulated clock without knowing of it. Link it into the executable
// itself (CMake target corvanepi_simtime), never into a shared library.
//
// Left to the kernel's time: timed waits of condition variables and semaphores, poll and its kin, sleep and
// usleep, timers other than timerfd. Nothing in a process with simulated time may depend on them for
// simulated periods.
#pragma once

#include <chrono>
#include <optional>

namespace host::simtime
{
// Modes are changed by one thread while no other thread reads a clock or holds a timer of the previous mode;
// a process starts in pass-through.

// Straight to the kernel. Sleepers and timers that still wait for a manual clock are let go.
void UsePassThrough();

// From now on time runs `speed` times as fast (1 to 3600), on the monotonic and the real-time clock alike.
void UseScaled(int speed);

// The clock stands still until Advance moves it. It starts at the kernel's present monotonic time and at
// `utc`.
void UseManual(std::chrono::seconds utc);

// The monotonic clock as the process sees it. Callable from a signal handler that interrupts anything: unlike
// a call of clock_gettime it leaves no mark.
std::chrono::nanoseconds MonotonicNow();

// Manual mode: moves the clock and lets go whatever is due by the new time. Any thread. A periodic job that
// re-arms itself after its work runs once for each call, however large the step.
void Advance(std::chrono::milliseconds step);

// Manual mode: how far the clock is from the earliest timer or sleeper that waits for it; none when nothing
// waits.
std::optional<std::chrono::nanoseconds> NextDeadline();
} // namespace host::simtime
