#include "host/PortGuard.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

namespace
{
std::atomic<bool> g_refuse{false};
} // namespace

namespace host
{
void RefusePorts()
{
    g_refuse.store(true);
}
} // namespace host

extern "C" [[gnu::visibility("default")]] int ioperm(unsigned long from, unsigned long count, int on) noexcept
{
    if (g_refuse.load())
    {
        errno = EPERM;
        return -1;
    }
    return static_cast<int>(syscall(SYS_ioperm, from, count, on));
}
