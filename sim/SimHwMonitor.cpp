#include "sim/SimHwMonitor.h"

#include <algorithm>
#include <limits>

namespace sim
{
namespace
{
std::uint8_t SignedByte(int value)
{
    return static_cast<std::uint8_t>(std::clamp(value, -128, 127));
}

int FromSignedByte(std::uint8_t value)
{
    return static_cast<std::int8_t>(value);
}

// A change every 15 s; the number of the channel keeps them from moving in step.
int Wander(int greatest, std::size_t number, SimTime now)
{
    constexpr auto kSteps = std::to_array<int>({0, 1, 1, 0, 0, -1, 0});
    const auto slot = static_cast<std::size_t>(now / std::chrono::seconds{15}) + number;
    return kSteps[slot % kSteps.size()] * greatest;
}

// Calls visit(row, channel) for the channels of one kind, in order.
template <typename Row, typename Channels, typename Visit>
void ForEachChannel(std::span<const Row> rows, Channels& channels, Visit visit)
{
    for (std::size_t at = 0; at < rows.size(); ++at)
    {
        visit(rows[at], channels[at]);
    }
}
} // namespace

CSimHwMonitor::CSimHwMonitor(const SuperIoRows& rows) : m_rows(rows)
{
    ForEachChannel(rows.voltages, m_voltages,
                   [](const VoltageRow& row, Channel& channel)
                   { channel.from = channel.to = row.restMillivolts; });
    ForEachChannel(rows.temperatures, m_temperatures,
                   [](const TemperatureRow& row, Channel& channel)
                   {
                       channel.from = channel.to = row.restDegrees;
                       channel.wander = 1;
                   });
    ForEachChannel(rows.fans, m_fans,
                   [](const FanRow& row, Channel& channel)
                   {
                       channel.from = channel.to = row.restRpm;
                       channel.wander = row.restRpm / 100;
                       channel.isFitted = row.restRpm != 0;
                   });
    PowerOn();
}

void CSimHwMonitor::PowerOn()
{
    m_registers.fill(0);
    WidenLimits();
    for (const MonitorDefault& row : m_rows.monitorDefaults)
    {
        m_registers[row.reg] = row.value;
    }
    m_index = 0;
    m_bank = 0;
    for (Channels* channels : {&m_voltages, &m_temperatures, &m_fans})
    {
        for (Channel& channel : *channels)
        {
            channel.isOut = false;
            channel.isLatched = false;
        }
    }
}

void CSimHwMonitor::WidenLimits()
{
    for (const VoltageRow& row : m_rows.voltages)
    {
        if (row.limits)
        {
            m_registers[row.limits->high] = 0xFF;
        }
    }
    for (const TemperatureRow& row : m_rows.temperatures)
    {
        if (row.limits)
        {
            m_registers[row.limits->high] = static_cast<std::uint8_t>(m_rows.temperatureLimits.high);
            m_registers[row.limits->low] = static_cast<std::uint8_t>(m_rows.temperatureLimits.low);
        }
    }
    for (const FanRow& row : m_rows.fans)
    {
        if (row.limit)
        {
            m_registers[row.limit->high.value_or(row.limit->low)] = 0xFF;
            m_registers[row.limit->low] = 0xFF;
        }
    }
}

CSimHwMonitor::Channels& CSimHwMonitor::ChannelsOf(Quantity quantity)
{
    switch (quantity)
    {
    case Quantity::Voltage:
        return m_voltages;
    case Quantity::Temperature:
        return m_temperatures;
    case Quantity::Fan:
        break;
    }
    return m_fans;
}

void CSimHwMonitor::SetValue(Quantity quantity, int number, int value, SimTime length, SimTime now)
{
    CompareWithLimits(now); // what has been out until now is not forgotten
    const auto at = static_cast<std::size_t>(number - 1);
    Channel& channel = ChannelsOf(quantity)[at];
    channel.from = ValueAt(channel, at, now);
    channel.to = value;
    channel.start = now;
    channel.length = length;
    channel.wander = 0;
    channel.isFitted = true;
}

int CSimHwMonitor::ValueAt(const Channel& channel, std::size_t number, SimTime now)
{
    // An access may carry a time from just before the scenario moved the channel.
    const SimTime passed = std::max(now - channel.start, SimTime{0});
    if (passed < channel.length)
    {
        const auto change = static_cast<std::int64_t>(channel.to - channel.from);
        return channel.from + static_cast<int>(change * passed / channel.length);
    }
    return channel.to + Wander(channel.wander, number, now);
}

std::uint8_t CSimHwMonitor::Register(std::uint16_t reg) const
{
    return m_registers[reg % m_registers.size()];
}

std::uint16_t CSimHwMonitor::CurrentRegister() const
{
    return static_cast<std::uint16_t>((m_bank << 8) | m_index);
}

bool CSimHwMonitor::IsConverted(const std::optional<RegisterBits>& enable) const
{
    return IsSet(m_rows.monitorStart) && (!enable || IsSet(*enable));
}

std::uint8_t CSimHwMonitor::VoltageReading(std::size_t at, SimTime now) const
{
    if (!IsConverted(m_rows.voltages[at].enable))
    {
        return 0;
    }
    const int steps =
        (ValueAt(m_voltages[at], at, now) + m_rows.millivoltsPerStep / 2) / m_rows.millivoltsPerStep;
    return static_cast<std::uint8_t>(std::clamp(steps, 0, 255));
}

std::uint8_t CSimHwMonitor::TemperatureReading(const TemperatureRow& row, SimTime now) const
{
    if (!IsConverted({}))
    {
        return 0;
    }
    const int chosen = row.source ? Register(row.source->reg) & 0x1F : 0;
    for (std::size_t at = 0; at < m_rows.temperatures.size(); ++at)
    {
        const TemperatureRow& candidate = m_rows.temperatures[at];
        const bool fits = row.source ? candidate.source && candidate.source->number == chosen
                                     : candidate.boardId == row.boardId;
        if (fits)
        {
            return SignedByte(ValueAt(m_temperatures[at], at, now));
        }
    }
    return 0; // a source that nothing is connected to
}

int CSimHwMonitor::FanTicks(std::size_t at, int fullScale, SimTime now) const
{
    const int rpm = ValueAt(m_fans[at], at, now);
    if (rpm <= 0)
    {
        return fullScale;
    }
    const FanRow::Exponent& exponent = m_rows.fans[at].exponent;
    const auto field = [this](const std::optional<BitField>& bits)
    { return bits ? (Register(bits->reg) & bits->mask) >> bits->shift : 0; };
    const int power = exponent.fixed + field(exponent.low) + 4 * field(exponent.high);
    return std::min((m_rows.fanCounter.ticksPerMinute / rpm) >> power, fullScale);
}

std::uint16_t CSimHwMonitor::FanReading(std::size_t at, SimTime now) const
{
    const bool isEmpty = m_rows.fanCounter.readsSpeed && !m_fans[at].isFitted;
    if (isEmpty || !IsConverted(m_rows.fans[at].enable))
    {
        return 0;
    }
    const int standing = m_rows.fanCounter.standing;
    const int reading = m_rows.fanCounter.readsSpeed ? std::max(ValueAt(m_fans[at], at, now), standing)
                                                     : FanTicks(at, standing, now);
    return static_cast<std::uint16_t>(std::clamp(reading, 0, 0xFFFF));
}

std::uint8_t CSimHwMonitor::ReadRegister(std::uint16_t reg, SimTime now) const
{
    for (std::size_t at = 0; at < m_rows.voltages.size(); ++at)
    {
        if (m_rows.voltages[at].value == reg)
        {
            return VoltageReading(at, now);
        }
    }
    for (const TemperatureRow& row : m_rows.temperatures)
    {
        if (row.value == reg)
        {
            return TemperatureReading(row, now);
        }
    }
    for (std::size_t at = 0; at < m_rows.fans.size(); ++at)
    {
        const FanRow& row = m_rows.fans[at];
        if (row.low == reg || row.high == reg)
        {
            const std::uint16_t reading = FanReading(at, now);
            return static_cast<std::uint8_t>(row.low == reg ? reading & 0xFF : reading >> 8);
        }
    }
    return Register(reg);
}

bool CSimHwMonitor::IsVoltageOut(std::size_t at, SimTime now) const
{
    const VoltageRow& row = m_rows.voltages[at];
    if (!row.limits || !IsConverted(row.enable))
    {
        return false;
    }
    const std::uint8_t reading = VoltageReading(at, now);
    return reading > Register(row.limits->high) || reading < Register(row.limits->low);
}

bool CSimHwMonitor::IsTemperatureOut(std::size_t at, SimTime now) const
{
    const TemperatureRow& row = m_rows.temperatures[at];
    if (!row.limits || !IsConverted({}))
    {
        return false;
    }
    const int reading = FromSignedByte(TemperatureReading(row, now));
    const int low = FromSignedByte(Register(row.limits->low));
    if (reading > FromSignedByte(Register(row.limits->high)))
    {
        return true;
    }
    return m_rows.hasHysteresis ? m_temperatures[at].isOut && reading >= low : reading < low;
}

bool CSimHwMonitor::IsFanOut(std::size_t at, SimTime now) const
{
    const FanRow& row = m_rows.fans[at];
    if (!row.limit || !IsConverted(row.enable))
    {
        return false;
    }
    const int highLimit = row.limit->high ? Register(*row.limit->high) << row.limit->lowWidth : 0;
    const int fullScale = row.limit->high ? (0x100 << row.limit->lowWidth) - 1 : 0xFF;
    return FanTicks(at, fullScale, now) > (highLimit | Register(row.limit->low));
}

void CSimHwMonitor::CompareWithLimits(SimTime now)
{
    const auto update = [](Channel& channel, bool isOut)
    {
        channel.isOut = isOut;
        channel.isLatched = channel.isLatched || isOut;
    };
    for (std::size_t at = 0; at < m_rows.voltages.size(); ++at)
    {
        update(m_voltages[at], IsVoltageOut(at, now));
    }
    for (std::size_t at = 0; at < m_rows.temperatures.size(); ++at)
    {
        update(m_temperatures[at], IsTemperatureOut(at, now));
    }
    for (std::size_t at = 0; at < m_rows.fans.size(); ++at)
    {
        update(m_fans[at], IsFanOut(at, now));
    }
}

std::uint8_t CSimHwMonitor::AlarmBitsIn(std::uint16_t reg, std::uint8_t stored)
{
    std::uint8_t bits = stored;
    const auto put = [&bits](std::uint8_t mask, bool isSet)
    { bits = static_cast<std::uint8_t>(isSet ? bits | mask : bits & ~mask); };
    const auto collect = [reg, &put](const auto& row, Channel& channel)
    {
        if (row.alarm.live && row.alarm.live->reg == reg)
        {
            put(row.alarm.live->mask, channel.isOut);
        }
        if (row.alarm.latched && row.alarm.latched->reg == reg)
        {
            put(row.alarm.latched->mask, channel.isLatched);
            channel.isLatched = false;
        }
    };
    ForEachChannel(m_rows.voltages, m_voltages, collect);
    ForEachChannel(m_rows.temperatures, m_temperatures, collect);
    ForEachChannel(m_rows.fans, m_fans, collect);
    return bits;
}

std::uint8_t CSimHwMonitor::ReadData(SimTime now)
{
    if (m_rows.bankSelect != 0 && m_index == m_rows.bankSelect)
    {
        return m_bank;
    }
    const std::uint16_t reg = CurrentRegister();
    CompareWithLimits(now);
    return AlarmBitsIn(reg, ReadRegister(reg, now));
}

void CSimHwMonitor::WriteData(std::uint8_t value)
{
    if (m_rows.bankSelect != 0 && m_index == m_rows.bankSelect)
    {
        m_bank = value % kMaxBanks; // the upper bits choose other things
        return;
    }
    m_registers[CurrentRegister()] = value;
}
} // namespace sim
