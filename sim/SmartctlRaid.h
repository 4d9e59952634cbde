// What smartctl finds where a RAID controller is: the volumes, which say nothing about the drives in them,
// and the drives behind the controller's bus device.
#pragma once

#include "sim/Machine.h"
#include "sim/SmartctlReport.h"

#include <optional>
#include <string>

namespace sim
{
// The devices a scan lists beside the plain disks: volumes before them, drives after them.
void WriteRaidVolumes(CJsonWriter& json, const CRaidModel& raid);
void WriteBusDrives(CJsonWriter& json, const CRaidModel& raid);

// The drive that `device` and `type` ("sat+megaraid,8") lead to; null when they lead nowhere.
const RaidDrive* FindBusDrive(const CRaidModel& raid, const std::string& device, const std::string& type);
SmartctlName BusDriveName(const std::string& device, const std::string& type);

void WriteVolumeReport(CJsonWriter& json, const CRaidModel& raid, const RaidArray& array);
} // namespace sim
