// The command line of corvanehost.
#pragma once

#include "host/TimeLimits.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace host
{
struct HostOptions
{
    std::string plugin; // empty: beside the executable
    std::string appliance = "plain";
    std::string chip;  // of its board; empty: the appliance's own
    bool real = false; // real programs instead of the simulated appliance
    std::string scenario;
    std::string workDir;
    std::string socket;
    int speed = 1;
    bool once = false;
    std::optional<std::chrono::seconds> duration; // simulated
    int logLevel = 50; // warnings: what happened to the disks, without each step of a pass
    bool plain = false;
    CTimeLimits limits;

    // "send": the words for the running host; the rest is then unused but for `socket`.
    bool send = false;
    std::vector<std::string> words;
};

// None when the program is to end at once with `exitCode` (help, or a mistake that has been told on standard
// error).
std::optional<HostOptions> ParseOptions(int argc, const char* const* argv, int& exitCode);
} // namespace host
