// The read-only description of the appliance, tqsysteminfo.xml.
#pragma once

#include "raid/Controller.h"

#include <optional>
#include <string>

class CXmlDocument;

struct SystemDescription
{
    std::optional<std::string> family;
    bool isKSeries = false;
    bool isQSeries = false;
    std::optional<char> raidLevel; // '5' or '6'
    std::optional<ChassisLayout> layout;
};

// Root element of any name. Without a usable layout the RAID level stays unknown as well.
SystemDescription ReadSystemDescription(const CXmlDocument& document);
