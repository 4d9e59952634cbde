// What a drive says of its self-tests, whatever its kind.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tqselftest
{
// Numbers of the report.
enum class Result : int
{
    NotAvailable = 0,
    InProgress = 1,
    Completed = 2,
    Error = 3,
    Aborted = 4,
};

// A test that ended, from the drive's log.
struct LogEntry
{
    int id = 0; // place in the log, 1 is the most recent
    Result result = Result::NotAvailable;
    std::uint64_t hours = 0; // power-on hours when it ran
    std::optional<std::uint64_t> failedLba{};
    std::string type{};   // the drive's words, or smartctl's
    std::string status{}; // likewise
};

enum class Protocol
{
    Unknown,
    Ata,
    Nvme,
    Scsi,
};

struct DriveState
{
    Protocol protocol = Protocol::Unknown;
    bool isSupported = false; // whether starting a test makes sense
    bool isRunning = false;
    std::optional<int> remaining{};     // percent of the running test; some drives do not tell
    Result last = Result::NotAvailable; // how the last test ended, as far as the drive knows
    std::vector<LogEntry> log{};        // most recent first
};
} // namespace tqselftest
