#include "sim/RaidVerbs.h"

#include "sim/Machine.h"

#include <array>

namespace sim
{
namespace
{
std::string CheckController(const Machine& machine, const Arguments&)
{
    return machine.raid.IsFitted() ? "" : "no RAID controller in this appliance";
}

std::string CheckDrive(const Machine& machine, const Arguments& arguments)
{
    return machine.raid.FindDrive(arguments[0].text) != nullptr
               ? ""
               : "no drive " + arguments[0].text + " in this appliance";
}

void Fail(Machine& machine, const Arguments& arguments, SimTime now)
{
    machine.raid.Fail(arguments[0].text, now);
}

void MakeForeign(Machine& machine, const Arguments& arguments, SimTime now)
{
    machine.raid.MakeForeign(arguments[0].text, now);
}

void Clear(Machine& machine, const Arguments& arguments, SimTime)
{
    machine.raid.Clear(arguments[0].text);
}

void SetErrors(Machine& machine, const Arguments& arguments, SimTime)
{
    DriveErrors& errors = machine.raid.FindDrive(arguments[0].text)->errors;
    int& counter = arguments[1].text == "media"   ? errors.media
                   : arguments[1].text == "other" ? errors.other
                                                  : errors.predictive;
    counter = static_cast<int>(arguments[2].number);
}

void SetTaskLength(Machine& machine, const Arguments& arguments, SimTime)
{
    machine.raid.SetTaskLength(std::chrono::milliseconds{arguments[0].number});
}

// The volume may come into being later: one that is not there is not checked.
void StartCheck(Machine& machine, const Arguments& arguments, SimTime now)
{
    machine.raid.StartCheck(static_cast<int>(arguments[0].number), now);
}

void FailPrep(Machine& machine, const Arguments& arguments, SimTime)
{
    struct Row
    {
        std::string_view word;
        PrepFault fault;
    };
    constexpr auto kRows = std::to_array<Row>({{"partitioning", PrepFault::Partitioning},
                                               {"formatting", PrepFault::Formatting},
                                               {"mounting", PrepFault::Mounting},
                                               {"otherwise", PrepFault::Other}});
    for (const Row& row : kRows)
    {
        if (row.word == arguments[0].text)
        {
            machine.prepFaults.push_back(row.fault);
        }
    }
}

std::string CheckRefusal(const Machine& machine, const Arguments& arguments)
{
    return FindTool(arguments[0].text)->refusal != nullptr
               ? CheckController(machine, arguments)
               : arguments[0].text + " asks no controller that could refuse";
}

// Arguments: tool, "once" or "".
void RefuseCommands(Machine& machine, const Arguments& arguments, SimTime)
{
    const ToolFault fault{.kind = FaultKind::Refuse};
    ToolState& state = machine.tools[arguments[0].text];
    if (arguments[1].text == "once")
    {
        state.once.push_back(fault);
    }
    else
    {
        state.standing = fault;
    }
}

// The host's own words for a person's request.
void Request(Machine& machine, const Arguments& arguments, SimTime)
{
    machine.requests.push_back(arguments[0].text + " " + arguments[1].text);
}

constexpr auto kVerbs = std::to_array<Verb>({
    {"disk DRIVE fail", &CheckDrive, &Fail},
    {"disk DRIVE foreign", &CheckDrive, &MakeForeign},
    {"disk DRIVE clear", &CheckDrive, &Clear},
    {"disk DRIVE errors media|other|predictive 0..2147483647", &CheckDrive, &SetErrors},
    {"raid rebuilds-take TIME", &CheckController, &SetTaskLength},
    {"raid check 0..255", &CheckController, &StartCheck},
    {"raidprep fails partitioning|formatting|mounting|otherwise", &CheckController, &FailPrep},
    {"tool TOOL refuse [once]", &CheckRefusal, &RefuseCommands},
    {"request prep|hotspare|threshold TEXT", nullptr, &Request},
});
} // namespace

std::span<const Verb> RaidVerbs()
{
    return kVerbs;
}
} // namespace sim
