#include "frame/Text.h"

std::string TrimSpaces(std::string_view text)
{
    const auto first = text.find_first_not_of(' ');
    if (first == std::string_view::npos)
    {
        return {};
    }
    return std::string(text.substr(first, text.find_last_not_of(' ') - first + 1));
}

std::string ToLower(std::string_view text)
{
    std::string lower(text);
    for (char& c : lower)
    {
        if (c >= 'A' && c <= 'Z')
        {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return lower;
}

bool Contains(std::string_view text, std::string_view part)
{
    return text.find(part) != std::string_view::npos;
}

std::vector<std::string> SplitLines(std::string_view text)
{
    std::vector<std::string> lines;
    while (!text.empty())
    {
        const auto end = text.find('\n');
        lines.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos)
        {
            break;
        }
        text.remove_prefix(end + 1);
    }
    return lines;
}

std::string Join(const std::vector<std::string>& parts, std::string_view separator)
{
    std::string joined;
    for (const std::string& part : parts)
    {
        if (&part != &parts.front())
        {
            joined += separator;
        }
        joined += part;
    }
    return joined;
}
