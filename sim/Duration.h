// Lengths of time as a scenario writes them.
#pragma once

#include <chrono>
#include <optional>
#include <string_view>

namespace sim
{
// "90s", "2m", "1m30s", "1h", "250ms": whole numbers with units, each unit at most once and the larger ones
// first. At most a year. Nothing on any other text; a bare number has no unit and is refused too.
std::optional<std::chrono::milliseconds> ParseDuration(std::string_view text);
} // namespace sim
