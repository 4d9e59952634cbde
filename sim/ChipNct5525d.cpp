// NCT5525D. Its firmware has the monitor running. The board file names the registers, so their places here
// are those of the maker's other chips; limits are left out, because no software on this board uses them.
#include "sim/SuperIoChips.h"
#include "sim/WinbondRows.h"

namespace sim
{
namespace
{
constexpr auto kVoltages = std::to_array<VoltageRow>({
    {1000, 0x480, 1'016}, // processor core
    {1001, 0x481, 1'000},
    {1002, 0x483, 1'672}, // 3.3 V, halved
});

constexpr auto kTemperatures = std::to_array<TemperatureRow>({
    {2000, 0x027, 34}, // board
    {2001, 0x150, 47}, // processor
});

constexpr auto kFans = std::to_array<FanRow>({
    {3000, 0x4C0, 0x4C1, 1'150}, // chassis
    {3001, 0x4C2, 0x4C3, 2'960}, // processor
});

constexpr auto kTimeoutStatus = std::to_array<TimeoutStatus>({
    {kWinbondWatchdogDevice, {0xF2, 0x10}, TimeoutStatus::Clear::WriteZero},
});

constexpr auto kConfig = std::to_array<ConfigDefault>({
    {kWinbondMonitorDevice, 0x30, 0x01},
    {kWinbondMonitorDevice, 0x60, 0x0A},
    {kWinbondMonitorDevice, 0x61, 0x20},
});

constexpr auto kMonitor = std::to_array<MonitorDefault>({
    {0x040, 0x01},
});
} // namespace

constexpr SuperIoRows kNct5525Rows{
    .name = "nct5525d",
    .id = 0xD2B1,
    .boardChip = 0xD2B0,
    .configPort = 0x4E,
    .enter = kWinbondEnter,
    .exit = kWinbondExit,
    .monitorDevice = kWinbondMonitorDevice,
    .bankSelect = kWinbondBankSelect,
    .monitorStart = kWinbondMonitorStart,
    .millivoltsPerStep = 8,
    .voltages = kVoltages,
    .temperatures = kTemperatures,
    .fans = kFans,
    .fanCounter = {.readsSpeed = true},
    .watchdog = {.device = kWinbondWatchdogDevice,
                 .active = RegisterBits{0x30, 0x01},
                 .count = 0xF1,
                 .readsRemaining = true,
                 .unit = {0xF0, 0x08},
                 .output = {0xF0, 0x02},
                 .status = kTimeoutStatus},
    .configDefaults = kConfig,
    .monitorDefaults = kMonitor,
    .boardSensors = BoardSensors::ByRawRegister,
};
static_assert(AreRowsSound(kNct5525Rows));
} // namespace sim
