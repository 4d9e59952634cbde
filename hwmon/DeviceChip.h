// What the chips share that are worked through named logical devices (register family, ITE family): the
// devices themselves and the watchdog.
#pragma once

#include "hwmon/ChipTables.h"
#include "hwmon/SuperIo.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>

struct LogicalDevices
{
    std::optional<std::uint8_t> pme; // power management; absent: the chip has none to prepare
    std::uint8_t watchdog;
    std::uint8_t hwMonitor;
};

struct DeviceWatchdogMap
{
    std::span<const Step> enablePme{};             // in the power-management device
    std::optional<RebootStatusRow> rebootStatus{}; // likewise
    std::span<const Step> beforeEntering{};        // of arming, outside configuration mode
    std::span<const Step> configure{};             // the rest in the watchdog device
    std::span<const Step> ping{};
    std::span<const Step> stop{};
    StopLoop stopLoop{};
};

class CDeviceChip : public CSuperIo
{
protected:
    // The map's rows outlive the chip.
    CDeviceChip(const ChipContext& context, std::string description, const LogicalDevices& devices,
                const DeviceWatchdogMap& watchdog);

    void DoPingWatchdog() override;
    void DoStopWatchdog() override;
    void EnterPmeDevice() override;
    void EnterWatchdogDevice() override;
    void EnterHwMonitorDevice() override;
    void LeavePmeDevice() override;
    void LeaveWatchdogDevice() override;
    void LeaveHwMonitorDevice() override;
    void EnablePME() override;
    bool GetLastRebootStatus() override;
    void ConfigureWatchdog(std::uint8_t timeoutSec) override;

    // One logical device, left on every way out of the scope.
    class CDeviceScope
    {
    public:
        using Operation = void (CDeviceChip::*)();
        CDeviceScope(CDeviceChip& chip, Operation enter, Operation leave);
        ~CDeviceScope();
        CDeviceScope(const CDeviceScope&) = delete;
        CDeviceScope& operator=(const CDeviceScope&) = delete;

    private:
        CDeviceChip& m_chip;
        const Operation m_leave;
    };

    class CPmeScope : CDeviceScope
    {
    public:
        explicit CPmeScope(CDeviceChip& chip)
            : CDeviceScope(chip, &CDeviceChip::EnterPmeDevice, &CDeviceChip::LeavePmeDevice)
        {
        }
    };

    class CWatchdogScope : CDeviceScope
    {
    public:
        explicit CWatchdogScope(CDeviceChip& chip)
            : CDeviceScope(chip, &CDeviceChip::EnterWatchdogDevice, &CDeviceChip::LeaveWatchdogDevice)
        {
        }
    };

    class CHwMonitorScope : CDeviceScope
    {
    public:
        explicit CHwMonitorScope(CDeviceChip& chip)
            : CDeviceScope(chip, &CDeviceChip::EnterHwMonitorDevice, &CDeviceChip::LeaveHwMonitorDevice)
        {
        }
    };

    // The three alarm status registers, as one poll read them.
    struct AlarmStatus
    {
        std::uint8_t a = 0;
        std::uint8_t b = 0;
        std::uint8_t c = 0;
    };

    // For every sensor, in list order; one without a row has a clear bit.
    void ApplyAlarms(std::span<const AlarmRow> rows, const AlarmStatus& status);

private:
    const LogicalDevices m_devices;
    const DeviceWatchdogMap m_watchdog;
};
