// F81966/A: no register banks, counting fans. Tells its register changes and counts its polls and pings,
// because boards with it differ.
#include "frame/Clock.h"
#include "frame/Log.h"
#include "hwmon/Chips.h"
#include "hwmon/SoftwareChip.h"

#include <array>

namespace
{
constexpr std::uint8_t kPmeDevice = 0x0A;
constexpr std::uint8_t kWatchdogDevice = 0x07;
constexpr std::uint8_t kHwMonitorDevice = 0x04;
constexpr std::uint8_t kCounterRegister = 0xF6; // of the watchdog, seconds

constexpr std::uint32_t kPingLogInterval = 15;
constexpr std::uint32_t kPollPeriodSec = 60;
constexpr std::uint32_t kMsPerSec = 1000;

void LogStart(unsigned reg, std::optional<std::uint8_t> before, std::uint8_t after)
{
    Log(LogDebug, "SENSORS: InitHwMonitoring register [0x%02X] read [0x%02X] wrote [0x%02X]", reg,
        unsigned{before.value_or(0)}, unsigned{after});
}

void LogEnablePme(unsigned reg, std::optional<std::uint8_t> before, std::uint8_t after)
{
    Log(LogDebug, "SENSORS: EnablePME reg [0x%02X] read [0x%02X] wrote [0x%02X]", reg,
        unsigned{before.value_or(0)}, unsigned{after});
}

void LogRebootStatus(unsigned reg, std::optional<std::uint8_t> before, std::uint8_t after)
{
    Log(LogDebug, "SENSORS: GetLastRebootStatus reg [0x%02X] read [0x%02X] wrote [0x%02X]", reg,
        unsigned{before.value_or(0)}, unsigned{after});
}

// Stopping is told in the same words.
void LogConfigure(unsigned reg, std::optional<std::uint8_t> before, std::uint8_t after)
{
    if (before)
    {
        Log(LogDebug, "SENSORS: ConfigureWatchdog reg [0x%02X] read [0x%02X] wrote [0x%02X]", reg,
            unsigned{*before}, unsigned{after});
    }
    else
    {
        Log(LogDebug, "SENSORS: ConfigureWatchdog reg [0x%02X] wrote [0x%02X]", reg, unsigned{after});
    }
}

constexpr auto kStart = std::to_array<Step>({
    {Bank::Config, StepKind::SetBits, 0x30, 0x01},
    {Bank::Config, StepKind::SetBits, 0x01, 0x03},
    {Bank::Config, StepKind::SetBits, 0x04, 0x80},
});

constexpr auto kEnablePme = std::to_array<Step>({
    {Bank::Config, StepKind::SetBits, 0x30, 0x01},
    {Bank::Config, StepKind::SetBits, 0xF0, 0x40},
});

constexpr auto kConfigure = std::to_array<Step>({
    {Bank::Config, StepKind::WriteTimeout, kCounterRegister},
    {Bank::Config, StepKind::SetBits, 0xFA, 0x41},               // reset output on
    {Bank::Config, StepKind::ClearAndSetBits, 0xF5, 0x71, 0x0A}, // in seconds, and counting
});

constexpr auto kPing = std::to_array<Step>({
    {Bank::Config, StepKind::WriteTimeout, kCounterRegister},
});

constexpr auto kStop = std::to_array<Step>({
    {Bank::Config, StepKind::ClearAndSetBits, 0xF5, 0x40, 0x20}, // not counting, status cleared
});

constexpr SoftwareChipMap kMap{
    .hwMonitor = kHwMonitorDevice,
    .start = {.device = kHwMonitorDevice, .steps = kStart, .log = LogStart},
    .value = SoftwareValue::ScaledFansCounted,
    .tellsUnconfigured = true,
    .honoursIgnore = true,
    .tracesNewRange = true,
    .enablePme = {.device = kPmeDevice, .steps = kEnablePme, .log = LogEnablePme},
    .rebootStatusDevice = kWatchdogDevice,
    .rebootStatus = {.reg = 0xF5, .bit = 0x40, .set = 0x40, .log = LogRebootStatus},
    .configure = {.device = kWatchdogDevice, .steps = kConfigure, .log = LogConfigure},
    .ping = {.device = kWatchdogDevice, .steps = kPing},
    .stop = {.device = kWatchdogDevice, .steps = kStop, .log = LogConfigure},
};

class Fintek81966a final : public CSoftwareChip
{
public:
    explicit Fintek81966a(const ChipContext& context) : CSoftwareChip(context, "Fintek F81966/A", kMap) {}

private:
    void BeginPoll() override;
    void DoPingWatchdog() override;

    std::uint32_t m_pings = 0;         // since the last line
    std::uint32_t m_polls = 0;         // in this period
    std::uint32_t m_periodStartMs = 0; // monotonic, low 32 bits; 0: not started
};

void Fintek81966a::BeginPoll()
{
    const auto now = static_cast<std::uint32_t>(Clock().MonotonicMs());
    if (m_periodStartMs == 0)
    {
        m_periodStartMs = now;
    }
    if (now - m_periodStartMs > kPollPeriodSec * kMsPerSec)
    {
        Log(LogDebug, "SENSORS: Polled sensors %d times in %d secs.", static_cast<int>(m_polls),
            static_cast<int>(kPollPeriodSec));
        m_periodStartMs = now;
        m_polls = 1;
    }
    else
    {
        ++m_polls;
    }
}

void Fintek81966a::DoPingWatchdog()
{
    CSoftwareChip::DoPingWatchdog();
    if (++m_pings == kPingLogInterval)
    {
        Log(LogDebug, "SENSORS: PingWatchdog reg [0x%02X] wrote [0x%02X] (%d times)",
            unsigned{kCounterRegister}, unsigned{m_watchdogTimeoutSec}, static_cast<int>(m_pings));
        m_pings = 0;
    }
}
} // namespace

std::unique_ptr<CSuperIo> CreateFintek81966a(const ChipContext& context,
                                             const std::string& /*motherboardVendor*/)
{
    return std::make_unique<Fintek81966a>(context);
}
