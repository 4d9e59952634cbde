// CCorvane: when the storage picture is rebuilt, and in which order.
#include "frame/Log.h"
#include "frame/Xml.h"
#include "manager/Corvane.h"
#include "manager/DiskSlots.h"
#include "raid/Controller.h"
#include "storage/Discovery.h"
#include "storage/DiskMerge.h"
#include "storage/DrivePrep.h"

#include <ctime>
#include <stdexcept>

namespace
{
using tq::corvanepi::SelfTestCommand;

std::tm LocalTime(std::int64_t seconds)
{
    const auto time = static_cast<std::time_t>(seconds);
    std::tm local{};
    if (localtime_r(&time, &local) == nullptr)
    {
        throw std::runtime_error("could not convert calendar time to local time");
    }
    return local;
}

bool HangsOnController(const CDisk& disk)
{
    return disk.m_controller != nullptr || !disk.m_controllerName.empty();
}

// Drives outside every unit come and go with the controller's own bookkeeping: their absence is no event.
bool RemovalCounts(const CDisk& disk)
{
    return !disk.m_unitName.empty() || (!HangsOnController(disk) && disk.m_otherName.empty());
}
} // namespace

void CCorvane::DetectStorageHardware()
{
    RefreshControllers();
    CXmlDocument boardFile;
    if (boardFile.LoadFile(m_environment.paths.boardFile))
    {
        ReadSmartConfig(boardFile, m_systemInfo.motherboardModel, m_smartConfig);
    }
    Log(LogInfo, "DetectStorageHardware calling UpdateStorage");
    UpdateStorage(true);
    if (!m_stopped)
    {
        Housekeeping();
    }
}

void CCorvane::ScanStorage()
{
    if ((m_controller != nullptr && m_controller->IsPrepBusy()) || m_refreshing || m_stopped)
    {
        return;
    }
    if (RefreshControllers())
    {
        m_refreshing = true;
        Log(LogDebug, "ScanStorage: Refresh start");
    }
    if (m_stopped)
    {
        return;
    }
    Log(LogDebug, "ScanStorage calling UpdateStorage");
    UpdateStorage(false);
}

// True for a controller that is new, or whose configuration has changed.
bool CCorvane::RefreshControllers()
{
    if (m_controller != nullptr)
    {
        return m_controller->RefreshController().changed;
    }
    std::shared_ptr<CController> candidate;
    if ((m_features & kFeatureStorcli) != 0)
    {
        candidate = m_environment.lsi.create(m_description.isQSeries);
    }
    else if ((m_features & kFeatureArcconf) != 0)
    {
        candidate = m_environment.adaptec.create(m_description.isQSeries);
        if (candidate != nullptr)
        {
            Log(LogWarning,
                "Adaptec RAID controller detected - self-test operations are not supported for RAID-attached disks");
        }
    }
    if (candidate == nullptr || !candidate->RefreshController().ok)
    {
        return false;
    }
    m_controller = candidate;
    return true;
}

void CCorvane::ScanDisks(bool thorough, DiskList& scanned, bool& scanFailed)
{
    if (m_controller != nullptr)
    {
        MergeDisks(m_controller->RefreshDisks(), scanned);
    }
    if ((m_features & kFeatureSmartctl) == 0 || m_stopped)
    {
        return;
    }
    const DiscoveryContext context{.removableDevices = m_systemInfo.removableDevices,
                                   .knownDisks = m_disks,
                                   .ignoredDevices = m_ignoredDevices};
    scanFailed = !ScanSmartctlDisks(context, scanned, thorough);
}

int CCorvane::MergeScan(const DiskList& scanned, bool scanFailed)
{
    struct Before
    {
        std::shared_ptr<CDisk> disk;
        std::string unitName;
        std::int32_t missedScans;
        bool unseen; // belongs to the scan that failed: nothing was seen, so nothing was missed
    };
    std::vector<Before> before;
    before.reserve(m_disks.size());
    for (const auto& disk : m_disks)
    {
        disk->m_pollError = scanFailed && disk->m_source == DiskSource::Smartctl;
        before.push_back({disk, disk->m_unitName, disk->m_missedScans, disk->m_pollError});
    }

    int changes = MergeDisks(scanned, m_disks);
    for (const Before& old : before)
    {
        CDisk& disk = *old.disk;
        if (old.unseen)
        {
            disk.m_missedScans = old.missedScans;
        }
        changes += disk.m_unitName != old.unitName ? 1 : 0;
        if (old.missedScans == 0 && disk.m_missedScans == 1 && RemovalCounts(disk))
        {
            ++changes;
            Log(LogWarning, "Plugin detected disk '%s' has been removed", disk.m_name.c_str());
        }
    }
    return changes;
}

int CCorvane::RefreshStorage(bool thorough)
{
    DiskList scanned;
    bool scanFailed = false;
    ScanDisks(thorough, scanned, scanFailed);
    if (m_stopped)
    {
        return 0; // the link may have been closed under the scan: what it did not see says nothing
    }
    const int changes = MergeScan(scanned, scanFailed);

    AssignDiskSlots(m_disks, m_environment.paths.bySlot);
    if (m_controller == nullptr)
    {
        AssignSystemSlots(m_disks, m_systemInfo.driveSlots, m_smartConfig.driveSlots);
    }
    for (const auto& disk : m_disks)
    {
        disk->UpdateHotSpareCapability();
    }
    if (thorough)
    {
        AssociateDisks();
    }
    return changes;
}

void CCorvane::UpdateStorage(bool full)
{
    const int changes = m_stopped ? 0 : RefreshStorage(full || m_refreshing);
    if (m_stopped)
    {
        return;
    }
    if (m_controller != nullptr)
    {
        m_controller->RefreshVolumes();
        if (m_stopped)
        {
            return; // the same holds for the volumes
        }
    }

    const bool changed = full || changes > 0;
    if (changed || m_refreshing)
    {
        RefreshAllSmart();
        if (m_stopped)
        {
            return; // reports cut off by the end must not become alarms
        }
    }
    CheckSelfTestSchedule(full);
    if (changed || m_refreshing)
    {
        for (const auto& disk : m_disks)
        {
            disk->SetUserRange(std::nullopt);
        }
        if (full || m_refreshing)
        {
            Log(LogInfo, "RAIDPREP: UpdateStorage calling SetSupportsPrep");
            CheckPreparation();
            m_refreshing = false;
        }
        SaveConfiguration();
    }

    const DiskContext context = MakeDiskContext();
    for (const auto& disk : m_disks)
    {
        disk->EvaluateWarnings(context);
    }
    SendStatusUpdate();
    DailyHealthLog();
}

void CCorvane::RefreshAllSmart()
{
    if ((m_features & kFeatureSmartctl) == 0)
    {
        return;
    }
    for (const auto& disk : m_disks)
    {
        if (m_stopped)
        {
            return;
        }
        disk->RefreshSmart(MakeDiskContext()); // a context for each disk: its time is that of the report
    }
}

void CCorvane::CheckPreparation()
{
    if (m_description.isKSeries)
    {
        Log(LogInfo, "DRIVEPREP: K-Series system; data drive prep not applicable.");
        return;
    }
    if (m_description.raidLevel && m_controller != nullptr)
    {
        std::set<std::string> mountedUnits;
        for (const auto& [key, paths] : m_systemInfo.mountPoints)
        {
            mountedUnits.insert(key);
        }
        m_controller->SetSupportsPrep(*m_description.raidLevel, mountedUnits);
        SaveConfiguration();
        m_controller->SendPrepStatus();
        return;
    }
    FindDrivesNeedingPrep(m_disks, m_systemInfo.drivesNeedingPrep);
}

void CCorvane::CheckRaidPrep()
{
    if (!m_description.raidLevel || m_controller == nullptr || !m_controller->CheckRaidPrep(false))
    {
        return;
    }
    Log(LogInfo, "RAIDPREP: CheckRaidPrep refreshing mounts and rescanning hardware");
    RefreshSystemInfo();
    if (m_stopped)
    {
        return; // cut off, the description has no mounts
    }
    ScanStorage();
    AssociateDisks(); // a pass of a host's request in between may have named the unit only in this scan
    SaveConfiguration();
}

void CCorvane::CheckSelfTestSchedule(bool full)
{
    const auto execute = [this](int command)
    {
        if (!m_stopped)
        {
            m_selfTests.ExecuteCommand(command, m_disks, m_environment.clock->UtcSeconds(), m_smartConfig);
        }
    };
    const auto report = static_cast<int>(SelfTestCommand::InternalReport);
    if (full)
    {
        execute(report);
    }
    const std::tm local = LocalTime(m_environment.clock->UtcSeconds());
    if (const auto test = DueTest(m_selfTestSchedule, local, m_settings.refreshIntervalMs / 1000))
    {
        execute(*test);
    }
    execute(report);
}

void CCorvane::DailyHealthLog()
{
    std::optional<int> logTime = ParseDailyLogTime(m_settings.dailyLogTime);
    if (!logTime)
    {
        m_settings.dailyLogTime = kDefaultDailyLogTime;
        logTime = ParseDailyLogTime(m_settings.dailyLogTime);
    }
    const std::tm local = LocalTime(m_environment.clock->UtcSeconds());
    const auto windowSec = static_cast<int>(m_settings.refreshIntervalMs / 1000);
    if (!IsDailyLogDue(logTime.value(), local, windowSec, m_dailyLogArmed))
    {
        return;
    }
    m_dailyLogArmed = false;
    WriteHealthLog(local);
    SaveConfiguration();
}

void CCorvane::WriteHealthLog(const std::tm& local) const
{
    char time[32];
    if (std::strftime(time, sizeof time, "%c", &local) == 0)
    {
        time[0] = '\0';
    }
    for (const auto& disk : m_disks)
    {
        if (!disk->IsPresent() || disk->m_attributes.empty())
        {
            continue;
        }
        const char* name = disk->m_name.c_str();
        Log(LogInfo, "Disk %s overall health assessment : %s", name, disk->m_status.c_str());
        Log(LogInfo, "| %s | %s | %s | %s | %s |", "Time", "Device", "SMART ID", "Value", "Threshold");
        for (const auto& [id, attribute] : disk->m_attributes)
        {
            Log(LogInfo, "| %s | %s | %03d | %03d | %03d |", time, name, id,
                static_cast<int>(attribute.currentValue), static_cast<int>(attribute.thresholdValue));
        }
    }
}
