// CCorvane: documents from the host.
#include "frame/Log.h"
#include "frame/Text.h"
#include "frame/Xml.h"
#include "manager/Corvane.h"
#include "raid/Controller.h"
#include "storage/DrivePrep.h"

#include <tinyxml.h>

#include <algorithm>

namespace
{
constexpr std::int64_t kSensorRefreshPauseSec = 4;

bool IsOurs(const TiXmlElement& element)
{
    return IntAttribute(element, "ID") == kPluginElementId;
}
} // namespace

std::shared_ptr<CDisk> CCorvane::FindDisk(const std::string& name) const
{
    const auto found =
        std::find_if(m_disks.begin(), m_disks.end(),
                     [&name](const std::shared_ptr<CDisk>& disk) { return disk->m_name == name; });
    return found != m_disks.end() ? *found : nullptr;
}

void CCorvane::ProcessStatusUpdate(const std::string& text)
{
    CXmlDocument document;
    const TiXmlElement* root = document.Parse(text) ? document.Root("zDVR") : nullptr;
    if (root == nullptr)
    {
        return;
    }
    AcceptSensorRefresh(*root);
    // No further program once the end has begun: it would be cut off.
    for (const TiXmlElement* storage = root->FirstChildElement("Storage"); storage != nullptr && !m_stopped;
         storage = storage->NextSiblingElement("Storage"))
    {
        if (IsOurs(*storage) && ProcessStorageRequest(*storage))
        {
            return;
        }
    }
}

void CCorvane::AcceptSensorRefresh(const TiXmlElement& root)
{
    const std::int64_t now = m_environment.clock->UtcSeconds();
    bool accepted = false;
    for (const TiXmlElement* sensors = root.FirstChildElement("Sensors"); sensors != nullptr;
         sensors = sensors->NextSiblingElement("Sensors"))
    {
        accepted |= IsOurs(*sensors) && IntAttribute(*sensors, "Refresh") == 1 &&
                    now - m_lastSensorsRefresh > kSensorRefreshPauseSec;
    }
    if (accepted)
    {
        m_lastSensorsRefresh = now;
        m_sensorsRefreshRequested = true;
    }
}

// True when the request ends the processing of its document.
bool CCorvane::ProcessStorageRequest(const TiXmlElement& storage)
{
    if (const TiXmlElement* volume = storage.FirstChildElement("Volume"))
    {
        ProcessRaidPrepRequest(*volume);
        return true;
    }
    if (const auto command = IntAttribute(storage, "SelfTest"))
    {
        RunSelfTestCommand(*command, m_disks);
        return true;
    }
    for (const TiXmlElement* element = storage.FirstChildElement("Disk"); element != nullptr && !m_stopped;
         element = element->NextSiblingElement("Disk"))
    {
        const std::optional<std::string> name = TextAttribute(*element, "Name");
        const std::shared_ptr<CDisk> disk = name ? FindDisk(*name) : nullptr;
        if (disk == nullptr)
        {
            continue;
        }
        if (const auto command = IntAttribute(*element, "SelfTest"))
        {
            RunSelfTestCommand(*command, {disk});
            return true;
        }
        if (IntAttribute(*element, "StartPrep").value_or(0) != 0 && !disk->IsControllerAttached())
        {
            StartDrivePrep(*disk);
        }
    }
    return false;
}

void CCorvane::ProcessRaidPrepRequest(const TiXmlElement& volume)
{
    const std::string name = TextAttribute(volume, "Name").value_or("");
    const auto start = IntAttribute(volume, "StartPrep");
    if (name.empty() || m_controller == nullptr || !m_description.raidLevel || !start)
    {
        Log(LogInfo, "RAIDPREP: Ignoring invalid raidprep request");
    }
    else if (*start != 0)
    {
        Log(LogInfo, "RAIDPREP: calling StartPrep on %s.", name.c_str());
        m_controller->StartPrep(name);
    }
    else
    {
        Log(LogInfo, "RAIDPREP: stop request unsupported.");
    }
}

void CCorvane::RunSelfTestCommand(int command, const DiskList& disks)
{
    m_selfTests.ExecuteCommand(command, disks, m_environment.clock->UtcSeconds(), m_smartConfig);
    SendStatusUpdate();
}

void CCorvane::ProcessConfigUpdate(const std::string& text)
{
    CXmlDocument document;
    const TiXmlElement* root = document.Parse(text) ? document.Root("zDVR") : nullptr;
    const auto delta = root != nullptr ? IntAttribute(*root, "Delta") : std::nullopt;
    if (!delta)
    {
        return;
    }
    for (const TiXmlElement* storage = root->FirstChildElement("Storage"); storage != nullptr;
         storage = storage->NextSiblingElement("Storage"))
    {
        if (!IntAttribute(*storage, "ID"))
        {
            return;
        }
        if (IsOurs(*storage) && delta == 1)
        {
            ApplyStorageChange(*storage);
        }
    }
}

void CCorvane::ApplyStorageChange(const TiXmlElement& storage)
{
    const TiXmlElement* refresh = storage.FirstChildElement("Refresh");
    bool changed = refresh != nullptr ? ApplyRefresh(*refresh) : ApplyDiskChanges(storage);
    changed |= ReadSelfTestSchedule(storage.FirstChildElement("SelfTestSchedule"), m_selfTestSchedule);
    if (changed)
    {
        SaveConfiguration();
        Log(LogInfo, "ProcessConfigUpdate calling UpdateStorage");
        UpdateStorage(false);
    }
}

bool CCorvane::ApplyRefresh(const TiXmlElement& first)
{
    bool changed = false;
    for (const TiXmlElement* refresh = &first; refresh != nullptr;
         refresh = refresh->NextSiblingElement("Refresh"))
    {
        if (!Contains(ToLower(TextAttribute(*refresh, "Controllers").value_or("")), "all") || m_refreshing)
        {
            continue;
        }
        if (m_controller != nullptr && m_controller->IsPrepBusy())
        {
            Log(LogInfo, "Storage hardware refresh request ignored while raidprep busy");
            continue;
        }
        m_refreshing = true;
        Log(LogInfo, "Storage hardware refresh requested");
        RefreshSystemInfo();
        changed = true;
    }
    return changed;
}

bool CCorvane::ApplyDiskChanges(const TiXmlElement& storage)
{
    bool changed = false;
    for (const TiXmlElement* element = storage.FirstChildElement("Disk"); element != nullptr;
         element = element->NextSiblingElement("Disk"))
    {
        const std::optional<std::string> name = TextAttribute(*element, "Name");
        const std::shared_ptr<CDisk> disk = name ? FindDisk(*name) : nullptr;
        if (disk == nullptr)
        {
            continue;
        }
        changed |= disk->ReadThresholds(*element);
        const auto hotSpare = IntAttribute(*element, "Hotspare");
        if (!hotSpare)
        {
            continue;
        }
        if (m_refreshing)
        {
            Log(LogDebug, "HOTSPARE: ignore request while refreshing controller");
            continue;
        }
        m_refreshing = true;
        changed |= disk->SetHotSpare(*hotSpare != 0) != 0;
    }
    return changed;
}
