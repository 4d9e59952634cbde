#include "raid/Storcli.h"

#include "frame/Ipc.h"
#include "frame/Text.h"
#include "raid/StorcliAnswer.h"

namespace
{
using Arguments = std::vector<std::string>;

std::shared_ptr<tq::ipc::client> Start(const Arguments& arguments)
{
    return tq::ipc::RunCommand("storcli", arguments, nullptr);
}

// Runs a command that changes something.
std::string ExecuteChange(const Arguments& arguments, const std::string& operation)
{
    const auto client = Start(arguments);
    if (client->HasFailed())
    {
        return "storcli " + operation + " IPC failed";
    }
    const int exitCode = tq::ipc::ExitCode(client->WaitForExit());
    return ParseStorcliChange(exitCode, client->StandardOutput());
}
} // namespace

std::string ParseStorcliChange(int exitCode, const std::string& output)
{
    return CheckStorcliResponse(exitCode, output, false).error;
}

StorcliControllerInfo ExecuteControllerInfo()
{
    // Both run side by side: the controller takes seconds for either.
    const auto controller = Start({"/c0", "show", "all", "J"});
    const auto enclosures = Start({"/c0/eall", "show", "all", "J"});
    if (controller->HasFailed())
    {
        return {.error = "storcli ExecuteControllerInfo ctlr IPC failed"};
    }
    const int controllerExitCode = tq::ipc::ExitCode(controller->WaitForExit());
    if (enclosures->HasFailed())
    {
        return {.error = "storcli ExecuteControllerInfo encl IPC failed"};
    }
    const int enclosuresExitCode = tq::ipc::ExitCode(enclosures->WaitForExit());
    return ParseControllerInfo(controllerExitCode, controller->StandardOutput(), enclosuresExitCode,
                               enclosures->StandardOutput());
}

StorcliVolumes ExecuteVolumesInfo()
{
    const auto client = Start({"/c0/vall", "show", "all", "J"});
    if (client->HasFailed())
    {
        return {.error = "storcli ExecuteVolumesInfo IPC failed"};
    }
    const int exitCode = tq::ipc::ExitCode(client->WaitForExit());
    return ParseVolumesInfo(exitCode, client->StandardOutput());
}

StorcliDisks ExecuteDisksInfo()
{
    const auto client = Start({"/c0/eall/sall", "show", "all", "J"});
    if (client->HasFailed())
    {
        return {.error = "storcli ExecuteDisksInfo IPC failed"};
    }
    const int exitCode = tq::ipc::ExitCode(client->WaitForExit());
    return ParseDisksInfo(exitCode, client->StandardOutput());
}

StorcliSmart ExecuteDisksSmartInfo()
{
    const auto client = Start({"/c0/eall/sall", "show", "smart", "J"});
    if (client->HasFailed())
    {
        return {.error = "storcli ExecuteDisksSmartInfo IPC failed"};
    }
    const int exitCode = tq::ipc::ExitCode(client->WaitForExit());
    return ParseDisksSmartInfo(exitCode, client->StandardOutput());
}

std::shared_ptr<tq::ipc::client> StartStorcliCreateVolume(std::int32_t raidLevel,
                                                          const std::vector<std::string>& disks)
{
    return Start({"/c0", "add", "vd", "r" + std::to_string(raidLevel), "drives=" + Join(disks, ","),
                  "strip=256", "J"});
}

std::string ExecuteConfigureCache(const std::string& volumeName)
{
    return ExecuteChange({volumeName, "set", "pdcache=off", "wrcache=awb", "J"}, "ExecuteConfigureCache");
}

std::string ExecuteAddHotspare(const std::string& diskName, std::int32_t driveGroup)
{
    const std::string group = std::to_string(driveGroup);
    Arguments arguments{diskName, "add", "hotsparedrive"};
    std::string label = "(global)";
    if (driveGroup != kNoDriveGroup)
    {
        arguments.push_back("dgs=" + group);
        label = "(DG " + group + ")";
    }
    arguments.emplace_back("J");
    return ExecuteChange(arguments, "ExecuteAddHotspare " + diskName + " " + label);
}

std::string ExecuteDeleteHotspare(const std::string& diskName)
{
    return ExecuteChange({diskName, "delete", "hotsparedrive", "J"}, "ExecuteDeleteHotspare " + diskName);
}
