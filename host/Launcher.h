// Who runs the programs the plug-in asks for.
#pragma once

#include "host/ExecFrame.h"

#include <functional>
#include <string>

namespace host
{
// Takes one line for the person at the host, on the launcher's thread.
using NoteSink = std::function<void(std::string note)>;

// Each request gets a frame Started, output frames and a frame Ended, or one frame StartFailed. The plug-in
// sends its request with a lock held that the answers need as well, so they always come from the launcher's
// own thread.
class CLauncher
{
public:
    virtual ~CLauncher() = default;

    // Any thread; does not block.
    virtual void Start(ExecRequest request) = 0;

    // Ends what still runs and the launcher's thread. No frame is sent after it has returned; later requests
    // are dropped.
    virtual void Stop() = 0;
};
} // namespace host
