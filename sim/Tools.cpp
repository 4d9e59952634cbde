#include "sim/Tools.h"

#include "sim/Appliance.h"
#include "sim/Arcconf.h"
#include "sim/DrivePrepScript.h"
#include "sim/Ipmitool.h"
#include "sim/Machine.h"
#include "sim/RaidPrepScript.h"
#include "sim/SelfTestTool.h"
#include "sim/Smartctl.h"
#include "sim/Storcli.h"
#include "sim/SysInfoScript.h"

#include <algorithm>
#include <array>
#include <cerrno>

namespace sim
{
namespace
{
// A tool that only looks at the machine.
template <auto Answer>
ToolAnswer Look(Machine& machine, const std::vector<std::string>& argv, SimTime now)
{
    return Answer(machine, argv, now);
}

constexpr auto kTools = std::to_array<Tool>({
    {"smartctl", "./smartctl", &Look<&AnswerSmartctl>, nullptr},
    {"sysinfo", "scripts/sysinfo.sh", &Look<&AnswerSysInfoScript>, nullptr},
    {"ipmitool", "ipmitool", &Look<&AnswerIpmitool>, &HasIpmitool},
    {"tqselftest", "./tqselftest", &AnswerSelfTestTool, nullptr},
    {"driveprep", "scripts/driveprep.sh", &AnswerDrivePrepScript, nullptr},
    {"storcli", "storcli", &AnswerStorcli, &HasStorcli, &RefuseStorcli},
    {"arcconf", "arcconf", &AnswerArcconf, &HasArcconf, &RefuseArcconf},
    {"raidprep", "scripts/raidprep.sh", &AnswerRaidPrepScript, &HasRaidPrepScript},
});

// An exit code as waitpid reports it.
int WaitStatus(int exitCode)
{
    return exitCode << 8;
}

bool IsJson(const std::string& output)
{
    return output.starts_with('{');
}

// JSON gets a comma where the first member should stand; any other text loses every "=", a table its commas,
// a text with neither its colons.
std::string Garble(std::string output)
{
    if (IsJson(output))
    {
        output.insert(1, "\n  ,");
    }
    else
    {
        constexpr std::string_view kSeparators = "=,:";
        const auto separator =
            *std::find_if(kSeparators.begin(), kSeparators.end() - 1,
                          [&output](char candidate) { return output.find(candidate) != std::string::npos; });
        std::replace(output.begin(), output.end(), separator, '\x7F');
    }
    return output;
}

// What a tool has printed when it dies: JSON is printed in one piece at the end, a script prints line by
// line.
std::string BeforeDeath(const std::string& output)
{
    return IsJson(output) ? "" : output.substr(0, output.rfind('\n', output.size() / 2) + 1);
}

void ApplyFault(const ToolFault& fault, const std::string& program, ProgramRun& run)
{
    switch (fault.kind)
    {
    case FaultKind::Hang:
        run.duration = std::chrono::milliseconds{fault.amount};
        break;
    case FaultKind::Slow:
        run.duration += std::chrono::milliseconds{fault.amount};
        break;
    case FaultKind::Fail:
        run.standardOutput = BeforeDeath(run.standardOutput);
        run.standardError = program + ": Input/output error\n";
        run.waitStatus = WaitStatus(static_cast<int>(fault.amount));
        break;
    case FaultKind::Cut:
        run.standardOutput.resize(
            std::min(run.standardOutput.size(), static_cast<std::size_t>(fault.amount)));
        run.waitStatus = 0;
        break;
    case FaultKind::Garbage:
        run.standardOutput = Garble(run.standardOutput);
        run.waitStatus = 0;
        break;
    case FaultKind::Missing:
        run = {};
        run.startError = ENOENT;
        break;
    case FaultKind::Refuse: // the answer itself
        break;
    }
}

std::optional<ToolFault> TakeFault(ToolState& state)
{
    if (state.once.empty())
    {
        return state.standing;
    }
    const ToolFault fault = state.once.front();
    state.once.pop_front();
    return fault;
}

ToolAnswer AnswerWith(const std::optional<ToolFault>& fault, const Tool& tool, Machine& machine,
                      const std::vector<std::string>& argv, SimTime now)
{
    if (fault && fault->kind == FaultKind::Refuse && tool.refusal != nullptr)
    {
        return tool.refusal(argv);
    }
    if (fault && (fault->kind == FaultKind::Fail || fault->kind == FaultKind::Missing))
    {
        Machine untouched = machine;
        return tool.answer(untouched, argv, now);
    }
    return tool.answer(machine, argv, now);
}
} // namespace

const Tool* FindTool(std::string_view name)
{
    const auto* tool =
        std::find_if(kTools.begin(), kTools.end(), [name](const Tool& row) { return row.name == name; });
    return tool == kTools.end() ? nullptr : tool;
}

std::string ToolNames()
{
    std::string names;
    for (const Tool& tool : kTools)
    {
        names += (names.empty() ? "" : ", ") + std::string(tool.name);
    }
    return names;
}

ProgramRun RunProgram(Machine& machine, const std::vector<std::string>& argv, SimTime now)
{
    ProgramRun run;
    const auto* tool = argv.empty()
                           ? kTools.end()
                           : std::find_if(kTools.begin(), kTools.end(),
                                          [&argv](const Tool& row) { return row.program == argv.front(); });
    if (tool == kTools.end() || (tool->isFitted != nullptr && !tool->isFitted(machine)))
    {
        run.startError = ENOENT;
        return run;
    }
    machine.AdvanceTo(now);
    const auto fault = TakeFault(machine.tools[std::string(tool->name)]);
    ToolAnswer answer = AnswerWith(fault, *tool, machine, argv, now);
    run.standardOutput = std::move(answer.standardOutput);
    run.standardError = std::move(answer.standardError);
    run.waitStatus = WaitStatus(answer.exitCode);
    run.duration = answer.duration;
    if (fault)
    {
        ApplyFault(*fault, argv.front(), run);
    }
    return run;
}
} // namespace sim
