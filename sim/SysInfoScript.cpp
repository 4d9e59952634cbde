#include "sim/SysInfoScript.h"

#include "sim/Machine.h"

#include <string_view>

namespace sim
{
namespace
{
constexpr std::chrono::milliseconds kDuration{300};

void AddLine(std::string& text, std::string_view key, std::string_view value)
{
    text.append(key).append("=").append(value).append("\n");
}

void AddBoard(std::string& text, const BoardSpec& board)
{
    AddLine(text, "motherboard-vendor", board.vendor);
    AddLine(text, "motherboard-model", board.model);
    AddLine(text, "firmware-vendor", board.firmwareVendor);
    AddLine(text, "firmware-version", board.firmwareVersion);
    AddLine(text, "os", board.operatingSystem);
    AddLine(text, "baseimage-version", board.baseImageVersion);
    AddLine(text, "memory", board.memory);
    AddLine(text, "swap", board.swap);
    for (const std::string& processor : board.processors)
    {
        AddLine(text, "processor", processor);
    }
}

// Block devices are disks, not NVMe controllers, so the name of an NVMe drive is its namespace's.
std::string BlockDeviceName(const DiskSpec& disk)
{
    const std::string name = disk.device.substr(std::string_view("/dev/").size());
    return disk.kind == DiskKind::Nvme ? name + "n1" : name;
}

void AddDrive(std::string& text, const DiskSpec& disk, const DriveUse& use)
{
    AddLine(text, "drive-index", std::to_string(disk.slot));
    AddLine(text, "drive-name", BlockDeviceName(disk));
    AddLine(text, "drive-serial", disk.serial);
    AddLine(text, "drive-partitions", std::to_string(use.partitions));
    AddLine(text, "drive-removable", disk.kind == DiskKind::UsbStick ? "1" : "0");
    AddLine(text, "drive-fspath", use.mountPath);
    AddLine(text, "drive-fstype", use.fileSystem);
    AddLine(text, "drive-needs-prep", use.needsPrep ? "1" : "0");
}

// The name by which the controller's tool knows the volume.
std::string VolumeName(const CRaidModel& raid, const RaidArray& array)
{
    return (raid.Spec().kind == RaidKind::Lsi ? "/c0/v" : "") + std::to_string(array.volume);
}

void AddVolume(std::string& text, const CRaidModel& raid, const RaidArray& array)
{
    for (const std::string& path : array.mountPaths)
    {
        AddLine(text, "raid-volume", VolumeName(raid, array));
        AddLine(text, "raid-fspath", path);
    }
}
} // namespace

ToolAnswer AnswerSysInfoScript(const Machine& machine, const std::vector<std::string>&, SimTime now)
{
    ToolAnswer answer{.standardOutput = {}, .exitCode = 0, .duration = kDuration};
    AddBoard(answer.standardOutput, machine.preset.board);
    for (const CSimDisk& disk : machine.disks)
    {
        if (disk.IsPresent())
        {
            AddDrive(answer.standardOutput, disk.Spec(), disk.Use(now));
        }
    }
    for (const RaidArray& array : machine.raid.Arrays())
    {
        AddVolume(answer.standardOutput, machine.raid, array);
    }
    return answer;
}
} // namespace sim
