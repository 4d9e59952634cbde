// smartctl's and storcli's texts as the self-test tool reads them, and the report that it makes of them.
#include "tests/fuzz/Fuzz.h"
#include "tqselftest/ReportXml.h"
#include "tqselftest/SmartctlJson.h"

#include <algorithm>

namespace
{
void CheckDrive(int exitCode, const std::string& text)
{
    const tqselftest::DriveAnswer answer = tqselftest::ParseDrive(exitCode, text);
    Require(answer.state.has_value() == answer.error.empty());
    if (!answer.state)
    {
        return;
    }
    Require(!answer.state->remaining || (*answer.state->remaining >= 0 && *answer.state->remaining <= 150));
    const std::string xml = tqselftest::FormatReport({{text, *answer.state}});
    // Markup is the report's own only: a tag for each element and nothing beyond printable ASCII.
    const auto elements = static_cast<std::ptrdiff_t>(answer.state->log.size()) + 5;
    Require(std::count(xml.begin(), xml.end(), '<') == elements);
    Require(std::count(xml.begin(), xml.end(), '>') == elements);
    Require(
        std::all_of(xml.begin(), xml.end(), [](char c) { return c == '\n' || (c >= ' ' && c < '\x7F'); }));
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text = Text(data, size);
    CheckDrive(0, text);
    CheckDrive(4, text);
    Require(!tqselftest::ParseDrive(2, text).state);
    tqselftest::ParseMessages(text);
    if (const auto devices = tqselftest::ParseScan(text))
    {
        for (const tqselftest::ScannedDevice& device : *devices)
        {
            Require(device.name.starts_with('/'));
        }
    }
    for (const tqselftest::RaidDrive& drive : tqselftest::ParseRaidDrives(text))
    {
        Require(drive.name.starts_with("/c0/e"));
    }
    return 0;
}
