#include "hwmon/ConfigAccess.h"

#include "hwmon/PortIo.h"

#include <utility>

CConfigAccess::CConfigAccess(CPortIo& ports, SuperIoInfo info) : m_ports(ports), m_info(std::move(info)) {}

void CConfigAccess::EnterConfigMode() const
{
    for (const std::uint8_t byte : m_info.enterSequence)
    {
        WritePort(m_ports, m_info.configIndexPort, byte);
    }
}

void CConfigAccess::ExitConfigMode() const
{
    for (const std::uint8_t byte : m_info.exitSequence)
    {
        WritePort(m_ports, m_info.configIndexPort, byte);
    }
}

std::uint8_t CConfigAccess::ReadConfigRegister(std::uint8_t reg) const
{
    WritePort(m_ports, m_info.configIndexPort, reg);
    return ReadPort(m_ports, static_cast<std::uint16_t>(m_info.configIndexPort + 1));
}

void CConfigAccess::WriteConfigRegister(std::uint8_t reg, std::uint8_t value) const
{
    WritePort(m_ports, m_info.configIndexPort, reg);
    WritePort(m_ports, static_cast<std::uint16_t>(m_info.configIndexPort + 1), value);
}

CConfigScope::CConfigScope(const CConfigAccess& config, std::uint8_t device) : m_config(config)
{
    m_config.EnterConfigMode();
    m_config.SelectDevice(device);
}

CConfigScope::~CConfigScope()
{
    m_config.ExitConfigMode();
}
