#include "manager/Corvane.h"

#include "frame/Log.h"
#include "frame/Xml.h"
#include "hwmon/Chips.h"
#include "hwmon/PortIo.h"
#include "manager/DiskSlots.h"
#include "raid/Controller.h"
#include "raid/RaidTools.h"
#include "storage/DrivePrep.h"

#include <algorithm>
#include <chrono>

namespace
{
constexpr std::chrono::milliseconds kStartPollPeriod{100};
constexpr std::chrono::seconds kHeartbeatPeriod{1};
constexpr std::chrono::seconds kHousekeepingPeriod{5};
} // namespace

Environment SystemEnvironment()
{
    // Shared by the functions, which live as long as the environment and so longer than the chip.
    const auto ports = std::make_shared<CSystemPortIo>();
    const auto clock = std::make_shared<CSystemClock>();
    return {.paths = {},
            .clock = clock,
            .detectSuperIo = [ports] { return DetectSuperIo(*ports); },
            .createSuperIo = [ports, clock](const std::string& motherboardVendor, const SuperIoInfo& info)
            { return CreateSuperIo(motherboardVendor, info, *ports, *clock); },
            .lsi = {.version = ExecuteStorcliVersion,
                    .create = [clock](bool qSeries) { return CreateLsiController(qSeries, clock); }},
            .adaptec = {.version = ExecuteArcconfVersion,
                        .create = [clock](bool) { return CreateArcController(clock); }}};
}

CCorvane::CCorvane(Environment environment)
    : m_environment(std::move(environment)),
      m_selfTests(*m_environment.clock, m_environment.paths.badSelfTestReport),
      m_loops(m_stopped),
      m_ipmi(m_environment.paths.ipmiFile)
{
    SetUpTimers();
    LoadConfiguration();
}

CCorvane::~CCorvane() = default;

void CCorvane::SetUpTimers()
{
    m_loops.SetWork(TimerId::Heartbeat, {.period = [] { return kHeartbeatPeriod; },
                                         .beforeRearm = SendHeartbeat,
                                         .afterRearm = [this] { m_coreDumps.UpdateCoreDumps(); }});
    m_loops.SetWork(TimerId::Housekeeping, {.period = [] { return kHousekeepingPeriod; },
                                            .beforeRearm = [this] { Housekeeping(); },
                                            .afterRearm = {}});
    m_loops.SetWork(TimerId::Scan,
                    {.period = [this] { return std::chrono::seconds(m_settings.refreshIntervalMs / 1000); },
                     .beforeRearm = [this] { ScanStorage(); },
                     .afterRearm = {}});
    m_loops.SetWork(TimerId::Smart,
                    {.period = [this] { return std::chrono::seconds(m_settings.smartIntervalSec); },
                     .beforeRearm = [this] { RefreshAllSmart(); },
                     .afterRearm = {}});
}

void CCorvane::Run()
{
    // The chip's ports are acquired here, on this thread: port permissions belong to the thread that took
    // them and to the threads it creates afterwards. The heartbeat thread, which pings the watchdog, is
    // created below.
    const SuperIoInfo chip = m_environment.detectSuperIo();
    if (chip.chipId == kNoChipId && m_settings.watchdogEnabled)
    {
        Log(LogError, "SENSORS: Watchdog timer not started");
    }
    m_started = true;
    RefreshSystemInfo();

    m_superIo = m_environment.createSuperIo(m_systemInfo.motherboardVendor, chip);
    m_noSuperIoSensors = m_superIo == nullptr;
    if (m_superIo != nullptr)
    {
        Log(LogInfo, "SENSORS: Found %s", m_superIo->Description().c_str());
        m_superIo->SetMotherboard(m_systemInfo.motherboardVendor, m_systemInfo.motherboardModel);
    }
    else
    {
        Log(LogError, "SENSORS: Disabled sensors - unsupported or no super I/O.");
    }
    DetectTools();
    if (!m_stopped)
    {
        StartOperation();
    }
    StopSensorsAndWatchdog();
    m_superIo.reset();
}

void CCorvane::StartOperation()
{
    DetectStorageHardware();
    SaveConfiguration();
    m_loops.ArmTimers();
    m_loops.StartHeartbeatThread();
    // Only now, so that the watchdog is never armed without somebody to ping it.
    m_loops.PostMain([this] { StartSensorsAndWatchdog(); });
    m_loops.RunMain();
}

void CCorvane::StartSensorsAndWatchdog()
{
    if (m_stopped)
    {
        return;
    }
    m_sensorsStartTried = true;
    if (m_superIo != nullptr)
    {
        CXmlDocument boardFile;
        boardFile.LoadFile(m_environment.paths.boardFile);
        if (m_settings.sensorsEnabled && !m_sensorsActive)
        {
            m_sensorsActive = m_superIo->InitHwMonitoring(boardFile);
        }
        if (m_settings.watchdogEnabled && !m_watchdogRunning && !m_stopped)
        {
            m_watchdogRunning = m_superIo->StartWatchdog(m_settings.watchdogTimeoutSec, boardFile);
        }
    }
    SaveConfiguration();
}

void CCorvane::StopSensorsAndWatchdog()
{
    if (m_superIo == nullptr)
    {
        return;
    }
    if (m_sensorsActive)
    {
        Log(LogInfo, "SENSORS: Stopping sensor monitoring.");
        m_superIo->StopHwMonitoring();
        m_sensorsActive = false;
    }
    if (m_watchdogRunning)
    {
        Log(LogInfo, "SENSORS: Stopping watchdog.");
        m_superIo->StopWatchdog();
        m_watchdogRunning = false;
    }
}

void CCorvane::Stop()
{
    m_stopped = true;
    m_loops.Stop();
}

void CCorvane::WaitUntilStarted() const
{
    while (!m_started && !m_stopped)
    {
        m_environment.clock->Sleep(kStartPollPeriod);
    }
}

void CCorvane::Housekeeping()
{
    CheckRaidPrep();
    bool prepared = false;
    for (const auto& disk : m_disks)
    {
        prepared |= CheckDrivePrep(*disk);
    }
    if (prepared)
    {
        RefreshSystemInfo();
        SaveConfiguration();
    }
    if (m_superIo != nullptr && m_sensorsActive)
    {
        m_superIo->PollSensors();
    }
    SendStatusUpdate();
    if (m_noSuperIoSensors && m_ipmi.IsEnabled())
    {
        m_ipmi.Poll(*m_environment.clock);
    }
}

// The system description, and what hangs on it: which data drives stand on which disk.
void CCorvane::RefreshSystemInfo()
{
    RunSysInfo(m_systemInfo);
    AssociateDisks();
}

void CCorvane::AssociateDisks()
{
    AssociateDiskDrives(m_disks, m_systemInfo);
}

DiskContext CCorvane::MakeDiskContext()
{
    return {.okDiskStates = CController::s_okDiskStates,
            .selfTests = m_selfTests,
            .now = m_environment.clock->UtcSeconds()};
}

void CCorvane::LogTitle(const char* title) const
{
    if (m_selfTests.IsToolLogging())
    {
        Log(LogInfo, "%s", title);
    }
}

void CCorvane::PostDocument(const void* data, std::int64_t length, const char* title, DocumentHandler handler)
{
    // Gives the buffer back when the handler is destroyed, run or unrun; a null buffer that was kept, too.
    const std::shared_ptr<const void> buffer(data, ReleaseBuffer);
    m_loops.PostMain(
        [this, length, title, handler, buffer]
        {
            if (m_stopped)
            {
                return;
            }
            LogTitle(title);
            const std::int64_t bytes = buffer != nullptr ? std::max<std::int64_t>(length, 0) : 0;
            (this->*handler)({static_cast<const char*>(buffer.get()), static_cast<std::size_t>(bytes)});
        });
}

void CCorvane::PostStatusUpdate(const void* data, std::int32_t length)
{
    PostDocument(data, length, "CORVANEPI: Status Update", &CCorvane::ProcessStatusUpdate);
}

bool CCorvane::PostConfigUpdate(std::uint32_t length, const void* data)
{
    if (length == 0)
    {
        return false;
    }
    PostDocument(data, length, "CORVANEPI: Config update", &CCorvane::ProcessConfigUpdate);
    return true;
}

void CCorvane::PostWatchdogPing()
{
    m_loops.PostHeartbeat([this] { PingWatchdog(); });
}

void CCorvane::PingWatchdog()
{
    if (m_stopped)
    {
        return;
    }
    LogTitle("CORVANEPI: Ping Watchdog");
    if (m_superIo != nullptr && m_watchdogRunning)
    {
        m_superIo->PingWatchdog();
    }
}
