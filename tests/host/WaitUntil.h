// Waiting for other threads on the kernel's time, whatever the clock of the test does.
#pragma once

#include "host/RealTime.h"

#include <poll.h>

// Asks once a millisecond; false when the condition does not hold within 20 s.
template <typename Condition>
bool WaitUntil(Condition condition)
{
    const auto deadline = host::RealNow() + std::chrono::seconds(20);
    while (!condition())
    {
        if (host::RealNow() > deadline)
        {
            return false;
        }
        poll(nullptr, 0, 1);
    }
    return true;
}
