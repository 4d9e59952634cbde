#include "storage/SelfTestReport.h"

#include "frame/Xml.h"

#include <tinyxml.h>

#include <algorithm>
#include <cstdlib>
#include <set>

namespace tq::corvanepi
{
namespace
{
// What makes a "Disk" element one that counts.
struct DiskElement
{
    const TiXmlElement* element = nullptr;
    std::string name;
    SelfTestResult status = SelfTestResult::None;
};

std::optional<DiskElement> NextDisk(const TiXmlElement* element)
{
    for (; element != nullptr; element = element->NextSiblingElement("Disk"))
    {
        std::optional<std::string> name = TextAttribute(*element, "Name");
        const auto status = IntAttribute(*element, "SelfTestStatus");
        if (name && status)
        {
            return DiskElement{element, std::move(*name), static_cast<SelfTestResult>(*status)};
        }
    }
    return std::nullopt;
}

// The elements that give way: the first of their name, without a result, with another one behind.
std::set<const TiXmlElement*> OutdatedDisks(const TiXmlElement& root)
{
    std::set<const TiXmlElement*> outdated;
    std::map<std::string, DiskElement> firsts;
    for (auto disk = NextDisk(root.FirstChildElement("Disk")); disk;
         disk = NextDisk(disk->element->NextSiblingElement("Disk")))
    {
        const auto [first, isNew] = firsts.try_emplace(disk->name, *disk);
        if (!isNew && first->second.status == SelfTestResult::NotAvailable)
        {
            outdated.insert(first->second.element);
        }
    }
    return outdated;
}

// The digits at the text's start, as the C library reads them: the largest number for one beyond 64 bits.
std::uint64_t WideNumber(const TiXmlElement& element, const char* name)
{
    const char* text = element.Attribute(name);
    return text != nullptr ? std::strtoull(text, nullptr, 10) : 0;
}

void ReadLog(const TiXmlElement& disk, std::map<std::int32_t, SelfTestLogEntry>& log)
{
    for (const TiXmlElement* element = disk.FirstChildElement("Report"); element != nullptr;
         element = element->NextSiblingElement("Report"))
    {
        const auto id = IntAttribute(*element, "ID");
        const auto status = IntAttribute(*element, "StatusCode");
        if (!id || !status)
        {
            continue;
        }
        const auto [entry, isNew] = log.try_emplace(*id);
        if (isNew)
        {
            entry->second = {.status = static_cast<SelfTestResult>(*status),
                             .timestampHours = IntAttribute(*element, "Timestamp").value_or(0),
                             .failLba = WideNumber(*element, "FailLBA"),
                             .type = TextAttribute(*element, "Type").value_or(""),
                             .statusText = TextAttribute(*element, "Status").value_or("")};
        }
    }
}
} // namespace

const char* ResultName(SelfTestResult result)
{
    switch (result)
    {
    case SelfTestResult::NotAvailable:
        return "RESULT_NOT_AVAILABLE";
    case SelfTestResult::InProgress:
        return "IN_PROGRESS";
    case SelfTestResult::CompletedNoError:
        return "COMPLETED_NO_ERROR";
    case SelfTestResult::CompletedError:
        return "COMPLETED_ERROR";
    case SelfTestResult::Aborted:
        return "ABORTED";
    default:
        return "";
    }
}

std::optional<SelfTestReport> ParseReport(const std::string& text, CXmlDocument& document)
{
    if (!document.Parse(text) || document.Root() == nullptr)
    {
        return std::nullopt;
    }
    const TiXmlElement& root = *document.Root();
    const std::set<const TiXmlElement*> outdated = OutdatedDisks(root);
    SelfTestReport report;
    for (auto disk = NextDisk(root.FirstChildElement("Disk")); disk;
         disk = NextDisk(disk->element->NextSiblingElement("Disk")))
    {
        if (outdated.contains(disk->element))
        {
            continue;
        }
        SelfTestDiskReport& entry =
            report.try_emplace(disk->name, SelfTestDiskReport{.status = disk->status}).first->second;
        if (const auto remaining = IntAttribute(*disk->element, "PcRemain"))
        {
            entry.percent = 100 - std::clamp(*remaining, 0, 100);
        }
        ReadLog(*disk->element, entry.log);
    }
    return report;
}
} // namespace tq::corvanepi
