#include "sim/BoardFile.h"

#include <algorithm>
#include <cstdio>

namespace sim
{
namespace
{
std::string Attribute(const char* name, const std::string& value)
{
    return std::string(" ") + name + "=\"" + value + "\"";
}

struct BoardSensor
{
    int id;
    std::string label;
    int conversion;
    int min;
    int max;
    std::uint16_t reg;
    int width;
};

std::string Element(const BoardSensor& sensor, BoardSensors kind)
{
    std::string text =
        "        <Sensor" + Attribute("Id", std::to_string(sensor.id)) + Attribute("Label", sensor.label) +
        Attribute("Conversion", std::to_string(sensor.conversion)) +
        Attribute("Min", std::to_string(sensor.min)) + Attribute("Max", std::to_string(sensor.max));
    if (kind != BoardSensors::ById)
    {
        char hex[8];
        std::snprintf(hex, sizeof hex, "0x%03X", unsigned{sensor.reg});
        text += Attribute("Register", hex) + Attribute("Width", std::to_string(sensor.width));
    }
    return text + "/>\n";
}

std::string Label(const char* kind, std::size_t at)
{
    return kind + std::string(" ") + std::to_string(at + 1);
}

std::string Voltages(const SuperIoRows& chip)
{
    // Without conversion the reading stays in steps of the converter.
    const int unit = chip.boardSensors == BoardSensors::ByRawRegister ? chip.millivoltsPerStep : 1;
    const int conversion = chip.boardSensors == BoardSensors::ByRegister ? chip.millivoltsPerStep : 1;
    std::string text;
    for (std::size_t at = 0; at < chip.voltages.size(); ++at)
    {
        const VoltageRow& row = chip.voltages[at];
        const int rest = row.restMillivolts / unit;
        text += Element(
            {row.boardId, Label("Voltage", at), conversion, rest * 9 / 10, rest * 11 / 10, row.value, 1},
            chip.boardSensors);
    }
    return text;
}

std::string Temperatures(const SuperIoRows& chip)
{
    std::string text;
    for (std::size_t at = 0; at < chip.temperatures.size(); ++at)
    {
        const TemperatureRow& row = chip.temperatures[at];
        const int max = row.restDegrees + 35;
        text += Element(
            {row.boardId, Label("Temperature", at), 1, chip.hasHysteresis ? max - 5 : 0, max, row.value, 1},
            chip.boardSensors);
    }
    return text;
}

std::string Fans(const SuperIoRows& chip)
{
    std::string text;
    for (std::size_t at = 0; at < chip.fans.size(); ++at)
    {
        const FanRow& row = chip.fans[at];
        text += Element({row.boardId, Label("Fan", at), 1, row.restRpm * 2 / 3, 0, row.high.value_or(row.low),
                         row.high ? 2 : 1},
                        chip.boardSensors);
    }
    return text;
}
} // namespace

std::string MakeBoardFile(const SuperIoRows& chip, const std::string& model, const std::string& disks)
{
    // The first register value is what lets the time-out reset the appliance, where the board file says it.
    return "<?xml version=\"1.0\"?>\n<HwMonitor>\n    <Motherboard" +
           Attribute("Chip", std::to_string(chip.boardChip)) + Attribute("Name", model) +
           Attribute("Watchdog", "1") + ">\n" + Voltages(chip) + Temperatures(chip) + Fans(chip) +
           "        <Register Name=\"WDTControlVal\" Value=\"2\"/>\n"
           "        <Register Name=\"WDTResetVal\" Value=\"0\"/>\n"
           "    </Motherboard>\n</HwMonitor>\n" +
           disks;
}

std::string DiskSection(const std::string& boardFile)
{
    const std::size_t begin = boardFile.find("<SmartConfig");
    return begin == std::string::npos ? "" : boardFile.substr(begin);
}
} // namespace sim
