// Reading the plug-in's documents: bounded texts, integers or nothing.
#pragma once

#include <tinyxml.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host
{
// Whether elements are nested deeper than the recursive parser should be given (real documents are six levels
// deep).
bool IsTooDeep(std::string_view text);

std::optional<int> Int(const TiXmlElement& element, const char* name);

// False when absent or 0.
bool IsSet(const TiXmlElement& element, const char* name);

// Cut at kMaxText bytes; empty when absent.
std::string Text(const TiXmlElement& element, const char* name);

// Leaves `target` alone when the attribute is absent.
void TakeInt(const TiXmlElement& element, const char* name, int& target);

// Whether the element's ID is the plug-in's.
bool IsOurs(const TiXmlElement& element);

// The "Name" of each child of that name; none for no parent. Bounded.
std::vector<std::string> Names(const TiXmlElement* parent, const char* childName);

template <typename Function>
void ForEach(const TiXmlElement& parent, const char* name, Function function)
{
    for (const TiXmlElement* child = parent.FirstChildElement(name); child != nullptr;
         child = child->NextSiblingElement(name))
    {
        function(*child);
    }
}
} // namespace host
