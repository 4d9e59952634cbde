#include "manager/DailyLog.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace
{
constexpr int kHour = 3600;

struct TimeCase
{
    const char* name;
    const char* text;
    std::optional<int> seconds;
};

constexpr auto kTimeCases = std::to_array<TimeCase>({
    {"HalfPastMidnight", "12:30 AM", 1800},
    {"HalfPastNoon", "12:30 PM", 12 * kHour + 1800},
    {"Morning", "1:12 AM", kHour + 720},
    {"LowerCaseAfternoon", "9:05 pm", 21 * kHour + 300},
    {"LowerCaseMidnight", "12:00 am", 0},
    {"TextBehindIsIgnored", "1:00 AM, please", kHour},
    {"LeadingZeros", "0001:07 AM", kHour + 420},
    {"HourAbove23CountsAs23", "99:00 AM", 23 * kHour},
    {"HourAbove23IsNoNoon", "24:00 PM", 35 * kHour},
    {"MinuteAbove59CountsAs59", "1:60 AM", kHour + 59 * 60},
    {"HourBeyondInt", "99999999999:00 AM", std::nullopt},
    {"MinuteBeyondInt", "1:2147483648 AM", std::nullopt},
    {"MixedCase", "1:00 Am", std::nullopt},
    {"NoBlank", "1:00AM", std::nullopt},
    {"LeadingBlank", " 1:00 AM", std::nullopt},
    {"TwentyFourHourClock", "13:00", std::nullopt},
    {"LineFeedBehind", "1:00 AM\n", std::nullopt},
    {"Empty", "", std::nullopt},
});

class DailyLogTime : public testing::TestWithParam<TimeCase>
{
};

TEST_P(DailyLogTime, IsSecondsOfTheDay)
{
    EXPECT_EQ(ParseDailyLogTime(GetParam().text), GetParam().seconds);
}

INSTANTIATE_TEST_SUITE_P(Cases, DailyLogTime, testing::ValuesIn(kTimeCases),
                         [](const auto& test) { return std::string(test.param.name); });

// Window 60 s.
struct DueCase
{
    const char* name;
    int logTimeSec;
    int hour;
    int minute;
    int second;
    bool armed;
    bool due;
    bool armedAfter;
};

constexpr auto kDueCases = std::to_array<DueCase>({
    {"WindowBegins", kHour, 0, 59, 0, true, true, true},
    {"BeforeTheWindow", kHour, 0, 58, 59, true, false, true},
    {"WindowEnds", kHour, 1, 1, 0, true, true, true},
    {"BehindTheWindow", kHour, 1, 1, 1, true, false, true},
    {"WrittenOnceADay", kHour, 1, 0, 0, false, false, false},
    {"OneMinutePastMidnightArms", kHour, 0, 1, 30, false, false, true},
    {"ArmingMinuteOfAnotherHourDoesNot", kHour, 2, 1, 30, false, false, false},
    {"ArmedAndDueInTheSameMinute", 0, 0, 1, 0, false, true, true},
    {"ArmedButTooLateInThatMinute", 0, 0, 1, 1, false, false, true},
});

class DailyLogDue : public testing::TestWithParam<DueCase>
{
};

TEST_P(DailyLogDue, DependsOnWindowAndArming)
{
    std::tm local{};
    local.tm_hour = GetParam().hour;
    local.tm_min = GetParam().minute;
    local.tm_sec = GetParam().second;
    bool armed = GetParam().armed;
    EXPECT_EQ(IsDailyLogDue(GetParam().logTimeSec, local, 60, armed), GetParam().due);
    EXPECT_EQ(armed, GetParam().armedAfter);
}

INSTANTIATE_TEST_SUITE_P(Cases, DailyLogDue, testing::ValuesIn(kDueCases),
                         [](const auto& test) { return std::string(test.param.name); });
} // namespace
