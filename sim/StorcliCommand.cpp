#include "sim/StorcliCommand.h"

#include "sim/StorcliReport.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace sim
{
namespace
{
// What follows "/c0".
void ReadTarget(std::string_view path, const CRaidModel& raid, StorcliCommand& command)
{
    struct Row
    {
        std::string_view path;
        StorcliTarget target;
    };
    constexpr auto kFixed = std::to_array<Row>({{"", StorcliTarget::Controller},
                                                {"/eall", StorcliTarget::Enclosures},
                                                {"/eall/sall", StorcliTarget::Drives},
                                                {"/vall", StorcliTarget::Volumes},
                                                {"/fall", StorcliTarget::Foreign}});
    const auto* row = std::ranges::find(kFixed, path, &Row::path);
    if (row != kFixed.end())
    {
        command.target = row->target;
        return;
    }
    if (const auto volume = path.starts_with("/v") ? StorcliNumber(path.substr(2)) : std::nullopt)
    {
        command.target = StorcliTarget::Volume;
        command.volume = *volume;
    }
    if (path.starts_with("/e") && path.find("/s") != std::string_view::npos)
    {
        command.target = StorcliTarget::Drive;
        const auto isIt = [&](const RaidDrive& drive) { return StorcliPath(drive) == command.path; };
        const auto drive = std::ranges::find_if(raid.Drives(), isIt);
        command.drive = drive != raid.Drives().end() ? &*drive : nullptr;
    }
}
} // namespace

bool StorcliCommand::BeginsWith(std::string_view beginning) const
{
    std::string joined;
    for (const std::string& word : words)
    {
        joined += word + " ";
    }
    return joined.starts_with(std::string(beginning) + " ");
}

std::string StorcliCommand::Value(std::string_view key) const
{
    for (const std::string& word : words)
    {
        if (word.starts_with(key) && word.size() > key.size() && word[key.size()] == '=')
        {
            return word.substr(key.size() + 1);
        }
    }
    return "";
}

StorcliCommand ReadStorcliCommand(const std::vector<std::string>& argv, const CRaidModel& raid)
{
    StorcliCommand command;
    command.path = argv[1];
    command.words = {argv.begin() + 2, argv.end() - 1};
    ReadTarget(std::string_view(command.path).substr(3), raid, command);
    return command;
}

std::optional<std::vector<std::string>> StorcliDriveList(std::string_view text)
{
    std::vector<std::string> names;
    while (!text.empty())
    {
        const std::size_t comma = std::min(text.find(','), text.size());
        const std::string_view item = text.substr(0, comma);
        text.remove_prefix(std::min(comma + 1, text.size()));
        const std::size_t colon = item.find(':');
        const std::size_t dash = std::min(item.find('-'), item.size());
        if (colon == std::string_view::npos || colon > dash)
        {
            return std::nullopt;
        }
        const auto first = StorcliNumber(item.substr(colon + 1, dash - colon - 1));
        const auto last = dash < item.size() ? StorcliNumber(item.substr(dash + 1)) : first;
        constexpr int kMostSlots = 64;
        if (!first || !last || *last < *first || *last - *first >= kMostSlots)
        {
            return std::nullopt;
        }
        for (int slot = *first; slot <= *last; ++slot)
        {
            names.push_back(std::string(item.substr(0, colon + 1)) + std::to_string(slot));
        }
    }
    return names;
}

std::optional<int> StorcliNumber(std::string_view text)
{
    int number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isWhole = result.ec == std::errc() && result.ptr == text.data() + text.size();
    return isWhole ? std::optional(number) : std::nullopt;
}
} // namespace sim
