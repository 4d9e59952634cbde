// The plug-in at work: loads it, answers its callback, lends it the thread of its Run, returns its
// heartbeats, keeps the books on its buffers, and takes it down in order.
#pragma once

#include "host/BufferBook.h"
#include "host/EventQueue.h"
#include "host/Launcher.h"
#include "host/Plugin.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace host
{
struct HeartbeatCount
{
    std::uint64_t received = 0;
    std::uint64_t returned = 0;
    std::int64_t lastUtcSec = 0; // 0 before the first
    std::int64_t lastReturnedUtcSec = 0;
};

// One at a time in the process: the plug-in's callback carries no context. Everything that happens is pushed
// to `events`.
class CHostCore
{
public:
    // Lines below `logThreshold` are not asked for. `returnsHeartbeats` is asked for each heartbeat, on the
    // heartbeat thread.
    CHostCore(const CPlugin& plugin, CEventQueue& events, int logThreshold,
              std::function<bool()> returnsHeartbeats);
    ~CHostCore();
    CHostCore(const CHostCore&) = delete;
    CHostCore& operator=(const CHostCore&) = delete;

    // Must be set before Start and outlive the core's Stop.
    void SetLauncher(CLauncher& launcher) { m_launcher = &launcher; }

    // Load. False with `error` set when the library is not the plug-in it should be.
    bool Load(std::string& error);

    // Run and Open on threads of their own; events Opened and RunEnded follow.
    void Start();

    // A request document or a configuration change for the plug-in. Any thread, between Opened and Stop.
    void SendRequest(std::string_view document);
    void SendConfig(std::string_view document);

    // An answer of the launcher. Launcher thread.
    void DeliverFrame(std::string_view frame);

    // Close, the launcher's end, the end of Run, Unload, and the accounts (an Error event for each fault).
    // False when Run does not return within `patience`: the plug-in is then still there, and nothing is left
    // but to end the process.
    bool Stop(std::chrono::milliseconds patience);

    [[nodiscard]] HeartbeatCount Heartbeats() const;

private:
    static std::int32_t Callback(const PluginMessage* message, void* reserved);
    std::int32_t Receive(const PluginMessage& message);
    void ReceiveLog(const PluginMessage& message);
    std::int32_t ReceiveFrame(std::string_view frame);
    void NoteScan(std::string_view frame);
    void ReturnHeartbeats();

    const CPlugin& m_plugin;
    CEventQueue& m_events;
    const int m_logThreshold;
    const std::function<bool()> m_returnsHeartbeats;
    CLauncher* m_launcher = nullptr;
    CBufferBook m_buffers;
    bool m_loaded = false;

    std::mutex m_heartbeatMutex; // guards the two below
    std::condition_variable m_heartbeatWaits;
    std::uint64_t m_toReturn = 0;
    bool m_heartbeatsEnd = false;
    std::atomic<std::uint64_t> m_received{0};
    std::atomic<std::uint64_t> m_returned{0};
    std::atomic<std::int64_t> m_lastHeartbeat{0};
    std::atomic<std::int64_t> m_lastReturned{0};

    std::mutex m_scanMutex; // guards the scans in progress: request id, standard output so far
    std::map<std::uint32_t, std::string> m_scans;

    CWakeup m_runEnded;
    std::thread m_runThread;
    std::thread m_openThread;
    std::thread m_heartbeatThread;
};
} // namespace host
