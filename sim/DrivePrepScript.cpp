#include "sim/DrivePrepScript.h"

#include "sim/Machine.h"

#include <algorithm>

namespace sim
{
namespace
{
constexpr std::chrono::milliseconds kBriefly{200};
constexpr int kStageFailed = 1;
constexpr int kUsage = 2;
constexpr int kRefused = 3;

const char* NameOf(PrepStage stage)
{
    switch (stage)
    {
    case PrepStage::Partition:
        break;
    case PrepStage::Format:
        return "format";
    case PrepStage::Mount:
        return "mount";
    }
    return "partition";
}

ToolAnswer Refusal(int exitCode, const std::string& reason)
{
    return {.exitCode = exitCode, .duration = kBriefly, .standardError = "driveprep.sh: " + reason + "\n"};
}

// The first of /mnt/data1, /mnt/data2, ... that no drive is mounted at.
std::string FreeMountPath(const Machine& machine, SimTime now)
{
    for (int number = 1;; ++number)
    {
        std::string path = "/mnt/data" + std::to_string(number);
        const auto isTaken = [&path, now](const CSimDisk& disk) { return disk.Use(now).mountPath == path; };
        if (std::none_of(machine.disks.begin(), machine.disks.end(), isTaken))
        {
            return path;
        }
    }
}

// Why the drive is left alone; empty when it may be prepared. What the script itself has formatted, but could
// not mount, counts as its own.
std::string ReasonToRefuse(const CSimDisk& disk, SimTime now)
{
    const DriveUse use = disk.Use(now);
    if (!use.mountPath.empty())
    {
        return disk.Spec().device + " is in use at " + use.mountPath;
    }
    if (disk.Spec().kind == DiskKind::UsbStick)
    {
        return disk.Spec().device + " can be pulled out";
    }
    const bool hasOwnFileSystem = disk.Spec().partitions == 0 && use.partitions == 1;
    return use.partitions != 0 && !hasOwnFileSystem ? disk.Spec().device + " has data" : "";
}
} // namespace

ToolAnswer AnswerDrivePrepScript(Machine& machine, const std::vector<std::string>& argv, SimTime now)
{
    if (argv.size() != 3 || argv[1] != "prep")
    {
        return Refusal(kUsage, "usage: driveprep.sh prep SERIAL");
    }
    const auto disk = std::find_if(machine.disks.begin(), machine.disks.end(),
                                   [&argv](const CSimDisk& candidate)
                                   { return candidate.IsPresent() && candidate.Spec().serial == argv[2]; });
    if (disk == machine.disks.end())
    {
        return Refusal(kRefused, "no drive has the serial number " + argv[2]);
    }
    if (const std::string reason = ReasonToRefuse(*disk, now); !reason.empty())
    {
        return Refusal(kRefused, reason);
    }
    ToolAnswer answer;
    for (const PrepStep& step : disk->StartPrep(FreeMountPath(machine, now), now))
    {
        const std::string name = NameOf(step.stage);
        answer.standardOutput += name + "\n";
        machine.notes.emplace(step.start, "driveprep.sh " + disk->Spec().device + ": " + name);
        answer.duration = step.end - now;
        if (step.fails)
        {
            answer.exitCode = kStageFailed;
            answer.standardError = "driveprep.sh: " + disk->Spec().device + ": " + name + " failed\n";
            machine.notes.emplace(step.end, "driveprep.sh " + disk->Spec().device + ": " + name + " failed");
        }
    }
    return answer;
}
} // namespace sim
