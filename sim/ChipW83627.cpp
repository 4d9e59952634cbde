// W83627DHG. Fans count in eight bits, over divisors that are spread over four registers.
#include "sim/SuperIoChips.h"
#include "sim/WinbondRows.h"

namespace sim
{
namespace
{
constexpr auto kTemperatures = std::to_array<TemperatureRow>({
    {2000, 0x027, 34, LimitPair{0x039, 0x03A}, StatusA(4)}, // board
    {2001, 0x150, 47, LimitPair{0x155, 0x153}, StatusA(5)}, // processor
    {2002, 0x250, 38, LimitPair{0x255, 0x253}, StatusB(5)}, // auxiliary
});

constexpr FanRow::Exponent Divisor(BitField low, BitField high)
{
    return {.low = low, .high = high};
}

constexpr auto kFans = std::to_array<FanRow>({
    {3000,
     {},
     0x028,
     1'150,
     FanRow::Limit{.low = 0x03B},
     StatusA(6),
     Divisor({0x047, 0x30, 4}, {0x05D, 0x20, 5})}, // chassis
    {3001,
     {},
     0x029,
     2'960,
     FanRow::Limit{.low = 0x03C},
     StatusA(7),
     Divisor({0x047, 0xC0, 6}, {0x05D, 0x40, 6})}, // processor
    {3002,
     {},
     0x03F,
     1'300,
     FanRow::Limit{.low = 0x03E},
     {},
     Divisor({0x059, 0x03, 0}, {0x04C, 0x80, 7})}, // auxiliary 1, without a status bit
    {3003,
     {},
     0x02A,
     1'240,
     FanRow::Limit{.low = 0x03D},
     StatusB(3),
     Divisor({0x04B, 0xC0, 6}, {0x05D, 0x80, 7})}, // auxiliary 0
    {3004,
     {},
     0x553,
     5'600,
     FanRow::Limit{.low = 0x55C},
     StatusC(7),
     Divisor({0x059, 0x0C, 2}, {0x059, 0x80, 7})}, // chassis 1
});

// All fans are divided by 8, so that a limit of 662 rpm and more fits eight bits.
constexpr auto kMonitor = std::to_array<MonitorDefault>({
    {0x047, 0xF0},
    {0x04B, 0xC0},
    {0x059, 0x0F},
});
} // namespace

constexpr SuperIoRows kW83627Rows{
    .name = "w83627dhg",
    .id = 0xA023,
    .boardChip = 0xA020,
    .enter = kWinbondEnter,
    .exit = kWinbondExit,
    .monitorDevice = kWinbondMonitorDevice,
    .bankSelect = kWinbondBankSelect,
    .monitorStart = kWinbondMonitorStart,
    .millivoltsPerStep = 8,
    .temperatureLimits = kWinbondTemperatureLimits,
    .hasHysteresis = true,
    .voltages = kWinbondVoltages,
    .temperatures = kTemperatures,
    .fans = kFans,
    .fanCounter = {.standing = 0xFF},
    .watchdog = kWinbondWatchdog,
    .configDefaults = kWinbondConfig,
    .monitorDefaults = kMonitor,
};
static_assert(AreRowsSound(kW83627Rows));
} // namespace sim
