// The "Response Data" of storcli's answers. Each writes into an open "Response Data" object.
#pragma once

#include "sim/JsonWriter.h"
#include "sim/RaidModel.h"

#include <string>

namespace sim
{
void WriteControllerReport(CJsonWriter& json, const CRaidModel& raid, SimTime now);
void WriteEnclosureReport(CJsonWriter& json, const CRaidModel& raid);
void WriteVolumeReport(CJsonWriter& json, const CRaidModel& raid, SimTime now);
void WriteDriveReport(CJsonWriter& json, const CRaidModel& raid, SimTime now);
void WriteDriveSmart(CJsonWriter& json, const CRaidModel& raid, SimTime now);

// "/c0/e64/s3"
std::string StorcliPath(const RaidDrive& drive);
} // namespace sim
