// The sensors of the board's management controller: what ipmitool printed about them, the state that is kept
// of each, and the two documents that tell the host. No process, no clock, no file.
#pragma once

#include "frame/Xml.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Sensors kept of one group. Identifiers of the temperatures end where those of the fans begin; sensors
// beyond that are ignored, so that a broken tool cannot fill the memory with invented names.
inline constexpr std::size_t kMaxIpmiSensors = 1000;

// One line "NAME,VALUE,UNIT,STATE" with a whole number as value.
struct IpmiReading
{
    std::string name; // may hold commas
    std::string value;
    std::string unit;
    std::string state;
};

struct IpmiReport
{
    std::vector<IpmiReading> readings; // of every unit, in the order of the lines
    // The run ended well and its last line was a reading. Only the last line counts: a discrete sensor or one
    // without a value among the others is merely no reading.
    bool isComplete = false;
};

// The output of "ipmitool -c sdr". Costs time in proportion to the length, also for a single long line.
IpmiReport ParseIpmiReport(int exitCode, const std::string& output);

struct IpmiSensor
{
    std::uint32_t identifier = 0;
    std::string name;
    std::string value; // digits
    std::string state;
    bool changed = true;  // value or state differ from what the host was told
    bool event = true;    // the alarm came or went since the host was told
    bool reported = true; // the last report had it
};

bool IsAlarmed(const IpmiSensor& sensor);

struct IpmiSensorGroup
{
    const char* unit;     // as ipmitool prints it
    const char* typeName; // element of the documents
    int typeCode;
    std::uint32_t identifierBase;
    std::vector<IpmiSensor> sensors{}; // in the order of their discovery; none is ever removed
};

struct IpmiSensors
{
    std::array<IpmiSensorGroup, 2> groups{{
        {.unit = "degrees C", .typeName = "Temperature", .typeCode = 2, .identifierBase = 2000},
        {.unit = "RPM", .typeName = "FanSpeed", .typeCode = 3, .identifierBase = 3000},
    }};
};

std::size_t CountSensors(const IpmiSensors& sensors);

// Brings the sensors to the state of the report and logs what was discovered or changed. A sensor that the
// report does not have becomes "missing", every sensor does when the report is not complete.
void ApplyReport(IpmiSensors& sensors, const IpmiReport& report);

// Every sensor, for the host's configuration and for the file.
CXmlDocument BuildFullDocument(const IpmiSensors& sensors, bool enabled);

// The changed sensors; absent when there is none. `now` in seconds since 1970-01-01 UTC.
std::optional<CXmlDocument> BuildChangeDocument(const IpmiSensors& sensors, std::int64_t now);

// The host has been told: nothing counts as changed any more.
void ClearChanges(IpmiSensors& sensors);
