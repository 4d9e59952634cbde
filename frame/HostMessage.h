// The envelope of every call to the host, and the senders that fill it.
#pragma once

#include <cstddef>
#include <cstdint>

class CXmlDocument;

// The plug-in's ID: source of every message, base of the process request ids, "ID" of every element it owns.
inline constexpr std::uint32_t kPluginId = 0x370000;

// "ID" attribute value as it is written into documents.
inline constexpr int kPluginElementId = static_cast<int>(kPluginId);

// Passed to the host by pointer; the host does not keep the pointer after the call. Little-endian.
struct alignas(16) HostMessage
{
    std::uint32_t size = 224;
    std::uint32_t version = 1;
    std::uint32_t length = 0; // bytes at `data`
    std::uint32_t padding = 0;
    std::uint64_t data = 0; // pointer to the payload, or to the host buffer being given back
    std::uint64_t source = kPluginId;
    std::uint64_t target = 0;
    std::uint64_t category = 0;
    std::uint64_t type = 0;
    // The record, 168 bytes, used by log texts only. In this shape, with the alignment above, it is cleared
    // by whole 16-byte stores that never straddle a page: straddling ones tripled the cost of a log call now
    // and then.
    std::uint32_t recordSize = 0;
    std::uint32_t recordVersion = 0;
    std::uint8_t recordData[160] = {}; // first the level, u64
};

static_assert(sizeof(HostMessage) == 224);
static_assert(offsetof(HostMessage, length) == 8);
static_assert(offsetof(HostMessage, data) == 16);
static_assert(offsetof(HostMessage, source) == 24);
static_assert(offsetof(HostMessage, target) == 32);
static_assert(offsetof(HostMessage, category) == 40);
static_assert(offsetof(HostMessage, type) == 48);
static_assert(offsetof(HostMessage, recordSize) == 56);
static_assert(offsetof(HostMessage, recordVersion) == 60);
static_assert(offsetof(HostMessage, recordData) == 64);

// The second argument is reserved and always null. The host accepts concurrent calls. The result is 0 for
// success, except for a log level query, where it is the host's threshold.
using HostCallback = std::int32_t (*)(const HostMessage*, void*);

enum class MessageCategory : std::uint64_t
{
    StatusDocument = 4,
    Heartbeat = 32,
    LogMessage = 64,
    ConfigDocument = 256,
    BufferRelease = 512,
    IpcFrameMessage = 8192,
};

inline constexpr std::uint64_t kTypeNone = 0;
inline constexpr std::uint64_t kTypeHeartbeat = 0x1000000;
inline constexpr std::uint64_t kTypeLogQuery = 0x1000001;
inline constexpr std::uint64_t kTypeLogText = 0x1000002;
inline constexpr std::uint64_t kTypeDocument = 0x1000010;

// Process-wide; written by Load before any other thread of the plug-in exists. Any thread may read it.
void SetHostCallback(HostCallback callback);
HostCallback GetHostCallback();

// Sends one envelope and returns the host's answer; 0 without a callback.
std::int32_t SendToHost(MessageCategory category, std::uint64_t type, const void* data, std::size_t length);

// Sends the document printed on one line, as category StatusDocument or ConfigDocument. The host's answer is
// ignored.
void SendDocument(const CXmlDocument& document, MessageCategory category);

void SendHeartbeat();

// Gives a host buffer back. Exactly once for each kept buffer: it serves as the deleter
// of the pointer that travels inside the posted handler, so a handler that never runs gives its buffer back
// too.
void ReleaseBuffer(const void* data);

// Sends one process frame; true when the host took it.
bool SendIpcFrame(const void* frame, std::size_t length);
