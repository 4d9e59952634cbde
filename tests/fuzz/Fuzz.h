// What the fuzz targets share.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

// Ends the process when it does not hold: a find.
inline void Require(bool condition)
{
    if (!condition)
    {
        std::abort();
    }
}

inline std::string Text(const std::uint8_t* data, std::size_t size)
{
    return {reinterpret_cast<const char*>(data), size};
}

// What stands before the first separator and what after it; the latter is empty when there is none.
inline std::pair<std::string, std::string> Cut(const std::string& text,
                                               std::string_view separator = std::string_view("\0", 1))
{
    const std::size_t at = std::min(text.find(separator), text.size());
    return {text.substr(0, at), text.substr(std::min(at + separator.size(), text.size()))};
}
