// The command line of storcli, read.
#pragma once

#include "sim/RaidModel.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim
{
enum class StorcliTarget
{
    Controller,
    Enclosures,
    Drives,
    Volumes,
    Volume,
    Drive,
    Foreign,
    Unknown,
};

struct StorcliCommand
{
    StorcliTarget target = StorcliTarget::Unknown;
    int volume = 0;
    const RaidDrive* drive = nullptr; // null: no such drive
    std::string path;                 // "/c0/e64/s3"
    std::vector<std::string> words;   // what is to be done with it, without the closing "J"

    [[nodiscard]] bool BeginsWith(std::string_view beginning) const;
    // Of "key=value" among the words, "" when it is not there.
    [[nodiscard]] std::string Value(std::string_view key) const;
};

// Pre: `argv` has a path below "/c0", at least one word and the closing "J".
StorcliCommand ReadStorcliCommand(const std::vector<std::string>& argv, const CRaidModel& raid);

// The names in "64:0,64:1"; "64:0-3" is a range of slots. Nothing when it is neither.
std::optional<std::vector<std::string>> StorcliDriveList(std::string_view text);

// The whole of `text` as a number.
std::optional<int> StorcliNumber(std::string_view text);
} // namespace sim
