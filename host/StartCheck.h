// Whether a start has brought all it should: the three documents, every disk that the disk scan showed, and
// the sensors of the chip, if one was found.
#pragma once

#include "host/Picture.h"

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace host
{
class CStartCheck
{
public:
    // The output of the disk scan; the last one counts.
    void NoteScan(std::string_view output);

    // A log line of the plug-in: it tells which of the scanned devices it leaves out on purpose.
    void NoteLog(std::string_view text);

    // What is still missing, in words; empty when the picture is complete.
    [[nodiscard]] std::vector<std::string> Missing(const Picture& picture) const;

private:
    std::vector<std::string> m_scanned;
    std::set<std::string, std::less<>> m_ignored;
};
} // namespace host
