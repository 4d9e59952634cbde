#include "sim/SelfTestVerbs.h"

#include "sim/Machine.h"

#include <array>
#include <cstddef>

namespace sim
{
namespace
{
// Index is the argument that holds the device.
template <std::size_t Index>
std::string CheckDisk(const Machine& machine, const Arguments& arguments)
{
    const std::string& device = arguments[Index].text;
    return machine.FindDisk(device) != nullptr ? "" : "no " + device + " in this appliance";
}

std::string CheckSelfTest(const Machine& machine, const Arguments& arguments)
{
    std::string error = CheckDisk<0>(machine, arguments);
    if (error.empty() && !machine.FindDisk(arguments[0].text)->SelfTest().IsSupported())
    {
        error = arguments[0].text + " has no self-tests";
    }
    return error;
}

std::string CheckFailingBlock(const Machine& machine, const Arguments& arguments)
{
    std::string error = CheckSelfTest(machine, arguments);
    if (error.empty() && arguments[1].number >= machine.FindDisk(arguments[0].text)->Blocks())
    {
        error = arguments[0].text + " has no block " + arguments[1].text;
    }
    return error;
}

CSelfTest& SelfTest(Machine& machine, const Arguments& arguments)
{
    return machine.FindDisk(arguments[0].text)->SelfTest();
}

void SetFate(Machine& machine, const Arguments& arguments, SimTime)
{
    SelfTest(machine, arguments)
        .SetFate(arguments[1].text == "sticks" ? SelfTestFate::Stick : SelfTestFate::Pass);
}

void SetFailing(Machine& machine, const Arguments& arguments, SimTime)
{
    SelfTest(machine, arguments).SetFate(SelfTestFate::Fail, arguments[1].number);
}

void SetSupported(Machine& machine, const Arguments& arguments, SimTime)
{
    SelfTest(machine, arguments).SetSupported(false);
}

void FailPrep(Machine& machine, const Arguments& arguments, SimTime)
{
    const std::string& stage = arguments[1].text;
    machine.FindDisk(arguments[0].text)
        ->FailNextPrep(stage == "partition" ? PrepStage::Partition
                       : stage == "format"  ? PrepStage::Format
                                            : PrepStage::Mount);
}

// The request is the verb's own words, as the host takes them from a person.
template <const auto& Name>
void Request(Machine& machine, const Arguments& arguments, SimTime)
{
    std::string line = Name;
    for (const Argument& argument : arguments)
    {
        line += " " + argument.text;
    }
    machine.requests.push_back(line);
}

constexpr char kTest[] = "test";
constexpr char kPrep[] = "prep";
constexpr char kSchedule[] = "set-schedule";

// LBAs have 48 bits.
constexpr auto kVerbs = std::to_array<Verb>({
    {"disk DEVICE selftest passes|sticks", &CheckSelfTest, &SetFate},
    {"disk DEVICE selftest unsupported", &CheckSelfTest, &SetSupported},
    {"disk DEVICE selftest fails at 0..281474976710655", &CheckFailingBlock, &SetFailing},
    {"disk DEVICE prep fails partition|format|mount", &CheckDisk<0>, &FailPrep},
    {"request test short|long|stop|report", nullptr, &Request<kTest>},
    {"request test short|long|stop|report DEVICE", &CheckDisk<1>, &Request<kTest>},
    {"request prep DEVICE", &CheckDisk<0>, &Request<kPrep>},
    {"request set-schedule short|long TEXT", nullptr, &Request<kSchedule>},
});
} // namespace

std::span<const Verb> SelfTestVerbs()
{
    return kVerbs;
}
} // namespace sim
