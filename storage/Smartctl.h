// The smartctl client: three commands, each a pure parser (exit code and JSON text in, record out) and a thin
// runner. Failures are texts in the record's `error`, never exceptions. The runners block until the tool has
// ended; main loop only.
#pragma once

#include "storage/ToolVersion.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

enum class SmartctlDeviceType : std::int32_t
{
    Invalid = 0,
    Sat = 1,
    Ata = 2,
    Scsi = 3,
    Nvme = 4,
    MegaRaid = 5, // pseudo-device through which an LSI controller's drives are reached
};

struct SmartctlDevice
{
    std::string name; // device path as smartctl reports it
    SmartctlDeviceType type = SmartctlDeviceType::Invalid;
};

struct SmartctlScanResult
{
    std::string error = {};
    std::vector<SmartctlDevice> devices = {};
};

// One row of the ATA attribute table, or what stands for it on an NVMe disk.
struct SmartctlAttribute
{
    std::int32_t id = 0;
    std::string name;
    std::int32_t flags = 0;
    std::int32_t value = 0; // normalised current value
    std::int32_t worst = 0;
    std::int32_t thresh = -1; // -1: the row has none
    std::int32_t raw = 0;     // low 32 bits
};

struct SmartctlDiskInfo
{
    std::string error = {};
    std::string warnings = {};  // exit-status warnings joined with ", "
    std::string rawOutput = {}; // whole output, kept only when the output check failed
    std::string model = {};
    std::string serial = {};
    std::string firmware = {};
    std::string vendor = {};
    std::string product = {};
    bool healthPassed = false;                    // false when smartctl reported the disk as failing
    std::optional<std::int32_t> temperature = {}; // degrees Celsius
    std::vector<SmartctlAttribute> attributes = {};
};

// Text that callers look for to decide on another try.
inline constexpr const char* kSmartctlInvalidJson = "smartctl invalid json";

// `exitCode` is the process's; the status word inside the JSON is read from `output`.
SmartctlScanResult ParseScan(int exitCode, const std::string& output);
SmartctlDiskInfo ParseDiskInfo(int exitCode, const std::string& output);
ToolVersion ParseVersion(int exitCode, const std::string& output);

SmartctlScanResult ExecuteScan();

// `deviceType` is empty for a plain disk, else the text a controller supplies for a drive behind it.
SmartctlDiskInfo ExecuteDiskInfo(const std::string& device, const std::string& deviceType);
ToolVersion ExecuteSmartctlVersion();
