// The report of the self-test tool: a "Disk" element for each drive, in it a "Report" element for each entry
// of the drive's self-test log.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

class CXmlDocument;

namespace tq::corvanepi
{
// How a test stands, as the tool's reports and the status documents number it. Reports may hold any other
// number; it is passed on as it is.
enum class SelfTestResult : std::int32_t
{
    None = -1, // nothing known yet
    NotAvailable = 0,
    InProgress = 1,
    CompletedNoError = 2,
    CompletedError = 3,
    Aborted = 4,
};

// For log lines; empty for a number that is no result.
const char* ResultName(SelfTestResult result);

// One entry of a drive's self-test log.
struct SelfTestLogEntry
{
    SelfTestResult status = SelfTestResult::None;
    std::int32_t timestampHours = 0; // the drive's power-on hours when the test ran, 0 when not told
    std::uint64_t failLba = 0;       // 0 when not told
    std::string type;                // kind of test, and how it ended, in the drive's words
    std::string statusText;
};

struct SelfTestDiskReport
{
    SelfTestResult status = SelfTestResult::None;
    std::int32_t percent = -1;                      // done so far, 0 to 100; -1 when not told
    std::map<std::int32_t, SelfTestLogEntry> log{}; // by entry number, 1 the most recent
};

// By disk name.
using SelfTestReport = std::map<std::string, SelfTestDiskReport>;

// Reads a report. Absent when the text is no XML, nested too deeply or without a root element; `document`
// then holds what could be read of it. Elements without their required attributes are passed over. A disk
// told twice is one disk: its first "Disk" element counts, but one with status 0 gives way to those behind
// it. Of two log entries with one number the first stays.
std::optional<SelfTestReport> ParseReport(const std::string& text, CXmlDocument& document);
} // namespace tq::corvanepi
