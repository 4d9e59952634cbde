#include "sim/SelfTest.h"

#include <algorithm>
#include <utility>

namespace sim
{
namespace
{
constexpr std::chrono::minutes kShortLength{2};

// A stuck test has this much left, for ever.
constexpr int kStuckRemaining = 60;
} // namespace

CSelfTest::CSelfTest(std::vector<SelfTestEntry> log, std::chrono::milliseconds longLength,
                     std::int64_t blocks)
    : m_log(std::move(log)),
      m_longLength(longLength),
      m_blocks(blocks)
{
}

void CSelfTest::SetFate(SelfTestFate fate, std::int64_t lba)
{
    m_fate = fate;
    m_lba = lba;
}

std::chrono::milliseconds CSelfTest::LengthOf(SelfTestKind kind) const
{
    return kind == SelfTestKind::Short ? kShortLength : m_longLength;
}

std::optional<SimTime> CSelfTest::EndTime() const
{
    const auto length = LengthOf(m_running->kind);
    switch (m_running->fate)
    {
    case SelfTestFate::Pass:
        return m_running->start + length;
    case SelfTestFate::Fail:
        // A short test reads samples and meets the block half way; a long one reads block after block.
        return m_running->start +
               (m_running->kind == SelfTestKind::Short
                    ? length / 2
                    : std::chrono::duration_cast<std::chrono::milliseconds>(
                          length * (static_cast<double>(m_running->lba) / static_cast<double>(m_blocks))));
    case SelfTestFate::Stick:
        break;
    }
    return std::nullopt;
}

int CSelfTest::RemainingAt(SimTime time) const
{
    const auto length = LengthOf(m_running->kind);
    const auto left = m_running->start + length - time;
    const int remaining = static_cast<int>(std::clamp<std::int64_t>(10 * left / length, 0, 9)) * 10;
    return m_running->fate == SelfTestFate::Stick ? std::max(remaining, kStuckRemaining) : remaining;
}

SelfTestEntry CSelfTest::EntryOf(SelfTestEnd end, SimTime at) const
{
    const bool isWhole = end == SelfTestEnd::Completed;
    return {.kind = m_running->kind,
            .end = end,
            .at = at,
            .remainingPercent = isWhole ? 0 : RemainingAt(at),
            .lba = end == SelfTestEnd::ReadFailure ? m_running->lba : 0};
}

std::optional<SelfTestEntry> CSelfTest::Ended(SimTime now) const
{
    const auto end = m_running ? EndTime() : std::nullopt;
    if (!end || *end > now)
    {
        return std::nullopt;
    }
    return EntryOf(m_running->fate == SelfTestFate::Fail ? SelfTestEnd::ReadFailure : SelfTestEnd::Completed,
                   *end);
}

void CSelfTest::Add(const SelfTestEntry& entry)
{
    m_log.insert(m_log.begin(), entry);
    m_log.resize(std::min(m_log.size(), kLogEntries));
    m_running.reset();
}

void CSelfTest::Settle(SimTime now)
{
    if (const auto entry = Ended(now))
    {
        Add(*entry);
    }
}

bool CSelfTest::Start(SelfTestKind kind, SimTime now)
{
    Settle(now);
    if (!m_isSupported || m_running)
    {
        return false;
    }
    m_running = Running{.kind = kind, .start = now, .fate = m_fate, .lba = m_lba};
    return true;
}

void CSelfTest::Stop(SelfTestEnd end, SimTime now)
{
    Settle(now);
    if (m_running)
    {
        Add(EntryOf(end, now));
    }
}

std::optional<int> CSelfTest::Remaining(SimTime now) const
{
    return m_running && !Ended(now) ? std::optional(RemainingAt(now)) : std::nullopt;
}

std::vector<SelfTestEntry> CSelfTest::Log(SimTime now) const
{
    CSelfTest settled = *this;
    settled.Settle(now);
    return settled.m_log;
}

bool CSelfTest::HasFailed(SimTime now) const
{
    for (const SelfTestEntry& entry : Log(now))
    {
        if (entry.end == SelfTestEnd::ReadFailure)
        {
            return true;
        }
        if (entry.kind == SelfTestKind::Long && entry.end == SelfTestEnd::Completed)
        {
            return false;
        }
    }
    return false;
}
} // namespace sim
