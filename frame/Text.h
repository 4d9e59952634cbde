// Small text operations shared by several folders.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// Without leading and trailing space characters (0x20 only: identity texts keep every other byte).
std::string TrimSpaces(std::string_view text);

// ASCII letters only; other bytes unchanged.
std::string ToLower(std::string_view text);

bool Contains(std::string_view text, std::string_view part);

// Split at line feeds. A final line feed adds no empty line; blank lines inside stay.
std::vector<std::string> SplitLines(std::string_view text);

// The parts with `separator` between them.
std::string Join(const std::vector<std::string>& parts, std::string_view separator);
