// The SMART data of an ATA drive as the drive itself gives it.
#pragma once

#include "sim/SimDisk.h"

#include <array>
#include <cstdint>

namespace sim
{
// 512 bytes: revision, 30 attribute entries, the drive's offline capabilities, checksum.
std::array<std::uint8_t, 512> AtaSmartTable(const CSimDisk& disk, SimTime now);
} // namespace sim
