#include "host/ApplianceDriver.h"

#include <poll.h>

#include <algorithm>

namespace host
{
namespace
{
// Half a second of the appliance's time, within what makes sense on the kernel's clock.
constexpr int kStepMs = 500;
constexpr int kLeastMs = 10;
constexpr int kMostMs = 100;
} // namespace

CApplianceDriver::CApplianceDriver(sim::CAppliance& appliance, CEventQueue& events,
                                   std::chrono::steady_clock::time_point switchedOn, int speed)
    : m_appliance(appliance),
      m_events(events),
      m_switchedOn(switchedOn),
      m_lookEveryMs(std::clamp(kStepMs / speed, kLeastMs, kMostMs)),
      m_thread([this] { Loop(); })
{
}

CApplianceDriver::~CApplianceDriver()
{
    m_stopping.store(true);
    m_stop.Signal();
    m_thread.join();
}

void CApplianceDriver::Loop()
{
    unsigned resets = 0;
    while (!m_stopping.load())
    {
        const auto now =
            std::chrono::duration_cast<sim::SimTime>(std::chrono::steady_clock::now() - m_switchedOn);
        for (std::string& line : m_appliance.Advance(now))
        {
            m_events.Push(EventKind::Note, std::move(line));
        }
        for (std::string& request : m_appliance.TakeRequests())
        {
            m_events.Push(EventKind::Request, std::move(request));
        }
        const unsigned before = resets;
        resets = m_appliance.Watchdog(now).value_or(sim::WatchdogView()).resetCount;
        if (resets != before)
        {
            m_events.Push(EventKind::Reset);
        }
        pollfd stop{m_stop.Fd(), POLLIN, 0};
        poll(&stop, 1, m_lookEveryMs);
    }
}
} // namespace host
