// A small plug-in for the host's tests: the six exports with as little behind them as shows what the host
// does with them. A document of "twice", "never" or "unasked" makes it break the rules about buffers;
// everything else it obeys.

#include "host/PluginAbi.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>

namespace
{
using namespace host;

constexpr std::uint32_t kScanId = 0x3700001;

struct Plugin
{
    boost::asio::io_context loop;
    boost::asio::steady_timer heartbeat{loop};
    std::atomic<bool> started{false};
    std::atomic<bool> stopped{false};
    std::mutex mutex; // held while the exec frame is sent, and by every answer; guards the two below
    std::condition_variable answered;
    bool scanEnded = false;
    std::string scan;
};

PluginCallback g_callback = nullptr;
std::unique_ptr<Plugin> g_plugin;

// The interface carries pointers as numbers.
const char* Pointer(std::uint64_t data)
{
    return reinterpret_cast<const char*>(data); // NOLINT(performance-no-int-to-ptr)
}

PluginMessage Message(std::uint64_t category, std::uint64_t type, const void* data, std::size_t length)
{
    PluginMessage message;
    message.length = static_cast<std::uint32_t>(length);
    message.data = reinterpret_cast<std::uintptr_t>(data);
    message.source = kPluginId;
    message.category = category;
    message.type = type;
    return message;
}

std::int32_t Send(std::uint64_t category, std::uint64_t type, const void* data = nullptr,
                  std::size_t length = 0)
{
    const PluginMessage message = Message(category, type, data, length);
    return g_callback(&message, nullptr);
}

void SendText(std::uint64_t category, const std::string& text)
{
    Send(category, kTypeDocument, text.data(), text.size());
}

void Log(int level, const std::string& text)
{
    if (level >= Send(kCategoryLog, kTypeLogQuery))
    {
        PluginMessage message = Message(kCategoryLog, kTypeLogText, text.data(), text.size());
        message.recordSize = 168;
        message.recordVersion = 1;
        message.logLevel = static_cast<std::uint64_t>(level);
        g_callback(&message, nullptr);
    }
}

// Runs the disk scan the way the real one does: the request goes out with the lock held that the answers
// need.
void Scan()
{
    const std::string payload("\0./smartctl\0-j\0--scan", 21);
    const std::array<std::uint32_t, 4> header{static_cast<std::uint32_t>(16 + payload.size()), kScanId, 6,
                                              0x0A};
    std::string frame(sizeof header, '\0');
    std::memcpy(frame.data(), header.data(), sizeof header);
    frame += payload;
    std::unique_lock lock(g_plugin->mutex);
    if (Send(kCategoryProcess, 0, frame.data(), frame.size()) != 0)
    {
        return;
    }
    while (!g_plugin->scanEnded && !g_plugin->stopped)
    {
        g_plugin->answered.wait(lock);
    }
}

void BeatHeart()
{
    g_plugin->heartbeat.expires_after(std::chrono::seconds(1));
    g_plugin->heartbeat.async_wait(
        [](const boost::system::error_code& error)
        {
            if (!error && !g_plugin->stopped)
            {
                Send(kCategoryHeartbeat, kTypeHeartbeat);
                BeatHeart();
            }
        });
}

// Keeps a buffer: the document comes back as a log line, and the buffer as the document says.
void Process(std::uint64_t data, std::uint32_t length)
{
    const char* const buffer = Pointer(data);
    boost::asio::post(g_plugin->loop,
                      [buffer, length]
                      {
                          const std::string text(buffer, length);
                          Log(50, "document " + text);
                          const int times = text == "never" ? 0 : text == "twice" ? 2 : 1;
                          for (int time = 0; time < times; ++time)
                          {
                              Send(kCategoryRelease, 0, buffer);
                          }
                          if (text == "unasked")
                          {
                              Send(kCategoryRelease, 0, &g_plugin);
                          }
                      });
}

void RunLoop()
{
    g_plugin->started = true;
    Log(25, "FAKE: running at " + std::to_string(std::time(nullptr)));
    SendText(kCategoryConfig,
             R"(<?xml ?><zDVR Delta="0"><Modules><Module Name="Fake" Version="1"/></Modules></zDVR>)");
    Scan();
    Log(50, "FAKE: scan gave " + std::to_string(g_plugin->scan.size()) + " bytes");
    SendText(kCategoryConfig,
             R"(<?xml ?><zDVR Delta="0"><Storage ID="3604480"><Disk Name="/dev/sda"/></Storage></zDVR>)");
    SendText(kCategoryStatus,
             R"(<?xml ?><zDVR><Storage ID="3604480"><Disk Name="/dev/sda" Message="Healthy" Time="1")"
             R"( Alarm="0"/></Storage></zDVR>)");
    const auto work = boost::asio::make_work_guard(g_plugin->loop);
    BeatHeart();
    g_plugin->loop.run();
}

void TakeAnswer(const IoctlRequest& request)
{
    std::array<std::uint32_t, 4> header{};
    const char* const frame = Pointer(request.data);
    std::memcpy(header.data(), frame, sizeof header);
    const std::lock_guard lock(g_plugin->mutex);
    if (header[2] == 1)
    {
        g_plugin->scan.append(frame + sizeof header, request.length - sizeof header);
    }
    g_plugin->scanEnded = g_plugin->scanEnded || header[2] == 4 || header[2] == 5;
    g_plugin->answered.notify_all();
}
} // namespace

#define EXPORT extern "C" [[gnu::visibility("default")]]

EXPORT std::int32_t Load(HostInfo* info, LoadRecord* record)
{
    g_callback = info->callback;
    record->pluginId = kPluginId;
    record->word32 = kLoadWord32;
    record->word56 = kLoadWord56;
    record->byte96 = 1;
    record->byte99 = 1;
    g_plugin = std::make_unique<Plugin>();
    return 0;
}

EXPORT std::int32_t Open()
{
    const timespec pause{0, 100'000'000};
    while (!g_plugin->started && !g_plugin->stopped)
    {
        nanosleep(&pause, nullptr);
    }
    return 0;
}

EXPORT std::int32_t Close()
{
    {
        const std::lock_guard lock(g_plugin->mutex);
        g_plugin->stopped = true;
    }
    g_plugin->answered.notify_all();
    g_plugin->loop.stop();
    return 0;
}

EXPORT std::int32_t Write(WriteRequest* request, WriteReply* reply)
{
    if (request->message.source != kPluginId)
    {
        reply->bufferKept = 1;
        Process(request->message.data, request->message.length);
    }
    else if (request->message.category == kCategoryHeartbeat)
    {
        Log(50, "FAKE: heartbeat returned");
    }
    return 0;
}

EXPORT std::int32_t IOCTL(IoctlRequest* request, IoctlReply* reply)
{
    if (request->code == kIoctlRun)
    {
        RunLoop();
    }
    else if (request->code == kIoctlConfig)
    {
        reply->result = 1;
        Process(request->data, request->length);
    }
    else if (request->code == kIoctlProcess)
    {
        TakeAnswer(*request);
    }
    return 0;
}

EXPORT std::int32_t Unload()
{
    g_plugin.reset();
    return 0;
}
