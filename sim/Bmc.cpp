#include "sim/Bmc.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

namespace sim
{
namespace
{
// One step of the converter: a degree, and 100 rpm of a counter with one byte.
std::int64_t StepOf(BmcSensorKind kind)
{
    switch (kind)
    {
    case BmcSensorKind::Temperature:
        return 1'000;
    case BmcSensorKind::Fan:
        return 100'000;
    case BmcSensorKind::Voltage:
    case BmcSensorKind::Discrete:
        break;
    }
    return 0;
}

// A change every 15 s; the length of the name keeps the sensors from moving in step.
std::int64_t Wander(const BmcSensorSpec& spec, SimTime now)
{
    constexpr auto kWander = std::to_array<int>({0, 1, 1, 0, 0, -1, 0});
    const auto slot = now / std::chrono::seconds{15} + static_cast<std::int64_t>(spec.name.size());
    return kWander[static_cast<std::size_t>(slot) % kWander.size()] * StepOf(spec.kind);
}

bool IsCritical(const BmcSensorSpec& spec, std::int64_t value)
{
    return (spec.lowerCritical && value <= *spec.lowerCritical) ||
           (spec.upperCritical && value >= *spec.upperCritical);
}
} // namespace

CSimBmc::CSimBmc(const std::vector<BmcSensorSpec>& sensors)
{
    for (const BmcSensorSpec& spec : sensors)
    {
        m_sensors.push_back({.spec = spec, .isOn = spec.isOn});
    }
}

const BmcSensor* CSimBmc::Find(std::string_view name) const
{
    const auto sensor = std::find_if(m_sensors.begin(), m_sensors.end(),
                                     [name](const BmcSensor& row) { return row.spec.name == name; });
    return sensor == m_sensors.end() ? nullptr : &*sensor;
}

BmcReading CSimBmc::Read(const BmcSensor& sensor, SimTime now) const
{
    if (!sensor.isOn)
    {
        return {.value = std::nullopt, .state = "ns"};
    }
    const std::int64_t value = sensor.value.value_or(sensor.spec.restValue + Wander(sensor.spec, now));
    const char* const byLimits = IsCritical(sensor.spec, value) ? "cr" : "ok";
    return {.value = value, .state = sensor.state.empty() ? byLimits : sensor.state};
}

void CSimBmc::SetOn(std::string_view name, bool on)
{
    Sensor(name).isOn = on;
}

void CSimBmc::SetValue(std::string_view name, std::int64_t value)
{
    BmcSensor& sensor = Sensor(name);
    sensor.value = value;
    sensor.state.clear();
}

void CSimBmc::SetState(std::string_view name, const std::string& state)
{
    Sensor(name).state = state;
}

BmcSensor& CSimBmc::Sensor(std::string_view name)
{
    return const_cast<BmcSensor&>(*std::as_const(*this).Find(name));
}
} // namespace sim
