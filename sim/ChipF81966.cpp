// F81966/A. No banks; fans count in twelve bits at 1.5 MHz; one control register arms the watchdog and tells
// of its time-out.
#include "sim/SuperIoChips.h"
#include "sim/WinbondRows.h"

namespace sim
{
namespace
{
constexpr std::uint8_t kMonitorDevice = 0x04;
constexpr std::uint8_t kWatchdogDevice = 0x07;

constexpr auto kVoltages = std::to_array<VoltageRow>({
    {1000, 0x20, 1'672}, // 3.3 V, halved
    {1001, 0x21, 1'016}, // processor core
    {1002, 0x22, 1'008},
    {1003, 0x23, 1'200},
    {1004, 0x27, 1'688}, // 3.3 V standby, halved
    {1005, 0x28, 1'520}, // battery, halved
});

constexpr auto kTemperatures = std::to_array<TemperatureRow>({
    {2000, 0x72, 47}, // processor
    {2001, 0x74, 34}, // board
    {2002, 0x76, 38},
});

constexpr auto kFans = std::to_array<FanRow>({
    {3000, 0xA0, 0xA1, 2'960}, // processor
    {3001, 0xB0, 0xB1, 1'150}, // chassis
    {3002, 0xC0, 0xC1, 1'240},
});

constexpr auto kTimeoutStatus = std::to_array<TimeoutStatus>({
    {kWatchdogDevice, {0xF5, 0x40}, TimeoutStatus::Clear::WriteOne},
});

constexpr auto kConfig = std::to_array<ConfigDefault>({
    {kMonitorDevice, 0x60, 0x02},
    {kMonitorDevice, 0x61, 0x90},
});

constexpr auto kMonitor = std::to_array<MonitorDefault>({
    {0x01, 0x03}, // temperatures, voltages and fans are measured from power-on
});
} // namespace

constexpr SuperIoRows kF81966Rows{
    .name = "f81966a",
    .id = 0x1502,
    .boardChip = 0x1500,
    .configPort = 0x4E,
    .enter = kWinbondEnter, // the same keys
    .exit = kWinbondExit,
    .monitorDevice = kMonitorDevice,
    .monitorStart = {0x01, 0x03},
    .millivoltsPerStep = 8,
    .voltages = kVoltages,
    .temperatures = kTemperatures,
    .fans = kFans,
    .fanCounter = {.ticksPerMinute = 1'500'000, .standing = 0x0FFF},
    .watchdog = {.device = kWatchdogDevice,
                 .active = RegisterBits{0xF5, 0x20},
                 .count = 0xF6,
                 .unit = {0xF5, 0x08},
                 .output = {0xFA, 0x01},
                 .status = kTimeoutStatus},
    .configDefaults = kConfig,
    .monitorDefaults = kMonitor,
    .boardSensors = BoardSensors::ByRegister,
};
static_assert(AreRowsSound(kF81966Rows));
} // namespace sim
