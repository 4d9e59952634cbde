#include "sim/Arcconf.h"

#include "sim/ArcconfReport.h"
#include "sim/Machine.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string_view>

namespace sim
{
namespace
{
using Words = std::vector<std::string>;

constexpr std::chrono::milliseconds kBriefly{80};
constexpr std::chrono::milliseconds kShowDuration{500};
constexpr std::chrono::milliseconds kChangeDuration{900};
constexpr std::chrono::milliseconds kCreateDuration{5'000};

constexpr int kFailed = 1;
constexpr const char* kFound = "Controllers found: 1\n";

ToolAnswer Done(const std::string& text, std::chrono::milliseconds duration)
{
    return {.standardOutput = kFound + text + "Command completed successfully.\n", .duration = duration};
}

ToolAnswer Aborted(const std::string& reason)
{
    return {.standardOutput = std::string(kFound) + "\n" + reason + "\n\nCommand aborted.\n",
            .exitCode = kFailed,
            .duration = kBriefly};
}

std::optional<int> Number(const std::string& text)
{
    int number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isWhole = result.ec == std::errc() && result.ptr == text.data() + text.size();
    return isWhole ? std::optional(number) : std::nullopt;
}

// The model's name of a drive.
std::string DriveName(const std::string& channel, const std::string& device)
{
    return channel + ":" + device;
}

ToolAnswer GetConfig(CRaidModel& raid, const Words&, SimTime now)
{
    return Done(ArcconfConfig(raid, now), kShowDuration);
}

ToolAnswer List(CRaidModel& raid, const Words&, SimTime)
{
    return Done(ArcconfList(raid), kShowDuration);
}

ToolAnswer GetStatus(CRaidModel& raid, const Words&, SimTime now)
{
    return Done(ArcconfTasks(raid, now), kShowDuration);
}

ToolAnswer GetSmartStats(CRaidModel& raid, const Words&, SimTime now)
{
    return Done(ArcconfSmart(raid, now), kShowDuration);
}

// "LOGICALDRIVE [options] MAX LEVEL CHANNEL DEVICE CHANNEL DEVICE ..."
ToolAnswer Create(CRaidModel& raid, const Words& words, SimTime now)
{
    const auto size = std::ranges::find(words, "MAX");
    if (words.empty() || words.front() != "LOGICALDRIVE" || words.end() - size < 2)
    {
        return Aborted("Invalid command line.");
    }
    const auto level = Number(*(size + 1));
    Words drives;
    for (auto word = size + 2; word < words.end() && word + 1 < words.end(); word += 2)
    {
        drives.push_back(DriveName(*word, *(word + 1)));
    }
    if (!level || (words.end() - size) % 2 != 0)
    {
        return Aborted("Invalid command line.");
    }
    const std::string error = raid.Create(*level, drives, now);
    return error.empty() ? Done("\nCreating logical device\n\n", kCreateDuration) : Aborted(error + ".");
}

// "DEVICE CHANNEL DEVICE HSP ARRAY NUMBER" or "DEVICE CHANNEL DEVICE RDY"
ToolAnswer SetState(CRaidModel& raid, const Words& words, SimTime now)
{
    if (words.size() < 4 || words.front() != "DEVICE")
    {
        return Aborted("Invalid command line.");
    }
    const std::string name = DriveName(words[1], words[2]);
    std::string error = "Invalid command line";
    if (words[3] == "RDY" && words.size() == 4)
    {
        error = raid.RemoveSpare(name);
    }
    else if (words[3] == "HSP" && words.size() == 6 && words[4] == "ARRAY" && Number(words[5]))
    {
        error = raid.AddSpare(name, Number(words[5]), now);
    }
    return error.empty() ? Done("\n", kChangeDuration) : Aborted(error + ".");
}

// "LOGICALDRIVE NUMBER"
ToolAnswer Delete(CRaidModel& raid, const Words& words, SimTime)
{
    const auto volume =
        words.size() == 2 && words.front() == "LOGICALDRIVE" ? Number(words.back()) : std::nullopt;
    const std::string error = volume ? raid.Delete(*volume) : "Invalid command line";
    return error.empty() ? Done("\n", kChangeDuration) : Aborted(error + ".");
}

struct CommandRow
{
    std::string_view name;
    bool changes;                                                            // and so wants NOPROMPT
    ToolAnswer (*answer)(CRaidModel& raid, const Words& words, SimTime now); // words behind the controller
};

constexpr auto kCommands = std::to_array<CommandRow>({
    {"GETCONFIGJSON", false, &GetConfig},
    {"LIST", false, &List},
    {"GETSTATUS", false, &GetStatus},
    {"GETSMARTSTATS", false, &GetSmartStats},
    {"CREATE", true, &Create},
    {"SETSTATE", true, &SetState},
    {"DELETE", true, &Delete},
});

ToolAnswer Version()
{
    return {.standardOutput = std::string(kFound) + "  | UCLI |  Adaptec uniform command line interface\n"
                                                    "  | UCLI |  Version 3.07.23971 (B23971)\n"
                                                    "  | UCLI |  All Rights Reserved\n\n\n"
                                                    "Command completed successfully.\n",
            .duration = kBriefly};
}
} // namespace

bool HasArcconf(const Machine& machine)
{
    return machine.raid.Spec().kind == RaidKind::Adaptec;
}

ToolAnswer RefuseArcconf(const std::vector<std::string>&)
{
    return Aborted("The requested feature is not supported on this controller.");
}

ToolAnswer AnswerArcconf(Machine& machine, const std::vector<std::string>& argv, SimTime now)
{
    if (argv.size() == 2 && argv[1] == "VERSION")
    {
        return Version();
    }
    const std::string_view name = argv.size() > 1 ? std::string_view(argv[1]) : std::string_view();
    const auto* command = std::ranges::find(kCommands, name, &CommandRow::name);
    if (command == kCommands.end() || argv.size() < 3)
    {
        return Aborted("Invalid command line.");
    }
    if (argv[2] != "1")
    {
        return Aborted("Invalid controller number.");
    }
    Words words(argv.begin() + 3, argv.end());
    if (command->changes)
    {
        if (words.empty() || words.back() != "NOPROMPT")
        {
            return Aborted("Are you sure? Nobody is there to answer."); // the real one waits for ever
        }
        words.pop_back();
    }
    return command->answer(machine.raid, words, now);
}
} // namespace sim
