// IT8612E. A fourth temperature, and the battery at another place; neither has a status bit.
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
    {1107, 0x2F, 1'524}, // battery, halved
});
} // namespace

constexpr SuperIoRows kIt8612Rows{
    .name = "it8612",
    .id = 0x8612,
    .boardChip = 0x8610,
    .enter = kIteEnter,
    .exit = kIteExit,
    .exitBit = kIteExitBit,
    .monitorDevice = kIteMonitorDevice,
    .monitorStart = kIteMonitorStart,
    .millivoltsPerStep = kIteMillivoltsPerStep,
    .voltages = kVoltages,
    .temperatures = kIteTemperatures,
    .fans = kIteThreeFans,
    .fanCounter = kIteFanCounter,
    .watchdog = kIteWatchdog,
    .configDefaults = kIteConfig,
};
static_assert(AreRowsSound(kIt8612Rows));
} // namespace sim
