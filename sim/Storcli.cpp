#include "sim/Storcli.h"

#include "sim/Machine.h"
#include "sim/StorcliCommand.h"
#include "sim/StorcliReport.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

namespace sim
{
namespace
{
constexpr const char* kCliVersion = "007.2203.0000.0000 May 11, 2022";

constexpr std::chrono::milliseconds kBriefly{60};
constexpr std::chrono::milliseconds kShowDuration{450};
constexpr std::chrono::milliseconds kChangeDuration{700};
constexpr std::chrono::milliseconds kCreateDuration{4'000};

constexpr int kRefused = 255; // error code of most refusals, and the exit code then
constexpr int kNoCapacity = 13;

// An answer without data. `detail` is the row of the detailed status, nothing for none.
struct Verdict
{
    bool isSuccess = true;
    std::string description = "None";
    std::string subjectKey{}; // "Drive", "VD"; empty: no detailed status
    std::string subject{};
    int errorCode = 0;
    std::string message{};
};

void WriteDetail(CJsonWriter& json, const Verdict& verdict)
{
    json.BeginArray("Detailed Status");
    json.BeginObject();
    json.String(verdict.subjectKey, verdict.subject);
    json.String("Status", verdict.isSuccess ? "Success" : "Failure");
    json.Number("ErrCd", verdict.errorCode);
    json.String("ErrMsg", verdict.isSuccess ? "-" : verdict.message);
    json.EndObject();
    json.EndArray();
}

// Leaves the controller's object open for "Response Data".
CJsonWriter Begin(const Verdict& verdict)
{
    CJsonWriter json;
    json.BeginObject();
    json.BeginArray("Controllers");
    json.BeginObject();
    json.BeginObject("Command Status");
    json.String("CLI Version", kCliVersion);
    json.String("Operating system", "Linux 6.1.0-appliance");
    json.Number("Controller", 0);
    json.String("Status", verdict.isSuccess ? "Success" : "Failure");
    json.String("Description", verdict.description);
    if (!verdict.subjectKey.empty())
    {
        WriteDetail(json, verdict);
    }
    json.EndObject();
    return json;
}

ToolAnswer Finish(CJsonWriter& json, int exitCode, std::chrono::milliseconds duration)
{
    json.EndObject();
    json.EndArray();
    json.EndObject();
    return {.standardOutput = json.Text(), .exitCode = exitCode, .duration = duration};
}

ToolAnswer Answer(const Verdict& verdict, std::chrono::milliseconds duration)
{
    CJsonWriter json = Begin(verdict);
    return Finish(json, verdict.errorCode, duration);
}

ToolAnswer Refuse(const std::string& description)
{
    return Answer({.isSuccess = false, .description = description, .errorCode = kRefused}, kBriefly);
}

template <typename Write>
ToolAnswer Show(const std::string& description, Write write)
{
    CJsonWriter json = Begin({.description = description});
    json.BeginObject("Response Data");
    write(json);
    json.EndObject();
    return Finish(json, 0, kShowDuration);
}

// The outcome of a change to a drive or a volume.
ToolAnswer Changed(const StorcliCommand& command, const std::string& what, const std::string& error)
{
    const bool isDrive = command.target == StorcliTarget::Drive;
    return Answer({.isSuccess = error.empty(),
                   .description = what + (error.empty() ? " Succeeded." : " Failed."),
                   .subjectKey = error.empty() ? ""
                                 : isDrive     ? "Drive"
                                               : "VD",
                   .subject = isDrive ? command.path : std::to_string(command.volume),
                   .errorCode = error.empty() ? 0 : kRefused,
                   .message = error},
                  kChangeDuration);
}

ToolAnswer ShowController(CRaidModel& raid, const StorcliCommand&, SimTime now)
{
    return Show("None", [&](CJsonWriter& json) { WriteControllerReport(json, raid, now); });
}

ToolAnswer ShowEnclosures(CRaidModel& raid, const StorcliCommand&, SimTime)
{
    return Show("None", [&](CJsonWriter& json) { WriteEnclosureReport(json, raid); });
}

ToolAnswer ShowVolumes(CRaidModel& raid, const StorcliCommand&, SimTime now)
{
    if (raid.Arrays().empty())
    {
        return Answer({.description = "No VDs have been configured"}, kShowDuration);
    }
    return Show("None", [&](CJsonWriter& json) { WriteVolumeReport(json, raid, now); });
}

bool HasDrives(const CRaidModel& raid)
{
    return std::ranges::any_of(raid.Drives(), [](const RaidDrive& drive) { return drive.disk.IsPresent(); });
}

ToolAnswer ShowDrives(CRaidModel& raid, const StorcliCommand&, SimTime now)
{
    return HasDrives(raid) ? Show("Show Drive Information Succeeded.",
                                  [&](CJsonWriter& json) { WriteDriveReport(json, raid, now); })
                           : Refuse("No drive found!");
}

ToolAnswer ShowSmart(CRaidModel& raid, const StorcliCommand&, SimTime now)
{
    return HasDrives(raid) ? Show("Show Drive Smart Info Succeeded.",
                                  [&](CJsonWriter& json) { WriteDriveSmart(json, raid, now); })
                           : Refuse("No drive found!");
}

// "add vd r5 drives=64:0,64:1,64:2 strip=256"
ToolAnswer AddVolume(CRaidModel& raid, const StorcliCommand& command, SimTime now)
{
    const std::string& levelWord = command.words.size() > 2 ? command.words[2] : std::string();
    const auto level =
        levelWord.starts_with('r') ? StorcliNumber(std::string_view(levelWord).substr(1)) : std::nullopt;
    const auto drives = StorcliDriveList(command.Value("drives"));
    if (!level || !drives)
    {
        return Refuse("syntax error");
    }
    const std::string error = raid.Create(*level, *drives, now);
    if (error.empty())
    {
        return Answer({.description = "Add VD Succeeded."}, kCreateDuration);
    }
    return Answer({.isSuccess = false,
                   .description = error,
                   .subjectKey = "VD",
                   .subject = "0 KB",
                   .errorCode = kNoCapacity,
                   .message = error},
                  kChangeDuration);
}

ToolAnswer DeleteVolume(CRaidModel& raid, const StorcliCommand& command, SimTime)
{
    return Changed(command, "Delete VD", raid.Delete(command.volume));
}

// "set pdcache=off wrcache=awb"
ToolAnswer SetCache(CRaidModel& raid, const StorcliCommand& command, SimTime)
{
    const std::string error =
        raid.SetCache(command.volume, command.Value("pdcache") == "off", command.Value("wrcache") == "awb");
    if (!error.empty())
    {
        return Changed(command, "Set VD", "Invalid VD number");
    }
    return Answer({.subjectKey = "VD", .subject = std::to_string(command.volume)}, kChangeDuration);
}

ToolAnswer AddSpare(CRaidModel& raid, const StorcliCommand& command, SimTime now)
{
    const std::string group = command.Value("dgs");
    const auto number = StorcliNumber(group);
    if (!group.empty() && !number)
    {
        return Refuse("syntax error");
    }
    const std::string error =
        command.drive == nullptr ? "Drive not found" : raid.AddSpare(command.drive->spec.name, number, now);
    return Changed(command, "Add Hot Spare", error);
}

ToolAnswer DeleteSpare(CRaidModel& raid, const StorcliCommand& command, SimTime)
{
    const std::string error =
        command.drive == nullptr ? "Drive not found" : raid.RemoveSpare(command.drive->spec.name);
    return Changed(command, "Delete Hot Spare", error);
}

ToolAnswer DeleteForeign(CRaidModel& raid, const StorcliCommand&, SimTime)
{
    int cleared = 0;
    for (const RaidDrive& drive : raid.Drives())
    {
        if (drive.state == DriveState::Foreign)
        {
            raid.Clear(drive.spec.name);
            ++cleared;
        }
    }
    return cleared > 0
               ? Answer({.description = "Successfully deleted foreign configuration"}, kChangeDuration)
               : Refuse("Couldn't find any foreign Configuration");
}

struct CommandRow
{
    StorcliTarget target;
    std::string_view words; // the command's first words
    ToolAnswer (*answer)(CRaidModel& raid, const StorcliCommand& command, SimTime now);
};

constexpr auto kCommands = std::to_array<CommandRow>({
    {StorcliTarget::Controller, "show all", &ShowController},
    {StorcliTarget::Enclosures, "show all", &ShowEnclosures},
    {StorcliTarget::Volumes, "show all", &ShowVolumes},
    {StorcliTarget::Drives, "show all", &ShowDrives},
    {StorcliTarget::Drives, "show smart", &ShowSmart},
    {StorcliTarget::Controller, "add vd", &AddVolume},
    {StorcliTarget::Volume, "del", &DeleteVolume},
    {StorcliTarget::Volume, "set", &SetCache},
    {StorcliTarget::Drive, "add hotsparedrive", &AddSpare},
    {StorcliTarget::Drive, "delete hotsparedrive", &DeleteSpare},
    {StorcliTarget::Foreign, "del", &DeleteForeign},
});

ToolAnswer Version()
{
    return {.standardOutput = std::string("\n     Storage Command Line Tool  Ver ") + kCliVersion +
                              "\n\n     (c)Copyright, All Rights Reserved.\n\n",
            .exitCode = 0,
            .duration = kBriefly};
}
} // namespace

bool HasStorcli(const Machine& machine)
{
    return machine.raid.Spec().kind == RaidKind::Lsi;
}

ToolAnswer RefuseStorcli(const std::vector<std::string>&)
{
    return Refuse("Operation not allowed.");
}

ToolAnswer AnswerStorcli(Machine& machine, const std::vector<std::string>& argv, SimTime now)
{
    if (argv.size() == 2 && argv[1] == "-V")
    {
        return Version();
    }
    if (argv.size() < 3 || argv.back() != "J")
    {
        return {.standardOutput = "The simulated storcli answers in JSON only (J).\n",
                .exitCode = kRefused,
                .duration = kBriefly};
    }
    const std::string_view path = argv[1];
    if (path != "/c0" && !path.starts_with("/c0/"))
    {
        return Refuse("Controller " + std::string(path.substr(std::min<std::size_t>(2, path.size()))) +
                      " not found");
    }
    const StorcliCommand command = ReadStorcliCommand(argv, machine.raid);
    const auto* row = std::ranges::find_if(
        kCommands, [&command](const CommandRow& candidate)
        { return candidate.target == command.target && command.BeginsWith(candidate.words); });
    return row != kCommands.end() ? row->answer(machine.raid, command, now) : Refuse("syntax error");
}
} // namespace sim
