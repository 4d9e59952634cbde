#include "host/XmlRead.h"

#include "host/Picture.h"
#include "host/PluginAbi.h"

namespace host
{
namespace
{
constexpr int kMaxDepth = 64;
} // namespace

// Counts every "<" that may open an element as one level: at least as deep as the parser will go.
bool IsTooDeep(std::string_view text)
{
    int depth = 0;
    for (std::size_t i = text.find('<'); i != std::string_view::npos; i = text.find('<', i + 1))
    {
        const std::size_t end = text.find('>', i);
        if (i + 1 < text.size() && text[i + 1] == '/')
        {
            --depth;
        }
        else if (end == std::string_view::npos || text[end - 1] != '/')
        {
            ++depth;
        }
        if (depth > kMaxDepth)
        {
            return true;
        }
    }
    return false;
}

std::optional<int> Int(const TiXmlElement& element, const char* name)
{
    int value = 0;
    return element.QueryIntAttribute(name, &value) == TIXML_SUCCESS ? std::optional(value) : std::nullopt;
}

bool IsSet(const TiXmlElement& element, const char* name)
{
    return Int(element, name).value_or(0) != 0;
}

std::string Text(const TiXmlElement& element, const char* name)
{
    const char* value = element.Attribute(name);
    return value != nullptr ? std::string(value).substr(0, kMaxText) : std::string();
}

void TakeInt(const TiXmlElement& element, const char* name, int& target)
{
    target = Int(element, name).value_or(target);
}

bool IsOurs(const TiXmlElement& element)
{
    return Int(element, "ID") == static_cast<int>(kPluginId);
}

std::vector<std::string> Names(const TiXmlElement* parent, const char* childName)
{
    std::vector<std::string> names;
    if (parent != nullptr)
    {
        ForEach(*parent, childName,
                [&names](const TiXmlElement& child)
                {
                    if (names.size() < kMaxEntries)
                    {
                        names.push_back(Text(child, "Name"));
                    }
                });
    }
    return names;
}
} // namespace host
