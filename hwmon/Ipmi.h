// Watches the sensors of the board's management controller through ipmitool, for boards without a usable
// Super I/O chip.
#pragma once

#include "hwmon/IpmiSensors.h"

#include <cstddef>
#include <string>

class CClock;

// Not locked: constructed with the manager, then used on the main loop only.
class IpmiMonitor
{
public:
    // `file` keeps the on/off setting and the last full sensor document; empty: none. Monitoring is on unless
    // the file can be read and says otherwise. Logs which it is.
    explicit IpmiMonitor(std::string file);

    // Never changes: the setting is the file's, and it is written back as it was read.
    [[nodiscard]] bool IsEnabled() const { return m_enabled; }

    // One run of the tool, the documents about what it changed, and the file when a sensor is new. Does
    // nothing when monitoring is off, and for good once the tool could not be started. Blocks until the tool
    // has ended.
    void Poll(const CClock& clock);

private:
    void LogExitCode(int exitCode);
    void SendFullDocument();
    void SendChanges(const CClock& clock);

    bool m_available = true; // false once the tool could not be started
    int m_lastExitCode = 0;
    bool m_enabled = true;
    const std::string m_file;
    IpmiSensors m_sensors;
};
