// Runs real programs: each in a process group of its own, both outputs streamed, bounded in time and output.
#pragma once

#include "host/Fd.h"
#include "host/Launcher.h"
#include "host/TimeLimits.h"

#include <poll.h>
#include <sys/types.h>

#include <chrono>
#include <list>
#include <mutex>
#include <thread>
#include <vector>

namespace host
{
struct LauncherBounds
{
    std::size_t maxOutput = std::size_t{64} * 1024 * 1024; // both outputs of a program together
    std::chrono::milliseconds killGrace{2000};             // how long a killed process may take to be gone
};

// A program name with "/" is taken from the working directory, any other from PATH. Standard input is empty.
class CRealLauncher final : public CLauncher
{
public:
    CRealLauncher(CTimeLimits limits, FrameSink frames, NoteSink notes, LauncherBounds bounds = {});
    ~CRealLauncher() override;

    void Start(ExecRequest request) override;
    void Stop() override;

private:
    static constexpr std::chrono::milliseconds kNever = std::chrono::milliseconds::max();

    struct Child
    {
        ExecRequest request;
        pid_t pid = 0;
        CFd process; // readable when the process has ended
        CFd output[2];
        std::size_t outputBytes = 0;
        bool killed = false;
        std::chrono::milliseconds deadline =
            kNever; // of the run; once killed, of the process's disappearance
    };

    void Loop();
    void Spawn(ExecRequest request);
    bool SpawnProcess(Child& child, int& error);
    void Wait();
    void Serve(Child& child, const pollfd* ready);
    bool ReadOutput(Child& child, std::size_t channel);
    void Drain(Child& child);
    void CheckBounds(Child& child);
    void Kill(Child& child, const std::string& why);
    void Report(Child& child, int waitStatus);
    void EndAll();

    const CTimeLimits m_limits;
    const FrameSink m_frames;
    const NoteSink m_notes;
    const LauncherBounds m_bounds;
    CWakeup m_wakeup;

    std::mutex m_mutex; // guards the two below
    std::vector<ExecRequest> m_requests;
    bool m_stopping = false;

    // The launcher's thread only. `m_undead` were killed and given up: reported as ended, reaped when they
    // can be.
    std::list<Child> m_children;
    std::list<Child> m_undead;

    std::thread m_thread; // last: it uses all of the above
};
} // namespace host
