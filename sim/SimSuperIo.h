// A simulated Super I/O chip on its ports: configuration mode, logical devices, and behind them hardware
// monitor and watchdog. One engine; the chips are rows (SuperIoRows.h).
#pragma once

#include "sim/IoPorts.h"
#include "sim/SimHwMonitor.h"
#include "sim/SimWatchdog.h"
#include "sim/SuperIoRows.h"

#include <atomic>
#include <cstdint>

namespace sim
{
enum class ChipFault
{
    None,
    Dead,   // reads as all ones and takes no writes; what is inside goes on
    Random, // reads as anything
    Stuck,  // one line of the data bus stands still
};

// Every operation takes the chip's flag, for the time of one access. Accesses come from the handler of a
// trapped instruction, on any thread; they wait for nothing else and allocate nothing.
class CSimSuperIo final : public CIoPorts
{
public:
    // `rows` is kept.
    explicit CSimSuperIo(const SuperIoRows& rows);

    std::uint8_t In(std::uint16_t port, SimTime now) noexcept override;
    void Out(std::uint16_t port, std::uint8_t value, SimTime now) noexcept override;
    int SetPermission(std::uint16_t first, int count, bool on) noexcept override;

    [[nodiscard]] const SuperIoRows& Rows() const { return m_rows; }
    [[nodiscard]] int ChannelCount(Quantity quantity) const;

    // Moves a physical value evenly, within `length`. Pre: number from 1 to ChannelCount.
    void SetValue(Quantity quantity, int number, int value, SimTime length, SimTime now);

    // `stuckBit`: 0 to 7, with ChipFault::Stuck.
    void SetFault(ChipFault fault, int stuckBit = 0, bool stuckHigh = false);

    // Whether permissions are refused, with EPERM.
    void SetRefusal(bool refuses);

    // Lets the watchdog run out when it is due.
    void Tick(SimTime now);
    [[nodiscard]] WatchdogView Watchdog(SimTime now);

    // Whether the watchdog has reset the appliance since the last call. The chip is then as the firmware
    // leaves it, but for the status bits that tell of the time-out. Until this call it stays as it was, with
    // its watchdog stopped: what still runs then would not run on a machine.
    bool TakeReset();

    // Whether configuration mode has been entered and not left.
    [[nodiscard]] bool IsOpen() const { return m_isOpen; }

private:
    class CFlag;

    void PowerOn();
    void LetRunOut(SimTime now);
    void OutConfigIndex(std::uint8_t value);
    std::uint8_t ReadConfig(SimTime now);
    void WriteConfig(std::uint8_t value, SimTime now);
    std::uint8_t& Config(std::uint8_t device, std::uint8_t reg);
    [[nodiscard]] bool AnswersAt(std::uint16_t port, int offset) const;
    [[nodiscard]] std::uint8_t Answer(std::uint16_t port, SimTime now);
    [[nodiscard]] std::uint8_t Disturb(std::uint8_t value);

    const SuperIoRows& m_rows;
    std::atomic_flag m_busy = ATOMIC_FLAG_INIT; // guards the rest
    ConfigRegisters m_config{};                 // registers below 0x30 live in device 0
    CSimHwMonitor m_monitor;
    CSimWatchdog m_watchdog;
    std::uint8_t m_index = 0;
    bool m_isOpen = false;
    std::size_t m_keyBytes = 0; // of the enter or exit sequence, so far
    ChipFault m_fault = ChipFault::None;
    std::uint8_t m_stuckMask = 0;
    bool m_stuckHigh = false;
    std::uint32_t m_noise = 0x2545F491;
    bool m_refuses = false;
    bool m_isReset = false; // not yet taken
    unsigned m_resetCount = 0;
};
} // namespace sim
