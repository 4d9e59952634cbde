// The last accesses of the plug-in to the simulated appliance's ports.
#pragma once

#include "sim/SimTime.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace host
{
struct PortAccess
{
    sim::SimTime at{0};
    std::uint16_t port = 0;
    std::uint8_t value = 0; // read or written
    bool isWrite = false;

    bool operator==(const PortAccess&) const = default;
};

// A ring of fixed size. Any thread notes, also from a signal handler; any thread reads.
class CPortTrace
{
public:
    // About ten seconds of a busy chip: a poll of all its sensors is some thousand accesses.
    static constexpr std::size_t kCapacity = 16384;

    void Note(const PortAccess& access) noexcept;

    // The last `count` at most, oldest first. One that is being noted meanwhile may appear as the one that it
    // replaces.
    [[nodiscard]] std::vector<PortAccess> Last(std::size_t count) const;

private:
    // Packed into one word, so that a reader never sees half of an entry.
    std::array<std::atomic<std::uint64_t>, kCapacity> m_words{};
    std::atomic<std::size_t> m_count{0};
};

// One line for each access: "12.345 s  out 002E 87". The writes to the POST port, which only repeat the byte
// before as I/O delay, are left out.
std::string TraceText(const std::vector<PortAccess>& accesses);
} // namespace host
