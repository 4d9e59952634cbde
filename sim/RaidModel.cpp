#include "sim/RaidModel.h"

#include <algorithm>
#include <utility>

namespace sim
{
namespace
{
constexpr std::int64_t kGiB = std::int64_t{1} << 30;

bool IsMember(const RaidDrive& drive)
{
    return drive.state == DriveState::Online || drive.state == DriveState::Rebuilding;
}
} // namespace

std::int64_t CoercedBytes(const RaidDrive& drive)
{
    return drive.spec.disk.bytes / kGiB * kGiB;
}

int RaidArray::Redundancy() const
{
    switch (level)
    {
    case 1:
        return static_cast<int>(rows.size()) - 1;
    case 5:
        return 1;
    case 6:
        return 2;
    default:
        return 0;
    }
}

VolumeState RaidArray::State() const
{
    if (isLost)
    {
        return VolumeState::Offline;
    }
    if (missing == 0)
    {
        return VolumeState::Optimal;
    }
    return missing < Redundancy() ? VolumeState::PartlyDegraded : VolumeState::Degraded;
}

int RaidArray::Percent(SimTime now) const
{
    const auto gone = std::max(now - taskStart, SimTime{0});
    return static_cast<int>(
        std::min<std::int64_t>(99, gone.count() * 100 / std::max<std::int64_t>(1, taskLength.count())));
}

CRaidModel::CRaidModel(RaidSpec spec) : m_spec(std::move(spec))
{
    for (RaidDriveSpec& row : m_spec.drives)
    {
        if (m_spec.kind == RaidKind::Lsi)
        {
            row.disk.device = "/c0/e" + std::to_string(row.enclosure) + "/s" + std::to_string(row.slot);
        }
        RaidDrive drive{.spec = row, .disk = CSimDisk(row.disk)};
        drive.disk.SetPresent(row.isPlugged, SimTime{0});
        drive.state = row.isGlobalSpare ? DriveState::GlobalSpare : DriveState::Free;
        m_drives.push_back(std::move(drive));
    }
    for (const ArraySpec& row : m_spec.arrays)
    {
        RaidArray array{.group = row.group, .volume = row.volume, .level = row.level, .label = row.label};
        for (const std::string& name : row.drives)
        {
            const std::size_t index = IndexOf(name);
            m_drives.at(index).state = DriveState::Online;
            array.rows.push_back({.drive = index, .home = index});
        }
        array.bytes = CoercedBytes(m_drives.at(array.rows.front().home));
        array.osDevice = row.osDevice;
        array.isPartitioned = true;
        array.isFormatted = true;
        array.mountPaths = row.mountPaths;
        m_arrays.push_back(std::move(array));
    }
}

std::size_t CRaidModel::IndexOf(std::string_view name) const
{
    const auto found = std::find_if(m_drives.begin(), m_drives.end(),
                                    [name](const RaidDrive& drive) { return drive.spec.name == name; });
    return static_cast<std::size_t>(found - m_drives.begin());
}

const RaidDrive* CRaidModel::FindDrive(std::string_view name) const
{
    const std::size_t index = IndexOf(name);
    return index < m_drives.size() ? &m_drives[index] : nullptr;
}

RaidDrive* CRaidModel::FindDrive(std::string_view name)
{
    return const_cast<RaidDrive*>(std::as_const(*this).FindDrive(name));
}

const RaidDrive* CRaidModel::FindDeviceId(int deviceId) const
{
    const auto found = std::find_if(m_drives.begin(), m_drives.end(),
                                    [deviceId](const RaidDrive& drive)
                                    { return drive.spec.deviceId == deviceId && drive.disk.IsPresent(); });
    return found != m_drives.end() ? &*found : nullptr;
}

const RaidArray* CRaidModel::FindVolume(int volume) const
{
    const auto found = std::find_if(m_arrays.begin(), m_arrays.end(),
                                    [volume](const RaidArray& array) { return array.volume == volume; });
    return found != m_arrays.end() ? &*found : nullptr;
}

RaidArray* CRaidModel::FindVolume(int volume)
{
    return const_cast<RaidArray*>(std::as_const(*this).FindVolume(volume));
}

const RaidArray* CRaidModel::FindGroup(int group) const
{
    const auto found = std::find_if(m_arrays.begin(), m_arrays.end(),
                                    [group](const RaidArray& array) { return array.group == group; });
    return found != m_arrays.end() ? &*found : nullptr;
}

const RaidArray* CRaidModel::FindOsDevice(std::string_view device) const
{
    const auto found = std::find_if(m_arrays.begin(), m_arrays.end(),
                                    [device](const RaidArray& array) { return array.osDevice == device; });
    return found != m_arrays.end() ? &*found : nullptr;
}

const RaidArray* CRaidModel::GroupOf(const RaidDrive& drive) const
{
    const std::size_t index = IndexOf(drive.spec.name);
    const auto holds = [index](const ArrayRow& row) { return row.drive == index; };
    const auto found = std::find_if(m_arrays.begin(), m_arrays.end(),
                                    [&holds](const RaidArray& array)
                                    { return std::any_of(array.rows.begin(), array.rows.end(), holds); });
    return found != m_arrays.end() ? &*found : nullptr;
}

std::optional<int> CRaidModel::RowOf(const RaidDrive& drive) const
{
    const RaidArray* const array = GroupOf(drive);
    if (array == nullptr)
    {
        return std::nullopt;
    }
    const std::size_t index = IndexOf(drive.spec.name);
    const auto row = std::find_if(array->rows.begin(), array->rows.end(),
                                  [index](const ArrayRow& candidate) { return candidate.drive == index; });
    return static_cast<int>(row - array->rows.begin());
}

const RaidArray* CRaidModel::GroupMissing(const RaidDrive& drive) const
{
    const std::size_t index = IndexOf(drive.spec.name);
    const auto misses = [index](const ArrayRow& row) { return !row.drive && row.home == index; };
    const auto found = std::find_if(m_arrays.begin(), m_arrays.end(),
                                    [&misses](const RaidArray& array)
                                    { return std::any_of(array.rows.begin(), array.rows.end(), misses); });
    return found != m_arrays.end() ? &*found : nullptr;
}

RaidArray* CRaidModel::DataVolume()
{
    const auto found =
        std::find_if(m_arrays.begin(), m_arrays.end(),
                     [](const RaidArray& array) { return array.level == 5 || array.level == 6; });
    return found != m_arrays.end() ? &*found : nullptr;
}

void CRaidModel::CountMissing(RaidArray& array) const
{
    array.missing = static_cast<int>(
        std::count_if(array.rows.begin(), array.rows.end(),
                      [this](const ArrayRow& row)
                      { return !row.drive || m_drives[*row.drive].state == DriveState::Rebuilding; }));
}

void CRaidModel::Advance(SimTime now)
{
    for (;;)
    {
        const auto end = [](const RaidArray& array) { return array.taskStart + array.taskLength; };
        RaidArray* next = nullptr;
        for (RaidArray& array : m_arrays)
        {
            if (array.task != VolumeTask::None && end(array) <= now &&
                (next == nullptr || end(array) < end(*next)))
            {
                next = &array;
            }
        }
        if (next == nullptr)
        {
            return;
        }
        FinishTask(*next, end(*next));
    }
}

void CRaidModel::FinishTask(RaidArray& array, SimTime now)
{
    if (array.task == VolumeTask::Rebuild)
    {
        for (const ArrayRow& row : array.rows)
        {
            if (row.drive)
            {
                m_drives[*row.drive].state = DriveState::Online;
            }
        }
    }
    array.task = VolumeTask::None;
    CountMissing(array);
    UseSpares(now); // another member may be missing as well
}

void CRaidModel::TakeOut(std::size_t index, DriveState state, SimTime now)
{
    RaidDrive& drive = m_drives.at(index);
    const bool wasRebuilding = drive.state == DriveState::Rebuilding;
    drive.wasMember = drive.wasMember || IsMember(drive);
    drive.state = state;
    drive.spareGroup = -1;
    for (RaidArray& array : m_arrays)
    {
        const auto row =
            std::find_if(array.rows.begin(), array.rows.end(),
                         [index](const ArrayRow& candidate) { return candidate.drive == index; });
        if (row == array.rows.end())
        {
            continue;
        }
        row->drive.reset();
        // A rebuild of another member goes on.
        if (wasRebuilding || array.task != VolumeTask::Rebuild)
        {
            array.task = VolumeTask::None;
        }
        CountMissing(array);
        if (array.missing > array.Redundancy())
        {
            Lose(array);
        }
    }
    UseSpares(now);
}

void CRaidModel::Lose(RaidArray& array)
{
    array.isLost = true;
    array.task = VolumeTask::None;
    for (ArrayRow& row : array.rows)
    {
        if (row.drive && m_drives[*row.drive].state == DriveState::Rebuilding)
        {
            m_drives[*row.drive].state = DriveState::Free;
            row.drive.reset();
        }
    }
}

bool CRaidModel::CanHold(const RaidDrive& drive, const RaidArray& array) const
{
    return std::all_of(array.rows.begin(), array.rows.end(),
                       [&](const ArrayRow& row)
                       {
                           const RaidDrive& member = m_drives[row.home];
                           return drive.spec.disk.kind == member.spec.disk.kind &&
                                  CoercedBytes(drive) >= CoercedBytes(member);
                       });
}

std::optional<std::size_t> CRaidModel::SpareFor(const RaidArray& array) const
{
    std::optional<std::size_t> best;
    for (std::size_t index = 0; index < m_drives.size(); ++index)
    {
        const RaidDrive& drive = m_drives[index];
        const bool isDedicated = drive.state == DriveState::DedicatedSpare && drive.spareGroup == array.group;
        const bool isGlobal = drive.state == DriveState::GlobalSpare;
        if (!drive.disk.IsPresent() || !CanHold(drive, array) || !(isDedicated || (isGlobal && !best)))
        {
            continue;
        }
        best = index;
        if (isDedicated)
        {
            break;
        }
    }
    return best;
}

void CRaidModel::StartRebuild(RaidArray& array, ArrayRow& row, std::size_t index, SimTime now)
{
    row = {.drive = index, .home = index};
    m_drives[index].state = DriveState::Rebuilding;
    m_drives[index].spareGroup = -1;
    array.task = VolumeTask::Rebuild;
    array.taskStart = now;
    array.taskLength = m_taskLength;
    CountMissing(array);
}

// One member at a time.
void CRaidModel::UseSpares(SimTime now)
{
    for (RaidArray& array : m_arrays)
    {
        const auto row = std::find_if(array.rows.begin(), array.rows.end(),
                                      [](const ArrayRow& candidate) { return !candidate.drive; });
        if (array.isLost || array.task == VolumeTask::Rebuild || row == array.rows.end())
        {
            continue;
        }
        if (const auto spare = SpareFor(array))
        {
            StartRebuild(array, *row, *spare, now);
        }
    }
}

void CRaidModel::Fail(std::string_view name, SimTime now)
{
    TakeOut(IndexOf(name), DriveState::Failed, now);
}

void CRaidModel::SetPlugged(std::string_view name, bool isPlugged, SimTime now)
{
    const std::size_t index = IndexOf(name);
    RaidDrive& drive = m_drives.at(index);
    if (drive.disk.IsPresent() == isPlugged)
    {
        return;
    }
    drive.disk.SetPresent(isPlugged, now);
    if (isPlugged)
    {
        drive.state = drive.wasMember ? DriveState::Foreign : DriveState::Free;
    }
    else
    {
        TakeOut(index, DriveState::Free, now);
    }
}

void CRaidModel::Replace(std::string_view name, const std::string& serial, SimTime now)
{
    SetPlugged(name, false, now);
    const std::size_t index = IndexOf(name);
    RaidDrive& drive = m_drives.at(index);
    drive.disk.Replace(serial, now);
    drive.wasMember = false;
    drive.errors = {};
    drive.state = DriveState::Free;
    for (RaidArray& array : m_arrays)
    {
        for (ArrayRow& row : array.rows)
        {
            if (!row.drive && row.home == index && !array.isLost && array.task != VolumeTask::Rebuild)
            {
                StartRebuild(array, row, index, now);
            }
        }
    }
}

void CRaidModel::MakeForeign(std::string_view name, SimTime now)
{
    TakeOut(IndexOf(name), DriveState::Foreign, now);
}

void CRaidModel::Clear(std::string_view name)
{
    RaidDrive& drive = m_drives.at(IndexOf(name));
    if (drive.state == DriveState::Foreign || drive.state == DriveState::Failed)
    {
        drive.state = DriveState::Free;
        drive.wasMember = false;
    }
}

void CRaidModel::StartCheck(int volume, SimTime now)
{
    RaidArray* const array = FindVolume(volume);
    if (array != nullptr && array->task == VolumeTask::None && !array->isLost)
    {
        array->task = VolumeTask::Check;
        array->taskStart = now;
        array->taskLength = m_taskLength;
    }
}
} // namespace sim
