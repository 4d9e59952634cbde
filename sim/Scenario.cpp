#include "sim/Scenario.h"

#include "sim/Duration.h"
#include "sim/Verbs.h"

#include <algorithm>
#include <string_view>

namespace sim
{
namespace
{
// The line up to a "#" that begins it or follows a blank, without blanks around.
std::string_view WithoutComment(std::string_view line)
{
    constexpr std::string_view kBlanks = " \t\r";
    std::size_t hash = line.find('#');
    while (hash != std::string_view::npos && hash != 0 &&
           kBlanks.find(line[hash - 1]) == std::string_view::npos)
    {
        hash = line.find('#', hash + 1);
    }
    line = line.substr(0, hash);
    const std::size_t first = line.find_first_not_of(kBlanks);
    if (first == std::string_view::npos)
    {
        return {};
    }
    return line.substr(first, line.find_last_not_of(kBlanks) - first + 1);
}

// The texts go to a terminal, which obeys control characters.
bool HasControlCharacter(std::string_view line)
{
    return std::any_of(line.begin(), line.end(),
                       [](char c)
                       { return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == '\x7F'; });
}

// What is wrong with the line, empty when nothing is.
std::string ReadLine(std::string_view line, ScenarioEvent& event)
{
    if (HasControlCharacter(line))
    {
        return "control character";
    }
    event.text = line;
    event.words = SplitWords(line);
    if (event.words[0] != "at")
    {
        return "expected \"at\", found \"" + event.words[0] + "\"";
    }
    const auto at = event.words.size() > 1 ? ParseDuration(event.words[1]) : std::nullopt;
    if (!at)
    {
        return "expected a time such as 90s or 1m30s after \"at\"";
    }
    event.at = *at;
    event.words.erase(event.words.begin(), event.words.begin() + 2);
    return FindVerb(event.words).error;
}
} // namespace

std::optional<Scenario> ParseScenario(const std::string& text, std::string& error)
{
    Scenario scenario;
    std::string_view rest = text;
    for (int number = 1; !rest.empty(); ++number)
    {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        const std::string_view whole = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        const std::string_view line = WithoutComment(whole);
        ScenarioEvent event;
        event.line = number;
        std::string problem;
        if (number > kMaxScenarioLines)
        {
            problem = "more than " + std::to_string(kMaxScenarioLines) + " lines";
        }
        else if (whole.size() > kMaxScenarioLineBytes)
        {
            problem = "longer than " + std::to_string(kMaxScenarioLineBytes) + " bytes";
        }
        else if (!line.empty())
        {
            problem = ReadLine(line, event);
        }
        if (!problem.empty())
        {
            error = "line " + std::to_string(number) + ": " + problem;
            return std::nullopt;
        }
        if (!line.empty())
        {
            scenario.events.push_back(event);
        }
    }
    std::ranges::stable_sort(scenario.events, {}, &ScenarioEvent::at);
    return scenario;
}
} // namespace sim
