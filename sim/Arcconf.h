// The simulated arcconf: the tool of an Adaptec controller, which answers as controller 1.
#pragma once

#include "sim/Tools.h"

#include <string>
#include <vector>

namespace sim
{
// `argv` as the program was started, argv[0] included.
ToolAnswer AnswerArcconf(Machine& machine, const std::vector<std::string>& argv, SimTime now);
ToolAnswer RefuseArcconf(const std::vector<std::string>& argv);
bool HasArcconf(const Machine& machine);
} // namespace sim
