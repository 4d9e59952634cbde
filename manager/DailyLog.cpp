#include "manager/DailyLog.h"

#include "frame/Regex.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>

namespace
{
constexpr int kHoursMax = 23;
constexpr int kMinutesMax = 59;

std::optional<int> ToInt(const std::string& digits)
{
    int value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc{})
    {
        return std::nullopt;
    }
    return value;
}
} // namespace

std::optional<int> ParseDailyLogTime(const std::string& text)
{
    static const CPattern kTime("([0-9]+):([0-9]+) (AM|PM|am|pm).*");
    const auto groups = kTime.MatchWhole(text);
    if (!groups)
    {
        return std::nullopt;
    }
    const std::optional<int> hours = ToInt((*groups)[1]);
    const std::optional<int> minutes = ToInt((*groups)[2]);
    if (!hours || !minutes)
    {
        return std::nullopt;
    }
    int hour = std::min(*hours, kHoursMax);
    const bool afternoon = (*groups)[3] == "PM" || (*groups)[3] == "pm";
    if (afternoon && hour != 12)
    {
        hour += 12;
    }
    else if (!afternoon && hour == 12)
    {
        hour = 0;
    }
    return hour * 3600 + std::min(*minutes, kMinutesMax) * 60;
}

bool IsDailyLogDue(int logTimeSec, const std::tm& local, int windowSec, bool& armed)
{
    if (local.tm_hour == 0 && local.tm_min == 1)
    {
        armed = true;
    }
    const int secondsOfDay = local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec;
    return armed && std::abs(secondsOfDay - logTimeSec) <= windowSec;
}
