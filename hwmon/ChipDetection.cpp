#include "frame/Log.h"
#include "hwmon/Chips.h"
#include "hwmon/PortIo.h"

#include <array>

namespace
{
constexpr auto kConfigIndexPorts = std::to_array<std::uint16_t>({0x2E, 0x4E});
constexpr int kPortPair = 2;

// A way into configuration mode and out again.
struct ConfigAccessMethod
{
    std::vector<std::uint8_t> enterSequence;
    std::vector<std::uint8_t> exitSequence;
};

std::array<ConfigAccessMethod, 2> AccessMethods()
{
    return {{{.enterSequence = {0x87, 0x87}, .exitSequence = {0xAA}},
             {.enterSequence = {0x87, 0x01, 0x55, 0x55}, .exitSequence = {0x02, 0x02}}}};
}

constexpr std::uint8_t kIdHighRegister = 0x20;
constexpr std::uint8_t kIdLowRegister = 0x21;
constexpr std::uint8_t kBaseHighRegister = 0x60;
constexpr std::uint8_t kBaseLowRegister = 0x61;
constexpr int kMonitorIndexOffset = 5; // from the monitor's base address

// The one chip whose low digit is no revision.
constexpr std::uint32_t kWholeId = 0x8728;
constexpr std::uint32_t kRevisionMask = 0x000F;

std::uint32_t ReadWord(const CConfigAccess& config, std::uint8_t highRegister, std::uint8_t lowRegister)
{
    const std::uint32_t high = config.ReadConfigRegister(highRegister);
    return high << 8 | config.ReadConfigRegister(lowRegister);
}

// Completes `info` when a supported chip answers and its monitor ports are granted. In configuration mode.
bool Identify(const CConfigAccess& config, CPortIo& ports, SuperIoInfo& info)
{
    const std::uint32_t rawId = ReadWord(config, kIdHighRegister, kIdLowRegister);
    const std::uint32_t id = rawId == kWholeId ? rawId : rawId & ~kRevisionMask;
    for (const ChipRow& chip : SupportedChips())
    {
        if (chip.id == id)
        {
            info.chipId = id;
            config.SelectDevice(chip.hwMonitorDevice);
            info.monitorIndexPort = static_cast<std::uint16_t>(
                ReadWord(config, kBaseHighRegister, kBaseLowRegister) + kMonitorIndexOffset);
            return AccessIoPorts(ports, info.monitorIndexPort, kPortPair, true, "HWmgmt");
        }
    }
    Log(LogDebug, "SENSORS: Read invalid chip ID [0x%04X] from EFIR [0x%04X]", rawId,
        unsigned{info.configIndexPort});
    return false;
}

bool TryMethod(const ConfigAccessMethod& method, CPortIo& ports, SuperIoInfo& info)
{
    info.enterSequence = method.enterSequence;
    info.exitSequence = method.exitSequence;
    const CConfigAccess config(ports, info);
    config.EnterConfigMode();
    const bool found = Identify(config, ports, info);
    config.ExitConfigMode();
    return found;
}

// Keeps the port's permission when a chip is found.
bool TryPort(std::uint16_t port, CPortIo& ports, SuperIoInfo& info)
{
    if (!AccessIoPorts(ports, port, kPortPair, true, "EFIR"))
    {
        return false;
    }
    info.configIndexPort = port;
    for (const ConfigAccessMethod& method : AccessMethods())
    {
        if (TryMethod(method, ports, info))
        {
            return true;
        }
    }
    AccessIoPorts(ports, port, kPortPair, false, "EFIR");
    return false;
}
} // namespace

SuperIoInfo DetectSuperIo(CPortIo& ports)
{
    if (!AccessIoPorts(ports, kPostPort, 1, true, "general"))
    {
        return {};
    }
    for (const std::uint16_t port : kConfigIndexPorts)
    {
        SuperIoInfo info;
        if (TryPort(port, ports, info))
        {
            Log(LogInfo, "SENSORS: Detected super I/O chip ID [0x%04X] efir [0x%04X] hwmir [0x%04X]",
                info.chipId, unsigned{info.configIndexPort}, unsigned{info.monitorIndexPort});
            return info;
        }
    }
    Log(LogWarning, "SENSORS: No supported super I/O detected.");
    AccessIoPorts(ports, kPostPort, 1, false, "general");
    return {};
}
