#include "raid/ArcconfConfig.h"

#include "frame/Regex.h"
#include "frame/Text.h"
#include "storage/Json.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>

namespace
{
constexpr std::string_view kBanner = "Controllers found";
constexpr std::string_view kOneController = "Controllers found: 1";
constexpr std::string_view kSuccess = "Command completed successfully";

// The tool's unit of a hard drive's "size".
constexpr std::int64_t kSizeUnitsPerGB = 1048576;
constexpr std::int64_t kMBPerGB = 1024;

// A longer line is none of the tool's: matching the pattern against it would take minutes.
constexpr std::size_t kMaxLineLength = 1024;

constexpr auto kErrorCounters = std::to_array<const char*>({
    "mediumErrorCount",
    "parityErrorCount",
    "linkFailureCount",
    "abortedCmdCount",
    "smartWarningCount",
    "abortedCommands",
    "badTargetErrors",
    "failedReadRecovers",
    "failedWriteRecovers",
    "formatErrors",
    "hardwareErrors",
    "hardReadErrors",
    "hardWriteErrors",
    "mediaFailures",
    "notReadyErrors",
    "timeOutErrors",
    "predictiveFailures",
    "retryRecoveredReadErrors",
    "retryRecoveredWriteErrors",
    "scsiBusFaults",
});

struct LevelCode
{
    std::int32_t code;
    std::int32_t level;
};
constexpr auto kLevelCodes = std::to_array<LevelCode>({
    {1, 1},
    {5, 5},
    {6, 6},
    {50, 5},
    {15, 5},
    {60, 6},
    {16, 6},
});

// One line of the listing, by the text of its id: "0" for a logical drive, "0,4" for a physical one.
struct ListedDrive
{
    std::string state;
    std::int32_t sizeGB = 0;
};
using Listing = std::map<std::string, ListedDrive>;

// Background operations by logical drive.
using Tasks = std::map<std::int32_t, RaidTask>;

// A number that does not fit is as good as none.
template <typename Number>
std::optional<Number> Decimal(const std::string& digits)
{
    Number value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return error == std::errc() ? std::optional(value) : std::nullopt;
}

std::optional<std::int32_t> Narrow(std::int64_t value)
{
    const auto narrow = static_cast<std::int32_t>(value);
    return narrow == value ? std::optional(narrow) : std::nullopt;
}

std::vector<std::string> Lines(std::string_view output)
{
    std::vector<std::string> lines = SplitLines(output);
    std::erase_if(lines, [](const std::string& line) { return line.size() > kMaxLineLength; });
    return lines;
}

Listing ParseListing(std::string_view output)
{
    static const CPattern kLine(R"( +(Logical|Physical) ([0-9,]+) +: +(.+) \(.+, .+, ([0-9]+))");
    Listing listing;
    for (const std::string& line : Lines(output))
    {
        const auto groups = kLine.SearchFirst(line);
        const auto sizeMB = groups ? Decimal<std::int64_t>((*groups)[4]) : std::nullopt;
        const auto sizeGB = sizeMB ? Narrow(*sizeMB / kMBPerGB) : std::nullopt;
        if (sizeGB)
        {
            listing[(*groups)[2]] = {.state = (*groups)[3], .sizeGB = *sizeGB};
        }
    }
    return listing;
}

Tasks ParseTasks(std::string_view output)
{
    static const CPattern kDrive(R"( +[Ll]ogical [Dd]evice +: +([0-9]+))");
    static const CPattern kOperation(R"( +[Cc]urrent [Oo]peration +: +(.+))");
    static const CPattern kPercentage(R"( +[Pp]ercentage [Cc]omplete +: +([0-9]+))");
    Tasks tasks;
    std::optional<std::int32_t> drive; // whose lines these are
    for (const std::string& line : Lines(output))
    {
        if (const auto named = kDrive.SearchFirst(line))
        {
            drive = Decimal<std::int32_t>((*named)[1]);
        }
        else if (!drive)
        {
            continue; // "Current operation : None" of a controller that does nothing
        }
        else if (const auto operation = kOperation.SearchFirst(line))
        {
            if (std::string name = TrimSpaces((*operation)[1]); !name.empty())
            {
                tasks[*drive].name = std::move(name);
            }
        }
        else if (const auto percentage = kPercentage.SearchFirst(line))
        {
            tasks[*drive].percent = Decimal<std::int32_t>((*percentage)[1]).value_or(0);
        }
    }
    return tasks;
}

void AddLogicalDrive(CJsonValue entry, const Listing& listing, const Tasks& tasks, ArcConfig& config)
{
    const auto id = entry.Member("logicalDriveID").Int32();
    const auto code = entry.Member("raidLevel").Int32();
    const auto* level = std::find_if(kLevelCodes.begin(), kLevelCodes.end(),
                                     [&code](const LevelCode& row) { return row.code == code; });
    if (!id || level == kLevelCodes.end())
    {
        return;
    }
    ArcLogicalDrive drive{.id = *id, .raidLevel = level->level, .name = std::to_string(*id)};
    const auto listed = listing.find(drive.name);
    if (listed == listing.end())
    {
        return;
    }
    drive.state = listed->second.state;
    drive.sizeGB = listed->second.sizeGB;
    if (const auto mountPoints = entry.Member("mountPoints").String())
    {
        drive.mountPoints = std::string(*mountPoints);
    }
    const auto task = tasks.find(*id);
    if (entry.Member("bTaskInProgress").Exists() && task != tasks.end() && !task->second.name.empty())
    {
        drive.task = task->second;
    }
    config.logicalDrives.push_back(std::move(drive));
}

void AddArray(CJsonValue entry, ArcConfig& config)
{
    const auto id = entry.Member("arrayID").Int32();
    if (!id)
    {
        return;
    }
    ArcArray array{.id = *id};
    for (const CJsonValue chunk : entry.Member("Chunk").Elements())
    {
        if (!array.logicalDriveId)
        {
            array.logicalDriveId = chunk.Member("logicalDriveID").Int32();
        }
        const auto channel = chunk.Member("channelID").Int32();
        const auto device = chunk.Member("deviceID").Int32();
        if (channel && device)
        {
            array.drives.push_back({*channel, *device});
        }
    }
    config.arrays.push_back(std::move(array));
}

std::optional<std::int32_t> Connector(CJsonValue hardDrive)
{
    const auto name = hardDrive.Member("connectorName").String();
    if (name == "CN0")
    {
        return 0;
    }
    return name == "CN1" ? std::optional(1) : std::nullopt;
}

// What a drive may lack.
void ReadOptionalFacts(CJsonValue entry, ArcHardDrive& drive)
{
    if (const auto size = entry.Member("size").Int64())
    {
        drive.sizeGB = Narrow(*size / kSizeUnitsPerGB);
    }
    drive.rotationalSpeed = entry.Member("rotationalSpeed").Int32();
    drive.temperature = entry.Member("currentTemperature").Int32();
    for (const char* counter : kErrorCounters)
    {
        if (entry.Member(counter).Int64().value_or(0) != 0)
        {
            drive.errorNames.emplace_back(counter);
        }
    }
    for (const CJsonValue array : entry.Member("assignedTo").Elements())
    {
        if (const auto id = array.Int32())
        {
            drive.spareOfArray = id;
        }
    }
}

void AddHardDrive(CJsonValue entry, const Listing& listing, ArcConfig& config)
{
    const auto channel = entry.Member("channelID").Int32();
    const auto device = entry.Member("deviceID").Int32();
    const auto connector = Connector(entry);
    const auto slot = entry.Member("slotID").Int32();
    const auto model = entry.Member("model").String();
    const auto serial = entry.Member("serialNumber").String();
    const auto firmware = entry.Member("firmwareLevel").String();
    if (!channel || !device || !connector || !slot || !model || !serial || !firmware)
    {
        return;
    }
    ArcHardDrive drive{.connector = *connector,
                       .id = {*channel, *device},
                       .slot = *slot,
                       .model = std::string(*model),
                       .serialNumber = std::string(*serial),
                       .firmwareLevel = std::string(*firmware)};
    const auto listed = listing.find(std::to_string(*channel) + "," + std::to_string(*device));
    if (listed != listing.end())
    {
        drive.state = listed->second.state;
    }
    ReadOptionalFacts(entry, drive);
    config.hardDrives.push_back(std::move(drive));
}

ArcConfig ReadConfig(CJsonValue root, const Listing& listing, const Tasks& tasks)
{
    const CJsonValue controller = root.Member("Controller");
    ArcConfig config{.serialNumber = controller.Member("serialNumber").Text(),
                     .model = controller.Member("deviceName").Text(),
                     .driverVersion = controller.Member("driverName").Text(),
                     .firmwareVersion = controller.Member("firmwareVersion").Text()};
    if (const auto version = controller.Member("driverVersion").String())
    {
        config.driverVersion = std::string(*version);
    }
    for (const CJsonValue entry : controller.Member("LogicalDrive").Elements())
    {
        AddLogicalDrive(entry, listing, tasks, config);
    }
    for (const CJsonValue entry : controller.Member("Array").Elements())
    {
        AddArray(entry, config);
    }
    for (const CJsonValue channel : controller.Member("Channel").Elements())
    {
        for (const CJsonValue entry : channel.Member("HardDrive").Elements())
        {
            AddHardDrive(entry, listing, config);
        }
    }
    return config;
}
} // namespace

std::string DriveName(const ArcDriveId& id)
{
    return std::to_string(id.channel) + ":" + std::to_string(id.device);
}

std::optional<ArcDriveId> ParseDriveName(std::string_view name)
{
    static const CPattern kName("([0-9]+):([0-9]+)");
    const auto groups = kName.SearchFirst(name);
    const auto channel = groups ? Decimal<std::int32_t>((*groups)[1]) : std::nullopt;
    const auto device = groups ? Decimal<std::int32_t>((*groups)[2]) : std::nullopt;
    return channel && device ? std::optional(ArcDriveId{*channel, *device}) : std::nullopt;
}

const ArcLogicalDrive* FindDataDrive(const ArcConfig& config)
{
    const auto found =
        std::find_if(config.logicalDrives.begin(), config.logicalDrives.end(),
                     [](const ArcLogicalDrive& drive) { return IsDataLevel(drive.raidLevel); });
    return found != config.logicalDrives.end() ? &*found : nullptr;
}

std::string CheckArcconfResponse(const char* label, const ArcAnswer& answer)
{
    const std::string prefix = std::string("arcconf ") + label;
    if (!answer.output.starts_with(kBanner))
    {
        return prefix + " invalid response error " + std::to_string(answer.exitCode);
    }
    if (!answer.output.starts_with(kOneController))
    {
        return prefix + " missing controller";
    }
    if (Contains(answer.output, kSuccess))
    {
        return {};
    }
    std::string error = prefix + " error " + std::to_string(answer.exitCode) + " -";
    for (std::string& line : SplitLines(answer.output))
    {
        line.erase(std::remove(line.begin(), line.end(), '\r'), line.end());
        if (!line.empty() && !line.starts_with(kBanner))
        {
            error.append(" ").append(line);
        }
    }
    return error;
}

ArcConfig ParseControllerInfo(const ArcAnswer& config, const ArcAnswer& listing, const ArcAnswer& tasks)
{
    struct Check
    {
        const char* label;
        const ArcAnswer& answer;
    };
    for (const Check& check : {Check{"config", config}, Check{"status", listing}, Check{"task", tasks}})
    {
        if (std::string error = CheckArcconfResponse(check.label, check.answer); !error.empty())
        {
            return {.error = std::move(error)};
        }
    }
    const auto start = config.output.find('{'); // behind the banner
    const CJsonDocument document(start != std::string_view::npos ? config.output.substr(start)
                                                                 : std::string_view());
    if (!document.Root().Exists())
    {
        return {.error = "arcconf config invalid json"};
    }
    return ReadConfig(document.Root(), ParseListing(listing.output), ParseTasks(tasks.output));
}
