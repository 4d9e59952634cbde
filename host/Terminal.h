// The terminal while it shows the screen: alternate screen, no cursor, no echo; put back on every way out.
#pragma once

#include "host/Screen.h"

#include <string_view>

namespace host
{
// One in the process. Also a process that dies of a fault (SIGSEGV, SIGABRT and the like) leaves the terminal
// in order.
class CTerminal
{
public:
    // Enters. `fd` is the terminal for both directions.
    explicit CTerminal(int fd);
    ~CTerminal();
    CTerminal(const CTerminal&) = delete;
    CTerminal& operator=(const CTerminal&) = delete;

    void Enter();
    void Leave();

    [[nodiscard]] ScreenSize Size() const;

    // False when the terminal is gone.
    bool Write(std::string_view bytes) const;

private:
    const int m_fd;
    bool m_entered = false;
};

// Leaves the screen if it is shown; for the ways out that run no destructor. Async-signal-safe.
void RestoreTerminal();
} // namespace host
