// The tool's own log, for -x.
#pragma once

#include <string>

namespace tqselftest
{
// Appends a line with the local time to logs/tqselftest.log, which becomes tqselftest.log.old when it has
// grown beyond a mebibyte. Without a folder "logs" in the working directory the line goes to standard error.
void Trace(const std::string& line);
} // namespace tqselftest
