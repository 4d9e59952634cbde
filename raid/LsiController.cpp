#include "raid/LsiController.h"

#include "frame/Ipc.h"
#include "frame/Log.h"
#include "frame/Text.h"
#include "raid/StorcliAnswer.h"

#include <algorithm>
#include <tuple>

namespace
{
// Smaller drives are never offered for a data array.
constexpr std::int32_t kSmallestArrayDiskGB = 512;

// The ATA attribute table within a drive's SMART data: entries of twelve bytes behind the revision.
constexpr std::size_t kTableOffset = 2;
constexpr std::size_t kTableEntries = 30;
constexpr std::size_t kEntrySize = 12;
static_assert(kTableOffset + kTableEntries * kEntrySize <= kSmartDataSize);

bool IsDataLevel(std::int32_t raidLevel)
{
    return raidLevel == 5 || raidLevel == 6;
}

// Position of the first data volume; end when there is none.
std::vector<StorcliVolume>::const_iterator FindDataVolume(const std::vector<StorcliVolume>& volumes)
{
    return std::find_if(volumes.begin(), volumes.end(),
                        [](const StorcliVolume& volume) { return IsDataLevel(volume.raidLevel); });
}

// What makes the controller's configuration another one; states and tasks come and go.
using VolumeIdentity = std::tuple<std::int32_t, std::int32_t, std::int32_t, std::string>;

std::vector<VolumeIdentity> Identities(const std::optional<std::vector<StorcliVolume>>& volumes)
{
    std::vector<VolumeIdentity> identities;
    if (volumes)
    {
        for (const StorcliVolume& volume : *volumes)
        {
            identities.emplace_back(volume.raidLevel, volume.vd, volume.dg, volume.name);
        }
    }
    return identities;
}

SmartAttribute ReadTableEntry(const std::uint8_t* entry)
{
    const auto flag = static_cast<std::uint32_t>(entry[1] | entry[2] << 8);
    const auto bit = [flag](int number) { return (flag >> number & 1) != 0; };
    return {.id = entry[0],
            .flag = flag,
            .currentValue = entry[3],
            .worstValue = entry[4],
            .offlineCollectionBit = bit(1),
            .performanceBit = bit(2),
            .errorRateBit = bit(3),
            .errorCountBit = bit(4),
            .selfPreserving = bit(5)};
}
} // namespace

CLsiController::CLsiController(bool smartThroughSmartctl, std::shared_ptr<const CClock> clock)
    : CController("/c0", {"Optl"}, {"Onln", "UGood", "GHS", "DHS", "HSP"}, std::move(clock)),
      m_smartThroughSmartctl(smartThroughSmartctl)
{
}

std::vector<UnconfiguredDisk> CLsiController::GetUnconfiguredDisks() const
{
    constexpr std::string_view kPrefix = "/c0/e";
    constexpr std::string_view kSlot = "/s";
    std::vector<UnconfiguredDisk> result;
    if (!m_disks)
    {
        return result;
    }
    for (const StorcliDisk& disk : *m_disks)
    {
        if (disk.foreign || disk.hotSpare != 0 || !disk.unconfiguredGood ||
            disk.sizeGB.value_or(0) < kSmallestArrayDiskGB)
        {
            continue;
        }
        std::string name = disk.name;
        if (const auto prefix = name.find(kPrefix); prefix != std::string::npos)
        {
            name.erase(prefix, kPrefix.size());
        }
        if (const auto slot = name.find(kSlot); slot != std::string::npos)
        {
            name.replace(slot, kSlot.size(), ":");
        }
        result.push_back({.name = name, .sizeGB = *disk.sizeGB});
    }
    return result;
}

void CLsiController::StartCreateVolume()
{
    m_prep.job = StartStorcliCreateVolume(m_prep.raidLevel, m_prep.disks);
}

CreateVolumeResult CLsiController::FinishCreateVolume()
{
    const int exitCode = tq::ipc::ExitCode(m_prep.job->WaitForExit());
    if (const std::string error = ParseStorcliChange(exitCode, m_prep.job->StandardOutput()); !error.empty())
    {
        return {.ok = false, .text = "vol create error - " + error};
    }
    // For itself: the scan that follows compares with the list from before.
    const StorcliVolumes list = ExecuteVolumesInfo();
    if (!list.error.empty())
    {
        return {.ok = false, .text = "vol info error - " + list.error};
    }
    const auto volume = FindDataVolume(list.volumes);
    if (volume == list.volumes.end())
    {
        return {.ok = false, .text = "new vol name not found"};
    }
    return {.ok = true, .text = volume->name};
}

std::string CLsiController::ConfigureCache()
{
    return ExecuteConfigureCache(m_prep.name);
}

HotSpareResult CLsiController::ConfigureHotSpare(const std::string& diskName, bool enable)
{
    constexpr std::int32_t kNotAdded = 1;
    constexpr std::int32_t kNotRemoved = 2;
    if (!enable)
    {
        const std::string error = ExecuteDeleteHotspare(diskName);
        return {.code = error.empty() ? 0 : kNotRemoved, .text = error};
    }
    if (!m_volumes)
    {
        return {.code = kNotAdded, .text = {}};
    }
    std::int32_t driveGroup = kNoDriveGroup;
    std::string serves = "global";
    if (HasRaid1Unit())
    {
        const auto volume = FindDataVolume(*m_volumes);
        // Without a drive group the tool would make a global spare, which the mirror could take.
        if (volume == m_volumes->end() || volume->dg == kNoDriveGroup)
        {
            return {.code = kNotAdded, .text = {}};
        }
        driveGroup = volume->dg;
        serves = volume->name;
    }
    const std::string error = ExecuteAddHotspare(diskName, driveGroup);
    return error.empty() ? HotSpareResult{.code = 0, .text = serves}
                         : HotSpareResult{.code = kNotAdded, .text = error};
}

ControllerRefresh CLsiController::RefreshController()
{
    StorcliControllerInfo info = ExecuteControllerInfo();
    TellRefreshError(kRefreshControllerKey, "controller", info.error);
    if (!info.error.empty())
    {
        return {};
    }
    const bool first = !m_ctlrInfo;
    m_serialNumber = TrimSpaces(info.serialNumber);
    m_model = info.model;
    m_driverVersion = info.driverVersion;
    m_firmwareVersion = info.firmwareVersion;
    m_autoRebuild = info.autoRebuild;
    m_hasSpinupPolicy = true;
    m_spinupStagger = static_cast<std::uint32_t>(info.spinupDelay);
    m_numPhys = static_cast<std::uint32_t>(info.numSlots);
    m_numDrives = static_cast<std::uint32_t>(info.drives.size());
    m_ctlrInfo = std::move(info);

    const auto before = Identities(m_volumes);
    RefreshVolumes();
    return {.changed = first || before != Identities(m_volumes), .ok = true};
}

void CLsiController::RefreshVolumes()
{
    StorcliVolumes list = ExecuteVolumesInfo();
    TellRefreshError(kRefreshVolumesKey, "volumes", list.error);
    if (!list.error.empty())
    {
        FailUnits(list.error);
        return;
    }
    std::vector<RaidVolume> volumes;
    volumes.reserve(list.volumes.size());
    for (const StorcliVolume& volume : list.volumes)
    {
        volumes.push_back({.name = volume.name,
                           .raidLevel = volume.raidLevel,
                           .sizeGB = volume.sizeGB,
                           .state = volume.state,
                           .task = volume.task});
    }
    MergeVolumes(volumes);
    m_volumes = std::move(list.volumes);
}

DiskList CLsiController::RefreshDisks()
{
    StorcliDisks list{.error = "unknown ctlr or vol config"};
    if (m_ctlrInfo && m_volumes)
    {
        list = ExecuteDisksInfo();
    }
    TellRefreshError(kRefreshDisksKey, "disks", list.error);
    if (!list.error.empty())
    {
        return {};
    }
    m_disks = std::move(list.disks);

    if (!m_smartThroughSmartctl)
    {
        StorcliSmart smart = ExecuteDisksSmartInfo();
        TellRefreshError(kRefreshSmartKey, "SMART data", smart.error);
        if (smart.error.empty())
        {
            m_smartData = std::move(smart.byDisk);
        }
    }

    const std::map<std::int32_t, std::int32_t> mirrorRows = MirrorRows();
    DiskList result;
    result.reserve(m_disks->size());
    for (const StorcliDisk& disk : *m_disks)
    {
        const auto row = mirrorRows.find(disk.did);
        result.push_back(BuildDisk(disk, row != mirrorRows.end() ? row->second : disk.slot));
        ReportErrorFlags(disk);
    }
    return result;
}

// Device ID -> row of the drives in RAID 1 drive groups.
std::map<std::int32_t, std::int32_t> CLsiController::MirrorRows() const
{
    std::map<std::int32_t, std::int32_t> rows;
    for (const StorcliPhysicalDrive& drive : m_ctlrInfo->drives)
    {
        if (drive.raidLevel == 1 && drive.row)
        {
            rows.emplace(drive.did, *drive.row);
        }
    }
    return rows;
}

std::shared_ptr<CDisk> CLsiController::BuildDisk(const StorcliDisk& disk, std::int32_t volumeIndex)
{
    auto result = MakeDisk(disk.name, disk.slot);
    result->m_serialNumber = TrimSpaces(disk.serialNumber);
    result->m_model = disk.model;
    result->m_firmwareVersion = disk.firmwareVersion;
    if (disk.sizeGB)
    {
        result->m_capacity = static_cast<std::uint32_t>(*disk.sizeGB);
    }
    result->m_linkSpeed = LeadingNumber(disk.linkSpeed);
    result->m_volumeIndex = volumeIndex;
    result->m_status = disk.state;
    result->m_unitName = UnitOf(disk);
    result->m_hotSpare = static_cast<HotSpareType>(disk.hotSpare);
    return result;
}

std::string CLsiController::UnitOf(const StorcliDisk& disk) const
{
    if (disk.foreign)
    {
        return m_foreignText;
    }
    if (!disk.dg)
    {
        return {};
    }
    const auto volume = std::find_if(m_volumes->begin(), m_volumes->end(),
                                     [&disk](const StorcliVolume& own) { return own.dg == *disk.dg; });
    return volume != m_volumes->end() ? volume->name : "";
}

void CLsiController::ReportErrorFlags(const StorcliDisk& disk)
{
    std::string flags;
    flags += disk.mediaErrors > 0 ? " [MEDIA]" : "";
    flags += disk.otherErrors > 0 ? " [OTHER]" : "";
    flags += disk.predictiveFailures > 0 ? " [PREDICTIVE]" : "";
    flags += disk.smartAlert ? " [SMART]" : "";
    if (SetLastError(disk.name + kSmartWarningsKeyEnding, flags))
    {
        Log(LogWarning, "%s RAID SMART error flags:%s", disk.name.c_str(), flags.c_str());
    }
}

const StorcliDisk* CLsiController::FindDisk(const std::string& diskName) const
{
    if (!m_disks)
    {
        return nullptr;
    }
    const auto found = std::find_if(m_disks->begin(), m_disks->end(),
                                    [&diskName](const StorcliDisk& disk) { return disk.name == diskName; });
    return found != m_disks->end() ? &*found : nullptr;
}

SmartctlTarget CLsiController::GetSmartctlDevice(const std::string& diskName) const
{
    const StorcliDisk* const disk = m_smartctlDevice.empty() ? nullptr : FindDisk(diskName);
    if (disk == nullptr || disk->did < 0)
    {
        return {};
    }
    return {.device = m_smartctlDevice, .deviceType = "sat+megaraid," + std::to_string(disk->did)};
}

std::string CLsiController::GetDiskDid(const std::string& diskName) const
{
    const StorcliDisk* const disk = FindDisk(diskName);
    return std::to_string(disk != nullptr ? disk->did : -1);
}

std::optional<std::int32_t> CLsiController::GetDiskTemperature(const std::string& diskName) const
{
    const StorcliDisk* const disk = FindDisk(diskName);
    return disk != nullptr ? disk->temperature : std::nullopt;
}

std::map<std::int32_t, SmartAttribute>
CLsiController::GetDiskSmartAttributes(const std::string& diskName) const
{
    std::map<std::int32_t, SmartAttribute> attributes;
    if (!m_smartData)
    {
        return attributes;
    }
    const auto found = m_smartData->find(diskName);
    if (found == m_smartData->end())
    {
        return attributes;
    }
    for (std::size_t i = 0; i < kTableEntries; ++i)
    {
        const SmartAttribute attribute = ReadTableEntry(found->second.data() + kTableOffset + i * kEntrySize);
        if (attribute.id != 0)
        {
            attributes.try_emplace(static_cast<std::int32_t>(attribute.id), attribute);
        }
    }
    return attributes;
}
