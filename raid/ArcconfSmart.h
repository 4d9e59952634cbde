// SMART attributes of the drives as arcconf prints them in XML. Pure.
#pragma once

#include "raid/ArcconfConfig.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

struct ArcSmartAttribute
{
    std::string name;
    std::int32_t id = 0;
    std::int32_t current = 0;
    std::int32_t worst = 0;
    std::int32_t threshold = 0;
    std::int32_t raw = 0; // low 32 bits: drives pack several values into one number
    bool failing = false; // the tool's own verdict
    bool operator==(const ArcSmartAttribute&) const = default;
};

using ArcSmartData = std::map<ArcDriveId, std::vector<ArcSmartAttribute>>;

struct ArcSmartInfo
{
    std::string error = {}; // empty on success
    ArcSmartData drives = {};
};

ArcSmartInfo ParseSmartInfo(const ArcAnswer& answer);
