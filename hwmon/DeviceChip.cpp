#include "hwmon/DeviceChip.h"

#include <utility>

CDeviceChip::CDeviceChip(const ChipContext& context, std::string description, const LogicalDevices& devices,
                         const DeviceWatchdogMap& watchdog)
    : CSuperIo(context, std::move(description)),
      m_devices(devices),
      m_watchdog(watchdog)
{
}

CDeviceChip::CDeviceScope::CDeviceScope(CDeviceChip& chip, Operation enter, Operation leave)
    : m_chip(chip),
      m_leave(leave)
{
    (m_chip.*enter)();
}

CDeviceChip::CDeviceScope::~CDeviceScope()
{
    (m_chip.*m_leave)();
}

void CDeviceChip::EnterPmeDevice()
{
    if (m_devices.pme)
    {
        Config().EnterConfigMode();
        Config().SelectDevice(*m_devices.pme);
    }
}

void CDeviceChip::EnterWatchdogDevice()
{
    Config().EnterConfigMode();
    Config().SelectDevice(m_devices.watchdog);
}

void CDeviceChip::EnterHwMonitorDevice()
{
    Config().EnterConfigMode();
    Config().SelectDevice(m_devices.hwMonitor);
}

void CDeviceChip::LeavePmeDevice()
{
    if (m_devices.pme)
    {
        Config().ExitConfigMode();
    }
}

void CDeviceChip::LeaveWatchdogDevice()
{
    Config().ExitConfigMode();
}

void CDeviceChip::LeaveHwMonitorDevice()
{
    Config().ExitConfigMode();
}

void CDeviceChip::EnablePME()
{
    if (!m_watchdog.enablePme.empty())
    {
        const CPmeScope scope(*this);
        RunSteps(m_watchdog.enablePme);
    }
}

bool CDeviceChip::GetLastRebootStatus()
{
    if (!m_watchdog.rebootStatus)
    {
        return false;
    }
    const CPmeScope scope(*this);
    return TakeRebootStatus(*m_watchdog.rebootStatus);
}

void CDeviceChip::ConfigureWatchdog(std::uint8_t timeoutSec)
{
    m_watchdogTimeoutSec = timeoutSec;
    RunSteps(m_watchdog.beforeEntering);
    const CWatchdogScope scope(*this);
    RunSteps(m_watchdog.configure);
}

void CDeviceChip::DoPingWatchdog()
{
    const CWatchdogScope scope(*this);
    RunSteps(m_watchdog.ping);
}

void CDeviceChip::DoStopWatchdog()
{
    const CWatchdogScope scope(*this);
    m_watchdogTimeoutSec = 0;
    RunSteps(m_watchdog.stop);
    RunStopLoop(m_watchdog.stopLoop);
}

void CDeviceChip::ApplyAlarms(std::span<const AlarmRow> rows, const AlarmStatus& status)
{
    for (SensorDef& sensor : m_sensors)
    {
        bool bit = false;
        if (const AlarmRow* row = FindRow(rows, sensor.id))
        {
            switch (row->source)
            {
            case AlarmSource::A:
                bit = ((status.a >> row->bit) & 1) != 0;
                break;
            case AlarmSource::B:
                bit = ((status.b >> row->bit) & 1) != 0;
                break;
            case AlarmSource::C:
                bit = ((status.c >> row->bit) & 1) != 0;
                break;
            case AlarmSource::AtOrAboveMax:
                bit = sensor.current >= sensor.max;
                break;
            case AlarmSource::OutsideMinMax:
                bit = sensor.current > sensor.max || sensor.current < sensor.min;
                break;
            }
        }
        ApplyAlarmBit(sensor, bit);
    }
}
