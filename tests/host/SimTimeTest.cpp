#include "host/SimTime.h"

#include "host/RealTime.h"
#include "tests/host/TimerUser.h"
#include "tests/host/WaitUntil.h"

#include <gtest/gtest.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <thread>

namespace
{
using namespace std::chrono_literals;
using host::RealNow;
using std::chrono::milliseconds;

class SimTime : public testing::Test
{
protected:
    ~SimTime() override { host::simtime::UsePassThrough(); }

    std::array<milliseconds, 8> m_firedAt{};
    std::atomic<int> m_fired{0};
};

TEST_F(SimTime, PassThroughKeepsTheKernelsTime)
{
    const auto start = RealNow();
    RunTimer(20ms, 2, m_firedAt.data(), m_fired);
    EXPECT_GE(RealNow() - start, 40ms);
    EXPECT_GE(m_firedAt[0], 20ms);
    EXPECT_LE(std::abs(AskTime() - std::chrono::system_clock::to_time_t(std::chrono::system_clock::now())),
              1);
}

TEST_F(SimTime, ScaledTimeRunsFasterOnAllClocksAlike)
{
    host::simtime::UseScaled(100);
    const auto start = RealNow();
    const std::time_t utc = AskTime();
    RunTimer(2s, 3, m_firedAt.data(), m_fired); // 20 ms of the kernel's time each
    EXPECT_GE(m_firedAt[0], 2s);
    EXPECT_GE(m_firedAt[2], 6s);
    EXPECT_GE(SleepFor(3s), 3s);
    EXPECT_GE(SleepUntilRealTime(3s), 2s); // whole seconds: up to one is gone already
    const auto real = RealNow() - start;
    EXPECT_GE(real, 100ms);
    EXPECT_LT(real, 5s) << "11 s of simulated time must not take as long";
    EXPECT_NEAR(static_cast<double>(AskTime() - utc), static_cast<double>(real.count()) / 10, 2);
}

TEST_F(SimTime, ManualClockStandsStillAndFiresWhatItPasses)
{
    host::simtime::UseManual(1'000'000'000s);
    EXPECT_EQ(AskTime(), 1'000'000'000);
    milliseconds slept{0};
    std::thread sleeper([&slept] { slept = SleepFor(90min); });
    EXPECT_TRUE(WaitUntil(
        [] { return host::simtime::NextDeadline() == std::optional<std::chrono::nanoseconds>(90min); }));
    std::thread timer([this] { RunTimer(1h, 2, m_firedAt.data(), m_fired); });

    // An event loop arms its timer for five minutes at most, whatever the deadline. The clock moves only when
    // the loop has armed again, and never past what it waits for.
    EXPECT_TRUE(WaitUntil(
        [this]
        {
            const auto next = host::simtime::NextDeadline();
            if (next && *next > 0ns && *next <= 5min)
            {
                host::simtime::Advance(std::chrono::duration_cast<milliseconds>(*next));
            }
            return m_fired == 2;
        }));
    timer.join();
    sleeper.join();
    EXPECT_EQ(m_firedAt[0], 1h);
    EXPECT_EQ(m_firedAt[1], 2h);
    EXPECT_GE(slept, 90min);
    EXPECT_EQ(AskTime(), 1'000'000'000 + 7200);
}

// A caller reads the clock, computes a period and arms a timer with it. When the clock moves in between, the
// timer must be due at the time the caller meant.
TEST_F(SimTime, ManualTimerCountsFromTheReadingItWasComputedFrom)
{
    host::simtime::UseManual(1s);
    const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK);
    static_cast<void>(std::chrono::steady_clock::now());
    host::simtime::Advance(10s);
    itimerspec value{};
    value.it_value.tv_sec = 5; // due 5 s ago
    ASSERT_EQ(timerfd_settime(timer, 0, &value, nullptr), 0);
    std::uint64_t expirations = 0;
    EXPECT_TRUE(WaitUntil([&] { return read(timer, &expirations, sizeof expirations) > 0; }));
    EXPECT_EQ(expirations, 1U);

    // The reading is used up: the next period counts from now.
    ASSERT_EQ(timerfd_settime(timer, 0, &value, nullptr), 0);
    EXPECT_EQ(host::simtime::NextDeadline(), std::optional<std::chrono::nanoseconds>(5s));
    value = {};
    ASSERT_EQ(timerfd_settime(timer, 0, &value, nullptr), 0);
    EXPECT_EQ(host::simtime::NextDeadline(), std::nullopt) << "disarmed";
    close(timer);
}

TEST_F(SimTime, LeavingManualTimeLetsSleepersGo)
{
    host::simtime::UseManual(1s);
    std::atomic<bool> gone{false};
    std::thread sleeper(
        [&gone]
        {
            SleepFor(1h);
            gone = true;
        });
    EXPECT_TRUE(WaitUntil([] { return host::simtime::NextDeadline().has_value(); }));
    EXPECT_FALSE(gone);
    host::simtime::UsePassThrough();
    sleeper.join();
    EXPECT_TRUE(gone);
}
} // namespace
