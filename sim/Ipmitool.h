// ipmitool of the simulated appliance.
#pragma once

#include "sim/Tools.h"

#include <string>
#include <vector>

namespace sim
{
// A board without management controller has no use for the program.
bool HasIpmitool(const Machine& machine);

// "-c sdr": one line for each sensor. Anything else is refused.
ToolAnswer AnswerIpmitool(const Machine& machine, const std::vector<std::string>& argv, SimTime now);
} // namespace sim
