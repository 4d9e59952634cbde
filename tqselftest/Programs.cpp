#include "tqselftest/Programs.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

namespace tqselftest
{
namespace
{
using Clock = std::chrono::steady_clock;

class CFd
{
public:
    explicit CFd(int fd = -1) : m_fd(fd) {}
    ~CFd() { Close(); }
    CFd(CFd&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    CFd& operator=(CFd&& other) noexcept
    {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    CFd(const CFd&) = delete;
    CFd& operator=(const CFd&) = delete;

    [[nodiscard]] int Get() const { return m_fd; }
    void Close()
    {
        if (m_fd >= 0)
        {
            close(m_fd);
            m_fd = -1;
        }
    }

private:
    int m_fd;
};

// Redirections of a child.
class CFileActions
{
public:
    explicit CFileActions(int standardOutput)
    {
        posix_spawn_file_actions_init(&m_actions);
        posix_spawn_file_actions_addopen(&m_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&m_actions, standardOutput, STDOUT_FILENO);
        posix_spawn_file_actions_addopen(&m_actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    }
    ~CFileActions() { posix_spawn_file_actions_destroy(&m_actions); }
    CFileActions(const CFileActions&) = delete;
    CFileActions& operator=(const CFileActions&) = delete;

    [[nodiscard]] const posix_spawn_file_actions_t* Get() const { return &m_actions; }

private:
    posix_spawn_file_actions_t m_actions{};
};

std::string ErrorText(int error)
{
    return std::strerror(error);
}

class CRunningProgram
{
public:
    CRunningProgram(std::size_t place, Clock::time_point deadline)
        : m_place(place),
          m_start(Clock::now()),
          m_deadline(deadline)
    {
    }

    // False with the result's error when the program cannot be started.
    bool Start(const std::vector<std::string>& command)
    {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) != 0)
        {
            m_result = {.error = ErrorText(errno), .isStarted = false};
            return false;
        }
        m_output = CFd(ends[0]);
        const CFd childEnd(ends[1]);
        fcntl(m_output.Get(), F_SETFL, O_NONBLOCK);
        std::vector<char*> words;
        words.reserve(command.size() + 1);
        for (const std::string& word : command)
        {
            words.push_back(const_cast<char*>(word.c_str())); // the interface's own const-lessness
        }
        words.push_back(nullptr);
        const CFileActions actions(childEnd.Get());
        const int error = posix_spawnp(&m_pid, words.front(), actions.Get(), nullptr, words.data(), environ);
        if (error != 0)
        {
            m_result = {.error = ErrorText(error), .isStarted = false};
            return false;
        }
        // The C library's own function lacks its C linkage in version 2.36.
        m_process = CFd(static_cast<int>(syscall(SYS_pidfd_open, m_pid, 0)));
        return true;
    }

    [[nodiscard]] std::size_t Place() const { return m_place; }
    [[nodiscard]] Clock::time_point Deadline() const { return m_deadline; }
    [[nodiscard]] ProgramResult TakeResult() { return std::move(m_result); }

    void AddTo(std::vector<pollfd>& polled) const
    {
        polled.push_back({m_output.Get(), POLLIN, 0});
        polled.push_back({m_process.Get(), POLLIN, 0});
    }

    // Takes what there is. True when the program is done with, one way or the other.
    bool Serve(std::size_t maxOutput)
    {
        Drain(maxOutput);
        int status = 0;
        const pid_t ended = waitpid(m_pid, &status, WNOHANG);
        if (ended == m_pid)
        {
            Drain(maxOutput); // what it wrote between the two
            Finish(status);
            return true;
        }
        if (ended < 0)
        {
            // Gone, and its number may be another process's by now.
            m_result.error = "its exit status is lost";
            return true;
        }
        if (Clock::now() < m_deadline)
        {
            return false;
        }
        if (!m_isKilled)
        {
            kill(m_pid, SIGKILL);
            m_isKilled = true;
            m_deadline = Clock::now() + kGrace;
            return false;
        }
        m_result.error = kTooSlow; // stuck in the kernel; our end leaves it to the system
        return true;
    }

private:
    // How long a killed program may take to die.
    static constexpr std::chrono::seconds kGrace{2};
    static constexpr const char* kTooSlow = "took too long";

    void Drain(std::size_t maxOutput)
    {
        std::array<char, 65536> buffer{};
        ssize_t count = 0;
        while (m_output.Get() >= 0 && (count = read(m_output.Get(), buffer.data(), buffer.size())) > 0)
        {
            const auto size = static_cast<std::size_t>(count);
            m_isTooMuch = m_isTooMuch || m_result.output.size() + size > maxOutput;
            if (!m_isTooMuch)
            {
                m_result.output.append(buffer.data(), size);
            }
        }
        if (count == 0)
        {
            m_output.Close();
        }
    }

    void Finish(int status)
    {
        m_result.duration = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - m_start);
        if (m_isKilled)
        {
            m_result.error = kTooSlow;
        }
        else if (WIFSIGNALED(status))
        {
            m_result.error = "killed by signal " + std::to_string(WTERMSIG(status));
        }
        else if (m_isTooMuch)
        {
            m_result.error = "printed too much";
        }
        else
        {
            m_result.exitCode = WEXITSTATUS(status);
        }
    }

    std::size_t m_place; // in the list of commands
    Clock::time_point m_start;
    Clock::time_point m_deadline;
    pid_t m_pid = -1;
    CFd m_output;
    CFd m_process;
    bool m_isKilled = false;
    bool m_isTooMuch = false;
    ProgramResult m_result;
};

void WaitForNews(const std::vector<CRunningProgram>& running)
{
    std::vector<pollfd> polled;
    auto deadline = Clock::time_point::max();
    for (const CRunningProgram& program : running)
    {
        program.AddTo(polled);
        deadline = std::min(deadline, program.Deadline());
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    poll(polled.data(), polled.size(), static_cast<int>(std::clamp<std::int64_t>(left, 0, 1'000)));
}
} // namespace

std::vector<ProgramResult> RunPrograms(const std::vector<std::vector<std::string>>& commands,
                                       const ProgramLimits& limits)
{
    const auto end = Clock::now() + limits.all;
    std::vector<ProgramResult> results(commands.size());
    std::vector<CRunningProgram> running;
    for (std::size_t next = 0; next < commands.size() || !running.empty();)
    {
        while (next < commands.size() && running.size() < limits.atATime)
        {
            if (Clock::now() >= end)
            {
                results[next++].error = "not begun, the time is up";
                continue;
            }
            CRunningProgram program(next, std::min(Clock::now() + limits.each, end));
            if (program.Start(commands[next]))
            {
                running.push_back(std::move(program));
            }
            else
            {
                results[next] = program.TakeResult();
            }
            ++next;
        }
        if (!running.empty())
        {
            WaitForNews(running);
        }
        std::erase_if(running,
                      [&](CRunningProgram& program)
                      {
                          const bool isDone = program.Serve(limits.output);
                          if (isDone)
                          {
                              results[program.Place()] = program.TakeResult();
                          }
                          return isDone;
                      });
    }
    return results;
}
} // namespace tqselftest
