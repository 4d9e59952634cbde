#include "host/SimTime.h"

#include "host/SimClock.h"

#include <linux/futex.h>
#include <sched.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <ctime>

// Everything here may be called before main, from any thread and from a signal handler: constant-initialised
// state, atomics and one short spin lock, no allocation, no C++ exceptions.
namespace host::simtime
{
namespace
{
constexpr std::int64_t kNsPerSec = 1'000'000'000;

// A monotonic clock cannot have run this long (31 years); a real-time clock has.
constexpr std::int64_t kRealTimeFrom = 1'000'000'000 * kNsPerSec;

std::atomic<Mode> g_mode{Mode::PassThrough};
std::array<std::atomic<std::int64_t>, kClockCount> g_startNs{}; // the clocks when the mode began
std::atomic<std::int64_t> g_speed{1};
std::atomic<std::int64_t> g_realStartNs{0}; // scaled: kernel's monotonic time when the mode began
std::atomic<std::int64_t> g_manualNs{0};    // manual: how far the clock has been moved

// Changes whenever sleepers of the manual clock must look again; they wait on it as a futex.
std::atomic<std::uint32_t> g_epoch{0};

// Who waits for the manual clock. Guarded by g_lock. Times are manual elapsed ns; `fd` -1 is a sleeping
// thread, 0 a free row (descriptor 0 is no timer in any program that has a standard input).
struct Waiter
{
    int fd = 0;
    std::int64_t deadlineNs = 0;
    std::int64_t intervalNs = 0;
};
constexpr int kSleeper = -1;
std::array<Waiter, 256> g_waiters{};
std::atomic_flag g_lock;

// Manual clock as this thread last read it, for one use. A caller reads the clock, computes a period and arms
// a timer with it; when the clock moves in between, the timer must still be due at the time the caller
// computed.
constexpr std::int64_t kNoReading = INT64_MIN;
thread_local constinit std::int64_t t_readingNs = kNoReading;

class CSpinLock
{
public:
    CSpinLock()
    {
        while (g_lock.test_and_set(std::memory_order_acquire))
        {
            sched_yield();
        }
    }
    ~CSpinLock() { g_lock.clear(std::memory_order_release); }
    CSpinLock(const CSpinLock&) = delete;
    CSpinLock& operator=(const CSpinLock&) = delete;
};

std::int64_t SaturatedAdd(std::int64_t a, std::int64_t b)
{
    std::int64_t sum = 0;
    return __builtin_add_overflow(a, b, &sum) ? INT64_MAX : sum;
}

std::int64_t SaturatedTimes(std::int64_t a, std::int64_t b)
{
    std::int64_t product = 0;
    return __builtin_mul_overflow(a, b, &product) ? INT64_MAX : product;
}

std::int64_t KernelNs(clockid_t clock)
{
    timespec now{};
    syscall(SYS_clock_gettime, clock, &now);
    return ToNs(now);
}

// Simulated time since the mode began. Not for pass-through.
std::int64_t ElapsedNs(Mode mode)
{
    if (mode == Mode::Manual)
    {
        return g_manualNs.load(std::memory_order_acquire);
    }
    return SaturatedTimes(KernelNs(CLOCK_MONOTONIC) - g_realStartNs.load(std::memory_order_relaxed),
                          g_speed.load(std::memory_order_relaxed));
}

// Kernel time that lasts at least `ns` of simulated time, never 0 (0 disarms a timer).
std::int64_t KernelPeriod(std::int64_t ns)
{
    const std::int64_t speed = g_speed.load(std::memory_order_relaxed);
    return std::max<std::int64_t>(1, ns / speed + (ns % speed != 0 ? 1 : 0));
}

int KernelSetTime(int fd, std::int64_t valueNs, std::int64_t intervalNs, itimerspec* old)
{
    itimerspec value{};
    value.it_value = ToTimespec(valueNs);
    value.it_interval = ToTimespec(intervalNs);
    return static_cast<int>(syscall(SYS_timerfd_settime, fd, 0, &value, old));
}

void Forget(int fd)
{
    for (Waiter& waiter : g_waiters)
    {
        if (waiter.fd == fd)
        {
            waiter = {};
        }
    }
}

// Event loops close their timer without disarming it.
void ForgetClosed()
{
    for (Waiter& waiter : g_waiters)
    {
        itimerspec value{};
        if (waiter.fd > 0 && syscall(SYS_timerfd_gettime, waiter.fd, &value) != 0)
        {
            waiter = {};
        }
    }
}

// Null when the table is full.
Waiter* AddWaiter(const Waiter& added)
{
    for (Waiter& waiter : g_waiters)
    {
        if (waiter.fd == 0)
        {
            waiter = added;
            return &waiter;
        }
    }
    return nullptr;
}

void WakeSleepers()
{
    g_epoch.fetch_add(1, std::memory_order_release);
    syscall(SYS_futex, &g_epoch, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

// Fires the timers due by `nowNs`. With the lock held. A descriptor closed meanwhile makes the call fail,
// which is right.
void FireDue(std::int64_t nowNs)
{
    for (Waiter& waiter : g_waiters)
    {
        if (waiter.fd <= 0 || waiter.deadlineNs > nowNs)
        {
            continue;
        }
        KernelSetTime(waiter.fd, 1, 0, nullptr);
        if (waiter.intervalNs > 0 && nowNs != INT64_MAX)
        {
            const std::int64_t periods = (nowNs - waiter.deadlineNs) / waiter.intervalNs + 1;
            waiter.deadlineNs += periods * waiter.intervalNs;
        }
        else
        {
            waiter = {};
        }
    }
}

void Begin(Mode mode, std::int64_t utcNs)
{
    g_mode.store(Mode::PassThrough, std::memory_order_release);
    {
        const CSpinLock lock;
        FireDue(INT64_MAX);
    }
    WakeSleepers();
    g_startNs[Monotonic].store(KernelNs(CLOCK_MONOTONIC), std::memory_order_relaxed);
    g_startNs[BootTime].store(KernelNs(CLOCK_BOOTTIME), std::memory_order_relaxed);
    g_startNs[RealTime].store(utcNs, std::memory_order_relaxed);
    g_realStartNs.store(g_startNs[Monotonic].load(std::memory_order_relaxed), std::memory_order_relaxed);
    g_manualNs.store(0, std::memory_order_relaxed);
    g_mode.store(mode, std::memory_order_release);
}

// Waits until the manual clock has passed `deadlineNs`; EINTR when a signal came first, else 0.
int SleepManual(std::int64_t deadlineNs)
{
    {
        const CSpinLock lock;
        AddWaiter({kSleeper, deadlineNs, 0}); // only for NextDeadline: a full table does no harm
    }
    int result = 0;
    while (g_mode.load(std::memory_order_acquire) == Mode::Manual)
    {
        const std::uint32_t epoch = g_epoch.load(std::memory_order_acquire);
        if (g_manualNs.load(std::memory_order_acquire) >= deadlineNs)
        {
            break;
        }
        if (syscall(SYS_futex, &g_epoch, FUTEX_WAIT_PRIVATE, epoch, nullptr, nullptr, 0) != 0 &&
            errno == EINTR)
        {
            result = EINTR;
            break;
        }
    }
    const CSpinLock lock;
    for (Waiter& waiter : g_waiters)
    {
        if (waiter.fd == kSleeper && waiter.deadlineNs == deadlineNs)
        {
            waiter = {};
            break;
        }
    }
    return result;
}

// What is left until the absolute time `ns`. The call does not say which clock its descriptor has, but the
// numbers of the two kinds of clock are far apart.
std::int64_t UntilAbsolute(Mode mode, std::int64_t ns)
{
    const Clock clock = ns >= kRealTimeFrom ? RealTime : Monotonic;
    return ns - g_startNs[clock].load(std::memory_order_relaxed) - ElapsedNs(mode);
}

int SetTimeManual(int fd, bool absolute, std::int64_t valueNs, std::int64_t intervalNs)
{
    const std::int64_t reading = t_readingNs;
    t_readingNs = kNoReading;
    const CSpinLock lock;
    Forget(fd);
    if (valueNs == 0)
    {
        return KernelSetTime(fd, 0, 0, nullptr);
    }
    const std::int64_t nowNs = g_manualNs.load(std::memory_order_relaxed);
    const std::int64_t deadlineNs = absolute ? SaturatedAdd(nowNs, UntilAbsolute(Mode::Manual, valueNs))
                                             : SaturatedAdd(reading == kNoReading ? nowNs : reading, valueNs);
    const int result = KernelSetTime(fd, 0, 0, nullptr); // refuses what is no timer
    if (result != 0)
    {
        return result;
    }
    if (AddWaiter({fd, deadlineNs, intervalNs}) == nullptr)
    {
        ForgetClosed();
        if (AddWaiter({fd, deadlineNs, intervalNs}) == nullptr)
        {
            errno = ENOMEM;
            return -1;
        }
    }
    FireDue(nowNs);
    return 0;
}
} // namespace

Mode CurrentMode()
{
    return g_mode.load(std::memory_order_acquire);
}

std::optional<Clock> SimulatedClock(clockid_t clock)
{
    switch (clock)
    {
    case CLOCK_MONOTONIC:
    case CLOCK_MONOTONIC_COARSE:
        return Monotonic;
    case CLOCK_BOOTTIME:
        return BootTime;
    case CLOCK_REALTIME:
    case CLOCK_REALTIME_COARSE:
        return RealTime;
    default:
        return std::nullopt;
    }
}

std::int64_t NowNs(Mode mode, Clock clock)
{
    return g_startNs[clock].load(std::memory_order_relaxed) + ElapsedNs(mode);
}

void NoteReading()
{
    t_readingNs = g_manualNs.load(std::memory_order_acquire);
}

int SleepSimulated(Mode mode, std::int64_t ns, std::int64_t& restNs)
{
    if (mode == Mode::Manual)
    {
        const std::int64_t deadlineNs = SaturatedAdd(ElapsedNs(mode), ns);
        const int result = SleepManual(deadlineNs);
        restNs = std::max<std::int64_t>(0, deadlineNs - ElapsedNs(mode));
        return result;
    }
    const timespec period = ToTimespec(KernelPeriod(ns));
    timespec rest{};
    if (syscall(SYS_nanosleep, &period, &rest) == 0)
    {
        return 0;
    }
    restNs = SaturatedTimes(ToNs(rest), g_speed.load(std::memory_order_relaxed));
    return errno;
}

int SetTimer(Mode mode, int fd, bool absolute, const itimerspec& value, itimerspec* old)
{
    const std::int64_t valueNs = ToNs(value.it_value);
    const std::int64_t intervalNs = ToNs(value.it_interval);
    if (mode == Mode::Manual)
    {
        if (old != nullptr)
        {
            *old = {}; // no user of the manual clock asks for it
        }
        return SetTimeManual(fd, absolute, valueNs, intervalNs);
    }
    const std::int64_t period = absolute ? std::max<std::int64_t>(0, UntilAbsolute(mode, valueNs)) : valueNs;
    const int result = KernelSetTime(fd, valueNs == 0 ? 0 : KernelPeriod(period),
                                     intervalNs == 0 ? 0 : KernelPeriod(intervalNs), old);
    if (result == 0 && old != nullptr)
    {
        const std::int64_t speed = g_speed.load(std::memory_order_relaxed);
        old->it_value = ToTimespec(SaturatedTimes(ToNs(old->it_value), speed));
        old->it_interval = ToTimespec(SaturatedTimes(ToNs(old->it_interval), speed));
    }
    return result;
}

std::int64_t ToNs(const timespec& value)
{
    // Saturates: a wait for ever stays one.
    if (value.tv_sec > INT64_MAX / kNsPerSec - 1)
    {
        return INT64_MAX;
    }
    return static_cast<std::int64_t>(value.tv_sec) * kNsPerSec + value.tv_nsec;
}

timespec ToTimespec(std::int64_t ns)
{
    timespec result{};
    result.tv_sec = static_cast<time_t>(ns / kNsPerSec);
    result.tv_nsec = static_cast<long>(ns % kNsPerSec);
    return result;
}

bool IsValid(const timespec& value)
{
    return value.tv_sec >= 0 && value.tv_nsec >= 0 && value.tv_nsec < kNsPerSec;
}

void UsePassThrough()
{
    Begin(Mode::PassThrough, 0);
}

void UseScaled(int speed)
{
    g_speed.store(std::clamp(speed, 1, 3600), std::memory_order_relaxed);
    Begin(Mode::Scaled, KernelNs(CLOCK_REALTIME));
}

void UseManual(std::chrono::seconds utc)
{
    Begin(Mode::Manual, utc.count() * kNsPerSec);
}

std::chrono::nanoseconds MonotonicNow()
{
    const Mode mode = CurrentMode();
    return std::chrono::nanoseconds(mode == Mode::PassThrough ? KernelNs(CLOCK_MONOTONIC)
                                                              : NowNs(mode, Monotonic));
}

void Advance(std::chrono::milliseconds step)
{
    {
        const CSpinLock lock;
        const std::int64_t now = g_manualNs.load(std::memory_order_relaxed) + step.count() * 1'000'000;
        g_manualNs.store(now, std::memory_order_release);
        FireDue(now);
    }
    WakeSleepers();
}

std::optional<std::chrono::nanoseconds> NextDeadline()
{
    const CSpinLock lock;
    ForgetClosed();
    const std::int64_t now = g_manualNs.load(std::memory_order_relaxed);
    std::optional<std::chrono::nanoseconds> next;
    for (const Waiter& waiter : g_waiters)
    {
        if (waiter.fd != 0)
        {
            const std::chrono::nanoseconds left(std::max<std::int64_t>(0, waiter.deadlineNs - now));
            next = next ? std::min(*next, left) : left;
        }
    }
    return next;
}
} // namespace host::simtime
