// Texts from outside on their way to a terminal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace host
{
// Printable: control characters, bytes that are no valid UTF-8 and characters that reverse the direction of
// writing become
// "?". A line feed too: the result is one line.
std::string SafeText(std::string_view text);

// Columns of a safe text, one for each character.
std::size_t Columns(std::string_view safeText);

// A safe text cut or filled with blanks to exactly `columns`; a cut one ends in "~".
std::string Fit(std::string_view safeText, std::size_t columns);

// The same, with the blanks in front and nothing cut.
std::string FitRight(std::string_view safeText, std::size_t columns);

// Local date and time of the second, "2026-01-07 14:03:22"; empty for 0.
std::string DateTimeText(std::int64_t utcSec);

// Local time of day only, "14:03:22".
std::string TimeText(std::int64_t utcSec);
} // namespace host
