// Regular expressions over tool output and settings. The engine does not recurse, so a long line costs time,
// not stack.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// "." does not match a line feed. A pattern that does not compile, or a text too complex for the engine,
// counts as no match. The results hold the whole match first, then the groups (empty text for a group that
// took no part).
std::optional<std::vector<std::string>> MatchWhole(std::string_view text, const std::string& pattern);
std::optional<std::vector<std::string>> SearchFirst(std::string_view text, const std::string& pattern);

// The same with a pattern that is compiled once: for output of many lines, or a pattern of every storage
// pass. Immutable; any thread.
class CPattern
{
public:
    explicit CPattern(const std::string& pattern);
    ~CPattern();
    CPattern(const CPattern&) = delete;
    CPattern& operator=(const CPattern&) = delete;

    [[nodiscard]] std::optional<std::vector<std::string>> MatchWhole(std::string_view text) const;
    [[nodiscard]] std::optional<std::vector<std::string>> SearchFirst(std::string_view text) const;

private:
    [[nodiscard]] std::optional<std::vector<std::string>> Match(std::string_view text, bool whole) const;

    struct Compiled;
    std::unique_ptr<const Compiled> m_compiled; // null: did not compile, never matches
};
