// IT8772E. Voltage input 6 is not brought out, nor is tachometer 1.
#include "sim/IteRows.h"
#include "sim/SuperIoChips.h"

namespace sim
{
namespace
{
constexpr auto kVoltages = std::to_array<VoltageRow>({
    IteVoltage(0, 0, 1'020), // processor core
    IteVoltage(1, 1, 1'500), // memory
    IteVoltage(2, 2, 1'680), // 3.3 V, halved
    IteVoltage(3, 3, 2'040), // 5 V, divided
    IteVoltage(4, 4, 2'016), // 12 V, divided
    IteVoltage(5, 5, 1'044),
    IteVoltage(6, 7, 1'668),                                         // 3.3 V standby, halved
    {1107, 0x28, 1'524, LimitPair{0x3E, 0x3F}, IteVoltageStatus(7)}, // battery, halved
});

constexpr auto kFans = std::to_array<FanRow>({
    IteFan(0, 2, 2'960), // processor
    IteFan(1, 3, 1'150), // chassis
});
} // namespace

constexpr SuperIoRows kIt8772Rows{
    .name = "it8772e",
    .id = 0x8772,
    .boardChip = 0x8770,
    .enter = kIteEnter,
    .exit = kIteExit,
    .exitBit = kIteExitBit,
    .monitorDevice = kIteMonitorDevice,
    .monitorStart = kIteMonitorStart,
    .millivoltsPerStep = kIteMillivoltsPerStep,
    .voltages = kVoltages,
    .temperatures = kIteThreeTemperatures,
    .fans = kFans,
    .fanCounter = kIteFanCounter,
    .watchdog = kIteWatchdog,
    .configDefaults = kIteConfig,
};
static_assert(AreRowsSound(kIt8772Rows));
} // namespace sim
