// One run of the host from the plug-in's start to its end: takes the news of all threads, keeps the picture,
// feeds the view, answers control requests, and decides when it is over.
#pragma once

#include "host/Control.h"
#include "host/EventQueue.h"
#include "host/HostCore.h"
#include "host/Options.h"
#include "host/Picture.h"
#include "host/Requests.h"
#include "host/StartCheck.h"
#include "host/View.h"
#include "sim/Appliance.h"

#include <chrono>
#include <csignal>
#include <string>
#include <vector>

namespace host
{
// What a session works with; all of it outlives the session.
struct SessionParts
{
    const HostOptions& options;
    CHostCore& core;
    CEventQueue& events;
    CView& view;
    CControlServer& control;
    const sim::CAppliance* appliance; // null with real programs
    int signalFd;                     // delivers SessionSignals
};

// The signals a session takes through its descriptor. To be blocked before the process has a second thread.
sigset_t SessionSignals();

class CSession
{
public:
    explicit CSession(const SessionParts& parts);

    // Until the end; the plug-in is then stopped. False when it would not stop: the process must then be
    // ended hard.
    bool Run();

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
    void UpdateView();
    void CheckEnd();

    const SessionParts m_parts;
    Picture m_picture;
    CStartCheck m_check;
    std::vector<std::string> m_waitingRequests; // for the plug-in to open
    std::vector<std::string> m_failures;
    const std::chrono::milliseconds m_startedReal;
    const std::chrono::steady_clock::time_point m_started; // the appliance's time
    bool m_opened = false;
    bool m_complete = false;
    bool m_ending = false;
};
} // namespace host
