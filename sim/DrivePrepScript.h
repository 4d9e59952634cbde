// scripts/driveprep.sh of the simulated appliance.
#pragma once

#include "sim/Tools.h"

#include <string>
#include <vector>

namespace sim
{
// "prep SERIAL". Exit code 1 when a stage fails, 2 for a wrong command line, 3 for a drive that it refuses.
// The stages are told to the machine's notes as they begin.
ToolAnswer AnswerDrivePrepScript(Machine& machine, const std::vector<std::string>& argv, SimTime now);
} // namespace sim
