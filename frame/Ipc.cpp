#include "frame/Ipc.h"

#include "frame/Log.h"
#include "frame/Text.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <map>
#include <optional>
#include <span>

namespace tq::ipc
{
namespace
{
constexpr std::uint32_t kIdMask = 0xFFFFF;
constexpr std::uint32_t kIdAttempts = 0x100000;

constexpr std::uint32_t kFlag01 = 0x01;
constexpr std::uint32_t kFlag02 = 0x02;
constexpr std::uint32_t kFlag04 = 0x04;
constexpr std::uint32_t kFlagField1 = 0x08;
constexpr std::uint32_t kFlagField2 = 0x10;

struct FrameHeader
{
    std::uint32_t length;
    std::uint32_t requestId;
    std::uint32_t kind;
    std::uint32_t value;
};
static_assert(sizeof(FrameHeader) == kFrameHeaderSize);

std::string ExecPayload(const std::vector<std::string>& argv, std::uint32_t flags, std::string_view field1,
                        std::string_view field2)
{
    std::string payload;
    const auto addField = [&payload](std::string_view field)
    {
        payload += field;
        payload += '\0';
    };
    if ((flags & kFlagField1) != 0)
    {
        addField(field1);
    }
    if ((flags & kFlagField2) != 0)
    {
        addField(field2);
    }
    payload += Join(argv, std::string_view("\0", 1));
    return payload;
}

std::atomic<bool> g_logCommandLine{false};
} // namespace

// Lock order: m_mutex here, then one client's own.
class IpcRegistry
{
public:
    static IpcRegistry& Instance()
    {
        static IpcRegistry registry;
        return registry;
    }

    void Install(std::uint32_t pluginId, SendFrame send)
    {
        const std::lock_guard lock(m_mutex);
        m_pluginId = pluginId;
        m_send = std::move(send);
        m_lastId = 0;
        m_closed = false;
        m_clients.clear();
    }

    std::shared_ptr<client> Start(const std::vector<std::string>& argv, std::uint32_t flags,
                                  std::string_view field1, std::string_view field2)
    {
        auto process = std::make_shared<client>();
        if (argv.empty() || !Request(process, ExecPayload(argv, flags, field1, field2), flags))
        {
            SetState(*process, ClientState::Failed, 0);
            return process;
        }
        std::unique_lock lock(process->m_mutex);
        while (process->m_state == ClientState::Requested)
        {
            process->m_cond.wait(lock);
        }
        return process;
    }

    bool HandleReply(std::span<const char> frame)
    {
        if (frame.size() < kFrameHeaderSize)
        {
            return false;
        }
        FrameHeader header{};
        std::memcpy(&header, frame.data(), sizeof header);

        const std::lock_guard lock(m_mutex);
        const auto found = m_clients.find(header.requestId);
        if (found == m_clients.end())
        {
            return false;
        }
        const std::shared_ptr<client> process = found->second; // outlives the erase below
        const std::lock_guard clientLock(process->m_mutex);
        const auto value = static_cast<std::int32_t>(header.value);
        switch (static_cast<FrameKind>(header.kind))
        {
        case FrameKind::StandardOutput:
            Append(process->m_stdout, frame.subspan(kFrameHeaderSize));
            break;
        case FrameKind::StandardError:
            Append(process->m_stderr, frame.subspan(kFrameHeaderSize));
            break;
        case FrameKind::Started:
            process->m_state = ClientState::Running;
            process->m_status = value;
            break;
        case FrameKind::StartFailed:
            process->m_state = ClientState::Failed;
            process->m_status = value;
            m_clients.erase(found);
            break;
        case FrameKind::Ended:
            process->m_state = ClientState::Exited;
            process->m_status = value;
            m_clients.erase(found);
            break;
        default:
            return false;
        }
        process->m_cond.notify_all();
        return true;
    }

    bool IsClosed()
    {
        const std::lock_guard lock(m_mutex);
        return m_closed;
    }

    void Close(bool closed)
    {
        const std::lock_guard lock(m_mutex);
        for (const auto& [id, process] : m_clients)
        {
            const std::lock_guard clientLock(process->m_mutex);
            if (process->m_state == ClientState::Running)
            {
                process->m_state = ClientState::Exited;
                process->m_status = 0;
            }
            else if (process->m_state == ClientState::Requested)
            {
                process->m_state = ClientState::Failed;
                process->m_status = 0;
            }
            process->m_cond.notify_all();
        }
        m_clients.clear();
        m_closed = closed;
    }

private:
    static void SetState(client& process, ClientState state, std::int32_t status)
    {
        const std::lock_guard lock(process.m_mutex);
        process.m_state = state;
        process.m_status = status;
    }

    // Every carriage return goes, so that a CR LF split over two frames still ends as one LF.
    static void Append(std::string& buffer, std::span<const char> payload)
    {
        const auto old = static_cast<std::ptrdiff_t>(buffer.size());
        buffer.append(payload.data(), payload.size());
        buffer.erase(std::remove(buffer.begin() + old, buffer.end(), '\r'), buffer.end());
    }

    // Registers the client and sends its frame, both under the lock: an answer that arrives at once on
    // another thread waits for the lock and then finds the entry.
    bool Request(const std::shared_ptr<client>& process, const std::string& payload, std::uint32_t flags)
    {
        const std::lock_guard lock(m_mutex);
        if (m_closed || !m_send)
        {
            return false;
        }
        const std::optional<std::uint32_t> id = AllocateId(); // used up by a request that fails below, too
        const std::size_t length = kFrameHeaderSize + payload.size();
        if (!id || length > kMaxFrameSize)
        {
            return false;
        }
        const FrameHeader header{.length = static_cast<std::uint32_t>(length),
                                 .requestId = *id,
                                 .kind = static_cast<std::uint32_t>(FrameKind::Exec),
                                 .value = flags};
        std::string frame(reinterpret_cast<const char*>(&header), sizeof header);
        frame += payload;
        if (!m_send(frame.data(), frame.size()))
        {
            return false;
        }
        m_clients.emplace(*id, process);
        return true;
    }

    std::optional<std::uint32_t> AllocateId()
    {
        std::uint32_t candidate = m_lastId;
        for (std::uint32_t attempt = 0; attempt < kIdAttempts; ++attempt)
        {
            candidate = ((candidate + 1) & kIdMask) | (m_pluginId << 4);
            if (!m_clients.contains(candidate))
            {
                break;
            }
        }
        m_lastId = candidate;
        if (m_clients.contains(candidate))
        {
            return std::nullopt;
        }
        return candidate;
    }

    std::mutex m_mutex;
    std::map<std::uint32_t, std::shared_ptr<client>> m_clients; // open requests, by request id
    bool m_closed = false;
    std::uint32_t m_lastId = 0;
    std::uint32_t m_pluginId = 0;
    SendFrame m_send;
};

ClientState client::State() const
{
    const std::lock_guard lock(m_mutex);
    return m_state;
}

std::int32_t client::Status() const
{
    const std::lock_guard lock(m_mutex);
    return m_status;
}

std::int32_t client::WaitForExit()
{
    std::unique_lock lock(m_mutex);
    while (m_state == ClientState::Running)
    {
        m_cond.wait(lock);
    }
    return m_status;
}

bool client::ReadLine(int channel, std::string& line)
{
    std::unique_lock lock(m_mutex);
    std::string& buffer = channel == kStandardOutput ? m_stdout : m_stderr;
    for (;;)
    {
        const auto end = buffer.find('\n');
        if (end != std::string::npos)
        {
            line.assign(buffer, 0, end);
            buffer.erase(0, end + 1);
            return true;
        }
        if (m_state != ClientState::Running)
        {
            if (buffer.empty())
            {
                return false;
            }
            line = std::move(buffer);
            buffer.clear();
            return true;
        }
        m_cond.wait(lock);
    }
}

void InstallSender(std::uint32_t pluginId, SendFrame send)
{
    IpcRegistry::Instance().Install(pluginId, std::move(send));
}

void SetCommandLineLogging(bool on)
{
    g_logCommandLine = on;
}

bool IsCommandLineLogging()
{
    return g_logCommandLine;
}

std::shared_ptr<client> RunCommand(const char* program, const std::vector<std::string>& arguments,
                                   const char* label)
{
    std::string commandLine = "\"" + std::string(program) + "\"";
    for (const std::string& argument : arguments)
    {
        commandLine += " \"" + argument + "\"";
    }
    if (IsCommandLineLogging())
    {
        if (label == nullptr)
        {
            Log(LogInfo, "%s", commandLine.c_str());
        }
        else
        {
            Log(LogInfo, "%s [%s]", commandLine.c_str(), label);
        }
    }

    std::vector<std::string> argv{program};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    auto process = StartProcess(argv, kOptionField1, {}, {});
    if (process->HasFailed())
    {
        Log(LogWarning, "Failure (%s) on '%s'", std::strerror(process->Status()), commandLine.c_str());
        return process;
    }
    if (label == nullptr)
    {
        return process;
    }

    const std::int32_t exitCode = ExitCode(process->WaitForExit());
    if (exitCode != 0)
    {
        std::string text;
        for (const std::string& line : SplitLines(process->StandardOutput()))
        {
            // Banner lines of the tools say nothing about the failure.
            if (!Contains(ToLower(line), "copyright"))
            {
                text += line + "\n";
            }
        }
        Log(LogWarning, "Error %d on '%s'%s%s", exitCode, label, text.empty() ? "" : ": ", text.c_str());
    }
    return process;
}

std::shared_ptr<client> StartProcess(const std::vector<std::string>& argv, unsigned options,
                                     std::string_view field1, std::string_view field2)
{
    std::uint32_t flags = (options & kOptionFlag04InsteadOf02) != 0 ? kFlag04 : kFlag02;
    if ((options & kOptionFlag01) != 0)
    {
        flags |= kFlag01;
    }
    if ((options & kOptionField1) != 0)
    {
        flags |= kFlagField1;
    }
    return StartProcessWithFlags(argv, flags, field1, field2);
}

std::shared_ptr<client> StartProcessWithFlags(const std::vector<std::string>& argv, std::uint32_t flags,
                                              std::string_view field1, std::string_view field2)
{
    return IpcRegistry::Instance().Start(argv, flags, field1, field2);
}

bool HandleIpcReply(const void* frame, std::size_t length)
{
    if (frame == nullptr)
    {
        return false;
    }
    return IpcRegistry::Instance().HandleReply({static_cast<const char*>(frame), length});
}

void CloseIpc(bool closed)
{
    IpcRegistry::Instance().Close(closed);
}

bool IsIpcClosed()
{
    return IpcRegistry::Instance().IsClosed();
}
} // namespace tq::ipc
