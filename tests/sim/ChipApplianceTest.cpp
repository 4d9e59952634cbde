// The chip as part of the appliance: its choice, its board file, its scenario lines.
#include "SimTestSupport.h"
#include "tests/support/CaseName.h"

#include <gtest/gtest.h>
#include <tinyxml.h>

#include <array>
#include <cerrno>
#include <tuple>
#include <utility>

using namespace std::chrono_literals;

namespace
{
int PortErrno(sim::CAppliance& appliance)
{
    return appliance.Ports().SetPermission(0x2E, 2, true);
}

struct ChipChoice
{
    const char* name;
    const char* preset;
    const char* chip;
    const char* board; // "Chip" of the first board in hwmconfig.xml, "" without that file
    bool isFitted;
};

using ApplianceChip = testing::TestWithParam<ChipChoice>;

TEST_P(ApplianceChip, BringsItsBoardFile)
{
    sim::CAppliance appliance(GetParam().preset, sim::Scenario{}, GetParam().chip);
    const auto files = appliance.Files();
    const auto file = files.find("hwmconfig.xml");
    std::string board;
    if (file != files.end())
    {
        TiXmlDocument document;
        document.Parse(file->second.c_str());
        ASSERT_FALSE(document.Error()) << document.ErrorDesc();
        board = document.RootElement()->FirstChildElement("Motherboard")->Attribute("Chip");
        EXPECT_EQ(document.FirstChildElement("SmartConfig") != nullptr,
                  std::string(GetParam().preset) == "plain");
    }
    EXPECT_EQ(board, GetParam().board);
    EXPECT_EQ(appliance.Watchdog(0s).has_value(), GetParam().isFitted);
    EXPECT_EQ(PortErrno(appliance), 0);
    EXPECT_EQ(appliance.Ports().In(0x2F, 0s), 0xFF);
    EXPECT_FALSE(appliance.TakeReset());
}

constexpr auto kChipChoices = std::to_array<ChipChoice>({
    {"PlainsOwn", "plain", "", "51200", true},
    {"PlainsOwnByName", "plain", "nct6791", "51200", true},
    {"Another", "plain", "it8728", "34600", true},
    {"PlainWithout", "plain", "none", "51200", false},
    {"IpmiHasNone", "ipmi", "", "", false},
    {"OnTheIpmiBoard", "ipmi", "f81966a", "5376", true},
});
INSTANTIATE_TEST_SUITE_P(Cases, ApplianceChip, testing::ValuesIn(kChipChoices), kByName);

TEST(ApplianceChips, ABoardWithoutOneHasNoLinesForIt)
{
    std::string error;
    const auto line = sim::ParseScenario("at 1s chip dead", error);
    EXPECT_THROW(sim::CAppliance("plain", line, "none"), std::invalid_argument);
    EXPECT_NO_THROW(sim::CAppliance("plain", std::nullopt, "none"));
}

TEST(AppliancePorts, AreRefusedWithAndWithoutChip)
{
    for (const char* chip : {"", "none"})
    {
        const auto appliance = Play("at 1s ports refuse\nat 2s ports allow", 1s, "plain", chip);
        EXPECT_EQ(PortErrno(*appliance), EPERM) << chip;
        appliance->Advance(2s);
        EXPECT_EQ(PortErrno(*appliance), 0) << chip;
    }
}

// Bytes to the W83627DHG, as a driver writes them: {port, value} pairs.
void Write(sim::CAppliance& appliance, const std::vector<std::pair<int, int>>& bytes, sim::SimTime now)
{
    for (const auto& [port, value] : bytes)
    {
        appliance.Ports().Out(static_cast<std::uint16_t>(port), static_cast<std::uint8_t>(value), now);
    }
}

// Its monitor, running.
std::unique_ptr<sim::CAppliance> PlayChip(const std::string& text, sim::SimTime now)
{
    auto appliance = Play(text, 0s, "plain", "w83627dhg");
    Write(*appliance, {{0x2E, 0x87}, {0x2E, 0x87}, {0x2E, 0x07}, {0x2F, 0x0B}, {0x2E, 0x30}, {0x2F, 0x01}},
          0s);
    Write(*appliance, {{0x295, 0x40}, {0x296, 0x01}}, 0s);
    appliance->Advance(now);
    return appliance;
}

TEST(ApplianceChips, LinesReachTheRegisters)
{
    using Row = std::tuple<const char*, int, int>; // register of bank 0, value 10 s after the line's time
    for (const auto& [line, reg, value] : {
             Row{"chip voltage 2 value 804", 0x21, 101},
             Row{"chip voltage 2 value 5000", 0x21, 255}, // beyond the converter
             Row{"chip temperature 1 value -5", 0x27, 0xFB},
             Row{"chip temperature 1 warm 75 over 20s", 0x27, 55},
             Row{"chip fan 2 value 5000", 0x29, 33},
             Row{"chip fan 2 stop", 0x29, 255},
             Row{"chip stuck 7 high", 0x21, 125 | 0x80},
             Row{"chip dead", 0x21, 255},
         })
    {
        const auto appliance = PlayChip(std::string("at 20s ") + line, 20s);
        Write(*appliance, {{0x295, reg}}, 30s);
        EXPECT_EQ(appliance->Ports().In(0x296, 30s), value) << line;
    }
}

TEST(AppliancePlain, WatchdogResetsTheApplianceOnce)
{
    const auto appliance = PlayChip("at 1m note later", 0s);
    Write(*appliance, {{0x2E, 0x07}, {0x2F, 0x08}, {0x2E, 0x30}, {0x2F, 0x01}}, 0s);
    Write(*appliance, {{0x2E, 0xF5}, {0x2F, 0x02}, {0x2E, 0xF6}, {0x2F, 40}}, 1s);
    EXPECT_EQ(appliance->Watchdog(11s)->left, 30s);
    appliance->Advance(40s);
    EXPECT_FALSE(appliance->TakeReset());
    appliance->Advance(41s);
    EXPECT_TRUE(appliance->TakeReset());
    EXPECT_FALSE(appliance->TakeReset());
    EXPECT_FALSE(appliance->Watchdog(42s)->isArmed);
    EXPECT_EQ(appliance->Watchdog(42s)->resetCount, 1U);
}
} // namespace
