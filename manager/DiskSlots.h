// Which bay a disk sits in, and which data drives stand on it.
#pragma once

#include "hwmon/SystemInfo.h"
#include "storage/Disk.h"

#include <cstdint>
#include <map>
#include <string>

// Ports from the bay links in `directory` (which ends in "/"): the link named 3 leads to the device in bay 3.
// An equal path wins over one that only begins the device's name. A missing directory changes nothing.
void AssignDiskSlots(const DiskList& disks, const std::string& directory);

// Ports from the system description's slots, by serial number. With a drive-slot table (SCSI ID -> display
// order) the slots are SCSI IDs, and the disks get the numbers 1, 2, 3 ... in the table's order.
void AssignSystemSlots(const DiskList& disks, const std::map<std::string, std::int32_t>& slotsBySerial,
                       const std::map<std::int32_t, std::int32_t>& slotTable);

// Replaces every disk's data drives by the mount paths reported for its serial number, or for its RAID unit.
void AssociateDiskDrives(const DiskList& disks, const SystemInfo& info);
