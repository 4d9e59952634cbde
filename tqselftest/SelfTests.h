// What the tool does: finds the drives, asks each for its state, starts or stops their tests, prints the
// report.
#pragma once

#include "tqselftest/CommandLine.h"
#include "tqselftest/Programs.h"

#include <functional>
#include <string>
#include <vector>

namespace tqselftest
{
// Exit codes of the tool.
inline constexpr int kDone = 0;
inline constexpr int kDriveFailed = 1; // the drive named, or every drive, cannot do what was asked
inline constexpr int kBadCommandLine = 2;
inline constexpr int kNoSmartctl = 3; // it cannot be run, or its list of drives cannot be read

struct Outcome
{
    int exitCode = kDone;
    std::string output{};                // for standard output; the messages when the exit code is not 0
    std::vector<std::string> messages{}; // for standard error, one line each
};

// Runs argument vectors; the results in their order.
using Runner = std::function<std::vector<ProgramResult>(const std::vector<std::vector<std::string>>&)>;

// `smartctl` is the program's name. With a drive named, only that one is touched, and it has to be able to do
// what is asked. Otherwise:
//   start   every drive but the NVMe ones, which the plug-in leaves out as well. Drives that cannot are named
//   in the
//           messages. It is enough that one test starts or runs.
//   stop    every drive that runs a test. Each must stop.
//   report  every drive that answers. It is enough that one does, or that there is none.
// Drives behind a MegaRAID controller go by the names that storcli gives them.
Outcome Execute(const CommandLine& line, const std::string& smartctl, const Runner& run);
} // namespace tqselftest
