// The motherboard's Super I/O chip: hardware monitor and watchdog. No chip class is part of this version, so
// detection ends as it does on a board without a supported chip; the manager works against this interface.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class CXmlDocument;
class TiXmlElement;

// Chip ID of "no supported chip".
inline constexpr std::uint32_t kNoChipId = 0xFFF0;

struct SuperIoInfo
{
    std::uint32_t chipId = kNoChipId;  // normalised: revision bits cleared
    std::uint16_t configIndexPort = 0; // 0x2E or 0x4E; the data port is the next one
    std::uint16_t monitorIndexPort = 0;
    std::vector<std::uint8_t> enterSequence;
    std::vector<std::uint8_t> exitSequence;
};

// One chip. Pings come from the heartbeat thread, everything else from the main loop; each operation has the
// ports to itself from its first access to its last.
class CSuperIo
{
public:
    virtual ~CSuperIo();

    // Reported to the host as the watchdog's source.
    [[nodiscard]] virtual std::string Description() const = 0;

    // Identity of the board, matched against the board file.
    virtual void SetMotherboard(const std::string& vendor, const std::string& model) = 0;

    // Reads this board's sensors from the board file and starts monitoring them; false when the board is not
    // in it.
    virtual bool InitHwMonitoring(const CXmlDocument& boardFile) = 0;

    // Ends monitoring: the sensor list is emptied.
    virtual void StopHwMonitoring() = 0;
    virtual void PollSensors() = 0;

    // Appends the sensor elements, all of them when `full`, else the changed ones; true when one carries an
    // alarm state.
    virtual bool AddSensorElements(TiXmlElement& parent, bool full) = 0;

    // Whether the board file allows the watchdog on this board.
    [[nodiscard]] virtual bool IsWatchdogAllowed() const = 0;

    // True when the watchdog was armed. `timeoutSec`: 10 to 255.
    virtual bool StartWatchdog(std::uint8_t timeoutSec, const CXmlDocument& boardFile) = 0;
    virtual void PingWatchdog() = 0;
    virtual void StopWatchdog() = 0;
};

SuperIoInfo DetectSuperIo();

// Null for an ID without a chip class.
std::unique_ptr<CSuperIo> CreateSuperIo(const std::string& motherboardVendor, const SuperIoInfo& info);
