#include "frame/Regex.h"

#include <boost/regex.hpp>

#include <locale>
#include <stdexcept>

namespace
{
std::optional<std::vector<std::string>> Run(std::string_view text, const boost::regex& expression, bool whole)
{
    boost::cmatch found;
    const char* begin = text.data();
    const char* end = text.data() + text.size();
    const bool matches =
        whole ? boost::regex_match(begin, end, found, expression, boost::match_not_dot_newline)
              : boost::regex_search(begin, end, found, expression, boost::match_not_dot_newline);
    if (!matches)
    {
        return std::nullopt;
    }
    std::vector<std::string> groups;
    for (const auto& group : found)
    {
        groups.push_back(group.str());
    }
    return groups;
}

// Letters and cases are those of the "C" locale, whatever the host's is.
boost::regex Compile(const std::string& pattern)
{
    boost::regex expression;
    expression.imbue(std::locale::classic());
    expression.assign(pattern, boost::regex::perl);
    return expression;
}

std::optional<std::vector<std::string>> Run(std::string_view text, const std::string& pattern, bool whole)
{
    try
    {
        return Run(text, Compile(pattern), whole);
    }
    catch (const std::runtime_error&) // boost::regex_error and "too complex" both derive from it
    {
        return std::nullopt;
    }
}
} // namespace

std::optional<std::vector<std::string>> MatchWhole(std::string_view text, const std::string& pattern)
{
    return Run(text, pattern, true);
}

std::optional<std::vector<std::string>> SearchFirst(std::string_view text, const std::string& pattern)
{
    return Run(text, pattern, false);
}

struct CPattern::Compiled
{
    boost::regex expression;
};

CPattern::CPattern(const std::string& pattern)
{
    try
    {
        m_compiled = std::make_unique<const Compiled>(Compiled{Compile(pattern)});
    }
    catch (const std::runtime_error&)
    {
        m_compiled = nullptr;
    }
}

CPattern::~CPattern() = default;

std::optional<std::vector<std::string>> CPattern::MatchWhole(std::string_view text) const
{
    return Match(text, true);
}

std::optional<std::vector<std::string>> CPattern::SearchFirst(std::string_view text) const
{
    return Match(text, false);
}

std::optional<std::vector<std::string>> CPattern::Match(std::string_view text, bool whole) const
{
    try
    {
        return m_compiled != nullptr ? Run(text, m_compiled->expression, whole) : std::nullopt;
    }
    catch (const std::runtime_error&)
    {
        return std::nullopt;
    }
}
