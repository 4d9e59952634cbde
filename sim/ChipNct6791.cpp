// NCT6791D. The fans' registers give the speed; one that stands reads as the slowest that 13 bits can count.
// The port window of the monitor is locked until software opens it.
#include "sim/SuperIoChips.h"
#include "sim/WinbondRows.h"

namespace sim
{
namespace
{
constexpr auto kVoltages = std::to_array<VoltageRow>({
    {1000, 0x480, 1'016},                                    // processor core
    {1001, 0x481, 1'000},                                    // VIN1
    {1002, 0x482, 1'680},                                    // analog supply, halved
    {1003, 0x483, 1'672},                                    // 3.3 V, halved
    {1004, 0x484, 1'008},                                    // VIN0
    {1005, 0x487, 1'688},                                    // 3.3 V standby, halved
    {1006, 0x488, 1'520, {}, {}, RegisterBits{0x05D, 0x01}}, // battery, halved
});

constexpr auto kTemperatures = std::to_array<TemperatureRow>({
    {2000, 0x027, 34, {}, {}, TemperatureRow::Source{0x621, 0x01}}, // board
    {2001, 0x150, 47, {}, {}, TemperatureRow::Source{0x622, 0x02}}, // processor
});

constexpr auto kFans = std::to_array<FanRow>({
    {3000, 0x4C0, 0x4C1, 1'150}, // chassis
    {3001, 0x4C2, 0x4C3, 1'820}, // processor
    {3002, 0x4C4, 0x4C5, 0},     // auxiliary 0 to 2
    {3003, 0x4C6, 0x4C7, 1'240},
    {3004, 0x4C8, 0x4C9, 0},
});

constexpr auto kConfig = std::to_array<ConfigDefault>({
    {0, 0x28, 0x10}, // the lock
    {kWinbondMonitorDevice, 0x30, 0x01},
    {kWinbondMonitorDevice, 0x60, 0x02},
    {kWinbondMonitorDevice, 0x61, 0x90},
});

constexpr auto kMonitor = std::to_array<MonitorDefault>({
    {0x621, 0x01},
    {0x622, 0x02},
});
} // namespace

constexpr SuperIoRows kNct6791Rows{
    .name = "nct6791",
    .id = 0xC803,
    .boardChip = 0xC800,
    .enter = kWinbondEnter,
    .exit = kWinbondExit,
    .monitorDevice = kWinbondMonitorDevice,
    .monitorLock = RegisterBits{0x28, 0x10},
    .bankSelect = kWinbondBankSelect,
    .monitorStart = kWinbondMonitorStart,
    .millivoltsPerStep = 8,
    .voltages = kVoltages,
    .temperatures = kTemperatures,
    .fans = kFans,
    .fanCounter = {.readsSpeed = true, .standing = kWinbondStandingFan},
    .watchdog = kWinbondWatchdog,
    .configDefaults = kConfig,
    .monitorDefaults = kMonitor,
    .boardSensors = BoardSensors::ByRegister,
};
static_assert(AreRowsSound(kNct6791Rows));
} // namespace sim
