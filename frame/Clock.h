// Time as the plug-in sees it. Decisions take a time as argument; only owners of a loop or a document hold a
// clock.
#pragma once

#include <chrono>
#include <cstdint>

class CClock
{
public:
    virtual ~CClock() = default;

    // Seconds since 1970-01-01 UTC.
    [[nodiscard]] virtual std::int64_t UtcSeconds() const = 0;

    // Milliseconds of the monotonic clock, from an arbitrary start.
    [[nodiscard]] virtual std::int64_t MonotonicMs() const = 0;

    // Blocks the calling thread for the whole period; a signal interrupts the wait but does not shorten it.
    virtual void Sleep(std::chrono::milliseconds period) const = 0;
};

// The kernel's clocks. Stateless; any thread.
class CSystemClock final : public CClock
{
public:
    [[nodiscard]] std::int64_t UtcSeconds() const override;
    [[nodiscard]] std::int64_t MonotonicMs() const override;
    void Sleep(std::chrono::milliseconds period) const override;
};
