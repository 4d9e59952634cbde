// Reads smartctl's JSON texts. Pure: no process, no clock. Texts are taken as they come: whatever is missing
// or of another type counts as absent.
#pragma once

#include "tqselftest/DriveState.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tqselftest
{
// A line of the scan.
struct ScannedDevice
{
    std::string name; // "/dev/sda", "/dev/bus/0"
    std::string type; // "scsi", "nvme", "megaraid,8"
};

// Nothing when the text is no answer of smartctl. A machine without disks gives an empty list.
std::optional<std::vector<ScannedDevice>> ParseScan(const std::string& text);

// What smartctl printed for one device: the state, or an error text that says why there is none. Bits 0 and 1
// of `exitCode` (command line, device cannot be opened) mean that nothing was read. Bit 2 stands for a
// command that failed: an error when the state depends on it, unless the drive has no self-tests or no log of
// them, which is told from the lines that "--json=o" adds. The others are findings about the drive, and what
// was read counts.
struct DriveAnswer
{
    std::optional<DriveState> state{};
    std::string error{};
};
DriveAnswer ParseDrive(int exitCode, const std::string& text);

// The messages of an answer, joined by "; ".
std::string ParseMessages(const std::string& text);

// A drive behind a RAID controller, as storcli lists it.
struct RaidDrive
{
    std::string name; // "/c0/e252/s3"
    std::int64_t deviceId = 0;
};

// storcli's "/c0/eall/sall show J"; empty when it lists none.
std::vector<RaidDrive> ParseRaidDrives(const std::string& text);
} // namespace tqselftest
