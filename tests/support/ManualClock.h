// A clock moved by hand.
#pragma once

#include "frame/Clock.h"

#include <atomic>

// Any thread.
class CManualClock final : public CClock
{
public:
    explicit CManualClock(std::int64_t utcSeconds = 1'700'000'000) : m_utcSeconds(utcSeconds) {}

    [[nodiscard]] std::int64_t UtcSeconds() const override { return m_utcSeconds + m_elapsedMs / 1000; }
    [[nodiscard]] std::int64_t MonotonicMs() const override { return m_elapsedMs; }

    // Moves the clock instead of waiting.
    void Sleep(std::chrono::milliseconds period) const override { m_elapsedMs += period.count(); }

    void Advance(std::chrono::milliseconds period) { m_elapsedMs += period.count(); }

    // Sets the calendar as an administrator would: the monotonic clock does not move.
    void SetUtc(std::int64_t utcSeconds) { m_utcSeconds = utcSeconds - m_elapsedMs / 1000; }

private:
    std::atomic<std::int64_t> m_utcSeconds; // at elapsed 0
    mutable std::atomic<std::int64_t> m_elapsedMs{0};
};
