// A recorder with an Adaptec controller: two SSDs on its second connector mirrored for the system, eight bays
// on the first.
#include "sim/PresetRaid.h"

namespace sim
{
namespace
{
constexpr int kBays = 0;
constexpr int kInside = 1;

RaidDriveSpec Drive(int connector, int slot, int deviceId, DiskSpec disk)
{
    disk.slot = slot;
    return {.name = "0:" + std::to_string(deviceId),
            .enclosure = connector,
            .slot = slot,
            .deviceId = deviceId,
            .disk = std::move(disk)};
}

RaidDriveSpec SystemDrive(int slot, const std::string& serial)
{
    return Drive(kInside, slot, 24 + slot,
                 {.device = "",
                  .kind = DiskKind::Ssd,
                  .model = "Halden S2 240G",
                  .serial = serial,
                  .firmware = "1.07",
                  .bytes = 240'057'409'536,
                  .restTemperature = 34,
                  .powerOnHours = 1'980});
}

RaidDriveSpec DataDrive(int slot, const std::string& serial)
{
    return Drive(kBays, slot, 8 + slot,
                 {.device = "",
                  .kind = DiskKind::HardDisk,
                  .model = "Meridian ST-12T",
                  .serial = serial,
                  .firmware = "MR11",
                  .bytes = 12'000'138'625'024,
                  .restTemperature = 37 + slot % 3,
                  .powerOnHours = 95});
}

RaidSpec Raid()
{
    RaidSpec raid{.kind = RaidKind::Adaptec,
                  .model = "AR-2100 8i",
                  .serial = "8A3C2070416",
                  .firmware = "5.32-0",
                  .driver = "2.1.14-035",
                  .enclosures = {{kBays, 8, "CN0"}, {kInside, 2, "CN1"}},
                  .dataMountPath = "/mnt/data"};
    for (const char* serial : {"M12-60B001", "M12-60B002", "M12-60B017", "M12-60B018", "M12-60B020"})
    {
        raid.drives.push_back(DataDrive(static_cast<int>(raid.drives.size()), serial));
    }
    raid.drives.push_back(DataDrive(5, "M12-60B044"));
    raid.drives.back().isPlugged = false;
    raid.drives.push_back(SystemDrive(0, "HS2A02210"));
    raid.drives.push_back(SystemDrive(1, "HS2A02215"));
    raid.arrays = {SystemMirror({"0:24", "0:25"})};
    return raid;
}

// The level is named, because the chassis alone would make it RAID 5.
constexpr const char* kSystemDescription = R"(<?xml version="1.0"?>
<SystemInfo>
    <family value="n_series"/>
    <defaultraidlevel value="6"/>
    <Drives StorageRows="2" StorageCols="4" VerticalOrder="1" VerticalSlots="0" HorizontalFlip="0"/>
</SystemInfo>
)";

// Eight minutes: a preparation with two stumbles, a member lost without a spare, another with one. A step of
// a preparation is looked at half a minute after it has come to its end.
constexpr const char* kScenario = R"(
at 0s    note the system's mirror and five free disks; the chassis description asks for RAID 6
at 0s    raid rebuilds-take 45s

at 15s   tool arcconf missing once          # the array cannot even be asked for
at 16s   request prep "New Data Array"
at 25s   tool raidprep missing              # the array is created, but the script is not there
at 26s   request prep "New Data Array"
at 1m15s tool raidprep ok
at 1m16s raidprep fails formatting
at 1m17s request prep 1
at 2m25s request prep 1

at 3m30s disk 0:9 fail                      # no spare: degraded until there is one
at 3m31s request refresh
at 3m45s disk 0:13 plug
at 3m46s request refresh
at 4m    request hotspare 0:13 on           # is used at once
at 4m15s request refresh
at 4m55s request refresh                    # rebuilt

at 5m5s  disk 0:9 replace M12-71E0A2        # the new disk is the spare now
at 5m6s  request refresh
at 5m20s request hotspare 0:9 on
at 5m35s disk 0:11 health failing
at 5m35s disk 0:11 errors media 7
at 5m36s request refresh
at 5m50s disk 0:11 pull                     # and takes over
at 5m51s request refresh
at 6m15s request refresh
at 6m40s request refresh

at 6m50s disk 0:11 plug                     # a stranger to its own volume
at 6m51s request refresh
at 7m5s  tool arcconf hang 20s once
at 7m6s  request refresh
at 7m35s tool arcconf garbage
at 7m36s request refresh
at 7m50s tool arcconf ok
at 7m51s request refresh

at 8m5s  disk 0:11 replace M12-71E0B7
at 8m6s  request refresh
at 8m20s request hotspare 0:11 on
at 8m32s request hotspare 0:11 off
at 8m50s end
)";
} // namespace

AppliancePreset MakeAdaptecPreset()
{
    return MakeRaidPreset(Raid(), kSystemDescription, kScenario);
}
} // namespace sim
