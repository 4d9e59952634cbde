// The command line of tqselftest.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tqselftest
{
enum class Command
{
    Version,
    StartShort,
    StartLong,
    Stop,
    Report,
};

struct CommandLine
{
    Command command = Command::Version;
    std::optional<std::string> drive{}; // as the report names it; none: every drive
    bool trace = false;
    std::string error{}; // not empty: the words make no command, and the other fields mean nothing
};

inline constexpr const char* kUsage =
    "usage: tqselftest -v | -c startshort|startlong|stop|report [-d DEVICE] [-x]";

// `words` are the arguments without the program's name, in any order.
CommandLine ParseCommandLine(const std::vector<std::string>& words);
} // namespace tqselftest
