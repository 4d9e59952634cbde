// Log lines, handed to the host one by one. The host decides on each call whether it wants lines of that
// level.
#pragma once

#include "frame/HostMessage.h"

#include <cstdarg>
#include <cstdint>

// The host compares the number with its threshold; equal passes.
enum LogLevel : std::int32_t
{
    LogDebug = 0,
    LogInfo = 25,
    LogWarning = 50,
    LogError = 75,
};

// Longest text of a line above LogDebug, its terminating NUL included. Longer lines are cut; debug lines are
// sent whole.
inline constexpr int kLogBufferSize = 2048;

// Asks the host for its threshold, formats and sends the line. Returns the host's answer to the text, 0 when
// nothing was sent. Any thread. Allocates only for debug lines beyond kLogBufferSize.
[[gnu::format(printf, 4, 5)]] std::int32_t LogToHost(std::uint64_t source, HostCallback callback,
                                                     LogLevel level, const char* format, ...);
[[gnu::format(printf, 4, 0)]] std::int32_t LogToHostV(std::uint64_t source, HostCallback callback,
                                                      LogLevel level, const char* format,
                                                      std::va_list arguments);

// The same with the plug-in's own ID and the callback stored by Load.
[[gnu::format(printf, 2, 3)]] void Log(LogLevel level, const char* format, ...);
