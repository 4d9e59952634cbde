#include "raid/ArcconfSmart.h"

#include "frame/Xml.h"

#include <tinyxml.h>

#include <charconv>
#include <optional>

namespace
{
// "0x05": always two digits.
std::optional<std::int32_t> AttributeId(const std::string& text)
{
    if (text.size() != 4 || !text.starts_with("0x"))
    {
        return std::nullopt;
    }
    std::int32_t id = 0;
    const char* end = text.data() + text.size();
    const auto [read, error] = std::from_chars(text.data() + 2, end, id, 16);
    const bool isSigned = text[2] == '-';
    return error == std::errc() && read == end && !isSigned ? std::optional(id) : std::nullopt;
}

std::optional<ArcSmartAttribute> ReadAttribute(const TiXmlElement& element)
{
    const auto id = AttributeId(TextAttribute(element, "id").value_or(""));
    const auto name = TextAttribute(element, "name");
    const auto status = TextAttribute(element, "Status");
    const auto current = IntAttribute(element, "normalizedCurrent");
    const auto worst = IntAttribute(element, "normalizedWorst");
    const auto threshold = IntAttribute(element, "thresholdValue");
    const auto raw = IntAttribute(element, "rawValue");
    if (!id || !name || !status || !current || !worst || !threshold || !raw)
    {
        return std::nullopt;
    }
    return ArcSmartAttribute{.name = *name,
                             .id = *id,
                             .current = *current,
                             .worst = *worst,
                             .threshold = *threshold,
                             .raw = *raw,
                             .failing = *status != "OK"};
}

void ReadDrive(const TiXmlElement& element, ArcSmartData& drives)
{
    const auto channel = IntAttribute(element, "channel");
    const auto device = IntAttribute(element, "id");
    if (!channel || !device)
    {
        return;
    }
    std::vector<ArcSmartAttribute>& attributes = drives[{*channel, *device}];
    for (const TiXmlElement* attribute = element.FirstChildElement("Attribute"); attribute != nullptr;
         attribute = attribute->NextSiblingElement("Attribute"))
    {
        if (auto read = ReadAttribute(*attribute))
        {
            attributes.push_back(std::move(*read));
        }
    }
}

// The tool prints it as the root; inside another root it is taken too. What follows (a second root for SAS
// drives, the closing sentence) is not looked at.
const TiXmlElement* FindStats(const CXmlDocument& document)
{
    if (const TiXmlElement* stats = document.Root("SmartStats"))
    {
        return stats;
    }
    const TiXmlElement* root = document.Root();
    return root != nullptr ? root->FirstChildElement("SmartStats") : nullptr;
}
} // namespace

ArcSmartInfo ParseSmartInfo(const ArcAnswer& answer)
{
    ArcSmartInfo info{.error = CheckArcconfResponse("smart", answer)};
    if (!info.error.empty())
    {
        return info;
    }
    CXmlDocument document;
    const auto start = answer.output.find('<');
    if (start == std::string_view::npos || !document.Parse(std::string(answer.output.substr(start))))
    {
        info.error = "arcconf smart invalid xml";
        return info;
    }
    const TiXmlElement* stats = FindStats(document);
    for (const TiXmlElement* drive = stats != nullptr ? stats->FirstChildElement("PhysicalDriveSmartStats")
                                                      : nullptr;
         drive != nullptr; drive = drive->NextSiblingElement("PhysicalDriveSmartStats"))
    {
        ReadDrive(*drive, info.drives);
    }
    return info;
}
