#include "raid/Arcconf.h"

#include "frame/Ipc.h"

#include <array>

namespace arcconf
{
namespace
{
using tq::ipc::client;
using tq::ipc::RunCommand;

constexpr const char* kArcconf = "arcconf";
constexpr const char* kController = "1";

// The client must outlive the answer: its text is lent.
ArcAnswer WaitForAnswer(client& tool)
{
    const int exitCode = tq::ipc::ExitCode(tool.WaitForExit());
    return {.exitCode = exitCode, .output = tool.StandardOutput()};
}

// "SETSTATE" of one drive; `state` are the words behind it.
std::string SetDriveState(const ArcDriveId& drive, const std::vector<std::string>& state, const char* label,
                          const char* failure)
{
    std::vector<std::string> arguments{"SETSTATE", kController, "DEVICE", std::to_string(drive.channel),
                                       std::to_string(drive.device)};
    arguments.insert(arguments.end(), state.begin(), state.end());
    arguments.emplace_back("NOPROMPT");
    const auto tool = RunCommand(kArcconf, arguments, nullptr);
    return tool->HasFailed() ? failure : CheckArcconfResponse(label, WaitForAnswer(*tool));
}
} // namespace

ArcConfig ExecuteControllerInfo()
{
    struct Query
    {
        const char* command;
        const char* failure;
    };
    static constexpr auto kQueries = std::to_array<Query>({
        {"GETCONFIGJSON", "arcconf ExecuteControllerInfo config IPC failed"},
        {"LIST", "arcconf ExecuteControllerInfo status IPC failed"},
        {"GETSTATUS", "arcconf ExecuteControllerInfo task IPC failed"},
    });
    std::array<std::shared_ptr<client>, kQueries.size()> tools;
    for (std::size_t i = 0; i < kQueries.size(); ++i)
    {
        tools.at(i) = RunCommand(kArcconf, {kQueries.at(i).command, kController}, nullptr);
        if (tools.at(i)->HasFailed())
        {
            return {.error = kQueries.at(i).failure};
        }
    }
    const ArcAnswer config = WaitForAnswer(*tools[0]);
    const ArcAnswer listing = WaitForAnswer(*tools[1]);
    const ArcAnswer tasks = WaitForAnswer(*tools[2]);
    return ParseControllerInfo(config, listing, tasks);
}

ArcSmartInfo ExecuteDisksSmartInfo()
{
    const auto tool = RunCommand(kArcconf, {"GETSMARTSTATS", kController}, nullptr);
    if (tool->HasFailed())
    {
        return {.error = "arcconf ExecuteDisksSmartInfo IPC failed"};
    }
    return ParseSmartInfo(WaitForAnswer(*tool));
}

std::shared_ptr<client> StartCreateLogicalDrive(std::int32_t raidLevel, const std::vector<ArcDriveId>& drives)
{
    // Stripes of 512 KB suit long sequential writes. LON: the array's cache is on. MAX: all of the drives.
    std::vector<std::string> arguments{"CREATE",     kController, "LOGICALDRIVE",
                                       "STRIPESIZE", "512",       "LDCACHE",
                                       "LON",        "MAX",       std::to_string(raidLevel)};
    for (const ArcDriveId& drive : drives)
    {
        arguments.insert(arguments.end(), {std::to_string(drive.channel), std::to_string(drive.device)});
    }
    arguments.emplace_back("NOPROMPT");
    return RunCommand(kArcconf, arguments, nullptr);
}

std::string ExecuteAddHotspare(const ArcDriveId& drive, std::int32_t arrayId)
{
    return SetDriveState(drive, {"HSP", "ARRAY", std::to_string(arrayId)}, "addhotspare",
                         "arcconf ExecuteAddHotspare IPC failed");
}

std::string ExecuteDeleteHotspare(const ArcDriveId& drive)
{
    return SetDriveState(drive, {"RDY"}, "deletehotspare", "arcconf ExecuteDeleteHotspare IPC failed");
}
} // namespace arcconf
