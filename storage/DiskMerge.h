// Merging a scan into the list of known disks.
#pragma once

#include "storage/Disk.h"

// Marks every known disk as missed once more, then lets each scanned disk find the known one it describes
// (which becomes present and is updated) or appends it. Disks that matched nothing stay in the list. Returns
// the number of changes: one for each disk that is new, that the merge before this one had missed, or that
// has another name now.
int MergeDisks(const DiskList& scanned, DiskList& known);
