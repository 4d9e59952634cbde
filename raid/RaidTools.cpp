#include "raid/RaidTools.h"

#include "frame/Ipc.h"
#include "frame/Regex.h"
#include "frame/Text.h"
#include "raid/ArcController.h"
#include "raid/LsiController.h"

#include <algorithm>

namespace
{
ToolVersion Named(const char* tool)
{
    return {.toolName = tool, .displayName = tool};
}
} // namespace

ToolVersion ParseStorcliVersion(const std::string& output)
{
    ToolVersion result = Named("storcli");
    std::string oneLine = output;
    oneLine.erase(std::remove(oneLine.begin(), oneLine.end(), '\n'), oneLine.end());
    if (const auto groups = MatchWhole(oneLine, R"(.+ ([0-9]+\.[0-9]+\.[0-9.]+).+)"))
    {
        result.version = (*groups)[1];
    }
    else
    {
        result.error = "storcli invalid version";
    }
    return result;
}

ToolVersion ParseArcconfVersion(const std::string& output)
{
    ToolVersion result = Named("arcconf");
    if (const auto groups = SearchFirst(output, R"(.+\| +UCLI +\| +Version ([0-9]+\.[0-9]+\.[0-9]+).+)"))
    {
        result.version = (*groups)[1];
    }
    else
    {
        result.error = "arcconf invalid version";
    }
    return result;
}

ToolVersion ExecuteStorcliVersion()
{
    const auto client = tq::ipc::RunCommand("storcli", {"-V"}, nullptr);
    if (client->HasFailed())
    {
        return {.error = "storcli ExecuteVersion IPC failed"};
    }
    client->WaitForExit();
    return ParseStorcliVersion(client->StandardOutput());
}

ToolVersion ExecuteArcconfVersion()
{
    const auto client = tq::ipc::RunCommand("arcconf", {"VERSION"}, nullptr);
    if (client->HasFailed())
    {
        return {.error = "arcconf ExecuteVersion IPC failed"};
    }
    client->WaitForExit();
    return ParseArcconfVersion(client->StandardOutput());
}

std::shared_ptr<CController> CreateLsiController(bool qSeries, std::shared_ptr<const CClock> clock)
{
    return std::make_shared<CLsiController>(qSeries, std::move(clock));
}

std::shared_ptr<CController> CreateArcController(std::shared_ptr<const CClock> clock)
{
    return std::make_shared<ArcController>(std::move(clock));
}
