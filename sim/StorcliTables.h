// The rows of storcli's tables and the texts in them, which several of its answers share.
#pragma once

#include "sim/JsonWriter.h"
#include "sim/RaidModel.h"

#include <optional>
#include <string>

namespace sim
{
// One row each, into an open array.
void WriteDriveRow(CJsonWriter& json, const CRaidModel& raid, const RaidDrive& drive);
void WriteVolumeRow(CJsonWriter& json, const RaidArray& array);
void WriteEnclosureRow(CJsonWriter& json, const CRaidModel& raid, const EnclosureSpec& enclosure);

// "TOPOLOGY": two lines for each group, then its members and spares; the global spares at the end.
void WriteTopology(CJsonWriter& json, const CRaidModel& raid);

// "Active Operations"
std::string TaskText(const RaidArray& array, SimTime now);
// Plugged drives, of one enclosure or of all.
std::int64_t CountDrives(const CRaidModel& raid, std::optional<int> enclosure);

// "7.277 TB [0x3a3800000 Sectors]"
std::string SectorText(std::int64_t bytes);
std::string Decimal(double value, int places);
} // namespace sim
