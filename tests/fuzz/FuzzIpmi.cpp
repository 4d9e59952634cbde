// The output of ipmitool.
#include "hwmon/IpmiSensors.h"
#include "tests/fuzz/Fuzz.h"

#include <tinyxml.h>

#include <algorithm>

namespace
{
// A reading gives back a line of the text, and its number is one.
void CheckReadings(const IpmiReport& report, const std::string& text)
{
    for (const IpmiReading& reading : report.readings)
    {
        const std::string line =
            reading.name + "," + reading.value + "," + reading.unit + "," + reading.state;
        Require(text.find(line) != std::string::npos && line.find('\n') == std::string::npos);
        Require(!reading.name.empty() && !reading.unit.empty() && !reading.state.empty());
        Require(!reading.value.empty() && reading.value.find_first_not_of("0123456789") == std::string::npos);
        Require(reading.state.find(',') >= reading.state.size() - 1); // only as the line's last character
    }
}

void CheckSensors(const IpmiSensors& sensors, const IpmiReport& report)
{
    for (const IpmiSensorGroup& group : sensors.groups)
    {
        Require(group.sensors.size() <= kMaxIpmiSensors);
        for (std::size_t i = 0; i < group.sensors.size(); ++i)
        {
            const IpmiSensor& sensor = group.sensors[i];
            Require(sensor.identifier == group.identifierBase + i + 1);
            Require(report.isComplete || sensor.state == "missing");
            Require(std::ranges::count(group.sensors, sensor.name, &IpmiSensor::name) == 1);
        }
    }
}

// What is written can be read: odd bytes in a name must not make the kept file unreadable.
void CheckDocument(const IpmiSensors& sensors)
{
    const CXmlDocument document = BuildFullDocument(sensors, true);
    for (const std::string& text : {PrintCompact(document), PrintIndented(document)})
    {
        CXmlDocument again;
        Require(again.Parse(text));
        const TiXmlElement* parent = again.Root("zDVR")->FirstChildElement("Sensors");
        Require(IntAttribute(*parent, "Enabled") == 1);
        std::size_t count = 0;
        for (const TiXmlElement* row = parent->FirstChildElement(); row != nullptr;
             row = row->NextSiblingElement())
        {
            ++count;
        }
        Require(count == CountSensors(sensors));
    }
}
} // namespace

// Two runs of the tool: the text up to the first NUL that stands alone in a line, then the rest. The first
// byte is the first run's exit code.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
    {
        return 0;
    }
    const std::string all = Text(data + 1, size - 1);
    const auto [first, second] = Cut(all, std::string_view("\n\0\n", 3));

    IpmiSensors sensors;
    const IpmiReport firstReport = ParseIpmiReport(data[0] % 2, first);
    CheckReadings(firstReport, first);
    ApplyReport(sensors, firstReport);
    CheckSensors(sensors, firstReport);
    const std::size_t discovered = CountSensors(sensors);
    Require(BuildChangeDocument(sensors, 1).has_value() == (discovered != 0));
    ClearChanges(sensors);
    Require(!BuildChangeDocument(sensors, 1));

    const IpmiReport secondReport = ParseIpmiReport(0, second);
    CheckReadings(secondReport, second);
    ApplyReport(sensors, secondReport);
    CheckSensors(sensors, secondReport);
    Require(CountSensors(sensors) >= discovered);
    CheckDocument(sensors);
    return 0;
}
