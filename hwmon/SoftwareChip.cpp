#include "hwmon/SoftwareChip.h"

#include "frame/Log.h"
#include "hwmon/Conversions.h"

#include <utility>

namespace
{
// Fans that count: ticks per minute.
constexpr std::uint32_t kTicksPerMin = 1'500'000;
} // namespace

CSoftwareChip::CSoftwareChip(const ChipContext& context, std::string description, const SoftwareChipMap& map)
    : CSuperIo(context, std::move(description)),
      m_map(map)
{
}

void CSoftwareChip::Run(const DeviceSteps& steps)
{
    if (!steps.steps.empty())
    {
        const CConfigScope scope(Config(), steps.device);
        RunSteps(steps.steps, steps.log);
    }
}

void CSoftwareChip::DoInitHwMonitoring()
{
    Run(m_map.start);
}

void CSoftwareChip::EnablePME()
{
    Run(m_map.enablePme);
}

bool CSoftwareChip::GetLastRebootStatus()
{
    const CConfigScope scope(Config(), m_map.rebootStatusDevice);
    return TakeRebootStatus(m_map.rebootStatus);
}

void CSoftwareChip::ConfigureWatchdog(std::uint8_t timeoutSec)
{
    m_watchdogTimeoutSec = timeoutSec;
    Run(m_map.configure);
}

void CSoftwareChip::DoPingWatchdog()
{
    Run(m_map.ping);
}

void CSoftwareChip::DoStopWatchdog()
{
    m_watchdogTimeoutSec = 0;
    const CConfigScope scope(Config(), m_map.stop.device);
    RunSteps(m_map.stop.steps, m_map.stop.log);
    if (m_map.stopLoop)
    {
        RunStopLoop(*m_map.stopLoop);
    }
}

void CSoftwareChip::DoPollSensors()
{
    BeginPoll();
    const CConfigScope scope(Config(), m_map.hwMonitor);
    std::vector<const SensorDef*> removed;
    for (SensorDef& sensor : m_sensors)
    {
        if (PollSensor(sensor) == Verdict::Remove)
        {
            removed.push_back(&sensor);
        }
    }
    RemoveSensors(removed);
    m_firstPollDone = true;
}

// All at once: the watchdog's pings wait for the end of the poll, and closing the gap of each sensor of a
// long list moves the rest of it every time. `removed` is in the order of the list.
void CSoftwareChip::RemoveSensors(const std::vector<const SensorDef*>& removed)
{
    if (removed.empty())
    {
        return;
    }
    auto next = removed.begin();
    auto kept = m_sensors.begin();
    for (SensorDef& sensor : m_sensors)
    {
        if (next != removed.end() && *next == &sensor)
        {
            ++next;
            continue;
        }
        if (&*kept != &sensor)
        {
            *kept = std::move(sensor);
        }
        ++kept;
    }
    m_sensors.erase(kept, m_sensors.end());
}

CSoftwareChip::Verdict CSoftwareChip::PollSensor(SensorDef& sensor)
{
    if (!sensor.firstRegister || !sensor.width)
    {
        if (m_map.tellsUnconfigured)
        {
            Log(LogWarning, "SENSORS: Omit unconfigured %s '%s'.", SensorTypeName(sensor.type),
                sensor.label.c_str());
        }
        return Verdict::Remove;
    }
    if (const SourceRow* row = FindRow(m_map.sources, sensor.id))
    {
        WriteHwmRegister(row->reg, row->source);
    }
    SensorReading reading = ReadSensorRegister(*sensor.firstRegister, *sensor.width);
    if (IsIgnored(sensor, reading.value))
    {
        Log(LogWarning, "SENSORS: Omit ignored %s '%s' (read [0x%04X]).", SensorTypeName(sensor.type),
            sensor.label.c_str(), reading.value);
        return Verdict::Remove;
    }
    const Verdict verdict = Examine(sensor, reading);
    const std::optional<int> value = Value(sensor, reading.value);
    if (verdict == Verdict::Monitor && value)
    {
        Monitor(sensor, *value, reading.trace);
    }
    return verdict;
}

bool CSoftwareChip::IsIgnored(const SensorDef& sensor, std::uint32_t raw) const
{
    return m_map.honoursIgnore && !m_firstPollDone && sensor.ignore == raw;
}

// Absent for a counting fan without a count: it has no speed, and nothing is recorded.
std::optional<int> CSoftwareChip::Value(const SensorDef& sensor, std::uint32_t raw) const
{
    if (m_map.value == SoftwareValue::Raw)
    {
        return static_cast<int>(raw);
    }
    if (m_map.value == SoftwareValue::ScaledFansCounted && sensor.type == SensorType::FanSpeed)
    {
        return raw != 0 ? std::optional(static_cast<int>(kTicksPerMin / raw)) : std::nullopt;
    }
    return TruncateToInt(raw * sensor.conversion);
}

void CSoftwareChip::Monitor(SensorDef& sensor, int value, const std::string& trace) const
{
    sensor.changed |= value != sensor.current;
    sensor.current = value;
    if (WidenRange(sensor, value))
    {
        if (m_map.tracesNewRange)
        {
            Log(LogDebug, "SENSORS: %s '%s' new range %d <-> %d - %s", SensorTypeName(sensor.type),
                sensor.label.c_str(), sensor.lowestSeen, sensor.highestSeen, trace.c_str());
        }
        else
        {
            Log(LogDebug, "SENSORS: %s '%s' new range %d <-> %d", SensorTypeName(sensor.type),
                sensor.label.c_str(), sensor.lowestSeen, sensor.highestSeen);
        }
    }
    const bool alarm = IsOutsideLimits(sensor, value);
    if (alarm != sensor.alarm)
    {
        LogAlarmState(sensor, alarm);
    }
    if (sensor.alarm && !alarm)
    {
        EndAlarm(sensor, trace);
        return;
    }
    sensor.event |= alarm != sensor.alarm;
    sensor.changed |= sensor.event;
    sensor.alarm = alarm;
}

void CSoftwareChip::LogAlarmState(const SensorDef& sensor, bool alarm)
{
    Log(LogWarning, "SENSORS: %s '%s' min %d curr %d max %d - %s", SensorTypeName(sensor.type),
        sensor.label.c_str(), sensor.min, sensor.current, sensor.max, alarm ? "alarmed" : "ok");
}

void CSoftwareChip::EndAlarm(SensorDef& sensor, const std::string& trace)
{
    ClearAlarm(sensor);
    Log(LogDebug, "SENSORS: %s '%s' reset range %d <-> %d - %s", SensorTypeName(sensor.type),
        sensor.label.c_str(), sensor.current, sensor.current, trace.c_str());
}
