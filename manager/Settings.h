// The settings kept in corvanepi.xml that belong to the manager itself.
#pragma once

#include "manager/DailyLog.h"

#include <cstdint>
#include <string>

class TiXmlElement;

inline constexpr std::uint32_t kSmartIntervalMinSec = 3600;
inline constexpr int kWatchdogTimeoutMinSec = 10;
inline constexpr int kWatchdogTimeoutMaxSec = 255;
inline constexpr std::uint8_t kWatchdogTimeoutDefaultSec = 40;
inline constexpr int kWatchdogTimeoutOldDefaultSec = 60;

struct Settings
{
    std::uint32_t refreshIntervalMs = 60000; // storage scans
    std::uint32_t smartIntervalSec = kSmartIntervalMinSec;
    std::uint8_t watchdogTimeoutSec = kWatchdogTimeoutDefaultSec;
    bool watchdogEnabled = true;
    std::string dailyLogTime = kDefaultDailyLogTime; // checked when it is used
    bool sensorsEnabled = true;
};

// Applies the attributes of the "Storage", "Watchdog" and "Sensors" elements. Values out of range are
// ignored, or replaced with a log line (watchdog time-out).
void ReadStorageSettings(const TiXmlElement& storage, Settings& settings);
void ReadWatchdogSettings(const TiXmlElement& watchdog, Settings& settings);
void ReadSensorSettings(const TiXmlElement& sensors, Settings& settings);
