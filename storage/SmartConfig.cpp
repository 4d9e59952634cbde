#include "storage/SmartConfig.h"

#include "frame/Text.h"
#include "frame/Xml.h"

#include <tinyxml.h>

namespace
{
void ReadIgnoreLbas(const TiXmlElement& section, SmartConfig& config)
{
    for (const TiXmlElement* disk = section.FirstChildElement("Disk"); disk != nullptr;
         disk = disk->NextSiblingElement("Disk"))
    {
        const std::string model = TextAttribute(*disk, "Model").value_or("");
        const int first = IntAttribute(*disk, "FirstIgnoreLba").value_or(0);
        const int last = IntAttribute(*disk, "LastIgnoreLba").value_or(0);
        if (!model.empty() && first != 0 && last != 0)
        {
            config.ignoreLbas.push_back({.model = ToLower(model), .firstLba = first, .lastLba = last});
        }
    }
}

void ReadDriveSlots(const TiXmlElement& section, const std::string& motherboardName, SmartConfig& config)
{
    for (const TiXmlElement* board = section.FirstChildElement("Motherboard"); board != nullptr;
         board = board->NextSiblingElement("Motherboard"))
    {
        if (TextAttribute(*board, "Name") != motherboardName)
        {
            continue;
        }
        for (const TiXmlElement* slot = board->FirstChildElement("DriveSlot"); slot != nullptr;
             slot = slot->NextSiblingElement("DriveSlot"))
        {
            const auto scsiId = IntAttribute(*slot, "ScsiId");
            const int order = IntAttribute(*slot, "DisplayOrder").value_or(0);
            if (scsiId && order != 0)
            {
                config.driveSlots[*scsiId] = order;
            }
        }
    }
}
} // namespace

void ReadSmartConfig(const CXmlDocument& document, const std::string& motherboardName, SmartConfig& config)
{
    for (const TiXmlElement* section = document.Root("SmartConfig"); section != nullptr;
         section = section->NextSiblingElement("SmartConfig"))
    {
        ReadIgnoreLbas(*section, config);
        ReadDriveSlots(*section, motherboardName, config);
    }
}
