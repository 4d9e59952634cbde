// The self-tests a drive runs by itself: the one under way and the log of those that ended.
#pragma once

#include "sim/SimTime.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace sim
{
enum class SelfTestKind
{
    Short,
    Long,
};

enum class SelfTestEnd
{
    Completed,
    Aborted,     // by a command
    Interrupted, // the drive lost its power
    ReadFailure,
};

// One entry of the drive's log.
struct SelfTestEntry
{
    SelfTestKind kind = SelfTestKind::Short;
    SelfTestEnd end = SelfTestEnd::Completed;
    SimTime at{0};            // when it ended; negative for what happened before switching on
    int remainingPercent = 0; // what was left undone, in steps of ten
    std::int64_t lba = 0;     // the block that could not be read; 0 unless `end` is ReadFailure
};

// What becomes of tests.
enum class SelfTestFate
{
    Pass,
    Fail,  // at a block
    Stick, // the percentage stops growing, and the test never ends
};

// Not locked: the appliance's mutex guards it. Times never go back from call to call.
class CSelfTest
{
public:
    static constexpr std::size_t kLogEntries = 21; // what an ATA log holds

    // `log` is newest first. `longLength` is the time of a long test; a short one takes two minutes.
    CSelfTest(std::vector<SelfTestEntry> log, std::chrono::milliseconds longLength, std::int64_t blocks);

    [[nodiscard]] bool IsSupported() const { return m_isSupported; }
    void SetSupported(bool supported) { m_isSupported = supported; }

    // For tests started from now on. `lba` is the block at which they fail.
    void SetFate(SelfTestFate fate, std::int64_t lba = 0);

    // False when none can be started: not supported, or one is running.
    bool Start(SelfTestKind kind, SimTime now);
    // Does nothing when none is running.
    void Stop(SelfTestEnd end, SimTime now);

    // Percent left of a running test, 90 to 0 in steps of ten as ATA drives count; nothing when none is
    // running.
    [[nodiscard]] std::optional<int> Remaining(SimTime now) const;

    // Newest first.
    [[nodiscard]] std::vector<SelfTestEntry> Log(SimTime now) const;

    // A failure in the log that no later long test has made void.
    [[nodiscard]] bool HasFailed(SimTime now) const;

    [[nodiscard]] std::chrono::milliseconds LengthOf(SelfTestKind kind) const;

private:
    struct Running
    {
        SelfTestKind kind = SelfTestKind::Short;
        SimTime start{0};
        SelfTestFate fate = SelfTestFate::Pass;
        std::int64_t lba = 0;
    };

    // Of the running test: the time at which it stops by itself, if ever.
    [[nodiscard]] std::optional<SimTime> EndTime() const;
    [[nodiscard]] int RemainingAt(SimTime time) const;
    [[nodiscard]] SelfTestEntry EntryOf(SelfTestEnd end, SimTime at) const;
    // The entry of the running test when it has come to its end by `now`.
    [[nodiscard]] std::optional<SelfTestEntry> Ended(SimTime now) const;
    void Settle(SimTime now);
    void Add(const SelfTestEntry& entry);

    std::vector<SelfTestEntry> m_log;
    std::chrono::milliseconds m_longLength;
    std::int64_t m_blocks;
    bool m_isSupported = true;
    SelfTestFate m_fate = SelfTestFate::Pass;
    std::int64_t m_lba = 0;
    std::optional<Running> m_running;
};
} // namespace sim
