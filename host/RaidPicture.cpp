#include "host/RaidPicture.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace host
{
namespace
{
// "Dgrd, busy (Rebuild 36% complete)", or the state alone.
void ReadMessage(const std::string& message, RaidVolume& row)
{
    constexpr std::string_view kBefore = ", busy (";
    constexpr std::string_view kAfter = "% complete)";
    row.state = message;
    const std::size_t begin = message.find(kBefore);
    if (begin == std::string::npos || !message.ends_with(kAfter))
    {
        return;
    }
    const std::string_view task = std::string_view(message).substr(
        begin + kBefore.size(), message.size() - kAfter.size() - begin - kBefore.size());
    const std::size_t blank = task.rfind(' ');
    if (blank == std::string_view::npos)
    {
        return;
    }
    const std::string_view digits = task.substr(blank + 1);
    int percent = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), percent);
    if (result.ec == std::errc() && result.ptr == digits.data() + digits.size() && percent >= 0)
    {
        row.state = message.substr(0, begin);
        row.task = {std::string(task.substr(0, blank)), std::min(percent, 100)};
    }
}

bool IsBehindController(const DiskPicture& disk)
{
    return !disk.controllerName.empty();
}

// The list a disk outside every volume belongs to.
std::vector<const DiskPicture*>& ListFor(const DiskPicture& disk, RaidPicture& raid)
{
    if (disk.hotSpare)
    {
        return raid.globalSpares;
    }
    return disk.health.alarm || !disk.unitName.empty() ? raid.unusableDisks : raid.freeDisks;
}
} // namespace

RaidPicture MakeRaidPicture(const Picture& picture)
{
    RaidPicture raid;
    for (const VolumePicture& volume : picture.volumes)
    {
        RaidVolume row{.volume = &volume, .state = {}, .task = {}, .members = {}, .spares = {}};
        ReadMessage(volume.health.message, row);
        raid.volumes.push_back(std::move(row));
    }
    for (const DiskPicture& disk : picture.disks)
    {
        if (!IsBehindController(disk))
        {
            continue;
        }
        const auto row = std::find_if(raid.volumes.begin(), raid.volumes.end(),
                                      [&disk](const RaidVolume& candidate)
                                      { return candidate.volume->name == disk.unitName; });
        if (row == raid.volumes.end())
        {
            ListFor(disk, raid).push_back(&disk);
        }
        else
        {
            (disk.hotSpare ? row->spares : row->members).push_back(&disk);
        }
    }
    return raid;
}

std::string BayName(const DiskPicture& disk)
{
    const std::string& name = disk.DisplayName();
    const std::size_t enclosure = name.find("/e");
    const std::size_t slot = name.find("/s", enclosure == std::string::npos ? enclosure : enclosure + 2);
    if (!name.starts_with("/c") || enclosure == std::string::npos || slot == std::string::npos)
    {
        return name;
    }
    return name.substr(enclosure + 2, slot - enclosure - 2) + ":" + name.substr(slot + 2);
}
} // namespace host
