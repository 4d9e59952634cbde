#include "sim/Appliance.h"

#include "sim/BoardFile.h"
#include "sim/Machine.h"
#include "sim/SuperIoChips.h"
#include "sim/Verbs.h"

#include <mutex>
#include <stdexcept>
#include <utility>

namespace sim
{
namespace
{
AppliancePreset PresetOrThrow(const std::string& name)
{
    auto preset = MakePreset(name);
    if (!preset)
    {
        throw std::invalid_argument("no appliance preset \"" + name + "\"");
    }
    return *std::move(preset);
}

// Null for a board without one.
const SuperIoRows* ChipOrThrow(const std::string& name)
{
    const SuperIoRows* const rows = FindChip(name);
    if (rows == nullptr && !name.empty() && name != "none")
    {
        throw std::invalid_argument("no chip \"" + name + "\"");
    }
    return rows;
}

Scenario BuiltInScenario(const AppliancePreset& preset, bool hasChip)
{
    std::string error;
    auto scenario = ParseScenario(preset.scenario + (hasChip ? preset.chipScenario : ""), error);
    if (!scenario)
    {
        throw std::logic_error("scenario of preset " + preset.name + ", " + error);
    }
    return *std::move(scenario);
}

// A scenario that names a disk or an attribute this appliance does not have is refused before it starts.
void CheckScenario(const Machine& machine, const Scenario& scenario)
{
    for (const ScenarioEvent& event : scenario.events)
    {
        const FoundVerb found = FindVerb(event.words);
        std::string problem = found.error;
        if (found.verb != nullptr && found.verb->check != nullptr)
        {
            problem = found.verb->check(machine, found.arguments);
        }
        if (!problem.empty())
        {
            throw std::invalid_argument("line " + std::to_string(event.line) + ": " + problem);
        }
    }
}
} // namespace

struct CAppliance::State
{
    State(AppliancePreset preset, const SuperIoRows* chip) : machine(std::move(preset), chip) {}

    mutable std::mutex mutex; // guards everything below
    Machine machine;
    Scenario scenario;
    std::size_t nextEvent = 0;
};

CAppliance::CAppliance(const std::string& preset, std::optional<Scenario> scenario, const std::string& chip)
{
    AppliancePreset built = PresetOrThrow(preset);
    const SuperIoRows* const rows = ChipOrThrow(chip.empty() ? built.chip : chip);
    if (rows != nullptr && rows->name != built.chip)
    {
        std::string& boardFile = built.files["hwmconfig.xml"];
        boardFile = MakeBoardFile(*rows, built.board.model, DiskSection(boardFile));
    }
    m_state = std::make_unique<State>(std::move(built), rows);
    m_state->scenario =
        scenario ? *std::move(scenario) : BuiltInScenario(m_state->machine.preset, rows != nullptr);
    CheckScenario(m_state->machine, m_state->scenario);
}

CAppliance::~CAppliance() = default;

ProgramRun CAppliance::Run(const std::vector<std::string>& argv, SimTime now)
{
    const std::lock_guard lock(m_state->mutex);
    return RunProgram(m_state->machine, argv, now);
}

namespace
{
// Moves what programs have done by `now` to `lines`.
void TellNotes(Machine& machine, SimTime now, std::vector<std::string>& lines)
{
    const auto end = machine.notes.upper_bound(now);
    for (auto note = machine.notes.begin(); note != end; ++note)
    {
        lines.push_back(note->second);
    }
    machine.notes.erase(machine.notes.begin(), end);
}
} // namespace

std::vector<std::string> CAppliance::Advance(SimTime now)
{
    const std::lock_guard lock(m_state->mutex);
    if (m_state->machine.superIo)
    {
        m_state->machine.superIo->Tick(now);
    }
    const auto& events = m_state->scenario.events;
    std::vector<std::string> lines;
    while (m_state->nextEvent < events.size() && events[m_state->nextEvent].at <= now &&
           !m_state->machine.isOver)
    {
        const ScenarioEvent& event = events[m_state->nextEvent++];
        TellNotes(m_state->machine, event.at, lines);
        const FoundVerb found = FindVerb(event.words);
        // At its own time, not `now`: the outcome must not depend on how often the host calls.
        m_state->machine.AdvanceTo(event.at);
        found.verb->apply(m_state->machine, found.arguments, event.at);
        lines.push_back(event.text);
    }
    TellNotes(m_state->machine, now, lines);
    return lines;
}

bool CAppliance::ReturnsHeartbeats() const
{
    const std::lock_guard lock(m_state->mutex);
    return m_state->machine.returnsHeartbeats;
}

bool CAppliance::IsOver() const
{
    const std::lock_guard lock(m_state->mutex);
    return m_state->machine.isOver;
}

std::vector<std::string> CAppliance::TakeRequests()
{
    const std::lock_guard lock(m_state->mutex);
    return std::exchange(m_state->machine.requests, {});
}

CIoPorts& CAppliance::Ports() const
{
    return m_state->machine.Ports();
}

std::optional<WatchdogView> CAppliance::Watchdog(SimTime now) const
{
    const auto& chip = m_state->machine.superIo; // has a guard of its own
    return chip ? std::optional(chip->Watchdog(now)) : std::nullopt;
}

bool CAppliance::TakeReset()
{
    const auto& chip = m_state->machine.superIo;
    return chip && chip->TakeReset();
}

std::map<std::string, std::string> CAppliance::Files() const
{
    return m_state->machine.preset.files;
}

std::vector<std::string> CAppliance::PresetNames()
{
    return ListPresets();
}

std::vector<std::string> CAppliance::ChipNames()
{
    return ListChips();
}
} // namespace sim
