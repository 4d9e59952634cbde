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

std::int32_t SendText(std::uint64_t source, HostCallback callback, LogLevel level, const char* text,
                      int length)
{
    HostMessage message = LogEnvelope(source, kTypeLogText);
    message.length = static_cast<std::uint32_t>(length);
    message.data = reinterpret_cast<std::uintptr_t>(text);
    message.recordSize = kLogRecordSize;
    message.recordVersion = kLogRecordVersion;
    const std::uint64_t wideLevel = static_cast<std::uint32_t>(level);
    std::memcpy(message.recordData, &wideLevel, sizeof wideLevel);
    return callback(&message, nullptr);
}

// Whether the host wants lines of this level now. Its threshold may change at any time, so it is asked for
// each line.
bool IsWanted(std::uint64_t source, HostCallback callback, LogLevel level)
{
    if (callback == nullptr)
    {
        return false;
    }
    const HostMessage query = LogEnvelope(source, kTypeLogQuery);
    return level >= callback(&query, nullptr);
}

// Kept out of line: a line that is not wanted pays nothing for the buffer.
[[gnu::noinline, gnu::format(printf, 4, 0)]] std::int32_t FormatAndSend(std::uint64_t source,
                                                                        HostCallback callback, LogLevel level,
                                                                        const char* format,
                                                                        std::va_list arguments)
{
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
} // namespace

std::int32_t LogToHostV(std::uint64_t source, HostCallback callback, LogLevel level, const char* format,
                        std::va_list arguments)
{
    return IsWanted(source, callback, level) ? FormatAndSend(source, callback, level, format, arguments) : 0;
}

// The variadic entries ask before they set up their arguments: most lines end there.
std::int32_t LogToHost(std::uint64_t source, HostCallback callback, LogLevel level, const char* format, ...)
{
    if (!IsWanted(source, callback, level))
    {
        return 0;
    }
    std::va_list arguments;
    va_start(arguments, format);
    const std::int32_t result = FormatAndSend(source, callback, level, format, arguments);
    va_end(arguments);
    return result;
}

void Log(LogLevel level, const char* format, ...)
{
    const HostCallback callback = GetHostCallback();
    if (!IsWanted(kPluginId, callback, level))
    {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    FormatAndSend(kPluginId, callback, level, format, arguments);
    va_end(arguments);
}
