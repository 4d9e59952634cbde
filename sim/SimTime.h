// The appliance's own clock.
#pragma once

#include <chrono>

namespace sim
{
// Time since the appliance was switched on, in simulated time.
using SimTime = std::chrono::milliseconds;
} // namespace sim
