// What arcconf tells about the controller, read from three answers: the JSON configuration, the listing of
// drives with their states, and the status of background operations. Pure functions and plain records.
#pragma once

#include "raid/RaidUnit.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// How a drive is addressed in commands: channel and device number. As text "0:4".
struct ArcDriveId
{
    std::int32_t channel = 0;
    std::int32_t device = 0;
    // NOLINTNEXTLINE(modernize-use-nullptr): clang-tidy 14 takes the "0" of <=> for a pointer
    auto operator<=>(const ArcDriveId&) const = default;
};

std::string DriveName(const ArcDriveId& id);

// The first "digits:digits" in the name; absent without one, or when a number does not fit 32 bits.
std::optional<ArcDriveId> ParseDriveName(std::string_view name);

struct ArcLogicalDrive
{
    std::int32_t id = 0;
    std::int32_t raidLevel = 0; // 1, 5 or 6; striped sets of these count as what they stripe
    std::int32_t sizeGB = 0;
    std::string name = {}; // the id in decimal, the volume's name everywhere
    std::string state = {};
    std::optional<std::string> mountPoints = {};
    std::optional<RaidTask> task = {}; // the background operation in progress
    bool operator==(const ArcLogicalDrive&) const = default;
};

struct ArcArray
{
    std::int32_t id = 0;
    std::optional<std::int32_t> logicalDriveId = {}; // of the logical drive on it; absent when it has none
    std::vector<ArcDriveId> drives = {};
    bool operator==(const ArcArray&) const = default;
};

struct ArcHardDrive
{
    std::int32_t connector = 0; // 0 or 1
    ArcDriveId id;
    std::int32_t slot = 0;
    std::string state = "UNKNOWN"; // until the listing tells
    std::string model = {};
    std::string serialNumber = {};
    std::string firmwareLevel = {};
    std::optional<std::int32_t> sizeGB = {};
    std::optional<std::int32_t> rotationalSpeed = {}; // per minute
    std::optional<std::int32_t> temperature = {};     // degrees Celsius
    std::vector<std::string> errorNames = {};         // the error counters that are not 0, in a fixed order
    std::optional<std::int32_t> spareOfArray = {};    // array that this drive is a spare of
    bool operator==(const ArcHardDrive&) const = default;
};

struct ArcConfig
{
    std::string error = {}; // empty on success; nothing else counts otherwise
    std::string serialNumber = {};
    std::string model = {};
    std::string driverVersion = {};
    std::string firmwareVersion = {};
    std::int32_t numPhys = 12; // the tool does not tell; the controllers of these appliances have 12
    bool autoRebuild = true;   // likewise
    std::vector<ArcLogicalDrive> logicalDrives = {};
    std::vector<ArcArray> arrays = {};
    std::vector<ArcHardDrive> hardDrives = {};
    bool operator==(const ArcConfig&) const = default;
};

// The first data volume (RAID level 5 or 6), null without one.
const ArcLogicalDrive* FindDataDrive(const ArcConfig& config);

// Output and exit code of one run of the tool; the text is lent.
struct ArcAnswer
{
    int exitCode = 0;
    std::string_view output;
};

// Error text of an answer, empty on success. The exit code counts only in the text: the tool says in words
// whether it succeeded.
std::string CheckArcconfResponse(const char* label, const ArcAnswer& answer);

// The three answers together; the first error of the three is the result.
ArcConfig ParseControllerInfo(const ArcAnswer& config, const ArcAnswer& listing, const ArcAnswer& tasks);
