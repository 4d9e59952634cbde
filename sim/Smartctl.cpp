#include "sim/Smartctl.h"

#include "sim/Machine.h"
#include "sim/SmartctlRaid.h"
#include "sim/SmartctlReport.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace sim
{
namespace
{
// Exit status bits: the command line did not parse; the device could not be opened.
constexpr int kCommandLine = 1 << 0;
constexpr int kOpenFailed = 1 << 1;

constexpr std::chrono::milliseconds kBriefly{20};
constexpr std::chrono::milliseconds kScanDuration{50};
constexpr std::chrono::milliseconds kReportDuration{120};

enum class Option
{
    Json,
    Version,
    Scan,
    Tolerance, // takes an argument
    Type,      // takes an argument
    All,
    Identity,
    Health,
    Attributes,
};

struct OptionRow
{
    char letter; // 0 when there is only the long form
    std::string_view longName;
    Option option;
    std::string_view validArguments; // named when the argument is wrong or missing; empty for options without
};

constexpr std::string_view kTolerances = "normal, conservative, permissive, verypermissive";
constexpr std::string_view kTypes =
    "ata, scsi[+TYPE], nvme[,NSID], sat[,auto][,N][+TYPE], megaraid,N, auto, test";

constexpr auto kOptions = std::to_array<OptionRow>({
    {'j', "json", Option::Json, {}},
    {'V', "version", Option::Version, {}},
    {'\0', "scan", Option::Scan, {}},
    {'T', "tolerance", Option::Tolerance, kTolerances},
    {'d', "device", Option::Type, kTypes},
    {'a', "all", Option::All, {}},
    {'x', "xall", Option::All, {}},
    {'i', "info", Option::Identity, {}},
    {'H', "health", Option::Health, {}},
    {'A', "attributes", Option::Attributes, {}},
});

struct CommandLine
{
    bool json = false;
    bool version = false;
    bool scan = false;
    SmartctlSections sections;
    std::string type;
    std::vector<std::string> devices;
    std::vector<std::string> errors; // of the first thing wrong
};

bool IsListed(std::string_view list, const std::string& word)
{
    return (", " + std::string(list) + ",").find(", " + word + ",") != std::string::npos;
}

void Apply(const OptionRow& row, const std::string& argument, CommandLine& line)
{
    switch (row.option)
    {
    case Option::Json:
        line.json = true;
        break;
    case Option::Version:
        line.version = true;
        break;
    case Option::Scan:
        line.scan = true;
        break;
    case Option::Tolerance: // nothing here needs tolerance
        break;
    case Option::Type:
        line.type = argument;
        break;
    case Option::All:
        line.sections = {.identity = true, .health = true, .attributes = true, .selfTests = true};
        break;
    case Option::Identity:
        line.sections.identity = true;
        break;
    case Option::Health:
        line.sections.health = true;
        break;
    case Option::Attributes:
        line.sections.attributes = true;
        break;
    }
}

// Keeps the first problem only, as a parser that stops there would.
void AddErrors(CommandLine& line, std::vector<std::string> errors)
{
    if (line.errors.empty())
    {
        line.errors = std::move(errors);
    }
}

std::string ValidArguments(const OptionRow& row)
{
    return "=======> VALID ARGUMENTS ARE: " + std::string(row.validArguments) + " <=======";
}

class CParser
{
public:
    explicit CParser(const std::vector<std::string>& argv) : m_argv(argv) {}

    CommandLine Parse()
    {
        while (m_next < m_argv.size())
        {
            const std::string& word = m_argv[m_next++];
            if (word.starts_with("--"))
            {
                TakeLong(word.substr(2));
            }
            else if (word.starts_with('-') && word.size() > 1)
            {
                TakeShort(word);
            }
            else
            {
                m_line.devices.push_back(word);
            }
        }
        return std::move(m_line);
    }

private:
    void TakeLong(const std::string& word)
    {
        const std::size_t equals = word.find('=');
        const std::string name = word.substr(0, equals);
        const auto* row = std::find_if(kOptions.begin(), kOptions.end(),
                                       [&name](const OptionRow& option) { return option.longName == name; });
        Take(row, name, equals == std::string::npos ? "" : word.substr(equals + 1));
    }

    void TakeShort(const std::string& word)
    {
        for (std::size_t index = 1; index < word.size(); ++index)
        {
            const char letter = word[index];
            const auto* row =
                std::find_if(kOptions.begin(), kOptions.end(),
                             [letter](const OptionRow& option) { return option.letter == letter; });
            const bool takesRest = row != kOptions.end() && !row->validArguments.empty();
            Take(row, std::string(1, letter), takesRest ? word.substr(index + 1) : "");
            if (takesRest)
            {
                break;
            }
        }
    }

    // `argument` is what stood in the same word, if anything.
    void Take(const OptionRow* row, const std::string& name, std::string argument)
    {
        if (row == kOptions.end())
        {
            AddErrors(m_line, {"=======> UNRECOGNIZED OPTION: " + name});
            return;
        }
        if (!row->validArguments.empty() && argument.empty())
        {
            if (m_next == m_argv.size())
            {
                AddErrors(m_line, {"=======> ARGUMENT REQUIRED FOR OPTION: " + name, ValidArguments(*row)});
                return;
            }
            argument = m_argv[m_next++];
        }
        if (row->option == Option::Tolerance && !IsListed(row->validArguments, argument))
        {
            AddErrors(m_line,
                      {"=======> INVALID ARGUMENT TO -" + name + ": " + argument, ValidArguments(*row)});
        }
        Apply(*row, argument, m_line);
    }

    const std::vector<std::string>& m_argv;
    std::size_t m_next = 1;
    CommandLine m_line;
};

// Why a device cannot be opened: a message and the bit it sets.
struct OpenError
{
    std::vector<std::string> messages;
    int exitStatus = 0; // 0: it can be opened
};

OpenError OpenFailure(const std::string& device, const std::string& reason)
{
    return {{"Smartctl open device: " + device + " failed: " + reason}, kOpenFailed};
}

// Pre: the drive is not there.
OpenError MegaRaidError(const CRaidModel& raid, const std::string& device, const std::string& type)
{
    constexpr std::string_view kName = "megaraid,";
    std::string number = type.substr(type.find(kName) + kName.size());
    number.insert(0, number.size() < 2 ? 2 - number.size() : 0, '0');
    const std::string info = " [megaraid_disk_" + number + "]" + (type.starts_with("sat+") ? " [SAT]" : "");
    return OpenFailure(device + info, raid.Spec().kind == RaidKind::Lsi
                                          ? "INQUIRY failed"
                                          : "cannot open /dev/megaraid_sas_ioctl_node or /dev/megadev0");
}

OpenError CheckOpen(const CSimDisk* disk, const std::string& device, const std::string& type)
{
    const bool isNvmeType = type == "nvme" || type.starts_with("nvme,");
    const bool isAtaType = type == "ata" || type == "sat" || type.starts_with("sat,");
    const bool isAutomatic = type.empty() || type == "auto";
    if (!isAutomatic && !isNvmeType && !isAtaType && type != "scsi")
    {
        return {{device + ": Unknown device type '" + type + "'",
                 "=======> VALID ARGUMENTS ARE: " + std::string(kTypes) + " <======="},
                kCommandLine};
    }
    if (isAutomatic && !device.starts_with("/dev/sd") && !device.starts_with("/dev/nvme"))
    {
        return {{device + ": Unable to detect device type"}, kCommandLine};
    }
    if (disk == nullptr || !disk->IsPresent())
    {
        return OpenFailure(device, "No such device");
    }
    if (isAutomatic && !disk->HasSmart())
    {
        return {{device + ": Unknown USB bridge [0x3f0a:0x0412 (0x100)]"}, kCommandLine};
    }
    const bool isNvme = disk->Spec().kind == DiskKind::Nvme;
    if (!isAutomatic && !(isNvme ? isNvmeType : isAtaType && disk->HasSmart()))
    {
        return OpenFailure(device, "Inappropriate ioctl for device");
    }
    return {};
}

ToolAnswer Finish(CJsonWriter& json, int exitStatus, std::chrono::milliseconds duration)
{
    json.EndObject();
    return {.standardOutput = json.Text(), .exitCode = exitStatus, .duration = duration};
}

ToolAnswer AnswerScan(const Machine& machine, const std::vector<std::string>& argv)
{
    CJsonWriter json;
    WriteHeader(json, {.argv = argv, .errors = {}});
    const auto isPresent = [](const CSimDisk& disk) { return disk.IsPresent(); };
    if (std::any_of(machine.disks.begin(), machine.disks.end(), isPresent) || machine.raid.IsFitted())
    {
        json.BeginArray("devices");
        WriteRaidVolumes(json, machine.raid);
        for (const CSimDisk& disk : machine.disks)
        {
            if (disk.IsPresent())
            {
                WriteDevice(json, {}, PlainName(disk.Spec()));
            }
        }
        WriteBusDrives(json, machine.raid);
        json.EndArray();
    }
    return Finish(json, 0, kScanDuration);
}

// What the words of a command line lead to, or why they do not.
struct Subject
{
    const CSimDisk* disk = nullptr;
    const RaidArray* volume = nullptr;
    SmartctlName name{};
    OpenError problem{};
};

Subject FindSubject(const Machine& machine, const std::string& device, const std::string& type)
{
    if (type.find("megaraid,") != std::string::npos)
    {
        const RaidDrive* const drive = FindBusDrive(machine.raid, device, type);
        return drive != nullptr ? Subject{.disk = &drive->disk, .name = BusDriveName(device, type)}
                                : Subject{.problem = MegaRaidError(machine.raid, device, type)};
    }
    if (const RaidArray* const volume = machine.raid.FindOsDevice(device))
    {
        return {.volume = volume};
    }
    const CSimDisk* const disk = device.starts_with('/') ? machine.FindDisk(device) : nullptr;
    Subject subject{.disk = disk, .problem = CheckOpen(disk, device, type)};
    if (disk != nullptr && subject.problem.exitStatus == 0)
    {
        subject.name = PlainName(disk->Spec());
    }
    return subject;
}

ToolAnswer AnswerReport(const Machine& machine, const std::vector<std::string>& argv, const CommandLine& line,
                        SimTime now)
{
    const Subject subject = FindSubject(machine, line.devices.front(), line.type);
    const int failure = subject.problem.exitStatus;
    const bool hasDisk = failure == 0 && subject.disk != nullptr;
    const int status = hasDisk ? HealthStatusBits(*subject.disk, line.sections, now) : failure;
    CJsonWriter json;
    WriteHeader(json, {.argv = argv,
                       .errors = subject.problem.messages,
                       .namesDatabase = hasDisk && subject.disk->Spec().kind != DiskKind::Nvme,
                       .exitStatus = status});
    WriteLocalTime(json, now);
    if (subject.volume != nullptr)
    {
        WriteVolumeReport(json, machine.raid, *subject.volume);
    }
    else if (hasDisk)
    {
        WriteReport(json, subject.name, *subject.disk, line.sections, now);
    }
    return Finish(json, status, failure != 0 ? kBriefly : kReportDuration);
}

ToolAnswer AnswerError(const std::vector<std::string>& argv, std::vector<std::string> errors)
{
    CJsonWriter json;
    WriteHeader(json, {.argv = argv, .errors = std::move(errors), .exitStatus = kCommandLine});
    return Finish(json, kCommandLine, kBriefly);
}
} // namespace

ToolAnswer AnswerSmartctl(const Machine& machine, const std::vector<std::string>& argv, SimTime now)
{
    const CommandLine line = CParser(argv).Parse();
    if (!line.json)
    {
        return {.standardOutput = "The simulated smartctl answers in JSON only (-j).\n",
                .exitCode = kCommandLine,
                .duration = kBriefly};
    }
    if (!line.errors.empty())
    {
        return AnswerError(argv, line.errors);
    }
    if (line.version)
    {
        CJsonWriter json;
        WriteHeader(json, {.argv = argv, .errors = {}});
        return Finish(json, 0, kBriefly);
    }
    if (line.scan)
    {
        return AnswerScan(machine, argv);
    }
    if (line.devices.size() != 1)
    {
        return AnswerError(
            argv, {line.devices.empty()
                       ? "ERROR: smartctl requires a device name as the final command-line argument."
                       : "ERROR: smartctl takes ONE device name as the final command-line argument."});
    }
    return AnswerReport(machine, argv, line, now);
}
} // namespace sim
