#include "hwmon/Sensor.h"

#include "frame/Xml.h"

#include <tinyxml.h>

SensorType TypeOfSensorId(int id)
{
    switch (id / 1000)
    {
    case 1:
        return SensorType::Voltage;
    case 2:
        return SensorType::Temperature;
    case 3:
        return SensorType::FanSpeed;
    default:
        return SensorType::Unknown;
    }
}

const char* SensorTypeName(SensorType type)
{
    switch (type)
    {
    case SensorType::Voltage:
        return "Voltage";
    case SensorType::Temperature:
        return "Temperature";
    case SensorType::FanSpeed:
        return "FanSpeed";
    case SensorType::Unknown:
        break;
    }
    return "Unknown";
}

bool WidenRange(SensorDef& sensor, int value)
{
    const int lowest = sensor.lowestSeen;
    const int highest = sensor.highestSeen;
    if (lowest == 0 || value < lowest)
    {
        sensor.lowestSeen = value;
    }
    if (highest == 0 || value > highest)
    {
        sensor.highestSeen = value;
    }
    return sensor.lowestSeen != lowest || sensor.highestSeen != highest;
}

void RecordReading(SensorDef& sensor, int value)
{
    sensor.changed |= value != sensor.current;
    sensor.current = value;
    WidenRange(sensor, value);
}

void ApplyAlarmBit(SensorDef& sensor, bool bit)
{
    if (sensor.alarm && !bit)
    {
        ClearAlarm(sensor);
    }
    else if (sensor.alarm != bit)
    {
        sensor.alarm = bit;
        sensor.event = true;
    }
    sensor.changed |= sensor.event;
}

void ClearAlarm(SensorDef& sensor)
{
    sensor.alarm = false;
    sensor.event = true;
    sensor.changed = true;
    sensor.lowestSeen = sensor.current;
    sensor.highestSeen = sensor.current;
}

bool IsOutsideLimits(const SensorDef& sensor, int value)
{
    return (sensor.max != 0 && value > sensor.max) || (sensor.min != 0 && value < sensor.min);
}

std::unique_ptr<TiXmlElement> CreateSensorElement(SensorDef& sensor, bool full, bool suppressZero,
                                                  std::int64_t utcSeconds)
{
    if ((suppressZero && sensor.current == 0) || (!full && !sensor.changed))
    {
        return nullptr;
    }
    auto element = std::make_unique<TiXmlElement>(SensorTypeName(sensor.type));
    element->SetAttribute("ID", sensor.id);
    element->SetAttribute("Label", sensor.label);
    element->SetAttribute("Value", sensor.current);
    if (full)
    {
        element->SetAttribute("Type", static_cast<int>(sensor.type));
        if (sensor.type != SensorType::FanSpeed)
        {
            element->SetAttribute("Max", sensor.max);
        }
        if (sensor.type != SensorType::Temperature)
        {
            element->SetAttribute("Min", sensor.min);
        }
    }
    else if (sensor.event)
    {
        element->SetAttribute("Alarm", sensor.alarm ? 1 : 0);
        SetWideAttribute(*element, "Time", utcSeconds);
        element->SetAttribute("Message", sensor.label + (sensor.alarm ? " value exceeds threshold"
                                                                      : " value is in normal range"));
        sensor.event = false;
        sensor.changed = false;
    }
    return element;
}
