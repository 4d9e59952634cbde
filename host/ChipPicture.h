// What the host learns of the board's chip and its watchdog beside the documents.
#pragma once

#include "host/HostCore.h"
#include "host/Picture.h"
#include "sim/IoPorts.h"

#include <optional>
#include <string>

namespace host
{
// A log line of the plug-in: some tell which chip was found and whether the watchdog was started.
void NoteChipLog(Picture& picture, const std::string& text);

// The watchdog at `nowSec` (UTC): as the simulated chip has it, or, without `simulated`, as far as the
// plug-in's log, its settings and the heartbeats returned tell. Nothing when there is no chip.
std::optional<WatchdogState> WatchdogNow(const Picture& picture,
                                         const std::optional<sim::WatchdogView>& simulated,
                                         const HeartbeatCount& heartbeats, std::int64_t nowSec);
} // namespace host
