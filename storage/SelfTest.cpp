#include "storage/SelfTest.h"

#include "frame/Clock.h"
#include "frame/Ipc.h"
#include "frame/Log.h"
#include "frame/Regex.h"
#include "frame/Text.h"
#include "frame/Xml.h"

#include <tinyxml.h>

#include <algorithm>

namespace tq::corvanepi
{
namespace
{
constexpr const char* kTool = "./tqselftest";
constexpr std::int64_t kMsPerSecond = 1000;

// For labels and log lines; empty for a number that is no command.
const char* CommandName(std::int32_t command)
{
    switch (static_cast<SelfTestCommand>(command))
    {
    case SelfTestCommand::StartShort:
        return "START_SHORT";
    case SelfTestCommand::StartLong:
        return "START_LONG";
    case SelfTestCommand::Stop:
        return "STOP";
    case SelfTestCommand::HostReport:
    case SelfTestCommand::InternalReport:
        return "REPORT";
    }
    return "";
}

// "busy [/dev/sda, /dev/sdb]", empty without names.
std::string ListText(const char* word, const std::vector<std::string>& names)
{
    return names.empty() ? "" : std::string(word) + " [" + Join(names, ", ") + "]";
}
} // namespace

// A command, and what its disks can do.
struct SelfTestManager::Request
{
    std::int32_t command;
    const DiskList& disks;
    std::int64_t nowSec;
    const SmartConfig& config;
    std::vector<std::string> unsupported; // names, in the order of the list, as in the other two
    std::vector<std::string> busy;
    std::vector<std::string> available;

    [[nodiscard]] bool IsForOne() const { return disks.size() == 1; }

    // "START_SHORT /dev/sda"
    [[nodiscard]] std::string Title() const
    {
        return std::string(CommandName(command)) + " " + (IsForOne() ? disks.front()->m_name : "ALL");
    }

    // What the tool is told to do, and to which disk if to one only.
    [[nodiscard]] std::vector<std::string> Arguments(const char* verb) const
    {
        std::vector<std::string> arguments{"-c", verb};
        if (IsForOne())
        {
            arguments.insert(arguments.end(), {"-d", disks.front()->m_name});
        }
        return arguments;
    }

    void LogSelfTestOutcome(LogLevel level, std::vector<std::string> texts) const
    {
        texts.erase(std::remove(texts.begin(), texts.end(), ""), texts.end());
        const std::string detail = texts.empty() ? "" : " - " + Join(texts, ", ");
        Log(level, "%s", ("SELFTEST: " + Title() + detail).c_str());
    }

    void LogIgnored() const
    {
        LogSelfTestOutcome(LogWarning,
                           {"ignored", ListText("unsupported", unsupported), ListText("busy", busy)});
    }
};

SelfTestManager::SelfTestManager(const CClock& clock, std::string badReportFile)
    : m_clock(clock),
      m_badReportFile(std::move(badReportFile))
{
}

SelfTestManager::~SelfTestManager() = default;

void SelfTestManager::StartTimeout(const std::string& diskName)
{
    const auto found = m_records.find(diskName);
    if (found != m_records.end())
    {
        found->second.deadlineMs = m_clock.MonotonicMs() + m_timeoutSec * kMsPerSecond;
    }
}

bool SelfTestManager::IsTimedOut(const std::string& diskName) const
{
    const SelfTestRecord* record = Find(diskName);
    return record != nullptr && m_clock.MonotonicMs() > record->deadlineMs;
}

void SelfTestManager::ClearTimeout(const std::string& diskName)
{
    const auto found = m_records.find(diskName);
    if (found != m_records.end())
    {
        found->second.deadlineMs = kNoDeadline;
    }
}

std::string SelfTestManager::GetToolVersion()
{
    const auto client = RunSelfTestTool({"-v"}, "tqselftest ver");
    std::string line;
    if (client == nullptr || !client->ReadLine(ipc::kStandardOutput, line))
    {
        return {};
    }
    const auto match = MatchWhole(line, ".*: (.+)");
    if (!match)
    {
        return {};
    }
    m_toolAvailable = true;
    return match->at(1);
}

void SelfTestManager::SetTimeout(std::int32_t seconds)
{
    if (seconds > kDefaultSelfTestTimeoutSec)
    {
        m_timeoutSec = seconds;
    }
    Log(LogWarning, "SELFTEST: set timeout to %d", m_timeoutSec);
}

// Null unless the tool ran to its end and ended well.
std::shared_ptr<ipc::client> SelfTestManager::RunSelfTestTool(std::vector<std::string> arguments,
                                                              const std::string& label) const
{
    if (m_toolLogging)
    {
        arguments.emplace_back("-x");
    }
    auto client = ipc::RunCommand(kTool, arguments, label.c_str());
    // Cut off by the plug-in's end the tool counts as ended well, but nothing it was to do is known to be
    // done.
    const bool ok = !client->HasFailed() && ipc::ExitCode(client->Status()) == 0 && !ipc::IsIpcClosed();
    return ok ? client : nullptr;
}

// Sorts the disks by what they can do, and brings the records of those that can be tested up to date.
SelfTestManager::Request SelfTestManager::SortDisks(std::int32_t command, const DiskList& disks,
                                                    std::int64_t nowSec, const SmartConfig& config)
{
    Request request{.command = command,
                    .disks = disks,
                    .nowSec = nowSec,
                    .config = config,
                    .unsupported = {},
                    .busy = {},
                    .available = {}};
    for (const auto& disk : disks)
    {
        if (!disk->m_selfTestSupport)
        {
            request.unsupported.push_back(disk->m_name);
        }
        else if (disk->IsRaidBgRunning())
        {
            request.busy.push_back(disk->m_name);
        }
        else
        {
            request.available.push_back(disk->m_name);
            RefreshIdentity(m_records[disk->m_name], *disk, config);
        }
    }
    return request;
}

void SelfTestManager::ExecuteCommand(std::int32_t command, const DiskList& disks, std::int64_t nowSec,
                                     const SmartConfig& config)
{
    if (!m_toolAvailable || disks.empty())
    {
        return;
    }
    const Request request = SortDisks(command, disks, nowSec, config);
    switch (static_cast<SelfTestCommand>(command))
    {
    case SelfTestCommand::StartShort:
    case SelfTestCommand::StartLong:
        StartTest(request);
        return;
    case SelfTestCommand::Stop:
        StopTest(request);
        return;
    case SelfTestCommand::HostReport:
    case SelfTestCommand::InternalReport:
        Report(request);
        return;
    }
    Log(LogWarning, "SELFTEST: invalid command %d", command);
}

void SelfTestManager::StartTest(const Request& request)
{
    // All or none: with the drives of a busy unit left out, "all disks" would be tested only in part.
    if (request.available.empty() || (!request.IsForOne() && !request.busy.empty()))
    {
        request.LogIgnored();
        return;
    }
    const bool isShort = request.command == static_cast<std::int32_t>(SelfTestCommand::StartShort);
    if (RunSelfTestTool(request.Arguments(isShort ? "startshort" : "startlong"),
                        "SELFTEST " + request.Title()) == nullptr)
    {
        return;
    }
    request.LogSelfTestOutcome(LogInfo, {request.IsForOne() ? "" : ListText("avail", request.available),
                                         ListText("unsupported", request.unsupported),
                                         ListText("busy", request.busy)});
    for (auto& [name, record] : m_records)
    {
        if (request.IsForOne() && name != request.disks.front()->m_name)
        {
            continue;
        }
        record.timeSec = request.nowSec;
        if (isShort)
        {
            StartTimeout(name);
        }
    }
    ExecuteCommand(static_cast<std::int32_t>(SelfTestCommand::InternalReport), request.disks, request.nowSec,
                   request.config);
}

void SelfTestManager::StopTest(const Request& request)
{
    if (request.available.empty())
    {
        request.LogIgnored();
    }
    else if (RunSelfTestTool(request.Arguments("stop"), "SELFTEST " + request.Title()) != nullptr)
    {
        request.LogSelfTestOutcome(LogWarning, {});
    }
}

void SelfTestManager::Report(const Request& request)
{
    if (!request.unsupported.empty() && request.available.empty() && request.busy.empty())
    {
        if (!m_ignoredLogged)
        {
            request.LogIgnored();
        }
        m_ignoredLogged = true;
        return;
    }
    const auto client = RunSelfTestTool({"-c", "report"}, "SELFTEST " + request.Title());
    if (client != nullptr)
    {
        TakeUpReport(client->StandardOutput(), request.nowSec);
        AbortTimedOutTests(request);
    }
}

void SelfTestManager::TakeUpReport(const std::string& text, std::int64_t nowSec)
{
    CXmlDocument document;
    if (const auto report = ParseReport(text, document))
    {
        ApplyReport(*report, nowSec);
        return;
    }
    // For whoever looks into it. Without the folder there is no such file, and nothing to say about it.
    static_cast<void>(document.WriteFile(m_badReportFile));
    Log(LogWarning, "SELFTEST: received bad report XML - check logs/tqselftest_bad_report.xml");
}

void SelfTestManager::ApplyReport(const SelfTestReport& report, std::int64_t nowSec)
{
    const bool first = !m_reportedOnce;
    m_reportedOnce = true;
    for (const auto& [name, diskReport] : report)
    {
        const auto found = m_records.find(name);
        if (found == m_records.end())
        {
            continue;
        }
        const bool running = diskReport.status == SelfTestResult::InProgress;
        if (running && first && found->second.deadlineMs == kNoDeadline)
        {
            StartTimeout(name); // found running after a restart: nobody knows since when
        }
        ApplyDiskReport(name, diskReport, nowSec, first, found->second);
    }
}

void SelfTestManager::AbortTimedOutTests(const Request& request)
{
    std::vector<std::string> timedOut;
    for (const auto& [name, record] : m_records)
    {
        if (record.status != SelfTestResult::InProgress)
        {
            ClearTimeout(name);
            continue;
        }
        const auto disk = std::find_if(request.disks.begin(), request.disks.end(),
                                       [&name = name](const auto& d) { return d->m_name == name; });
        if (disk != request.disks.end() && IsTimedOut(name))
        {
            timedOut.push_back(name);
            ExecuteCommand(static_cast<std::int32_t>(SelfTestCommand::Stop), {*disk}, request.nowSec,
                           request.config);
        }
    }
    if (!timedOut.empty())
    {
        request.LogSelfTestOutcome(LogWarning, {ListText("aborted on timeout", timedOut)});
    }
}

const SelfTestRecord* SelfTestManager::Find(const std::string& diskName) const
{
    const auto found = m_records.find(diskName);
    return found != m_records.end() ? &found->second : nullptr;
}

bool SelfTestManager::HasFailed(const std::string& diskName) const
{
    const SelfTestRecord* record = Find(diskName);
    return record != nullptr && record->status == SelfTestResult::CompletedError;
}

bool SelfTestManager::HasChanged(const std::string& diskName) const
{
    const SelfTestRecord* record = Find(diskName);
    return record != nullptr && record->changed;
}

void SelfTestManager::AddStatusAttributes(const std::string& diskName, TiXmlElement& element)
{
    const auto found = m_records.find(diskName);
    if (found == m_records.end() || !found->second.changed)
    {
        return;
    }
    SelfTestRecord& record = found->second;
    record.changed = false;
    element.SetAttribute("SelfTestStatus", static_cast<int>(record.status));
    SetWideAttribute(element, "SelfTestTime", record.timeSec.value_or(0));
    element.SetAttribute("Percent", record.percent);
}
} // namespace tq::corvanepi
