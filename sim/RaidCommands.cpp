// CRaidModel: what the tools' commands do to it.
#include "sim/RaidModel.h"

#include <algorithm>
#include <utility>

namespace sim
{
namespace
{
std::size_t FewestDrives(int level)
{
    return level == 1 ? 2 : level == 5 ? 3 : 4;
}

// Lowest number from 0 that no array has.
template <typename Member>
int FreeNumber(const std::vector<RaidArray>& arrays, Member member)
{
    int number = 0;
    while (std::any_of(arrays.begin(), arrays.end(),
                       [&](const RaidArray& array) { return array.*member == number; }))
    {
        ++number;
    }
    return number;
}

// The kernel names the volumes in the order in which they appear.
std::string FreeOsDevice(const std::vector<RaidArray>& arrays)
{
    std::string device = "/dev/sda";
    while (std::any_of(arrays.begin(), arrays.end(),
                       [&device](const RaidArray& array) { return array.osDevice == device; }))
    {
        ++device.back();
    }
    return device;
}
} // namespace

std::string CRaidModel::Create(int level, const std::vector<std::string>& drives, SimTime now)
{
    if ((level != 1 && level != 5 && level != 6) || drives.size() < FewestDrives(level))
    {
        return "incorrect number of drives for the RAID level";
    }
    RaidArray array{.group = FreeNumber(m_arrays, &RaidArray::group),
                    .volume = FreeNumber(m_arrays, &RaidArray::volume),
                    .level = level};
    std::int64_t smallest = INT64_MAX;
    for (const std::string& name : drives)
    {
        const std::size_t index = IndexOf(name);
        const bool isTwice = std::any_of(array.rows.begin(), array.rows.end(),
                                         [index](const ArrayRow& row) { return row.home == index; });
        if (index == m_drives.size() || !m_drives[index].disk.IsPresent())
        {
            return "drive " + name + " not found";
        }
        if (m_drives[index].state != DriveState::Free || isTwice)
        {
            return "drive " + name + " is not free";
        }
        smallest = std::min(smallest, CoercedBytes(m_drives[index]));
        array.rows.push_back({.drive = index, .home = index});
    }
    for (const ArrayRow& row : array.rows)
    {
        m_drives[row.home].state = DriveState::Online;
    }
    const auto parity = static_cast<std::int64_t>(array.Redundancy());
    array.bytes = smallest * (static_cast<std::int64_t>(drives.size()) - parity);
    array.osDevice = FreeOsDevice(m_arrays);
    array.task = VolumeTask::Initialise;
    array.taskStart = now;
    array.taskLength = m_taskLength;
    m_arrays.push_back(std::move(array));
    std::ranges::stable_sort(m_arrays, {}, &RaidArray::volume);
    return "";
}

std::string CRaidModel::AddSpare(std::string_view name, std::optional<int> group, SimTime now)
{
    RaidDrive* const drive = FindDrive(name);
    if (drive == nullptr || !drive->disk.IsPresent())
    {
        return "drive not found";
    }
    if (drive->state != DriveState::Free)
    {
        return "drive is not free";
    }
    const RaidArray* const array = group ? FindGroup(*group) : nullptr;
    if (group && array == nullptr)
    {
        return "drive group not found";
    }
    if (array != nullptr && !CanHold(*drive, *array))
    {
        return "drive is too small or of another kind";
    }
    drive->state = group ? DriveState::DedicatedSpare : DriveState::GlobalSpare;
    drive->spareGroup = group.value_or(-1);
    UseSpares(now);
    return "";
}

std::string CRaidModel::RemoveSpare(std::string_view name)
{
    RaidDrive* const drive = FindDrive(name);
    if (drive == nullptr || !drive->disk.IsPresent())
    {
        return "drive not found";
    }
    if (drive->state != DriveState::DedicatedSpare && drive->state != DriveState::GlobalSpare)
    {
        return "drive is not a hot spare";
    }
    drive->state = DriveState::Free;
    drive->spareGroup = -1;
    return "";
}

std::string CRaidModel::SetCache(int volume, bool driveCacheOff, bool alwaysWriteBack)
{
    RaidArray* const array = FindVolume(volume);
    if (array == nullptr)
    {
        return "volume not found";
    }
    array->driveCacheOff = driveCacheOff;
    array->alwaysWriteBack = alwaysWriteBack;
    return "";
}

std::string CRaidModel::Delete(int volume)
{
    const RaidArray* const array = FindVolume(volume);
    if (array == nullptr)
    {
        return "volume not found";
    }
    if (!array->mountPaths.empty())
    {
        return "volume is in use";
    }
    for (const ArrayRow& row : array->rows)
    {
        if (row.drive)
        {
            m_drives[*row.drive].state = DriveState::Free;
        }
    }
    for (RaidDrive& drive : m_drives)
    {
        if (drive.spareGroup == array->group)
        {
            drive.spareGroup = -1;
            drive.state = DriveState::Free;
        }
    }
    m_arrays.erase(m_arrays.begin() + (array - m_arrays.data()));
    return "";
}
} // namespace sim
