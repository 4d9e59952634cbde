#include "manager/Settings.h"

#include "frame/Log.h"
#include "frame/Xml.h"
#include "tests/support/FakeHost.h"

#include <gtest/gtest.h>

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
    const char* value;
    std::uint32_t refreshMs;
    std::uint32_t smartSec;
};

constexpr IntervalCase kIntervalCases[] = {
    {"0", 60000, 3600},          {"-5", 60000, 3600},
    {"1", 1000, 3600},           {"3599", 3599000, 3600},
    {"3601", 3601000, 3601},     {"4294967", 4294967000, 4294967}, // the last that fits in ms
    {"4294968", 60000, 4294968}, {"soon", 60000, 3600},
};

TEST(Settings, IntervalsAreLimited)
{
    for (const IntervalCase& row : kIntervalCases)
    {
        const std::string value = row.value;
        EXPECT_EQ(Read("RefreshIntervalSec=\"" + value + "\"").refreshIntervalMs, row.refreshMs) << value;
        EXPECT_EQ(Read("SmartIntervalSec=\"" + value + "\"").smartIntervalSec, row.smartSec) << value;
    }
}

struct TimeoutCase
{
    int value;
    int used;
    std::vector<std::string> lines;
};

const TimeoutCase kTimeoutCases[] = {
    {9, 40, {kOutOfRange, kAdjusting}},
    {10, 10, {}},
    {59, 59, {}},
    {60, 40, {kAdjusting}},
    {61, 61, {}},
    {255, 255, {}},
    {256, 40, {kOutOfRange, kAdjusting}},
    {316, 40, {kOutOfRange, kAdjusting}}, // 60 in eight bits
};

TEST(Settings, TheWatchdogsTimeoutIsLimitedWithALine)
{
    CFakeHost host;
    for (const TimeoutCase& row : kTimeoutCases)
    {
        SCOPED_TRACE(row.value);
        host.Forget();
        const Settings settings = Read("Timeout=\"" + std::to_string(row.value) + "\"", ReadWatchdogSettings);
        EXPECT_EQ(settings.watchdogTimeoutSec, row.used);
        EXPECT_EQ(host.LogTexts(LogInfo), row.lines);
        EXPECT_EQ(host.LogTexts().size(), row.lines.size());
    }
}

TEST(Settings, SwitchesAreOffAtZeroOnly)
{
    EXPECT_TRUE(Read("Enabled=\"-1\"", ReadSensorSettings).sensorsEnabled);
    EXPECT_TRUE(Read("Enabled=\"-1\"", ReadWatchdogSettings).watchdogEnabled);
    EXPECT_EQ(Read("Enabled=\"0\"", ReadWatchdogSettings).watchdogTimeoutSec, 40);
}
} // namespace
