#include "hwmon/RegisterChip.h"

#include "hwmon/Conversions.h"

#include <utility>

namespace
{
constexpr LogicalDevices kDevices{.pme = 0x0A, .watchdog = 0x08, .hwMonitor = 0x0B};
constexpr std::uint8_t kBankSelectRegister = 0x4E;

constexpr auto kStart = std::to_array<Step>({
    {Bank::Config, StepKind::Write, 0x30, 0x01},
    {Bank::Monitor, StepKind::SetBits, 0x040, 0x01}, // monitoring on
    {Bank::Monitor, StepKind::SetBits, 0x55D, 0x01}, // battery voltage on
});

constexpr std::uint16_t kAlarmStatusA = 0x459;
constexpr std::uint16_t kAlarmStatusB = 0x45A;
constexpr std::uint16_t kAlarmStatusC = 0x45B;

// Counts of a fan too slow for its divisor, or standing.
constexpr int kNoCount = 0;
constexpr int kCountOverflow = 255;
constexpr int kExponentBits = 0x07;
} // namespace

CRegisterChip::CRegisterChip(const ChipContext& context, std::string description, const RegisterChipMap& map)
    : CDeviceChip(context, std::move(description), kDevices, map.watchdog),
      m_map(map)
{
    m_bankSelectRegister = kBankSelectRegister;
}

void CRegisterChip::DoInitHwMonitoring()
{
    const CHwMonitorScope scope(*this);
    RunSteps(kStart);
}

void CRegisterChip::DoPollSensors()
{
    ReadVoltages();
    ReadTemperatures();
    ReadFans();
    AlarmStatus status;
    status.a = ReadHwmRegister(kAlarmStatusA);
    status.b = ReadHwmRegister(kAlarmStatusB);
    status.c = ReadHwmRegister(kAlarmStatusC);
    if (IsAlarmStatusValid())
    {
        ApplyAlarms(m_map.alarms, status);
    }
}

void CRegisterChip::ReadVoltages()
{
    const CHwMonitorScope scope(*this);
    for (SensorDef& sensor : m_sensors)
    {
        if (const VoltageRow* row = FindRow(m_map.voltages, sensor.id))
        {
            ReadVoltage(sensor, *row);
        }
    }
}

void CRegisterChip::ReadTemperatures()
{
    const CHwMonitorScope scope(*this);
    for (SensorDef& sensor : m_sensors)
    {
        if (const TemperatureRow* row = FindRow(m_map.temperatures, sensor.id))
        {
            ReadTemperature(sensor, *row);
        }
    }
}

void CRegisterChip::ReadFans()
{
    const CHwMonitorScope scope(*this);
    for (SensorDef& sensor : m_sensors)
    {
        if (const DivisorFanRow* divisorFan = FindRow(m_map.divisorFans, sensor.id))
        {
            ReadDivisorFan(sensor, *divisorFan);
        }
        else if (const SpeedFanRow* speedFan = FindRow(m_map.speedFans, sensor.id))
        {
            ReadSpeedFan(sensor, *speedFan);
        }
    }
}

void CRegisterChip::ReadVoltage(SensorDef& sensor, const VoltageRow& row)
{
    const std::uint8_t raw = ReadHwmRegister(row.value);
    RecordReading(sensor, VoltageValue(raw, kVoltageStepMv, sensor.conversion));
    if (!sensor.limitsWritten && (sensor.conversion > 0 || !m_map.limitsNeedConversion))
    {
        WriteHwmRegister(row.high, LowByte(VoltageSteps(sensor.max, kVoltageStepMv, sensor.conversion)));
        WriteHwmRegister(row.low, LowByte(VoltageSteps(sensor.min, kVoltageStepMv, sensor.conversion)));
        sensor.limitsWritten = true;
    }
}

void CRegisterChip::ReadTemperature(SensorDef& sensor, const TemperatureRow& row)
{
    if (row.select)
    {
        WriteHwmRegister(row.select->reg, row.select->source);
    }
    const int raw = ReadHwmRegister(row.value);
    const int offset = row.offset ? ReadHwmRegister(*row.offset) : 0;
    RecordReading(sensor, SignedByte(raw + offset));
    if (!sensor.limitsWritten)
    {
        WriteHwmRegister(row.high, LowByte(std::int64_t{sensor.max} - offset));
        WriteHwmRegister(row.low, LowByte(std::int64_t{sensor.min} - offset));
        sensor.limitsWritten = true;
    }
}

void CRegisterChip::ReadDivisorFan(SensorDef& sensor, const DivisorFanRow& row)
{
    const int count = ReadHwmRegister(row.count);
    const int highBit = (ReadHwmRegister(row.highBit.reg) & row.highBit.mask) >> row.highBit.shift;
    const int lowBits = (ReadHwmRegister(row.lowBits.reg) & row.lowBits.mask) >> row.lowBits.shift;
    const int exponent = lowBits | (highBit * 4);
    if (count == kNoCount || count == kCountOverflow)
    {
        // A larger divisor for the next poll; this count belongs to the old one. The bits are ORed in
        // uncleared: the exponent steps 0, 1, 3, 7.
        const int next = exponent + 1;
        SetBits(row.lowBits, next & 3);
        SetBits(row.highBit, (next & kExponentBits) >> 2);
        return;
    }
    if (sensor.min > 0)
    {
        WriteHwmRegister(row.limit, LowByte(FanTicksToSpeed(sensor.min, exponent)));
    }
    RecordReading(sensor, FanTicksToSpeed(count, exponent));
}

void CRegisterChip::SetBits(const DivisorFanRow::Field& field, int bits)
{
    const int before = ReadHwmRegister(field.reg);
    WriteHwmRegister(field.reg, LowByte(before | (bits << field.shift)));
}

void CRegisterChip::ReadSpeedFan(SensorDef& sensor, const SpeedFanRow& row)
{
    const std::uint8_t high = ReadHwmRegister(row.high);
    const int speed = Word(high, ReadHwmRegister(row.low));
    RecordReading(sensor, speed == m_map.standingFanSpeed ? 0 : speed);
    if (sensor.limitsWritten)
    {
        return;
    }
    if (const auto* divided = std::get_if<SpeedFanRow::DividedLimit>(&row.limit))
    {
        WriteFanLimit(sensor, *divided);
    }
    else if (const auto* split = std::get_if<SpeedFanRow::SplitLimit>(&row.limit))
    {
        WriteFanLimit(sensor, *split);
    }
}

void CRegisterChip::WriteFanLimit(SensorDef& sensor, const SpeedFanRow::DividedLimit& limit)
{
    if (sensor.min > 0)
    {
        const int exponent = (ReadHwmRegister(limit.exponent) >> limit.shift) & kExponentBits;
        WriteHwmRegister(limit.reg, LowByte(FanTicksToSpeed(sensor.min, exponent)));
        sensor.limitsWritten = true;
    }
}

void CRegisterChip::WriteFanLimit(SensorDef& sensor, const SpeedFanRow::SplitLimit& limit)
{
    const int count = sensor.min > 0 ? FanTicksToSpeed(sensor.min, 0) : 0;
    WriteHwmRegister(limit.high, LowByte(count >> 5));
    WriteHwmRegister(limit.low, LowByte(count & 0x1F));
    sensor.limitsWritten = true;
}
