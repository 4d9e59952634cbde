#include "manager/Schedule.h"

#include "frame/Xml.h"

#include <tinyxml.h>

namespace
{
constexpr std::uint8_t kEveryDay = 127;
constexpr std::int32_t kOneOClock = 3600;

bool IsDue(const ScheduleEntry& entry, std::uint32_t secondsOfDay, std::uint32_t windowSec)
{
    // Unsigned: a start still to come gives a difference far beyond any window.
    return secondsOfDay - static_cast<std::uint32_t>(entry.start) < windowSec;
}
} // namespace

SelfTestSchedule DefaultSchedule()
{
    return {{kShortTest, {.days = kEveryDay, .start = kOneOClock}}, {kLongTest, {}}};
}

bool ReadSelfTestSchedule(const TiXmlElement* first, SelfTestSchedule& schedule)
{
    bool changed = false;
    for (const TiXmlElement* element = first; element != nullptr;
         element = element->NextSiblingElement("SelfTestSchedule"))
    {
        const auto type = IntAttribute(*element, "SelfTest");
        const auto days = IntAttribute(*element, "Days");
        const auto start = IntAttribute(*element, "Start");
        const bool known = type.value_or(-1) == kShortTest || type.value_or(-1) == kLongTest;
        if (!known || !days || !start)
        {
            continue;
        }
        const ScheduleEntry entry{.days = static_cast<std::uint8_t>(*days), .start = *start};
        const auto [found, isNew] = schedule.try_emplace(*type, entry);
        changed |= isNew || found->second != entry;
        found->second = entry;
    }
    if (!schedule.empty())
    {
        const auto longDays = schedule[kLongTest].days;
        ScheduleEntry& shortTest = schedule[kShortTest];
        shortTest.days = static_cast<std::uint8_t>(shortTest.days & ~longDays);
    }
    return changed;
}

std::optional<int> DueTest(const SelfTestSchedule& schedule, const std::tm& local, std::uint32_t windowSec)
{
    const auto secondsOfDay =
        static_cast<std::uint32_t>(local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec);
    for (const int test : {kShortTest, kLongTest})
    {
        const auto entry = schedule.find(test);
        if (entry != schedule.end() && (entry->second.days >> local.tm_wday & 1) != 0 &&
            IsDue(entry->second, secondsOfDay, windowSec))
        {
            return test;
        }
    }
    return std::nullopt;
}
