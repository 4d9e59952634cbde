#include "tqselftest/SmartctlJson.h"

#include <boost/json/src.hpp>

#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <string_view>
#include <utility>

namespace tqselftest
{
namespace
{
namespace json = boost::json;

constexpr std::size_t kMaxDepth = 32;
constexpr std::size_t kMaxEntries = 64; // of a log; no drive is known to keep more
// The extended log keeps more than the old one. A failure of years ago is to be forgotten after as many tests
// whichever of the two can be read.
constexpr std::size_t kAtaEntries = 21;
constexpr std::size_t kMaxText = 200;

// Bits of smartctl's exit status that mean that nothing was read.
constexpr int kNothingRead = 0x03;
// A command to the drive failed.
constexpr int kCommandFailed = 0x04;

std::optional<json::value> Parse(const std::string& text)
{
    json::parse_options options;
    options.allow_invalid_utf8 = true; // model names and the like are the drives' own bytes
    options.max_depth = kMaxDepth;
    json::error_code error;
    json::value value = json::parse(text, error, {}, options);
    return error || !value.is_object() ? std::nullopt : std::optional(std::move(value));
}

// The value at the end of the path; null when a member is missing.
const json::value* At(const json::value* value, std::initializer_list<std::string_view> path)
{
    for (const std::string_view name : path)
    {
        value = value != nullptr && value->is_object() ? value->get_object().if_contains(name) : nullptr;
    }
    return value;
}

std::optional<std::int64_t> Number(const json::value* value, std::initializer_list<std::string_view> path)
{
    const json::value* found = At(value, path);
    if (found == nullptr || !found->is_number())
    {
        return std::nullopt;
    }
    json::error_code error;
    const auto number = found->to_number<std::int64_t>(error);
    return error ? std::nullopt : std::optional(number);
}

std::string Text(const json::value* value, std::initializer_list<std::string_view> path)
{
    const json::value* found = At(value, path);
    return found != nullptr && found->is_string() ? std::string(found->get_string().subview(0, kMaxText))
                                                  : "";
}

bool Bool(const json::value* value, std::initializer_list<std::string_view> path, bool otherwise)
{
    const json::value* found = At(value, path);
    return found != nullptr && found->is_bool() ? found->get_bool() : otherwise;
}

const json::array* Array(const json::value* value, std::initializer_list<std::string_view> path)
{
    const json::value* found = At(value, path);
    return found != nullptr ? found->if_array() : nullptr;
}

std::optional<std::uint64_t> Lba(const json::value* entry, std::initializer_list<std::string_view> path)
{
    const auto lba = Number(entry, path);
    return lba && *lba >= 0 ? std::optional(static_cast<std::uint64_t>(*lba)) : std::nullopt;
}

// The upper four bits of ATA's self-test status byte.
Result AtaResult(std::int64_t status)
{
    switch (status >> 4)
    {
    case 0:
        return Result::Completed;
    case 1: // by the host
    case 2: // by a reset
        return Result::Aborted;
    case 3: // fatal or unknown
    case 4: // unknown element
    case 5: // electrical
    case 6: // servo
    case 7: // read
    case 8: // handling damage
        return Result::Error;
    case 15:
        return Result::InProgress;
    default:
        return Result::NotAvailable;
    }
}

// The log counts hours in 16 bits; the drive's present count tells how often that has run over. Entries are
// most recent first, so their hours never grow.
void UnwrapHours(std::vector<LogEntry>& log, std::uint64_t powerOnHours)
{
    constexpr std::uint64_t kWrap = 65'536;
    std::uint64_t latest = powerOnHours;
    for (LogEntry& entry : log)
    {
        if (entry.hours < kWrap && entry.hours <= latest)
        {
            entry.hours += (latest - entry.hours) / kWrap * kWrap;
            latest = entry.hours;
        }
    }
}

void AddAtaLog(const json::value* answer, DriveState& state)
{
    // Only the extended log has room for blocks beyond 32 bits.
    const json::array* table = Array(answer, {"ata_smart_self_test_log", "extended", "table"});
    if (table == nullptr)
    {
        table = Array(answer, {"ata_smart_self_test_log", "standard", "table"});
    }
    if (table == nullptr)
    {
        return;
    }
    for (std::size_t index = 0; index < std::min(table->size(), kAtaEntries); ++index)
    {
        const json::value* entry = &(*table)[index];
        const auto status = Number(entry, {"status", "value"});
        const Result result = status ? AtaResult(*status) : Result::NotAvailable;
        if (!status || result == Result::InProgress) // some drives list the running test
        {
            continue;
        }
        state.log.push_back({.id = static_cast<int>(index) + 1,
                             .result = result,
                             .hours = Lba(entry, {"lifetime_hours"}).value_or(0),
                             .failedLba = Lba(entry, {"lba"}),
                             .type = Text(entry, {"type", "string"}),
                             .status = Text(entry, {"status", "string"})});
    }
    UnwrapHours(state.log, Lba(answer, {"power_on_time", "hours"}).value_or(0));
}

DriveState AtaState(const json::value* answer)
{
    DriveState state{.protocol = Protocol::Ata};
    const auto status = Number(answer, {"ata_smart_data", "self_test", "status", "value"});
    state.isSupported =
        status && Bool(answer, {"ata_smart_data", "capabilities", "self_tests_supported"}, true);
    AddAtaLog(answer, state);
    const Result last = status ? AtaResult(*status) : Result::NotAvailable;
    if (last == Result::InProgress)
    {
        state.isRunning = true;
        state.remaining = static_cast<int>(*status & 0x0F) * 10;
    }
    // A drive that was never tested says "completed" as well.
    else if (last != Result::Completed || !state.log.empty())
    {
        state.last = last;
    }
    return state;
}

Result NvmeResult(std::int64_t result)
{
    switch (result)
    {
    case 0:
        return Result::Completed;
    case 1: // by a command
    case 2: // by a reset
    case 3: // a namespace was removed
    case 4: // by a format
    case 8: // unknown reason
    case 9: // by a sanitize
        return Result::Aborted;
    case 5: // fatal or unknown
    case 6: // unknown segment
    case 7: // known segment
        return Result::Error;
    default: // 15: entry not used
        return Result::NotAvailable;
    }
}

// Only smartctl from 7.4 on has self-tests of NVMe drives; earlier ones take the command and do nothing.
DriveState NvmeState(const json::value* answer)
{
    DriveState state{.protocol = Protocol::Nvme};
    const auto operation = Number(answer, {"nvme_self_test_log", "current_self_test_operation", "value"});
    state.isSupported = operation.has_value();
    if (operation && *operation != 0)
    {
        state.isRunning = true;
        const auto done = Number(answer, {"nvme_self_test_log", "current_self_test_completion_percent"});
        state.remaining = done
                              ? std::optional(100 - static_cast<int>(std::clamp<std::int64_t>(*done, 0, 100)))
                              : std::nullopt;
    }
    const json::array* table = Array(answer, {"nvme_self_test_log", "table"});
    for (std::size_t index = 0; table != nullptr && index < std::min(table->size(), kMaxEntries); ++index)
    {
        const json::value* entry = &(*table)[index];
        const Result result = NvmeResult(Number(entry, {"self_test_result", "value"}).value_or(15));
        if (result != Result::NotAvailable)
        {
            state.log.push_back({.id = static_cast<int>(index) + 1,
                                 .result = result,
                                 .hours = Lba(entry, {"power_on_hours"}).value_or(0),
                                 .failedLba = Lba(entry, {"lba"}),
                                 .type = Text(entry, {"self_test_code", "string"}),
                                 .status = Text(entry, {"self_test_result", "string"})});
        }
    }
    state.last = state.log.empty() ? Result::NotAvailable : state.log.front().result;
    return state;
}

Result ScsiResult(std::int64_t result)
{
    switch (result)
    {
    case 0:
        return Result::Completed;
    case 1: // by a command
    case 2: // by a reset
        return Result::Aborted;
    case 3: // unknown error, incomplete
    case 4: // unknown segment
    case 5: // first segment
    case 6: // second segment
    case 7: // another segment
        return Result::Error;
    case 15:
        return Result::InProgress;
    default:
        return Result::NotAvailable;
    }
}

// SCSI drives do not say beforehand whether they know self-tests; one that does not lets the log command
// fail.
DriveState ScsiState(int exitCode, const json::value* answer)
{
    DriveState state{.protocol = Protocol::Scsi};
    state.isRunning = Bool(answer, {"self_test_in_progress"}, false);
    for (std::size_t index = 0; index < kMaxEntries; ++index)
    {
        const std::string name = "scsi_self_test_" + std::to_string(index);
        const auto number = Number(answer, {name, "result", "value"});
        if (!number)
        {
            break;
        }
        const Result result = ScsiResult(*number);
        state.isRunning = state.isRunning || result == Result::InProgress;
        if (result != Result::InProgress)
        {
            auto lba = Lba(answer, {name, "lba_first_failure", "value"});
            state.log.push_back({.id = static_cast<int>(index) + 1,
                                 .result = result,
                                 .hours = Lba(answer, {name, "power_on_time", "hours"}).value_or(0),
                                 .failedLba = lba ? lba : Lba(answer, {name, "lba_first_failure"}),
                                 .type = Text(answer, {name, "code", "string"}),
                                 .status = Text(answer, {name, "result", "string"})});
        }
    }
    state.isSupported = (exitCode & kCommandFailed) == 0 || state.isRunning || !state.log.empty();
    state.last = state.log.empty() ? Result::NotAvailable : state.log.front().result;
    return state;
}

// Whether smartctl says so in its own words: there are no members for these.
bool Says(const json::value* answer, std::string_view beginning)
{
    const json::array* lines = Array(answer, {"smartctl", "output"});
    return lines != nullptr && std::any_of(lines->begin(), lines->end(),
                                           [beginning](const json::value& line)
                                           { return Text(&line, {}).starts_with(beginning); });
}

// Whether what a failed command would have told matters. A drive without self-tests or their log makes
// smartctl fail as well, but says so.
bool IsStateLost(const json::value* answer, const DriveState& state)
{
    switch (state.protocol)
    {
    case Protocol::Ata:
        if (!Number(answer, {"ata_smart_data", "self_test", "status", "value"}))
        {
            return !Says(answer, "SMART support is: Unavailable");
        }
        // How a test ended is judged once and by the log: rather later than without it.
        return !state.isRunning && At(answer, {"ata_smart_self_test_log"}) == nullptr &&
               !Says(answer, "SMART Self-test Log not supported");
    case Protocol::Scsi:
        return !state.isRunning && state.log.empty() &&
               !Says(answer, "Device does not support Self Test logging");
    case Protocol::Nvme:
        return !state.isSupported;
    case Protocol::Unknown:
        break;
    }
    return false;
}

std::string Messages(const json::value* answer)
{
    std::string joined;
    if (const json::array* messages = Array(answer, {"smartctl", "messages"}))
    {
        for (const json::value& message : *messages)
        {
            joined += (joined.empty() ? "" : "; ") + Text(&message, {"string"});
        }
    }
    return joined;
}

std::optional<std::int64_t> WholeNumber(std::string_view text)
{
    std::int64_t number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    return result.ec == std::errc() && result.ptr == text.data() + text.size() ? std::optional(number)
                                                                               : std::nullopt;
}

void AddRaidDrives(const json::value& controller, std::vector<RaidDrive>& drives)
{
    const json::array* rows = Array(&controller, {"Response Data", "Drive Information"});
    for (std::size_t index = 0; rows != nullptr && index < rows->size(); ++index)
    {
        const json::value* row = &(*rows)[index];
        const std::string place = Text(row, {"EID:Slt"});
        const std::size_t colon = place.find(':');
        const auto deviceId = Number(row, {"DID"});
        if (colon == std::string::npos || !deviceId)
        {
            continue;
        }
        const auto enclosure = WholeNumber(std::string_view(place).substr(0, colon));
        const auto slot = WholeNumber(std::string_view(place).substr(colon + 1));
        if (enclosure && slot)
        {
            drives.push_back(
                {"/c0/e" + std::to_string(*enclosure) + "/s" + std::to_string(*slot), *deviceId});
        }
    }
}
} // namespace

std::optional<std::vector<ScannedDevice>> ParseScan(const std::string& text)
{
    const auto answer = Parse(text);
    if (!answer || At(&*answer, {"smartctl"}) == nullptr)
    {
        return std::nullopt;
    }
    std::vector<ScannedDevice> devices;
    if (const json::array* rows = Array(&*answer, {"devices"})) // none at all when nothing is found
    {
        for (const json::value& row : *rows)
        {
            const ScannedDevice device{Text(&row, {"name"}), Text(&row, {"type"})};
            if (device.name.starts_with('/'))
            {
                devices.push_back(device);
            }
        }
    }
    return devices;
}

DriveAnswer ParseDrive(int exitCode, const std::string& text)
{
    const auto answer = Parse(text);
    if (!answer)
    {
        return {.error = "smartctl's answer cannot be read"};
    }
    if ((exitCode & kNothingRead) != 0)
    {
        const std::string messages = Messages(&*answer);
        return {.error = messages.empty() ? "smartctl error " + std::to_string(exitCode) : messages};
    }
    const std::string protocol = Text(&*answer, {"device", "protocol"});
    if (protocol != "ATA" && protocol != "NVMe" && protocol != "SCSI")
    {
        return {.error = "unknown protocol \"" + protocol + "\""};
    }
    DriveState state = protocol == "ATA"    ? AtaState(&*answer)
                       : protocol == "NVMe" ? NvmeState(&*answer)
                                            : ScsiState(exitCode, &*answer);
    if ((exitCode & kCommandFailed) != 0 && IsStateLost(&*answer, state))
    {
        return {.error =
                    "its self-tests could not be read (smartctl error " + std::to_string(exitCode) + ")"};
    }
    return {.state = std::move(state), .error = {}};
}

std::string ParseMessages(const std::string& text)
{
    const auto answer = Parse(text);
    return answer ? Messages(&*answer) : "";
}

std::vector<RaidDrive> ParseRaidDrives(const std::string& text)
{
    std::vector<RaidDrive> drives;
    const auto answer = Parse(text);
    const json::array* controllers = answer ? Array(&*answer, {"Controllers"}) : nullptr;
    if (controllers != nullptr && !controllers->empty())
    {
        AddRaidDrives(controllers->front(), drives);
    }
    return drives;
}
} // namespace tqselftest
