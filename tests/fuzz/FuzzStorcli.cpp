// storcli's output, after a good and after a bad exit.
#include "raid/Storcli.h"
#include "raid/StorcliAnswer.h"
#include "tests/fuzz/Fuzz.h"

namespace
{
void CheckDrives(const StorcliControllerInfo& info)
{
    Require(info.error.empty() || info.drives.empty());
    for (const StorcliPhysicalDrive& drive : info.drives)
    {
        Require(DrivePath(drive.name, "") == drive.name);
        Require(!drive.raidLevel || info.driveGroups.contains(drive.driveGroup.value_or(0)));
    }
    for (const auto& [group, level] : info.driveGroups)
    {
        Require(level == 1 || level == 5 || level == 6);
    }
}

void CheckDisks(const StorcliDisks& list, const std::string& text)
{
    Require(list.error.empty() || list.disks.empty());
    for (const StorcliDisk& disk : list.disks)
    {
        Require(DrivePath(disk.name, "") == disk.name);
        Require(disk.sizeGB.value_or(0) >= 0 && disk.slot >= -1 && disk.hotSpare >= 0 && disk.hotSpare <= 3);
        Require(!disk.foreign || !disk.dg);
        Require(disk.serialNumber.size() <= text.size());
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text = Text(data, size);
    for (const int exitCode : {0, 2})
    {
        const std::string query = CheckStorcliResponse(exitCode, text, true).error;
        const std::string change = ParseStorcliChange(exitCode, text);
        Require(query == change || (change.empty() && query == "storcli missing response data"));

        CheckDrives(ParseControllerInfo(exitCode, text, exitCode, text));
        CheckDisks(ParseDisksInfo(exitCode, text), text);

        const StorcliVolumes volumes = ParseVolumesInfo(exitCode, text);
        Require(volumes.error == query && (query.empty() || volumes.volumes.empty()));
        for (const StorcliVolume& volume : volumes.volumes)
        {
            Require(volume.name == "/c0/v" + std::to_string(volume.vd));
            Require(volume.sizeGB >= 0 && volume.raidLevel >= 0 &&
                    (!volume.task || volume.task->percent >= 0));
        }

        const StorcliSmart smart = ParseDisksSmartInfo(exitCode, text);
        Require(smart.error == query && smart.byDisk.size() * kSmartDataSize * 3 <= text.size() * 2);
    }
    Require(SizeInGB(text).value_or(0) >= 0);
    Require(LeadingNumber(text) >= -1.0);
    return 0;
}
