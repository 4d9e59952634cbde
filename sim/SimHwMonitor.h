// The hardware monitor of a simulated Super I/O chip: the registers behind its index and data port, whose
// readings follow the physical values and whose alarm bits follow the limits written.
#pragma once

#include "sim/SimTime.h"
#include "sim/SuperIoRows.h"

#include <array>
#include <cstdint>

namespace sim
{
enum class Quantity
{
    Voltage,     // millivolts at the chip's pin
    Temperature, // degrees Celsius
    Fan,         // revolutions per minute
};

// Not locked: the chip's flag guards it. Nothing here allocates, because accesses come from a signal handler.
class CSimHwMonitor
{
public:
    // `rows` is kept.
    explicit CSimHwMonitor(const SuperIoRows& rows);

    // Registers as the firmware leaves them. Physical values stay.
    void PowerOn();

    [[nodiscard]] std::uint8_t ReadIndex() const { return m_index; }
    void WriteIndex(std::uint8_t value) { m_index = value; }
    std::uint8_t ReadData(SimTime now);
    void WriteData(std::uint8_t value);

    // Moves a physical value evenly, within `length`. Pre: the chip has channel `number`, from 1.
    void SetValue(Quantity quantity, int number, int value, SimTime length, SimTime now);

private:
    // A physical value and the state of its alarm. One that the scenario has not moved wanders a little.
    struct Channel
    {
        int from = 0;
        int to = 0;
        SimTime start{0};
        SimTime length{0};
        int wander = 0;       // greatest step away from rest
        bool isFitted = true; // a fan: whether one is plugged in
        bool isOut = false;
        bool isLatched = false;
    };
    using Channels = std::array<Channel, kMaxChannels>;

    void WidenLimits();
    static int ValueAt(const Channel& channel, std::size_t number, SimTime now);
    Channels& ChannelsOf(Quantity quantity);

    [[nodiscard]] std::uint8_t Register(std::uint16_t reg) const;
    [[nodiscard]] bool IsSet(RegisterBits bits) const { return (Register(bits.reg) & bits.mask) != 0; }
    [[nodiscard]] bool IsConverted(const std::optional<RegisterBits>& enable) const;
    [[nodiscard]] std::uint16_t CurrentRegister() const;

    [[nodiscard]] std::uint8_t VoltageReading(std::size_t at, SimTime now) const;
    [[nodiscard]] std::uint8_t TemperatureReading(const TemperatureRow& row, SimTime now) const;
    [[nodiscard]] std::uint16_t FanReading(std::size_t at, SimTime now) const;
    [[nodiscard]] int FanTicks(std::size_t at, int fullScale, SimTime now) const;
    [[nodiscard]] std::uint8_t ReadRegister(std::uint16_t reg, SimTime now) const;

    // Whether a channel is out of its limits now.
    [[nodiscard]] bool IsVoltageOut(std::size_t at, SimTime now) const;
    [[nodiscard]] bool IsTemperatureOut(std::size_t at, SimTime now) const;
    [[nodiscard]] bool IsFanOut(std::size_t at, SimTime now) const;
    void CompareWithLimits(SimTime now);
    std::uint8_t AlarmBitsIn(std::uint16_t reg, std::uint8_t stored);

    const SuperIoRows& m_rows;
    std::array<std::uint8_t, kMaxBanks * 256> m_registers{};
    std::uint8_t m_index = 0;
    std::uint8_t m_bank = 0;
    Channels m_voltages{};
    Channels m_temperatures{};
    Channels m_fans{};
};
} // namespace sim
