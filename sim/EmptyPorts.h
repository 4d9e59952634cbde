// The I/O ports of a board on which nothing answers. Permissions are granted or refused all the same.
#pragma once

#include "sim/IoPorts.h"

#include <atomic>
#include <cerrno>

namespace sim
{
class CEmptyPorts final : public CIoPorts
{
public:
    std::uint8_t In(std::uint16_t /*port*/, SimTime /*now*/) noexcept override { return 0xFF; }
    void Out(std::uint16_t /*port*/, std::uint8_t /*value*/, SimTime /*now*/) noexcept override {}
    int SetPermission(std::uint16_t /*first*/, int /*count*/, bool on) noexcept override
    {
        return on && m_refuses ? EPERM : 0;
    }

    void SetRefusal(bool refuses) { m_refuses = refuses; }

private:
    std::atomic<bool> m_refuses = false;
};
} // namespace sim
