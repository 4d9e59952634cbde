#include "manager/Schedule.h"

#include "frame/Xml.h"

#include <gtest/gtest.h>
#include <tinyxml.h>

#include <string>

namespace
{
std::string Entry(const std::string& type, const std::string& days, const std::string& start)
{
    return R"(<SelfTestSchedule SelfTest=")" + type + R"(" Days=")" + days + R"(" Start=")" + start +
           R"("/>)";
}

// "TYPE:DAYS@START" of each test, each followed by a blank.
std::string Shown(const SelfTestSchedule& schedule)
{
    std::string shown;
    for (const auto& [type, entry] : schedule)
    {
        shown +=
            std::to_string(type) + ":" + std::to_string(entry.days) + "@" + std::to_string(entry.start) + " ";
    }
    return shown;
}

// What is read from `elements` into a schedule, which is empty or has one entry.
struct ReadCase
{
    const char* name;
    std::string elements;
    const char* after;
    bool changed;
    bool hasEntry = false; // before: short test on Mondays, start 60
};

const ReadCase kReadCases[] = {
    {"LongDayIsTakenFromTheShortTest", Entry("0", "127", "60") + Entry("1", "1", "7200"),
     "0:126@60 1:1@7200 ", true},
    {"LongTestAloneMakesAnEmptyShortOne", Entry("1", "64", "5"), "0:0@0 1:64@5 ", true},
    {"UnknownTypeIsIgnored", Entry("2", "127", "60"), "", false},
    {"NegativeTypeIsIgnored", Entry("-1", "127", "60"), "", false},
    {"TypeIsNeeded", R"(<SelfTestSchedule Days="1" Start="1"/>)", "", false},
    {"DaysAreNeeded", R"(<SelfTestSchedule SelfTest="0" Start="1"/>)", "", false},
    {"StartIsNeeded", R"(<SelfTestSchedule SelfTest="0" Days="1"/>)", "", false},
    {"DaysAreANumber", Entry("0", "x", "1"), "", false},
    {"OnlyEightBitsOfTheDaysCount", Entry("0", "258", "-5"), "0:2@-5 1:0@0 ", true},
    {"SameEntryIsNoChange", Entry("0", "2", "60"), "0:2@60 1:0@0 ", false, true},
    {"OtherStartIsAChange", Entry("0", "2", "61"), "0:2@61 1:0@0 ", true, true},
    {"OtherElementsBetweenAreSkipped", Entry("0", "2", "60") + "<Disk/>" + Entry("1", "4", "9"),
     "0:2@60 1:4@9 ", true},
    {"NoElementNoChange", "", "0:2@60 1:0@0 ", false, true},
};

TEST(ScheduleReading, GivesScheduleAndChange)
{
    for (const ReadCase& row : kReadCases)
    {
        SCOPED_TRACE(row.name);
        CXmlDocument document;
        ASSERT_TRUE(document.Parse("<Storage>" + row.elements + "</Storage>"));
        SelfTestSchedule schedule;
        if (row.hasEntry)
        {
            schedule = {{kShortTest, {.days = 2, .start = 60}}};
        }
        EXPECT_EQ(ReadSelfTestSchedule(document.Root()->FirstChildElement("SelfTestSchedule"), schedule),
                  row.changed);
        EXPECT_EQ(Shown(schedule), row.after);
    }
}

struct DueCase
{
    const char* name;
    const char* time; // with the weekday, 0 for Sunday
    std::optional<int> due;
};

constexpr DueCase kDueCases[] = {
    {"LastSecondBeforeTheStart", "1 00:59:59", std::nullopt},
    {"AtTheStart", "1 01:00:00", kShortTest},
    {"LastSecondOfTheWindow", "1 01:00:59", kShortTest},
    {"FirstSecondBehindTheWindow", "1 01:01:00", std::nullopt},
    {"LongTestOnItsDay", "0 01:00:40", kLongTest},
    {"LongTestOutsideItsWindow", "0 00:59:59", std::nullopt},
    {"NoDayOfEither", "2 01:00:00", std::nullopt},
};

TEST(ScheduleDue, DependsOnDayAndWindow)
{
    const SelfTestSchedule shortOnMonday{{kShortTest, {2, 3600}}, {kLongTest, {1, 3600}}};
    for (const DueCase& row : kDueCases)
    {
        std::tm local{};
        strptime(row.time, "%w %T", &local);
        EXPECT_EQ(DueTest(shortOnMonday, local, 60), row.due) << row.name;
    }
}

TEST(ScheduleDue, SaturdayIsTheHighestDayAndAnEmptyScheduleIsNeverDue)
{
    std::tm saturday{};
    saturday.tm_wday = 6;
    EXPECT_EQ(DueTest({{kShortTest, {64, 0}}}, saturday, 1), kShortTest);
    EXPECT_EQ(DueTest({{kShortTest, {63, 0}}}, saturday, 1), std::nullopt);
    EXPECT_EQ(DueTest({}, saturday, 1), std::nullopt);
}
} // namespace
