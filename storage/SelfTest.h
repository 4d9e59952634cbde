// Drive self-tests: starts, stops and follows the drives' own short and long tests through the companion
// program tqselftest, with one record per disk.
#pragma once

#include "storage/Disk.h"
#include "storage/SelfTestRecord.h"
#include "storage/SelfTestReport.h"
#include "storage/SmartConfig.h"

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

class CClock;

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

// One for the process; main loop only, without a lock. Commands block while the tool runs. All failures are
// log lines: the tool's own come from RunCommand, and the command then has no further effect.
class SelfTestManager
{
public:
    // The clock gives the deadlines and outlives the manager. A report that cannot be read is written to
    // `badReportFile`, if that can be opened.
    SelfTestManager(const CClock& clock, std::string badReportFile);

    SelfTestManager(const SelfTestManager&) = delete;
    SelfTestManager& operator=(const SelfTestManager&) = delete;

    // Deadlines by disk name; a disk without a record has none. A short test gets one of now and the
    // time-out; it has timed out once the clock is past it.
    virtual void StartTimeout(const std::string& diskName);
    [[nodiscard]] virtual bool IsTimedOut(const std::string& diskName) const;
    virtual void ClearTimeout(const std::string& diskName);

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

    // `command` comes from the host unchecked. Does nothing without the tool or without disks. A report
    // covers all drives of the box in one run of the tool, whatever the number of disks; it also aborts short
    // tests that have timed out. A start is followed by a report at once.
    void ExecuteCommand(std::int32_t command, const DiskList& disks, std::int64_t nowSec,
                        const SmartConfig& config);

    // Takes up a report of the tool, disk by disk; disks without a record are passed over. The first one
    // gives the results of earlier tests, and a limit to tests found running.
    void ApplyReport(const SelfTestReport& report, std::int64_t nowSec);

    // By disk name; false for a disk without a record.
    [[nodiscard]] bool HasFailed(const std::string& diskName) const;
    [[nodiscard]] bool HasChanged(const std::string& diskName) const;

    // Adds "SelfTestStatus", "SelfTestTime" and "Percent" when they changed since they were last reported.
    void AddStatusAttributes(const std::string& diskName, TiXmlElement& element);

    // Status words of a drive that are no fault.
    [[nodiscard]] const std::set<std::string>& HealthyTexts() const { return m_healthyTexts; }

private:
    struct Request;

    Request SortDisks(std::int32_t command, const DiskList& disks, std::int64_t nowSec,
                      const SmartConfig& config);
    void StartTest(const Request& request);
    void StopTest(const Request& request);
    void Report(const Request& request);
    void TakeUpReport(const std::string& text, std::int64_t nowSec);
    void AbortTimedOutTests(const Request& request);
    [[nodiscard]] std::shared_ptr<ipc::client> RunSelfTestTool(std::vector<std::string> arguments,
                                                               const std::string& label) const;
    [[nodiscard]] const SelfTestRecord* Find(const std::string& diskName) const;

    const CClock& m_clock;
    const std::string m_badReportFile;
    bool m_reportedOnce = false; // by a report that was applied
    std::int32_t m_timeoutSec = kDefaultSelfTestTimeoutSec;
    bool m_toolLogging = false;
    std::map<std::string, SelfTestRecord> m_records; // by disk name; none is ever removed
    const std::set<std::string> m_healthyTexts{"Completed without error", "Self test in progress"};
    bool m_ignoredLogged = false; // a report of nothing but unsupported disks
    bool m_toolAvailable = false;
};
} // namespace tq::corvanepi
