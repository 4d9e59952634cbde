// Two reports of the self-test tool, one after the other, into the records of all disks they name.
#include "frame/Xml.h"
#include "storage/SelfTestRecord.h"
#include "storage/SelfTestReport.h"
#include "tests/fuzz/Fuzz.h"

#include <algorithm>

namespace
{
using namespace tq::corvanepi;

SelfTestResult Expected(const SelfTestDiskReport& report, const SelfTestRecord& record)
{
    if (report.status == SelfTestResult::InProgress)
    {
        return report.status;
    }
    const auto fails = [&record](const auto& entry)
    {
        return entry.second.status == SelfTestResult::CompletedError &&
               !IsIgnored(record.ignoreRange, entry.second.failLba);
    };
    if (std::any_of(report.log.begin(), report.log.end(), fails))
    {
        return SelfTestResult::CompletedError;
    }
    return report.log.empty() ? SelfTestResult::NotAvailable : report.log.begin()->second.status;
}

void Apply(const std::string& text, const SelfTestRecord& blank, bool first,
           std::map<std::string, SelfTestRecord>& records)
{
    CXmlDocument document;
    const auto report = ParseReport(text, document);
    Require(report.has_value() == (!document.HasError() && document.Root() != nullptr));
    for (const auto& [name, disk] : report.value_or(SelfTestReport{}))
    {
        Require(disk.percent >= -1 && disk.percent <= 100);
        SelfTestRecord& record = records.try_emplace(name, blank).first->second;
        const bool takenUp =
            first || record.status == SelfTestResult::InProgress || disk.status == SelfTestResult::InProgress;
        const SelfTestResult expected = takenUp ? Expected(disk, record) : record.status;
        ApplyDiskReport(name, disk, 1'700'000'000, first, record);
        Require(record.status == expected);
        Require(record.status != SelfTestResult::CompletedNoError || record.percent == 100);
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
    SelfTestRecord blank;
    blank.powerOnHours = data[0] * 0x1010101U;
    blank.isWdc = (data[0] & 1) != 0;
    if ((data[0] & 2) != 0)
    {
        blank.ignoreRange = LbaRange{.first = 100, .last = (data[0] & 4) != 0 ? -1 : 1000};
    }
    const auto [first, second] = Cut(Text(data + 1, size - 1));
    std::map<std::string, SelfTestRecord> records;
    Apply(first, blank, true, records);
    Apply(second, blank, false, records);
    return 0;
}
