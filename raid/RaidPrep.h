// The record of a RAID preparation: which data volume is being created or prepared, and how far it has come.
#pragma once

#include "storage/PrepStatus.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tq::ipc
{
class client;
}

// Kept by the controller; the operations on it are the controller's. Main loop only.
struct RaidPrepState
{
    std::string name; // the volume being prepared, "New Data Array" before it exists
    std::string oldName;
    std::vector<std::string> disks; // unconfigured disks chosen, named as the create command wants them
    std::uint32_t sizeGB = 0;       // size of the smallest chosen disk
    std::int32_t raidLevel = -1;
    PrepStatus status = PrepStatus::Invalid;
    std::chrono::steady_clock::time_point startTime = std::chrono::steady_clock::time_point::min();
    std::shared_ptr<tq::ipc::client> job; // the running tool, null when idle
};

// The status as log lines name it; never null.
const char* PrepStatusText(PrepStatus status);

// What moves a preparation on.
enum class PrepEvent
{
    // a look at the units and drives
    NothingToDo,     // a data volume is mounted, there are several, or no drive is free
    TooFewDisks,     // for an array
    EnoughDisks,     // for an array
    UnmountedVolume, // an array is there, what comes after it is missing

    // step 1, creating the array
    ArrayStarted,
    ArrayNotStarted,
    ArrayCreated,
    ArrayFailed,

    // step 2, the script
    ScriptStarted,
    ScriptNotStarted,
    ScriptDone,
    MountingFailed,
    FormattingFailed,
    PartitioningFailed,
    ScriptFailed, // for another reason

    CompletionReported,
};

// The whole life of a preparation is the table behind this function (RaidPrepState.cpp). Absent: the event
// means nothing in this status.
std::optional<PrepStatus> NextPrepStatus(PrepStatus status, PrepEvent event);

// Which failure the script's output tells of; of several words the one of the latest stage counts.
PrepEvent ScriptFailure(std::string_view output);
