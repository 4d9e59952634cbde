// Preparing single data disks (partition, format, mount) on appliances without a RAID data volume.
#pragma once

#include "storage/Disk.h"

#include <map>
#include <string>

// Marks the disks for which the system information gives a reason. `reasons`: by serial number.
void FindDrivesNeedingPrep(const DiskList& disks, const std::map<std::string, std::string>& reasons);

// Runs the preparation script for the disk; refused when nothing is to be done (Ok) or all is done
// (PrepComplete). Blocks until the script has ended.
void StartDrivePrep(CDisk& disk);

// Takes up the end of the disk's script, if there is one, and reports it. True when it succeeded.
bool CheckDrivePrep(CDisk& disk);
