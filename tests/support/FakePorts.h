// A Super I/O chip behind its ports: configuration registers in logical devices, monitor registers in banks.
// Keeps every access as it sees it.
#pragma once

#include "hwmon/PortIo.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// Where and how the chip is wired.
struct FakeChipWiring
{
    std::uint16_t rawId = 0xA023;
    std::uint16_t configIndex = 0x2E;
    std::vector<std::uint8_t> enter{0x87, 0x87};
    std::vector<std::uint8_t> exit{0xAA};
    std::uint8_t monitorDevice = 0x0B;
    std::uint16_t monitorBase = 0x290;
    std::uint8_t bankSelect = 0x4E; // 0: no banks
};

// Any thread; registers are set up while no other thread uses the ports.
class CFakePorts final : public CPortIo
{
public:
    explicit CFakePorts(const FakeChipWiring& wiring = {});

    std::uint8_t In(std::uint16_t port) override { return Access(port, std::nullopt); }
    void Out(std::uint16_t port, std::uint8_t value) override { Access(port, value); }
    int SetPermission(std::uint16_t first, int count, bool on) override;

    // Registers. Configuration registers below 0x30 are the same in every device.
    std::uint8_t& Config(int device, int reg) { return m_config[Key(device, reg)]; }
    std::uint8_t& Monitor(int reg) { return m_monitor[reg]; }

    // From now on this configuration register reads so, whatever is written.
    void FixConfig(int device, int reg, std::uint8_t value) { m_fixed[Key(device, reg)] = value; }

    // Refuses these ports with that errno.
    void Refuse(std::uint16_t first, int error) { m_refusals[first] = error; }

    // Ports that are granted now.
    [[nodiscard]] const std::set<int>& Granted() const { return m_granted; }

    // The accesses since the last call, separated by blanks. Configuration: "enter", "exit", "C30?" (read),
    // "C30=01" (write), in lower case while the chip is not in configuration mode. Monitor: "B5" (bank
    // written), "M50?", "M50=01". Anything that breaks the rules of the bus is told with a "!".
    std::string TakeRegisters();

    // The same bus as bytes: "2E=87" out, "2F?23" in, "+2E,2" and "-2E,2" permissions.
    std::string TakeBytes() { return std::exchange(m_bytes, {}); }

    // The threads of the register accesses, in their order; forgotten with them.
    [[nodiscard]] std::vector<std::thread::id> Threads() const { return m_threads; }

private:
    static int Key(int device, int reg) { return reg < 0x30 ? reg : (device << 8) | reg; }
    void Tell(const std::string& access);
    std::uint8_t Access(std::uint16_t port, std::optional<std::uint8_t> written);
    void CheckAccess(std::uint16_t port);
    void OutConfigIndex(std::uint8_t value);
    std::uint8_t AccessConfig(std::optional<std::uint8_t> written);
    std::uint8_t AccessMonitor(std::optional<std::uint8_t> written);

    const FakeChipWiring m_wiring;
    mutable std::mutex m_mutex; // guards the rest during In, Out, SetPermission
    std::map<int, std::uint8_t> m_config;
    std::map<int, std::uint8_t> m_fixed;
    std::map<int, std::uint8_t> m_monitor;
    std::map<int, int> m_refusals;
    std::set<int> m_granted;
    std::vector<std::uint8_t> m_indexBytes; // written to the index port since the last data access
    bool m_open = false;                    // in configuration mode
    std::uint8_t m_monitorIndex = 0;
    std::uint8_t m_bank = 0;
    std::optional<std::uint8_t> m_owedToPost; // the byte that the I/O delay has to write next
    std::string m_registers;
    std::string m_bytes;
    std::vector<std::thread::id> m_threads;
};
