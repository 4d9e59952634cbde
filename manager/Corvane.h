// The plug-in's one manager: owner of everything and dispatcher of the work. Created by Load, brought to life
// by Run, ended by Stop, destroyed by Unload. Its sources are split by subject: Corvane.cpp (life and loops),
// Configuration.cpp, HostRequests.cpp, StatusDocument.cpp, Tools.cpp, StoragePasses.cpp.
#pragma once

#include "frame/HostMessage.h"
#include "hwmon/CoreDumps.h"
#include "hwmon/Ipmi.h"
#include "hwmon/SystemInfo.h"
#include "manager/Environment.h"
#include "manager/EventLoops.h"
#include "manager/Schedule.h"
#include "manager/Settings.h"
#include "manager/SystemDescription.h"
#include "storage/Disk.h"
#include "storage/SelfTest.h"
#include "storage/SmartConfig.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <set>
#include <string>

class CController;
class CXmlDocument;
class TiXmlElement;

// Tools found at start, bits of m_features.
inline constexpr std::uint32_t kFeatureSmartctl = 0x01;
inline constexpr std::uint32_t kFeatureStorcli = 0x02;
inline constexpr std::uint32_t kFeatureArcconf = 0x04;

// Public operations say their thread; everything private runs on the main loop (or in Run before the loop
// starts), one handler at a time, so the members need no lock. Exceptions: m_started, m_stopped and
// m_watchdogRunning are atomic, and m_superIo is written only while the heartbeat thread does not run.
class CCorvane
{
public:
    // Reads the system description and the configuration.
    explicit CCorvane(Environment environment);
    virtual ~CCorvane();

    CCorvane(const CCorvane&) = delete;
    CCorvane& operator=(const CCorvane&) = delete;

    // Lends the calling thread to the main loop; returns after Stop. Throws what a handler threw.
    void Run();

    // Any thread, once.
    void Stop();

    // Any thread: blocks until Run has started or Stop was called.
    void WaitUntilStarted() const;

    // Any thread. The document is processed on the main loop and its buffer released afterwards, also when it
    // is dropped.
    void PostStatusUpdate(const void* data, std::int32_t length);

    // The same for a configuration change; false, without keeping the buffer, when `length` is 0.
    bool PostConfigUpdate(std::uint32_t length, const void* data);

    // Any thread.
    void PostWatchdogPing();

private:
    using DocumentHandler = void (CCorvane::*)(const std::string& text);

    // Corvane.cpp
    void SetUpTimers();
    void StartOperation();
    void StartSensorsAndWatchdog();
    void StopSensorsAndWatchdog();
    void Housekeeping();
    void PingWatchdog();
    void PostDocument(const void* data, std::int64_t length, const char* title, DocumentHandler handler);
    void LogTitle(const char* title) const;
    void RefreshSystemInfo();
    [[nodiscard]] DiskContext MakeDiskContext();

    // Configuration.cpp
    void LoadConfiguration();
    void ReadConfiguration(const CXmlDocument& document);
    void ReadStoredDisks(const TiXmlElement& storage);
    void BuildConfigDocument(CXmlDocument& document);
    void AddStorageConfig(TiXmlElement& storage);
    void AddWatchdogConfig(TiXmlElement& root);
    void AddSensorConfig(TiXmlElement& root);
    void SaveConfiguration();

    // HostRequests.cpp
    void ProcessStatusUpdate(const std::string& text);
    void AcceptSensorRefresh(const TiXmlElement& root);
    bool ProcessStorageRequest(const TiXmlElement& storage);
    void ProcessRaidPrepRequest(const TiXmlElement& volume);
    void ProcessConfigUpdate(const std::string& text);
    void ApplyStorageChange(const TiXmlElement& storage);
    bool ApplyRefresh(const TiXmlElement& first);
    bool ApplyDiskChanges(const TiXmlElement& storage);
    void RunSelfTestCommand(int command, const DiskList& disks);
    [[nodiscard]] std::shared_ptr<CDisk> FindDisk(const std::string& name) const;

    // StatusDocument.cpp
    void SendStatusUpdate();
    bool AttachSensors(TiXmlElement& root);

    // Tools.cpp
    void DetectTools();

    // StoragePasses.cpp
    void DetectStorageHardware();
    void ScanStorage();
    void UpdateStorage(bool full);
    bool RefreshControllers();
    int RefreshStorage(bool thorough);
    void ScanDisks(bool thorough, DiskList& scanned, bool& scanFailed);
    int MergeScan(const DiskList& scanned, bool scanFailed);
    void AssociateDisks();
    void RefreshAllSmart();
    void CheckPreparation();
    void CheckRaidPrep();
    void CheckSelfTestSchedule(bool full);
    void DailyHealthLog();
    void WriteHealthLog(const std::tm& local) const;

    const Environment m_environment;

    SystemDescription m_description;
    Settings m_settings;
    std::uint32_t m_features = 0;
    SelfTestSchedule m_selfTestSchedule;
    std::int64_t m_lastSensorsRefresh = 0; // seconds since 1970
    std::shared_ptr<CController> m_controller;
    DiskList m_disks; // known disks; never removed, a missing one shows as "Offline"
    std::set<std::string> m_ignoredDevices;
    SmartConfig m_smartConfig;
    tq::corvanepi::SelfTestManager m_selfTests;
    std::unique_ptr<CSuperIo> m_superIo;
    bool m_fullStatusSent = false;
    bool m_refreshing = false; // a storage refresh is pending
    bool m_dailyLogArmed = true;
    bool m_sensorsStartTried = false; // the queued start of Run has been reached
    bool m_sensorsActive = false;
    bool m_sensorsRefreshRequested = false;
    SystemInfo m_systemInfo;
    std::atomic<bool> m_watchdogRunning = false;
    std::atomic<bool> m_stopped = false; // set once, never cleared
    std::atomic<bool> m_started = false;
    bool m_noSuperIoSensors = false;
    CCoreDumpSwitch m_coreDumps; // heartbeat thread only

    // Behind everything its handlers use, so that it is destroyed before that; handlers that never ran give
    // their buffers back on the way.
    CEventLoops m_loops;
    IpmiMonitor m_ipmi;
};
