// Running arcconf. The appliance has one controller, number 1. Each call blocks until the tool has ended,
// without a time limit, unless it says otherwise. Main loop only.
#pragma once

#include "raid/ArcconfConfig.h"
#include "raid/ArcconfSmart.h"

#include <memory>
#include <string>
#include <vector>

namespace tq::ipc
{
class client;
}

namespace arcconf
{
// Three runs side by side: configuration, listing, background operations.
ArcConfig ExecuteControllerInfo();

ArcSmartInfo ExecuteDisksSmartInfo();

// Starts the tool and returns: the array is built while the main loop goes on. `raidLevel`: 5 or 6. Never
// null.
std::shared_ptr<tq::ipc::client> StartCreateLogicalDrive(std::int32_t raidLevel,
                                                         const std::vector<ArcDriveId>& drives);

// Makes the drive a spare of that array; releases it again. Error text, empty on success.
std::string ExecuteAddHotspare(const ArcDriveId& drive, std::int32_t arrayId);
std::string ExecuteDeleteHotspare(const ArcDriveId& drive);
} // namespace arcconf
