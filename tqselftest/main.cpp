// tqselftest: the drives' own self-tests, by way of smartctl.
//
//   tqselftest -v                                        its version
//   tqselftest -c startshort|startlong [-d DRIVE] [-x]   starts a short or long test on one drive or on all
//   tqselftest -c stop [-d DRIVE] [-x]                   stops running tests
//   tqselftest -c report [-d DRIVE] [-x]                 state and log of the drives as XML on standard
//   output
//
// DRIVE is a name as the report has it. -x logs each smartctl run. What cannot be done is told on standard
// error, and with an exit code other than 0 on standard output as well: that is what the plug-in logs then.
//
// Exit codes: 0 done; 1 the drive named, or every drive, cannot do what was asked; 2 the command line is
// wrong; 3 smartctl cannot be run or its list of drives cannot be read. Of all drives, those that cannot are
// named on standard error and change nothing as long as one can; a running test that cannot be stopped counts
// as a failure.
//
// smartctl is taken from the working directory, as the plug-in does, else from PATH.
#include "tqselftest/CommandLine.h"
#include "tqselftest/Programs.h"
#include "tqselftest/SelfTests.h"
#include "tqselftest/Trace.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace
{
using namespace tqselftest;

std::string FindSmartctl()
{
    if (access("./smartctl", X_OK) == 0)
    {
        return "./smartctl";
    }
    // It is a system administrator's program, and root's PATH is not always the one of its login.
    const char* path = std::getenv("PATH");
    setenv("PATH", (std::string(path != nullptr ? path : "") + ":/usr/sbin:/sbin").c_str(), 1);
    return "smartctl";
}

std::string Joined(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words)
    {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

// For the whole run of the tool: hosts give a query two minutes, and a tool that they kill has reported
// nothing.
constexpr std::chrono::seconds kTotal{100};

std::vector<ProgramResult> RunWithin(std::chrono::steady_clock::time_point end,
                                     const std::vector<std::vector<std::string>>& commands, bool trace)
{
    ProgramLimits limits;
    const auto left = std::chrono::floor<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    limits.all = std::min(limits.all, left);
    auto results = RunPrograms(commands, limits);
    for (std::size_t index = 0; trace && index < commands.size(); ++index)
    {
        const ProgramResult& result = results[index];
        Trace(Joined(commands[index]) + ": " +
              (result.error.empty() ? "exit " + std::to_string(result.exitCode) : result.error) + ", " +
              std::to_string(result.output.size()) + " bytes, " + std::to_string(result.duration.count()) +
              " ms");
    }
    return results;
}
} // namespace

int main(int argc, char** argv)
{
    // A host that ignores its children's ends hands that on, and no smartctl would have an exit status.
    std::signal(SIGCHLD, SIG_DFL);
    const CommandLine line =
        ParseCommandLine(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
    if (!line.error.empty())
    {
        std::fprintf(stderr, "tqselftest: %s\n%s\n", line.error.c_str(), kUsage);
        std::printf("%s\n", line.error.c_str());
        return kBadCommandLine;
    }
    if (line.command == Command::Version)
    {
        std::puts("tqselftest: " TQSELFTEST_VERSION);
        return kDone;
    }
    const auto end = std::chrono::steady_clock::now() + kTotal;
    const Runner run = [end, trace = line.trace](const auto& commands)
    { return RunWithin(end, commands, trace); };
    const Outcome outcome = Execute(line, FindSmartctl(), run);
    for (const std::string& message : outcome.messages)
    {
        std::fprintf(stderr, "tqselftest: %s\n", message.c_str());
    }
    // A report cut short by a full disk or a closed pipe must not look like a whole one.
    const bool isWritten =
        std::fwrite(outcome.output.data(), 1, outcome.output.size(), stdout) == outcome.output.size() &&
        std::fflush(stdout) == 0;
    return isWritten ? outcome.exitCode : kDriveFailed;
}
