// What the model has to know of one Super I/O chip, as rows taken from its register documents. Register
// numbers of the hardware monitor carry the bank in the high byte.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace sim
{
struct RegisterBits
{
    std::uint16_t reg;
    std::uint8_t mask;
};

struct BitField
{
    std::uint16_t reg;
    std::uint8_t mask;
    int shift;
};

struct LimitPair
{
    std::uint16_t high;
    std::uint16_t low;
};

// Where a channel out of its limits is told.
struct AlarmBits
{
    std::optional<RegisterBits> live{};    // follows the state
    std::optional<RegisterBits> latched{}; // stands until its register is read
};

struct VoltageRow
{
    int boardId;         // "Id" of the board file
    std::uint16_t value; // ADC reading
    int restMillivolts;  // at the chip's pin, on a board in good order
    std::optional<LimitPair> limits{};
    AlarmBits alarm{};
    std::optional<RegisterBits> enable{}; // absent: always converted
};

struct TemperatureRow
{
    // The channel shows the row whose `number` stands in `reg`.
    struct Source
    {
        std::uint16_t reg;
        std::uint8_t number;
    };

    int boardId;
    std::uint16_t value; // degrees Celsius, signed
    int restDegrees;
    std::optional<LimitPair> limits{};
    AlarmBits alarm{};
    std::optional<Source> source{}; // absent: this row's own
};

struct FanRow
{
    // In ticks: high << lowWidth | low.
    struct Limit
    {
        std::optional<std::uint16_t> high{};
        std::uint16_t low = 0;
        int lowWidth = 8;
    };

    // A count is divided by 2 to the power of fixed + low + 4 * high.
    struct Exponent
    {
        int fixed = 0;
        std::optional<BitField> low{};
        std::optional<BitField> high{};
    };

    int boardId;
    std::optional<std::uint16_t> high; // of a reading of two bytes
    std::uint16_t low;
    int restRpm; // 0: an empty socket, whose speed reads as 0
    std::optional<Limit> limit{};
    AlarmBits alarm{};
    Exponent exponent{};
    std::optional<RegisterBits> enable{};
};

// How the fan registers of a chip read.
struct FanCounter
{
    bool readsSpeed = false; // revolutions per minute, else ticks for each turn
    int ticksPerMinute = 1'350'000;
    std::uint16_t standing = 0; // reading of a fan that does not turn; a slow one reads no further
};

// A register after power-on, other than 0.
struct ConfigDefault
{
    std::uint8_t device; // does not count below register 0x30
    std::uint8_t reg;
    std::uint8_t value;
};

struct MonitorDefault
{
    std::uint16_t reg;
    std::uint8_t value;
};

// Limits of the temperatures after power-on, degrees Celsius. Those of voltages and fans are then so wide
// that nothing is out of them.
struct PowerOnLimits
{
    std::int8_t high = 127;
    std::int8_t low = -128;
};

// Says that the watchdog has run out; outlives the reset that follows.
struct TimeoutStatus
{
    enum class Clear
    {
        WriteZero,
        WriteOne,
    };

    std::uint8_t device;
    RegisterBits bit;
    Clear clear;
    std::optional<RegisterBits> enable{}; // of the same device; clear: the time-out is not told here
};

struct WatchdogRows
{
    std::uint8_t device;
    std::optional<RegisterBits> active{}; // counts only while set
    std::uint8_t count;                   // low byte; writing loads the counter
    std::optional<std::uint8_t> countHigh{};
    bool readsRemaining = false; // of the count register; else it reads as written
    RegisterBits unit;
    bool unitBitMeansMinutes = true; // else seconds
    RegisterBits output;             // with none of these set the time-out resets nothing
    std::span<const TimeoutStatus> status;
};

// How the board file describes this chip's sensors.
enum class BoardSensors
{
    ById,          // the Id says the register; values in millivolts at the pin
    ByRegister,    // Register and Width, with Conversion
    ByRawRegister, // Register and Width, without
};

struct SuperIoRows
{
    std::string_view name;   // on the command line
    std::uint16_t id;        // with the revision
    std::uint16_t boardChip; // "Chip" of the board file
    std::uint16_t configPort = 0x2E;
    std::span<const std::uint8_t> enter;
    std::span<const std::uint8_t> exit;
    std::optional<RegisterBits> exitBit{}; // configuration register that also ends configuration mode
    std::uint8_t monitorDevice;
    std::optional<RegisterBits> monitorLock{}; // while set, the monitor's ports do not answer
    std::uint8_t bankSelect = 0;               // 0: no banks
    RegisterBits monitorStart;                 // clear: channels read 0
    int millivoltsPerStep;
    PowerOnLimits temperatureLimits{};
    bool hasHysteresis = false; // a temperature alarm ends below the low limit, which is no alarm in itself
    std::span<const VoltageRow> voltages;
    std::span<const TemperatureRow> temperatures;
    std::span<const FanRow> fans;
    FanCounter fanCounter;
    WatchdogRows watchdog;
    std::span<const ConfigDefault> configDefaults{};   // as the firmware leaves them
    std::span<const MonitorDefault> monitorDefaults{}; // likewise
    BoardSensors boardSensors = BoardSensors::ById;
};

constexpr std::size_t kMaxChannels = 16; // of one kind
constexpr std::size_t kMaxStatusBits = 4;
constexpr std::size_t kMaxDevices = 32;
constexpr std::size_t kMaxBanks = 16;

template <typename Row>
constexpr bool AreChannelsSound(std::span<const Row> rows)
{
    for (std::size_t at = 1; at < rows.size(); ++at)
    {
        if (rows[at - 1].boardId >= rows[at].boardId)
        {
            return false;
        }
    }
    return rows.size() <= kMaxChannels;
}

// Takes a register for a reading; false when it is another's already or beyond the banks.
struct RegisterClaims
{
    std::array<bool, kMaxBanks * 256> taken{};

    constexpr bool Take(std::uint16_t reg)
    {
        const bool isFree = reg < taken.size() && !taken[reg];
        if (isFree)
        {
            taken[reg] = true;
        }
        return isFree;
    }
};

constexpr bool AreReadingsApart(const SuperIoRows& rows)
{
    RegisterClaims claims;
    bool areApart = true;
    for (const VoltageRow& row : rows.voltages)
    {
        areApart = claims.Take(row.value) && areApart;
    }
    for (const TemperatureRow& row : rows.temperatures)
    {
        areApart = claims.Take(row.value) && areApart;
    }
    for (const FanRow& row : rows.fans)
    {
        areApart = claims.Take(row.low) && (!row.high || claims.Take(*row.high)) && areApart;
    }
    return areApart;
}

// What a slip in a new chip's rows would break first: to be asserted at compile time.
constexpr bool AreRowsSound(const SuperIoRows& rows)
{
    return !rows.name.empty() && !rows.enter.empty() && !rows.exit.empty() &&
           rows.monitorDevice < kMaxDevices && rows.watchdog.device < kMaxDevices &&
           rows.watchdog.output.mask != 0 && rows.watchdog.unit.mask != 0 && rows.millivoltsPerStep > 0 &&
           AreChannelsSound(rows.voltages) && AreChannelsSound(rows.temperatures) &&
           AreChannelsSound(rows.fans) && rows.watchdog.status.size() <= kMaxStatusBits &&
           AreReadingsApart(rows);
}
} // namespace sim
