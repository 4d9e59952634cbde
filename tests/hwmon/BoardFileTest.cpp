#include "hwmon/BoardFile.h"

#include "tests/hwmon/ChipRig.h"

#include <tinyxml.h>

namespace
{
CXmlDocument Parsed(const std::string& text)
{
    CXmlDocument document;
    document.Parse(text);
    return document;
}

// The definition of a sensor with these attributes.
SensorDef Sensor(const std::string& attributes)
{
    const CXmlDocument file = Parsed("<x>" + SensorXml(1000, 0, 0, "1", attributes) + "</x>");
    return ReadSensorDefinitions(*file.Root()).at(0);
}

TEST(BoardFile, NamesArePatternsOrLists)
{
    for (const auto& [pattern, model, fits] : {std::tuple("BRD-100|BRD-200", "brd-200", true),
                                               {"brd-100|BRD-200", "BRD-100", true},
                                               {"BRD-[0-9]+", "brd-17", true},
                                               {"BRD", "BRD-100", false}, // the whole model only
                                               {"Board A, Board B", "board b", true},
                                               {"BRD", "", true},
                                               {"Board (rev", "board (rev", true}, // no expression
                                               {"Board (rev", "board rev", false},
                                               {"*brd", "brd", true}, // nothing to repeat: a list
                                               {"*[0-9]", "7", false},
                                               {"A.B", "AxB", true}})
    {
        const CXmlDocument file =
            Parsed("<x><Motherboard Chip=\"40992\" Name=\"" + std::string(pattern) + "\"/></x>");
        EXPECT_EQ(FindBoardElement(file, 0xA020, model) != nullptr, fits) << pattern << model;
    }
}

TEST(BoardFile, TheFirstBoardOfTheChipWins)
{
    const CXmlDocument file =
        Parsed(R"(<x><Motherboard Chip="0xA020" Name="B" n="0"/><Motherboard Name="B" n="1"/>)"
               R"(<Motherboard Chip="40991" Name="B" n="2"/><Motherboard Chip="40992" Name="C"/>)"
               R"(<Motherboard Chip="40992" Name="B" n="3"/>)"
               R"(<Motherboard Chip="40992" Name="B" n="4"/></x>)"
               R"(<SmartConfig><Motherboard Chip="49200" Name="B"/></SmartConfig>)");
    const TiXmlElement* board = FindBoardElement(file, 0xA020, "B");
    ASSERT_NE(board, nullptr);
    EXPECT_STREQ(board->Attribute("n"), "3");
    EXPECT_EQ(FindBoardElement(file, 0xC030, "B"), nullptr) << "the second top element is of no interest";
    EXPECT_EQ(FindBoardElement(Parsed(""), 0xA020, "B"), nullptr);
    EXPECT_EQ(FindBoardElement(Parsed(R"(<x><Motherboard Chip="40992" Name="B"/>)"), 0xA020, "B"), nullptr)
        << "a file with an error";
}

TEST(BoardFile, RegistersAndIgnoredReadingsAreHexadecimal)
{
    for (const auto& [text, value] : {std::pair("0x2A", std::optional(0x2AU)),
                                      {"0X2a", 0x2A},
                                      {"62b", 0x62B},
                                      {" 1F", 0x1F},
                                      {"10", 0x10},
                                      {"1Fxyz", 0x1F},
                                      {"ffffffff", 0xFFFFFFFF},
                                      {"100000000", std::nullopt},
                                      {"zz", std::nullopt},
                                      {"", std::nullopt},
                                      {"0x", std::nullopt},
                                      {"-1", std::nullopt}})
    {
        const std::string quoted = "=\"" + std::string(text) + "\"";
        const SensorDef sensor =
            Sensor(std::string("Register").append(quoted).append(" Ignore").append(quoted));
        EXPECT_EQ(sensor.firstRegister, value) << text;
        EXPECT_EQ(sensor.ignore, value) << text;
    }
}

TEST(BoardFile, WidthsAreCountsOfRegisters)
{
    for (const auto& [text, width] :
         {std::pair("0", 0), {"2", 2}, {"256", 256}, {"257", -1}, {"-1", -1}, {"a", -1}})
    {
        const SensorDef sensor = Sensor("Width=\"" + std::string(text) + "\"");
        EXPECT_EQ(sensor.width ? static_cast<int>(*sensor.width) : -1, width) << text;
    }
}

TEST(BoardFile, SensorsThatLackANumberAreLeftOut)
{
    const CXmlDocument file =
        Parsed(R"(<x><Sensor Conversion="1" Max="1" Min="1" Label="no id"/><Sensor Id="1" Max="1" Min="1"/>)"
               R"(<Sensor Id="1" Conversion="x" Max="1" Min="1"/><Sensor Id="1" Conversion="1" Min="1"/>)"
               R"(<Sensor Id="1" Conversion="1" Max="1" Min="one"/>)"
               R"(<Sensor Id="3999" Conversion="2.5" Max="7" Min="-7"/></x>)");
    const std::vector<SensorDef> sensors = ReadSensorDefinitions(*file.Root());
    ASSERT_EQ(sensors.size(), 1U);
    EXPECT_EQ(sensors.front().id, 3999);
    EXPECT_EQ(sensors.front().label, "");
    EXPECT_EQ(sensors.front().conversion, 2.5);
    EXPECT_EQ(sensors.front().max, 7);
    EXPECT_EQ(sensors.front().min, -7);
}

using BoardMonitoring = ChipRig;

TEST_F(BoardMonitoring, TellsWhatItFound)
{
    Make(Chip::Nct5525);
    EXPECT_TRUE(m_chip->InitHwMonitoring(BoardFile(
        R"(<Sensor Id="1000" Conversion="1" Max="1500" Min="800" Label="CPU Core" Register="2A" Width="1"/>)"
        R"(<Sensor Id="4000" Conversion="1" Max="-1" Min="0" Register="62B" Ignore="7"/>)")));
    EXPECT_EQ(Logged(), "25 SENSORS: Detected Voltage 'CPU Core' min 800 max 1500 reg 0x2a width 1\n"
                        "25 SENSORS: Detected Unknown '' min 0 max -1 reg 0x62b ignore 0x07");
}

TEST_F(BoardMonitoring, WithoutSensorsThereIsNone)
{
    Make(Chip::W83627);
    for (const std::string model : {"B1", "B2"}) // a board without sensors, no board
    {
        m_chip->SetMotherboard("ACME", model);
        EXPECT_FALSE(m_chip->InitHwMonitoring(BoardFile("")));
        EXPECT_EQ(Logged(),
                  "50 SENSORS: Disabled because 'ACME' & '" + model + "' not found in hwmconfig.xml");
    }
    EXPECT_EQ(m_ports->TakeRegisters(), "");
}
} // namespace
