#include "manager/EventLoops.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/thread/thread.hpp>

#include <array>
#include <exception>
#include <utility>

namespace
{
using WorkGuard = boost::asio::executor_work_guard<boost::asio::io_context::executor_type>;
using SteadyTimer = CRepeatingTimer<boost::asio::steady_timer>;

int Number(TimerId timer)
{
    return static_cast<int>(timer);
}
} // namespace

// Destroyed from the last member to the first: timers before the contexts they hang on.
struct CEventLoops::Loops
{
    explicit Loops(const std::atomic<bool>& stopped)
        : timers{SteadyTimer{heartbeat, Number(TimerId::Heartbeat), stopped},
                 SteadyTimer{main, Number(TimerId::Housekeeping), stopped},
                 SteadyTimer{main, Number(TimerId::Scan), stopped},
                 SteadyTimer{main, Number(TimerId::Smart), stopped}}
    {
    }

    SteadyTimer& Timer(TimerId timer) { return timers.at(static_cast<std::size_t>(timer)); }

    boost::asio::io_context main{1};
    boost::asio::io_context heartbeat{1};
    WorkGuard mainGuard{main.get_executor()};           // reset on the main loop
    WorkGuard heartbeatGuard{heartbeat.get_executor()}; // reset on the heartbeat loop
    std::array<SteadyTimer, 4> timers;
    boost::thread_group threads;
    std::exception_ptr heartbeatError; // written by the heartbeat thread, read once it has been joined
};

CEventLoops::CEventLoops(const std::atomic<bool>& stopped) : m_loops(std::make_unique<Loops>(stopped)) {}

CEventLoops::~CEventLoops() = default;

void CEventLoops::SetWork(TimerId timer, TimerWork work)
{
    m_loops->Timer(timer).SetWork(std::move(work));
}

void CEventLoops::ArmTimers()
{
    for (SteadyTimer& timer : m_loops->timers)
    {
        timer.Arm();
    }
}

void CEventLoops::StartHeartbeatThread()
{
    m_loops->threads.create_thread(
        [loops = m_loops.get()]
        {
            try
            {
                loops->heartbeat.run();
            }
            catch (...)
            {
                // A failed plug-in keeps no order any more: the main loop ends and throws this on.
                loops->heartbeatError = std::current_exception();
                loops->main.stop();
            }
        });
}

void CEventLoops::RunMain()
{
    try
    {
        m_loops->main.run();
    }
    catch (...)
    {
        m_loops->heartbeat.stop(); // only the thread must end
        m_loops->threads.join_all();
        throw;
    }
    m_loops->threads.join_all();
    if (m_loops->heartbeatError)
    {
        std::rethrow_exception(m_loops->heartbeatError);
    }
}

void CEventLoops::PostMain(std::function<void()> work)
{
    boost::asio::post(m_loops->main, std::move(work));
}

void CEventLoops::PostHeartbeat(std::function<void()> work)
{
    boost::asio::post(m_loops->heartbeat, std::move(work));
}

void CEventLoops::Stop()
{
    PostHeartbeat(
        [loops = m_loops.get()]
        {
            loops->Timer(TimerId::Heartbeat).Cancel();
            loops->heartbeatGuard.reset();
        });
    PostMain(
        [loops = m_loops.get()]
        {
            for (const TimerId timer : {TimerId::Housekeeping, TimerId::Scan, TimerId::Smart})
            {
                loops->Timer(timer).Cancel();
            }
            loops->mainGuard.reset();
        });
}
