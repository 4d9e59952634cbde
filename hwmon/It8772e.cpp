// IT8772E: two fans, eight voltages with limit registers.
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
    {1106, 0x27, {{0x3C, 0x3D}}},
    {1107, 0x28, {{0x3E, 0x3F}}},
});

constexpr auto kFans = std::to_array<IteFanRow>({
    {3100, 0x0E, 0x19, 0x11, 0x1C},
    {3101, 0x0F, 0x1A, 0x12, 0x1D},
});

constexpr auto kAlarms = std::to_array<AlarmRow>({
    {1100, AlarmSource::B, 0},
    {1101, AlarmSource::B, 1},
    {1102, AlarmSource::B, 2},
    {1103, AlarmSource::B, 3},
    {1104, AlarmSource::B, 4},
    {1105, AlarmSource::B, 5},
    {1106, AlarmSource::B, 6},
    {1107, AlarmSource::B, 7},
    {2100, AlarmSource::C, 0},
    {2101, AlarmSource::C, 1},
    {2102, AlarmSource::C, 2},
    {3100, AlarmSource::A, 1},
    {3101, AlarmSource::A, 2},
});

constexpr std::uint8_t kStartBits = 0x01;

constexpr auto kStart = std::to_array<Step>({
    {Bank::Config, StepKind::Write, 0x30, 0x01},
    {Bank::Monitor, StepKind::SetBits, 0x00, kStartBits}, // monitoring on
    {Bank::Monitor, StepKind::Write, 0x50, 0xFF},         // voltage channels
    {Bank::Monitor, StepKind::Write, 0x51, 0xFC},         // temperature channels
    {Bank::Monitor, StepKind::Write, 0x0C, 0x00},         // fan counters
    {Bank::Monitor, StepKind::SetBits, 0x13, 0x60},       // tachometers of fans 2 and 3 on
});

constexpr auto kConfigure = std::to_array<Step>({
    {Bank::Config, StepKind::Write, 0x71, 0x00},
    {Bank::Config, StepKind::Write, 0x72, 0xC0},
    {Bank::Config, StepKind::WriteTimeout, 0x73},
    {Bank::Config, StepKind::Write, 0x74, 0x00},
});

constexpr IteChipMap kMap{
    .voltages = kVoltages,
    .temperatures = kIteThreeTemperatures,
    .fans = kFans,
    .alarms = kAlarms,
    .start = kStart,
    .startBits = kStartBits,
    .watchdog =
        {
            .configure = kConfigure,
            .ping = kItePingWatchdog,
            .stop = kIteStopWatchdog,
            .stopLoop = kIteStopLoop,
        },
};
static_assert(RowsAreSound(kMap));

class CIT8772E final : public CIteChip
{
public:
    explicit CIT8772E(const ChipContext& context) : CIteChip(context, "ITE Tech IT8772E EC-LPC I/O", kMap) {}
};
} // namespace

std::unique_ptr<CSuperIo> CreateIt8772e(const ChipContext& context, const std::string& /*motherboardVendor*/)
{
    return std::make_unique<CIT8772E>(context);
}
