// The weekly self-test schedule: reading it, and deciding what is due.
#pragma once

#include <cstdint>
#include <ctime>
#include <map>
#include <optional>

class TiXmlElement;

// Self-test types, the keys of the schedule. They are also the start commands.
inline constexpr int kShortTest = 0;
inline constexpr int kLongTest = 1;

struct ScheduleEntry
{
    std::uint8_t days = 0;  // bit 0: Sunday ... bit 6: Saturday
    std::int32_t start = 0; // seconds after local midnight
    bool operator==(const ScheduleEntry&) const = default;
};

using SelfTestSchedule = std::map<int, ScheduleEntry>;

// Every day at 01:00 the short test, the long test never.
SelfTestSchedule DefaultSchedule();

// Applies the "SelfTestSchedule" element `first` (may be null) and its siblings of that name; true when an
// entry is new or differs. A day with a long test has no short test.
bool ReadSelfTestSchedule(const TiXmlElement* first, SelfTestSchedule& schedule);

// The test whose start lies less than `windowSec` seconds back on this day, the short one first.
std::optional<int> DueTest(const SelfTestSchedule& schedule, const std::tm& local, std::uint32_t windowSec);
