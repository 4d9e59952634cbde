// The appliances that can be simulated, as they are when switched on.
#pragma once

#include "sim/Bmc.h"
#include "sim/RaidSpec.h"
#include "sim/SimDisk.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace sim
{
// What the system information script says besides the drives.
struct BoardSpec
{
    std::string vendor;
    std::string model;
    std::string firmwareVendor;
    std::string firmwareVersion;
    std::string operatingSystem;
    std::string baseImageVersion;
    std::string memory;
    std::string swap;
    std::vector<std::string> processors;
};

struct AppliancePreset
{
    std::string name;
    BoardSpec board;
    std::vector<DiskSpec> disks;
    std::string chip{};                      // Super I/O, a name of SuperIoChips.h; empty: none
    std::vector<BmcSensorSpec> bmcSensors{}; // in the order of its repository; none: no controller
    RaidSpec raid{};
    std::map<std::string, std::string> files; // in the working directory, by relative name
    std::string scenario;                     // played when no other is given
    std::string chipScenario{};               // with it, on a board with a chip
};

// Nothing when there is no preset of this name.
std::optional<AppliancePreset> MakePreset(const std::string& name);
std::vector<std::string> ListPresets();

// The presets, one source each.
AppliancePreset MakePlainPreset();
AppliancePreset MakeIpmiPreset();
AppliancePreset MakeLsiPreset();
AppliancePreset MakeAdaptecPreset();
} // namespace sim
