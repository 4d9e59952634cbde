// The two event loops and their four timers: who runs on which thread, and how everything ends.
//
// The main loop runs on the thread that calls RunMain, the heartbeat loop on the plug-in's one thread of its
// own. Stopping never cancels a timer from outside and never stops a context, because a handler that is
// re-arming its timer at that moment would lose the cancellation, and a stopped context runs no more
// handlers. Instead each loop gets a handler that cancels its own timers and lets go of the work guard: the
// aborted timers log their line, and the loop runs out of work.
#pragma once

#include "manager/RepeatingTimer.h"

#include <atomic>
#include <functional>
#include <memory>

// Numbers as they stand in the log lines.
enum class TimerId
{
    Heartbeat = 0, // on the heartbeat loop; the others on the main loop
    Housekeeping = 1,
    Scan = 2,
    Smart = 3,
};

class CEventLoops
{
public:
    // `stopped` is set by the owner before it calls Stop, and never cleared.
    explicit CEventLoops(const std::atomic<bool>& stopped);

    // Handlers that never ran are destroyed here, with what they own.
    ~CEventLoops();

    CEventLoops(const CEventLoops&) = delete;
    CEventLoops& operator=(const CEventLoops&) = delete;

    void SetWork(TimerId timer, TimerWork work);

    // All four, before either loop runs.
    void ArmTimers();

    void StartHeartbeatThread();

    // Runs the main loop on the calling thread until Stop, then joins the heartbeat thread. What a handler of
    // either loop throws leaves here, after the heartbeat thread has ended.
    void RunMain();

    // Any thread. Handlers posted after Stop may never run.
    void PostMain(std::function<void()> work);
    void PostHeartbeat(std::function<void()> work);

    // Any thread, once.
    void Stop();

private:
    struct Loops;
    std::unique_ptr<Loops> m_loops;
};
