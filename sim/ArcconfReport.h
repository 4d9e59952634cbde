// What stands between the first and the last line of arcconf's answers about the controller.
#pragma once

#include "sim/RaidModel.h"

#include <string>

namespace sim
{
std::string ArcconfConfig(const CRaidModel& raid, SimTime now); // GETCONFIGJSON
std::string ArcconfList(const CRaidModel& raid);                // LIST
std::string ArcconfTasks(const CRaidModel& raid, SimTime now);  // GETSTATUS
std::string ArcconfSmart(const CRaidModel& raid, SimTime now);  // GETSMARTSTATS
} // namespace sim
