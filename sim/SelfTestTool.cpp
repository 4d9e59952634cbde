#include "sim/SelfTestTool.h"

#include "sim/Machine.h"

#include <optional>
#include <string_view>

namespace sim
{
namespace
{
constexpr std::chrono::milliseconds kBriefly{20};
constexpr std::chrono::milliseconds kDuration{400}; // one smartctl run for each drive, several at a time

constexpr int kFailed = 1;
constexpr int kUsage = 2;

// "SelfTestStatus" and "StatusCode" of the report.
constexpr int kNotAvailable = 0;
constexpr int kInProgress = 1;
constexpr int kCompleted = 2;
constexpr int kError = 3;
constexpr int kAborted = 4;

struct EndWords
{
    int code;
    const char* text;
};

EndWords WordsOf(SelfTestEnd end)
{
    switch (end)
    {
    case SelfTestEnd::Completed:
        break;
    case SelfTestEnd::Aborted:
        return {kAborted, "Aborted by host"};
    case SelfTestEnd::Interrupted:
        return {kAborted, "Interrupted (host reset)"};
    case SelfTestEnd::ReadFailure:
        return {kError, "Completed: read failure"};
    }
    return {kCompleted, "Completed without error"};
}

struct CommandLine
{
    bool version = false;
    std::string command;
    std::optional<std::string> device;
};

// Nothing when there is a word that the tool does not know or one is missing.
std::optional<CommandLine> ReadCommandLine(const std::vector<std::string>& argv)
{
    CommandLine line;
    for (std::size_t index = 1; index < argv.size(); ++index)
    {
        const std::string& word = argv[index];
        const bool hasValue = index + 1 < argv.size();
        if (word == "-v")
        {
            line.version = true;
        }
        else if (word == "-c" && hasValue)
        {
            line.command = argv[++index];
        }
        else if (word == "-d" && hasValue)
        {
            line.device = argv[++index];
        }
        else if (word != "-x") // its extra lines have no place here
        {
            return std::nullopt;
        }
    }
    return line;
}

std::string Escaped(std::string_view text)
{
    std::string escaped;
    for (const char c : text)
    {
        escaped += c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '"' ? "&quot;" : std::string(1, c);
    }
    return escaped;
}

std::string Attribute(std::string_view name, std::string_view value)
{
    return " " + std::string(name) + "=\"" + Escaped(value) + "\"";
}

std::string Attribute(std::string_view name, std::int64_t value)
{
    return Attribute(name, std::to_string(value));
}

std::string ReportElement(const CSimDisk& disk, const SelfTestEntry& entry, std::size_t number)
{
    const EndWords words = WordsOf(entry.end);
    std::string text = "        <Report" + Attribute("ID", static_cast<std::int64_t>(number)) +
                       Attribute("StatusCode", words.code) +
                       Attribute("Timestamp", disk.PowerOnHours(entry.at));
    if (entry.end == SelfTestEnd::ReadFailure)
    {
        text += Attribute("FailLBA", entry.lba);
    }
    text += Attribute("Type", entry.kind == SelfTestKind::Short ? "Short offline" : "Extended offline") +
            Attribute("Status", words.text);
    return text + "/>\n";
}

std::string DiskElement(const CSimDisk& disk, SimTime now)
{
    const auto log = disk.SelfTest().IsSupported() ? disk.SelfTest().Log(now) : std::vector<SelfTestEntry>{};
    const auto remaining = disk.SelfTest().Remaining(now);
    const int status = remaining ? kInProgress : log.empty() ? kNotAvailable : WordsOf(log.front().end).code;
    std::string text =
        "    <Disk" + Attribute("Name", disk.Spec().device) + Attribute("SelfTestStatus", status);
    if (remaining)
    {
        text += Attribute("PcRemain", *remaining);
    }
    text += ">\n";
    for (std::size_t index = 0; index < log.size(); ++index)
    {
        text += ReportElement(disk, log[index], index + 1);
    }
    return text + "    </Disk>\n";
}

ToolAnswer Failure(int exitCode, const std::string& reason)
{
    return {.exitCode = exitCode, .duration = kBriefly, .standardError = "tqselftest: " + reason + "\n"};
}

std::string Report(const std::vector<CSimDisk*>& disks, SimTime now)
{
    std::string text = "<?xml version=\"1.0\"?>\n<SelfTests>\n";
    for (const CSimDisk* disk : disks)
    {
        text += DiskElement(*disk, now);
    }
    return text + "</SelfTests>\n";
}

// One drive named must start; of all drives, those that cannot are named and left alone.
ToolAnswer Start(const std::vector<CSimDisk*>& disks, SelfTestKind kind, bool isOne, SimTime now)
{
    ToolAnswer answer{.duration = kDuration};
    for (CSimDisk* disk : disks)
    {
        if (!disk->SelfTest().Start(kind, now))
        {
            answer.standardError +=
                "tqselftest: " + disk->Spec().device +
                (disk->SelfTest().IsSupported() ? ": a self-test is running\n" : ": no self-tests\n");
            answer.exitCode = isOne ? kFailed : 0;
        }
    }
    return answer;
}

ToolAnswer Execute(const std::string& command, const std::vector<CSimDisk*>& disks, bool isOne, SimTime now)
{
    if (command == "report")
    {
        return {.standardOutput = Report(disks, now), .duration = kDuration};
    }
    if (command == "startshort" || command == "startlong")
    {
        return Start(disks, command == "startshort" ? SelfTestKind::Short : SelfTestKind::Long, isOne, now);
    }
    if (command == "stop")
    {
        for (CSimDisk* disk : disks)
        {
            disk->SelfTest().Stop(SelfTestEnd::Aborted, now);
        }
        return {.duration = kDuration};
    }
    return Failure(kUsage, "unknown command \"" + command + "\"");
}
} // namespace

ToolAnswer AnswerSelfTestTool(Machine& machine, const std::vector<std::string>& argv, SimTime now)
{
    const auto line = ReadCommandLine(argv);
    if (!line)
    {
        return Failure(kUsage, "usage: tqselftest -v | -c startshort|startlong|stop|report [-d DEVICE] [-x]");
    }
    if (line->version)
    {
        return {.standardOutput = "tqselftest: 26.1.7\n", .duration = kBriefly};
    }
    std::vector<CSimDisk*> disks;
    for (CSimDisk* const disk : machine.SelfTestDisks())
    {
        const bool isAsked = line->device ? disk->Spec().device == *line->device
                                          : line->command == "report" || disk->Spec().kind != DiskKind::Nvme;
        if (disk->IsPresent() && disk->HasSmart() && isAsked)
        {
            disks.push_back(disk);
        }
    }
    if (line->device && disks.empty())
    {
        return Failure(kFailed, *line->device + ": cannot be opened");
    }
    return Execute(line->command, disks, line->device.has_value(), now);
}
} // namespace sim
