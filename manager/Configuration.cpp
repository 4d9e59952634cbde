// CCorvane: the configuration file, which is also the configuration document of the host.
#include "frame/Ipc.h"
#include "frame/Text.h"
#include "frame/Xml.h"
#include "frame/XmlFile.h"
#include "manager/Corvane.h"
#include "raid/Controller.h"
#include "storage/DiskMerge.h"

#include <tinyxml.h>

namespace
{
// "Status" of the Sensors element.
constexpr int kSensorsRunning = 0;
constexpr int kSensorsDisabled = 2;
constexpr int kSensorsNotRunning = 3;

void TakeText(const TiXmlElement& element, const char* attribute, std::string& value)
{
    if (const auto text = TextAttribute(element, attribute))
    {
        value = *text;
    }
}

void TakeInt(const TiXmlElement& element, const char* attribute, std::int32_t& value)
{
    value = IntAttribute(element, attribute).value_or(value);
}

// A disk as the last configuration knew it. Its serial number stands in for the name until a scan finds it.
std::shared_ptr<CDisk> RestoreDisk(const TiXmlElement& element, const std::string& serial)
{
    auto disk = std::make_shared<CDisk>(serial);
    disk->m_serialNumber = TrimSpaces(serial);
    disk->m_source = DiskSource::Config;
    TakeText(element, "OtherName", disk->m_otherName);
    TakeText(element, "Model", disk->m_model);
    TakeInt(element, IntAttribute(element, "RaidPort") ? "RaidPort" : "NonRaidPort", disk->m_port);
    TakeInt(element, "VolumeIndex", disk->m_volumeIndex);
    TakeText(element, "ControllerName", disk->m_controllerName);
    TakeText(element, "UnitName", disk->m_unitName);
    if (!disk->m_controllerName.empty())
    {
        TakeText(element, "OtherName", disk->m_name);
        disk->m_source = DiskSource::Controller;
    }
    return disk;
}

void AddLayout(TiXmlElement& storage, const ChassisLayout& layout)
{
    storage.SetAttribute("StorageRows", static_cast<int>(layout.rows));
    storage.SetAttribute("StorageCols", static_cast<int>(layout.cols));
    storage.SetAttribute("VerticalOrder", layout.verticalOrder ? 1 : 0);
    storage.SetAttribute("VerticalSlots", layout.verticalSlots ? 1 : 0);
    storage.SetAttribute("HorizontalFlip", layout.horizontalFlip ? 1 : 0);
}
} // namespace

void CCorvane::LoadConfiguration()
{
    tq::ipc::SetCommandLineLogging(false);
    const Paths& paths = m_environment.paths;
    CXmlDocument description;
    if (description.LoadFile(paths.systemDescription) ||
        description.LoadFile(paths.systemDescriptionFallback))
    {
        m_description = ReadSystemDescription(description);
    }
    CXmlDocument configuration;
    if (LoadXmlFile(configuration, paths.configuration))
    {
        ReadConfiguration(configuration);
    }
    if (m_selfTestSchedule.empty())
    {
        m_selfTestSchedule = DefaultSchedule();
    }
}

void CCorvane::ReadConfiguration(const CXmlDocument& document)
{
    const TiXmlElement* root = document.Root("zDVR");
    if (root == nullptr)
    {
        return;
    }
    const TiXmlElement* storage = root->FirstChildElement("Storage");
    if (storage != nullptr)
    {
        ReadStorageSettings(*storage, m_settings);
        if (const int timeout = IntAttribute(*storage, "SelfTestTimeoutSec").value_or(0); timeout > 0)
        {
            m_selfTests.SetTimeout(timeout);
        }
        if (IntAttribute(*storage, "TqselftestLogEnabled").value_or(0) > 0)
        {
            m_selfTests.SetToolLogging(true);
        }
        if (const auto logCommandLine = IntAttribute(*storage, "LogCommandline"))
        {
            tq::ipc::SetCommandLineLogging(*logCommandLine != 0);
        }
    }
    const TiXmlElement* watchdogs = root->FirstChildElement("Watchdogs");
    if (const TiXmlElement* watchdog =
            watchdogs != nullptr ? watchdogs->FirstChildElement("Watchdog") : nullptr)
    {
        ReadWatchdogSettings(*watchdog, m_settings);
    }
    if (const TiXmlElement* sensors = root->FirstChildElement("Sensors"))
    {
        ReadSensorSettings(*sensors, m_settings);
    }
    if (storage != nullptr)
    {
        ReadStoredDisks(*storage);
        ReadSelfTestSchedule(storage->FirstChildElement("SelfTestSchedule"), m_selfTestSchedule);
    }
}

void CCorvane::ReadStoredDisks(const TiXmlElement& storage)
{
    DiskList restored;
    std::map<std::string, std::shared_ptr<CDisk>> bySerial; // trimmed
    for (const TiXmlElement* element = storage.FirstChildElement("Disk"); element != nullptr;
         element = element->NextSiblingElement("Disk"))
    {
        const std::string serial = TextAttribute(*element, "SerialNumber").value_or("");
        if (serial.empty())
        {
            continue;
        }
        std::shared_ptr<CDisk>& disk = bySerial[TrimSpaces(serial)];
        if (disk == nullptr)
        {
            disk = RestoreDisk(*element, serial);
            restored.push_back(disk);
        }
        disk->ReadThresholds(*element);
    }
    MergeDisks(restored, m_disks);
}

void CCorvane::BuildConfigDocument(CXmlDocument& document)
{
    TiXmlElement& root = StartDocument(document);
    root.SetAttribute("Delta", 0);
    AddStorageConfig(AddChild(root, "Storage"));
    AddWatchdogConfig(root);
    AddSensorConfig(root);
    AddSystemInfoElement(root, m_systemInfo).SetAttribute("ID", kPluginElementId);
}

void CCorvane::AddStorageConfig(TiXmlElement& storage)
{
    storage.SetAttribute("ID", kPluginElementId);
    storage.SetAttribute("RefreshIntervalSec", static_cast<int>(m_settings.refreshIntervalMs / 1000));
    storage.SetAttribute("SmartIntervalSec", static_cast<int>(m_settings.smartIntervalSec));
    storage.SetAttribute("SelfTestTimeoutSec", m_selfTests.Timeout());
    storage.SetAttribute("TqselftestLogEnabled", m_selfTests.IsToolLogging() ? 1 : 0);
    storage.SetAttribute("DailyLogTime", m_settings.dailyLogTime);
    storage.SetAttribute("LogCommandline", tq::ipc::IsCommandLineLogging() ? 1 : 0);
    storage.SetAttribute("HasRaidConfig", 1);
    // With a RAID 1 unit the layout stands on the unit elements instead.
    if (m_description.layout && !(m_controller != nullptr && m_controller->HasRaid1Unit()))
    {
        AddLayout(storage, *m_description.layout);
    }
    storage.SetAttribute("SelfTestSupport", m_selfTests.IsToolAvailable() ? 1 : 0);
    storage.SetAttribute("CannotDeleteThreshold", 1);
    if (!m_selfTests.IsToolAvailable())
    {
        return;
    }
    for (const auto& [type, entry] : m_selfTestSchedule)
    {
        TiXmlElement& schedule = AddChild(storage, "SelfTestSchedule");
        schedule.SetAttribute("SelfTest", type);
        schedule.SetAttribute("Start", entry.start);
        schedule.SetAttribute("Days", entry.days);
    }
}

void CCorvane::AddWatchdogConfig(TiXmlElement& root)
{
    TiXmlElement& watchdogs = AddChild(root, "Watchdogs");
    watchdogs.SetAttribute("ID", kPluginElementId);
    if (m_superIo == nullptr || !m_superIo->IsWatchdogAllowed())
    {
        return;
    }
    TiXmlElement& watchdog = AddChild(watchdogs, "Watchdog");
    watchdog.SetAttribute("Source", m_superIo->Description());
    watchdog.SetAttribute("Enabled", m_settings.watchdogEnabled ? 1 : 0);
    watchdog.SetAttribute("Timeout", m_settings.watchdogTimeoutSec);
}

// From the start of monitoring on present whenever there is a chip, and before it when switched off: the
// owner's setting survives every save, those of a start that is cut short included.
void CCorvane::AddSensorConfig(TiXmlElement& root)
{
    if (m_superIo == nullptr || (m_settings.sensorsEnabled && !m_sensorsStartTried))
    {
        return;
    }
    TiXmlElement& sensors = AddChild(root, "Sensors");
    sensors.SetAttribute("ID", kPluginElementId);
    sensors.SetAttribute("Enabled", m_settings.sensorsEnabled ? 1 : 0);
    const int runningStatus = m_sensorsActive ? kSensorsRunning : kSensorsNotRunning;
    sensors.SetAttribute("Status", m_settings.sensorsEnabled ? runningStatus : kSensorsDisabled);
    if (m_sensorsActive)
    {
        m_superIo->AddSensorElements(sensors, true);
    }
}

void CCorvane::SaveConfiguration()
{
    CXmlDocument document;
    BuildConfigDocument(document);
    TiXmlElement& storage = *document.Tree().RootElement()->FirstChildElement("Storage");
    if (m_controller != nullptr)
    {
        m_controller->AddRaidConfigElements(storage, m_description.raidLevel.has_value(),
                                            m_description.layout);
    }
    for (const auto& disk : m_disks)
    {
        AdoptChild(storage, disk->CreateXmlElement());
    }
    // A failed save is not reported: the next one tries again, and the host has the document in any case.
    static_cast<void>(SaveXmlFile(document, m_environment.paths.configuration));
    SendDocument(document, MessageCategory::ConfigDocument);
}
