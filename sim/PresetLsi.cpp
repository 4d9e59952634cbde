// A recorder with an LSI controller: two SSDs mirrored for the system, hard disks in twelve bays from which
// the data volume is yet to be made.
#include "sim/PresetRaid.h"

namespace sim
{
namespace
{
// The plug-in tells drives apart by slot as well, so the slots of the two backplanes do not overlap.
constexpr int kBays = 64;
constexpr int kInside = 65;
constexpr int kFirstInside = 12;

RaidDriveSpec SystemDrive(int row, const std::string& serial)
{
    const int slot = kFirstInside + row;
    return {.name = std::to_string(kInside) + ":" + std::to_string(slot),
            .enclosure = kInside,
            .slot = slot,
            .deviceId = 21 + row,
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
                  .enclosures = {{kBays, 12, "SAS3x12"}, {kInside, 14, "SAS3x2"}},
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
    raid.arrays = {SystemMirror({"65:12", "65:13"})};
    return raid;
}

constexpr const char* kSystemDescription = R"(<?xml version="1.0"?>
<SystemInfo>
    <family value="n_series"/>
    <Drives StorageRows="3" StorageCols="4" VerticalOrder="0" VerticalSlots="0" HorizontalFlip="0"/>
</SystemInfo>
)";

// Eight minutes from a machine without a data volume to one that has been through everything. A step of a
// preparation is looked at half a minute after it has come to its end, so its stages are that far apart.
constexpr const char* kScenario = R"(
at 0s    note the system's mirror, five free disks, and a global hot spare as delivered
at 0s    raid rebuilds-take 45s
at 0s    raidprep fails partitioning
at 0s    raidprep fails formatting
at 0s    raidprep fails mounting

at 15s   tool storcli refuse                # no array can be created
at 16s   request prep "New Data Array"
at 18s   tool storcli ok
at 52s   request prep "New Data Array"      # created; the script that follows cannot partition it
at 2m10s request prep /c0/v1                # cannot format
at 3m5s  request prep /c0/v1                # cannot mount
at 3m58s request prep /c0/v1

at 4m42s note beside a mirror a hot spare must be dedicated: the global one is released and set again
at 4m45s request hotspare /c0/e64/s5 off
at 4m55s request hotspare /c0/e64/s5 on

at 5m10s disk 64:1 errors media 14
at 5m10s disk 64:1 errors predictive 1
at 5m11s request refresh
at 5m25s disk 64:1 fail                     # the spare takes over
at 5m26s request refresh
at 5m40s request refresh
at 5m55s request refresh
at 6m12s request refresh                    # rebuilt

at 6m25s disk 64:1 replace M8T-77F013       # the new disk becomes the spare
at 6m26s request refresh
at 6m35s request hotspare /c0/e64/s1 on

at 6m50s tool storcli cut 900               # the volumes are in alarm while nothing is known of them
at 6m51s request refresh
at 7m5s  tool storcli ok
at 7m6s  request refresh

at 7m20s request hotspare /c0/e64/s1 off
at 7m30s disk 64:6 plug                     # a disk that comes from another machine
at 7m30s disk 64:6 foreign
at 7m30s raid check 1
at 7m31s request refresh
at 7m50s end
)";
} // namespace

AppliancePreset MakeLsiPreset()
{
    return MakeRaidPreset(Raid(), kSystemDescription, kScenario);
}
} // namespace sim
