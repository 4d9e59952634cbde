// The simulated appliance: a machine that nobody has on the desk. It answers the tools' command lines with
// texts in the form of the real tools' and changes with time as its scenario says. It knows nothing of the
// plug-in.
#pragma once

#include "sim/IoPorts.h"
#include "sim/Scenario.h"
#include "sim/SimTime.h"

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace sim
{
// What became of one program. The launcher delivers the output and the end when `duration` has passed.
struct ProgramRun
{
    int startError = 0; // errno of a program that cannot be started; everything else is then unused
    std::string standardOutput;
    std::string standardError;
    int waitStatus = 0; // as waitpid reports it
    std::chrono::milliseconds duration{0};
};

struct AppliancePreset;

class CAppliance
{
public:
    // `preset` is a name of PresetNames; `scenario` replaces the preset's own when given. `chip` is "" for
    // the Super I/O chip of the preset's board, "none" for a board without one, or a name of ChipNames.
    // Throws std::invalid_argument on an unknown preset or chip and on a scenario that names what this
    // appliance does not have.
    CAppliance(const std::string& preset, std::optional<Scenario> scenario, const std::string& chip = "");
    ~CAppliance();

    // Runs a program as the appliance would at `now`. Thread-safe.
    ProgramRun Run(const std::vector<std::string>& argv, SimTime now);

    // Applies the scenario lines due by `now`; gives one readable line for each, and for each stage that a
    // running program has reached, in order. Thread-safe.
    std::vector<std::string> Advance(SimTime now);

    // Whether the host returns heartbeats to the plug-in at this moment.
    [[nodiscard]] bool ReturnsHeartbeats() const;

    // Whether the scenario has said "end". Lines after it are not applied. Thread-safe.
    [[nodiscard]] bool IsOver() const;

    // What the scenario asked the host to ask of the plug-in since the last call, in order: lines in the
    // host's own words for a person's requests, such as "refresh" or "test short /dev/sdc". Thread-safe.
    std::vector<std::string> TakeRequests();

    // What answers the port instructions. Lives as long as the appliance; may be used in a signal handler.
    [[nodiscard]] CIoPorts& Ports() const;

    // Nothing without a chip. Thread-safe.
    [[nodiscard]] std::optional<WatchdogView> Watchdog(SimTime now) const;

    // True once after the watchdog has reset the appliance: the chip is then as its firmware leaves it, with
    // the status bit that tells of the time-out. Advance, Watchdog and accesses notice that it has run out.
    // Until this call the chip stays as it was, with its watchdog stopped. Thread-safe.
    bool TakeReset();

    // Files the appliance has in the working directory, by relative name.
    [[nodiscard]] std::map<std::string, std::string> Files() const;

    static std::vector<std::string> PresetNames();
    static std::vector<std::string> ChipNames(); // without "none"

private:
    struct State;
    std::unique_ptr<State> m_state;
};
} // namespace sim
