// scripts/sysinfo.sh of the simulated appliance.
#pragma once

#include "sim/Tools.h"

#include <string>
#include <vector>

namespace sim
{
// Key=value lines: board, software, then one block for each plugged drive.
ToolAnswer AnswerSysInfoScript(const Machine& machine, const std::vector<std::string>& argv, SimTime now);
} // namespace sim
