// The storcli client: each command a pure parser (exit code and JSON text in, record out) and a thin runner.
// Failures are texts in a record's `error`, never exceptions; a member that an answer lacks leaves its field
// empty. The runners block until the tool has ended, except StartCreateVolume; main loop only.
#pragma once

#include "raid/RaidUnit.h"

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tq::ipc
{
class client;
}

// A drive of the controller's own list, with its place in the topology.
struct StorcliPhysicalDrive
{
    std::string name; // "/c0/e252/s3"
    std::int32_t did = 0;
    std::optional<std::int32_t> driveGroup = {};
    std::optional<std::int32_t> array = {};
    std::optional<std::int32_t> row = {};
    std::optional<std::int32_t> raidLevel = {}; // of its drive group: 1, 5 or 6
};

struct StorcliControllerInfo
{
    std::string error = {};
    std::string name = {};
    std::string serialNumber = {};
    std::string model = {};
    std::string driverVersion = {};
    std::string firmwareVersion = {};
    bool supportsJbod = false;
    bool autoRebuild = false;
    std::int32_t spinupDelay = 0;                          // seconds, 0 when the tool gives none
    std::int32_t numSlots = 0;                             // of the enclosure with the most
    std::map<std::int32_t, std::int32_t> driveGroups = {}; // drive group -> RAID level 1, 5 or 6
    std::vector<StorcliPhysicalDrive> drives = {};
};

struct StorcliVolume
{
    std::string name; // "/c0/v" and the number of the virtual drive
    std::int32_t dg = -1;
    std::int32_t vd = -1;
    std::int32_t raidLevel = 0;
    std::int32_t sizeGB = 0;
    std::string state;
    std::optional<RaidTask> task;
};

struct StorcliVolumes
{
    std::string error = {};
    std::vector<StorcliVolume> volumes = {};
};

struct StorcliDisk
{
    std::string name; // "/c0/e252/s3"
    std::int32_t did = -1;
    std::int32_t slot = -1;
    std::optional<std::int32_t> dg;
    bool foreign = false;
    std::optional<std::int32_t> sizeGB;
    std::string state;
    std::int32_t hotSpare = 0; // 0 none, 1 "DHS", 2 "GHS", 3 "HSP"
    bool unconfiguredGood = false;
    std::string serialNumber; // as printed, padded
    std::string model;
    std::string firmwareVersion;
    std::string linkSpeed;
    std::int32_t mediaErrors = 0;
    std::int32_t otherErrors = 0;
    std::int32_t predictiveFailures = 0;
    bool smartAlert = false;
    std::optional<std::int32_t> temperature; // degrees Celsius
};

struct StorcliDisks
{
    std::string error = {};
    std::vector<StorcliDisk> disks = {};
};

// A drive's SMART data as the drive returns it.
inline constexpr std::size_t kSmartDataSize = 512;
using StorcliSmartData = std::array<std::uint8_t, kSmartDataSize>;

struct StorcliSmart
{
    std::string error = {};
    std::map<std::string, StorcliSmartData> byDisk = {}; // by the disk's name
};

// The parsers.
StorcliControllerInfo ParseControllerInfo(int controllerExitCode, const std::string& controllerOutput,
                                          int enclosureExitCode, const std::string& enclosureOutput);
StorcliVolumes ParseVolumesInfo(int exitCode, const std::string& output);
StorcliDisks ParseDisksInfo(int exitCode, const std::string& output);
StorcliSmart ParseDisksSmartInfo(int exitCode, const std::string& output);

// The error of a command that changes something; empty on success.
std::string ParseStorcliChange(int exitCode, const std::string& output);

// The runners.
StorcliControllerInfo ExecuteControllerInfo();
StorcliVolumes ExecuteVolumesInfo();
StorcliDisks ExecuteDisksInfo();
StorcliSmart ExecuteDisksSmartInfo();

// `disks`: names in the form "252:3". Does not wait; never null.
std::shared_ptr<tq::ipc::client> StartStorcliCreateVolume(std::int32_t raidLevel,
                                                          const std::vector<std::string>& disks);

// The error, empty on success.
std::string ExecuteConfigureCache(const std::string& volumeName);

// Dedicated to `driveGroup`, or global when it is kNoDriveGroup.
inline constexpr std::int32_t kNoDriveGroup = -1;
std::string ExecuteAddHotspare(const std::string& diskName, std::int32_t driveGroup);
std::string ExecuteDeleteHotspare(const std::string& diskName);
