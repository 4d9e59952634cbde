// tqselftest of the simulated appliance: starts, stops and reports the drives' self-tests.
#pragma once

#include "sim/Tools.h"

#include <string>
#include <vector>

namespace sim
{
// Exit code 0; 1 when a drive cannot do what was asked, 2 for a command line that it does not understand.
ToolAnswer AnswerSelfTestTool(Machine& machine, const std::vector<std::string>& argv, SimTime now);
} // namespace sim
