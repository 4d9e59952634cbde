#include "sim/Scenario.h"

#include "sim/Duration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

namespace
{
struct DurationCase
{
    const char* name;
    const char* text;
    std::optional<std::chrono::milliseconds> length;
};

constexpr auto kDurationCases = std::to_array<DurationCase>({
    {"Seconds", "90s", 90s},
    {"MinutesAndSeconds", "1m30s", 90s},
    {"HoursAndMilliseconds", "1h5ms", 3'600'005ms},
    {"Nothing", "0s", 0s},
    {"AYear", "8760h", 8760h},
    {"MoreThanAYear", "8760h1ms", std::nullopt},
    {"BeyondSixtyFourBits", "99999999999999999999s", std::nullopt},
    {"ProductBeyondSixtyFourBits", "31536000000h", std::nullopt},
    {"BareNumber", "90", std::nullopt},
    {"UnitTwice", "1s2s", std::nullopt},
    {"SmallerUnitFirst", "1s1m", std::nullopt},
    {"Negative", "-1s", std::nullopt},
    {"UnitOnly", "s", std::nullopt},
    {"Fraction", "1.5s", std::nullopt},
    {"Empty", "", std::nullopt},
});

class ScenarioDuration : public testing::TestWithParam<DurationCase>
{
};

struct BadCase
{
    const char* name;
    const char* text;
    const char* error;
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
});

class ScenarioBadText : public testing::TestWithParam<BadCase>
{
};

sim::Scenario ParseGood(const std::string& text)
{
    std::string error;
    auto scenario = sim::ParseScenario(text, error);
    EXPECT_TRUE(scenario) << error;
    return scenario.value_or(sim::Scenario{});
}

std::string ErrorOf(const std::string& text)
{
    std::string error;
    return sim::ParseScenario(text, error) ? "(accepted)" : error;
}
} // namespace

TEST_P(ScenarioDuration, Reads)
{
    EXPECT_EQ(sim::ParseDuration(GetParam().text), GetParam().length);
}

INSTANTIATE_TEST_SUITE_P(Cases, ScenarioDuration, testing::ValuesIn(kDurationCases),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(ScenarioBadText, IsRefusedWithItsReason)
{
    EXPECT_THAT(ErrorOf(GetParam().text), HasSubstr(GetParam().error));
}

INSTANTIATE_TEST_SUITE_P(Cases, ScenarioBadText, testing::ValuesIn(kBadCases),
                         [](const auto& test) { return std::string(test.param.name); });

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
