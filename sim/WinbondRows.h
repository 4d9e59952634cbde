// Rows that Winbond's and Nuvoton's chips have in common.
#pragma once

#include "sim/SuperIoRows.h"

#include <array>

namespace sim
{
constexpr auto kWinbondEnter = std::to_array<std::uint8_t>({0x87, 0x87});
constexpr auto kWinbondExit = std::to_array<std::uint8_t>({0xAA});

constexpr std::uint8_t kWinbondMonitorDevice = 0x0B;
constexpr std::uint8_t kWinbondPowerDevice = 0x0A;    // power-management events
constexpr std::uint8_t kWinbondWatchdogDevice = 0x08; // and general-purpose pins
constexpr std::uint8_t kWinbondBankSelect = 0x4E;
constexpr RegisterBits kWinbondMonitorStart{0x040, 0x01};

// What 13 bits can count no further than, as a speed.
constexpr std::uint16_t kWinbondStandingFan = 164;
constexpr PowerOnLimits kWinbondTemperatureLimits{80, 75};

// The three status registers that follow the state.
constexpr AlarmBits StatusA(int bit)
{
    return {.live = RegisterBits{0x459, static_cast<std::uint8_t>(1U << static_cast<unsigned>(bit))}};
}
constexpr AlarmBits StatusB(int bit)
{
    return {.live = RegisterBits{0x45A, static_cast<std::uint8_t>(1U << static_cast<unsigned>(bit))}};
}
constexpr AlarmBits StatusC(int bit)
{
    return {.live = RegisterBits{0x45B, static_cast<std::uint8_t>(1U << static_cast<unsigned>(bit))}};
}

// The battery is converted only on demand.
constexpr auto kWinbondVoltages = std::to_array<VoltageRow>({
    {1000, 0x020, 1'016, LimitPair{0x02B, 0x02C}, StatusA(0)}, // processor core
    {1001, 0x021, 1'000, LimitPair{0x02D, 0x02E}, StatusA(1)}, // VIN0
    {1002, 0x022, 1'680, LimitPair{0x02F, 0x030}, StatusA(2)}, // analog supply, halved
    {1003, 0x023, 1'672, LimitPair{0x031, 0x032}, StatusA(3)}, // 3.3 V, halved
    {1004, 0x024, 1'008, LimitPair{0x033, 0x034}, StatusB(0)}, // VIN1
    {1005, 0x025, 1'200, LimitPair{0x035, 0x036}, StatusC(5)}, // VIN2
    {1006, 0x026, 1'504, LimitPair{0x037, 0x038}, StatusC(4)}, // VIN3
    {1007, 0x550, 1'688, LimitPair{0x554, 0x555}, StatusC(0)}, // 3.3 V standby, halved
    {1008, 0x551, 1'520, LimitPair{0x556, 0x557}, StatusC(1), RegisterBits{0x55D, 0x01}}, // battery, halved
});

// The firmware gives the monitor its address and leaves switching it on to whoever wants readings.
constexpr auto kWinbondConfig = std::to_array<ConfigDefault>({
    {kWinbondMonitorDevice, 0x60, 0x02},
    {kWinbondMonitorDevice, 0x61, 0x90},
});

// 0xF4 of the power device tells that the time-out was the event, if its bit of 0xF7 lets it through.
constexpr auto kWinbondTimeoutStatus = std::to_array<TimeoutStatus>({
    {kWinbondWatchdogDevice, {0xF7, 0x10}, TimeoutStatus::Clear::WriteZero},
    {kWinbondPowerDevice, {0xF4, 0x04}, TimeoutStatus::Clear::WriteOne, RegisterBits{0xF7, 0x04}},
});

constexpr WatchdogRows kWinbondWatchdog{
    .device = kWinbondWatchdogDevice,
    .active = RegisterBits{0x30, 0x01},
    .count = 0xF6,
    .readsRemaining = true,
    .unit = {0xF5, 0x08},
    .output = {0xF5, 0x02}, // pulls the keyboard controller's reset line
    .status = kWinbondTimeoutStatus,
};
} // namespace sim
