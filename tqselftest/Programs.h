// Runs programs and collects what they print, several at a time and each within a time limit.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace tqselftest
{
struct ProgramLimits
{
    std::chrono::milliseconds each{
        std::chrono::seconds{20}}; // a healthy smartctl needs a fraction of a second
    std::chrono::milliseconds all{std::chrono::seconds{60}};
    std::size_t output = std::size_t{1} << 20; // bytes of standard output
    std::size_t atATime = 8;
};

struct ProgramResult
{
    std::string error{}; // why there is no exit code: not started, killed, too slow, too much output
    bool isStarted = true;
    int exitCode = -1;    // -1 with an error
    std::string output{}; // standard output; standard error is thrown away
    std::chrono::milliseconds duration{0};
};

// The results in the order of `commands`, each an argument vector whose first word is looked up in PATH
// unless it holds a
// "/". A program past its limit is killed; should it not even die of that, it is left to itself. What would
// begin after the limit for all is not begun. Not for threads of which another one waits for children; with
// SIGCHLD ignored, the system does, and every result is an error.
std::vector<ProgramResult> RunPrograms(const std::vector<std::vector<std::string>>& commands,
                                       const ProgramLimits& limits);
} // namespace tqselftest
