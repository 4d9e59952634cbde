#include "manager/Settings.h"

#include "frame/Log.h"
#include "frame/Xml.h"

#include <algorithm>
#include <limits>

namespace
{
constexpr std::uint32_t kMsPerSec = 1000;

void ReadSwitch(const TiXmlElement& element, bool& value)
{
    if (const auto enabled = IntAttribute(element, "Enabled"))
    {
        value = *enabled != 0;
    }
}
} // namespace

void ReadStorageSettings(const TiXmlElement& storage, Settings& settings)
{
    const int refresh = IntAttribute(storage, "RefreshIntervalSec").value_or(0);
    if (refresh > 0 &&
        static_cast<std::uint32_t>(refresh) <= std::numeric_limits<std::uint32_t>::max() / kMsPerSec)
    {
        settings.refreshIntervalMs = static_cast<std::uint32_t>(refresh) * kMsPerSec;
    }
    if (const auto time = TextAttribute(storage, "DailyLogTime"))
    {
        settings.dailyLogTime = *time;
    }
    if (const int smart = IntAttribute(storage, "SmartIntervalSec").value_or(0); smart > 0)
    {
        settings.smartIntervalSec = std::max(static_cast<std::uint32_t>(smart), kSmartIntervalMinSec);
    }
}

void ReadWatchdogSettings(const TiXmlElement& watchdog, Settings& settings)
{
    ReadSwitch(watchdog, settings.watchdogEnabled);
    const auto timeout = IntAttribute(watchdog, "Timeout");
    if (!timeout)
    {
        return;
    }
    const bool outOfRange = *timeout < kWatchdogTimeoutMinSec || *timeout > kWatchdogTimeoutMaxSec;
    if (outOfRange)
    {
        Log(LogInfo,
            "SENSORS: Watchdog timeout interval must be between 10 and 255 seconds. Using default value.");
    }
    if (outOfRange || *timeout == kWatchdogTimeoutOldDefaultSec)
    {
        Log(LogInfo, "SENSORS: Adjusting watchdog timeout from old to new default value.");
        settings.watchdogTimeoutSec = kWatchdogTimeoutDefaultSec;
        return;
    }
    settings.watchdogTimeoutSec = static_cast<std::uint8_t>(*timeout);
}

void ReadSensorSettings(const TiXmlElement& sensors, Settings& settings)
{
    ReadSwitch(sensors, settings.sensorsEnabled);
}
