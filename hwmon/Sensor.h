// One sensor of the board: its definition, its state, and the rules by which readings move the state.
// Main loop only.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

class TiXmlElement;

// Named register values of a board.
using BoardRegisterMap = std::map<std::string, std::int32_t>;

enum class SensorType
{
    Unknown = 0,
    Voltage = 1,
    Temperature = 2,
    FanSpeed = 3,
};

SensorType TypeOfSensorId(int id);
const char* SensorTypeName(SensorType type);

struct SensorDef
{
    // 0 in either: nothing seen since the last reset.
    std::int32_t highestSeen = 0;
    std::int32_t lowestSeen = 0;

    std::int32_t current = 0;
    std::int32_t max = 0;
    std::int32_t min = 0;
    bool changed = true; // has news for the next status document
    bool alarm = false;
    bool event = true; // an alarm transition not yet reported; at birth the state as such
    SensorType type = SensorType::Unknown;
    std::int32_t id = 0;
    std::string label;
    double conversion = 0;
    bool limitsWritten = false;                 // the chip's limit registers hold this sensor's limits
    std::optional<std::uint32_t> firstRegister; // bank in the high byte
    std::optional<std::uint32_t> width;         // registers to read
    std::optional<std::uint32_t> ignore;        // raw value of a channel that is not fitted
};

// Takes the value into the range seen; true when the range grew.
bool WidenRange(SensorDef& sensor, int value);

void RecordReading(SensorDef& sensor, int value);

// The alarm state as the chip reports it, after the reading of the same poll.
void ApplyAlarmBit(SensorDef& sensor, bool bit);

// Out of alarm, with a range that starts anew at the current value.
void ClearAlarm(SensorDef& sensor);

// Software comparison: a limit of 0 is none, a value equal to a limit is within.
bool IsOutsideLimits(const SensorDef& sensor, int value);

// Element for a document; null when there is nothing to tell. A delta element with "Alarm" uses the news up.
// `utcSeconds` is the time it carries.
std::unique_ptr<TiXmlElement> CreateSensorElement(SensorDef& sensor, bool full, bool suppressZero,
                                                  std::int64_t utcSeconds);
