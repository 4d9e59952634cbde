// What a JSON report of smartctl says about the self-tests of an ATA drive.
#include "sim/SmartctlReport.h"

#include <algorithm>

namespace sim
{
namespace
{
// The upper four bits of the status byte say how the last test ended, the lower four how many tenths were
// left.
constexpr int kInProgress = 15;

struct StatusWords
{
    int code;
    const char* ofLog;
    const char* ofLastTest;
};

StatusWords WordsOf(SelfTestEnd end)
{
    switch (end)
    {
    case SelfTestEnd::Completed:
        break;
    case SelfTestEnd::Aborted:
        return {1, "Aborted by host", "was aborted by the host"};
    case SelfTestEnd::Interrupted:
        return {2, "Interrupted (host reset)", "was interrupted by the host with a reset"};
    case SelfTestEnd::ReadFailure:
        return {7, "Completed: read failure", "completed with read failure"};
    }
    return {0, "Completed without error", "completed without error"};
}

void WriteEntry(CJsonWriter& json, const CSimDisk& disk, const SelfTestEntry& entry)
{
    const StatusWords words = WordsOf(entry.end);
    json.BeginObject();
    json.BeginObject("type");
    json.Number("value", entry.kind == SelfTestKind::Short ? 1 : 2);
    json.String("string", entry.kind == SelfTestKind::Short ? "Short offline" : "Extended offline");
    json.EndObject();
    json.BeginObject("status");
    json.Number("value", words.code << 4 | entry.remainingPercent / 10);
    json.String("string", words.ofLog);
    if (entry.end != SelfTestEnd::Completed)
    {
        json.Number("remaining_percent", entry.remainingPercent);
    }
    if (entry.end == SelfTestEnd::Completed || entry.end == SelfTestEnd::ReadFailure)
    {
        json.Bool("passed", entry.end == SelfTestEnd::Completed);
    }
    json.EndObject();
    json.Number("lifetime_hours", disk.PowerOnHours(entry.at) & 0xFFFF); // the log has 16 bits for it
    if (entry.end == SelfTestEnd::ReadFailure)
    {
        json.Number("lba", std::min<std::int64_t>(entry.lba, 0xFFFF'FFFF)); // and 32 bits for the block
    }
    json.EndObject();
}

void WriteStatus(CJsonWriter& json, const CSelfTest& tests, SimTime now)
{
    const auto log = tests.Log(now);
    json.BeginObject("status");
    if (const auto remaining = tests.Remaining(now))
    {
        json.Number("value", kInProgress << 4 | *remaining / 10);
        json.String("string", "in progress, " + std::to_string(*remaining) + "% remaining");
        json.Number("remaining_percent", *remaining);
    }
    else
    {
        const SelfTestEntry last = log.empty() ? SelfTestEntry{} : log.front();
        const StatusWords words = WordsOf(last.end);
        json.Number("value", words.code << 4 | last.remainingPercent / 10);
        json.String("string", words.ofLastTest);
        if (last.end == SelfTestEnd::Completed || last.end == SelfTestEnd::ReadFailure)
        {
            json.Bool("passed", last.end == SelfTestEnd::Completed);
        }
    }
    json.EndObject();
}
} // namespace

void WriteSelfTestStatus(CJsonWriter& json, const CSimDisk& disk, SimTime now)
{
    using std::chrono::minutes;
    const auto minutesOf = [&disk](SelfTestKind kind)
    { return std::chrono::duration_cast<minutes>(disk.SelfTest().LengthOf(kind)).count(); };
    json.BeginObject("ata_smart_data");
    if (disk.SelfTest().IsSupported())
    {
        json.BeginObject("self_test");
        WriteStatus(json, disk.SelfTest(), now);
        json.BeginObject("polling_minutes");
        json.Number("short", minutesOf(SelfTestKind::Short));
        json.Number("extended", minutesOf(SelfTestKind::Long));
        json.EndObject();
        json.EndObject();
    }
    json.BeginObject("capabilities");
    json.Bool("self_tests_supported", disk.SelfTest().IsSupported());
    json.EndObject();
    json.EndObject();
}

void WriteSelfTestLog(CJsonWriter& json, const CSimDisk& disk, SimTime now)
{
    if (!disk.SelfTest().IsSupported())
    {
        return;
    }
    const auto log = disk.SelfTest().Log(now);
    json.BeginObject("ata_smart_self_test_log");
    json.BeginObject("standard");
    json.Number("revision", 1);
    if (!log.empty())
    {
        json.BeginArray("table");
        for (const SelfTestEntry& entry : log)
        {
            WriteEntry(json, disk, entry);
        }
        json.EndArray();
    }
    json.Number("count", static_cast<std::int64_t>(log.size()));
    if (!log.empty())
    {
        const auto failed =
            std::count_if(log.begin(), log.end(),
                          [](const SelfTestEntry& entry) { return entry.end == SelfTestEnd::ReadFailure; });
        json.Number("error_count_total", failed);
        json.Number("error_count_outdated", disk.SelfTest().HasFailed(now) ? 0 : failed);
    }
    json.EndObject();
    json.EndObject();
}
} // namespace sim
