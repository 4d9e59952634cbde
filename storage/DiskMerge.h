// Merging a scan into the list of known disks.
#pragma once

#include "storage/Disk.h"

// Marks every known disk as missed once more, then lets each scanned disk find the known one it describes (which becomes
// present and is updated) or appends it. Disks that matched nothing stay in the list. Returns the number of changes: disks
// new, back after two or more missed merges, or found under another name.
int MergeDisks(const DiskList& scanned, DiskList& known);
