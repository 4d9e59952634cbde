#include "host/Terminal.h"

#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>

namespace host
{
namespace
{
// Alternate screen, cursor off, no wrapping at the right edge; and back.
constexpr std::string_view kEnter = "\x1b[?1049h\x1b[?25l\x1b[?7l\x1b[H\x1b[2J";
constexpr std::string_view kLeave = "\x1b[0m\x1b[?7h\x1b[?25h\x1b[?1049l";

constexpr std::array<int, 6> kFaults{SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGQUIT};

// Terminal shown at the moment, -1 none; read by the fault handler.
std::atomic<int> g_fd{-1};
termios g_before; // written before g_fd
bool g_hasBefore = false;

bool WriteAll(int fd, std::string_view bytes)
{
    while (!bytes.empty())
    {
        const ssize_t written = write(fd, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR)
        {
            return false;
        }
        bytes.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
    return true;
}

// The handler was installed for one delivery: returning runs into the fault again, now with its default
// action.
void OnFault(int signal)
{
    RestoreTerminal();
    raise(signal);
}

void WatchFaults()
{
    for (const int signal : kFaults)
    {
        struct sigaction before = {};
        sigaction(signal, nullptr, &before);
        // Somebody else's handler (a sanitizer's, the simulated ports') stays.
        if (before.sa_handler == SIG_DFL && (before.sa_flags & SA_SIGINFO) == 0)
        {
            struct sigaction action = {};
            action.sa_handler = OnFault;
            action.sa_flags = static_cast<int>(SA_RESETHAND);
            sigemptyset(&action.sa_mask);
            sigaction(signal, &action, nullptr);
        }
    }
}
} // namespace

CTerminal::CTerminal(int fd) : m_fd(fd)
{
    WatchFaults();
    Enter();
}

CTerminal::~CTerminal()
{
    Leave();
}

void CTerminal::Enter()
{
    if (m_entered)
    {
        return;
    }
    g_hasBefore = tcgetattr(m_fd, &g_before) == 0;
    if (g_hasBefore)
    {
        termios quiet = g_before;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(m_fd, TCSANOW, &quiet);
    }
    g_fd.store(m_fd, std::memory_order_release);
    m_entered = true;
    WriteAll(m_fd, kEnter);
}

void CTerminal::Leave()
{
    m_entered = false;
    RestoreTerminal();
}

ScreenSize CTerminal::Size() const
{
    winsize size{};
    if (ioctl(m_fd, TIOCGWINSZ, &size) != 0 || size.ws_row == 0 || size.ws_col == 0)
    {
        return {};
    }
    return {size.ws_row, size.ws_col};
}

bool CTerminal::Write(std::string_view bytes) const
{
    return WriteAll(m_fd, bytes);
}

void RestoreTerminal()
{
    const int fd = g_fd.exchange(-1, std::memory_order_acq_rel);
    if (fd < 0)
    {
        return;
    }
    WriteAll(fd, kLeave);
    if (g_hasBefore)
    {
        tcsetattr(fd, TCSANOW, &g_before);
    }
}
} // namespace host
