#include "host/ExecFrame.h"

#include <array>
#include <cstring>

namespace host
{
namespace
{
constexpr std::uint32_t kFlagField1 = 0x08;
constexpr std::uint32_t kFlagField2 = 0x10;

// Cuts the leading text up to its NUL off `payload`; false when there is no NUL.
bool TakeField(std::string_view& payload, std::string& field)
{
    const std::size_t end = payload.find('\0');
    if (end == std::string_view::npos)
    {
        return false;
    }
    field = payload.substr(0, end);
    payload.remove_prefix(end + 1);
    return true;
}

// Single NULs between the words, none after the last.
std::vector<std::string> SplitWords(std::string_view text)
{
    std::vector<std::string> words;
    std::string word;
    while (TakeField(text, word))
    {
        words.push_back(word);
    }
    words.emplace_back(text);
    return words;
}
} // namespace

std::optional<ExecRequest> ParseExecFrame(std::string_view frame, std::string& error)
{
    std::array<std::uint32_t, 4> header{};
    if (frame.size() < kFrameHeader || frame.size() > kMaxFrame)
    {
        error = "a frame of " + std::to_string(frame.size()) + " bytes";
        return std::nullopt;
    }
    std::memcpy(header.data(), frame.data(), kFrameHeader);
    if (header[0] != frame.size())
    {
        error =
            "a frame of " + std::to_string(frame.size()) + " bytes that says " + std::to_string(header[0]);
        return std::nullopt;
    }
    if (header[2] != static_cast<std::uint32_t>(FrameKind::Exec))
    {
        error = "a frame of kind " + std::to_string(header[2]);
        return std::nullopt;
    }
    ExecRequest request;
    request.id = header[1];
    request.flags = header[3];
    std::string_view payload = frame.substr(kFrameHeader);
    if (((request.flags & kFlagField1) != 0 && !TakeField(payload, request.field1)) ||
        ((request.flags & kFlagField2) != 0 && !TakeField(payload, request.field2)))
    {
        error = "an exec request without the fields its flags promise";
        return std::nullopt;
    }
    request.argv = SplitWords(payload);
    if (request.argv.front().empty())
    {
        error = "an exec request without a program";
        return std::nullopt;
    }
    return request;
}

std::string BuildFrame(std::uint32_t id, FrameKind kind, std::uint32_t value, std::string_view payload)
{
    const std::array<std::uint32_t, 4> header{static_cast<std::uint32_t>(kFrameHeader + payload.size()), id,
                                              static_cast<std::uint32_t>(kind), value};
    std::string frame(kFrameHeader, '\0');
    std::memcpy(frame.data(), header.data(), kFrameHeader);
    frame += payload;
    return frame;
}

void SendOutput(const FrameSink& sink, std::uint32_t id, FrameKind kind, std::string_view bytes)
{
    while (!bytes.empty())
    {
        const std::string_view piece = bytes.substr(0, kMaxFrame - kFrameHeader);
        sink(BuildFrame(id, kind, 0, piece));
        bytes.remove_prefix(piece.size());
    }
}
} // namespace host
