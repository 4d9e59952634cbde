#include "sim/Verbs.h"

#include "sim/ChipVerbs.h"
#include "sim/Machine.h"
#include "sim/RaidVerbs.h"
#include "sim/SelfTestVerbs.h"

#include <array>
#include <optional>
#include <span>
#include <utility>

namespace sim
{
namespace
{
std::string CheckDisk(const Machine& machine, const Arguments& arguments)
{
    return machine.FindDisk(arguments[0].text) != nullptr ? ""
                                                          : "no " + arguments[0].text + " in this appliance";
}

std::string CheckSmart(const Machine& machine, const Arguments& arguments)
{
    std::string error = CheckDisk(machine, arguments);
    if (error.empty() && !machine.FindDisk(arguments[0].text)->HasSmart())
    {
        error = arguments[0].text + " has no SMART data";
    }
    return error;
}

std::string CheckNvme(const Machine& machine, const Arguments& arguments)
{
    std::string error = CheckDisk(machine, arguments);
    if (error.empty() && machine.FindDisk(arguments[0].text)->Spec().kind != DiskKind::Nvme)
    {
        error = arguments[0].text + " is no NVMe disk";
    }
    return error;
}

std::string CheckAttribute(const Machine& machine, const Arguments& arguments)
{
    std::string error = CheckDisk(machine, arguments);
    const int id = static_cast<int>(arguments[1].number);
    if (error.empty() && !machine.FindDisk(arguments[0].text)->CanSetAttribute(id))
    {
        error = arguments[0].text + " has no attribute " + arguments[1].text + " to set";
    }
    return error;
}

std::string CheckBmc(const Machine& machine, const Arguments&)
{
    return machine.bmc.IsFitted() ? "" : "no management controller in this appliance";
}

std::string CheckSensor(const Machine& machine, const Arguments& arguments)
{
    std::string error = CheckBmc(machine, arguments);
    if (error.empty() && machine.bmc.Find(arguments[0].text) == nullptr)
    {
        error = "no sensor \"" + arguments[0].text + "\" in this appliance";
    }
    return error;
}

std::string CheckSensorValue(const Machine& machine, const Arguments& arguments)
{
    std::string error = CheckSensor(machine, arguments);
    if (error.empty() && machine.bmc.Find(arguments[0].text)->spec.kind == BmcSensorKind::Discrete)
    {
        error = "\"" + arguments[0].text + "\" has states, but no value";
    }
    return error;
}

// Pre: one of the disk checks above has passed.
CSimDisk& Disk(Machine& machine, const Arguments& arguments)
{
    return *machine.FindDisk(arguments[0].text);
}

int Int(const Argument& argument)
{
    return static_cast<int>(argument.number);
}

void SetTemperature(Machine& machine, const Arguments& arguments, SimTime)
{
    Disk(machine, arguments).SetTemperature(Int(arguments[1]));
}

void Warm(Machine& machine, const Arguments& arguments, SimTime now)
{
    const std::chrono::milliseconds length{arguments[2].number};
    Disk(machine, arguments).WarmTo(Int(arguments[1]), length, now);
}

void SetHealth(Machine& machine, const Arguments& arguments, SimTime)
{
    Disk(machine, arguments).SetFailing(arguments[1].text == "failing");
}

void SetAttribute(Machine& machine, const Arguments& arguments, SimTime now)
{
    const auto raw = arguments.size() > 3 ? std::optional(arguments[3].number) : std::nullopt;
    Disk(machine, arguments).SetAttribute(Int(arguments[1]), Int(arguments[2]), raw, now);
}

void PullOrPlug(Machine& machine, const Arguments& arguments, SimTime now)
{
    if (machine.raid.FindDrive(arguments[0].text) != nullptr)
    {
        machine.raid.SetPlugged(arguments[0].text, arguments[1].text == "plug", now);
        return;
    }
    Disk(machine, arguments).SetPresent(arguments[1].text == "plug", now);
}

void Replace(Machine& machine, const Arguments& arguments, SimTime now)
{
    if (machine.raid.FindDrive(arguments[0].text) != nullptr)
    {
        machine.raid.Replace(arguments[0].text, arguments[1].text, now);
        return;
    }
    Disk(machine, arguments).Replace(arguments[1].text, now);
}

void SetMediaErrors(Machine& machine, const Arguments& arguments, SimTime)
{
    Disk(machine, arguments).SetMediaErrors(arguments[1].number);
}

void SetSpare(Machine& machine, const Arguments& arguments, SimTime)
{
    Disk(machine, arguments).SetSpare(Int(arguments[1]));
}

void SetSensorValue(Machine& machine, const Arguments& arguments, SimTime)
{
    machine.bmc.SetValue(arguments[0].text, arguments[1].number * 1'000);
}

void SetSensorState(Machine& machine, const Arguments& arguments, SimTime)
{
    machine.bmc.SetState(arguments[0].text, arguments[1].text);
}

void SwitchSensor(Machine& machine, const Arguments& arguments, SimTime)
{
    machine.bmc.SetOn(arguments[0].text, arguments[1].text == "on");
}

void SetBmcThere(Machine& machine, const Arguments& arguments, SimTime)
{
    machine.bmc.SetThere(arguments[0].text == "back");
}

// Arguments: tool, fault's own amount if it has one, "once" or "".
template <FaultKind Kind>
void AddFault(Machine& machine, const Arguments& arguments, SimTime)
{
    const ToolFault fault{.kind = Kind, .amount = arguments.size() > 2 ? arguments[1].number : 0};
    ToolState& state = machine.tools[arguments[0].text];
    if (arguments.back().text == "once")
    {
        state.once.push_back(fault);
    }
    else
    {
        state.standing = fault;
    }
}

void EndFaults(Machine& machine, const Arguments& arguments, SimTime)
{
    machine.tools[arguments[0].text] = {};
}

void SetHeartbeats(Machine& machine, const Arguments& arguments, SimTime)
{
    machine.returnsHeartbeats = arguments[0].text == "return";
}

void RequestRefresh(Machine& machine, const Arguments&, SimTime)
{
    machine.requests.emplace_back("refresh");
}

void Note(Machine&, const Arguments&, SimTime) {}

void End(Machine& machine, const Arguments&, SimTime)
{
    machine.isOver = true;
}

// Temperatures are what the signed byte of an ATA temperature row can hold above freezing. Raw values have 48
// bits.
constexpr auto kVerbs = std::to_array<Verb>({
    {"disk DEVICE temperature 0..127", &CheckSmart, &SetTemperature},
    {"disk DEVICE warm 0..127 over TIME", &CheckSmart, &Warm},
    {"disk DEVICE health failing|ok", &CheckSmart, &SetHealth},
    {"disk DEVICE attribute 1..254 value 1..253", &CheckAttribute, &SetAttribute},
    {"disk DEVICE attribute 1..254 value 1..253 raw 0..281474976710655", &CheckAttribute, &SetAttribute},
    {"disk DEVICE pull|plug", &CheckDisk, &PullOrPlug},
    {"disk DEVICE replace SERIAL", &CheckDisk, &Replace},
    {"disk DEVICE media-errors 0..2147483647", &CheckNvme, &SetMediaErrors},
    {"disk DEVICE spare 0..100", &CheckNvme, &SetSpare},
    {"bmc gone|back", &CheckBmc, &SetBmcThere},
    {"bmc SENSOR value -128..65535", &CheckSensorValue, &SetSensorValue},
    {"bmc SENSOR state ok|nc|cr|nr", &CheckSensor, &SetSensorState},
    {"bmc SENSOR off|on", &CheckSensor, &SwitchSensor},
    {"tool TOOL hang TIME [once]", nullptr, &AddFault<FaultKind::Hang>},
    {"tool TOOL slow TIME [once]", nullptr, &AddFault<FaultKind::Slow>},
    {"tool TOOL fail 0..255 [once]", nullptr, &AddFault<FaultKind::Fail>},
    {"tool TOOL cut 0..1000000 [once]", nullptr, &AddFault<FaultKind::Cut>},
    {"tool TOOL garbage [once]", nullptr, &AddFault<FaultKind::Garbage>},
    {"tool TOOL missing [once]", nullptr, &AddFault<FaultKind::Missing>},
    {"tool TOOL ok", nullptr, &EndFaults},
    {"heartbeats withhold|return", nullptr, &SetHeartbeats},
    {"request refresh", nullptr, &RequestRefresh},
    {"note TEXT", nullptr, &Note},
    {"end", nullptr, &End},
});

std::string Complaint(const std::string& expected, std::size_t accepted,
                      const std::vector<std::string>& words)
{
    return "expected " + expected +
           (accepted < words.size() ? ", found \"" + words[accepted] + "\"" : ", found the end of the line");
}
} // namespace

FoundVerb FindVerb(const std::vector<std::string>& words)
{
    // The complaint names what the forms that fitted longest would have taken next.
    std::size_t longest = 0;
    std::string expected;
    for (const std::span<const Verb> table :
         {std::span<const Verb>(kVerbs), ChipVerbs(), SelfTestVerbs(), RaidVerbs()})
    {
        for (const Verb& verb : table)
        {
            FormMatch match = MatchForm(verb.form, words);
            if (match.matches)
            {
                return {.verb = &verb, .arguments = std::move(match.arguments)};
            }
            if (match.accepted > longest)
            {
                longest = match.accepted;
                expected.clear();
            }
            if (match.accepted == longest && expected.find(match.expected) == std::string::npos)
            {
                expected += (expected.empty() ? "" : " or ") + match.expected;
            }
        }
    }
    return {.error = Complaint(expected, longest, words)};
}
} // namespace sim
