// The plug-in's binary interface as the host knows it: the structures of the six exported functions by
// offset, and the numbers that travel in them. Little-endian, written for x86-64.
#pragma once

#include <cstddef>
#include <cstdint>

namespace host
{
// Every message to and from the plug-in.
struct PluginMessage
{
    std::uint32_t size = 224;
    std::uint32_t version = 1;
    std::uint32_t length = 0; // bytes at `data`
    std::uint32_t padding = 0;
    std::uint64_t data = 0; // payload, or the host buffer that is given back
    std::uint64_t source = 0;
    std::uint64_t target = 0;
    std::uint64_t category = 0;
    std::uint64_t type = 0;
    std::uint32_t recordSize = 0; // the record is filled in log texts only
    std::uint32_t recordVersion = 0;
    std::uint64_t logLevel = 0;
    std::uint8_t record[152] = {};
};
static_assert(sizeof(PluginMessage) == 224);
static_assert(offsetof(PluginMessage, length) == 8);
static_assert(offsetof(PluginMessage, data) == 16);
static_assert(offsetof(PluginMessage, source) == 24);
static_assert(offsetof(PluginMessage, target) == 32);
static_assert(offsetof(PluginMessage, category) == 40);
static_assert(offsetof(PluginMessage, type) == 48);
static_assert(offsetof(PluginMessage, recordSize) == 56);
static_assert(offsetof(PluginMessage, logLevel) == 64);

// Called by the plug-in from any of its threads, several at a time. The second argument is always null. 0 is
// success; a log level query is answered with the threshold.
using PluginCallback = std::int32_t (*)(const PluginMessage*, void*);

inline constexpr std::uint64_t kPluginId = 0x370000;

inline constexpr std::uint64_t kCategoryStatus = 4;
inline constexpr std::uint64_t kCategoryHeartbeat = 32;
inline constexpr std::uint64_t kCategoryLog = 64;
inline constexpr std::uint64_t kCategoryConfig = 256;
inline constexpr std::uint64_t kCategoryRelease = 512;
inline constexpr std::uint64_t kCategoryProcess = 8192;

inline constexpr std::uint64_t kTypeHeartbeat = 0x1000000;
inline constexpr std::uint64_t kTypeLogQuery = 0x1000001;
inline constexpr std::uint64_t kTypeLogText = 0x1000002;
inline constexpr std::uint64_t kTypeDocument = 0x1000010;

// First argument of Load.
struct HostInfo
{
    std::uint64_t unused[2] = {};
    PluginCallback callback = nullptr;
};
static_assert(offsetof(HostInfo, callback) == 16);

// Second argument of Load, filled by the plug-in.
struct LoadRecord
{
    std::uint64_t unused0 = 0;
    std::uint64_t pluginId = 0;
    std::uint64_t unused16[2] = {};
    std::uint64_t word32 = 0;
    std::uint64_t unused40[2] = {};
    std::uint64_t word56 = 0;
    std::uint64_t unused64[4] = {};
    std::uint8_t byte96 = 0;
    std::uint8_t unused97[2] = {};
    std::uint8_t byte99 = 0;
    std::uint8_t unused100[28] = {};
};
static_assert(sizeof(LoadRecord) == 128);
static_assert(offsetof(LoadRecord, pluginId) == 8);
static_assert(offsetof(LoadRecord, word32) == 32);
static_assert(offsetof(LoadRecord, word56) == 56);
static_assert(offsetof(LoadRecord, byte96) == 96);
static_assert(offsetof(LoadRecord, byte99) == 99);

inline constexpr std::uint64_t kLoadWord32 = 0x2000010;
inline constexpr std::uint64_t kLoadWord56 = 0x2000000;

// First argument of Write.
struct WriteRequest
{
    std::uint64_t unused = 0;
    PluginMessage message;
};
static_assert(offsetof(WriteRequest, message) == 8);

// Second argument of Write.
struct WriteReply
{
    std::uint32_t unused[7] = {};
    std::uint32_t bufferKept = 0;
    std::uint32_t spare[8] = {};
};
static_assert(offsetof(WriteReply, bufferKept) == 28);

inline constexpr std::uint32_t kIoctlRun = 1;
inline constexpr std::uint32_t kIoctlConfig = 2;
inline constexpr std::uint32_t kIoctlProcess = 4;

// First argument of IOCTL.
struct IoctlRequest
{
    std::uint64_t unused0 = 0;
    std::uint32_t code = 0;
    std::uint32_t unused12[3] = {};
    std::uint32_t length = 0;
    std::uint32_t unused28 = 0;
    std::uint64_t data = 0;
    std::uint64_t spare[4] = {};
};
static_assert(offsetof(IoctlRequest, code) == 8);
static_assert(offsetof(IoctlRequest, length) == 24);
static_assert(offsetof(IoctlRequest, data) == 32);

// Second argument of IOCTL.
struct IoctlReply
{
    std::uint64_t unused[2] = {};
    std::uint32_t result = 0;
    std::uint32_t spare[11] = {};
};
static_assert(offsetof(IoctlReply, result) == 16);
} // namespace host
