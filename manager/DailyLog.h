// When the daily SMART health log is written.
#pragma once

#include <ctime>
#include <optional>
#include <string>

inline constexpr const char* kDefaultDailyLogTime = "1:00 AM";

// Seconds after local midnight of a text such as "1:00 AM"; absent when the text is not one. Text behind AM
// or PM is ignored, an hour above 23 counts as 23 and a minute above 59 as 59.
std::optional<int> ParseDailyLogTime(const std::string& text);

// Whether the log is due at `local`. `armed` is set at 00:01 every day and cleared by the caller when it has
// written the log.
bool IsDailyLogDue(int logTimeSec, const std::tm& local, int windowSec, bool& armed);
