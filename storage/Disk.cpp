#include "storage/Disk.h"

#include "frame/HostMessage.h"
#include "frame/Log.h"
#include "frame/Text.h"
#include "frame/Xml.h"

#include <tinyxml.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace
{
int AsSigned(std::uint32_t value)
{
    return static_cast<int>(value);
}

void TakeIfNotEmpty(std::string& own, const std::string& scanned)
{
    if (!scanned.empty())
    {
        own = scanned;
    }
}

void AddDrives(TiXmlElement& disk, const std::set<std::string>& drives)
{
    if (drives.empty())
    {
        return;
    }
    TiXmlElement& list = AddChild(disk, "Drives");
    for (const std::string& drive : drives)
    {
        AddChild(list, "Drive").SetAttribute("Name", drive);
    }
}

// Not printf: the host's locale may write a comma.
std::string SixDecimals(double value)
{
    constexpr int kDecimals = 6;
    std::array<char, 352> text; // the longest number has 309 digits before the point
    const auto end =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, kDecimals).ptr;
    return {text.data(), end};
}

// Gives `take` the name and value of each XML attribute, in their order.
template <typename Take>
void EachField(const SmartAttribute& attribute, Take&& take)
{
    take("Id", AsSigned(attribute.id));
    take("Flag", AsSigned(attribute.flag));
    take("CurrentValue", AsSigned(attribute.currentValue));
    take("WorstValue", AsSigned(attribute.worstValue));
    take("RawValue", AsSigned(attribute.rawValue));
    take("ThresholdValue", AsSigned(attribute.thresholdValue));
    take("AdvisoryBit", attribute.advisoryBit ? 1 : 0);
    take("PreFailBit", attribute.preFailBit ? 1 : 0);
    take("OfflineCollectionBit", attribute.offlineCollectionBit ? 1 : 0);
    take("PerformanceBit", attribute.performanceBit ? 1 : 0);
    take("ErrorRateBit", attribute.errorRateBit ? 1 : 0);
    take("ErrorCountBit", attribute.errorCountBit ? 1 : 0);
    take("SelfPreserving", attribute.selfPreserving ? 1 : 0);
}

// The current values 254 and 255 carry no reading.
bool HasReading(const SmartAttribute& attribute)
{
    return attribute.id != 0 && attribute.currentValue != 254 && attribute.currentValue != 255;
}

// Name and attributes of one element, written into a fixed space: a document of many disks consists of nearly
// nothing else.
class CAttributeText
{
public:
    void Add(std::string_view name, int value)
    {
        *m_end++ = ' ';
        m_end = std::copy(name.begin(), name.end(), m_end);
        *m_end++ = '=';
        *m_end++ = '"';
        m_end = std::to_chars(m_end, m_text.data() + m_text.size(), value).ptr;
        *m_end++ = '"';
    }

    [[nodiscard]] std::string_view Text() const { return {m_text.data(), m_end}; }

private:
    static constexpr std::string_view kName = "Attribute";
    // Sixteen values of at most 11 characters with their names and quotes take less than 450.
    std::array<char, 512> m_text = {};
    char* m_end = std::copy(kName.begin(), kName.end(), m_text.data());
};

void AddAttributes(TiXmlElement& disk, const std::map<std::int32_t, SmartAttribute>& attributes,
                   const std::optional<ThresholdRange>& range)
{
    if (attributes.empty())
    {
        return;
    }
    TiXmlElement& list = AddChild(disk, "Attributes");
    for (const auto& [id, attribute] : attributes)
    {
        if (!HasReading(attribute))
        {
            continue;
        }
        CAttributeText text;
        const auto take = [&text](std::string_view name, int value) { text.Add(name, value); };
        EachField(attribute, take);
        const bool limited = range && id == kTemperatureAttribute;
        take("Threshold", limited ? 1 : 0);
        take("MinThreshold", limited ? range->min : -1);
        take("MaxThreshold", limited ? range->max : -1);
        AddPrintedChild(list, text.Text());
    }
}
} // namespace

CStorageElement::~CStorageElement() = default;

std::unique_ptr<TiXmlElement> CStorageElement::CreateXmlElement() const
{
    return nullptr;
}

CDiskController::~CDiskController() = default;

CDisk::CDisk(std::string name)
{
    m_name = std::move(name);
}

bool CDisk::IsControllerAttached() const
{
    return m_controller != nullptr || !m_controllerName.empty() || !m_unitName.empty() ||
           !m_otherName.empty();
}

std::unique_ptr<TiXmlElement> CDisk::CreateXmlElement() const
{
    auto element = std::make_unique<TiXmlElement>("Disk");
    element->SetAttribute("Name", m_name);
    element->SetAttribute("Model", m_model);
    element->SetAttribute("SerialNumber", m_serialNumber);
    element->SetAttribute("FirmwareVersion", m_firmwareVersion);
    element->SetAttribute("DriverVersion", m_driverVersion);
    element->SetAttribute("Capacity", AsSigned(m_capacity));
    element->SetAttribute("SmartAvailable", 1);
    element->SetAttribute("SmartEnabled", 1);
    element->SetAttribute("ControllerName", m_controllerName);
    element->SetAttribute("UnitName", m_unitName);
    element->SetAttribute("OtherName", m_otherName);
    element->SetAttribute("Speed", AsSigned(m_speed));
    element->SetAttribute("LinkSpeed", SixDecimals(m_linkSpeed));
    element->SetAttribute("Hotspare", m_hotSpare != HotSpareType::None ? 1 : 0);
    element->SetAttribute("CanConfigureHotSpare", m_canConfigureHotSpare ? 1 : 0);
    element->SetAttribute("SelfTestSupport", m_selfTestSupport ? 1 : 0);
    if (IsControllerAttached())
    {
        element->SetAttribute("Attached", 1);
        element->SetAttribute("RaidPort", m_port);
        if (m_volumeIndex >= 0)
        {
            element->SetAttribute("VolumeIndex", m_volumeIndex);
        }
        if (m_controller != nullptr)
        {
            element->SetAttribute("DID", m_controller->GetDiskDid(m_name));
        }
    }
    else
    {
        element->SetAttribute("Attached", IsPresent() ? 1 : 0);
        element->SetAttribute("NonRaidPort", m_port);
    }
    AddDrives(*element, m_drives);
    element->SetAttribute("SupportsPrep", m_supportsPrep ? 1 : 0);
    AddAttributes(*element, m_attributes, m_userRange);
    if (m_userRange)
    {
        TiXmlElement& threshold = AddChild(AddChild(*element, "Thresholds"), "Threshold");
        threshold.SetAttribute("Id", kTemperatureAttribute);
        threshold.SetAttribute("Min", m_userRange->min);
        threshold.SetAttribute("Max", m_userRange->max);
    }
    return element;
}

std::unique_ptr<TiXmlElement> CDisk::CreateAttributeElement(const SmartAttribute& attribute)
{
    if (!HasReading(attribute))
    {
        return nullptr;
    }
    auto element = std::make_unique<TiXmlElement>("Attribute");
    EachField(attribute, [&element](const char* name, int value) { element->SetAttribute(name, value); });
    return element;
}

bool CDisk::ReadThresholds(const TiXmlElement& element)
{
    bool changed = false;
    for (const TiXmlElement* list = element.FirstChildElement("Thresholds"); list != nullptr;
         list = list->NextSiblingElement("Thresholds"))
    {
        for (const TiXmlElement* threshold = list->FirstChildElement("Threshold"); threshold != nullptr;
             threshold = threshold->NextSiblingElement("Threshold"))
        {
            const auto id = IntAttribute(*threshold, "Id");
            const auto min = IntAttribute(*threshold, "Min");
            const auto max = IntAttribute(*threshold, "Max");
            if (id == kTemperatureAttribute && min && max)
            {
                changed |= SetUserRange(ThresholdRange{.min = *min, .max = *max});
            }
        }
    }
    return changed;
}

bool CDisk::SetUserRange(const std::optional<ThresholdRange>& range)
{
    if (range ? m_userRange == range : m_userRange.has_value())
    {
        return false;
    }
    m_userRange = range.value_or(ThresholdRange{});
    return true;
}

bool CDisk::Matches(const CDisk& scanned)
{
    if (m_name == scanned.m_name)
    {
        m_status = scanned.m_status;
        return true;
    }
    if (m_serialNumber == scanned.m_serialNumber)
    {
        return true;
    }
    if (!m_otherName.empty() && m_otherName == scanned.m_otherName)
    {
        return true;
    }
    return IsControllerAttached() && m_port == scanned.m_port;
}

void CDisk::UpdateFrom(const CDisk& scanned)
{
    if (m_source != DiskSource::Config && m_source != scanned.m_source)
    {
        return;
    }
    TakeIfNotEmpty(m_name, scanned.m_name);
    TakeIfNotEmpty(m_model, scanned.m_model);
    TakeIfNotEmpty(m_firmwareVersion, scanned.m_firmwareVersion);
    TakeIfNotEmpty(m_driverVersion, scanned.m_driverVersion);
    TakeIfNotEmpty(m_serialNumber, scanned.m_serialNumber);
    m_serialNumber = TrimSpaces(m_serialNumber);
    if (scanned.m_capacity != kUnknown32)
    {
        m_capacity = scanned.m_capacity;
    }
    // A quick scan does not know; what the full scan has found stays.
    if (m_source != DiskSource::Smartctl)
    {
        m_selfTestSupport = scanned.m_selfTestSupport;
    }
    m_controllerName = scanned.m_controllerName;
    m_controller = scanned.m_controller;
    m_unitName = scanned.m_unitName;
    m_otherName = scanned.m_otherName;
    m_speed = scanned.m_speed;
    m_linkSpeed = scanned.m_linkSpeed;
    m_status = scanned.m_status;
    m_port = scanned.m_port;
    m_volumeIndex = scanned.m_volumeIndex;
    m_source = scanned.m_source;
    m_hotSpare = scanned.m_hotSpare;
}

void CDisk::SendPrepStatus() const
{
    CXmlDocument document;
    TiXmlElement& storage = AddChild(StartDocument(document), "Storage");
    storage.SetAttribute("ID", kPluginElementId);
    TiXmlElement& disk = AddChild(storage, "Disk");
    disk.SetAttribute("Name", m_name);
    disk.SetAttribute("PrepStatus", static_cast<int>(m_prepStatus));
    SendDocument(document, MessageCategory::StatusDocument);
}

bool CDisk::IsRaidBgRunning() const
{
    if (m_controller == nullptr)
    {
        return false;
    }
    const std::string task = m_controller->GetUnitTaskText(m_unitName);
    if (task.empty())
    {
        return false;
    }
    Log(LogDebug, "IsRaidBgRunning(): disk %s in vol %s busy - %s", m_name.c_str(), m_unitName.c_str(),
        task.c_str());
    return true;
}

void CDisk::UpdateHotSpareCapability()
{
    if (m_controller == nullptr || !m_controller->HasRaid56Unit())
    {
        m_canConfigureHotSpare = false;
        return;
    }
    if (m_hotSpare == HotSpareType::None)
    {
        m_canConfigureHotSpare = m_unitName.empty();
        return;
    }
    m_canConfigureHotSpare = true;
    const bool global = m_hotSpare == HotSpareType::Global || m_hotSpare == HotSpareType::GlobalUnstated;
    if (global && m_controller->HasRaid1Unit())
    {
        m_hotSpareError = kHotSpareUnsupportedGlobal;
    }
}

int CDisk::SetHotSpare(bool enable)
{
    return m_controller == nullptr ? 0 : m_controller->SetDiskHotSpare(shared_from_this(), enable);
}
