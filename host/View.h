// What every way of showing the host has in common.
#pragma once

#include "host/HostCore.h"
#include "host/Picture.h"
#include "host/PictureMerge.h"

#include <cstdint>
#include <string>

namespace host
{
// Levels of the lines: those of the plug-in, and the host's own.
inline constexpr int kLevelDebug = 0;
inline constexpr int kLevelInfo = 25;
inline constexpr int kLevelWarning = 50;
inline constexpr int kLevelError = 75;

struct ViewLine
{
    std::int64_t utcSec = 0;
    int level = kLevelInfo;
    bool fromHost = false; // a line of the host or the appliance, not of the plug-in
    std::string text;      // not cleaned
};

struct ViewState
{
    const Picture& picture;
    HeartbeatCount heartbeats;
    std::int64_t nowSec = 0; // UTC, simulated where time is
    int speed = 1;
    std::string appliance; // name of the simulated appliance, "this machine" for real programs
    bool complete = false; // the picture has all that a start brings
};

// Used by one thread.
class CView
{
public:
    virtual ~CView() = default;

    virtual void ShowLine(const ViewLine& line) = 0;
    virtual void ShowChange(const Picture& picture, const PictureChange& change, std::int64_t utcSec) = 0;

    // After every batch of news, and about five times a second.
    virtual void Update(const ViewState& state) = 0;

    // The terminal has another size, was taken away (Ctrl-Z), or is there again.
    virtual void Resize() {}
    virtual void Suspend() {}
    virtual void Resume() {}

    // False when nobody can see it any more, a closed pipe for example.
    [[nodiscard]] virtual bool IsAlive() const = 0;
};

// "error", "warning", "info", "debug": the word for the level or the next lower one.
const char* LevelWord(int level);
} // namespace host
