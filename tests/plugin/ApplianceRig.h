// The plug-in on a simulated appliance, whose programs it runs.
#pragma once

#include "host/SimTime.h"
#include "sim/Appliance.h"
#include "tests/plugin/LoadedPlugin.h"

#include <memory>

class ApplianceRig : public PluginRig
{
protected:
    // From now on the appliance's time runs with the clock.
    void SwitchOn(std::unique_ptr<sim::CAppliance> appliance)
    {
        m_appliance = std::move(appliance);
        for (const auto& [name, text] : m_appliance->Files())
        {
            m_dir.Write(name, text);
        }
        m_host.SetProgramHook(
            [this](const CFakeHost::Arguments& arguments) -> std::optional<CFakeHost::Answer>
            {
                const sim::ProgramRun run = m_appliance->Run(arguments, Now());
                return CFakeHost::Answer{.output = run.standardOutput,
                                         .exitCode = run.waitStatus >> 8,
                                         .startError = run.startError};
            });
        m_switchedOn = host::simtime::MonotonicNow();
    }

    [[nodiscard]] sim::SimTime Now() const
    {
        return std::chrono::duration_cast<sim::SimTime>(host::simtime::MonotonicNow() - m_switchedOn);
    }

    std::unique_ptr<sim::CAppliance> m_appliance;

private:
    std::chrono::nanoseconds m_switchedOn{0};
};
