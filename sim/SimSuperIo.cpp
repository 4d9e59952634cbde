#include "sim/SimSuperIo.h"

#include <cerrno>

namespace sim
{
namespace
{
constexpr std::uint8_t kNobody = 0xFF; // what a read gives that nothing answers

// Configuration registers that all makers have in common.
constexpr std::uint8_t kDeviceSelect = 0x07;
constexpr std::uint8_t kIdHigh = 0x20;
constexpr std::uint8_t kIdLow = 0x21;
constexpr std::uint8_t kFirstOfDevice = 0x30; // below, the chip's own
constexpr std::uint8_t kActivate = 0x30;
constexpr std::uint8_t kActive = 0x01;
constexpr std::uint8_t kBaseHigh = 0x60;
constexpr std::uint8_t kBaseLow = 0x61;

// The monitor's ports, above its base address.
constexpr int kMonitorIndex = 5;
constexpr int kMonitorData = 6;
} // namespace

// A spin flag, because the holder may be interrupted by nothing that waits for it, and a signal handler may
// take no mutex.
class CSimSuperIo::CFlag
{
public:
    explicit CFlag(std::atomic_flag& flag) : m_flag(flag)
    {
        while (m_flag.test_and_set(std::memory_order_acquire))
        {
        }
    }
    ~CFlag() { m_flag.clear(std::memory_order_release); }
    CFlag(const CFlag&) = delete;
    CFlag& operator=(const CFlag&) = delete;

private:
    std::atomic_flag& m_flag;
};

CSimSuperIo::CSimSuperIo(const SuperIoRows& rows)
    : m_rows(rows),
      m_monitor(rows),
      m_watchdog(rows.watchdog, m_config)
{
    PowerOn();
}

void CSimSuperIo::PowerOn()
{
    for (DeviceRegisters& device : m_config)
    {
        device.fill(0);
    }
    for (const ConfigDefault& row : m_rows.configDefaults)
    {
        Config(row.device, row.reg) = row.value;
    }
    Config(0, kIdHigh) = static_cast<std::uint8_t>(m_rows.id >> 8);
    Config(0, kIdLow) = static_cast<std::uint8_t>(m_rows.id & 0xFF);
    m_monitor.PowerOn();
    m_watchdog.Stop();
    m_index = 0;
    m_isOpen = false;
    m_keyBytes = 0;
}

std::uint8_t& CSimSuperIo::Config(std::uint8_t device, std::uint8_t reg)
{
    return m_config[reg < kFirstOfDevice ? 0 : device % kMaxDevices][reg];
}

// The index port takes keys and register numbers alike.
void CSimSuperIo::OutConfigIndex(std::uint8_t value)
{
    m_index = value;
    const auto keys = m_isOpen ? m_rows.exit : m_rows.enter;
    if (value != keys[m_keyBytes])
    {
        m_keyBytes = value == keys[0] ? 1 : 0;
    }
    else if (++m_keyBytes == keys.size())
    {
        m_isOpen = !m_isOpen;
        m_keyBytes = 0;
    }
}

std::uint8_t CSimSuperIo::ReadConfig(SimTime now)
{
    m_keyBytes = 0;
    const std::uint8_t device = m_config[0][kDeviceSelect];
    if (m_index >= kFirstOfDevice && device >= kMaxDevices)
    {
        return kNobody;
    }
    return m_watchdog.IsCount(device, m_index) ? m_watchdog.ReadCount(now) : Config(device, m_index);
}

void CSimSuperIo::WriteConfig(std::uint8_t value, SimTime now)
{
    m_keyBytes = 0;
    const std::uint8_t device = m_config[0][kDeviceSelect];
    const bool isDevices = m_index >= kFirstOfDevice;
    if (m_index == kIdHigh || m_index == kIdLow || (isDevices && device >= kMaxDevices))
    {
        return;
    }
    if (m_rows.exitBit && m_index == m_rows.exitBit->reg && (value & m_rows.exitBit->mask) != 0)
    {
        m_isOpen = false;
        return;
    }
    std::uint8_t& content = Config(device, m_index);
    const std::uint8_t before = content;
    content = value;
    // After a reset nothing runs that could arm it again.
    if (isDevices && !m_isReset)
    {
        m_watchdog.Written(device, m_index, before, now);
    }
}

bool CSimSuperIo::AnswersAt(std::uint16_t port, int offset) const
{
    const DeviceRegisters& device = m_config[m_rows.monitorDevice];
    const int base = (device[kBaseHigh] << 8) | device[kBaseLow];
    const bool isLocked =
        m_rows.monitorLock && (m_config[0][m_rows.monitorLock->reg] & m_rows.monitorLock->mask) != 0;
    return base != 0 && port == base + offset && (device[kActivate] & kActive) != 0 && !isLocked;
}

std::uint8_t CSimSuperIo::Answer(std::uint16_t port, SimTime now)
{
    if (m_isOpen && port == m_rows.configPort)
    {
        return Disturb(m_index);
    }
    if (m_isOpen && port == m_rows.configPort + 1)
    {
        return Disturb(ReadConfig(now));
    }
    if (AnswersAt(port, kMonitorIndex))
    {
        return Disturb(m_monitor.ReadIndex());
    }
    if (AnswersAt(port, kMonitorData))
    {
        return Disturb(m_monitor.ReadData(now));
    }
    return kNobody;
}

std::uint8_t CSimSuperIo::Disturb(std::uint8_t value)
{
    switch (m_fault)
    {
    case ChipFault::None:
        break;
    case ChipFault::Dead:
        return kNobody;
    case ChipFault::Random:
        m_noise ^= m_noise << 13; // xorshift
        m_noise ^= m_noise >> 17;
        m_noise ^= m_noise << 5;
        return static_cast<std::uint8_t>(m_noise >> 24);
    case ChipFault::Stuck:
        return static_cast<std::uint8_t>(m_stuckHigh ? value | m_stuckMask : value & ~m_stuckMask);
    }
    return value;
}

std::uint8_t CSimSuperIo::In(std::uint16_t port, SimTime now) noexcept
{
    const CFlag flag(m_busy);
    LetRunOut(now);
    return Answer(port, now);
}

void CSimSuperIo::Out(std::uint16_t port, std::uint8_t value, SimTime now) noexcept
{
    const CFlag flag(m_busy);
    LetRunOut(now);
    if (m_fault == ChipFault::Dead)
    {
        return;
    }
    if (port == m_rows.configPort)
    {
        OutConfigIndex(value);
    }
    else if (port == m_rows.configPort + 1 && m_isOpen)
    {
        WriteConfig(value, now);
    }
    else if (AnswersAt(port, kMonitorIndex))
    {
        m_monitor.WriteIndex(value);
    }
    else if (AnswersAt(port, kMonitorData))
    {
        m_monitor.WriteData(value);
    }
}

int CSimSuperIo::SetPermission(std::uint16_t first, int count, bool on) noexcept
{
    constexpr int kPorts = 0x10000;
    if (count < 1 || first + count > kPorts)
    {
        return EINVAL;
    }
    const CFlag flag(m_busy);
    return on && m_refuses ? EPERM : 0; // giving back needs no privilege
}

int CSimSuperIo::ChannelCount(Quantity quantity) const
{
    switch (quantity)
    {
    case Quantity::Voltage:
        return static_cast<int>(m_rows.voltages.size());
    case Quantity::Temperature:
        return static_cast<int>(m_rows.temperatures.size());
    case Quantity::Fan:
        break;
    }
    return static_cast<int>(m_rows.fans.size());
}

void CSimSuperIo::SetValue(Quantity quantity, int number, int value, SimTime length, SimTime now)
{
    const CFlag flag(m_busy);
    m_monitor.SetValue(quantity, number, value, length, now);
}

void CSimSuperIo::SetFault(ChipFault fault, int stuckBit, bool stuckHigh)
{
    const CFlag flag(m_busy);
    m_fault = fault;
    m_stuckMask = static_cast<std::uint8_t>(1U << static_cast<unsigned>(stuckBit));
    m_stuckHigh = stuckHigh;
}

void CSimSuperIo::SetRefusal(bool refuses)
{
    const CFlag flag(m_busy);
    m_refuses = refuses;
}

void CSimSuperIo::LetRunOut(SimTime now)
{
    if (m_watchdog.RunsOut(now))
    {
        m_isReset = true;
        ++m_resetCount;
    }
}

void CSimSuperIo::Tick(SimTime now)
{
    const CFlag flag(m_busy);
    LetRunOut(now);
}

WatchdogView CSimSuperIo::Watchdog(SimTime now)
{
    const CFlag flag(m_busy);
    LetRunOut(now);
    return {.isArmed = m_watchdog.IsArmed(),
            .timeoutSec = m_watchdog.TimeoutSec(),
            .left = m_watchdog.Left(now),
            .resetCount = m_resetCount};
}

bool CSimSuperIo::TakeReset()
{
    const CFlag flag(m_busy);
    if (!m_isReset)
    {
        return false;
    }
    m_isReset = false;
    std::array<std::uint8_t, kMaxStatusBits> kept{};
    const auto status = m_rows.watchdog.status;
    for (std::size_t at = 0; at < status.size(); ++at)
    {
        kept[at] =
            Config(status[at].device, static_cast<std::uint8_t>(status[at].bit.reg)) & status[at].bit.mask;
    }
    PowerOn();
    for (std::size_t at = 0; at < status.size(); ++at)
    {
        Config(status[at].device, static_cast<std::uint8_t>(status[at].bit.reg)) |= kept[at];
    }
    return true;
}
} // namespace sim
