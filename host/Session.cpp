#include "host/Session.h"

#include "host/ChipPicture.h"
#include "host/PictureText.h"
#include "host/RealTime.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

namespace host
{
namespace
{
// How long a start may take, and the plug-in's Run to return after Close. Kernel time.
constexpr std::chrono::seconds kStartPatience{60};
constexpr std::chrono::seconds kStopPatience{15};

constexpr int kPollMs = 200;
constexpr std::size_t kMaxFailures = 100;
constexpr std::size_t kMaxWaiting = 100;

// By itself the plug-in tells of sensors only when an alarm comes or goes. The appliance's time.
constexpr std::chrono::seconds kSensorPeriod{5};

// Lines of the trace that one answer holds, the delay's writes among them.
constexpr std::size_t kTraceShown = 4000;

// Before the first whole picture every disk and volume is new; the table shows them.
bool IsArrival(const PictureChange& change)
{
    return change.kind == ChangeKind::DiskAdded || change.kind == ChangeKind::Volume;
}
// Of the plug-in's clock, by which it starts scheduled tests.
int SecondsOfLocalDay()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec;
}
} // namespace

sigset_t SessionSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGWINCH, SIGTSTP, SIGCONT})
    {
        sigaddset(&signals, signal);
    }
    return signals;
}

CSession::CSession(const SessionParts& parts)
    : m_parts(parts),
      m_startedReal(RealNow()),
      m_started(std::chrono::steady_clock::now())
{
}

SessionEnd CSession::Run(CHostCore& core)
{
    m_core = &core;
    m_opened = false;
    m_reset = false;
    core.Start();
    while (!m_ending && !m_reset)
    {
        WaitForNews();
        TakeSignals();
        TakeEvents();
        m_parts.control.Serve([this](const std::string& line) { return Answer(line); });
        AskForSensors();
        UpdateView();
        if (!m_reset) // the next life may still have something to show
        {
            CheckEnd();
        }
    }
    if (!core.Stop(kStopPatience))
    {
        Fail("the plug-in's Run has not returned within " + std::to_string(kStopPatience.count()) +
             " s of Close");
        return SessionEnd::Unstoppable;
    }
    TakeEvents();
    UpdateView();
    m_core = nullptr;
    return m_ending ? SessionEnd::Over : SessionEnd::Reset;
}

void CSession::WaitForNews()
{
    std::vector<pollfd> polled{{m_parts.events.Fd(), POLLIN, 0}, {m_parts.signalFd, POLLIN, 0}};
    m_parts.control.AddTo(polled);
    poll(polled.data(), polled.size(), kPollMs);
}

void CSession::TakeSignals()
{
    signalfd_siginfo signal{};
    while (read(m_parts.signalFd, &signal, sizeof signal) == static_cast<ssize_t>(sizeof signal))
    {
        switch (signal.ssi_signo)
        {
        case SIGWINCH:
            m_parts.view.Resize();
            break;
        case SIGTSTP:
            m_parts.view.Suspend();
            raise(SIGSTOP); // all threads; the next line runs after SIGCONT
            m_parts.view.Resume();
            break;
        case SIGCONT:
            break;
        default:
            m_ending = true;
        }
    }
}

void CSession::TakeEvents()
{
    for (HostEvent& event : m_parts.events.TakeAll())
    {
        TakeEvent(event);
    }
    if (!m_complete && m_opened)
    {
        m_complete = m_check.Missing(m_picture).empty();
    }
}

void CSession::TakeEvent(HostEvent& event)
{
    switch (event.kind)
    {
    case EventKind::Log:
        m_check.NoteLog(event.text);
        NoteChipLog(m_picture, event.text);
        if (event.level >= m_parts.options.logLevel)
        {
            m_parts.view.ShowLine({event.utcSec, event.level, false, std::move(event.text)});
        }
        break;
    case EventKind::Note:
        m_parts.view.ShowLine({event.utcSec, kLevelInfo, true, std::move(event.text)});
        break;
    case EventKind::Warning:
        m_parts.view.ShowLine({event.utcSec, kLevelWarning, true, std::move(event.text)});
        break;
    case EventKind::Error:
        Fail(event.text);
        break;
    case EventKind::StatusDocument:
        TakeDocument(event, DocumentKind::Status);
        break;
    case EventKind::ConfigDocument:
        TakeDocument(event, DocumentKind::Config);
        break;
    case EventKind::Request:
        TakeRequest(event.text);
        break;
    case EventKind::ProgramOutput:
        m_check.NoteScan(event.text);
        break;
    case EventKind::Opened:
        m_opened = true;
        for (const std::string& line : std::exchange(m_waitingRequests, {}))
        {
            TakeRequest(line);
        }
        break;
    case EventKind::RunEnded:
        if (!m_ending && !m_reset)
        {
            Fail("the plug-in's Run has returned by itself");
            m_ending = true;
        }
        break;
    case EventKind::Reset:
        m_reset = true;
        m_parts.view.ShowLine({event.utcSec, kLevelError, true,
                               "the hardware watchdog has reset the appliance: nobody has pinged it in time; "
                               "the plug-in is stopped and started again"});
        break;
    }
}

void CSession::TakeDocument(const HostEvent& event, DocumentKind kind)
{
    const std::uint64_t rejected = m_picture.documents.rejected;
    for (const PictureChange& change : MergeDocument(m_picture, kind, event.text))
    {
        if (m_complete || !IsArrival(change))
        {
            m_parts.view.ShowChange(m_picture, change, event.utcSec);
        }
    }
    if (m_picture.documents.rejected != rejected)
    {
        Fail("the plug-in sent a document that cannot be read: " + event.text.substr(0, kMaxText));
    }
}

// A request of the scenario; what comes before the plug-in has opened waits.
void CSession::TakeRequest(const std::string& line)
{
    if (!m_opened && m_waitingRequests.size() < kMaxWaiting)
    {
        m_waitingRequests.push_back(line);
        return;
    }
    const std::string answer = Answer(line);
    Say(kLevelInfo, "request " + line + ": " + answer.substr(0, answer.find_last_not_of('\n') + 1));
}

std::string CSession::Answer(const std::string& line)
{
    std::vector<std::string> words = SplitControlLine(line);
    ResolveStart(words, SecondsOfLocalDay());
    const ControlCommand command = ParseControl(words, m_picture);
    if (command.kind == ControlKind::Error)
    {
        return "error: " + command.text + "\n";
    }
    if (command.kind == ControlKind::Status)
    {
        return DeviceText(m_picture) + SystemText(m_picture) + "ok\n";
    }
    if (command.kind == ControlKind::Ports)
    {
        return TraceText(m_parts.portTrace.Last(kTraceShown)) + "ok\n";
    }
    if (command.kind == ControlKind::Quit)
    {
        m_ending = true;
        return "ok\n";
    }
    if (!m_opened)
    {
        return "error: the plug-in is still starting\n";
    }
    switch (command.kind)
    {
    case ControlKind::Request:
        m_core->SendRequest(command.text);
        return "ok\n";
    case ControlKind::Config:
        m_core->SendConfig(command.text);
        return "ok\n";
    default:
        return SendFile(command);
    }
}

std::string CSession::SendFile(const ControlCommand& command)
{
    std::error_code code;
    const auto size = std::filesystem::is_regular_file(command.text, code)
                          ? std::filesystem::file_size(command.text, code)
                          : kMaxRawFile + 1;
    std::ifstream file(command.text, std::ios::binary);
    if (code || size > kMaxRawFile || !file)
    {
        return "error: " + command.text + " is no readable file of at most " + std::to_string(kMaxRawFile) +
               " bytes\n";
    }
    std::string document(size, '\0');
    file.read(document.data(), static_cast<std::streamsize>(size));
    document.resize(static_cast<std::size_t>(file.gcount()));
    if (command.kind == ControlKind::RequestFile)
    {
        m_core->SendRequest(document);
    }
    else
    {
        m_core->SendConfig(document);
    }
    return "ok\n";
}

void CSession::Say(int level, const std::string& text)
{
    m_parts.view.ShowLine({static_cast<std::int64_t>(std::time(nullptr)), level, true, text});
}

void CSession::Fail(const std::string& reason)
{
    Say(kLevelError, reason);
    if (m_failures.size() < kMaxFailures)
    {
        m_failures.push_back(reason);
    }
}

// The picture's readings would otherwise be those of the last alarm.
void CSession::AskForSensors()
{
    const auto now = std::chrono::steady_clock::now();
    if (!m_opened || m_picture.chip.name.empty() || m_picture.sensors.empty() ||
        (m_sensorsAsked && now - *m_sensorsAsked < kSensorPeriod))
    {
        return;
    }
    m_sensorsAsked = now;
    m_core->SendRequest(ParseControl({"sensors"}, m_picture).text);
}

// Says once that the pings have stopped, long before it is too late, and that they are back.
void CSession::WatchWatchdog()
{
    const bool late = m_picture.watchdog && m_picture.watchdog->IsLate();
    if (late && !m_watchdogLate)
    {
        Say(kLevelWarning, "the watchdog is no longer pinged: " + DescribeChip(m_picture));
    }
    else if (!late && m_watchdogLate && m_picture.watchdog && m_picture.watchdog->isArmed)
    {
        Say(kLevelInfo, "the watchdog is pinged again");
    }
    m_watchdogLate = late;
}

void CSession::UpdateView()
{
    const auto now = static_cast<std::int64_t>(std::time(nullptr));
    const HeartbeatCount heartbeats = m_core->Heartbeats();
    m_picture.watchdog =
        WatchdogNow(m_picture, m_parts.watchdog ? m_parts.watchdog() : std::nullopt, heartbeats, now);
    WatchWatchdog();
    const std::string name =
        m_parts.appliance != nullptr ? "simulated " + m_parts.options.appliance : std::string("this machine");
    m_parts.view.Update({m_picture, heartbeats, now, m_parts.options.speed, name, m_complete});
    m_ending = m_ending || !m_parts.view.IsAlive();
}

void CSession::CheckEnd()
{
    if (m_parts.options.once)
    {
        if (m_complete)
        {
            m_ending = true;
        }
        else if (RealNow() - m_startedReal >= kStartPatience)
        {
            for (const std::string& missing : m_check.Missing(m_picture))
            {
                Fail("missing after " + std::to_string(kStartPatience.count()) + " s: " + missing);
            }
            if (!m_opened)
            {
                Fail("the plug-in has not opened");
            }
            m_ending = true;
        }
    }
    if (m_parts.options.duration && std::chrono::steady_clock::now() - m_started >= *m_parts.options.duration)
    {
        m_ending = true;
    }
    if (m_parts.appliance != nullptr && m_parts.appliance->IsOver() && !m_ending)
    {
        Say(kLevelInfo, "the scenario is over");
        m_ending = true;
    }
}
} // namespace host
