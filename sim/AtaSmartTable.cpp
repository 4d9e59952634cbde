#include "sim/AtaSmartTable.h"

#include <numeric>

namespace sim
{
namespace
{
constexpr std::uint8_t kRevision = 16;
constexpr std::size_t kFirstEntry = 2;
constexpr std::size_t kEntrySize = 12;
constexpr std::size_t kEntries = 30;

// Offline data collection has been completed; self-tests can be run.
constexpr std::size_t kOfflineStatus = 362;
constexpr std::size_t kOfflineCapability = 367;
constexpr std::uint8_t kOfflineCompleted = 0x82;
constexpr std::uint8_t kCanSelfTest = 0x5B;
} // namespace

std::array<std::uint8_t, 512> AtaSmartTable(const CSimDisk& disk, SimTime now)
{
    std::array<std::uint8_t, 512> table{};
    table[0] = kRevision;
    std::size_t entry = 0;
    for (const SmartRow& row : disk.Attributes(now))
    {
        if (entry == kEntries)
        {
            break;
        }
        std::size_t at = kFirstEntry + kEntrySize * entry++;
        table[at++] = static_cast<std::uint8_t>(row.id);
        table[at++] = static_cast<std::uint8_t>(row.flags & 0xFF);
        table[at++] = static_cast<std::uint8_t>(row.flags >> 8);
        table[at++] = static_cast<std::uint8_t>(row.value);
        table[at++] = static_cast<std::uint8_t>(row.worst);
        for (int shift = 0; shift < 48; shift += 8)
        {
            table[at++] = static_cast<std::uint8_t>(row.raw >> shift & 0xFF);
        }
    }
    table[kOfflineStatus] = kOfflineCompleted;
    table[kOfflineCapability] = kCanSelfTest;
    // All bytes together give 0.
    const auto sum = std::accumulate(table.begin(), table.end() - 1, 0U);
    table.back() = static_cast<std::uint8_t>(0x100 - (sum & 0xFF));
    return table;
}
} // namespace sim
