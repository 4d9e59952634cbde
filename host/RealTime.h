// The host's own time. The C library's clocks may be simulated in this process (see SimTime.h); these are
// never.
#pragma once

#include <chrono>

namespace host
{
// The kernel's monotonic clock, by raw system call.
std::chrono::milliseconds RealNow();
} // namespace host
