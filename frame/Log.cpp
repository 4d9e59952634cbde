#include "frame/Log.h"

#include <cstdio>
#include <cstring>
#include <memory>

namespace
{
constexpr std::uint32_t kLogRecordSize = 168;
constexpr std::uint32_t kLogRecordVersion = 1;

HostMessage LogEnvelope(std::uint64_t source, std::uint64_t type)
{
    HostMessage message;
    message.source = source;
    message.category = static_cast<std::uint64_t>(MessageCategory::LogMessage);
    message.type = type;
    return message;
}

std::int32_t SendText(std::uint64_t source, HostCallback callback, LogLevel level, const char* text, int length)
{
    HostMessage message = LogEnvelope(source, kTypeLogText);
    message.length = static_cast<std::uint32_t>(length);
    message.data = reinterpret_cast<std::uintptr_t>(text);
    // Record: u32 size, u32 version, u64 level.
    const std::uint64_t wideLevel = static_cast<std::uint32_t>(level);
    std::memcpy(message.record, &kLogRecordSize, sizeof kLogRecordSize);
    std::memcpy(message.record + 4, &kLogRecordVersion, sizeof kLogRecordVersion);
    std::memcpy(message.record + 8, &wideLevel, sizeof wideLevel);
    return callback(&message, nullptr);
}
} // namespace

std::int32_t LogToHostV(std::uint64_t source, HostCallback callback, LogLevel level, const char* format,
                        std::va_list arguments)
{
    if (callback == nullptr)
    {
        return 0;
    }
    const HostMessage query = LogEnvelope(source, kTypeLogQuery);
    if (level < callback(&query, nullptr))
    {
        return 0;
    }

    std::va_list again;
    va_copy(again, arguments);
    char buffer[kLogBufferSize]; // not cleared: vsnprintf terminates what it writes
    const int length = std::vsnprintf(buffer, sizeof buffer, format, arguments);
    std::int32_t result = 0;
    if (length > kLogBufferSize && level == LogDebug)
    {
        const auto size = static_cast<std::size_t>(length) + 1;
        const auto whole = std::make_unique<char[]>(size);
        const int wholeLength = std::vsnprintf(whole.get(), size, format, again);
        if (wholeLength > 0)
        {
            result = SendText(source, callback, level, whole.get(), wholeLength);
        }
    }
    else if (length > 0)
    {
        result = SendText(source, callback, level, buffer, length < kLogBufferSize ? length : kLogBufferSize);
    }
    va_end(again);
    return result;
}

std::int32_t LogToHost(std::uint64_t source, HostCallback callback, LogLevel level, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    const std::int32_t result = LogToHostV(source, callback, level, format, arguments);
    va_end(arguments);
    return result;
}

void Log(LogLevel level, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    LogToHostV(kPluginId, GetHostCallback(), level, format, arguments);
    va_end(arguments);
}
