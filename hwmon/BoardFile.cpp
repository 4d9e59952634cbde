#include "hwmon/BoardFile.h"

#include "frame/Regex.h"
#include "frame/Text.h"
#include "frame/Xml.h"

#include <tinyxml.h>

#include <charconv>

namespace
{
constexpr int kHexadecimal = 16;

bool FitsModel(const std::string& name, const std::string& model)
{
    // The inline flag holds for all alternatives. The anchor keeps a leading "*" from repeating nothing,
    // which would count as a valid expression.
    return MatchWhole(model, "(?i)^" + name).has_value() || Contains(ToLower(name), ToLower(model));
}

// "0x1F", "1f" and " 1F" alike; what follows the digits does not count. Absent without a digit or beyond 32
// bits.
std::optional<std::uint32_t> HexAttribute(const TiXmlElement& element, const char* name)
{
    const std::string text = TextAttribute(element, name).value_or("");
    std::size_t begin = std::min(text.find_first_not_of(" \t\r\n"), text.size());
    if (text.compare(begin, 2, "0x") == 0 || text.compare(begin, 2, "0X") == 0)
    {
        begin += 2;
    }
    std::uint32_t value = 0;
    const auto result = std::from_chars(text.data() + begin, text.data() + text.size(), value, kHexadecimal);
    return result.ec == std::errc{} ? std::optional(value) : std::nullopt;
}

std::optional<std::uint32_t> WidthAttribute(const TiXmlElement& element)
{
    const auto width = IntAttribute(element, "Width");
    return width && *width >= 0 && *width <= kMaxSensorWidth
               ? std::optional(static_cast<std::uint32_t>(*width))
               : std::nullopt;
}

std::optional<SensorDef> ReadSensor(const TiXmlElement& element)
{
    const auto id = IntAttribute(element, "Id");
    const auto max = IntAttribute(element, "Max");
    const auto min = IntAttribute(element, "Min");
    const auto conversion = DoubleAttribute(element, "Conversion");
    if (!id || !max || !min || !conversion)
    {
        return std::nullopt;
    }
    SensorDef sensor;
    sensor.max = *max;
    sensor.min = *min;
    sensor.type = TypeOfSensorId(*id);
    sensor.id = *id;
    sensor.label = TextAttribute(element, "Label").value_or("");
    sensor.conversion = *conversion;
    sensor.firstRegister = HexAttribute(element, "Register");
    sensor.width = WidthAttribute(element);
    sensor.ignore = HexAttribute(element, "Ignore");
    return sensor;
}
} // namespace

const TiXmlElement* FindBoardElement(const CXmlDocument& boardFile, std::uint32_t chipId,
                                     const std::string& model)
{
    const TiXmlElement* root = boardFile.Root();
    if (boardFile.HasError() || root == nullptr)
    {
        return nullptr;
    }
    for (const TiXmlElement* board = root->FirstChildElement("Motherboard"); board != nullptr;
         board = board->NextSiblingElement("Motherboard"))
    {
        const auto chip = IntAttribute(*board, "Chip");
        if (chip && static_cast<std::uint32_t>(*chip) == chipId &&
            FitsModel(TextAttribute(*board, "Name").value_or(""), model))
        {
            return board;
        }
    }
    return nullptr;
}

std::vector<SensorDef> ReadSensorDefinitions(const TiXmlElement& board)
{
    std::vector<SensorDef> sensors;
    for (const TiXmlElement* element = board.FirstChildElement("Sensor"); element != nullptr;
         element = element->NextSiblingElement("Sensor"))
    {
        if (auto sensor = ReadSensor(*element))
        {
            sensors.push_back(std::move(*sensor));
        }
    }
    return sensors;
}

void ReadBoardRegisters(const TiXmlElement& board, BoardRegisterMap& registers)
{
    for (const TiXmlElement* element = board.FirstChildElement("Register"); element != nullptr;
         element = element->NextSiblingElement("Register"))
    {
        const auto name = TextAttribute(*element, "Name");
        const auto value = IntAttribute(*element, "Value");
        if (name && value)
        {
            registers[*name] = *value;
        }
    }
}
