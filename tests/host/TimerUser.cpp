#include "tests/host/TimerUser.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <sys/time.h>

#include <functional>
#include <thread>

namespace
{
using std::chrono::milliseconds;
using std::chrono::steady_clock;

milliseconds Since(steady_clock::time_point start)
{
    return std::chrono::duration_cast<milliseconds>(steady_clock::now() - start);
}
} // namespace

void RunTimer(milliseconds period, int count, milliseconds* firedAt, std::atomic<int>& fired)
{
    boost::asio::io_context loop;
    boost::asio::steady_timer timer(loop);
    const auto start = steady_clock::now();
    const std::function<void()> arm = [&]
    {
        timer.expires_after(period);
        timer.async_wait(
            [&](const boost::system::error_code& error)
            {
                if (!error)
                {
                    firedAt[fired] = Since(start);
                    if (++fired < count)
                    {
                        arm();
                    }
                }
            });
    };
    arm();
    loop.run();
}

milliseconds SleepFor(milliseconds period)
{
    const auto start = steady_clock::now();
    std::this_thread::sleep_for(period);
    return Since(start);
}

milliseconds SleepUntilRealTime(milliseconds period)
{
    const auto start = steady_clock::now();
    timespec until{};
    clock_gettime(CLOCK_REALTIME, &until);
    until.tv_sec += static_cast<std::time_t>(period.count() / 1000);
    while (clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &until, nullptr) != 0)
    {
    }
    return Since(start);
}

std::time_t AskTime()
{
    timeval day{};
    gettimeofday(&day, nullptr);
    const std::time_t seconds = std::time(nullptr);
    const auto clock = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    return seconds - day.tv_sec <= 1 && clock - seconds <= 1 ? seconds : -1;
}
