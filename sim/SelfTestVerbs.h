// Scenario verbs of self-tests and drive preparation, and of the requests for them.
#pragma once

#include "sim/Verbs.h"

#include <span>

namespace sim
{
std::span<const Verb> SelfTestVerbs();
} // namespace sim
