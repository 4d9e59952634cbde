#include "sim/SimWatchdog.h"

#include <algorithm>

namespace sim
{
int CSimWatchdog::Count() const
{
    const int high = m_rows.countHigh ? Device()[*m_rows.countHigh] : 0;
    return (high << 8) | Device()[m_rows.count];
}

int CSimWatchdog::UnitSec() const
{
    return IsSet(m_rows.unit) == m_rows.unitBitMeansMinutes ? 60 : 1;
}

int CSimWatchdog::TimeoutSec() const
{
    return Count() * UnitSec();
}

bool CSimWatchdog::IsArmed() const
{
    return m_isCounting && IsSet(m_rows.output);
}

SimTime CSimWatchdog::Left(SimTime now) const
{
    return m_isCounting ? std::max(m_deadline - now, SimTime{0}) : SimTime{0};
}

std::uint8_t CSimWatchdog::ReadCount(SimTime now) const
{
    if (!m_rows.readsRemaining)
    {
        return Device()[m_rows.count];
    }
    const SimTime unit = std::chrono::seconds{UnitSec()};
    const auto units = (Left(now) + unit - SimTime{1}) / unit;
    return static_cast<std::uint8_t>(units & 0xFF);
}

void CSimWatchdog::KeepStatus(std::uint8_t device, std::uint8_t reg, std::uint8_t before)
{
    for (const TimeoutStatus& status : m_rows.status)
    {
        if (status.device == device && status.bit.reg == reg)
        {
            std::uint8_t& content = m_registers[device][reg];
            const int survives = status.clear == TimeoutStatus::Clear::WriteOne ? ~content : content;
            content = static_cast<std::uint8_t>((content & ~status.bit.mask) |
                                                (before & survives & status.bit.mask));
        }
    }
}

void CSimWatchdog::Written(std::uint8_t device, std::uint8_t reg, std::uint8_t before, SimTime now)
{
    KeepStatus(device, reg, before);
    if (device != m_rows.device)
    {
        return;
    }
    const int changed = before ^ Device()[reg];
    const bool isLoaded = reg == m_rows.count || reg == m_rows.countHigh;
    const bool isSwitched =
        m_rows.active && reg == m_rows.active->reg && (changed & m_rows.active->mask) != 0;
    const bool isOtherUnit = reg == m_rows.unit.reg && (changed & m_rows.unit.mask) != 0;
    if (Count() == 0 || (m_rows.active && !IsSet(*m_rows.active)))
    {
        m_isCounting = false;
    }
    else if (isLoaded || isSwitched || (isOtherUnit && m_isCounting))
    {
        m_isCounting = true;
        m_deadline = now + std::chrono::seconds{TimeoutSec()};
    }
}

bool CSimWatchdog::RunsOut(SimTime now)
{
    if (!m_isCounting || now < m_deadline)
    {
        return false;
    }
    const bool resets = IsArmed();
    m_isCounting = false;
    for (const TimeoutStatus& status : m_rows.status)
    {
        DeviceRegisters& device = m_registers[status.device];
        if (!status.enable || (device[status.enable->reg] & status.enable->mask) != 0)
        {
            device[status.bit.reg] |= status.bit.mask;
        }
    }
    return resets;
}
} // namespace sim
