#include "storage/DiskMerge.h"

#include <algorithm>

int MergeDisks(const DiskList& scanned, DiskList& known)
{
    for (const auto& disk : known)
    {
        disk->m_missedScans = std::min(disk->m_missedScans + 1, kMissedScansMax);
    }

    int changes = 0;
    for (const auto& found : scanned)
    {
        const auto match = std::find_if(known.begin(), known.end(),
                                        [&found](const std::shared_ptr<CDisk>& disk)
                                        { return !disk->IsPresent() && disk->Matches(*found); });
        if (match == known.end())
        {
            found->m_missedScans = 0;
            known.push_back(found);
            ++changes;
            continue;
        }
        CDisk& disk = **match;
        changes += disk.m_missedScans == kMissedScansMax ? 1 : 0;
        changes += disk.m_name != found->m_name ? 1 : 0;
        disk.m_missedScans = 0;
        disk.UpdateFrom(*found);
    }
    return changes;
}
