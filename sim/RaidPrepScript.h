// The script that partitions, formats and mounts the data volume.
#pragma once

#include "sim/Tools.h"

namespace sim
{
enum class PrepFault
{
    Partitioning,
    Formatting,
    Mounting,
    Other, // fails without naming a stage
};

// Takes up one fault of the machine in each run. A stage that has been done stays done.
ToolAnswer AnswerRaidPrepScript(Machine& machine, const std::vector<std::string>& argv, SimTime now);
bool HasRaidPrepScript(const Machine& machine);
} // namespace sim
