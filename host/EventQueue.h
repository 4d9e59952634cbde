// What happens in the host's other threads, on its way to the one thread that keeps the picture and shows it.
#pragma once

#include "host/Fd.h"

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>

namespace host
{
enum class EventKind
{
    Log,            // a line of the plug-in
    Note,           // a line of the host or the appliance
    Warning,        // the same, of something that a person should look at
    Error,          // a line about something that must not happen; the host then ends with status 1
    StatusDocument, // XML
    ConfigDocument, // XML
    Request,        // a control line of the scenario
    ProgramOutput,  // standard output of a disk scan
    Opened,         // the plug-in has started
    RunEnded,       // the plug-in's Run has returned
    Reset,          // the appliance's watchdog has reset it
};

struct HostEvent
{
    EventKind kind = EventKind::Note;
    int level = 0; // of a log line
    std::int64_t utcSec = 0;
    std::string text;
};

// Any thread pushes, one takes. Log lines beyond the bound are dropped and counted, since the reader may be
// held up by a blocked terminal for ever; everything else is kept.
class CEventQueue
{
public:
    static constexpr std::size_t kMaxLines = 20000;

    // Stamps the event with the present (possibly simulated) time.
    void Push(EventKind kind, std::string text = {}, int level = 0);

    std::deque<HostEvent> TakeAll();

    // Readable while there is something to take.
    [[nodiscard]] int Fd() const { return m_wakeup.Fd(); }

private:
    CWakeup m_wakeup;
    std::mutex m_mutex; // guards the rest
    std::deque<HostEvent> m_events;
    std::size_t m_lines = 0;
    std::size_t m_dropped = 0;
};
} // namespace host
