// Runs programs on the simulated appliance: the answer is asked for at once and delivered when the simulated
// time of the program has passed.
#pragma once

#include "host/Fd.h"
#include "host/Launcher.h"
#include "host/TimeLimits.h"
#include "sim/Appliance.h"

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace host
{
// The appliance's answer to a command line at a moment. Called from the launcher's thread.
using ProgramModel = std::function<sim::ProgramRun(const std::vector<std::string>& argv, sim::SimTime now)>;

class CSimLauncher final : public CLauncher
{
public:
    // `switchedOn` is the appliance's time 0.
    CSimLauncher(ProgramModel model, std::chrono::steady_clock::time_point switchedOn, CTimeLimits limits,
                 FrameSink frames, NoteSink notes);
    ~CSimLauncher() override;

    void Start(ExecRequest request) override;
    void Stop() override;

private:
    struct Running
    {
        std::uint32_t id = 0;
        sim::ProgramRun run;
        std::string killNote; // not empty: the time limit ends it, and this is said
    };

    void Loop();
    void Launch(const ExecRequest& request);
    void FinishDue();
    void Finish(const Running& running);
    void ArmTimer() const;

    const ProgramModel m_model;
    const std::chrono::steady_clock::time_point m_switchedOn;
    const CTimeLimits m_limits;
    const FrameSink m_frames;
    const NoteSink m_notes;
    CWakeup m_wakeup;
    CFd m_timer; // runs on simulated time like everything of the appliance

    std::mutex m_mutex; // guards the two below
    std::vector<ExecRequest> m_requests;
    bool m_stopping = false;

    // The launcher's thread only: programs by the time of their end.
    std::multimap<std::chrono::steady_clock::time_point, Running> m_running;

    std::thread m_thread; // last: it uses all of the above
};
} // namespace host
