#include "hwmon/PortIo.h"

#include "frame/Log.h"

#include <sys/io.h>

#include <cerrno>

std::uint8_t CSystemPortIo::In(std::uint16_t port)
{
    std::uint8_t value = 0;
    asm volatile("inb %w1, %b0" : "=a"(value) : "Nd"(port));
    return value;
}

void CSystemPortIo::Out(std::uint16_t port, std::uint8_t value)
{
    asm volatile("outb %b0, %w1" : : "a"(value), "Nd"(port));
}

int CSystemPortIo::SetPermission(std::uint16_t first, int count, bool on)
{
    return ioperm(first, static_cast<unsigned long>(count), on ? 1 : 0) == 0 ? 0 : errno;
}

std::uint8_t ReadPort(CPortIo& ports, std::uint16_t port)
{
    const std::uint8_t value = ports.In(port);
    ports.Out(kPostPort, value);
    return value;
}

void WritePort(CPortIo& ports, std::uint16_t port, std::uint8_t value)
{
    ports.Out(port, value);
    ports.Out(kPostPort, value);
}

bool AccessIoPorts(CPortIo& ports, std::uint16_t first, int count, bool acquire, const char* label)
{
    const char* const action = acquire ? "acquire" : "release";
    if (const int error = ports.SetPermission(first, count, acquire); error != 0)
    {
        Log(LogWarning, "SENSORS: Can't %s %s port [0x%04X] (error %d).", action, label, unsigned{first},
            error);
        return false;
    }
    Log(LogDebug, "SENSORS: Did %s %s port [0x%04X].", action, label, unsigned{first});
    return true;
}
