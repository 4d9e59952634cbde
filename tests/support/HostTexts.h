// What tests compare, as text: log lines with their level, printed elements.
#pragma once

#include "frame/Xml.h"
#include "tests/support/FakeHost.h"

#include <tinyxml.h>

#include <string>
#include <vector>

// "50 text"
inline std::vector<std::string> LevelAndText(const CFakeHost& host)
{
    std::vector<std::string> lines;
    for (const CFakeHost::LogLine& line : host.Told().log)
    {
        lines.push_back(std::to_string(line.level) + " " + line.text);
    }
    return lines;
}

// Empty for null.
inline std::string Print(const TiXmlElement* element)
{
    if (element == nullptr)
    {
        return {};
    }
    CXmlDocument document;
    document.Tree().InsertEndChild(*element);
    return PrintCompact(document);
}
