#include "host/EventQueue.h"

#include <ctime>

namespace host
{
void CEventQueue::Push(EventKind kind, std::string text, int level)
{
    const auto now = static_cast<std::int64_t>(std::time(nullptr));
    {
        const std::lock_guard lock(m_mutex);
        if (kind == EventKind::Log)
        {
            if (m_lines >= kMaxLines)
            {
                ++m_dropped;
                return;
            }
            ++m_lines;
        }
        m_events.push_back({kind, level, now, std::move(text)});
    }
    m_wakeup.Signal();
}

std::deque<HostEvent> CEventQueue::TakeAll()
{
    m_wakeup.Clear();
    const std::lock_guard lock(m_mutex);
    std::deque<HostEvent> events = std::move(m_events);
    m_events.clear();
    m_lines = 0;
    if (m_dropped > 0)
    {
        events.push_back({EventKind::Note, 0, events.empty() ? 0 : events.back().utcSec,
                          std::to_string(m_dropped) + " log lines were dropped: the output is too slow"});
        m_dropped = 0;
    }
    return events;
}
} // namespace host
