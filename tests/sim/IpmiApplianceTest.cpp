// The appliance with a management controller.
#include "SimTestSupport.h"

#include <gtest/gtest.h>

#include <array>
#include <set>
#include <sstream>
#include <tuple>

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{
constexpr const char* kCommand = "ipmitool -c sdr";

std::unique_ptr<sim::CAppliance> PlayIpmi(const std::string& scenario, sim::SimTime now = 0s)
{
    return Play(scenario, now, "ipmi");
}

std::vector<std::string> Lines(sim::CAppliance& appliance, sim::SimTime now = 0s)
{
    std::vector<std::string> lines;
    std::istringstream text(Call(appliance, kCommand, now).standardOutput);
    for (std::string line; std::getline(text, line);)
    {
        lines.push_back(line);
    }
    return lines;
}

// The line of one sensor, "" when there is none.
std::string LineOf(sim::CAppliance& appliance, const std::string& name, sim::SimTime now = 0s)
{
    for (const std::string& line : Lines(appliance, now))
    {
        if (line.starts_with(name + ","))
        {
            return line;
        }
    }
    return "";
}

// Name, scenario, and a line of the answer.
constexpr auto kVerbCases = std::to_array<std::tuple<const char*, const char*, const char*>>({
    {"Value", "at 0s bmc \"CPU Temp\" value 88", "CPU Temp,88,degrees C,ok"},
    {"BelowTheLimit", "at 0s bmc \"CPU Temp\" value 94", "CPU Temp,94,degrees C,ok"},
    {"AtTheUpperLimit", "at 0s bmc \"CPU Temp\" value 95", "CPU Temp,95,degrees C,cr"},
    {"Frost", "at 0s bmc \"Board Temp\" value -5", "Board Temp,-5,degrees C,ok"},
    {"AtTheLowerLimit", "at 0s bmc FAN_CPU value 500", "FAN_CPU,500,RPM,cr"},
    {"StandsStill", "at 0s bmc FAN_CPU value 0", "FAN_CPU,0,RPM,cr"},
    {"WholeVolts", "at 0s bmc 12V value 13", "12V,13,Volts,ok"},
    {"CommaInName", "at 0s bmc \"Bay, upper\" value 40", "Bay, upper,40,degrees C,ok"},
    {"State", "at 0s bmc FAN_CPU value 2900\nat 0s bmc FAN_CPU state nr", "FAN_CPU,2900,RPM,nr"},
    {"StateAgainstTheLimits", "at 0s bmc FAN_CPU value 0\nat 0s bmc FAN_CPU state ok", "FAN_CPU,0,RPM,ok"},
    {"ValueEndsTheState", "at 0s bmc FAN_CPU state cr\nat 0s bmc FAN_CPU value 2000", "FAN_CPU,2000,RPM,ok"},
    {"Off", "at 0s bmc FAN_CPU state cr\nat 0s bmc FAN_CPU off", "FAN_CPU,,,ns"},
    {"OnAgain", "at 0s bmc FAN_CPU value 10\nat 0s bmc FAN_CPU off\nat 0s bmc FAN_CPU on",
     "FAN_CPU,10,RPM,cr"},
    {"DiscreteState", "at 0s bmc \"PSU1 Status\" state cr", "PSU1 Status,01h,cr,10.1,"},
    {"DiscreteOff", "at 0s bmc \"PSU1 Status\" off", "PSU1 Status,,,ns"},
});
} // namespace

TEST(BmcVerbs, ChangeTheLine)
{
    for (const auto& [name, scenario, line] : kVerbCases)
    {
        SCOPED_TRACE(name);
        EXPECT_THAT(Lines(*PlayIpmi(scenario)), Contains(line));
    }
}

// The forms that the plug-in has to tell apart are all there, and the last line is a fan with a value.
TEST(Bmc, TheWholeRepositoryInOrder)
{
    const auto appliance = PlayIpmi("");
    const std::vector<std::string> lines = Lines(*appliance);
    ASSERT_EQ(lines.size(), 12U);
    EXPECT_THAT(lines[0], testing::MatchesRegex("CPU Temp,4[345],degrees C,ok"));
    EXPECT_THAT(lines, testing::IsSupersetOf({"12V,12.096,Volts,ok", "5VSB,5,Volts,ok",
                                              "Lid Switch,00h,ok,23.1,", "FAN_REAR2,,,ns"}));
    EXPECT_THAT(lines.back(), testing::MatchesRegex("FAN_REAR1,4[234]00,RPM,ok"));
    const auto run = Call(*appliance, kCommand);
    EXPECT_EQ(run.duration, 12 * 60ms);
    EXPECT_EQ(run.waitStatus, 0);
    EXPECT_EQ(run.standardError, "");
}

TEST(Bmc, ValuesWanderByOneStep)
{
    const auto appliance = PlayIpmi("");
    std::set<std::string> seen;
    for (sim::SimTime now = 0s; now < 5min; now += 5s)
    {
        seen.insert(LineOf(*appliance, "FAN_CPU", now));
    }
    EXPECT_THAT(seen, ElementsAre("FAN_CPU,2800,RPM,ok", "FAN_CPU,2900,RPM,ok", "FAN_CPU,3000,RPM,ok"));
}

TEST(Bmc, WhenItIsGoneTheToolFailsUntilItIsBack)
{
    const auto appliance = PlayIpmi("at 0s bmc FAN_CPU value 0\nat 1s bmc gone\nat 2s bmc back", 1s);
    const auto run = Call(*appliance, kCommand, 1s);
    EXPECT_EQ(run.waitStatus, 1 << 8);
    EXPECT_EQ(run.standardOutput, "");
    EXPECT_THAT(run.standardError, StartsWith("Could not open device"));
    appliance->Advance(2s);
    EXPECT_THAT(Lines(*appliance, 2s), Contains("FAN_CPU,0,RPM,cr"));
}

TEST(Bmc, OtherCommandsAreRefused)
{
    const auto appliance = PlayIpmi("");
    for (const char* command : {"ipmitool", "ipmitool sdr", "ipmitool -c sdr elist"})
    {
        const auto run = Call(*appliance, command);
        EXPECT_EQ(run.waitStatus, 1 << 8);
        EXPECT_EQ(run.standardOutput, "");
        EXPECT_NE(run.standardError, "");
    }
}

TEST(BmcScenario, ShowsEveryTroubleAndEndsWell)
{
    sim::CAppliance appliance("ipmi", std::nullopt);
    std::set<std::string> troubles;
    for (sim::SimTime now = 0s; now <= 200s; now += 5s)
    {
        appliance.Advance(now);
        const auto run = Call(appliance, kCommand, now);
        troubles.insert(run.waitStatus != 0 ? "gone" : "");
        if (run.waitStatus == 0)
        {
            troubles.insert(LineOf(appliance, "CPU Temp", now).ends_with("cr") ? "hot" : "");
            troubles.insert(LineOf(appliance, "FAN_CPU", now).ends_with("cr") ? "still" : "");
            troubles.insert(LineOf(appliance, "Bay, upper", now).ends_with("ns") ? "one off" : "");
            troubles.insert(Lines(appliance, now).back().ends_with("ns") ? "last off" : "");
            troubles.insert(LineOf(appliance, "FAN_REAR2", now).ends_with("ok") ? "new" : "");
        }
    }
    EXPECT_THAT(troubles, ElementsAre("", "gone", "hot", "last off", "new", "one off", "still"));
    for (const std::string& line : Lines(appliance, 200s))
    {
        EXPECT_THAT(line, HasSubstr(",ok"));
    }
}
