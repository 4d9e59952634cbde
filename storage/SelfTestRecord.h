// What is known of one disk's self-tests, and how a report changes it.
#pragma once

#include "storage/SelfTestReport.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

class CDisk;
struct SmartConfig;

namespace tq::corvanepi
{
// Later than any time of the monotonic clock.
inline constexpr std::int64_t kNoDeadline = std::numeric_limits<std::int64_t>::max();

// Both ends belong to it.
struct LbaRange
{
    std::int32_t first = 0;
    std::int32_t last = 0;
};

struct SelfTestRecord
{
    std::uint32_t powerOnHours = 0;      // at the last command, 0 when the disk does not tell
    bool isWdc = false;                  // log entries have times
    std::optional<LbaRange> ignoreRange; // failures here are known and do not count
    SelfTestResult status = SelfTestResult::None;
    std::int32_t percent = -1;
    std::optional<std::int64_t> timeSec;   // seconds since 1970: start of the last test; WDC: when it ran
    bool changed = false;                  // since it was last reported
    std::int64_t deadlineMs = kNoDeadline; // monotonic; a short test that runs longer is aborted
};

// Takes over what the disk says of itself; `config` holds the ranges to ignore.
void RefreshIdentity(SelfTestRecord& record, const CDisk& disk, const SmartConfig& config);

// The range's ends count as unsigned 64-bit numbers, so that a negative one is beyond every disk.
bool IsIgnored(const std::optional<LbaRange>& range, std::uint64_t failLba);

// Takes up the disk's report, with its log lines. A running test is always taken up, a result only when a
// test was seen running before, or on the `first` report since the start.
void ApplyDiskReport(const std::string& diskName, const SelfTestDiskReport& report, std::int64_t nowSec,
                     bool first, SelfTestRecord& record);
} // namespace tq::corvanepi
