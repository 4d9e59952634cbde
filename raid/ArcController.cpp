#include "raid/ArcController.h"

#include "frame/Ipc.h"
#include "frame/Log.h"
#include "frame/Text.h"

#include <algorithm>

namespace
{
constexpr const char* kName = "1";

// Smaller free drives are left alone: no array of them is worth making.
constexpr std::int32_t kMinArrayDiskGB = 512;

// Result codes of a hot-spare request.
constexpr std::int32_t kDone = 0;
constexpr std::int32_t kNotAdded = 1;
constexpr std::int32_t kNotRemoved = 2;

// Drives on the second connector are numbered on from the end of the first, in the order of their devices.
std::map<ArcDriveId, std::int32_t> NumberSecondConnector(const ArcConfig& config)
{
    std::vector<ArcDriveId> drives;
    for (const ArcHardDrive& drive : config.hardDrives)
    {
        if (drive.connector == 1)
        {
            drives.push_back(drive.id);
        }
    }
    std::stable_sort(drives.begin(), drives.end(),
                     [](const ArcDriveId& left, const ArcDriveId& right)
                     { return left.device < right.device; });
    std::map<ArcDriveId, std::int32_t> numbers;
    for (const ArcDriveId& drive : drives)
    {
        numbers.emplace(drive, static_cast<std::int32_t>(numbers.size()));
    }
    return numbers;
}

// The array whose drives include this one, null without one.
const ArcArray* FindArrayOf(const ArcConfig& config, const ArcDriveId& drive)
{
    const auto found = std::find_if(
        config.arrays.begin(), config.arrays.end(),
        [&drive](const ArcArray& array)
        { return std::find(array.drives.begin(), array.drives.end(), drive) != array.drives.end(); });
    return found != config.arrays.end() ? &*found : nullptr;
}

// The array of the first data volume that has one, null without one.
const ArcArray* FindDataArray(const ArcConfig& config)
{
    for (const ArcLogicalDrive& drive : config.logicalDrives)
    {
        if (!IsDataLevel(drive.raidLevel))
        {
            continue;
        }
        const auto found =
            std::find_if(config.arrays.begin(), config.arrays.end(),
                         [&drive](const ArcArray& array) { return array.logicalDriveId == drive.id; });
        if (found != config.arrays.end())
        {
            return &*found;
        }
    }
    return nullptr;
}

std::string UnitName(const ArcArray* array)
{
    return array != nullptr && array->logicalDriveId ? std::to_string(*array->logicalDriveId) : "";
}

std::string ErrorFlags(const ArcHardDrive& drive)
{
    std::vector<std::string> flags;
    for (const std::string& name : drive.errorNames)
    {
        flags.push_back("[" + name + "]");
    }
    return Join(flags, " ");
}
} // namespace

ArcController::ArcController(std::shared_ptr<const CClock> clock)
    : CController(kName, {"Optimal"}, {"Online", "Ready", "Dedicated Hot-Spare"}, std::move(clock))
{
}

ControllerRefresh ArcController::RefreshController()
{
    ArcConfig config = arcconf::ExecuteControllerInfo();
    TellRefreshError(kRefreshControllerKey, "controller", config.error);
    if (!config.error.empty())
    {
        return {};
    }
    const bool changed = m_config != config;
    m_config = std::move(config);
    m_serialNumber = TrimSpaces(m_config->serialNumber);
    m_model = m_config->model;
    m_driverVersion = m_config->driverVersion;
    m_firmwareVersion = m_config->firmwareVersion;
    m_numPhys = static_cast<std::uint32_t>(m_config->numPhys);
    m_autoRebuild = m_config->autoRebuild;
    m_numDrives = static_cast<std::uint32_t>(m_config->hardDrives.size());
    MergeUnits();
    return {.changed = changed, .ok = true};
}

void ArcController::RefreshVolumes()
{
    ArcConfig config = arcconf::ExecuteControllerInfo();
    TellRefreshError(kRefreshVolumesKey, "volumes", config.error);
    if (!config.error.empty())
    {
        FailUnits(config.error);
        return;
    }
    m_config = std::move(config);
    MergeUnits();
}

void ArcController::MergeUnits()
{
    std::vector<RaidVolume> volumes;
    for (const ArcLogicalDrive& drive : m_config->logicalDrives)
    {
        volumes.push_back({.name = drive.name,
                           .raidLevel = drive.raidLevel,
                           .sizeGB = drive.sizeGB,
                           .state = drive.state,
                           .task = drive.task});
    }
    MergeVolumes(volumes);
}

DiskList ArcController::RefreshDisks()
{
    ArcConfig config = arcconf::ExecuteControllerInfo();
    TellRefreshError(kRefreshDisksKey, "disks", config.error);
    if (!config.error.empty())
    {
        return {};
    }
    m_config = std::move(config);

    ArcSmartInfo smart = arcconf::ExecuteDisksSmartInfo();
    TellRefreshError(kRefreshSmartKey, "SMART data", smart.error);
    if (smart.error.empty())
    {
        m_smartData = std::move(smart.drives);
    }

    const std::map<ArcDriveId, std::int32_t> secondConnector = NumberSecondConnector(*m_config);
    DiskList disks;
    for (const ArcHardDrive& drive : m_config->hardDrives)
    {
        const auto number = secondConnector.find(drive.id);
        disks.push_back(BuildDisk(drive, drive.connector == 1 ? number->second : 0));
    }
    return disks;
}

std::shared_ptr<CDisk> ArcController::BuildDisk(const ArcHardDrive& drive,
                                                std::int32_t numberOnSecondConnector)
{
    const bool first = drive.connector == 0;
    const std::int32_t port = first ? drive.slot : numberOnSecondConnector + m_config->numPhys - 2;
    std::shared_ptr<CDisk> disk = MakeDisk(DriveName(drive.id), port);
    disk->m_volumeIndex = first ? drive.slot : numberOnSecondConnector;
    disk->m_serialNumber = TrimSpaces(drive.serialNumber);
    disk->m_model = drive.model;
    disk->m_firmwareVersion = drive.firmwareLevel;
    if (drive.sizeGB)
    {
        disk->m_capacity = static_cast<std::uint32_t>(*drive.sizeGB);
    }
    disk->m_status = drive.state;
    disk->m_selfTestSupport = false; // the self-test tool does not reach drives behind this controller
    if (drive.spareOfArray)
    {
        disk->m_hotSpare = HotSpareType::Dedicated;
        disk->m_unitName = UnitName(FindArray(*drive.spareOfArray));
    }
    else
    {
        disk->m_unitName = UnitName(FindArrayOf(*m_config, drive.id));
    }
    const std::string flags = ErrorFlags(drive);
    if (SetLastError(disk->m_name + kSmartWarningsKeyEnding, flags))
    {
        Log(LogWarning, "%s RAID error flags:%s", disk->m_name.c_str(), flags.c_str());
    }
    return disk;
}

const ArcArray* ArcController::FindArray(std::int32_t arrayId) const
{
    const auto found = std::find_if(m_config->arrays.begin(), m_config->arrays.end(),
                                    [arrayId](const ArcArray& array) { return array.id == arrayId; });
    return found != m_config->arrays.end() ? &*found : nullptr;
}

std::optional<std::int32_t> ArcController::GetDiskTemperature(const std::string& diskName) const
{
    const auto id = ParseDriveName(diskName);
    if (!id || !m_config)
    {
        return std::nullopt;
    }
    const auto found = std::find_if(m_config->hardDrives.begin(), m_config->hardDrives.end(),
                                    [&id](const ArcHardDrive& drive) { return drive.id == *id; });
    return found != m_config->hardDrives.end() ? found->temperature : std::nullopt;
}

std::map<std::int32_t, SmartAttribute>
ArcController::GetDiskSmartAttributes(const std::string& diskName) const
{
    std::map<std::int32_t, SmartAttribute> attributes;
    const auto id = ParseDriveName(diskName);
    if (!id || !m_smartData || !m_smartData->contains(*id))
    {
        return attributes;
    }
    for (const ArcSmartAttribute& row : m_smartData->at(*id))
    {
        attributes.emplace(row.id, SmartAttribute{.id = static_cast<std::uint32_t>(row.id),
                                                  .currentValue = static_cast<std::uint32_t>(row.current),
                                                  .worstValue = static_cast<std::uint32_t>(row.worst),
                                                  .thresholdValue = static_cast<std::uint32_t>(row.threshold),
                                                  .rawValue = static_cast<std::uint32_t>(row.raw),
                                                  .advisoryBit = row.current < row.threshold});
    }
    return attributes;
}

std::vector<UnconfiguredDisk> ArcController::GetUnconfiguredDisks() const
{
    std::vector<UnconfiguredDisk> disks;
    for (const ArcHardDrive& drive : m_config ? m_config->hardDrives : std::vector<ArcHardDrive>{})
    {
        if (!drive.spareOfArray && drive.state == "Ready" && drive.sizeGB && *drive.sizeGB >= kMinArrayDiskGB)
        {
            disks.push_back({.name = DriveName(drive.id), .sizeGB = *drive.sizeGB});
        }
    }
    return disks;
}

void ArcController::StartCreateVolume()
{
    std::vector<ArcDriveId> drives;
    for (const std::string& name : m_prep.disks)
    {
        if (const auto id = ParseDriveName(name))
        {
            drives.push_back(*id);
        }
    }
    m_prep.job = arcconf::StartCreateLogicalDrive(m_prep.raidLevel, drives);
}

CreateVolumeResult ArcController::FinishCreateVolume()
{
    const int exitCode = tq::ipc::ExitCode(m_prep.job->WaitForExit());
    const std::string error =
        CheckArcconfResponse("createvol", {.exitCode = exitCode, .output = m_prep.job->StandardOutput()});
    if (!error.empty())
    {
        return {.text = "vol create error - " + error};
    }
    // Not kept: the next scan is to see that the configuration has changed.
    const ArcConfig config = arcconf::ExecuteControllerInfo();
    if (!config.error.empty())
    {
        return {.text = "vol info error - " + config.error};
    }
    const ArcLogicalDrive* volume = FindDataDrive(config);
    if (volume == nullptr)
    {
        return {.text = "new vol name not found"};
    }
    return {.ok = true, .text = volume->name};
}

HotSpareResult ArcController::ConfigureHotSpare(const std::string& diskName, bool enable)
{
    const auto drive = ParseDriveName(diskName);
    if (!enable)
    {
        std::string error = drive ? arcconf::ExecuteDeleteHotspare(*drive) : "";
        const bool done = drive && error.empty();
        return {.code = done ? kDone : kNotRemoved, .text = std::move(error)};
    }
    const ArcArray* array = drive && m_config ? FindDataArray(*m_config) : nullptr;
    if (array == nullptr)
    {
        return {.code = kNotAdded, .text = {}};
    }
    std::string error = arcconf::ExecuteAddHotspare(*drive, array->id);
    if (!error.empty())
    {
        return {.code = kNotAdded, .text = std::move(error)};
    }
    return {.code = kDone, .text = UnitName(array)};
}
