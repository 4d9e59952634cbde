// A host that answers every program at once and keeps nothing: what is measured is the plug-in.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct HostMessage;

namespace bench
{
// The answer to one command line; null: the program hangs until Release.
using Answer = std::function<const std::string*(const std::vector<std::string>& argv)>;

class CBenchHost
{
public:
    // One at a time: the host callback has no context pointer.
    explicit CBenchHost(Answer answer);
    ~CBenchHost();
    CBenchHost(const CBenchHost&) = delete;
    CBenchHost& operator=(const CBenchHost&) = delete;

    // The function to hand to the plug-in.
    static std::int32_t Callback(const HostMessage* message, void* reserved);

    // Blocks until `count` buffers have been given back since the start.
    void WaitForReleases(std::uint64_t count);

    // Monotonic times of the heartbeats so far, nanoseconds.
    std::vector<std::int64_t> HeartbeatTimes();

    [[nodiscard]] bool IsHanging() const { return m_hanging; }
    [[nodiscard]] std::uint64_t ProgramsRun() const { return m_programs; }

private:
    std::int32_t Handle(const HostMessage& message);
    void Deliver();

    Answer m_answer;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::string> m_requests; // exec frames not yet answered
    std::vector<std::int64_t> m_heartbeats;
    std::uint64_t m_releases = 0;
    bool m_stop = false;
    std::atomic<bool> m_hanging = false;
    std::atomic<std::uint64_t> m_programs = 0;
    std::thread m_deliverer;
};

// A report as smartctl prints it for an ATA disk, some 12 KB.
std::string SmallAtaReport(const std::string& device, const std::string& serial);

// An appliance with `disks` ATA disks: the answers to every command line the plug-in uses.
Answer ApplianceWithDisks(int disks);
} // namespace bench
