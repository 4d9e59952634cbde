// What the plug-in runs on: the record filled from the output of scripts/sysinfo.sh.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

class TiXmlElement;

// Every text is the whole value as the script printed it, untrimmed. The maps and the processor list describe
// the last successful run; a scalar keeps its last value until a run prints it again.
struct SystemInfo
{
    std::string motherboardModel;
    std::string motherboardVendor;
    std::string firmwareVendor;
    std::string firmwareVersion;
    std::string operatingSystem;
    std::string deployKeyVersion;
    std::string deployKeyJobNumber;
    std::string deployKeyBranchName;
    std::string baseImageVersion;
    std::string memory;
    std::string swap;
    std::vector<std::string> processors;
    std::map<std::string, std::int32_t> driveSlots;       // serial number -> slot
    std::map<std::string, std::string> drivesNeedingPrep; // serial number -> why
    std::map<std::string, std::set<std::string>>
        mountPoints;                              // serial number or RAID volume name -> mount paths
    std::map<std::string, bool> removableDevices; // "/dev/" + drive name -> true
};

inline constexpr const char* kSysInfoScript = "scripts/sysinfo.sh";

// Runs the script and parses its output. A failed run is logged and leaves the record as it was. Blocks while
// the script runs; main loop only.
void RunSysInfo(SystemInfo& info);

// `output`: key=value lines. Lines without "=" and unknown keys are skipped.
void ParseSysInfo(SystemInfo& info, const std::string& output);

// Appends the "SystemInfo" element and returns it, owned by `parent`.
TiXmlElement& AddSystemInfoElement(TiXmlElement& parent, const SystemInfo& info);
