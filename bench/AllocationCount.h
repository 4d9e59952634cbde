// Counts the heap allocations of the program it is linked into.
#pragma once

#include <cstdint>

namespace bench
{
std::uint64_t Allocations();
} // namespace bench
