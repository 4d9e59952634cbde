// The time line of a simulated appliance, read from a text of lines such as "at 40s disk /dev/sdc temperature
// 58".
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace sim
{
struct ScenarioEvent
{
    std::chrono::milliseconds at{0};
    std::vector<std::string> words; // what follows the time, "disk", "/dev/sdc", "temperature", "58"
    std::string text;               // the line as written, without comment, for the screen
    int line = 0;                   // number in the file, from 1
};

struct Scenario
{
    std::vector<ScenarioEvent> events; // by time; events of one time in the order of the file
};

// Bounds of a scenario text; beyond them it is refused.
constexpr int kMaxScenarioLines = 10'000;
constexpr std::size_t kMaxScenarioLineBytes = 1'000;

// Either the scenario, or nothing with `error` telling the line and what is wrong with it. Verbs are checked
// here, so that a bad file is refused before anything starts; whether the appliance has the disk named is
// checked by CAppliance.
//
// A line is "at TIME VERB ...", TIME counted from switching on ("90s", "2m", "1m30s", "1h", "500ms"). A "#"
// at the beginning of a line or after a blank begins a comment. The verbs stand in Verbs.cpp.
std::optional<Scenario> ParseScenario(const std::string& text, std::string& error);
} // namespace sim
