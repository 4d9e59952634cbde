// One of the manager's timers, with the rule for going on.
#pragma once

#include "frame/Log.h"

#include <boost/asio/io_context.hpp>

#include <atomic>
#include <chrono>
#include <functional>

struct TimerWork
{
    std::function<std::chrono::seconds()> period; // asked at each arming
    std::function<void()> beforeRearm;
    std::function<void()> afterRearm; // may be empty
};

// A timer that is armed again after its work, so its period is the pause between two runs. It ends, with one
// debug line, when it completes with an error (cancellation included) or after the stop flag has been set.
// `Timer`: a waitable timer of Asio.
template <typename Timer>
class CRepeatingTimer
{
public:
    CRepeatingTimer(boost::asio::io_context& context, int number, const std::atomic<bool>& stopped)
        : m_timer(context),
          m_number(number),
          m_stopped(stopped)
    {
    }

    void SetWork(TimerWork work) { m_work = std::move(work); }

    // Before the context runs, or on the context's thread.
    void Arm()
    {
        m_timer.expires_after(m_work.period());
        m_timer.async_wait([this](const boost::system::error_code& error) { OnTimer(error); });
    }

    // On the context's thread only: a cancellation beside a handler that re-arms would be lost.
    void Cancel() { m_timer.cancel(); }

private:
    void OnTimer(const boost::system::error_code& error)
    {
        const bool stopped = m_stopped;
        if (error)
        {
            Log(LogDebug,
                "CORVANEPI: Will not reschedule %d timer. m_stopped=%s, error_code=%d, error_description=%s",
                m_number, stopped ? "true" : "false", error.value(), error.message().c_str());
            return;
        }
        if (stopped)
        {
            Log(LogDebug, "CORVANEPI: Will not reschedule %d timer because we are done", m_number);
            return;
        }
        m_work.beforeRearm();
        Arm();
        if (m_work.afterRearm)
        {
            m_work.afterRearm();
        }
    }

    Timer m_timer;
    const int m_number;
    const std::atomic<bool>& m_stopped;
    TimerWork m_work;
};
