// Writes JSON text indented by two blanks, as the tools print it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace sim
{
// Every call adds one value to the innermost open object or array; `key` is used inside objects only. The
// caller opens one outermost object and closes what it opens.
class CJsonWriter
{
public:
    void BeginObject(std::string_view key = {});
    void EndObject();
    void BeginArray(std::string_view key = {});
    void EndArray();

    void String(std::string_view key, std::string_view value);
    void Number(std::string_view key, std::int64_t value);
    void Bool(std::string_view key, bool value);

    // The text so far and a line feed.
    [[nodiscard]] std::string Text() const { return m_text + "\n"; }

private:
    struct Level
    {
        bool isObject;
        bool isEmpty;
    };

    void StartValue(std::string_view key);
    void Close(char bracket);

    std::string m_text;
    std::vector<Level> m_levels;
};

// `text` in double quotes. Bytes that are no UTF-8 become U+FFFD, so that the result is always valid JSON.
std::string JsonQuote(std::string_view text);
} // namespace sim
