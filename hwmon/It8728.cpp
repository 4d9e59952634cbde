// IT8728E: three fans; voltage 1107 has no limit registers.
#include "hwmon/Chips.h"
#include "hwmon/IteChip.h"

namespace
{
constexpr auto kVoltages = std::to_array<IteVoltageRow>({
    {1100, 0x20, {{0x30, 0x31}}},
    {1101, 0x21, {{0x32, 0x33}}},
    {1102, 0x22, {{0x34, 0x35}}},
    {1103, 0x23, {{0x36, 0x37}}},
    {1104, 0x24, {{0x38, 0x39}}},
    {1105, 0x25, {{0x3A, 0x3B}}},
    {1106, 0x26, {{0x3C, 0x3D}}},
    {1107, 0x28, {}},
});

constexpr std::uint8_t kStartBits = 0x41;

constexpr auto kStart = std::to_array<Step>({
    {Bank::Config, StepKind::Write, 0x30, 0x01},
    {Bank::Monitor, StepKind::SetBits, 0x00, kStartBits}, // monitoring on
    {Bank::Monitor, StepKind::Write, 0x50, 0xFF},         // voltage channels
    {Bank::Monitor, StepKind::Write, 0x51, 0x38},         // temperature channels
    {Bank::Monitor, StepKind::KeepBits, 0x0C, 0x37},      // fan counters
    {Bank::Monitor, StepKind::SetBits, 0x13, 0x70},       // tachometers of fans 1 to 3 on
});

constexpr IteChipMap kMap{
    .voltages = kVoltages,
    .temperatures = kIteThreeTemperatures,
    .fans = kIteThreeFans,
    .alarms = kIteThreeFansAlarms,
    .start = kStart,
    .startBits = kStartBits,
    .watchdog = kIteWatchdog,
};
static_assert(RowsAreSound(kMap));

class CIT8728 final : public CIteChip
{
public:
    explicit CIT8728(const ChipContext& context) : CIteChip(context, "ITE Tech IT8728 EC-LPC I/O", kMap) {}
};
} // namespace

std::unique_ptr<CSuperIo> CreateIt8728(const ChipContext& context, const std::string& /*motherboardVendor*/)
{
    return std::make_unique<CIT8728>(context);
}
