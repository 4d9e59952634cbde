// W83677HG. The fans' registers give the speed, the limits still count. Besides the status that follows the
// state it has interrupt status registers, which remember until they are read.
#include "sim/SuperIoChips.h"
#include "sim/WinbondRows.h"

namespace sim
{
namespace
{
constexpr AlarmBits And(AlarmBits live, std::uint16_t reg)
{
    return {.live = live.live, .latched = RegisterBits{reg, live.live->mask}};
}

constexpr auto kVoltages = std::to_array<VoltageRow>({
    {1000, 0x020, 1'016, LimitPair{0x02B, 0x02C}, And(StatusA(0), 0x041)}, // processor core
    {1001, 0x021, 1'000, LimitPair{0x02D, 0x02E}, And(StatusA(1), 0x041)}, // VIN0
    {1002, 0x022, 1'680, LimitPair{0x02F, 0x030}, And(StatusA(2), 0x041)}, // analog supply, halved
    {1003, 0x023, 1'672, LimitPair{0x031, 0x032}, And(StatusA(3), 0x041)}, // 3.3 V, halved
    {1004, 0x024, 1'008, LimitPair{0x033, 0x034}, And(StatusB(0), 0x042)}, // VIN1
    {1005, 0x025, 1'200, LimitPair{0x035, 0x036}, StatusC(5)},             // VIN2
    {1006, 0x026, 1'504, LimitPair{0x037, 0x038}, StatusC(4)},             // VIN3
    {1007, 0x550, 1'688, LimitPair{0x554, 0x555}, And(StatusC(0), 0x450)}, // 3.3 V standby, halved
    {1008, 0x551, 1'520, LimitPair{0x556, 0x557}, And(StatusC(1), 0x450),
     RegisterBits{0x55D, 0x01}}, // battery, halved
});

constexpr auto kTemperatures = std::to_array<TemperatureRow>({
    {2000, 0x027, 34, LimitPair{0x039, 0x03A}, And(StatusA(4), 0x041), TemperatureRow::Source{0x621, 1}},
    {2001, 0x150, 47, LimitPair{0x155, 0x153}, And(StatusA(5), 0x041), TemperatureRow::Source{0x622, 2}},
    {2002, 0x250, 38, LimitPair{0x255, 0x253}, And(StatusB(5), 0x042), TemperatureRow::Source{0x623, 3}},
});

constexpr FanRow::Exponent Divisor(BitField low)
{
    return {.low = low};
}

constexpr auto kFans = std::to_array<FanRow>({
    {3000, 0x656, 0x657, 1'150, FanRow::Limit{.low = 0x03B}, And(StatusA(6), 0x041),
     Divisor({0x506, 0x07, 0})}, // chassis
    {3001, 0x658, 0x659, 2'960, FanRow::Limit{.low = 0x03C}, And(StatusA(7), 0x041),
     Divisor({0x506, 0x70, 4})}, // processor
    {3003, 0x65A, 0x65B, 1'240, FanRow::Limit{.low = 0x03D}, And(StatusB(3), 0x042),
     Divisor({0x507, 0x07, 0})}, // auxiliary 0
    {3004, 0x65C, 0x65D, 1'300}, // auxiliary 1, without limit
});

// The fans' limits count at a divisor of 16, which lets eight bits hold 330 rpm and more.
constexpr auto kMonitor = std::to_array<MonitorDefault>({
    {0x506, 0x44},
    {0x507, 0x04},
    {0x621, 0x01},
    {0x622, 0x02},
    {0x623, 0x03},
});
} // namespace

constexpr SuperIoRows kW83677Rows{
    .name = "w83677hg",
    .id = 0xB473,
    .boardChip = 0xB470,
    .enter = kWinbondEnter,
    .exit = kWinbondExit,
    .monitorDevice = kWinbondMonitorDevice,
    .bankSelect = kWinbondBankSelect,
    .monitorStart = kWinbondMonitorStart,
    .millivoltsPerStep = 8,
    .temperatureLimits = kWinbondTemperatureLimits,
    .hasHysteresis = true,
    .voltages = kVoltages,
    .temperatures = kTemperatures,
    .fans = kFans,
    .fanCounter = {.readsSpeed = true},
    .watchdog = kWinbondWatchdog,
    .configDefaults = kWinbondConfig,
    .monitorDefaults = kMonitor,
};
static_assert(AreRowsSound(kW83677Rows));
} // namespace sim
