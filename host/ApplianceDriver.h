// Moves the simulated appliance along with the time.
#pragma once

#include "host/EventQueue.h"
#include "sim/Appliance.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace host
{
// While it lives, a thread of its own applies what the scenario has due and tells it to `events`, requests
// and resets by the watchdog included.
class CApplianceDriver
{
public:
    // `speed` only says how often to look.
    CApplianceDriver(sim::CAppliance& appliance, CEventQueue& events,
                     std::chrono::steady_clock::time_point switchedOn, int speed);
    ~CApplianceDriver();
    CApplianceDriver(const CApplianceDriver&) = delete;
    CApplianceDriver& operator=(const CApplianceDriver&) = delete;

private:
    void Loop();

    sim::CAppliance& m_appliance;
    CEventQueue& m_events;
    const std::chrono::steady_clock::time_point m_switchedOn;
    const int m_lookEveryMs; // kernel time
    CWakeup m_stop;
    std::atomic<bool> m_stopping{false};
    std::thread m_thread;
};
} // namespace host
