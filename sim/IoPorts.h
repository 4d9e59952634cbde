// The simulated appliance's I/O ports, as the processor's port instructions see them.
#pragma once

#include "sim/SimTime.h"

#include <cstdint>

namespace sim
{
// Called from the handler of a trapped port instruction, on any thread of the host: fixed memory, no
// allocation, no stdio, no lock that the interrupted thread could hold.
class CIoPorts
{
public:
    virtual ~CIoPorts() = default;

    // 0xFF where nothing answers.
    virtual std::uint8_t In(std::uint16_t port, SimTime now) noexcept = 0;
    virtual void Out(std::uint16_t port, std::uint8_t value, SimTime now) noexcept = 0;

    // As ioperm for ports first .. first + count - 1: 0, or the errno of the refusal.
    virtual int SetPermission(std::uint16_t first, int count, bool on) noexcept = 0;
};

// The appliance's hardware watchdog at one moment, for whoever looks at the machine from outside.
struct WatchdogView
{
    bool isArmed = false;
    int timeoutSec = 0;      // as last written to the chip
    SimTime left{0};         // until it resets the appliance, while armed
    unsigned resetCount = 0; // since the appliance was switched on
};
} // namespace sim
