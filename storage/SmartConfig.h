// The disk section of the board file hwmconfig.xml.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

class CXmlDocument;

// Failing LBAs of a self-test that are known and do not count, for all drives whose model begins with
// `model`.
struct IgnoreLbaRule
{
    std::string model; // lower case
    std::int32_t firstLba = 0;
    std::int32_t lastLba = 0;
};

struct SmartConfig
{
    std::vector<IgnoreLbaRule> ignoreLbas;
    std::map<std::int32_t, std::int32_t> driveSlots; // SCSI ID -> display order, of this motherboard
};

// Adds what the document's "SmartConfig" elements hold to `config`. Incomplete entries are skipped; nothing
// is cleared.
void ReadSmartConfig(const CXmlDocument& document, const std::string& motherboardName, SmartConfig& config);
