#include "sim/ChipVerbs.h"

#include "sim/Machine.h"

#include <array>
#include <string_view>

namespace sim
{
namespace
{
std::string CheckChip(const Machine& machine, const Arguments&)
{
    return machine.superIo ? "" : "no Super I/O chip in this appliance";
}

std::string CheckChannel(const Machine& machine, const Arguments& arguments, Quantity quantity,
                         const char* name)
{
    std::string error = CheckChip(machine, arguments);
    if (error.empty() && arguments[0].number > machine.superIo->ChannelCount(quantity))
    {
        error = "the chip has " + std::to_string(machine.superIo->ChannelCount(quantity)) + " " + name;
    }
    return error;
}

std::string CheckVoltage(const Machine& machine, const Arguments& arguments)
{
    return CheckChannel(machine, arguments, Quantity::Voltage, "voltages");
}

std::string CheckTemperature(const Machine& machine, const Arguments& arguments)
{
    return CheckChannel(machine, arguments, Quantity::Temperature, "temperatures");
}

std::string CheckFan(const Machine& machine, const Arguments& arguments)
{
    return CheckChannel(machine, arguments, Quantity::Fan, "fans");
}

// Arguments: channel; value, 0 without one; time, at once without one. Pre: one of the checks has passed.
template <Quantity Kind>
void Move(Machine& machine, const Arguments& arguments, SimTime now)
{
    const auto value = arguments.size() > 1 ? static_cast<int>(arguments[1].number) : 0;
    const SimTime length{arguments.size() > 2 ? arguments[2].number : 0};
    machine.superIo->SetValue(Kind, static_cast<int>(arguments[0].number), value, length, now);
}

void SetFault(Machine& machine, const Arguments& arguments, SimTime)
{
    const std::string_view word = arguments[0].text;
    if (word == "dead")
    {
        machine.superIo->SetFault(ChipFault::Dead);
    }
    else if (word == "random")
    {
        machine.superIo->SetFault(ChipFault::Random);
    }
    else
    {
        machine.superIo->SetFault(ChipFault::None);
    }
}

void SetStuck(Machine& machine, const Arguments& arguments, SimTime)
{
    const auto bit = static_cast<int>(arguments[0].number);
    machine.superIo->SetFault(ChipFault::Stuck, bit, arguments[1].text == "high");
}

void SetPorts(Machine& machine, const Arguments& arguments, SimTime)
{
    machine.RefusePorts(arguments[0].text == "refuse");
}

// Voltages in millivolts at the chip's pin, up to more than any step can show.
constexpr auto kVerbs = std::to_array<Verb>({
    {"chip voltage 1..16 value 0..5000", &CheckVoltage, &Move<Quantity::Voltage>},
    {"chip temperature 1..16 value -128..127", &CheckTemperature, &Move<Quantity::Temperature>},
    {"chip temperature 1..16 warm -128..127 over TIME", &CheckTemperature, &Move<Quantity::Temperature>},
    {"chip fan 1..16 value 0..65535", &CheckFan, &Move<Quantity::Fan>},
    {"chip fan 1..16 stop", &CheckFan, &Move<Quantity::Fan>},
    {"chip stuck 0..7 high|low", &CheckChip, &SetStuck},
    {"chip dead|random|ok", &CheckChip, &SetFault},
    {"ports refuse|allow", nullptr, &SetPorts},
});
} // namespace

std::span<const Verb> ChipVerbs()
{
    return kVerbs;
}
} // namespace sim
