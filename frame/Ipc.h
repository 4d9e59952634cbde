// Programs started through the host: one client for each process, a registry of the running ones, and the
// call that all tool clients use. The host starts the process and feeds its output and end back through
// HandleIpcReply.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace tq::ipc
{
// A frame on the link: four little-endian u32 (length, request id, kind, value), then the payload.
inline constexpr std::size_t kFrameHeaderSize = 16;
inline constexpr std::size_t kMaxFrameSize = 0x10000;

enum class FrameKind : std::uint32_t
{
    StandardOutput = 1,
    StandardError = 2,
    Started = 3,
    StartFailed = 4, // value: errno
    Ended = 5,       // value: wait status
    Exec = 6,        // plug-in to host; value: request flags
};

enum class ClientState : std::int32_t
{
    Failed = -1,
    Requested = 0,
    Running = 1,
    Exited = 2,
};

// Channels of ReadLine.
inline constexpr int kStandardOutput = 0;
inline constexpr int kStandardError = 1;

// One process. Shared by its requester and the registry; every field is guarded by m_mutex. Failed and Exited
// are final.
class client
{
public:
    [[nodiscard]] ClientState State() const;
    [[nodiscard]] bool HasFailed() const { return State() == ClientState::Failed; }

    // Value of the last state frame: errno when Failed, wait status when Exited.
    [[nodiscard]] std::int32_t Status() const;

    // Blocks while the process runs; returns the status. No time limit.
    std::int32_t WaitForExit();

    // Takes the next line without its line feed, waiting for it while the process runs; after the end also an
    // unterminated rest. False when nothing is left.
    bool ReadLine(int channel, std::string& line);

    // All standard output so far. The reference may be used once the process has ended: nothing is appended
    // then.
    [[nodiscard]] const std::string& StandardOutput() const { return m_stdout; }

private:
    friend class IpcRegistry;

    ClientState m_state = ClientState::Requested;
    std::int32_t m_status = 0;
    mutable std::mutex m_mutex;
    std::condition_variable m_cond;
    std::string m_stdout;
    std::string m_stderr;
};

// Sends one frame; true when the host took it. Called with the registry lock held, so the host must deliver
// the answer from another thread.
using SendFrame = std::function<bool(const void* frame, std::size_t length)>;

// Opens the link. Called by Load before any request.
void InstallSender(std::uint32_t pluginId, SendFrame send);

// Whether RunCommand logs every command line.
void SetCommandLineLogging(bool on);
bool IsCommandLineLogging();

// Runs `program` with `arguments`. With a label it waits for the end and logs a failing exit under that
// label; without one the process may still run when the call returns. Never null; HasFailed() when it could
// not be started.
std::shared_ptr<client> RunCommand(const char* program, const std::vector<std::string>& arguments,
                                   const char* label);

// Option bits of StartProcess.
inline constexpr unsigned kOptionFlag01 = 1;
inline constexpr unsigned kOptionFlag04InsteadOf02 = 2;
inline constexpr unsigned kOptionField1 = 4;

// Sends an exec request and blocks until the host has answered it, or the link is closed.
std::shared_ptr<client> StartProcess(const std::vector<std::string>& argv, unsigned options,
                                     std::string_view field1, std::string_view field2);

// The same with the request flags given (bit 0x08: field 1 is sent, bit 0x10: field 2 is sent).
std::shared_ptr<client> StartProcessWithFlags(const std::vector<std::string>& argv, std::uint32_t flags,
                                              std::string_view field1, std::string_view field2);

// The 16-bit wait status with its bytes swapped: the exit code after a normal exit, the signal number times
// 256 (0x8000 more with a core dump) after a death by signal.
constexpr std::int32_t ExitCode(std::int32_t status)
{
    return ((status >> 8) & 0xFF) | ((status & 0xFF) << 8);
}
static_assert(ExitCode(0x0100) == 1);
static_assert(ExitCode(0x0009) == 0x0900);

// Takes one frame from the host, on the host's thread. `length` counts, not the frame's own length field.
// False when the frame is too short, of no known kind, or for no open request.
bool HandleIpcReply(const void* frame, std::size_t length);

// Ends the link for good (until the next InstallSender): running processes count as exited with status 0,
// requests still waiting for the host's first answer as failed; all waiters are woken.
void CloseIpc(bool closed);

// Whether the link has been ended: what a tool said last may then be cut off, and says nothing.
bool IsIpcClosed();
} // namespace tq::ipc
