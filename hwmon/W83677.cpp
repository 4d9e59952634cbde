// W83676HG-I / W83677HG: fans as speeds; its alarm status is not to be believed until the first round of
// measurements is through.
#include "frame/Log.h"
#include "hwmon/Chips.h"
#include "hwmon/RegisterChip.h"

#include <atomic>

namespace
{
constexpr auto kTemperatures = std::to_array<TemperatureRow>({
    {2000, {{0x621, 0x01}}, 0x027, 0x454, 0x039, 0x03A},
    {2001, {{0x622, 0x02}}, 0x150, 0x455, 0x155, 0x153},
    {2002, {{0x623, 0x03}}, 0x250, 0x456, 0x255, 0x253},
});

// Channel 3002 is not brought out.
constexpr auto kFans = std::to_array<SpeedFanRow>({
    {3000, 0x656, 0x657, SpeedFanRow::DividedLimit{0x03B, 0x506, 0}},
    {3001, 0x658, 0x659, SpeedFanRow::DividedLimit{0x03C, 0x506, 4}},
    {3003, 0x65A, 0x65B, SpeedFanRow::DividedLimit{0x03D, 0x507, 0}},
    {3004, 0x65C, 0x65D},
});

constexpr RegisterChipMap kMap{
    .voltages = kRegisterVoltages,
    .temperatures = kTemperatures,
    .speedFans = kFans,
    .alarms = kW83AlarmsWithout3004,
    .watchdog = kRegisterWatchdog,
};
static_assert(RowsAreSound(kMap));

// Interrupt status, and which of its bits are alarms that are still settling.
constexpr std::uint16_t kInterruptStatus1 = 0x041;
constexpr std::uint16_t kInterruptStatus2 = 0x042;
constexpr std::uint8_t kInterruptStatus2Mask = 0x2F;
constexpr std::uint16_t kInterruptStatus3 = 0x450;
constexpr std::uint8_t kInterruptStatus3Mask = 0x03;
constexpr std::uint16_t kInterruptStatus4 = 0x045; // told, not counted

class CW83677 final : public CRegisterChip
{
public:
    explicit CW83677(const ChipContext& context)
        : CRegisterChip(context, "Nuvoton LPC I/O W83676HG-I / W83677HG", kMap)
    {
    }

private:
    bool IsAlarmStatusValid() override;

    bool m_initialStatusPending = true;
};

bool CW83677::IsAlarmStatusValid()
{
    if (!m_initialStatusPending)
    {
        return true;
    }
    const std::uint8_t status1 = ReadHwmRegister(kInterruptStatus1);
    const std::uint8_t status2 = ReadHwmRegister(kInterruptStatus2);
    const std::uint8_t status3 = ReadHwmRegister(kInterruptStatus3);
    const std::uint8_t status4 = ReadHwmRegister(kInterruptStatus4);
    m_initialStatusPending =
        (status1 | (status2 & kInterruptStatus2Mask) | (status3 & kInterruptStatus3Mask)) != 0;
    static std::atomic<bool> told = false; // once for the process, whatever chip object asks
    if (m_initialStatusPending && !told.exchange(true))
    {
        Log(LogInfo, "SENSORS: Delaying initial status: %02X %02X %02X %02X", unsigned{status1},
            unsigned{status2}, unsigned{status3}, unsigned{status4});
    }
    return !m_initialStatusPending;
}
} // namespace

std::unique_ptr<CSuperIo> CreateW83677(const ChipContext& context, const std::string& /*motherboardVendor*/)
{
    return std::make_unique<CW83677>(context);
}
