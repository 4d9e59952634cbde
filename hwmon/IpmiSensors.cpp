#include "hwmon/IpmiSensors.h"

#include "frame/HostMessage.h"
#include "frame/Log.h"
#include "frame/Regex.h"
#include "frame/Text.h"

#include <tinyxml.h>

#include <algorithm>

namespace
{
// Greedy: of all ways to read a line, the one with the longest name counts.
constexpr const char* kReadingPattern = "(.+),([0-9]+),(.+),(.+)";
constexpr std::ptrdiff_t kFewestCommas = 3;

constexpr const char* kNormalState = "ok";
constexpr const char* kMissingState = "missing";

constexpr int kStatusEnabled = 0;
constexpr int kStatusDisabled = 2;
constexpr int kNoLimit = -1; // the board's own limits are not asked for

std::optional<IpmiReading> ParseReading(const std::string& line)
{
    // Spares the engine the lines of tables and messages.
    if (std::count(line.begin(), line.end(), ',') < kFewestCommas)
    {
        return std::nullopt;
    }
    const auto groups = MatchWhole(line, kReadingPattern);
    if (!groups)
    {
        return std::nullopt;
    }
    return IpmiReading{
        .name = groups->at(1), .value = groups->at(2), .unit = groups->at(3), .state = groups->at(4)};
}

std::string Describe(const IpmiSensorGroup& group, const IpmiSensor& sensor)
{
    return std::string("type[") + group.typeName + "] id[" + std::to_string(sensor.identifier) + "] name[" +
           sensor.name + "] value[" + sensor.value + "] state[" + sensor.state + "] alarmed[" +
           (IsAlarmed(sensor) ? "1" : "0") + "]";
}

void Update(const IpmiSensorGroup& group, IpmiSensor& sensor, const std::string& value,
            const std::string& state)
{
    const bool differs = sensor.value != value || sensor.state != state;
    const bool wasAlarmed = IsAlarmed(sensor);
    sensor.value = value;
    sensor.state = state;
    const bool flipped = wasAlarmed != IsAlarmed(sensor);
    sensor.changed |= differs;
    sensor.event |= flipped;
    if (flipped)
    {
        Log(LogWarning, "IPMI: %s", Describe(group, sensor).c_str());
    }
    else if (differs)
    {
        Log(LogDebug, "IPMI: DEBUG UPDATE %s", Describe(group, sensor).c_str());
    }
}

void Discover(IpmiSensorGroup& group, const IpmiReading& reading)
{
    if (group.sensors.size() >= kMaxIpmiSensors)
    {
        return;
    }
    const auto number = static_cast<std::uint32_t>(group.sensors.size()) + 1;
    group.sensors.push_back({.identifier = group.identifierBase + number,
                             .name = reading.name,
                             .value = reading.value,
                             .state = reading.state});
    Log(LogWarning, "IPMI: discovered %s", Describe(group, group.sensors.back()).c_str());
}

void ApplyReading(IpmiSensorGroup& group, const IpmiReading& reading)
{
    const auto sensor = std::ranges::find(group.sensors, reading.name, &IpmiSensor::name);
    if (sensor == group.sensors.end())
    {
        Discover(group, reading);
        return;
    }
    sensor->reported = true;
    Update(group, *sensor, reading.value, reading.state);
}

TiXmlElement& StartSensors(CXmlDocument& document, std::optional<int> delta)
{
    TiXmlElement& root = StartDocument(document);
    if (delta)
    {
        root.SetAttribute("Delta", *delta);
    }
    TiXmlElement& parent = AddChild(root, "Sensors");
    parent.SetAttribute("ID", kPluginElementId);
    return parent;
}

TiXmlElement& AddSensor(TiXmlElement& parent, const IpmiSensorGroup& group, const IpmiSensor& sensor)
{
    TiXmlElement& element = AddChild(parent, group.typeName);
    element.SetAttribute("ID", static_cast<int>(sensor.identifier));
    element.SetAttribute("Label", sensor.name + " (" + sensor.state + ")");
    element.SetAttribute("Value", sensor.value);
    return element;
}
} // namespace

IpmiReport ParseIpmiReport(int exitCode, const std::string& output)
{
    IpmiReport report;
    bool endsWithReading = false;
    for (const std::string& line : SplitLines(output))
    {
        auto reading = ParseReading(line);
        endsWithReading = reading.has_value();
        if (reading)
        {
            report.readings.push_back(*std::move(reading));
        }
    }
    report.isComplete = exitCode == 0 && endsWithReading;
    return report;
}

bool IsAlarmed(const IpmiSensor& sensor)
{
    return sensor.state != kNormalState;
}

std::size_t CountSensors(const IpmiSensors& sensors)
{
    std::size_t count = 0;
    for (const IpmiSensorGroup& group : sensors.groups)
    {
        count += group.sensors.size();
    }
    return count;
}

void ApplyReport(IpmiSensors& sensors, const IpmiReport& report)
{
    for (IpmiSensorGroup& group : sensors.groups)
    {
        for (IpmiSensor& sensor : group.sensors)
        {
            sensor.reported = false;
        }
    }
    for (const IpmiReading& reading : report.readings)
    {
        for (IpmiSensorGroup& group : sensors.groups)
        {
            if (reading.unit == group.unit)
            {
                ApplyReading(group, reading);
            }
        }
    }
    // Behind all lines, so that a run that did not end well leaves no sensor in good order, whatever it said.
    for (IpmiSensorGroup& group : sensors.groups)
    {
        for (IpmiSensor& sensor : group.sensors)
        {
            if (!report.isComplete || !sensor.reported)
            {
                Update(group, sensor, sensor.value, kMissingState);
            }
        }
    }
}

CXmlDocument BuildFullDocument(const IpmiSensors& sensors, bool enabled)
{
    CXmlDocument document;
    TiXmlElement& parent = StartSensors(document, 0);
    parent.SetAttribute("Enabled", enabled ? 1 : 0);
    parent.SetAttribute("Status", enabled ? kStatusEnabled : kStatusDisabled);
    for (const IpmiSensorGroup& group : sensors.groups)
    {
        for (const IpmiSensor& sensor : group.sensors)
        {
            TiXmlElement& element = AddSensor(parent, group, sensor);
            element.SetAttribute("Type", group.typeCode);
            element.SetAttribute("Max", kNoLimit);
            element.SetAttribute("Min", kNoLimit);
        }
    }
    return document;
}

std::optional<CXmlDocument> BuildChangeDocument(const IpmiSensors& sensors, std::int64_t now)
{
    CXmlDocument document;
    TiXmlElement& parent = StartSensors(document, std::nullopt);
    for (const IpmiSensorGroup& group : sensors.groups)
    {
        for (const IpmiSensor& sensor : group.sensors)
        {
            if (!sensor.changed)
            {
                continue;
            }
            TiXmlElement& element = AddSensor(parent, group, sensor);
            if (sensor.event)
            {
                element.SetAttribute("Alarm", IsAlarmed(sensor) ? 1 : 0);
                SetWideAttribute(element, "Time", now);
            }
        }
    }
    return parent.NoChildren() ? std::nullopt : std::optional(std::move(document));
}

void ClearChanges(IpmiSensors& sensors)
{
    for (IpmiSensorGroup& group : sensors.groups)
    {
        for (IpmiSensor& sensor : group.sensors)
        {
            sensor.changed = false;
            sensor.event = false;
        }
    }
}
