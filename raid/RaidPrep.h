// The record of a RAID preparation: which data volume is being created or prepared, and how far it has come.
#pragma once

#include "storage/PrepStatus.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
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
