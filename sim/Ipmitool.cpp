#include "sim/Ipmitool.h"

#include "sim/Machine.h"

#include <array>
#include <cstdio>
#include <cstdlib>

namespace sim
{
namespace
{
// Every sensor is asked for by itself, over a slow bus.
constexpr std::chrono::milliseconds kTimeForOneSensor{60};
constexpr std::chrono::milliseconds kTimeToFail{20};

// Whole numbers stand alone, others with three digits.
std::string NumberText(std::int64_t thousandths)
{
    if (thousandths % 1'000 == 0)
    {
        return std::to_string(thousandths / 1'000);
    }
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.3f", static_cast<double>(thousandths) / 1'000);
    return text.data();
}

const char* UnitOf(BmcSensorKind kind)
{
    switch (kind)
    {
    case BmcSensorKind::Temperature:
        return "degrees C";
    case BmcSensorKind::Fan:
        return "RPM";
    case BmcSensorKind::Voltage:
        return "Volts";
    case BmcSensorKind::Discrete:
        break;
    }
    return "";
}

// A discrete sensor has its byte of states in the place of the value, and no unit: state and entity move up.
std::string Line(const CSimBmc& bmc, const BmcSensor& sensor, SimTime now)
{
    const BmcReading reading = bmc.Read(sensor, now);
    if (!reading.value)
    {
        return sensor.spec.name + ",,," + reading.state + "\n";
    }
    if (sensor.spec.kind == BmcSensorKind::Discrete)
    {
        std::array<char, 16> states{};
        std::snprintf(states.data(), states.size(), "%02Xh", static_cast<unsigned>(*reading.value));
        return sensor.spec.name + "," + states.data() + "," + reading.state + "," + sensor.spec.entity +
               ",\n";
    }
    return sensor.spec.name + "," + NumberText(*reading.value) + "," + UnitOf(sensor.spec.kind) + "," +
           reading.state + "\n";
}
} // namespace

bool HasIpmitool(const Machine& machine)
{
    return machine.bmc.IsFitted();
}

ToolAnswer AnswerIpmitool(const Machine& machine, const std::vector<std::string>& argv, SimTime now)
{
    if (argv != std::vector<std::string>{"ipmitool", "-c", "sdr"})
    {
        return {.standardOutput = {},
                .exitCode = EXIT_FAILURE,
                .duration = kTimeToFail,
                .standardError = "ipmitool: only \"-c sdr\" can be simulated\n"};
    }
    if (!machine.bmc.IsThere())
    {
        return {.standardOutput = {},
                .exitCode = EXIT_FAILURE,
                .duration = kTimeToFail,
                .standardError = "Could not open device at /dev/ipmi0: No such file or directory\n"};
    }
    ToolAnswer answer;
    for (const BmcSensor& sensor : machine.bmc.Sensors())
    {
        answer.standardOutput += Line(machine.bmc, sensor, now);
        answer.duration += kTimeForOneSensor;
    }
    return answer;
}
} // namespace sim
