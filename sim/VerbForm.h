// Forms of scenario lines: a small pattern language, so that a verb is one row of a table.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace sim
{
// What stood in a variable place of a form: its text, and its value when it is a number or a time (in
// milliseconds).
struct Argument
{
    std::string text;
    std::int64_t number = 0;
};

using Arguments = std::vector<Argument>;

struct FormMatch
{
    bool matches = false;
    Arguments arguments;      // in the order of the form
    std::size_t accepted = 0; // words that fitted before the first one that did not
    std::string expected;     // what should have stood there
};

// A form is words separated by blanks: lower-case words stand for themselves, and
//   DEVICE  a device path, or DRIVE  TOOL    a name of the tool table
//   DRIVE   "64:3": behind a RAID controller
//   TIME    a duration               SERIAL  a serial number
//   3..70   a number in the range    SENSOR  a sensor's name: any word
//   a|b     one of the words         TEXT    one word or more, to the end
//   [once]  at the end: this word or nothing; its argument is empty when absent
// All but words that stand for themselves give an argument.
FormMatch MatchForm(std::string_view form, const std::vector<std::string>& words);

// `text` at its blanks and tabs; no empty words. Words between two quotation marks are one word, without
// them: bmc "CPU Temp" off.
std::vector<std::string> SplitWords(std::string_view text);
} // namespace sim
