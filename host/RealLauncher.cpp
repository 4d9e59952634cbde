#include "host/RealLauncher.h"

#include "host/RealTime.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>

namespace host
{
namespace
{
constexpr std::array<FrameKind, 2> kOutputKinds{FrameKind::StandardOutput, FrameKind::StandardError};

// What a program leaves in its pipe after its end is read up to this: a grandchild may go on writing for
// ever.
constexpr std::size_t kMaxDrain = std::size_t{4} * 1024 * 1024;

// Attributes and file actions of one spawn.
class CSpawnSettings
{
public:
    CSpawnSettings()
    {
        posix_spawn_file_actions_init(&actions);
        posix_spawnattr_init(&attributes);
        // The host blocks and ignores signals for its own purposes; programs start with a clean slate, and in
        // a group of their own so that Ctrl-C does not reach them and a kill reaches their children.
        sigset_t all;
        sigset_t none;
        sigfillset(&all);
        sigemptyset(&none);
        posix_spawnattr_setsigdefault(&attributes, &all);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setpgroup(&attributes, 0);
        posix_spawnattr_setflags(&attributes,
                                 POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    }
    ~CSpawnSettings()
    {
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }
    CSpawnSettings(const CSpawnSettings&) = delete;
    CSpawnSettings& operator=(const CSpawnSettings&) = delete;

    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
};

// A pipe whose reading end does not block. False with errno set.
bool MakePipe(CFd& readEnd, CFd& writeEnd)
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
    {
        return false;
    }
    readEnd = CFd(ends[0]);
    writeEnd = CFd(ends[1]);
    return fcntl(ends[0], F_SETFL, O_NONBLOCK) == 0;
}

std::vector<char*> Pointers(const std::vector<std::string>& argv)
{
    std::vector<char*> pointers;
    pointers.reserve(argv.size() + 1);
    for (const std::string& argument : argv)
    {
        pointers.push_back(const_cast<char*>(argument.c_str())); // the interface predates const
    }
    pointers.push_back(nullptr);
    return pointers;
}
} // namespace

CRealLauncher::CRealLauncher(CTimeLimits limits, FrameSink frames, NoteSink notes, LauncherBounds bounds)
    : m_limits(std::move(limits)),
      m_frames(std::move(frames)),
      m_notes(std::move(notes)),
      m_bounds(bounds),
      m_thread([this] { Loop(); })
{
}

CRealLauncher::~CRealLauncher()
{
    Stop();
}

void CRealLauncher::Start(ExecRequest request)
{
    {
        const std::lock_guard lock(m_mutex);
        if (m_stopping)
        {
            return;
        }
        m_requests.push_back(std::move(request));
    }
    m_wakeup.Signal();
}

void CRealLauncher::Stop()
{
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_wakeup.Signal();
    if (m_thread.joinable())
    {
        m_thread.join();
    }
}

void CRealLauncher::Loop()
{
    for (;;)
    {
        std::vector<ExecRequest> requests;
        {
            const std::lock_guard lock(m_mutex);
            if (m_stopping)
            {
                break;
            }
            requests.swap(m_requests);
        }
        for (ExecRequest& request : requests)
        {
            Spawn(std::move(request));
        }
        Wait();
    }
    EndAll();
}

void CRealLauncher::Spawn(ExecRequest request)
{
    Child child;
    child.request = std::move(request);
    int error = 0;
    if (!SpawnProcess(child, error))
    {
        m_frames(BuildFrame(child.request.id, FrameKind::StartFailed, static_cast<std::uint32_t>(error)));
        return;
    }
    if (const auto limit = m_limits.LimitFor(child.request.argv))
    {
        child.deadline = RealNow() + *limit;
    }
    m_frames(BuildFrame(child.request.id, FrameKind::Started, static_cast<std::uint32_t>(child.pid)));
    m_children.push_back(std::move(child));
}

bool CRealLauncher::SpawnProcess(Child& child, int& error)
{
    CFd standardOutput;
    CFd standardError;
    if (!MakePipe(child.output[0], standardOutput) || !MakePipe(child.output[1], standardError))
    {
        error = errno;
        return false;
    }
    CSpawnSettings settings;
    posix_spawn_file_actions_addopen(&settings.actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&settings.actions, standardOutput.Get(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&settings.actions, standardError.Get(), STDERR_FILENO);

    const std::string& program = child.request.argv.front();
    const std::vector<char*> argv = Pointers(child.request.argv);
    const auto spawn = program.find('/') != std::string::npos ? posix_spawn : posix_spawnp;
    error = spawn(&child.pid, program.c_str(), &settings.actions, &settings.attributes, argv.data(), environ);
    if (error != 0)
    {
        return false;
    }
    child.process = CFd(static_cast<int>(syscall(SYS_pidfd_open, child.pid, 0)));
    if (!child.process.IsOpen())
    {
        // A kernel without process descriptors cannot tell the end of a program: better no program than a
        // lost one.
        error = errno;
        kill(-child.pid, SIGKILL);
        waitpid(child.pid, nullptr, 0);
        return false;
    }
    return true;
}

// One wait for whatever comes first, and what follows from it.
void CRealLauncher::Wait()
{
    constexpr std::size_t kPerChild = 3;
    std::vector<pollfd> polled{{m_wakeup.Fd(), POLLIN, 0}};
    std::chrono::milliseconds next = kNever;
    for (const Child& child : m_children)
    {
        polled.push_back({child.process.Get(), POLLIN, 0});
        polled.push_back({child.output[0].Get(), POLLIN, 0}); // a closed one is -1 and is passed over
        polled.push_back({child.output[1].Get(), POLLIN, 0});
        next = std::min(next, child.deadline);
    }
    int timeout = -1;
    if (next != kNever)
    {
        const auto left = std::max(std::chrono::milliseconds(0), next - RealNow());
        timeout = static_cast<int>(std::min<std::int64_t>(left.count() + 1, 3'600'000));
    }
    if (poll(polled.data(), polled.size(), timeout) > 0 && polled[0].revents != 0)
    {
        m_wakeup.Clear();
    }
    std::size_t row = 1;
    for (auto child = m_children.begin(); child != m_children.end();)
    {
        Serve(*child, &polled[row]);
        row += kPerChild;
        child = child->pid == 0 ? m_children.erase(child) : std::next(child);
    }
    m_undead.remove_if([](const Child& child) { return waitpid(child.pid, nullptr, WNOHANG) != 0; });
}

void CRealLauncher::Serve(Child& child, const pollfd* ready)
{
    for (std::size_t channel = 0; channel < 2; ++channel)
    {
        if (ready[1 + channel].revents != 0)
        {
            ReadOutput(child, channel);
        }
    }
    if (ready[0].revents != 0)
    {
        int status = 0;
        if (waitpid(child.pid, &status, WNOHANG) == child.pid)
        {
            Drain(child);
            Report(child, status);
            return;
        }
    }
    CheckBounds(child);
}

// Passes one piece of output on. False when there is none at the moment or the pipe has ended.
bool CRealLauncher::ReadOutput(Child& child, std::size_t channel)
{
    std::array<char, kMaxFrame - kFrameHeader> buffer; // filled by read
    const ssize_t count = read(child.output[channel].Get(), buffer.data(), buffer.size());
    if (count > 0)
    {
        const auto bytes = static_cast<std::size_t>(count);
        child.outputBytes += bytes;
        if (child.outputBytes <= m_bounds.maxOutput)
        {
            SendOutput(m_frames, child.request.id, kOutputKinds[channel], {buffer.data(), bytes});
        }
        return true;
    }
    if (count == 0 || (errno != EAGAIN && errno != EINTR))
    {
        child.output[channel].Reset();
    }
    return false;
}

void CRealLauncher::Drain(Child& child)
{
    for (std::size_t channel = 0; channel < 2; ++channel)
    {
        const std::size_t until = child.outputBytes + kMaxDrain;
        while (child.output[channel].IsOpen() && child.outputBytes < until && ReadOutput(child, channel))
        {
        }
    }
}

void CRealLauncher::CheckBounds(Child& child)
{
    if (!child.killed && child.outputBytes > m_bounds.maxOutput)
    {
        Kill(child, "wrote more than " + std::to_string(m_bounds.maxOutput) + " bytes");
        return;
    }
    if (child.deadline == kNever || RealNow() < child.deadline)
    {
        return;
    }
    if (!child.killed)
    {
        const auto limit = m_limits.LimitFor(child.request.argv);
        Kill(child, "ran longer than its limit of " + std::to_string(limit ? limit->count() : 0) + " s");
        return;
    }
    // Killed and still there: it hangs inside the kernel. The plug-in must not hang with it.
    m_notes(child.request.argv.front() + " (process " + std::to_string(child.pid) + ") cannot be killed");
    Child given;
    given.pid = child.pid;
    m_undead.push_back(std::move(given));
    Report(child, SIGKILL);
}

void CRealLauncher::Kill(Child& child, const std::string& why)
{
    m_notes(child.request.argv.front() + " " + why + " and is killed");
    kill(-child.pid, SIGKILL);
    child.killed = true;
    child.deadline = RealNow() + m_bounds.killGrace;
}

// The last frame of a program; the child's row is free afterwards.
void CRealLauncher::Report(Child& child, int waitStatus)
{
    m_frames(BuildFrame(child.request.id, FrameKind::Ended, static_cast<std::uint32_t>(waitStatus)));
    child.pid = 0;
}

void CRealLauncher::EndAll()
{
    m_children.splice(m_children.end(), m_undead);
    for (const Child& child : m_children)
    {
        kill(-child.pid, SIGKILL);
    }
    const auto deadline = RealNow() + m_bounds.killGrace;
    for (;;)
    {
        m_children.remove_if([](const Child& child) { return waitpid(child.pid, nullptr, WNOHANG) != 0; });
        if (m_children.empty() || RealNow() >= deadline)
        {
            break;
        }
        poll(nullptr, 0, 10);
    }
    for (const Child& child : m_children)
    {
        m_notes("process " + std::to_string(child.pid) + " could not be killed and is left behind");
    }
    m_children.clear();
}
} // namespace host
