// Rows that ITE's chips have in common. No banks; voltages in steps of 12 mV; fans count half turns in 16
// bits; a status register remembers until it is read, and a temperature below its low limit is an alarm too.
#pragma once

#include "sim/SuperIoRows.h"

#include <array>

namespace sim
{
constexpr auto kIteEnter = std::to_array<std::uint8_t>({0x87, 0x01, 0x55, 0x55});
// Software that takes register 0x02 for a key leaves by this; by the book it is bit 1 of that register.
constexpr auto kIteExit = std::to_array<std::uint8_t>({0x02, 0x02});
constexpr RegisterBits kIteExitBit{0x02, 0x02};

constexpr std::uint8_t kIteMonitorDevice = 0x04;
constexpr std::uint8_t kIteGpioDevice = 0x07; // and watchdog
constexpr RegisterBits kIteMonitorStart{0x00, 0x01};
constexpr int kIteMillivoltsPerStep = 12;
constexpr FanCounter kIteFanCounter{.standing = 0xFFFF};

constexpr std::uint8_t IteBit(int bit)
{
    return static_cast<std::uint8_t>(1U << static_cast<unsigned>(bit));
}
constexpr AlarmBits IteFanStatus(int bit)
{
    return {.latched = RegisterBits{0x01, IteBit(bit)}};
}
constexpr AlarmBits IteVoltageStatus(int bit)
{
    return {.latched = RegisterBits{0x02, IteBit(bit)}};
}
constexpr AlarmBits IteTemperatureStatus(int bit)
{
    return {.latched = RegisterBits{0x03, IteBit(bit)}};
}

// Input `input`, behind the register 0x20 + input, is channel `channel`.
constexpr VoltageRow IteVoltage(int channel, int input, int restMillivolts)
{
    return {.boardId = 1100 + channel,
            .value = static_cast<std::uint16_t>(0x20 + input),
            .restMillivolts = restMillivolts,
            .limits = LimitPair{static_cast<std::uint16_t>(0x30 + 2 * channel),
                                static_cast<std::uint16_t>(0x31 + 2 * channel)},
            .alarm = IteVoltageStatus(channel),
            .enable = RegisterBits{0x50, IteBit(input)}};
}

// Tachometer input `input`, from 1, as channel `channel`.
constexpr FanRow IteFan(int channel, int input, int restRpm)
{
    const auto reg = [input](int first) { return static_cast<std::uint16_t>(first + input - 1); };
    return {.boardId = 3100 + channel,
            .high = reg(0x18),
            .low = reg(0x0D),
            .restRpm = restRpm,
            .limit = FanRow::Limit{.high = reg(0x1B), .low = reg(0x10)},
            .alarm = IteFanStatus(input - 1),
            .exponent = {.fixed = 1},
            .enable = RegisterBits{0x13, IteBit(3 + input)}};
}

constexpr auto kIteTemperatures = std::to_array<TemperatureRow>({
    {2100, 0x29, 47, LimitPair{0x40, 0x41}, IteTemperatureStatus(0)}, // processor
    {2101, 0x2A, 34, LimitPair{0x42, 0x43}, IteTemperatureStatus(1)}, // board
    {2102, 0x2B, 38, LimitPair{0x44, 0x45}, IteTemperatureStatus(2)}, // auxiliary
    {2103, 0x2C, 41, LimitPair{0x46, 0x47}},                          // IT8612E only
});
constexpr std::span<const TemperatureRow> kIteThreeTemperatures{kIteTemperatures.data(), 3};

constexpr auto kIteThreeFans = std::to_array<FanRow>({
    IteFan(0, 1, 2'960), // processor
    IteFan(1, 2, 1'150), // chassis
    IteFan(2, 3, 1'240),
});

constexpr auto kIteTimeoutStatus = std::to_array<TimeoutStatus>({
    {kIteGpioDevice, {0x71, 0x01}, TimeoutStatus::Clear::WriteZero},
});

// The output is the keyboard controller's reset line or the power-good line.
constexpr WatchdogRows kIteWatchdog{
    .device = kIteGpioDevice,
    .count = 0x73,
    .countHigh = 0x74,
    .unit = {0x72, 0x80},
    .unitBitMeansMinutes = false,
    .output = {0x72, 0x50},
    .status = kIteTimeoutStatus,
};

constexpr auto kIteConfig = std::to_array<ConfigDefault>({
    {kIteMonitorDevice, 0x60, 0x0A},
    {kIteMonitorDevice, 0x61, 0x30},
});
} // namespace sim
