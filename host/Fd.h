// Small owners of file descriptors.
#pragma once

namespace host
{
// Owns one descriptor; -1 is none. Move-only.
class CFd
{
public:
    CFd() = default;
    explicit CFd(int fd) : m_fd(fd) {}
    CFd(CFd&& other) noexcept : m_fd(other.Release()) {}
    CFd& operator=(CFd&& other) noexcept;
    CFd(const CFd&) = delete;
    CFd& operator=(const CFd&) = delete;
    ~CFd() { Reset(); }

    [[nodiscard]] int Get() const { return m_fd; }
    [[nodiscard]] bool IsOpen() const { return m_fd >= 0; }
    int Release() noexcept;
    void Reset() noexcept;

private:
    int m_fd = -1;
};

// Wakes a thread that sits in poll: an event counter descriptor. Signal from any thread, also before the
// other one polls. Throws std::system_error when the process has no descriptor left.
class CWakeup
{
public:
    CWakeup();

    void Signal() const;

    // Takes all signals so far; the descriptor is not readable again until the next one.
    void Clear() const;

    [[nodiscard]] int Fd() const { return m_event.Get(); }

private:
    CFd m_event;
};
} // namespace host
