// A lock that is handed over in the order it was asked for. A watchdog ping that comes during a sensor poll
// is next, however soon another poll follows: an ordinary mutex may be taken again by the thread that has
// just let it go, and then the ping waits on.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

// Lockable, for std::lock_guard. Not recursive.
class CFifoLock
{
public:
    CFifoLock() = default;
    CFifoLock(const CFifoLock&) = delete;
    CFifoLock& operator=(const CFifoLock&) = delete;

    void lock() // NOLINT(readability-identifier-naming): the standard's name for it
    {
        const std::uint64_t mine = m_nextTicket++;
        // Putting a thread to sleep and waking it can take longer than a whole poll, so that is left to waits
        // beyond the length of one.
        constexpr int kLooks = 1000; // some hundred microseconds
        for (int look = 0; look < kLooks; ++look)
        {
            if (m_nowServed == mine)
            {
                return;
            }
            std::this_thread::yield();
        }
        std::unique_lock guard(m_mutex);
        m_served.wait(guard, [this, mine] { return m_nowServed == mine; });
    }

    void unlock() // NOLINT(readability-identifier-naming): likewise
    {
        const std::lock_guard guard(m_mutex); // nobody falls asleep between the number and the call
        ++m_nowServed;
        m_served.notify_all();
    }

private:
    std::atomic<std::uint64_t> m_nextTicket{0};
    std::atomic<std::uint64_t> m_nowServed{0};
    std::mutex m_mutex;
    std::condition_variable m_served;
};
