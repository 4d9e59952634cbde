// Board files, hwmconfig.xml.
#pragma once

#include "sim/SuperIoRows.h"

#include <string>

namespace sim
{
// The worked example of the documentation, docs/examples/hwmconfig.xml. Its first board is that of the
// preset "plain".
extern const char* const kExampleBoardFile;

// A board file for the board `model` with this chip, in which every channel is wired: limits far enough from
// rest that nothing is out of them. `disks` is put behind it: "SmartConfig" elements or nothing.
std::string MakeBoardFile(const SuperIoRows& chip, const std::string& model, const std::string& disks);

// The "SmartConfig" elements of a board file, in which they stand last.
std::string DiskSection(const std::string& boardFile);
} // namespace sim
