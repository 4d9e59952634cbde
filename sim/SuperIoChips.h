// The simulated Super I/O chips. A further one is a source with its rows, its declaration here, and its place
// in the list.
#pragma once

#include "sim/SuperIoRows.h"

#include <string>
#include <string_view>
#include <vector>

namespace sim
{
extern const SuperIoRows kF81966Rows;
extern const SuperIoRows kIt8612Rows;
extern const SuperIoRows kIt8728Rows;
extern const SuperIoRows kIt8772Rows;
extern const SuperIoRows kNct5525Rows;
extern const SuperIoRows kNct6776Rows;
extern const SuperIoRows kNct6791Rows;
extern const SuperIoRows kW83627Rows;
extern const SuperIoRows kW83677Rows;

// Null when there is no chip of this name.
const SuperIoRows* FindChip(std::string_view name);

std::vector<std::string> ListChips();
} // namespace sim
