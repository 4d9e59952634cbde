// The simulated Super I/O chips. A further one is a source with its rows, its declaration here, and its place
// in the list.
#pragma once

#include "sim/SuperIoRows.h"

#include <string>
#include <string_view>
#include <vector>

namespace sim
{
extern const SuperIoRows kNct6791Rows;

// Null when there is no chip of this name.
const SuperIoRows* FindChip(std::string_view name);

std::vector<std::string> ListChips();
} // namespace sim
