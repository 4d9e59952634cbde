// The processor's I/O ports. Everything above works on CPortIo; only CSystemPortIo touches the machine.
#pragma once

#include <cstdint>

// The POST-code port: nothing answers there, so a write costs about a microsecond and serves as I/O delay.
inline constexpr std::uint16_t kPostPort = 0x80;

class CPortIo
{
public:
    virtual ~CPortIo() = default;

    // One byte-wide access. The caller holds permission for the port.
    virtual std::uint8_t In(std::uint16_t port) = 0;
    virtual void Out(std::uint16_t port, std::uint8_t value) = 0;

    // Takes or gives back ports first .. first + count - 1 for the calling thread; threads that it creates
    // later inherit what it holds then. 0, or the errno of the refusal.
    virtual int SetPermission(std::uint16_t first, int count, bool on) = 0;
};

// Port instructions and ioperm. Stateless. An access without permission ends the process.
class CSystemPortIo final : public CPortIo
{
public:
    std::uint8_t In(std::uint16_t port) override;
    void Out(std::uint16_t port, std::uint8_t value) override;
    int SetPermission(std::uint16_t first, int count, bool on) override;
};

// One access followed by the I/O delay: the same byte written to the POST port.
std::uint8_t ReadPort(CPortIo& ports, std::uint16_t port);
void WritePort(CPortIo& ports, std::uint16_t port, std::uint8_t value);

// SetPermission with its log line, in which `label` names the ports. False when refused.
bool AccessIoPorts(CPortIo& ports, std::uint16_t first, int count, bool acquire, const char* label);
