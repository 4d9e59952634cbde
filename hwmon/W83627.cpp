// W83627DHG: fans count ticks, with divisors that software steps up.
#include "hwmon/Chips.h"
#include "hwmon/RegisterChip.h"

namespace
{
constexpr auto kTemperatures = std::to_array<TemperatureRow>({
    {2000, {}, 0x027, 0x454, 0x039, 0x03A},
    {2001, {}, 0x150, 0x455, 0x155, 0x153},
    {2002, {}, 0x250, 0x456, 0x255, 0x253},
});

constexpr auto kFans = std::to_array<DivisorFanRow>({
    {3000, 0x028, 0x03B, {0x047, 0x30, 4}, {0x05D, 0x20, 5}},
    {3001, 0x029, 0x03C, {0x047, 0xC0, 6}, {0x05D, 0x40, 6}},
    {3002, 0x03F, 0x03E, {0x059, 0x03, 0}, {0x04C, 0x80, 7}},
    {3003, 0x02A, 0x03D, {0x04B, 0xC0, 6}, {0x05D, 0x80, 7}},
    {3004, 0x553, 0x55C, {0x059, 0x0C, 2}, {0x059, 0x80, 7}},
});

constexpr RegisterChipMap kMap{
    .voltages = kRegisterVoltages,
    .temperatures = kTemperatures,
    .divisorFans = kFans,
    .alarms = kW83Alarms,
    .watchdog = kRegisterWatchdog,
    .limitsNeedConversion = false,
};
static_assert(RowsAreSound(kMap));

class CW83627 final : public CRegisterChip
{
public:
    explicit CW83627(const ChipContext& context) : CRegisterChip(context, "Winbond LPC I/O W83627DHG", kMap)
    {
    }
};
} // namespace

std::unique_ptr<CSuperIo> CreateW83627(const ChipContext& context, const std::string& /*motherboardVendor*/)
{
    return std::make_unique<CW83627>(context);
}
