#include "manager/SystemDescription.h"

#include "frame/Xml.h"

#include <tinyxml.h>

namespace
{
constexpr std::uint32_t kRaidColumns = 4;

// The level that goes with the chassis when the description does not name one.
std::optional<char> LevelOfChassis(const SystemDescription& description, const ChassisLayout& layout)
{
    if (description.isQSeries)
    {
        return layout.rows < 2 ? '5' : '6';
    }
    if (layout.cols != kRaidColumns || description.isKSeries || layout.rows < 2)
    {
        return std::nullopt;
    }
    return layout.rows < 4 ? '5' : '6';
}

std::optional<char> NamedLevel(const TiXmlElement& root)
{
    const TiXmlElement* element = root.FirstChildElement("defaultraidlevel");
    const auto value = element != nullptr ? IntAttribute(*element, "value") : std::nullopt;
    if (value == 5)
    {
        return '5';
    }
    if (value == 6)
    {
        return '6';
    }
    return std::nullopt;
}

void ReadFamily(const TiXmlElement& root, SystemDescription& description)
{
    const TiXmlElement* element = root.FirstChildElement("family");
    const auto text = element != nullptr ? TextAttribute(*element, "value") : std::nullopt;
    if (text && !text->empty())
    {
        description.family = text;
        description.isKSeries = *text == "k_series";
        description.isQSeries = *text == "q_series";
    }
}
} // namespace

SystemDescription ReadSystemDescription(const CXmlDocument& document)
{
    SystemDescription description;
    const TiXmlElement* root = document.Root();
    if (document.HasError() || root == nullptr)
    {
        return description;
    }
    ReadFamily(*root, description);

    const TiXmlElement* drives = root->FirstChildElement("Drives");
    const int rows = drives != nullptr ? IntAttribute(*drives, "StorageRows").value_or(0) : 0;
    const int cols = drives != nullptr ? IntAttribute(*drives, "StorageCols").value_or(0) : 0;
    if (rows <= 0 || cols < 1)
    {
        return description;
    }
    ChassisLayout layout{.rows = static_cast<std::uint32_t>(rows), .cols = static_cast<std::uint32_t>(cols)};
    description.raidLevel = NamedLevel(*root);
    if (!description.raidLevel)
    {
        description.raidLevel = LevelOfChassis(description, layout);
    }
    layout.verticalOrder = IntAttribute(*drives, "VerticalOrder").value_or(0) != 0;
    layout.verticalSlots = IntAttribute(*drives, "VerticalSlots").value_or(rows == 1 ? 1 : 0) != 0;
    layout.horizontalFlip = IntAttribute(*drives, "HorizontalFlip").value_or(0) != 0;
    description.layout = layout;
    return description;
}
