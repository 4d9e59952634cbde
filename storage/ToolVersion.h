// The answer of a tool's version query.
#pragma once

#include <string>

struct ToolVersion
{
    std::string error = {}; // empty on success
    std::string toolName = {};
    std::string displayName = {};
    std::string version = {};
    std::string revision = {}; // smartctl only
    std::string build = {};    // smartctl only
};
