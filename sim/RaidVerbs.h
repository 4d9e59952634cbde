// What a scenario line can do to a RAID controller and the drives behind it.
#pragma once

#include "sim/Verbs.h"

#include <span>

namespace sim
{
// Looked at when none of the general verbs fits.
std::span<const Verb> RaidVerbs();
} // namespace sim
