// ./smartctl of the simulated appliance, in JSON mode.
#pragma once

#include "sim/Tools.h"

#include <string>
#include <vector>

namespace sim
{
// Options in any order: -j, -V, --scan, -T, -d, -a, -x, -i, -H, -A and their long forms; short ones can share
// a dash. The other options of the real program are refused as unrecognized.
ToolAnswer AnswerSmartctl(const Machine& machine, const std::vector<std::string>& argv, SimTime now);
} // namespace sim
