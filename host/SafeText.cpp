#include "host/SafeText.h"

#include <array>
#include <ctime>

namespace host
{
namespace
{
constexpr char kReplacement = '?';

struct Character
{
    char32_t code = 0;
    std::size_t length = 1; // bytes
    bool valid = false;
};

bool IsContinuation(std::string_view text, std::size_t at)
{
    return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80U;
}

// Decodes the character at `at`: shortest form only, no surrogates, nothing beyond U+10FFFF.
Character Decode(std::string_view text, std::size_t at)
{
    struct Form
    {
        unsigned char mask;
        unsigned char lead;
        char32_t lowest;
    };
    static constexpr std::array<Form, 4> kForms{Form{0x80, 0x00, 0}, Form{0xE0, 0xC0, 0x80},
                                                Form{0xF0, 0xE0, 0x800}, Form{0xF8, 0xF0, 0x10000}};
    const auto lead = static_cast<unsigned char>(text[at]);
    for (std::size_t more = 0; more < kForms.size(); ++more)
    {
        const Form& form = kForms[more];
        if ((lead & form.mask) != form.lead)
        {
            continue;
        }
        char32_t code = lead & static_cast<unsigned char>(~form.mask);
        for (std::size_t i = 1; i <= more; ++i)
        {
            if (!IsContinuation(text, at + i))
            {
                return {};
            }
            code = (code << 6U) | (static_cast<unsigned char>(text[at + i]) & 0x3FU);
        }
        const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
        return {code, more + 1, code >= form.lowest && code <= 0x10FFFF && !surrogate};
    }
    return {};
}

bool IsPrintable(char32_t code)
{
    const bool control = code < 0x20 || (code >= 0x7F && code < 0xA0);
    const bool lineBreak = code == 0x2028 || code == 0x2029;
    const bool direction = (code >= 0x200E && code <= 0x200F) || (code >= 0x202A && code <= 0x202E) ||
                           (code >= 0x2066 && code <= 0x2069) || code == 0x061C;
    return !control && !lineBreak && !direction;
}

std::string FormatLocal(std::int64_t utcSec, const char* format)
{
    if (utcSec == 0)
    {
        return {};
    }
    const auto seconds = static_cast<time_t>(utcSec);
    std::tm local{};
    std::array<char, 40> buffer{};
    if (localtime_r(&seconds, &local) == nullptr)
    {
        return {};
    }
    // The format is one of the two literals below.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    return {buffer.data(), std::strftime(buffer.data(), buffer.size(), format, &local)};
#pragma GCC diagnostic pop
}
} // namespace

std::string SafeText(std::string_view text)
{
    std::string safe;
    safe.reserve(text.size());
    for (std::size_t at = 0; at < text.size();)
    {
        const Character character = Decode(text, at);
        if (character.valid && IsPrintable(character.code))
        {
            safe += text.substr(at, character.length);
        }
        else
        {
            safe += kReplacement;
        }
        at += character.valid ? character.length : 1;
    }
    return safe;
}

std::size_t Columns(std::string_view safeText)
{
    std::size_t columns = 0;
    for (const char byte : safeText)
    {
        columns += (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U ? 1 : 0;
    }
    return columns;
}

std::string Fit(std::string_view safeText, std::size_t columns)
{
    const std::size_t has = Columns(safeText);
    if (has <= columns)
    {
        return std::string(safeText) + std::string(columns - has, ' ');
    }
    if (columns == 0)
    {
        return {};
    }
    std::size_t end = 0;
    for (std::size_t kept = 0; kept + 1 < columns; ++kept)
    {
        ++end;
        while (IsContinuation(safeText, end))
        {
            ++end;
        }
    }
    return std::string(safeText.substr(0, end)) + "~";
}

std::string FitRight(std::string_view safeText, std::size_t columns)
{
    const std::size_t has = Columns(safeText);
    return std::string(has < columns ? columns - has : 0, ' ') + std::string(safeText);
}

std::string DateTimeText(std::int64_t utcSec)
{
    return FormatLocal(utcSec, "%Y-%m-%d %H:%M:%S");
}

std::string TimeText(std::int64_t utcSec)
{
    return FormatLocal(utcSec, "%H:%M:%S");
}
} // namespace host
