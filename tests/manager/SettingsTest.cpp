#include "manager/Settings.h"

#include "frame/Log.h"
#include "frame/Xml.h"
#include "tests/support/FakeHost.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>

namespace
{
constexpr const char* kOutOfRange =
    "SENSORS: Watchdog timeout interval must be between 10 and 255 seconds. Using default value.";
constexpr const char* kAdjusting = "SENSORS: Adjusting watchdog timeout from old to new default value.";

Settings Read(const std::string& attributes,
              void (*reader)(const TiXmlElement&, Settings&) = ReadStorageSettings)
{
    CXmlDocument document;
    EXPECT_TRUE(document.Parse("<Element " + attributes + "/>"));
    Settings settings;
    reader(*document.Root(), settings);
    return settings;
}

struct IntervalCase
{
    const char* name;
    const char* value;
    std::uint32_t refreshMs;
    std::uint32_t smartSec;
};

constexpr auto kIntervalCases = std::to_array<IntervalCase>({
    {"Zero", "0", 60000, 3600},
    {"Negative", "-5", 60000, 3600},
    {"One", "1", 1000, 3600},
    {"BelowAnHour", "3599", 3599000, 3600},
    {"AboveAnHour", "3601", 3601000, 3601},
    {"LastThatFitsInMs", "4294967", 4294967000, 4294967},
    {"FirstThatDoesNot", "4294968", 60000, 4294968},
    {"NoNumber", "soon", 60000, 3600},
});

class Intervals : public testing::TestWithParam<IntervalCase>
{
};

TEST_P(Intervals, AreLimited)
{
    const std::string value = GetParam().value;
    EXPECT_EQ(Read("RefreshIntervalSec=\"" + value + "\"").refreshIntervalMs, GetParam().refreshMs);
    EXPECT_EQ(Read("SmartIntervalSec=\"" + value + "\"").smartIntervalSec, GetParam().smartSec);
}

INSTANTIATE_TEST_SUITE_P(Cases, Intervals, testing::ValuesIn(kIntervalCases),
                         [](const auto& test) { return std::string(test.param.name); });

struct TimeoutCase
{
    const char* name;
    int value;
    int used;
    std::vector<std::string> lines;
};

const auto kTimeoutCases = std::to_array<TimeoutCase>({
    {"TooShort", 9, 40, {kOutOfRange, kAdjusting}},
    {"Shortest", 10, 10, {}},
    {"BelowTheOldDefault", 59, 59, {}},
    {"OldDefault", 60, 40, {kAdjusting}},
    {"AboveTheOldDefault", 61, 61, {}},
    {"Longest", 255, 255, {}},
    {"TooLong", 256, 40, {kOutOfRange, kAdjusting}},
    {"SixtyModulo256", 316, 40, {kOutOfRange, kAdjusting}},
});

class WatchdogTimeout : public testing::TestWithParam<TimeoutCase>
{
};

TEST_P(WatchdogTimeout, IsLimitedWithALine)
{
    CFakeHost host;
    const Settings settings =
        Read("Timeout=\"" + std::to_string(GetParam().value) + "\"", ReadWatchdogSettings);
    EXPECT_EQ(settings.watchdogTimeoutSec, GetParam().used);
    EXPECT_EQ(host.LogTexts(LogInfo), GetParam().lines);
    EXPECT_EQ(host.LogTexts().size(), GetParam().lines.size());
}

INSTANTIATE_TEST_SUITE_P(Cases, WatchdogTimeout, testing::ValuesIn(kTimeoutCases),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(Settings, SwitchesAreOffAtZeroOnly)
{
    EXPECT_TRUE(Read("", ReadSensorSettings).sensorsEnabled);
    EXPECT_FALSE(Read("Enabled=\"0\"", ReadSensorSettings).sensorsEnabled);
    EXPECT_TRUE(Read("Enabled=\"-1\"", ReadSensorSettings).sensorsEnabled);
    EXPECT_FALSE(Read("Enabled=\"0\"", ReadWatchdogSettings).watchdogEnabled);
    EXPECT_EQ(Read("Enabled=\"0\"", ReadWatchdogSettings).watchdogTimeoutSec, 40);
}

TEST(Settings, TheLogTimeIsTakenUnchecked)
{
    EXPECT_EQ(Read("").dailyLogTime, "1:00 AM");
    EXPECT_EQ(Read("DailyLogTime=\"whenever\"").dailyLogTime, "whenever");
    EXPECT_EQ(Read("DailyLogTime=\"\"").dailyLogTime, "");
}
} // namespace
