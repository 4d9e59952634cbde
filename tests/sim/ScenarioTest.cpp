#include "SimTestSupport.h"
#include "sim/Duration.h"
#include "tests/support/CaseName.h"

#include <gtest/gtest.h>

#include <array>

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

namespace
{
struct BadCase
{
    const char* name;
    const char* text;
    const char* error;
    const char* preset = "plain";
};

constexpr auto kBadCases = std::to_array<BadCase>({
    {"NoAt", "40s disk /dev/sdc pull", "line 1: expected \"at\", found \"40s\""},
    {"NoTime", "\nat", "line 2: expected a time"},
    {"BareTime", "at 40 end", "line 1: expected a time"},
    {"NothingToDo", "# x\r\n\nat 40s", "line 3: expected"},
    {"UnknownVerb", "at 1s dance", "found \"dance\""},
    {"UnknownDiskVerb", "at 1s disk /dev/sdc heat 4", "\"warm\""},
    {"DeviceIsNoPath", "at 1s disk sdc pull", "a device such as /dev/sdc"},
    {"DeviceLeavesDev", "at 1s disk /dev/../etc pull", "a device such as /dev/sdc"},
    {"TemperatureTooHigh", "at 1s disk /dev/sdc temperature 128", "a number 0..127, found \"128\""},
    {"TemperatureIsText", "at 1s disk /dev/sdc temperature hot", "a number 0..127, found \"hot\""},
    {"NumberWithTail", "at 1s disk /dev/sdc temperature 58C", "a number 0..127, found \"58C\""},
    {"WarmWithoutTime", "at 1s disk /dev/sdc warm 58 over", "a time such as 90s or 1m30s, found the end"},
    {"HealthInBetween", "at 1s disk /dev/sdc health so-so", "\"failing|ok\""},
    {"RawBeyondFortyEightBits", "at 1s disk /dev/sdc attribute 5 value 1 raw 281474976710656",
     "a number 0.."},
    {"WordsAfterTheEnd", "at 1s disk /dev/sdc pull now", "the end of the line, found \"now\""},
    {"UnknownTool", "at 1s tool smartd ok", "expected a tool (smartctl, sysinfo, "},
    {"OnceMisspelt", "at 1s tool smartctl garbage twice", "\"once\", found \"twice\""},
    {"OkIsNeverOnce", "at 1s tool smartctl ok once", "the end of the line, found \"once\""},
    {"SerialTooLong", "at 1s disk /dev/sdc replace ABCDEFGHIJKLMNOPQRSTU", "a serial number"},
    {"EmptyNote", "at 1s note", "a text, found the end of the line"},
    {"EscapeSequence", "at 1s note \x1b[2J", "control character"},
    {"HalfASensorVerb", "at 1s bmc FAN_CPU", "expected \"value\" or \"state\" or \"off|on\""},
    {"PlainDiskFails", "at 1s disk /dev/sda fail", "found \"fail\""},
    // what the appliance does not have
    {"NoSuchDisk", "\nat 1s disk /dev/sdz pull", "line 2: no /dev/sdz"},
    {"NoSuchAttribute", "at 1s disk /dev/sdc attribute 77 value 1", "no attribute 77"},
    {"TemperatureRowIsDerived", "at 1s disk /dev/sdc attribute 194 value 1", "no attribute 194"},
    {"AttributeOfNvme", "at 1s disk /dev/nvme0 attribute 5 value 1", "no attribute 5"},
    {"SpareOfSata", "at 1s disk /dev/sdc spare 1", "no NVMe disk"},
    {"HealthOfUsbStick", "at 1s disk /dev/sdg health failing", "no SMART data"},
    {"NoSuchFan", "at 1s chip fan 6 stop", "the chip has 5 fans"},
    {"NoSuchTemperature", "at 1s chip temperature 3 value 4", "the chip has 2 temperatures"},
    {"SelfTestOfNvme", "at 1s disk /dev/nvme0 selftest sticks", "no self-tests"},
    {"SelfTestBlockBeyondTheEnd", "at 1s disk /dev/sdf selftest fails at 15628053168",
     "no block 15628053168"},
    {"RequestForNoDisk", "at 1s request test short /dev/sdz", "no /dev/sdz"},
    {"NoSuchSensor", "at 1s bmc \"CPU 2 Temp\" off", "line 1: no sensor \"CPU 2 Temp\"", "ipmi"},
    {"ValueOfDiscrete", "\nat 1s bmc \"Lid Switch\" value 1", "line 2: \"Lid Switch\" has states", "ipmi"},
    {"NoManagementController", "at 1s bmc gone", "no management controller"},
    {"NoManagementControllerForSensor", "at 1s bmc FAN_CPU off", "no management controller"},
    {"NoSuchDrive", "at 1s disk 64:11 fail", "no drive 64:11", "lsi"},
    {"NoSuchDriveToPull", "at 1s disk 64:11 pull", "no 64:11", "lsi"},
    {"DriveOfNoController", "at 1s disk 64:1 fail", "no drive 64:1"},
    {"NoRaidController", "at 1s raid check 0", "no RAID controller"},
    {"NoRaidControllerToPrepare", "at 1s raidprep fails mounting", "no RAID controller"},
    {"RefusingScript", "at 1s tool sysinfo refuse", "asks no controller", "lsi"},
});

using ScenarioBadText = testing::TestWithParam<BadCase>;

sim::Scenario ParseGood(const std::string& text)
{
    std::string error;
    auto scenario = sim::ParseScenario(text, error);
    EXPECT_TRUE(scenario) << error;
    return scenario.value_or(sim::Scenario{});
}
} // namespace

TEST(ScenarioDuration, IsUnitsFromHoursToMilliseconds)
{
    using Row = std::pair<const char*, std::chrono::milliseconds>;
    for (const auto& [text, length] :
         {Row{"90s", 90s}, Row{"1m30s", 90s}, Row{"1h5ms", 3'600'005ms}, Row{"0s", 0s}, Row{"8760h", 8760h}})
    {
        EXPECT_EQ(sim::ParseDuration(text), std::optional(length)) << text;
    }
    // More than a year; two beyond 64 bits, one of them as a product; then what is no duration at all.
    for (const char* text :
         {"8760h1ms", "99999999999999999999s", "31536000000h", "90", "1s2s", "1s1m", "-1s", "s", "1.5s", ""})
    {
        EXPECT_EQ(sim::ParseDuration(text), std::nullopt) << text;
    }
}

TEST_P(ScenarioBadText, IsRefusedWithItsReason)
{
    EXPECT_THAT(ErrorOf(GetParam().text, GetParam().preset), HasSubstr(GetParam().error));
}

INSTANTIATE_TEST_SUITE_P(Cases, ScenarioBadText, testing::ValuesIn(kBadCases), kByName);

TEST(Scenario, CommentsBlanksAndLineEndsDoNotCount)
{
    const auto scenario =
        ParseGood("#at 1s end\n\n \t\r\n  at  40s\tdisk /dev/sdc pull   # gone\r\nat 41s note a#1");
    ASSERT_EQ(scenario.events.size(), 2U);
    EXPECT_EQ(scenario.events[0].at, 40s);
    EXPECT_EQ(scenario.events[0].line, 4);
    EXPECT_EQ(scenario.events[0].text, "at  40s\tdisk /dev/sdc pull");
    EXPECT_THAT(scenario.events[0].words, ElementsAre("disk", "/dev/sdc", "pull"));
    EXPECT_THAT(scenario.events[1].words, ElementsAre("note", "a#1"));
}

TEST(Scenario, QuotedWordsAreOneWord)
{
    const auto wordsOf = [](const std::string& line) { return ParseGood(line).events.at(0).words; };
    EXPECT_THAT(wordsOf("at 1s bmc \"A  b\" \t off # \"c\""), ElementsAre("bmc", "A  b", "off"));
    EXPECT_THAT(wordsOf("at 1s note 5\" of \"snow"), ElementsAre("note", "5\"", "of", "\"snow"));
    EXPECT_THAT(wordsOf("at 1s note \"a\"b \"\""), ElementsAre("note", "\"a\"b", "\"\""));
}

TEST(Scenario, IsInOrderOfTimeThenOfTheFile)
{
    const auto scenario = ParseGood("at 2s note c\nat 1s note a\nat 2s note d\nat 1s note b\n");
    std::string order;
    for (const auto& event : scenario.events)
    {
        order += event.words[1];
    }
    EXPECT_EQ(order, "abcd");
}

TEST(Scenario, BoundsHoldOnBothSides)
{
    std::string lines;
    for (int count = 0; count < 10'000; ++count)
    {
        lines += "#\n";
    }
    EXPECT_EQ(ParseGood(lines).events.size(), 0U);
    EXPECT_EQ(ErrorOf(lines + "#"), "line 10001: more than 10000 lines");
    const std::string start = "at 1s note ";
    const std::string longest = start + std::string(1'000 - start.size(), 'x');
    EXPECT_EQ(ParseGood(longest).events.size(), 1U);
    EXPECT_EQ(ErrorOf(longest + "x"), "line 1: longer than 1000 bytes");
}
