#include "host/ChipPicture.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace host
{
namespace
{
constexpr std::string_view kFound = "SENSORS: Found ";

struct WatchdogLine
{
    std::string_view text;
    bool started;
};

constexpr auto kWatchdogLines = std::to_array<WatchdogLine>({
    {"SENSORS: Watchdog timer started successfully", true},
    {"SENSORS: Stopping watchdog.", false},
});

std::int64_t Seconds(sim::SimTime time)
{
    return std::chrono::duration_cast<std::chrono::seconds>(time).count();
}

WatchdogState FromChip(const sim::WatchdogView& view)
{
    WatchdogState state{view.isArmed, view.timeoutSec, {}, {}, view.resetCount};
    if (view.isArmed)
    {
        state.leftSec = Seconds(view.left);
        state.sincePingSec = Seconds(std::chrono::seconds(view.timeoutSec) - view.left);
    }
    return state;
}
} // namespace

void NoteChipLog(Picture& picture, const std::string& text)
{
    if (text.starts_with(kFound))
    {
        picture.chip.name = text.substr(kFound.size(), kMaxText);
    }
    for (const WatchdogLine& line : kWatchdogLines)
    {
        if (text == line.text)
        {
            picture.chip.watchdogStarted = line.started;
        }
    }
}

std::optional<WatchdogState> WatchdogNow(const Picture& picture,
                                         const std::optional<sim::WatchdogView>& simulated,
                                         const HeartbeatCount& heartbeats, std::int64_t nowSec)
{
    if (simulated)
    {
        return FromChip(*simulated);
    }
    if (picture.chip.name.empty() || !picture.settings.watchdog)
    {
        return std::nullopt;
    }
    WatchdogState state{picture.chip.watchdogStarted, picture.settings.watchdog->timeoutSec, {}, {}, 0};
    if (state.isArmed && heartbeats.lastReturnedUtcSec != 0)
    {
        // Each returned heartbeat is a ping.
        state.sincePingSec = std::max<std::int64_t>(0, nowSec - heartbeats.lastReturnedUtcSec);
        state.leftSec = std::max<std::int64_t>(0, state.timeoutSec - *state.sincePingSec);
    }
    return state;
}
} // namespace host
