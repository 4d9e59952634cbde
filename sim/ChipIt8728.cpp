// IT8728F. The last voltage, the battery, has neither limits nor status.
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
    IteVoltage(6, 6, 1'200),
    {1107, 0x28, 1'524}, // battery, halved
});
} // namespace

constexpr SuperIoRows kIt8728Rows{
    .name = "it8728",
    .id = 0x8728,
    .boardChip = 0x8728,
    .enter = kIteEnter,
    .exit = kIteExit,
    .exitBit = kIteExitBit,
    .monitorDevice = kIteMonitorDevice,
    .monitorStart = kIteMonitorStart,
    .millivoltsPerStep = kIteMillivoltsPerStep,
    .voltages = kVoltages,
    .temperatures = kIteThreeTemperatures,
    .fans = kIteThreeFans,
    .fanCounter = kIteFanCounter,
    .watchdog = kIteWatchdog,
    .configDefaults = kIteConfig,
};
static_assert(AreRowsSound(kIt8728Rows));
} // namespace sim
