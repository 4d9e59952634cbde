// What the appliances with a RAID controller have in common.
#pragma once

#include "sim/Presets.h"

#include <string>
#include <vector>

namespace sim
{
// The volume of the system, as delivered. Numbers of groups and volumes need not agree.
ArraySpec SystemMirror(std::vector<std::string> drives);

AppliancePreset MakeRaidPreset(RaidSpec raid, const char* systemDescription, const char* scenario);
} // namespace sim
