// The parts of a JSON report of smartctl.
#pragma once

#include "sim/JsonWriter.h"
#include "sim/SimDisk.h"

#include <string>
#include <vector>

namespace sim
{
// The part every answer begins with. It leaves the outermost object open.
struct SmartctlHeader
{
    std::vector<std::string> argv;
    std::vector<std::string> errors;
    bool namesDatabase = false; // whether the drive database was looked at
    int exitStatus = 0;
};

// How a scan and a report name a device.
struct SmartctlName
{
    std::string device; // "/dev/sda"
    std::string info;   // the same with what was found out about it
    std::string type;
    std::string protocol;
};

struct SmartctlSections
{
    bool identity = false;
    bool health = false;
    bool attributes = false;
    bool selfTests = false;
};

void WriteHeader(CJsonWriter& json, const SmartctlHeader& header);
void WriteLocalTime(CJsonWriter& json, SimTime now);
// The device as an object of its four members: the scan and the report name it alike.
void WriteDevice(CJsonWriter& json, std::string_view key, const SmartctlName& name);
void WriteReport(CJsonWriter& json, const SmartctlName& name, const CSimDisk& disk,
                 const SmartctlSections& sections, SimTime now);

// Of a disk that hangs on the board itself.
SmartctlName PlainName(const DiskSpec& disk);

// The two parts about an ATA drive's self-tests.
void WriteSelfTestStatus(CJsonWriter& json, const CSimDisk& disk, SimTime now);
void WriteSelfTestLog(CJsonWriter& json, const CSimDisk& disk, SimTime now);

// Bits of the exit status that the disk's health gives in these sections.
int HealthStatusBits(const CSimDisk& disk, const SmartctlSections& sections, SimTime now);
} // namespace sim
