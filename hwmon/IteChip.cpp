#include "hwmon/IteChip.h"

#include "hwmon/Conversions.h"

#include <utility>

namespace
{
constexpr LogicalDevices kDevices{.pme = {}, .watchdog = 0x07, .hwMonitor = 0x04};

constexpr std::uint16_t kConfigurationRegister = 0x00;
constexpr std::uint16_t kFanStatus = 0x01;
constexpr std::uint16_t kVoltageStatus = 0x02;
constexpr std::uint16_t kTemperatureStatus = 0x03;

// Counts of a fan that stands, or too slow to be counted.
constexpr int kNoCount = 0;
constexpr int kCountOverflow = 0xFFFF;
constexpr int kHalfTurn = 1; // as exponent of the divisor: the chip counts half turns
} // namespace

CIteChip::CIteChip(const ChipContext& context, std::string description, const IteChipMap& map)
    : CDeviceChip(context, std::move(description), kDevices, map.watchdog),
      m_map(map)
{
}

void CIteChip::DoInitHwMonitoring()
{
    const CHwMonitorScope scope(*this);
    RunSteps(m_map.start);
}

void CIteChip::DoPollSensors()
{
    ReadVoltages();
    ReadTemperatures();
    ReadFans();
    ReadAlarms();
}

void CIteChip::ReadVoltages()
{
    const CHwMonitorScope scope(*this);
    for (SensorDef& sensor : m_sensors)
    {
        if (const IteVoltageRow* row = FindRow(m_map.voltages, sensor.id))
        {
            ReadVoltage(sensor, *row);
        }
    }
}

void CIteChip::ReadTemperatures()
{
    const CHwMonitorScope scope(*this);
    for (SensorDef& sensor : m_sensors)
    {
        if (const IteTemperatureRow* row = FindRow(m_map.temperatures, sensor.id))
        {
            ReadTemperature(sensor, *row);
        }
    }
}

void CIteChip::ReadFans()
{
    const CHwMonitorScope scope(*this);
    for (SensorDef& sensor : m_sensors)
    {
        if (const IteFanRow* row = FindRow(m_map.fans, sensor.id))
        {
            ReadFan(sensor, *row);
        }
    }
}

void CIteChip::ReadAlarms()
{
    const CHwMonitorScope scope(*this);
    AlarmStatus status;
    status.a = ReadHwmRegister(kFanStatus);
    status.b = ReadHwmRegister(kVoltageStatus);
    status.c = ReadHwmRegister(kTemperatureStatus);
    ApplyAlarms(m_map.alarms, status);
    const Step restart{Bank::Monitor, StepKind::SetBits, kConfigurationRegister, m_map.startBits};
    RunSteps({&restart, 1});
}

void CIteChip::ReadVoltage(SensorDef& sensor, const IteVoltageRow& row)
{
    const std::uint8_t raw = ReadHwmRegister(row.value);
    RecordReading(sensor, VoltageValue(raw, kIteVoltageStepMv, sensor.conversion));
    if (row.limits && !sensor.limitsWritten)
    {
        WriteHwmRegister(row.limits->high,
                         ClampToByte(VoltageSteps(sensor.max, kIteVoltageStepMv, sensor.conversion)));
        WriteHwmRegister(row.limits->low,
                         ClampToByte(VoltageSteps(sensor.min, kIteVoltageStepMv, sensor.conversion)));
        sensor.limitsWritten = true;
    }
}

void CIteChip::ReadTemperature(SensorDef& sensor, const IteTemperatureRow& row)
{
    RecordReading(sensor, SignedByte(ReadHwmRegister(row.value)));
    WriteHwmRegister(row.high, LowByte(sensor.max));
    WriteHwmRegister(row.low, LowByte(sensor.min));
}

void CIteChip::ReadFan(SensorDef& sensor, const IteFanRow& row)
{
    const std::uint8_t low = ReadHwmRegister(row.countLow);
    const int count = Word(ReadHwmRegister(row.countHigh), low);
    if (count == kNoCount || count == kCountOverflow)
    {
        return;
    }
    RecordReading(sensor, FanTicksToSpeed(count, kHalfTurn));
    if (sensor.min > 0 && !sensor.limitsWritten)
    {
        const int limit = FanTicksToSpeed(sensor.min, kHalfTurn);
        WriteHwmRegister(row.limitLow, LowByte(limit));
        WriteHwmRegister(row.limitHigh, LowByte(limit >> 8));
        sensor.limitsWritten = true;
    }
}
