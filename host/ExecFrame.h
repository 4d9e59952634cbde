// Frames of the process link: what the plug-in asks for, and what the host answers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host
{
// A frame is four little-endian u32 (length, request id, kind, value) and a payload.
inline constexpr std::size_t kFrameHeader = 16;
inline constexpr std::size_t kMaxFrame = 0x10000;

enum class FrameKind : std::uint32_t
{
    StandardOutput = 1,
    StandardError = 2,
    Started = 3,
    StartFailed = 4, // value: errno
    Ended = 5,       // value: wait status
    Exec = 6,        // the only kind from the plug-in; value: flags
};

// A program the plug-in wants to have run. The fields belong to flags that this host has no use for.
struct ExecRequest
{
    std::uint32_t id = 0;
    std::uint32_t flags = 0;
    std::string field1;
    std::string field2;
    std::vector<std::string> argv; // never empty, the program first
};

// Takes finished frames, one call for each, always on the launcher's own thread.
using FrameSink = std::function<void(std::string_view frame)>;

// Reads an exec frame; none with `error` set when it is malformed.
std::optional<ExecRequest> ParseExecFrame(std::string_view frame, std::string& error);

std::string BuildFrame(std::uint32_t id, FrameKind kind, std::uint32_t value, std::string_view payload = {});

// Hands `bytes` over in as many frames as they need; nothing for no bytes.
void SendOutput(const FrameSink& sink, std::uint32_t id, FrameKind kind, std::string_view bytes);
} // namespace host
