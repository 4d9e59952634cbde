// The programs of the simulated appliance and the faults a scenario can give them.
#pragma once

#include "sim/SimTime.h"

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim
{
struct Machine;
struct ProgramRun;

// What a tool in good order prints and how it ends.
struct ToolAnswer
{
    std::string standardOutput{};
    int exitCode = 0;
    std::chrono::milliseconds duration{0};
    std::string standardError{};
};

struct Tool
{
    std::string_view name;    // in scenarios
    std::string_view program; // as the first element of the argument vector
    // What it does to the machine is undone when a fault keeps it from running to its end.
    ToolAnswer (*answer)(Machine& machine, const std::vector<std::string>& argv, SimTime now);
    bool (*isFitted)(const Machine& machine); // null: every appliance has it
    // What it says when the controller refuses a command; null: nothing refuses it.
    ToolAnswer (*refusal)(const std::vector<std::string>& argv) = nullptr;
};

// Null when there is none of this name.
const Tool* FindTool(std::string_view name);
// The names, separated by ", ".
std::string ToolNames();

enum class FaultKind
{
    Hang,    // the run takes `amount` ms and then ends as always
    Slow,    // the run takes `amount` ms more than usual
    Fail,    // exit code `amount`; no JSON, or only the first lines of a text
    Cut,     // output ends after `amount` bytes, exit code 0
    Garbage, // output that cannot be parsed, exit code 0
    Missing, // cannot be started
    Refuse,  // the controller refuses the command
};

struct ToolFault
{
    FaultKind kind = FaultKind::Hang;
    std::int64_t amount = 0;
};

// The faults of one tool. Those for one run come first, in order.
struct ToolState
{
    std::optional<ToolFault> standing;
    std::deque<ToolFault> once;
};

// Runs a program of the appliance with the faults it has at the moment, and uses up a fault for one run. A
// program that the appliance does not have gives ENOENT. One that fails or cannot be started has changed
// nothing.
ProgramRun RunProgram(Machine& machine, const std::vector<std::string>& argv, SimTime now);
} // namespace sim
