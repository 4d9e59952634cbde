// A recorder with an LSI controller: two SSDs mirrored for the system, hard disks in twelve bays from which
// the data volume is yet to be made.
#include "sim/Presets.h"

namespace sim
{
namespace
{
constexpr int kInside = 252; // the connectors on the card itself
constexpr int kBays = 64;

RaidDriveSpec SystemDrive(int slot, const std::string& serial)
{
    return {.name = std::to_string(kInside) + ":" + std::to_string(slot),
            .enclosure = kInside,
            .slot = slot,
            .deviceId = 21 + slot,
            .disk = {.device = "",
                     .kind = DiskKind::Ssd,
                     .model = "Halden S2 480G",
                     .serial = serial,
                     .firmware = "1.07",
                     .bytes = 480'103'981'056,
                     .restTemperature = 33,
                     .powerOnHours = 4'120,
                     .slot = slot}};
}

// Device IDs are not in the order of the bays: they come in the order in which drives answered.
RaidDriveSpec DataDrive(int slot, const std::string& serial)
{
    return {.name = std::to_string(kBays) + ":" + std::to_string(slot),
            .enclosure = kBays,
            .slot = slot,
            .deviceId = 8 + (slot * 5) % 12,
            .disk = {.device = "",
                     .kind = DiskKind::HardDisk,
                     .model = "Meridian ST-8T",
                     .serial = serial,
                     .firmware = "MR04",
                     .bytes = 8'001'563'222'016,
                     .restTemperature = 36 + slot % 4,
                     .powerOnHours = 310,
                     .slot = slot}};
}

RaidSpec Raid()
{
    RaidSpec raid{.kind = RaidKind::Lsi,
                  .model = "MR-2400 12i",
                  .serial = "SK84213977",
                  .firmware = "4.680.00-8519",
                  .driver = "07.725.01.00-rc1",
                  .enclosures = {{kBays, 12, "SAS3x12"}, {kInside, 8, "VirtualSES"}},
                  .dataMountPath = "/mnt/data"};
    for (const char* serial : {"M8T-41D0A0", "M8T-41D0A1", "M8T-41D0A7", "M8T-41D0B2", "M8T-41D0B3"})
    {
        raid.drives.push_back(DataDrive(static_cast<int>(raid.drives.size()), serial));
    }
    raid.drives.push_back(DataDrive(5, "M8T-41D0C4"));
    raid.drives.back().isGlobalSpare = true; // as delivered
    raid.drives.push_back(DataDrive(6, "M8T-41D0C9"));
    raid.drives.back().isPlugged = false;
    raid.drives.push_back(SystemDrive(0, "HS4A00731"));
    raid.drives.push_back(SystemDrive(1, "HS4A00732"));
    // Numbers of groups and volumes need not agree.
    raid.arrays = {{.group = 1,
                    .volume = 0,
                    .level = 1,
                    .label = "system",
                    .drives = {"252:0", "252:1"},
                    .osDevice = "/dev/sda",
                    .mountPaths = {"/"}}};
    return raid;
}

constexpr const char* kSystemDescription = R"(<?xml version="1.0"?>
<SystemInfo>
    <family value="n_series"/>
    <Drives StorageRows="3" StorageCols="4" VerticalOrder="0" VerticalSlots="0" HorizontalFlip="0"/>
</SystemInfo>
)";

constexpr const char* kHardwareDescription = R"(<?xml version="1.0"?>
<HwMonitor/>
)";

// A preparation is looked at 30 seconds after it was started, so its stages are half a minute apart.
constexpr const char* kScenario = R"(
at 0s    note the mirror of the system only; five free disks and a global hot spare
at 0s    raid rebuilds-take 45s

at 11s   tool storcli refuse              # the array cannot be created
at 12s   request prep "New Data Array"
at 20s   tool storcli ok
at 50s   raidprep fails partitioning
at 51s   request prep "New Data Array"
)";
} // namespace

AppliancePreset MakeLsiPreset()
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
    preset.raid = Raid();
    preset.files = {{"tqsysteminfo.xml", kSystemDescription}, {"hwmconfig.xml", kHardwareDescription}};
    preset.scenario = kScenario;
    return preset;
}
} // namespace sim
