// NCT6776F / NCT6776D, and the NCT5573D, which answers with the same chip ID: one board vendor fits it, and
// it has no power-management logic to prepare.
#include "frame/Text.h"
#include "hwmon/Chips.h"
#include "hwmon/RegisterChip.h"

namespace
{
constexpr auto kTemperatures = std::to_array<TemperatureRow>({
    {2000, {{0x621, 0x01}}, 0x027, {}, 0x039, 0x03A},
    {2001, {{0x622, 0x02}}, 0x150, {}, 0x155, 0x153},
    {2002, {{0x623, 0x03}}, 0x250, {}, 0x255, 0x253},
    {2003, {{0x624, 0x0C}}, 0x62B, {}, 0x672, 0x673},
    {2004, {{0x625, 0x0E}}, 0x62C, {}, 0x677, 0x678},
});

// Channel 3002 is not brought out.
constexpr auto kFans = std::to_array<SpeedFanRow>({
    {3000, 0x656, 0x657, SpeedFanRow::SplitLimit{0x63A, 0x63B}},
    {3001, 0x658, 0x659, SpeedFanRow::SplitLimit{0x63C, 0x63D}},
    {3003, 0x65A, 0x65B, SpeedFanRow::SplitLimit{0x63E, 0x63F}},
    {3004, 0x65C, 0x65D, SpeedFanRow::SplitLimit{0x640, 0x641}},
    {3005, 0x65E, 0x65F, SpeedFanRow::SplitLimit{0x642, 0x643}},
});

constexpr auto kAlarms = std::to_array<AlarmRow>({
    {1000, AlarmSource::A, 0},         {1001, AlarmSource::A, 1},         {1002, AlarmSource::A, 2},
    {1003, AlarmSource::A, 3},         {1004, AlarmSource::B, 0},         {1005, AlarmSource::C, 5},
    {1006, AlarmSource::C, 4},         {1007, AlarmSource::C, 0},         {1008, AlarmSource::C, 1},
    {2000, AlarmSource::A, 4},         {2001, AlarmSource::A, 5},         {2002, AlarmSource::B, 5},
    {2003, AlarmSource::AtOrAboveMax}, {2004, AlarmSource::AtOrAboveMax}, {3000, AlarmSource::A, 6},
    {3001, AlarmSource::A, 7},         {3003, AlarmSource::B, 3},         {3004, AlarmSource::B, 2},
    {3005, AlarmSource::C, 7},
});

constexpr auto kEnablePme = std::to_array<Step>({
    {Bank::Config, StepKind::SetBits, 0xF7, 0x04},
});

// Goes out while the chip is still outside configuration mode.
constexpr auto kBeforeEntering = std::to_array<Step>({
    {Bank::Config, StepKind::Write, 0x07, 0x0D},
    {Bank::Config, StepKind::SetBits, 0xF7, 0x80},
});

constexpr auto kConfigure = std::to_array<Step>({
    {Bank::Config, StepKind::SetBits, 0x30, 0x01},
    {Bank::Config, StepKind::SetBits, 0xF5, 0x02},
    {Bank::Config, StepKind::WriteTimeout, 0xF6},
    {Bank::Config, StepKind::KeepBits, 0xF7, 0x0F},
});

constexpr auto kConfigureNct5573D = std::to_array<Step>({
    {Bank::Config, StepKind::KeepBits, 0x2B, 0xFB}, // the pin is the watchdog's output
    {Bank::Config, StepKind::SetBits, 0x30, 0x01},
    {Bank::Config, StepKind::SetBits, 0xF5, 0x02},
    {Bank::Config, StepKind::WriteTimeout, 0xF6},
    {Bank::Config, StepKind::KeepBits, 0xF7, 0x0F},
});

constexpr DeviceWatchdogMap kWatchdog{
    .enablePme = kEnablePme,
    .rebootStatus = kRegisterRebootStatus,
    .beforeEntering = kBeforeEntering,
    .configure = kConfigure,
    .ping = kRegisterPingWatchdog,
    .stop = kRegisterStopWatchdog,
    .stopLoop = kRegisterStopLoop,
};

constexpr DeviceWatchdogMap kWatchdogNct5573D{
    .beforeEntering = kBeforeEntering,
    .configure = kConfigureNct5573D,
    .ping = kRegisterPingWatchdog,
    .stop = kRegisterStopWatchdog,
    .stopLoop = kRegisterStopLoop,
};

constexpr RegisterChipMap Map(const DeviceWatchdogMap& watchdog)
{
    return {.voltages = kRegisterVoltages,
            .temperatures = kTemperatures,
            .speedFans = kFans,
            .alarms = kAlarms,
            .watchdog = watchdog,
            .standingFanSpeed = 164};
}

static_assert(RowsAreSound(Map(kWatchdog)));

class CNct6776 final : public CRegisterChip
{
public:
    CNct6776(const ChipContext& context, const char* description, const DeviceWatchdogMap& watchdog)
        : CRegisterChip(context, description, Map(watchdog))
    {
    }
};
} // namespace

std::unique_ptr<CSuperIo> CreateNct6776(const ChipContext& context, const std::string& motherboardVendor)
{
    if (Contains(motherboardVendor, "ASRock"))
    {
        return std::make_unique<CNct6776>(context, "NCT5573D Nuvoton LPC I/O", kWatchdogNct5573D);
    }
    return std::make_unique<CNct6776>(context, "Nuvoton LPC I/O NCT6776F / NCT6776D", kWatchdog);
}
