// The six functions the host calls. Compiled into the shared library itself, not into the frame library: it
// is the one source of this folder that knows the manager.
#include "frame/HostMessage.h"
#include "frame/Ipc.h"
#include "manager/Corvane.h"
#include "manager/Environment.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

namespace
{
// The one manager; created by Load, destroyed by Unload.
std::atomic<CCorvane*> g_manager{nullptr};

// Fields of the host's structures, by offset.
constexpr std::size_t kHostInfoCallback = 16;

constexpr std::size_t kLoadPluginId = 8;
constexpr std::size_t kLoadWord32 = 32;
constexpr std::size_t kLoadWord56 = 56;
constexpr std::size_t kLoadFlag96 = 96;
constexpr std::size_t kLoadFlag99 = 99;
constexpr std::uint64_t kLoadWord32Value = 0x2000010;
constexpr std::uint64_t kLoadWord56Value = 0x2000000;

// An incoming message: eight bytes of the host's own, then a HostMessage.
constexpr std::size_t kIncomingHeader = 8;
constexpr std::size_t kIncomingLength = kIncomingHeader + offsetof(HostMessage, length);
constexpr std::size_t kIncomingData = kIncomingHeader + offsetof(HostMessage, data);
constexpr std::size_t kIncomingSource = kIncomingHeader + offsetof(HostMessage, source);
constexpr std::size_t kIncomingCategory = kIncomingHeader + offsetof(HostMessage, category);
static_assert(kIncomingLength == 16 && kIncomingData == 24 && kIncomingSource == 32 &&
              kIncomingCategory == 48);
constexpr std::size_t kWriteReplyBufferKept = 28;

constexpr std::size_t kIoctlCode = 8;
constexpr std::size_t kIoctlLength = 24;
constexpr std::size_t kIoctlData = 32;
constexpr std::size_t kIoctlReplyResult = 16;

constexpr std::uint32_t kIoctlRun = 1;
constexpr std::uint32_t kIoctlConfigUpdate = 2;
constexpr std::uint32_t kIoctlIpcReply = 4;

template <typename T>
T Get(const void* record, std::size_t offset)
{
    T value;
    std::memcpy(&value, static_cast<const char*>(record) + offset, sizeof value);
    return value;
}

template <typename T>
void Put(void* record, std::size_t offset, T value)
{
    std::memcpy(static_cast<char*>(record) + offset, &value, sizeof value);
}
} // namespace

extern "C"
{
    [[gnu::visibility("default")]] std::int32_t Load(const void* hostInfo, void* loadRecord);
    [[gnu::visibility("default")]] std::int32_t Open();
    [[gnu::visibility("default")]] std::int32_t Close();
    [[gnu::visibility("default")]] std::int32_t Write(const void* message, void* reply);
    [[gnu::visibility("default")]] std::int32_t IOCTL(const void* request, void* reply);
    [[gnu::visibility("default")]] std::int32_t Unload();

    std::int32_t Load(const void* hostInfo, void* loadRecord)
    {
        Put<std::uint64_t>(loadRecord, kLoadPluginId, kPluginId);
        Put(loadRecord, kLoadWord32, kLoadWord32Value);
        Put(loadRecord, kLoadWord56, kLoadWord56Value);
        Put<std::uint8_t>(loadRecord, kLoadFlag96, 1);
        Put<std::uint8_t>(loadRecord, kLoadFlag99, 1);

        SetHostCallback(Get<HostCallback>(hostInfo, kHostInfoCallback));
        tq::ipc::InstallSender(kPluginId, SendIpcFrame);
        g_manager = new CCorvane(SystemEnvironment()); // owned by g_manager until Unload
        return 0;
    }

    std::int32_t Open()
    {
        if (const CCorvane* manager = g_manager)
        {
            manager->WaitUntilStarted();
        }
        return 0;
    }

    std::int32_t IOCTL(const void* request, void* reply)
    {
        CCorvane* manager = g_manager;
        const auto length = Get<std::uint32_t>(request, kIoctlLength);
        const auto* data = Get<const void*>(request, kIoctlData);
        switch (Get<std::uint32_t>(request, kIoctlCode))
        {
        case kIoctlRun:
            if (manager != nullptr)
            {
                manager->Run();
            }
            break;
        case kIoctlConfigUpdate:
            if (manager != nullptr)
            {
                Put<std::uint32_t>(reply, kIoctlReplyResult, manager->PostConfigUpdate(length, data) ? 1 : 0);
            }
            break;
        case kIoctlIpcReply:
            tq::ipc::HandleIpcReply(data, length);
            break;
        default:
            break;
        }
        return 0;
    }

    std::int32_t Write(const void* message, void* reply)
    {
        CCorvane* manager = g_manager;
        if (manager == nullptr)
        {
            return 0;
        }
        if (Get<std::uint64_t>(message, kIncomingSource) != kPluginId)
        {
            // The reply is written first: once posted, the buffer may be processed and released at any
            // moment.
            Put<std::uint32_t>(reply, kWriteReplyBufferKept, 1);
            manager->PostStatusUpdate(Get<const void*>(message, kIncomingData),
                                      Get<std::int32_t>(message, kIncomingLength));
        }
        else if (Get<std::uint64_t>(message, kIncomingCategory) ==
                 static_cast<std::uint64_t>(MessageCategory::Heartbeat))
        {
            manager->PostWatchdogPing(); // one of our heartbeats, back from the host
        }
        return 0;
    }

    std::int32_t Close()
    {
        if (CCorvane* manager = g_manager)
        {
            manager->Stop();
        }
        tq::ipc::CloseIpc(true);
        return 0;
    }

    std::int32_t Unload()
    {
        const std::unique_ptr<CCorvane> manager(g_manager.exchange(nullptr));
        return 0;
    }
}
