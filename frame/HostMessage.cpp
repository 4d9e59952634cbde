#include "frame/HostMessage.h"

#include "frame/Xml.h"

#include <atomic>

namespace
{
// Atomic only so that a late reader on a host thread is no data race; it is written once.
std::atomic<HostCallback> g_hostCallback{nullptr};
} // namespace

void SetHostCallback(HostCallback callback)
{
    g_hostCallback.store(callback, std::memory_order_release);
}

HostCallback GetHostCallback()
{
    return g_hostCallback.load(std::memory_order_acquire);
}

std::int32_t SendToHost(MessageCategory category, std::uint64_t type, const void* data, std::size_t length)
{
    const HostCallback callback = GetHostCallback();
    if (callback == nullptr)
    {
        return 0;
    }
    HostMessage message;
    message.length = static_cast<std::uint32_t>(length);
    message.data = reinterpret_cast<std::uintptr_t>(data);
    message.category = static_cast<std::uint64_t>(category);
    message.type = type;
    return callback(&message, nullptr);
}

void SendDocument(const CXmlDocument& document, MessageCategory category)
{
    const std::string text = PrintCompact(document);
    SendToHost(category, kTypeDocument, text.data(), text.size());
}

void SendHeartbeat()
{
    SendToHost(MessageCategory::Heartbeat, kTypeHeartbeat, nullptr, 0);
}

void ReleaseBuffer(const void* data)
{
    SendToHost(MessageCategory::BufferRelease, kTypeNone, data, 0);
}

bool SendIpcFrame(const void* frame, std::size_t length)
{
    return GetHostCallback() != nullptr &&
           SendToHost(MessageCategory::IpcFrameMessage, kTypeNone, frame, length) == 0;
}
