// An appliance without RAID controller: SATA disks in the bays, a system SSD and an NVMe disk inside, a USB
// stick.
#include "sim/BoardFile.h"
#include "sim/Presets.h"

namespace sim
{
namespace
{
// Bays are numbered from 1; 4, 7 and 8 are empty. What is not in a bay has a number that no bay has.
constexpr int kSlotSystem = 0;
constexpr int kSlotNvme = 9;
constexpr int kSlotUsb = 10;

constexpr std::int64_t kHardDiskBytes = 8'001'563'222'016;

// What a drive's log shows that was tested each night before.
std::vector<SelfTestEntry> DailyTests()
{
    using std::chrono::hours;
    return {{.kind = SelfTestKind::Short, .end = SelfTestEnd::Completed, .at = -hours{7}},
            {.kind = SelfTestKind::Short, .end = SelfTestEnd::Completed, .at = -hours{31}}};
}

DiskSpec HardDisk(const std::string& device, const std::string& serial, int slot, int temperature,
                  std::int64_t hours)
{
    return {.device = device,
            .kind = DiskKind::HardDisk,
            .model = "Meridian ST-8T",
            .serial = serial,
            .firmware = "MR04",
            .bytes = kHardDiskBytes,
            .restTemperature = temperature,
            .powerOnHours = hours,
            .slot = slot,
            .selfTests = DailyTests()};
}

DiskSpec With(DiskSpec disk, int partitions, const std::string& fileSystem, const std::string& mountPath)
{
    disk.partitions = partitions;
    disk.fileSystem = fileSystem;
    disk.mountPath = mountPath;
    return disk;
}

// An old failure in the range that is not to be minded, which a long test has since made void for the drive
// itself.
std::vector<SelfTestEntry> OldSelfTests()
{
    using std::chrono::hours;
    return {{.kind = SelfTestKind::Short, .end = SelfTestEnd::Completed, .at = -hours{30}},
            {.kind = SelfTestKind::Long, .end = SelfTestEnd::Completed, .at = -hours{198}},
            {.kind = SelfTestKind::Short,
             .end = SelfTestEnd::ReadFailure,
             .at = -hours{222},
             .remainingPercent = 90,
             .lba = 1'040}};
}

std::vector<DiskSpec> Disks()
{
    const DiskSpec system{.device = "/dev/sda",
                          .kind = DiskKind::Ssd,
                          .model = "Halden S2 240G",
                          .serial = "HS2A00417",
                          .firmware = "1.07",
                          .bytes = 240'057'409'536,
                          .restTemperature = 34,
                          .powerOnHours = 9'120,
                          .slot = kSlotSystem,
                          .selfTests = DailyTests()};
    const DiskSpec nvme{.device = "/dev/nvme0",
                        .kind = DiskKind::Nvme,
                        .model = "Halden N4 512G",
                        .serial = "HN4C20093",
                        .firmware = "3B2QH7",
                        .bytes = 512'110'190'592,
                        .restTemperature = 46,
                        .powerOnHours = 9'118,
                        .slot = kSlotNvme};
    const DiskSpec stick{.device = "/dev/sdg",
                         .kind = DiskKind::UsbStick,
                         .model = "Pebble Mini",
                         .serial = "PB7731",
                         .firmware = "1.00",
                         .bytes = 15'693'664'256,
                         .slot = kSlotUsb};
    DiskSpec blank = HardDisk("/dev/sdf", "M8T-5A01F6", 6, 35, 12);
    blank.needsPrep = true;
    blank.selfTests.clear(); // new
    DiskSpec tested = HardDisk("/dev/sdb", "M8T-2C11B1", 1, 37, 9'104);
    tested.selfTests = OldSelfTests();
    return {With(system, 3, "ext4", "/"),
            With(tested, 1, "xfs", "/mnt/data1"),
            With(HardDisk("/dev/sdc", "M8T-2C11B2", 2, 39, 9'104), 1, "xfs", "/mnt/data2"),
            With(HardDisk("/dev/sdd", "M8T-2C1209", 3, 38, 7'350), 1, "xfs", ""),
            With(HardDisk("/dev/sde", "M8T-19F3D0", 5, 40, 31'877), 1, "xfs", ""),
            blank,
            With(stick, 1, "vfat", ""),
            With(nvme, 1, "ext4", "/mnt/index")};
}

constexpr const char* kSystemDescription = R"(<?xml version="1.0"?>
<SystemInfo>
    <family value="n_series"/>
    <Drives StorageRows="2" StorageCols="4" VerticalOrder="0" VerticalSlots="0" HorizontalFlip="0"/>
</SystemInfo>
)";

// Three minutes in which every kind of trouble comes and goes. Each change is followed by a refresh request,
// because the plug-in by itself looks at SMART data once an hour only. Preparing and testing drives begins
// after the board's troubles below.
constexpr const char* kScenario = R"(
at 0s   note all disks are healthy; /dev/sdf waits for preparation

at 15s  disk /dev/sdc warm 58 over 10s
at 26s  request refresh
at 40s  disk /dev/sdc warm 39 over 10s
at 51s  request refresh

at 1m    disk /dev/sde attribute 5 value 8 raw 4016
at 1m    disk /dev/sde health failing
at 1m1s  request refresh

at 1m15s disk /dev/sdd pull
at 1m16s request refresh

at 1m28s tool smartctl garbage once       # the scan of the next refresh
at 1m29s request refresh
at 1m36s request refresh

at 1m45s disk /dev/sdd plug
at 1m46s request refresh

at 1m58s disk /dev/sde replace M8T-7B00A4 # a new disk, to be prepared
at 1m59s request refresh

at 2m13s tool smartctl hang 20s once
at 2m14s request refresh

at 2m45s disk /dev/nvme0 media-errors 12
at 2m45s disk /dev/nvme0 spare 8          # its threshold is 10
at 2m46s request refresh
at 2m58s disk /dev/nvme0 spare 100
at 2m59s request refresh

# Preparing: the first try of one new drive fails, the second goes through, and so does the other drive's.
at 4m40s disk /dev/sde prep fails format
at 4m41s request prep /dev/sde
at 5m request prep /dev/sde
at 5m20s request prep /dev/sdf

# Self-tests, two minutes each: one drive whose log has an old failure in the range that does not count; then all,
# one of which fails and one of which gets stuck until its time is up, an hour after its start.
at 5m40s request test short /dev/sdb
at 6m10s request test report
at 6m40s request test report
at 7m41s request test report
at 7m50s disk /dev/sdd selftest fails at 9437184000
at 7m50s disk /dev/sdc selftest sticks
at 7m51s request test short
at 8m30s request test report
at 9m52s request test report
at 10m disk /dev/sdd selftest passes
at 10m1s request set-schedule short daily +2 # the next ones start by themselves
at 1h15m disk /dev/sdc selftest passes
at 1h20m note nothing more will happen
)";
// Then the board, whose sensors are read every five seconds. The watchdog's time-out is 40 s, counted from
// the last heartbeat that the host returned; the next one begins with the restart.
constexpr const char* kChipScenario = R"(
at 3m5s  chip fan 1 stop                   # a chassis fan
at 3m10s chip temperature 1 warm 78 over 8s # the board; its limit is 70

at 3m25s heartbeats withhold
at 4m10s note the watchdog has reset the appliance
at 4m10s heartbeats return
at 4m12s chip fan 1 value 1150
at 4m12s chip temperature 1 warm 34 over 8s
)";
} // namespace

AppliancePreset MakePlainPreset()
{
    AppliancePreset preset;
    preset.board = {.vendor = "Tarnwerk",
                    .model = "TB-470M",
                    .firmwareVendor = "Tarnwerk",
                    .firmwareVersion = "2.14",
                    .operatingSystem = "Appliance Linux 12",
                    .baseImageVersion = "12.4.1",
                    .memory = "32768 MB",
                    .swap = "8192 MB",
                    .processors = {"Corelia C6-3400 @ 3.40GHz", "Corelia C6-3400 @ 3.40GHz"}};
    preset.chip = "nct6791";
    preset.disks = Disks();
    preset.files = {{"tqsysteminfo.xml", kSystemDescription}, {"hwmconfig.xml", kExampleBoardFile}};
    preset.scenario = kScenario;
    preset.chipScenario = kChipScenario;
    return preset;
}
} // namespace sim
