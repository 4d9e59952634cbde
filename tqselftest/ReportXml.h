// The report as XML.
#pragma once

#include "tqselftest/DriveState.h"

#include <string>
#include <vector>

namespace tqselftest
{
struct NamedDrive
{
    std::string name;
    DriveState state;
};

// Root element "SelfTests", one "Disk" for each drive with "Name", "SelfTestStatus" and, for a running test
// whose rest is known, "PcRemain"; below it one "Report" for each entry of its log with "ID", "StatusCode",
// "Timestamp", "FailLBA" where there is one, "Type" and "Status". A drive without self-tests has status 0 and
// no entries. Bytes that XML cannot hold are printed as "?".
std::string FormatReport(const std::vector<NamedDrive>& drives);
} // namespace tqselftest
