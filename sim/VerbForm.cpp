#include "sim/VerbForm.h"

#include "sim/Duration.h"
#include "sim/Tools.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace sim
{
namespace
{
constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

bool HasOnly(std::string_view text, std::string_view extra)
{
    return std::all_of(text.begin(), text.end(),
                       [extra](char c) {
                           return kLetters.find(c) != std::string_view::npos ||
                                  extra.find(c) != std::string_view::npos;
                       });
}

std::optional<std::int64_t> WholeNumber(std::string_view text)
{
    std::int64_t number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    if (result.ec != std::errc{} || result.ptr != text.data() + text.size())
    {
        return std::nullopt;
    }
    return number;
}

bool IsChoiceOf(std::string_view choices, std::string_view word)
{
    while (!choices.empty())
    {
        const std::size_t bar = std::min(choices.find('|'), choices.size());
        if (choices.substr(0, bar) == word)
        {
            return true;
        }
        choices.remove_prefix(std::min(bar + 1, choices.size()));
    }
    return false;
}

std::optional<Argument> MatchNumber(std::string_view range, const std::string& word)
{
    const std::size_t dots = range.find("..");
    const auto number = WholeNumber(word);
    if (!number || *number < WholeNumber(range.substr(0, dots)) ||
        *number > WholeNumber(range.substr(dots + 2)))
    {
        return std::nullopt;
    }
    return Argument{.text = word, .number = *number};
}

std::optional<Argument> MatchTime(std::string_view, const std::string& word)
{
    const auto length = ParseDuration(word);
    if (!length)
    {
        return std::nullopt;
    }
    return Argument{.text = word, .number = length->count()};
}

std::optional<Argument> When(bool fits, const std::string& word)
{
    return fits ? std::optional(Argument{.text = word}) : std::nullopt;
}

// "64:3"
bool IsDriveName(const std::string& word)
{
    const std::size_t colon = word.find(':');
    return colon != std::string::npos && WholeNumber(word.substr(0, colon)) &&
           WholeNumber(word.substr(colon + 1));
}

// The argument that `word` gives in the place `place` of a form, nothing when it does not fit.
std::optional<Argument> MatchPlace(std::string_view place, const std::string& word)
{
    if (place == "DEVICE")
    {
        const bool isPath = word.starts_with("/dev/") && word.size() > 5 && HasOnly(word.substr(5), "");
        return When(isPath || IsDriveName(word), word);
    }
    if (place == "DRIVE")
    {
        return When(IsDriveName(word), word);
    }
    if (place == "SENSOR")
    {
        return When(true, word);
    }
    if (place == "TOOL")
    {
        return When(FindTool(word) != nullptr, word);
    }
    if (place == "SERIAL")
    {
        return When(word.size() <= 20 && HasOnly(word, "-"), word); // 20 characters is what ATA and NVMe hold
    }
    if (place == "TIME")
    {
        return MatchTime(place, word);
    }
    if (place.find("..") != std::string_view::npos)
    {
        return MatchNumber(place, word);
    }
    return When(IsChoiceOf(place, word), word);
}

std::string Describe(std::string_view place)
{
    if (place == "DEVICE")
    {
        return "a device such as /dev/sdc";
    }
    if (place == "DRIVE")
    {
        return "a drive such as 64:3";
    }
    if (place == "TIME")
    {
        return "a time such as 90s or 1m30s";
    }
    if (place == "TOOL")
    {
        return "a tool (" + ToolNames() + ")";
    }
    if (place == "SERIAL")
    {
        return "a serial number of at most 20 letters and digits";
    }
    if (place == "SENSOR")
    {
        return "a sensor's name";
    }
    if (place == "TEXT")
    {
        return "a text";
    }
    if (place.find("..") != std::string_view::npos)
    {
        return "a number " + std::string(place);
    }
    return "\"" + std::string(place) + "\"";
}

bool IsLiteral(std::string_view place)
{
    return place.find_first_not_of("abcdefghijklmnopqrstuvwxyz-") == std::string_view::npos;
}

std::string Join(std::vector<std::string>::const_iterator begin, std::vector<std::string>::const_iterator end)
{
    std::string text;
    for (auto word = begin; word != end; ++word)
    {
        const bool isQuoted = word->find_first_of(kBlanks) != std::string::npos;
        text += (word == begin ? "" : " ") + (isQuoted ? "\"" + *word + "\"" : *word);
    }
    return text;
}

// Where a quoted word that begins at `begin` ends, its closing mark included; nowhere when it is none. A mark
// in the middle of a word is a letter like any other.
std::size_t QuotedEnd(std::string_view text, std::size_t begin)
{
    if (text[begin] != '"')
    {
        return std::string_view::npos;
    }
    const std::size_t close = text.find('"', begin + 1);
    const bool ends = close != std::string_view::npos && close > begin + 1 &&
                      (close + 1 == text.size() || kBlanks.find(text[close + 1]) != std::string_view::npos);
    return ends ? close + 1 : std::string_view::npos;
}
} // namespace

std::vector<std::string> SplitWords(std::string_view text)
{
    std::vector<std::string> words;
    std::size_t begin = text.find_first_not_of(kBlanks);
    while (begin != std::string_view::npos)
    {
        std::size_t end = std::min(text.find_first_of(kBlanks, begin), text.size());
        if (const std::size_t quotedEnd = QuotedEnd(text, begin); quotedEnd != std::string_view::npos)
        {
            words.emplace_back(text.substr(begin + 1, quotedEnd - begin - 2));
            end = quotedEnd;
        }
        else
        {
            words.emplace_back(text.substr(begin, end - begin));
        }
        begin = text.find_first_not_of(kBlanks, end);
    }
    return words;
}

FormMatch MatchForm(std::string_view form, const std::vector<std::string>& words)
{
    FormMatch match;
    for (const std::string& place : SplitWords(form))
    {
        const bool isThere = match.accepted < words.size();
        if (place == "[once]" && !isThere)
        {
            match.arguments.push_back({});
            break;
        }
        if (place == "TEXT" && isThere)
        {
            const auto rest = words.begin() + static_cast<std::ptrdiff_t>(match.accepted);
            match.arguments.push_back({.text = Join(rest, words.end())});
            match.accepted = words.size();
            break;
        }
        const std::string wanted = place == "[once]" ? "once" : place;
        const auto argument = isThere ? MatchPlace(wanted, words[match.accepted]) : std::nullopt;
        if (!argument)
        {
            match.expected = Describe(wanted);
            return match;
        }
        if (!IsLiteral(place))
        {
            match.arguments.push_back(*argument);
        }
        ++match.accepted;
    }
    match.matches = match.accepted == words.size();
    match.expected = match.matches ? "" : "the end of the line";
    return match;
}
} // namespace sim
