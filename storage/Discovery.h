// Finding the plain disks with smartctl: what is scanned, what is ignored and why, what becomes a disk.
#pragma once

#include "storage/Disk.h"

#include <map>
#include <set>
#include <string>

// What a scan knows of the appliance. References are lent for the call.
struct DiscoveryContext
{
    const std::map<std::string, bool>& removableDevices; // by device path
    const DiskList& knownDisks;                          // to tell known from new
    std::set<std::string>& ignoredDevices; // names rejected once; stay ignored while the manager lives
};

// Scans and merges what was found into `disks`. A full scan asks every device for its report and accepts new
// ones; a quick one only confirms known names. False, with `disks` unchanged, when the scan command failed.
// Blocks while smartctl runs.
bool ScanSmartctlDisks(const DiscoveryContext& context, DiskList& disks, bool full);
