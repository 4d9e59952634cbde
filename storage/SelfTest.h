// Drive self-tests: one record per disk with the last known state. The program that talks to the drives is
// not part of this version: it is never found, so no command does anything and no record comes into being.
#pragma once

#include "storage/Disk.h"
#include "storage/SmartConfig.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>

namespace tq::corvanepi
{
enum class SelfTestCommand : std::int32_t
{
    StartShort = 0,
    StartLong = 1,
    Stop = 2,
    HostReport = 3,     // a report the host asked for
    InternalReport = 4, // a report of the plug-in's own
};

inline constexpr std::int32_t kDefaultSelfTestTimeoutSec = 3600;

// One for the process; main loop only.
class SelfTestManager
{
public:
    virtual ~SelfTestManager();

    // Asks the self-test tool for its version and notes whether it is there. Empty when it is not.
    std::string GetToolVersion();

    // Whether self-tests can be run at all.
    [[nodiscard]] bool IsToolAvailable() const { return m_toolAvailable; }

    // Switches self-tests off without asking for the tool.
    void DisableTool() { m_toolAvailable = false; }

    // The longest a short test may run. Values of 3600 or less leave the limit as it is; the result is logged
    // either way.
    void SetTimeout(std::int32_t seconds);
    [[nodiscard]] std::int32_t Timeout() const { return m_timeoutSec; }

    // Extra logging of the tool, and of the manager's queued handlers.
    void SetToolLogging(bool on) { m_toolLogging = on; }
    [[nodiscard]] bool IsToolLogging() const { return m_toolLogging; }

    // `command` comes from the host unchecked. Does nothing without the tool or without disks.
    void ExecuteCommand(std::int32_t command, const DiskList& disks, std::int64_t nowSec,
                        const SmartConfig& config);

    // By disk name; false for a disk without a record.
    [[nodiscard]] bool HasFailed(const std::string& diskName) const;
    [[nodiscard]] bool HasChanged(const std::string& diskName) const;

    // Adds "SelfTestStatus", "SelfTestTime" and "Percent" when they changed since they were last reported.
    void AddStatusAttributes(const std::string& diskName, TiXmlElement& element);

    // Status words of a drive that are no fault.
    [[nodiscard]] const std::set<std::string>& HealthyTexts() const { return m_healthyTexts; }

private:
    std::int32_t m_timeoutSec = kDefaultSelfTestTimeoutSec;
    bool m_toolLogging = false;
    const std::set<std::string> m_healthyTexts{"Completed without error", "Self test in progress"};
    bool m_toolAvailable = false;
};
} // namespace tq::corvanepi
