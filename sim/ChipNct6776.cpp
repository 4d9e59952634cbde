// NCT6776F / NCT6776D, also sold as NCT5573D. Five temperature channels, each reading the source that a
// register chooses; fan limits count in 13 bits.
#include "sim/SuperIoChips.h"
#include "sim/WinbondRows.h"

namespace sim
{
namespace
{
using Source = TemperatureRow::Source;

constexpr auto kTemperatures = std::to_array<TemperatureRow>({
    {2000, 0x027, 34, LimitPair{0x039, 0x03A}, StatusA(4), Source{0x621, 0x01}}, // board
    {2001, 0x150, 47, LimitPair{0x155, 0x153}, StatusA(5), Source{0x622, 0x02}}, // processor
    {2002, 0x250, 38, LimitPair{0x255, 0x253}, StatusB(5), Source{0x623, 0x03}}, // auxiliary
    {2003, 0x62B, 51, LimitPair{0x672, 0x673}, {}, Source{0x624, 0x0C}},         // chipset
    {2004, 0x62C, 43, LimitPair{0x677, 0x678}, {}, Source{0x625, 0x0E}},         // memory
});

constexpr FanRow::Limit Bits13(std::uint16_t high, std::uint16_t low)
{
    return {.high = high, .low = low, .lowWidth = 5};
}

constexpr auto kFans = std::to_array<FanRow>({
    {3000, 0x656, 0x657, 1'150, Bits13(0x63A, 0x63B), StatusA(6)}, // chassis
    {3001, 0x658, 0x659, 2'960, Bits13(0x63C, 0x63D), StatusA(7)}, // processor
    {3003, 0x65A, 0x65B, 1'240, Bits13(0x63E, 0x63F), StatusB(3)}, // auxiliary 0 to 2
    {3004, 0x65C, 0x65D, 1'300, Bits13(0x640, 0x641), StatusB(2)},
    {3005, 0x65E, 0x65F, 5'600, Bits13(0x642, 0x643), StatusC(7)},
});

// 0x624 and 0x625 choose no source yet.
constexpr auto kMonitor = std::to_array<MonitorDefault>({
    {0x621, 0x01},
    {0x622, 0x02},
    {0x623, 0x03},
});
} // namespace

constexpr SuperIoRows kNct6776Rows{
    .name = "nct6776",
    .id = 0xC333,
    .boardChip = 0xC330,
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
    .fanCounter = {.readsSpeed = true, .standing = kWinbondStandingFan},
    .watchdog = kWinbondWatchdog,
    .configDefaults = kWinbondConfig,
    .monitorDefaults = kMonitor,
};
static_assert(AreRowsSound(kNct6776Rows));
} // namespace sim
