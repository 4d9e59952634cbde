#include "host/Fd.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

namespace host
{
CFd& CFd::operator=(CFd&& other) noexcept
{
    if (this != &other)
    {
        Reset();
        m_fd = other.Release();
    }
    return *this;
}

int CFd::Release() noexcept
{
    const int fd = m_fd;
    m_fd = -1;
    return fd;
}

void CFd::Reset() noexcept
{
    if (m_fd >= 0)
    {
        close(m_fd);
        m_fd = -1;
    }
}

CWakeup::CWakeup() : m_event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!m_event.IsOpen())
    {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

void CWakeup::Signal() const
{
    // Can only fail when the counter is full, and then the other side is awake anyway.
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(m_event.Get(), &one, sizeof one);
}

void CWakeup::Clear() const
{
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t taken = read(m_event.Get(), &count, sizeof count);
}
} // namespace host
