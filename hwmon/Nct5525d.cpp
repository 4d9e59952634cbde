// NCT5525D: readings are taken as they are; the monitor needs no programming. Arming leaves the counter to
// the first ping.
#include "hwmon/Chips.h"
#include "hwmon/SoftwareChip.h"

#include <array>

namespace
{
constexpr std::uint8_t kBankSelectRegister = 0x4E;
constexpr std::uint8_t kPmeDevice = 0x0A;
constexpr std::uint8_t kWatchdogDevice = 0x08;
constexpr std::uint8_t kHwMonitorDevice = 0x0B;

constexpr auto kEnablePme = std::to_array<Step>({
    {Bank::Config, StepKind::SetBits, 0xE7, 0x08},
});

constexpr auto kConfigure = std::to_array<Step>({
    {Bank::Config, StepKind::Write, 0x30, 0x01},
    {Bank::Config, StepKind::Write, 0xF0, 0x02}, // counts seconds
});

constexpr auto kPing = std::to_array<Step>({
    {Bank::Config, StepKind::WriteTimeout, 0xF1},
});

constexpr auto kStop = std::to_array<Step>({
    {Bank::Config, StepKind::Write, 0xF1, 0x00},
});

constexpr SoftwareChipMap kMap{
    .hwMonitor = kHwMonitorDevice,
    .value = SoftwareValue::Raw,
    .tellsUnconfigured = true,
    .honoursIgnore = true,
    .tracesNewRange = true,
    .enablePme = {.device = kPmeDevice, .steps = kEnablePme},
    .rebootStatusDevice = kWatchdogDevice,
    .rebootStatus = {.reg = 0xF2, .bit = 0x10, .cleared = 0x10},
    .configure = {.device = kWatchdogDevice, .steps = kConfigure},
    .ping = {.device = kWatchdogDevice, .steps = kPing},
    .stop = {.device = kWatchdogDevice, .steps = kStop},
};

class CNCT5525D final : public CSoftwareChip
{
public:
    explicit CNCT5525D(const ChipContext& context) : CSoftwareChip(context, "Nuvoton NCT5525D", kMap)
    {
        m_bankSelectRegister = kBankSelectRegister;
        m_zeroSuppression = false;
    }
};
} // namespace

std::unique_ptr<CSuperIo> CreateNct5525d(const ChipContext& context, const std::string& /*motherboardVendor*/)
{
    return std::make_unique<CNCT5525D>(context);
}
