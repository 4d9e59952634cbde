#include "host/SimLauncher.h"

#include <poll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace host
{
CSimLauncher::CSimLauncher(ProgramModel model, std::chrono::steady_clock::time_point switchedOn,
                           CTimeLimits limits, FrameSink frames, NoteSink notes)
    : m_model(std::move(model)),
      m_switchedOn(switchedOn),
      m_limits(std::move(limits)),
      m_frames(std::move(frames)),
      m_notes(std::move(notes)),
      m_timer(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK))
{
    if (!m_timer.IsOpen())
    {
        throw std::system_error(errno, std::generic_category(), "timerfd_create");
    }
    m_thread = std::thread([this] { Loop(); });
}

CSimLauncher::~CSimLauncher()
{
    Stop();
}

void CSimLauncher::Start(ExecRequest request)
{
    {
        const std::lock_guard lock(m_mutex);
        if (m_stopping)
        {
            return;
        }
        m_requests.push_back(std::move(request));
    }
    m_wakeup.Signal();
}

void CSimLauncher::Stop()
{
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_wakeup.Signal();
    if (m_thread.joinable())
    {
        m_thread.join();
    }
}

void CSimLauncher::Loop()
{
    for (;;)
    {
        std::vector<ExecRequest> requests;
        {
            const std::lock_guard lock(m_mutex);
            if (m_stopping)
            {
                return;
            }
            requests.swap(m_requests);
        }
        for (const ExecRequest& request : requests)
        {
            Launch(request);
        }
        FinishDue();
        ArmTimer();
        std::array<pollfd, 2> polled{pollfd{m_wakeup.Fd(), POLLIN, 0}, pollfd{m_timer.Get(), POLLIN, 0}};
        poll(polled.data(), polled.size(), -1);
        m_wakeup.Clear();
        std::uint64_t expirations = 0;
        [[maybe_unused]] const ssize_t taken = read(m_timer.Get(), &expirations, sizeof expirations);
    }
}

void CSimLauncher::Launch(const ExecRequest& request)
{
    const auto now = std::chrono::steady_clock::now();
    Running running;
    running.id = request.id;
    running.run = m_model(request.argv, std::chrono::duration_cast<sim::SimTime>(now - m_switchedOn));
    if (running.run.startError != 0)
    {
        m_frames(BuildFrame(request.id, FrameKind::StartFailed,
                            static_cast<std::uint32_t>(running.run.startError)));
        return;
    }
    m_frames(BuildFrame(request.id, FrameKind::Started, 0));
    const auto limit = m_limits.LimitFor(request.argv);
    if (limit && running.run.duration > *limit)
    {
        running.killNote = request.argv.front() + " ran longer than its limit of " +
                           std::to_string(limit->count()) + " s and is killed";
        running.run = {};
        running.run.waitStatus = SIGKILL;
        running.run.duration = *limit;
    }
    m_running.emplace(now + running.run.duration, std::move(running));
}

void CSimLauncher::FinishDue()
{
    while (!m_running.empty() && m_running.begin()->first <= std::chrono::steady_clock::now())
    {
        const Running running = std::move(m_running.begin()->second);
        m_running.erase(m_running.begin());
        Finish(running);
    }
}

void CSimLauncher::Finish(const Running& running)
{
    if (!running.killNote.empty())
    {
        m_notes(running.killNote);
    }
    SendOutput(m_frames, running.id, FrameKind::StandardOutput, running.run.standardOutput);
    SendOutput(m_frames, running.id, FrameKind::StandardError, running.run.standardError);
    m_frames(BuildFrame(running.id, FrameKind::Ended, static_cast<std::uint32_t>(running.run.waitStatus)));
}

void CSimLauncher::ArmTimer() const
{
    itimerspec value{};
    if (!m_running.empty())
    {
        // At least 1 ns, because 0 would disarm.
        const auto left = std::max<std::chrono::nanoseconds>(
            m_running.begin()->first - std::chrono::steady_clock::now(), std::chrono::nanoseconds(1));
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
        value.it_value.tv_sec = static_cast<time_t>(seconds.count());
        value.it_value.tv_nsec = static_cast<long>((left - seconds).count());
    }
    timerfd_settime(m_timer.Get(), 0, &value, nullptr);
}
} // namespace host
