// The management controller of the simulated board and the sensors it watches.
#pragma once

#include "sim/SimTime.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim
{
enum class BmcSensorKind
{
    Temperature, // degrees Celsius
    Fan,         // revolutions per minute
    Voltage,
    Discrete, // a set of states, no value
};

// A sensor as the board's maker has set it up. Values are in thousandths; the value of a discrete sensor is
// its byte of states.
struct BmcSensorSpec
{
    std::string name;
    BmcSensorKind kind = BmcSensorKind::Temperature;
    std::int64_t restValue = 0;
    std::optional<std::int64_t> lowerCritical{};
    std::optional<std::int64_t> upperCritical{};
    std::string entity{}; // of a discrete sensor: "23.1" is the first chassis
    bool isOn = true;     // a fan socket without a fan is off
};

// What the controller says about one sensor at a moment.
struct BmcReading
{
    std::optional<std::int64_t> value; // absent without reading
    std::string state;                 // "ok", "nc", "cr", "nr"; "ns" without reading
};

struct BmcSensor
{
    BmcSensorSpec spec;
    bool isOn = true;
    std::optional<std::int64_t> value{}; // set by the scenario; absent: around the rest value
    std::string state{};                 // set by the scenario; empty: what the limits say
};

// Not locked: the appliance's mutex guards it.
class CSimBmc
{
public:
    explicit CSimBmc(const std::vector<BmcSensorSpec>& sensors);

    // A board with no sensors has no management controller.
    [[nodiscard]] bool IsFitted() const { return !m_sensors.empty(); }
    // Whether the driver reaches it.
    [[nodiscard]] bool IsThere() const { return m_isThere; }

    // In the order of its repository.
    [[nodiscard]] const std::vector<BmcSensor>& Sensors() const { return m_sensors; }
    // Null when there is none of that name.
    [[nodiscard]] const BmcSensor* Find(std::string_view name) const;

    // A sensor at rest wanders a little; one that the scenario has moved holds exactly what it was given.
    [[nodiscard]] BmcReading Read(const BmcSensor& sensor, SimTime now) const;

    void SetThere(bool there) { m_isThere = there; }
    // The others need a sensor that Find knows.
    void SetOn(std::string_view name, bool on);
    // The limits decide about the state again.
    void SetValue(std::string_view name, std::int64_t value);
    // Holds until the next SetValue.
    void SetState(std::string_view name, const std::string& state);

private:
    BmcSensor& Sensor(std::string_view name);

    std::vector<BmcSensor> m_sensors;
    bool m_isThere = true;
};
} // namespace sim
