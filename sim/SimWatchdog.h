// The watchdog of a simulated Super I/O chip: counts in simulated time and, when nobody reloads it, resets
// the appliance.
#pragma once

#include "sim/SimTime.h"
#include "sim/SuperIoRows.h"

#include <array>
#include <cstdint>

namespace sim
{
using DeviceRegisters = std::array<std::uint8_t, 256>;
using ConfigRegisters = std::array<DeviceRegisters, kMaxDevices>;

// Not locked: the chip's flag guards it. Works on the chip's configuration registers, which are lent.
class CSimWatchdog
{
public:
    CSimWatchdog(const WatchdogRows& rows, ConfigRegisters& registers) : m_rows(rows), m_registers(registers)
    {
    }

    // After a write to a configuration register of any device; `before` is its former content.
    void Written(std::uint8_t device, std::uint8_t reg, std::uint8_t before, SimTime now);

    // The count register as it reads at `now`.
    [[nodiscard]] std::uint8_t ReadCount(SimTime now) const;
    [[nodiscard]] bool IsCount(std::uint8_t device, std::uint8_t reg) const
    {
        return device == m_rows.device && reg == m_rows.count;
    }

    // Whether it has run out by `now` and resets the appliance with that. True once.
    bool RunsOut(SimTime now);

    void Stop() { m_isCounting = false; }

    // Whether it will reset the appliance unless it is reloaded.
    [[nodiscard]] bool IsArmed() const;
    [[nodiscard]] int TimeoutSec() const;
    [[nodiscard]] SimTime Left(SimTime now) const;

    [[nodiscard]] const WatchdogRows& Rows() const { return m_rows; }

private:
    [[nodiscard]] const DeviceRegisters& Device() const { return m_registers[m_rows.device]; }
    [[nodiscard]] bool IsSet(RegisterBits bits) const { return (Device()[bits.reg & 0xFF] & bits.mask) != 0; }
    void KeepStatus(std::uint8_t device, std::uint8_t reg, std::uint8_t before);
    [[nodiscard]] int Count() const;
    [[nodiscard]] int UnitSec() const;

    const WatchdogRows& m_rows;
    ConfigRegisters& m_registers;
    bool m_isCounting = false;
    SimTime m_deadline{0};
};
} // namespace sim
