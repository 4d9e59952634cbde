// The simulated storcli: the tool of an LSI controller, which answers as controller 0.
#pragma once

#include "sim/Tools.h"

#include <string>
#include <vector>

namespace sim
{
// `argv` as the program was started, argv[0] included. JSON only ("J" at the end), except for the version.
ToolAnswer AnswerStorcli(Machine& machine, const std::vector<std::string>& argv, SimTime now);
ToolAnswer RefuseStorcli(const std::vector<std::string>& argv);
bool HasStorcli(const Machine& machine);
} // namespace sim
