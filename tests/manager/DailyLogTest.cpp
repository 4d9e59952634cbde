#include "manager/DailyLog.h"

#include <gtest/gtest.h>

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

constexpr TimeCase kTimeCases[] = {
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
};

TEST(DailyLogTime, IsSecondsOfTheDay)
{
    for (const TimeCase& row : kTimeCases)
    {
        EXPECT_EQ(ParseDailyLogTime(row.text), row.seconds) << row.name;
    }
}

// Window 60 s.
struct DueCase
{
    const char* name;
    const char* time;
    int logTimeSec;
    bool armed;
    bool due;
    bool armedAfter;
};

constexpr DueCase kDueCases[] = {
    {"WindowBegins", "00:59:00", kHour, true, true, true},
    {"BeforeTheWindow", "00:58:59", kHour, true, false, true},
    {"WindowEnds", "01:01:00", kHour, true, true, true},
    {"BehindTheWindow", "01:01:01", kHour, true, false, true},
    {"WrittenOnceADay", "01:00:00", kHour, false, false, false},
    {"OneMinutePastMidnightArms", "00:01:30", kHour, false, false, true},
    {"ArmingMinuteOfAnotherHourDoesNot", "02:01:30", kHour, false, false, false},
    {"ArmedAndDueInTheSameMinute", "00:01:00", 0, false, true, true},
    {"ArmedButTooLateInThatMinute", "00:01:01", 0, false, false, true},
};

TEST(DailyLogDue, DependsOnWindowAndArming)
{
    for (const DueCase& row : kDueCases)
    {
        std::tm local{};
        strptime(row.time, "%T", &local);
        bool armed = row.armed;
        EXPECT_EQ(IsDailyLogDue(row.logTimeSec, local, 60, armed), row.due) << row.name;
        EXPECT_EQ(armed, row.armedAfter) << row.name;
    }
}
} // namespace
