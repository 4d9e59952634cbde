// The part of CDisk that reads SMART data, judges the disk and reports the verdict.
#include "frame/Ipc.h"
#include "frame/Log.h"
#include "frame/Text.h"
#include "frame/Xml.h"
#include "storage/Disk.h"
#include "storage/SelfTest.h"
#include "storage/Smartctl.h"

#include <tinyxml.h>

#include <algorithm>

namespace
{
constexpr int kReportTries = 10;

// ATA attribute flag word.
constexpr std::int32_t kFlagPreFail = 1 << 0;
constexpr std::int32_t kFlagOfflineCollection = 1 << 1;
constexpr std::int32_t kFlagPerformance = 1 << 2;
constexpr std::int32_t kFlagErrorRate = 1 << 3;
constexpr std::int32_t kFlagErrorCount = 1 << 4;
constexpr std::int32_t kFlagSelfPreserving = 1 << 5;
constexpr std::int32_t kFlagWord = 0xFFFF;

// Warning keys that stand for a SMART attribute.
constexpr std::int32_t kFirstAttributeKey = 1;
constexpr std::int32_t kLastAttributeKey = 252;

SmartAttribute ToSmartAttribute(const SmartctlAttribute& row, std::int32_t current)
{
    const bool belowThreshold = row.thresh > current;
    const auto flag = [&row](std::int32_t bit) { return (row.flags & bit) != 0; };
    return {.id = static_cast<std::uint32_t>(row.id),
            .flag = static_cast<std::uint32_t>(row.flags & kFlagWord),
            .currentValue = static_cast<std::uint32_t>(current),
            .worstValue = static_cast<std::uint32_t>(row.worst),
            .thresholdValue = static_cast<std::uint32_t>(row.thresh),
            .rawValue = static_cast<std::uint32_t>(row.raw),
            .advisoryBit = !flag(kFlagPreFail) && belowThreshold,
            .preFailBit = flag(kFlagPreFail) && belowThreshold,
            .offlineCollectionBit = flag(kFlagOfflineCollection),
            .performanceBit = flag(kFlagPerformance),
            .errorRateBit = flag(kFlagErrorRate),
            .errorCountBit = flag(kFlagErrorCount),
            .selfPreserving = flag(kFlagSelfPreserving)};
}

// The report, asked for again while the tool prints broken JSON.
SmartctlDiskInfo ReportWithRetries(const SmartctlTarget& target, const std::string& name)
{
    SmartctlDiskInfo info;
    for (int attempt = 1; attempt <= kReportTries; ++attempt)
    {
        info = ExecuteDiskInfo(target.device, target.deviceType);
        if (!Contains(info.error, kSmartctlInvalidJson) || tq::ipc::IsIpcClosed())
        {
            return info;
        }
        Log(LogWarning, "SMARTCTL: %s get SMART attrs retry on invalid JSON", name.c_str());
        info.error = "reached retry limit";
    }
    return info;
}

bool IsHealthyStatus(const std::string& status, const DiskContext& context)
{
    return status.empty() || status == "OK" || context.okDiskStates.contains(status) ||
           context.selfTests.HealthyTexts().contains(status);
}
} // namespace

void CDisk::RefreshSmart(const DiskContext& context)
{
    if (!IsPresent())
    {
        m_attributes.clear();
    }
    else
    {
        const SmartctlTarget target = m_controller != nullptr
                                          ? m_controller->GetSmartctlDevice(m_name)
                                          : SmartctlTarget{.device = m_name, .deviceType = {}};
        if (target.device.empty() || !RefreshFromSmartctl(target))
        {
            RefreshFromController();
        }
    }
    if (EvaluateWarnings(context) && !m_warnings.empty())
    {
        m_alarmReported = false; // the next status document tells the alarm again
    }
}

// False when the controller's own data has to serve instead.
bool CDisk::RefreshFromSmartctl(const SmartctlTarget& target)
{
    const SmartctlDiskInfo info = ReportWithRetries(target, m_name);
    if (tq::ipc::IsIpcClosed())
    {
        return true; // cut off by the plug-in's end: it says nothing about the disk
    }
    if (!info.error.empty())
    {
        if (m_controller != nullptr && (m_controller->GetDiskTemperature(m_name).has_value() ||
                                        !m_controller->GetDiskSmartAttributes(m_name).empty()))
        {
            return false;
        }
        m_attributes.clear();
        Log(LogError, "SMARTCTL: %s failed to get SMART attrs (%s)", m_name.c_str(), info.error.c_str());
        return true;
    }

    if (!info.warnings.empty())
    {
        Log(LogWarning, "SMARTCTL: %s get SMART attr warnings: %s", m_name.c_str(), info.warnings.c_str());
    }
    m_healthKnown = true;
    m_healthPassed = info.healthPassed;
    for (const SmartctlAttribute& row : info.attributes)
    {
        if (row.id != kTemperatureAttribute)
        {
            UpdateAttribute(ToSmartAttribute(row, row.value));
        }
        else if (info.temperature)
        {
            UpdateAttribute(ToSmartAttribute(row, *info.temperature));
        }
    }
    return true;
}

void CDisk::RefreshFromController()
{
    if (m_controller == nullptr)
    {
        return;
    }
    for (const auto& [id, attribute] : m_controller->GetDiskSmartAttributes(m_name))
    {
        if (id != kTemperatureAttribute)
        {
            UpdateAttribute(attribute);
        }
    }
    if (const auto temperature = m_controller->GetDiskTemperature(m_name))
    {
        UpdateAttribute({.id = kTemperatureAttribute,
                         .currentValue = static_cast<std::uint32_t>(*temperature),
                         .advisoryBit = *temperature < 0});
    }
}

void CDisk::UpdateAttribute(const SmartAttribute& attribute)
{
    const auto [found, inserted] =
        m_attributes.try_emplace(static_cast<std::int32_t>(attribute.id), attribute);
    SmartAttribute& own = found->second;
    if (!inserted && (own.currentValue != attribute.currentValue || own.rawValue != attribute.rawValue))
    {
        own.currentValue = attribute.currentValue;
        own.rawValue = attribute.rawValue;
        own.changed = true;
    }
}

// True when the map changed. A standing warning keeps its first text and time.
bool CDisk::SetWarning(std::int32_t key, bool raise, const std::string& text, std::int64_t now)
{
    if (raise)
    {
        return m_warnings.try_emplace(key, DiskWarning{.key = key, .text = text, .time = now}).second;
    }
    return m_warnings.erase(key) != 0;
}

std::string CDisk::HotSpareWarning() const
{
    if (!IsControllerAttached() || m_hotSpareError == 0)
    {
        return {};
    }
    return m_hotSpareError == kHotSpareUnsupportedGlobal ? "unsupported global hotspare"
                                                         : "hotspare config error";
}

bool CDisk::EvaluateWarnings(const DiskContext& context)
{
    if (!IsPresent())
    {
        m_status = "Offline";
    }
    const std::size_t before = m_warnings.size();
    const char* name = m_name.c_str();

    const auto temperature = m_attributes.find(kTemperatureAttribute);
    if (temperature != m_attributes.end() && m_userRange)
    {
        const auto value = static_cast<std::int32_t>(temperature->second.currentValue);
        const bool out = value < m_userRange->min || value > m_userRange->max;
        if (SetWarning(kTemperatureAttribute, out, "threshold exceeded", context.now))
        {
            const std::string text = out ? "outside user-defined range " + std::to_string(m_userRange->min) +
                                               "-" + std::to_string(m_userRange->max)
                                         : "ok";
            Log(LogWarning, "%s SMART attr %d (value %d) %s", name, kTemperatureAttribute, value,
                text.c_str());
        }
    }
    if (m_healthKnown && SetWarning(kWarningHealth, !m_healthPassed, "SMART health flag", context.now))
    {
        Log(LogWarning, "%s SMART health flag %s", name, m_healthPassed ? "ok" : "needs attention");
    }
    const bool healthy = IsHealthyStatus(m_status, context);
    if (SetWarning(kWarningStatus, !healthy, m_status, context.now))
    {
        Log(LogWarning, "%s non-SMART status %s", name, healthy ? "ok" : m_status.c_str());
    }
    const std::string hotSpare = HotSpareWarning();
    if (SetWarning(kWarningHotSpare, !hotSpare.empty(), hotSpare, context.now))
    {
        Log(LogWarning, "%s hotspare status - %s", name, hotSpare.empty() ? "ok" : hotSpare.c_str());
    }
    return m_warnings.size() != before;
}

std::string CDisk::StatusMessage(const DiskContext& context) const
{
    std::set<std::string> reasons;
    for (const auto& [key, warning] : m_warnings)
    {
        const bool ofAttribute = key >= kFirstAttributeKey && key <= kLastAttributeKey;
        if (!ofAttribute || IsPresent())
        {
            reasons.insert(key == kWarningStatus ? m_status : warning.text);
        }
    }
    if (context.selfTests.HasFailed(m_name))
    {
        reasons.insert("self-test failure");
    }
    if (m_pollError)
    {
        reasons.insert("poll error");
    }
    if (reasons.empty())
    {
        reasons.insert("Healthy");
        if (m_hotSpare != HotSpareType::None)
        {
            reasons.insert(m_hotSpare == HotSpareType::Dedicated ? "dedicated hotspare" : "global hotspare");
        }
    }
    return Join({reasons.begin(), reasons.end()}, ", ");
}

std::unique_ptr<TiXmlElement> CDisk::CreateStatusElement(bool force, const DiskContext& context)
{
    std::unique_ptr<TiXmlElement> element;
    const std::string message = StatusMessage(context);
    const bool selfTestChanged = context.selfTests.HasChanged(m_name); // before the mark is cleared below
    const bool warned = !m_warnings.empty();
    if (message != m_lastMessage || selfTestChanged)
    {
        m_lastMessage = message;
        element = std::make_unique<TiXmlElement>("Disk");
        if (!m_name.empty() || !m_otherName.empty())
        {
            element->SetAttribute("Name", m_name.empty() ? m_otherName : m_name);
        }
        element->SetAttribute("Message", message);
        if (m_supportsPrep)
        {
            element->SetAttribute("PrepStatus", static_cast<int>(m_prepStatus));
        }
        context.selfTests.AddStatusAttributes(m_name, *element);

        if (m_alarmReported != warned || force || selfTestChanged)
        {
            const bool alarm = warned || context.selfTests.HasFailed(m_name);
            SetWideAttribute(*element, "Time", context.now);
            element->SetAttribute("Milliseconds", 0);
            element->SetAttribute("Alarm", alarm ? 1 : 0);
            if (alarm)
            {
                Log(LogWarning, "%s alarmed - %s", m_name.c_str(), message.c_str());
            }
            else
            {
                Log(LogInfo, "%s is ok", m_name.c_str());
            }
        }
    }
    for (auto& [id, attribute] : m_attributes)
    {
        if (!attribute.changed)
        {
            continue;
        }
        attribute.changed = false;
        std::unique_ptr<TiXmlElement> child = CreateAttributeElement(attribute);
        if (child != nullptr && element == nullptr)
        {
            element = std::make_unique<TiXmlElement>("Disk");
            element->SetAttribute("Name", m_name);
        }
        if (child != nullptr)
        {
            AdoptChild(*element, std::move(child));
        }
    }
    m_alarmReported = warned;
    return element;
}
