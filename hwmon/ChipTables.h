// Rows of which the chip sources are made: register sequences, watchdog operations, channels and alarm bits.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>

// --- Register sequences
// -------------------------------------------------------------------------------------

enum class Bank
{
    Config,  // configuration register, 8 bits
    Monitor, // hardware-monitor register, bank in the high byte
};

// A plain store does not read first; every other change reads the register at that moment.
enum class StepKind
{
    Write,
    WriteTimeout,    // the watchdog time-out in seconds; `value` does not count
    Read,            // for its effect on the chip; `value` does not count
    SetBits,         // OR `value`
    KeepBits,        // AND `value`
    ClearAndSetBits, // without `cleared`, OR `value`
};

struct Step
{
    Bank bank;
    StepKind kind;
    std::uint16_t reg;
    std::uint8_t value = 0;
    std::uint8_t cleared = 0;
};

// Writes a line about a changed register; `before` is absent after a plain store.
using ChangeLog = void (*)(unsigned reg, std::optional<std::uint8_t> before, std::uint8_t after);

// --- Watchdog
// -----------------------------------------------------------------------------------------------

// Whether the last reset was the watchdog's. What is written back clears it.
struct RebootStatusRow
{
    std::uint8_t reg;
    std::uint8_t bit;         // mask
    std::uint8_t cleared = 0; // taken out of what is written back
    std::uint8_t set = 0;     // put into it
    ChangeLog log = nullptr;
};

// Repeated until bit 0 of the value read is 0, or the passes are used up.
struct StopLoop
{
    std::optional<std::uint8_t> write; // stored first on each pass
    std::uint8_t reg;
};

// --- Channels
// -----------------------------------------------------------------------------------------------

// The three alarm status registers of a chip, and alarms that no register reports.
enum class AlarmSource
{
    A,
    B,
    C,
    AtOrAboveMax,
    OutsideMinMax,
};

struct AlarmRow
{
    int id;
    AlarmSource source;
    int bit = 0; // of A, B or C
};

template <typename Row>
constexpr bool IdsAscend(std::span<const Row> rows)
{
    for (std::size_t at = 1; at < rows.size(); ++at)
    {
        if (rows[at - 1].id >= rows[at].id)
        {
            return false;
        }
    }
    return true;
}

// The registers that the channels of a chip name; two channels with the same one are a slip in the rows.
class CRegisterCheck
{
public:
    constexpr void Add(std::uint16_t reg)
    {
        m_unique = m_unique && !m_named.at(reg);
        m_named.at(reg) = true;
    }
    constexpr void Add(std::initializer_list<std::uint16_t> registers)
    {
        for (const std::uint16_t reg : registers)
        {
            Add(reg);
        }
    }
    constexpr void Add(const std::optional<std::uint16_t>& reg)
    {
        if (reg)
        {
            Add(*reg);
        }
    }

    [[nodiscard]] constexpr bool AreUnique() const { return m_unique; }

private:
    static constexpr std::size_t kAddresses = 0x1000; // banks 0 to 15
    std::array<bool, kAddresses> m_named{};
    bool m_unique = true;
};

// No two alarms on one status bit.
constexpr bool StatusBitsAreUnique(std::span<const AlarmRow> rows)
{
    for (std::size_t at = 0; at < rows.size(); ++at)
    {
        for (const AlarmRow& other : rows.first(at))
        {
            const bool inStatus = other.source <= AlarmSource::C;
            if (inStatus && other.source == rows[at].source && other.bit == rows[at].bit)
            {
                return false;
            }
        }
    }
    return true;
}

// The row of that channel, null when the chip has none.
template <typename Row>
constexpr const Row* FindRow(std::span<const Row> rows, int id)
{
    for (const Row& row : rows)
    {
        if (row.id == id)
        {
            return &row;
        }
    }
    return nullptr;
}
