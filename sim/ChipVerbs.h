// What a scenario line can say about the board's chip and its ports.
#pragma once

#include "sim/Verbs.h"

#include <span>

namespace sim
{
std::span<const Verb> ChipVerbs();
} // namespace sim
