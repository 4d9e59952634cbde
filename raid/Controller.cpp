#include "raid/Controller.h"

#include "frame/Ipc.h"
#include "frame/Log.h"
#include "frame/Xml.h"

#include <tinyxml.h>

#include <algorithm>

std::set<std::string> CController::s_okUnitStates;
std::set<std::string> CController::s_okDiskStates;

CController::CController(std::string name, std::set<std::string> okUnitStates,
                         std::set<std::string> okDiskStates, std::shared_ptr<const CClock> clock)
    : m_clock(std::move(clock))
{
    m_name = std::move(name);
    s_okUnitStates = std::move(okUnitStates);
    s_okDiskStates = std::move(okDiskStates);
}

CController::~CController() = default;

std::unique_ptr<TiXmlElement> CController::CreateXmlElement() const
{
    auto element = std::make_unique<TiXmlElement>("Controller");
    element->SetAttribute("Name", m_name);
    element->SetAttribute("Model", m_model);
    element->SetAttribute("SerialNumber", m_serialNumber);
    element->SetAttribute("DriverVersion", m_driverVersion);
    element->SetAttribute("FirmwareVersion", m_firmwareVersion);
    element->SetAttribute("NumUnits", static_cast<int>(m_units.size()));
    element->SetAttribute("NumPhys", static_cast<int>(m_numPhys));
    element->SetAttribute("NumDrives", static_cast<int>(m_numDrives));
    element->SetAttribute("JBODExportPolicy", -1);
    element->SetAttribute("DiskSpinupPolicy", m_hasSpinupPolicy ? 1 : 0);
    element->SetAttribute("SpinupStaggerTime", m_hasSpinupPolicy ? static_cast<int>(m_spinupStagger) : -1);
    element->SetAttribute("AutoCarvingPolicy", -1);
    element->SetAttribute("AutoCarvingSize", -1);
    element->SetAttribute("AutoRebuildPolicy", m_autoRebuild ? 1 : 0);
    element->SetAttribute("SupportsPrep", 0);
    return element;
}

std::string CController::ConfigureCache()
{
    return {};
}

SmartctlTarget CController::GetSmartctlDevice(const std::string& /*diskName*/) const
{
    return {};
}

std::string CController::GetDiskDid(const std::string& /*diskName*/) const
{
    return {};
}

bool CController::HasRaid1Unit() const
{
    return std::any_of(m_units.begin(), m_units.end(),
                       [](const auto& unit) { return unit->m_raidLevel == 1; });
}

bool CController::HasRaid56Unit() const
{
    return std::any_of(m_units.begin(), m_units.end(),
                       [](const auto& unit) { return unit->m_raidLevel == 5 || unit->m_raidLevel == 6; });
}

std::shared_ptr<CRaidUnit> CController::FindUnit(const std::string& unitName) const
{
    const auto found = std::find_if(m_units.begin(), m_units.end(),
                                    [&unitName](const auto& unit) { return unit->m_name == unitName; });
    return found != m_units.end() ? *found : nullptr;
}

std::string CController::GetUnitTaskText(const std::string& unitName) const
{
    const std::shared_ptr<CRaidUnit> unit = FindUnit(unitName);
    return unit != nullptr ? unit->GetTaskText() : "";
}

bool CController::SetLastError(const std::string& key, const std::string& error)
{
    std::string& last = m_lastErrors[key];
    if (last == error)
    {
        return false;
    }
    last = error;
    return !error.empty();
}

void CController::TellRefreshError(const char* key, const char* what, const std::string& error)
{
    if (!tq::ipc::IsIpcClosed() && SetLastError(key, error))
    {
        Log(LogError, "Failed to refresh RAID %s - %s", what, error.c_str());
    }
}

// The controller has no alarm of its own: its troubles show in its units and disks.
std::unique_ptr<TiXmlElement> CController::CreateAlarmElement(bool force)
{
    constexpr bool alarmed = false;
    if (!force && alarmed == m_alarmReported)
    {
        return nullptr;
    }
    auto element = std::make_unique<TiXmlElement>("Controller");
    element->SetAttribute("Name", m_name);
    element->SetAttribute("Alarm", alarmed ? 1 : 0);
    SetWideAttribute(*element, "Time", m_clock->UtcSeconds());
    element->SetAttribute("Message", "Healthy");
    m_alarmReported = alarmed;
    return element;
}

std::vector<std::unique_ptr<TiXmlElement>> CController::CreateAlarmElements(bool force)
{
    std::vector<std::unique_ptr<TiXmlElement>> elements;
    const auto add = [&elements](std::unique_ptr<TiXmlElement> element)
    {
        if (element != nullptr)
        {
            elements.push_back(std::move(element));
        }
    };
    add(CreateAlarmElement(force));
    for (const auto& unit : m_units)
    {
        add(unit->CreateAlarmElement(force, m_clock->UtcSeconds()));
    }
    return elements;
}

void CController::MergeVolumes(const std::vector<RaidVolume>& volumes)
{
    std::set<std::string> reported;
    for (const RaidVolume& volume : volumes)
    {
        reported.insert(volume.name);
        std::shared_ptr<CRaidUnit> unit = FindUnit(volume.name);
        if (unit == nullptr)
        {
            unit = m_units.emplace_back(std::make_shared<CRaidUnit>(volume.name));
        }
        unit->m_raidLevel = volume.raidLevel;
        unit->m_sizeGB = static_cast<std::uint32_t>(volume.sizeGB);
        unit->m_state = volume.state;
        unit->m_task = volume.task;
    }
    std::erase_if(m_units, [&reported](const auto& unit) { return !reported.contains(unit->m_name); });
}

void CController::FailUnits(const std::string& error)
{
    for (const auto& unit : m_units)
    {
        unit->m_state = error;
    }
}

std::shared_ptr<CDisk> CController::MakeDisk(const std::string& diskName, std::int32_t port)
{
    auto disk = std::make_shared<CDisk>(diskName);
    disk->m_source = DiskSource::Controller;
    disk->m_controller = shared_from_this();
    disk->m_controllerName = m_name;
    disk->m_otherName = diskName;
    disk->m_port = port;
    return disk;
}

std::chrono::steady_clock::time_point CController::SteadyNow() const
{
    return std::chrono::steady_clock::time_point(std::chrono::milliseconds(m_clock->MonotonicMs()));
}
