#include "sim/PresetRaid.h"

#include <utility>

namespace sim
{
namespace
{
constexpr const char* kHardwareDescription = R"(<?xml version="1.0"?>
<HwMonitor/>
)";
} // namespace

ArraySpec SystemMirror(std::vector<std::string> drives)
{
    return {.group = 1,
            .volume = 0,
            .level = 1,
            .label = "system",
            .drives = std::move(drives),
            .osDevice = "/dev/sda",
            .mountPaths = {"/"}};
}

AppliancePreset MakeRaidPreset(RaidSpec raid, const char* systemDescription, const char* scenario)
{
    AppliancePreset preset;
    preset.board = {.vendor = "Tarnwerk",
                    .model = "TB-620R",
                    .firmwareVendor = "Tarnwerk",
                    .firmwareVersion = "3.02",
                    .operatingSystem = "Appliance Linux 12",
                    .baseImageVersion = "12.4.1",
                    .memory = "65536 MB",
                    .swap = "8192 MB",
                    .processors = {"Corelia C8-4200 @ 3.10GHz"}};
    preset.raid = std::move(raid);
    preset.files = {{"tqsysteminfo.xml", systemDescription}, {"hwmconfig.xml", kHardwareDescription}};
    preset.scenario = scenario;
    return preset;
}
} // namespace sim
