#include "host/HostCore.h"

#include "host/RealTime.h"

#include <poll.h>

#include <algorithm>
#include <cstring>
#include <ctime>

namespace host
{
namespace
{
// The core that the callback belongs to; null before Load and after Unload.
std::atomic<CHostCore*> g_core{nullptr};

// Any other plug-in's or the host's own ID would do: what is not the plug-in's own is a document from
// outside.
constexpr std::uint64_t kHostId = 1;

constexpr std::uint32_t kMaxDocument = 16U * 1024 * 1024;
constexpr std::size_t kMaxScanOutput = std::size_t{1024} * 1024;

// More heartbeats than this in hand are not returned late but dropped: the plug-in would take them for a live
// host.
constexpr std::uint64_t kMaxToReturn = 3;

// The interface carries pointers as numbers.
const char* Pointer(const PluginMessage& message)
{
    return reinterpret_cast<const char*>(message.data); // NOLINT(performance-no-int-to-ptr)
}

std::string_view Payload(const PluginMessage& message)
{
    return {Pointer(message), message.data != 0 ? message.length : 0};
}

bool IsDiskScan(const ExecRequest& request)
{
    const std::string& program = request.argv.front();
    return program.ends_with("smartctl") &&
           std::find(request.argv.begin(), request.argv.end(), "--scan") != request.argv.end();
}
} // namespace

CHostCore::CHostCore(const CPlugin& plugin, CEventQueue& events, int logThreshold,
                     std::function<bool()> returnsHeartbeats)
    : m_plugin(plugin),
      m_events(events),
      m_logThreshold(logThreshold),
      m_returnsHeartbeats(std::move(returnsHeartbeats))
{
}

CHostCore::~CHostCore()
{
    g_core.store(nullptr, std::memory_order_release);
}

bool CHostCore::Load(std::string& error)
{
    g_core.store(this, std::memory_order_release);
    HostInfo info;
    info.callback = &CHostCore::Callback;
    LoadRecord record;
    m_plugin.Load(&info, &record);
    m_loaded = true;
    if (record.pluginId != kPluginId || record.word32 != kLoadWord32 || record.word56 != kLoadWord56 ||
        record.byte96 != 1 || record.byte99 != 1)
    {
        error = "it does not present itself as the plug-in that this host is for";
        m_plugin.Unload();
        m_loaded = false;
        return false;
    }
    return true;
}

void CHostCore::Start()
{
    m_heartbeatThread = std::thread([this] { ReturnHeartbeats(); });
    m_runThread = std::thread(
        [this]
        {
            IoctlRequest request;
            request.code = kIoctlRun;
            IoctlReply reply;
            m_plugin.Ioctl(&request, &reply);
            m_events.Push(EventKind::RunEnded);
            m_runEnded.Signal();
        });
    m_openThread = std::thread(
        [this]
        {
            m_plugin.Open();
            m_events.Push(EventKind::Opened);
        });
}

void CHostCore::SendRequest(std::string_view document)
{
    char* const buffer = m_buffers.Lend(document);
    WriteRequest request;
    request.message.length = static_cast<std::uint32_t>(document.size());
    request.message.data = reinterpret_cast<std::uintptr_t>(buffer);
    request.message.source = kHostId;
    request.message.category = kCategoryStatus;
    request.message.type = kTypeDocument;
    WriteReply reply;
    m_plugin.Write(&request, &reply);
    m_buffers.Settle(buffer, reply.bufferKept == 1);
}

void CHostCore::SendConfig(std::string_view document)
{
    char* const buffer = m_buffers.Lend(document);
    IoctlRequest request;
    request.code = kIoctlConfig;
    request.length = static_cast<std::uint32_t>(document.size());
    request.data = reinterpret_cast<std::uintptr_t>(buffer);
    IoctlReply reply;
    m_plugin.Ioctl(&request, &reply);
    m_buffers.Settle(buffer, reply.result == 1);
}

void CHostCore::DeliverFrame(std::string_view frame)
{
    NoteScan(frame);
    IoctlRequest request;
    request.code = kIoctlProcess;
    request.length = static_cast<std::uint32_t>(frame.size());
    request.data = reinterpret_cast<std::uintptr_t>(frame.data());
    IoctlReply reply;
    m_plugin.Ioctl(&request, &reply);
}

bool CHostCore::Stop(std::chrono::milliseconds patience)
{
    m_plugin.Close();
    if (m_launcher != nullptr)
    {
        m_launcher->Stop();
    }
    if (m_runThread.joinable())
    {
        pollfd ended{m_runEnded.Fd(), POLLIN, 0};
        const auto deadline = RealNow() + patience;
        while (poll(&ended, 1, static_cast<int>(std::max<std::int64_t>(0, (deadline - RealNow()).count()))) <=
               0)
        {
            if (RealNow() >= deadline)
            {
                return false;
            }
        }
        m_runThread.join();
        m_openThread.join();
        {
            const std::lock_guard lock(m_heartbeatMutex);
            m_heartbeatsEnd = true;
        }
        m_heartbeatWaits.notify_all();
        m_heartbeatThread.join();
    }
    if (m_loaded)
    {
        m_plugin.Unload();
        m_loaded = false;
    }
    g_core.store(nullptr, std::memory_order_release);
    for (std::string& fault : m_buffers.Close())
    {
        m_events.Push(EventKind::Error, std::move(fault));
    }
    return true;
}

HeartbeatCount CHostCore::Heartbeats() const
{
    return {m_received.load(), m_returned.load(), m_lastHeartbeat.load(), m_lastReturned.load()};
}

std::int32_t CHostCore::Callback(const PluginMessage* message, void* /*reserved*/)
{
    CHostCore* const core = g_core.load(std::memory_order_acquire);
    return core != nullptr && message != nullptr ? core->Receive(*message) : 0;
}

std::int32_t CHostCore::Receive(const PluginMessage& message)
{
    if (message.size != sizeof(PluginMessage) || message.version != 1 || message.source != kPluginId)
    {
        m_events.Push(EventKind::Error, "a message with size " + std::to_string(message.size) + ", version " +
                                            std::to_string(message.version) + " and source " +
                                            std::to_string(message.source));
        return -1;
    }
    switch (message.category)
    {
    case kCategoryLog:
        if (message.type == kTypeLogQuery)
        {
            return m_logThreshold;
        }
        ReceiveLog(message);
        return 0;
    case kCategoryStatus:
    case kCategoryConfig:
        if (message.length > kMaxDocument)
        {
            m_events.Push(EventKind::Error, "a document of " + std::to_string(message.length) + " bytes");
            return -1;
        }
        m_events.Push(message.category == kCategoryStatus ? EventKind::StatusDocument
                                                          : EventKind::ConfigDocument,
                      std::string(Payload(message)));
        return 0;
    case kCategoryHeartbeat:
        m_received.fetch_add(1);
        m_lastHeartbeat.store(static_cast<std::int64_t>(std::time(nullptr)));
        {
            const std::lock_guard lock(m_heartbeatMutex);
            m_toReturn = std::min(m_toReturn + 1, kMaxToReturn);
        }
        m_heartbeatWaits.notify_one();
        return 0;
    case kCategoryRelease:
        m_buffers.TakeBack(Pointer(message));
        return 0;
    case kCategoryProcess:
        return ReceiveFrame(Payload(message));
    default:
        m_events.Push(EventKind::Error, "a message of category " + std::to_string(message.category));
        return -1;
    }
}

void CHostCore::ReceiveLog(const PluginMessage& message)
{
    std::string_view text = Payload(message);
    text = text.substr(0, std::min(text.find('\0'), text.size())); // a cut line counts its terminator
    m_events.Push(EventKind::Log, std::string(text), static_cast<int>(message.logLevel));
}

std::int32_t CHostCore::ReceiveFrame(std::string_view frame)
{
    std::string error;
    auto request = ParseExecFrame(frame, error);
    if (!request || m_launcher == nullptr)
    {
        m_events.Push(EventKind::Error, "process link: " + error);
        return -1;
    }
    if (IsDiskScan(*request))
    {
        const std::lock_guard lock(m_scanMutex);
        m_scans[request->id].clear();
    }
    m_launcher->Start(std::move(*request));
    return 0;
}

// Collects the output of disk scans: the host compares the picture with them.
void CHostCore::NoteScan(std::string_view frame)
{
    std::uint32_t header[4] = {};
    std::memcpy(header, frame.data(), sizeof header);
    const std::lock_guard lock(m_scanMutex);
    const auto scan = m_scans.find(header[1]);
    if (scan == m_scans.end())
    {
        return;
    }
    const auto kind = static_cast<FrameKind>(header[2]);
    if (kind == FrameKind::StandardOutput && scan->second.size() < kMaxScanOutput)
    {
        scan->second += frame.substr(kFrameHeader);
    }
    else if (kind == FrameKind::Ended || kind == FrameKind::StartFailed)
    {
        m_events.Push(EventKind::ProgramOutput, std::move(scan->second));
        m_scans.erase(scan);
    }
}

// Heartbeats go back from here and never from inside the callback that brings them: there the plug-in may
// hold its locks.
void CHostCore::ReturnHeartbeats()
{
    std::unique_lock lock(m_heartbeatMutex);
    for (;;)
    {
        while (m_toReturn == 0 && !m_heartbeatsEnd)
        {
            m_heartbeatWaits.wait(lock);
        }
        if (m_heartbeatsEnd)
        {
            return;
        }
        --m_toReturn;
        lock.unlock();
        if (m_returnsHeartbeats())
        {
            WriteRequest request;
            request.message.source = kPluginId;
            request.message.category = kCategoryHeartbeat;
            request.message.type = kTypeHeartbeat;
            WriteReply reply;
            m_plugin.Write(&request, &reply);
            m_lastReturned.store(static_cast<std::int64_t>(std::time(nullptr)));
            m_returned.fetch_add(1);
        }
        lock.lock();
    }
}
} // namespace host
