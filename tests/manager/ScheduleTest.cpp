#include "manager/Schedule.h"

#include "frame/Xml.h"

#include <gtest/gtest.h>
#include <tinyxml.h>

#include <array>
#include <string>

namespace
{
constexpr int kSunday = 0;
constexpr int kMonday = 1;

// What is read from `elements` into a copy of `before`.
struct ReadCase
{
    const char* name;
    SelfTestSchedule before;
    const char* elements;
    SelfTestSchedule after;
    bool changed;
};

const auto kReadCases = std::to_array<ReadCase>({
    {"LongDayIsTakenFromTheShortTest",
     {},
     R"(<SelfTestSchedule SelfTest="0" Days="127" Start="60"/><SelfTestSchedule SelfTest="1" Days="1" Start="7200"/>)",
     {{0, {126, 60}}, {1, {1, 7200}}},
     true},
    {"LongTestAloneMakesAnEmptyShortOne",
     {},
     R"(<SelfTestSchedule SelfTest="1" Days="64" Start="5"/>)",
     {{0, {0, 0}}, {1, {64, 5}}},
     true},
    {"UnknownTypeIsIgnored", {}, R"(<SelfTestSchedule SelfTest="2" Days="127" Start="60"/>)", {}, false},
    {"NegativeTypeIsIgnored", {}, R"(<SelfTestSchedule SelfTest="-1" Days="127" Start="60"/>)", {}, false},
    {"EveryAttributeIsNeeded",
     {},
     R"(<SelfTestSchedule SelfTest="0" Days="1"/><SelfTestSchedule SelfTest="0" Start="1"/><SelfTestSchedule Days="1" Start="1"/><SelfTestSchedule SelfTest="0" Days="x" Start="1"/>)",
     {},
     false},
    {"OnlyEightBitsOfTheDaysCount",
     {},
     R"(<SelfTestSchedule SelfTest="0" Days="258" Start="-5"/>)",
     {{0, {2, -5}}, {1, {0, 0}}},
     true},
    {"SameEntryIsNoChange",
     {{0, {2, 60}}, {1, {0, 0}}},
     R"(<SelfTestSchedule SelfTest="0" Days="2" Start="60"/>)",
     {{0, {2, 60}}, {1, {0, 0}}},
     false},
    {"OtherStartIsAChange",
     {{0, {2, 60}}, {1, {0, 0}}},
     R"(<SelfTestSchedule SelfTest="0" Days="2" Start="61"/>)",
     {{0, {2, 61}}, {1, {0, 0}}},
     true},
    {"OtherElementsBetweenAreSkipped",
     {},
     R"(<SelfTestSchedule SelfTest="0" Days="2" Start="60"/><Disk/><SelfTestSchedule SelfTest="1" Days="4" Start="9"/>)",
     {{0, {2, 60}}, {1, {4, 9}}},
     true},
    {"NoElementNoChange", {{0, {2, 60}}}, "", {{0, {2, 60}}, {1, {0, 0}}}, false},
});

class ScheduleReading : public testing::TestWithParam<ReadCase>
{
};

TEST_P(ScheduleReading, GivesScheduleAndChange)
{
    CXmlDocument document;
    ASSERT_TRUE(document.Parse(std::string("<Storage>") + GetParam().elements + "</Storage>"));
    SelfTestSchedule schedule = GetParam().before;
    EXPECT_EQ(ReadSelfTestSchedule(document.Root()->FirstChildElement("SelfTestSchedule"), schedule),
              GetParam().changed);
    EXPECT_EQ(schedule, GetParam().after);
}

INSTANTIATE_TEST_SUITE_P(Cases, ScheduleReading, testing::ValuesIn(kReadCases),
                         [](const auto& test) { return std::string(test.param.name); });

// Short test on Mondays, long one on Sundays, both at 01:00, window 60 s.
struct DueCase
{
    const char* name;
    int weekday;
    int hour;
    int minute;
    int second;
    std::optional<int> due;
};

constexpr auto kDueCases = std::to_array<DueCase>({
    {"LastSecondBeforeTheStart", kMonday, 0, 59, 59, std::nullopt},
    {"AtTheStart", kMonday, 1, 0, 0, kShortTest},
    {"LastSecondOfTheWindow", kMonday, 1, 0, 59, kShortTest},
    {"FirstSecondBehindTheWindow", kMonday, 1, 1, 0, std::nullopt},
    {"LongTestOnItsDay", kSunday, 1, 0, 40, kLongTest},
    {"LongTestOutsideItsWindow", kSunday, 0, 59, 59, std::nullopt},
    {"NoDayOfEither", 2, 1, 0, 0, std::nullopt},
});

class ScheduleDue : public testing::TestWithParam<DueCase>
{
};

TEST_P(ScheduleDue, DependsOnDayAndWindow)
{
    const SelfTestSchedule schedule{{kShortTest, {1 << kMonday, 3600}}, {kLongTest, {1 << kSunday, 3600}}};
    std::tm local{};
    local.tm_wday = GetParam().weekday;
    local.tm_hour = GetParam().hour;
    local.tm_min = GetParam().minute;
    local.tm_sec = GetParam().second;
    EXPECT_EQ(DueTest(schedule, local, 60), GetParam().due);
}

INSTANTIATE_TEST_SUITE_P(Cases, ScheduleDue, testing::ValuesIn(kDueCases),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(Schedule, SaturdayIsTheHighestDayAndAnEmptyScheduleIsNeverDue)
{
    std::tm saturday{};
    saturday.tm_wday = 6;
    EXPECT_EQ(DueTest({{kShortTest, {64, 0}}}, saturday, 1), kShortTest);
    EXPECT_EQ(DueTest({{kShortTest, {63, 0}}}, saturday, 1), std::nullopt);
    EXPECT_EQ(DueTest({}, saturday, 1), std::nullopt);
}
} // namespace
