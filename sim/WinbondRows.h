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
