#include "host/PortTrap.h"

#include "host/SimTime.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace host
{
namespace
{
constexpr std::size_t kPortCount = 65536;

// What one thread may access, as the kernel's bitmap of a task.
struct PortSet
{
    std::array<std::uint64_t, kPortCount / 64> words{};
    bool isUsed = false; // a permission was once given

    [[nodiscard]] bool Has(std::uint16_t port) const { return (words[port / 64] >> port % 64 & 1) != 0; }

    void Set(std::size_t port, bool on)
    {
        const std::uint64_t bit = std::uint64_t{1} << port % 64;
        words[port / 64] = on ? words[port / 64] | bit : words[port / 64] & ~bit;
    }
};

thread_local constinit PortSet t_permissions;

std::atomic<sim::CIoPorts*> g_ports{nullptr}; // null: the kernel's
std::atomic<CPortTrace*> g_trace{nullptr};
std::atomic<std::chrono::nanoseconds::rep> g_switchedOnNs{0};
struct sigaction g_previous; // what faults did before; written while nothing is trapped

struct Instruction
{
    std::uint16_t port = 0;
    bool isWrite = false;
    unsigned length = 0; // bytes; 0: none of ours
};

// The four byte-wide forms. Compilers put no prefix before them.
Instruction Decode(const std::uint8_t* code, std::uint16_t dx)
{
    switch (code[0])
    {
    case 0xEC: // in al, dx
        return {dx, false, 1};
    case 0xEE: // out dx, al
        return {dx, true, 1};
    case 0xE4: // in al, imm8
        return {code[1], false, 2};
    case 0xE6: // out imm8, al
        return {code[1], true, 2};
    default:
        return {};
    }
}

sim::SimTime Now()
{
    const std::chrono::nanoseconds switchedOn(g_switchedOnNs.load(std::memory_order_relaxed));
    return std::chrono::duration_cast<sim::SimTime>(simtime::MonotonicNow() - switchedOn);
}

// Does the instruction at which the thread stands, if it is a port access that the thread may do.
bool Execute(mcontext_t& machine)
{
    constexpr greg_t kLowByte = 0xFF;
    greg_t& rip = machine.gregs[REG_RIP];
    greg_t& rax = machine.gregs[REG_RAX];
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the context holds addresses as numbers
    const auto* const code = reinterpret_cast<const std::uint8_t*>(rip);
    const Instruction found = Decode(code, static_cast<std::uint16_t>(machine.gregs[REG_RDX]));
    sim::CIoPorts* const ports = g_ports.load(std::memory_order_acquire);
    if (found.length == 0 || ports == nullptr || !t_permissions.Has(found.port))
    {
        return false;
    }
    PortAccess access{Now(), found.port, static_cast<std::uint8_t>(rax & kLowByte), found.isWrite};
    if (access.isWrite)
    {
        ports->Out(access.port, access.value, access.at);
    }
    else
    {
        access.value = ports->In(access.port, access.at);
        rax = (rax & ~kLowByte) | access.value;
    }
    g_trace.load(std::memory_order_relaxed)->Note(access);
    rip += found.length;
    return true;
}

// Runs on the thread that stands at the instruction, inside code that knows nothing of it: no allocation, no
// lock, errno as it was.
void OnFault(int signal, siginfo_t* info, void* context)
{
    const int error = errno;
    // A refused instruction comes as a general protection fault and thus without an address. The code can
    // then be read, because the processor has read it.
    const bool isRefused = info->si_code == SI_KERNEL;
    if (!isRefused || !Execute(static_cast<ucontext_t*>(context)->uc_mcontext))
    {
        sigaction(signal, &g_previous, nullptr);
        if (info->si_code <= 0)
        {
            raise(signal); // sent by somebody: nothing would repeat it
        }
        // Otherwise the instruction faults again, with all its registers, for whoever looks at the core.
    }
    errno = error;
}

// A thread's start when its creator has something to leave to it.
struct Birth
{
    void* (*start)(void*);
    void* argument;
    PortSet permissions;
};

extern "C" void* StartWithPermissions(void* argument)
{
    const std::unique_ptr<Birth> birth(static_cast<Birth*>(argument));
    t_permissions = birth->permissions;
    void* (*const start)(void*) = birth->start;
    return start(birth->argument);
}
} // namespace

void TrapPorts(sim::CIoPorts& ports, CPortTrace& trace, std::chrono::steady_clock::time_point switchedOn)
{
    g_switchedOnNs.store(std::chrono::nanoseconds(switchedOn.time_since_epoch()).count());
    g_trace.store(&trace);
    if (g_ports.exchange(&ports) == nullptr)
    {
        struct sigaction action = {};
        action.sa_sigaction = OnFault;
        action.sa_flags = SA_SIGINFO;
        sigaction(SIGSEGV, &action, &g_previous);
    }
}

void ReleasePorts()
{
    if (g_ports.exchange(nullptr) != nullptr)
    {
        sigaction(SIGSEGV, &g_previous, nullptr);
    }
    t_permissions = {};
}
} // namespace host

// The C library's names. Default visibility, or the dynamic linker would not offer them to the plug-in.
#define HOST_EXPORT extern "C" [[gnu::visibility("default")]]

HOST_EXPORT int ioperm(unsigned long from, unsigned long count, int on) noexcept
{
    using namespace host;
    sim::CIoPorts* const ports = g_ports.load(std::memory_order_acquire);
    if (ports == nullptr)
    {
        return static_cast<int>(syscall(SYS_ioperm, from, count, on));
    }
    if (count == 0 || count > kPortCount || from > kPortCount - count)
    {
        errno = EINVAL;
        return -1;
    }
    const int error =
        ports->SetPermission(static_cast<std::uint16_t>(from), static_cast<int>(count), on != 0);
    if (error != 0)
    {
        errno = error;
        return -1;
    }
    for (std::size_t port = from; port != from + count; ++port)
    {
        t_permissions.Set(port, on != 0);
    }
    t_permissions.isUsed |= on != 0;
    return 0;
}

HOST_EXPORT int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                               void* argument) noexcept
{
    using namespace host;
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto next = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    if (!t_permissions.isUsed)
    {
        return next(thread, attributes, start, argument);
    }
    std::unique_ptr<Birth> birth(new (std::nothrow) Birth{start, argument, t_permissions});
    if (birth == nullptr)
    {
        return EAGAIN;
    }
    const int error = next(thread, attributes, StartWithPermissions, birth.get());
    if (error == 0)
    {
        [[maybe_unused]] const Birth* const theThreads = birth.release();
    }
    return error;
}
