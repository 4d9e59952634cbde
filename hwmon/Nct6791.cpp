// NCT6791D: fans may be missing or show a special value, and the monitor reads as all ones while it is not
// ready. Two watchdog registers hold bits that belong to the board.
#include "frame/Log.h"
#include "hwmon/Chips.h"
#include "hwmon/SoftwareChip.h"

#include <array>
#include <set>

namespace
{
constexpr std::uint8_t kBankSelectRegister = 0x4E;
constexpr std::uint8_t kPmeDevice = 0x0A;
constexpr std::uint8_t kWatchdogDevice = 0x08;
constexpr std::uint8_t kResetDevice = 0x0D;
constexpr std::uint8_t kHwMonitorDevice = 0x0B;

constexpr std::uint32_t kStandingFanSpeed = 164;
constexpr std::uint32_t kInvalidByte = 0xFF;
constexpr std::uint32_t kInvalidWord = 0xFFFF;

constexpr auto kStart = std::to_array<Step>({
    {Bank::Config, StepKind::Write, 0x30, 0x01},
    {Bank::Config, StepKind::KeepBits, 0x28, 0xEF},  // the monitor's ports are not locked
    {Bank::Monitor, StepKind::SetBits, 0x040, 0x01}, // monitoring on
    {Bank::Monitor, StepKind::SetBits, 0x05D, 0x01}, // battery voltage on
});

constexpr auto kSources = std::to_array<SourceRow>({
    {2000, 0x621, 0x01},
    {2001, 0x622, 0x02},
});
static_assert(IdsAscend<SourceRow>(kSources));

constexpr auto kEnablePme = std::to_array<Step>({
    {Bank::Config, StepKind::SetBits, 0xF7, 0x04},
});

constexpr auto kPing = std::to_array<Step>({
    {Bank::Config, StepKind::Read, 0x30},
    {Bank::Config, StepKind::WriteTimeout, 0xF6},
});

constexpr auto kStop = std::to_array<Step>({
    {Bank::Config, StepKind::Write, 0xF6, 0x00},
});

// Arming, before and after the control register with the board's bits.
constexpr auto kDeviceOn = std::to_array<Step>({
    {Bank::Config, StepKind::SetBits, 0x30, 0x01},
});
constexpr auto kStartCounting = std::to_array<Step>({
    {Bank::Config, StepKind::KeepBits, 0xF7, 0x0F},
    {Bank::Config, StepKind::WriteTimeout, 0xF6},
});
constexpr std::uint8_t kControlRegister = 0xF5;
constexpr std::uint8_t kResetRegister = 0xF0; // of the reset device

constexpr SoftwareChipMap kMap{
    .hwMonitor = kHwMonitorDevice,
    .start = {.device = kHwMonitorDevice, .steps = kStart},
    .sources = kSources,
    .value = SoftwareValue::Scaled,
    .tellsUnconfigured = false,
    .honoursIgnore = false,
    .tracesNewRange = false,
    .enablePme = {.device = kPmeDevice, .steps = kEnablePme},
    .rebootStatusDevice = kPmeDevice,
    .rebootStatus = {.reg = 0xF4, .bit = 0x04},
    .ping = {.device = kWatchdogDevice, .steps = kPing},
    .stop = {.device = kWatchdogDevice, .steps = kStop},
    .stopLoop = StopLoop{.write = 0xFE, .reg = 0x30},
};

class CNCT6791 final : public CSoftwareChip
{
public:
    explicit CNCT6791(const ChipContext& context) : CSoftwareChip(context, "Nuvoton LPC I/O NCT6791D", kMap)
    {
        m_bankSelectRegister = kBankSelectRegister;
        m_zeroSuppression = false;
    }

private:
    Verdict Examine(SensorDef& sensor, SensorReading& reading) override;
    void ConfigureWatchdog(std::uint8_t timeoutSec) override;

    std::set<std::string> m_invalidReads; // labels of the sensors whose last reading was invalid
};

CSoftwareChip::Verdict CNCT6791::Examine(SensorDef& sensor, SensorReading& reading)
{
    if (sensor.type == SensorType::FanSpeed && reading.value == 0 && !IsFirstPollDone())
    {
        Log(LogWarning, "SENSORS: %s '%s' not installed.", SensorTypeName(sensor.type), sensor.label.c_str());
        return Verdict::Remove;
    }
    if (sensor.type == SensorType::FanSpeed && reading.value == kStandingFanSpeed)
    {
        Log(LogDebug, "SENSORS: %s '%s' read special val %d.", SensorTypeName(sensor.type),
            sensor.label.c_str(), static_cast<int>(reading.value));
        reading.value = 0;
    }
    if (reading.value == kInvalidByte || reading.value == kInvalidWord)
    {
        if (m_invalidReads.insert(sensor.label).second)
        {
            Log(LogError, "SENSORS: invalid read from %s - ignore until valid again.", sensor.label.c_str());
        }
        if (sensor.alarm)
        {
            LogAlarmState(sensor, false);
            EndAlarm(sensor, reading.trace);
        }
        return Verdict::Skip;
    }
    if (m_invalidReads.erase(sensor.label) != 0)
    {
        Log(LogWarning, "SENSORS: valid read from %s - resume monitoring.", sensor.label.c_str());
    }
    return Verdict::Monitor;
}

void CNCT6791::ConfigureWatchdog(std::uint8_t timeoutSec)
{
    m_watchdogTimeoutSec = timeoutSec;
    {
        const CConfigScope scope(Config(), kWatchdogDevice);
        RunSteps(kDeviceOn);
        const std::uint8_t before = Config().ReadConfigRegister(kControlRegister);
        const auto bits = static_cast<std::uint8_t>(BoardRegister("WDTControlVal") & 0xFF);
        Log(LogInfo, "SENSORS: WDTControlVal: 0x%02X", unsigned{bits});
        Config().WriteConfigRegister(kControlRegister, before | bits);
        RunSteps(kStartCounting);
    }
    const CConfigScope scope(Config(), kResetDevice);
    const std::uint8_t before = Config().ReadConfigRegister(kResetRegister);
    const auto bits = static_cast<std::uint8_t>(BoardRegister("WDTResetVal") & 0xFF);
    Log(LogInfo, "SENSORS: WDTResetVal: 0x%02X", unsigned{bits});
    Config().WriteConfigRegister(kResetRegister, before | bits);
}
} // namespace

std::unique_ptr<CSuperIo> CreateNct6791(const ChipContext& context, const std::string& /*motherboardVendor*/)
{
    return std::make_unique<CNCT6791>(context);
}
