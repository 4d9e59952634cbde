#include "storage/SelfTestRecord.h"

#include "frame/Log.h"
#include "frame/Text.h"
#include "storage/Disk.h"
#include "storage/SmartConfig.h"

#include <algorithm>
#include <ctime>

namespace tq::corvanepi
{
namespace
{
constexpr std::int32_t kPowerOnHoursAttribute = 9;
constexpr std::int64_t kHour = 3600;

// When an entry was written: WDC drives stamp it with their full power-on hours, which is why the entry's
// age is known to the hour. Other drives' stamps wrap or count otherwise.
std::optional<std::int64_t> EntryTime(const SelfTestRecord& record, const SelfTestLogEntry& entry,
                                      std::int64_t nowSec)
{
    if (!record.isWdc || entry.timestampHours == 0)
    {
        return std::nullopt;
    }
    const std::int64_t ageHours = std::int64_t{record.powerOnHours} - entry.timestampHours;
    return (nowSec / kHour - ageHours) * kHour;
}

// With a blank in front; empty when there is no time.
std::string TimeText(const std::optional<std::int64_t>& timeSec)
{
    if (!timeSec)
    {
        return {};
    }
    const auto time = static_cast<std::time_t>(*timeSec);
    std::tm local{};
    char text[64];
    if (localtime_r(&time, &local) == nullptr || std::strftime(text, sizeof text, " %F %T", &local) == 0)
    {
        return {};
    }
    return text;
}

void LogEntry(const std::string& diskName, std::int32_t id, const SelfTestLogEntry& entry,
              const std::optional<std::int64_t>& timeSec, bool ignored)
{
    const std::string lba =
        entry.status == SelfTestResult::CompletedError ? " (LBA " + std::to_string(entry.failLba) + ")" : "";
    Log(LogInfo, "SELFTEST: %s #%02d%s (%s) = %s%s%s", diskName.c_str(), id, TimeText(timeSec).c_str(),
        entry.type.c_str(), ignored ? "IGNORED " : "", entry.statusText.c_str(), lba.c_str());
}

void ApplyLog(const std::string& diskName, const std::map<std::int32_t, SelfTestLogEntry>& log,
              std::int64_t nowSec, SelfTestRecord& record)
{
    record.status = log.begin()->second.status; // the most recent test, even when its failure is ignored
    record.changed = true;
    for (const auto& [id, entry] : log)
    {
        const std::optional<std::int64_t> timeSec = EntryTime(record, entry, nowSec);
        if (id == 1 && timeSec)
        {
            record.timeSec = timeSec;
        }
        const bool failed = entry.status == SelfTestResult::CompletedError;
        const bool ignored = failed && IsIgnored(record.ignoreRange, entry.failLba);
        if (failed && !ignored)
        {
            record.status = SelfTestResult::CompletedError;
        }
        LogEntry(diskName, id, entry, timeSec, ignored);
    }
}
} // namespace

void RefreshIdentity(SelfTestRecord& record, const CDisk& disk, const SmartConfig& config)
{
    const auto hours = disk.m_attributes.find(kPowerOnHoursAttribute);
    record.powerOnHours = hours != disk.m_attributes.end() ? hours->second.rawValue : 0;
    record.isWdc = Contains(disk.m_model, "WDC");
    const std::string model = ToLower(disk.m_model);
    const auto rule = std::find_if(config.ignoreLbas.begin(), config.ignoreLbas.end(),
                                   [&model](const IgnoreLbaRule& r) { return model.starts_with(r.model); });
    record.ignoreRange.reset();
    if (rule != config.ignoreLbas.end())
    {
        record.ignoreRange = LbaRange{.first = rule->firstLba, .last = rule->lastLba};
    }
}

bool IsIgnored(const std::optional<LbaRange>& range, std::uint64_t failLba)
{
    // Converting an int32 to an unsigned 64-bit number keeps its sign bits.
    return range && failLba >= static_cast<std::uint64_t>(range->first) &&
           failLba <= static_cast<std::uint64_t>(range->last);
}

void ApplyDiskReport(const std::string& diskName, const SelfTestDiskReport& report, std::int64_t nowSec,
                     bool first, SelfTestRecord& record)
{
    if (report.status == SelfTestResult::InProgress)
    {
        record.status = SelfTestResult::InProgress;
        record.percent = report.percent;
        record.changed = true;
        Log(LogInfo, "SELFTEST: %s in progress - %d%%", diskName.c_str(), record.percent);
        return;
    }
    if (!first && record.status != SelfTestResult::InProgress)
    {
        return;
    }
    if (!report.log.empty())
    {
        ApplyLog(diskName, report.log, nowSec, record);
    }
    else if (record.status != SelfTestResult::NotAvailable)
    {
        Log(LogWarning, "SELFTEST: %s log not supported", diskName.c_str());
        record.status = SelfTestResult::NotAvailable;
        record.percent = 0;
        record.changed = true;
    }
    if (record.status == SelfTestResult::CompletedNoError)
    {
        record.percent = 100;
    }
    Log(LogWarning, "SELFTEST: %s result %s", diskName.c_str(), ResultName(record.status));
}
} // namespace tq::corvanepi
