#include "sim/JsonWriter.h"

#include <algorithm>
#include <cstddef>

namespace sim
{
namespace
{
constexpr std::size_t kIndent = 2;
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

unsigned char ByteAt(std::string_view text, std::size_t index)
{
    return static_cast<unsigned char>(text[index]);
}

// Length of the well-formed UTF-8 sequence that begins `text`, 0 when there is none. Overlong forms,
// surrogates and what lies beyond U+10FFFF are not well-formed; all of them show in the second byte.
std::size_t SequenceLength(std::string_view text)
{
    const unsigned lead = ByteAt(text, 0);
    if (lead < 0x80)
    {
        return 1;
    }
    const std::size_t length = lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
    if (length == 0 || text.size() < length)
    {
        return 0;
    }
    const unsigned lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const unsigned highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    if (ByteAt(text, 1) < lowest || ByteAt(text, 1) > highest)
    {
        return 0;
    }
    const auto isContinuation = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; };
    const auto rest = text.substr(2, length - 2);
    return std::all_of(rest.begin(), rest.end(), isContinuation) ? length : 0;
}

std::string EscapeControl(unsigned char byte)
{
    constexpr std::string_view kHex = "0123456789abcdef";
    return std::string("\\u00") + kHex[byte >> 4] + kHex[byte & 0xF];
}
} // namespace

std::string JsonQuote(std::string_view text)
{
    std::string quoted = "\"";
    while (!text.empty())
    {
        const std::size_t length = SequenceLength(text);
        const unsigned char byte = ByteAt(text, 0);
        if (length == 0)
        {
            quoted += kReplacement;
        }
        else if (byte == '"' || byte == '\\')
        {
            quoted += '\\';
            quoted += text[0];
        }
        else if (byte < 0x20)
        {
            quoted += EscapeControl(byte);
        }
        else
        {
            quoted += text.substr(0, length);
        }
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return quoted + "\"";
}

void CJsonWriter::StartValue(std::string_view key)
{
    if (m_levels.empty())
    {
        return;
    }
    m_text += m_levels.back().isEmpty ? "\n" : ",\n";
    m_levels.back().isEmpty = false;
    m_text.append(m_levels.size() * kIndent, ' ');
    if (m_levels.back().isObject)
    {
        m_text += JsonQuote(key) + ": ";
    }
}

void CJsonWriter::Close(char bracket)
{
    const bool wasEmpty = m_levels.back().isEmpty;
    m_levels.pop_back();
    if (!wasEmpty)
    {
        m_text += '\n';
        m_text.append(m_levels.size() * kIndent, ' ');
    }
    m_text += bracket;
}

void CJsonWriter::BeginObject(std::string_view key)
{
    StartValue(key);
    m_text += '{';
    m_levels.push_back({.isObject = true, .isEmpty = true});
}

void CJsonWriter::EndObject()
{
    Close('}');
}

void CJsonWriter::BeginArray(std::string_view key)
{
    StartValue(key);
    m_text += '[';
    m_levels.push_back({.isObject = false, .isEmpty = true});
}

void CJsonWriter::EndArray()
{
    Close(']');
}

void CJsonWriter::String(std::string_view key, std::string_view value)
{
    StartValue(key);
    m_text += JsonQuote(value);
}

void CJsonWriter::Number(std::string_view key, std::int64_t value)
{
    StartValue(key);
    m_text += std::to_string(value);
}

void CJsonWriter::Bool(std::string_view key, bool value)
{
    StartValue(key);
    m_text += value ? "true" : "false";
}
} // namespace sim
