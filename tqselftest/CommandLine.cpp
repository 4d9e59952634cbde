#include "tqselftest/CommandLine.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace tqselftest
{
namespace
{
struct CommandRow
{
    std::string_view word;
    Command command;
};
constexpr auto kCommands = std::to_array<CommandRow>({
    {"startshort", Command::StartShort},
    {"startlong", Command::StartLong},
    {"stop", Command::Stop},
    {"report", Command::Report},
});

CommandLine Error(const std::string& text)
{
    return {.error = text};
}

// The name goes into command lines and messages: nothing that could be taken for an option or move a
// terminal's cursor.
bool IsDriveName(std::string_view name)
{
    constexpr std::size_t kLongest = 255;
    return name.starts_with('/') && name.size() <= kLongest &&
           std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c < '\x7F'; });
}
} // namespace

CommandLine ParseCommandLine(const std::vector<std::string>& words)
{
    CommandLine line;
    bool hasCommand = false;
    for (std::size_t index = 0; index < words.size(); ++index)
    {
        const std::string& word = words[index];
        if (word == "-x")
        {
            line.trace = true;
            continue;
        }
        if (word == "-v" && !hasCommand)
        {
            hasCommand = true;
            continue;
        }
        if ((word != "-c" || hasCommand) && (word != "-d" || line.drive))
        {
            return Error("unexpected \"" + word + "\"");
        }
        if (++index == words.size())
        {
            return Error(word + " wants a value");
        }
        if (word == "-d")
        {
            line.drive = words[index];
            continue;
        }
        const auto* row = std::find_if(kCommands.begin(), kCommands.end(),
                                       [&](const CommandRow& r) { return r.word == words[index]; });
        if (row == kCommands.end())
        {
            return Error("unknown command \"" + words[index] + "\"");
        }
        line.command = row->command;
        hasCommand = true;
    }
    if (!hasCommand)
    {
        return Error("-v or -c is missing");
    }
    if (line.drive && line.command == Command::Version)
    {
        return Error("-v takes no drive");
    }
    return line.drive && !IsDriveName(*line.drive) ? Error("no drive's name: \"" + *line.drive + "\"") : line;
}
} // namespace tqselftest
