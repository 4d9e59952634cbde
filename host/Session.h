// One run of the host from the plug-in's first start to its last end: takes the news of all threads, keeps
// the picture, feeds the view, answers control requests, and decides when it is over.
#pragma once

#include "host/Control.h"
#include "host/EventQueue.h"
#include "host/HostCore.h"
#include "host/Options.h"
#include "host/Picture.h"
#include "host/PortTrace.h"
#include "host/Requests.h"
#include "host/StartCheck.h"
#include "host/View.h"
#include "sim/Appliance.h"
#include "sim/IoPorts.h"

#include <chrono>
#include <csignal>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace host
{
// What a session works with; all of it outlives the session.
struct SessionParts
{
    const HostOptions& options;
    CEventQueue& events;
    CView& view;
    CControlServer& control;
    const sim::CAppliance* appliance; // null with real programs
    const CPortTrace& portTrace;      // empty with real programs
    int signalFd;                     // delivers SessionSignals

    // The appliance's watchdog now; nothing without one, and with real programs.
    std::function<std::optional<sim::WatchdogView>()> watchdog;
};

enum class SessionEnd
{
    Over,
    Reset,      // of the appliance: the plug-in is to be started again
    Unstoppable // the plug-in does not return: the process must be ended hard
};

// The signals a session takes through its descriptor. To be blocked before the process has a second thread.
sigset_t SessionSignals();

class CSession
{
public:
    explicit CSession(const SessionParts& parts);

    // One life of the plug-in that `core` has loaded, from its start until it is stopped and unloaded.
    SessionEnd Run(CHostCore& core);

    // Why the run counts as failed; empty when it went well.
    [[nodiscard]] const std::vector<std::string>& Failures() const { return m_failures; }

private:
    void WaitForNews();
    void TakeSignals();
    void TakeEvents();
    void TakeEvent(HostEvent& event);
    void TakeDocument(const HostEvent& event, DocumentKind kind);
    void TakeRequest(const std::string& line);
    std::string Answer(const std::string& line);
    std::string SendFile(const ControlCommand& command);
    void Say(int level, const std::string& text);
    void Fail(const std::string& reason);
    void AskForSensors();
    void WatchWatchdog();
    void UpdateView();
    void CheckEnd();

    const SessionParts m_parts;
    CHostCore* m_core = nullptr; // null between two lives of the plug-in
    Picture m_picture;
    CStartCheck m_check;
    std::vector<std::string> m_waitingRequests; // for the plug-in to open
    std::vector<std::string> m_failures;
    const std::chrono::milliseconds m_startedReal;
    const std::chrono::steady_clock::time_point m_started; // the appliance's time
    bool m_opened = false;
    bool m_complete = false;
    bool m_ending = false;
    bool m_reset = false;
    bool m_watchdogLate = false;
    std::optional<std::chrono::steady_clock::time_point> m_sensorsAsked;
};
} // namespace host
