// A Super I/O chip's configuration registers: an index and a data port that answer only between the chip's
// enter and exit sequence.
#pragma once

#include <cstdint>
#include <vector>

class CPortIo;

// Chip ID of "no supported chip".
inline constexpr std::uint32_t kNoChipId = 0xFFF0;

// Selects the logical device whose registers appear from 0x30 on.
inline constexpr std::uint8_t kDeviceSelectRegister = 0x07;

// What detection finds out.
struct SuperIoInfo
{
    std::uint32_t chipId = kNoChipId;          // normalised: revision bits cleared
    std::uint16_t configIndexPort = 0;         // 0x2E or 0x4E; the data port is the next one
    std::uint16_t monitorIndexPort = 0;        // likewise
    std::vector<std::uint8_t> enterSequence{}; // written to the index port
    std::vector<std::uint8_t> exitSequence{};  // likewise
};

// Not locked; the chip operation that uses it has the ports to itself.
class CConfigAccess
{
public:
    // `ports` is lent for the object's life.
    CConfigAccess(CPortIo& ports, SuperIoInfo info);

    void EnterConfigMode() const;
    void ExitConfigMode() const;

    // In configuration mode only.
    [[nodiscard]] std::uint8_t ReadConfigRegister(std::uint8_t reg) const;
    void WriteConfigRegister(std::uint8_t reg, std::uint8_t value) const;
    void SelectDevice(std::uint8_t device) const { WriteConfigRegister(kDeviceSelectRegister, device); }

    [[nodiscard]] const SuperIoInfo& Info() const { return m_info; }

private:
    CPortIo& m_ports;
    const SuperIoInfo m_info;
};

// Configuration mode with one logical device selected, left on every way out of the scope.
class CConfigScope
{
public:
    CConfigScope(const CConfigAccess& config, std::uint8_t device);
    ~CConfigScope();
    CConfigScope(const CConfigScope&) = delete;
    CConfigScope& operator=(const CConfigScope&) = delete;

private:
    const CConfigAccess& m_config;
};
