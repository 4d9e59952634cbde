// A lock that is handed over in the order it was asked for. A watchdog ping that comes during a sensor poll
// is next, however soon another poll follows: an ordinary mutex may be taken again by the thread that has
// just let it go, and then the ping waits on.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

// Lockable, for std::lock_guard. Not recursive.
class CFifoLock
{
public:
    CFifoLock() = default;
    CFifoLock(const CFifoLock&) = delete;
    CFifoLock& operator=(const CFifoLock&) = delete;

    void lock() // NOLINT(readability-identifier-naming): the standard's name for it
    {
        std::unique_lock guard(m_mutex);
        const std::uint64_t mine = m_nextTicket++;
        m_served.wait(guard, [this, mine] { return m_nowServed == mine; });
    }

    void unlock() // NOLINT(readability-identifier-naming): likewise
    {
        const std::lock_guard guard(m_mutex);
        ++m_nowServed;
        m_served.notify_all();
    }

private:
    std::mutex m_mutex; // guards the two numbers
    std::condition_variable m_served;
    std::uint64_t m_nextTicket = 0;
    std::uint64_t m_nowServed = 0;
};
