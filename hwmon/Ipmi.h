// Sensors of the board's management controller, for boards without a Super I/O chip. The reader is not part
// of this version: monitoring counts as switched off.
#pragma once

#include <string>

class IpmiMonitor
{
public:
    // `file` keeps the on/off setting and the last full sensor document.
    explicit IpmiMonitor(std::string file);

    [[nodiscard]] bool IsEnabled() const { return false; }

    // One run of the tool. Blocks until it has ended; main loop only.
    void Poll();

private:
    std::string m_file;
};
