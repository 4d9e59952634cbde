#include "host/PortTrace.h"

#include <fmt/format.h>

#include <algorithm>

namespace host
{
namespace
{
constexpr std::uint16_t kPostPort = 0x80;

// Value in bits 0 to 7, port in 8 to 23, direction in 24, milliseconds above (35 years).
constexpr unsigned kPortShift = 8;
constexpr unsigned kWriteShift = 24;
constexpr unsigned kTimeShift = 25;

std::uint64_t Pack(const PortAccess& access)
{
    return static_cast<std::uint64_t>(access.at.count()) << kTimeShift |
           std::uint64_t{access.isWrite} << kWriteShift | std::uint64_t{access.port} << kPortShift |
           access.value;
}

PortAccess Unpack(std::uint64_t word)
{
    return {sim::SimTime(static_cast<sim::SimTime::rep>(word >> kTimeShift)),
            static_cast<std::uint16_t>(word >> kPortShift), static_cast<std::uint8_t>(word),
            (word >> kWriteShift & 1) != 0};
}
} // namespace

void CPortTrace::Note(const PortAccess& access) noexcept
{
    const std::size_t at = m_count.fetch_add(1, std::memory_order_acq_rel);
    m_words[at % kCapacity].store(Pack(access), std::memory_order_release);
}

std::vector<PortAccess> CPortTrace::Last(std::size_t count) const
{
    const std::size_t end = m_count.load(std::memory_order_acquire);
    const std::size_t first = end - std::min({count, end, kCapacity});
    std::vector<PortAccess> accesses;
    accesses.reserve(end - first);
    for (std::size_t at = first; at != end; ++at)
    {
        accesses.push_back(Unpack(m_words[at % kCapacity].load(std::memory_order_acquire)));
    }
    return accesses;
}

std::string TraceText(const std::vector<PortAccess>& accesses)
{
    std::string text;
    for (const PortAccess& access : accesses)
    {
        if (access.port != kPostPort)
        {
            text += fmt::format("{}.{:03} s  {} {:04X} {:02X}\n", access.at.count() / 1000,
                                access.at.count() % 1000, access.isWrite ? "out" : "in ", access.port,
                                access.value);
        }
    }
    return text;
}
} // namespace host
