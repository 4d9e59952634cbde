// Two reports of the self-test tool, one after the other, into the records of all disks they name.
#include "frame/HostMessage.h"
#include "frame/Xml.h"
#include "storage/SelfTestRecord.h"
#include "storage/SelfTestReport.h"

#include <tinyxml.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace
{
using namespace tq::corvanepi;
using Records = std::map<std::string, SelfTestRecord>;

constexpr std::int64_t kNow = 1'700'000'000;

void Require(bool condition)
{
    if (!condition)
    {
        std::abort();
    }
}

// The host: every line is one of the self-tests'.
std::int32_t Receive(const HostMessage* message, void* /*reserved*/)
{
    if (message->type == kTypeLogText)
    {
        Require(std::string_view(reinterpret_cast<const char*>(message->data)).starts_with("SELFTEST: "));
    }
    return 0;
}

bool Counts(const TiXmlElement& disk)
{
    return disk.Attribute("Name") != nullptr && IntAttribute(disk, "SelfTestStatus");
}

// The duplicates rule as it is told, on a tree of its own: elements without a result are taken out when
// another one of their name follows.
void RemoveOutdated(TiXmlElement& root)
{
    std::map<std::string, TiXmlElement*> firsts;
    for (TiXmlElement* disk = root.FirstChildElement("Disk"); disk != nullptr;)
    {
        TiXmlElement* const next = disk->NextSiblingElement("Disk");
        if (Counts(*disk))
        {
            const auto [first, isNew] = firsts.try_emplace(disk->Attribute("Name"), disk);
            if (!isNew && first->second != nullptr && IntAttribute(*first->second, "SelfTestStatus") == 0)
            {
                root.RemoveChild(first->second);
                first->second = nullptr;
            }
        }
        disk = next;
    }
}

void CheckReport(const SelfTestReport& report, const std::string& text)
{
    CXmlDocument document;
    Require(document.Parse(text));
    TiXmlElement& root = *document.Tree().RootElement();
    RemoveOutdated(root);
    std::map<std::string, SelfTestResult> statuses;
    for (const TiXmlElement* disk = root.FirstChildElement("Disk"); disk != nullptr;
         disk = disk->NextSiblingElement("Disk"))
    {
        if (Counts(*disk))
        {
            statuses.try_emplace(disk->Attribute("Name"),
                                 static_cast<SelfTestResult>(*IntAttribute(*disk, "SelfTestStatus")));
        }
    }
    Require(statuses.size() == report.size());
    for (const auto& [name, disk] : report)
    {
        Require(statuses.at(name) == disk.status && disk.percent >= -1 && disk.percent <= 100);
    }
}

void CheckRecord(const SelfTestRecord& record, const SelfTestDiskReport& report)
{
    if (report.status == SelfTestResult::InProgress)
    {
        Require(record.status == report.status && record.percent == report.percent && record.changed);
        return;
    }
    const auto fails = [&record](const auto& entry)
    {
        return entry.second.status == SelfTestResult::CompletedError &&
               !IsIgnored(record.ignoreRange, entry.second.failLba);
    };
    const bool failed = std::any_of(report.log.begin(), report.log.end(), fails);
    Require(record.status == (report.log.empty() ? SelfTestResult::NotAvailable
                              : failed           ? SelfTestResult::CompletedError
                                                 : report.log.begin()->second.status));
    Require(record.status != SelfTestResult::CompletedNoError || record.percent == 100);
}

void Apply(const std::string& text, const SelfTestRecord& blank, bool first, Records& records)
{
    CXmlDocument document;
    const auto report = ParseReport(text, document);
    if (!report)
    {
        Require(document.HasError() || document.Root() == nullptr);
        return;
    }
    CheckReport(*report, text);
    for (const auto& [name, disk] : *report)
    {
        SelfTestRecord& record = records.try_emplace(name, blank).first->second;
        const bool takenUp =
            first || record.status == SelfTestResult::InProgress || disk.status == SelfTestResult::InProgress;
        const SelfTestRecord before = record;
        ApplyDiskReport(name, disk, kNow, first, record);
        if (takenUp)
        {
            CheckRecord(record, disk);
        }
        else
        {
            Require(record.status == before.status && record.changed == before.changed);
        }
    }
}
} // namespace

// The first byte: whether the drives' entries have times, and which LBAs to ignore. The reports stand with a
// NUL between them.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
    {
        return 0;
    }
    SetHostCallback(Receive);
    SelfTestRecord blank{
        .powerOnHours = data[0] * 0x1010101U, .isWdc = (data[0] & 1) != 0, .ignoreRange = {}, .timeSec = {}};
    if ((data[0] & 2) != 0)
    {
        blank.ignoreRange = LbaRange{.first = 100, .last = (data[0] & 4) != 0 ? -1 : 1000};
    }
    const std::string all(reinterpret_cast<const char*>(data + 1), size - 1);
    const std::size_t cut = std::min(all.find('\0'), all.size());
    Records records;
    Apply(all.substr(0, cut), blank, true, records);
    Apply(all.substr(std::min(cut + 1, all.size())), blank, false, records);
    return 0;
}
