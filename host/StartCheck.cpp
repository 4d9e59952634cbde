#include "host/StartCheck.h"

namespace host
{
namespace
{
constexpr std::string_view kIgnoreLine = "SMARTCTL: ignore ";

// The text of each "name" member behind "devices". Enough for a list whose only strings are device names and
// types.
std::vector<std::string> DeviceNames(std::string_view json)
{
    constexpr std::string_view kMember = "\"name\"";
    constexpr std::string_view kBlanks = " \t\r\n";
    std::vector<std::string> names;
    std::size_t at = json.find("\"devices\"");
    while (at != std::string_view::npos && (at = json.find(kMember, at)) != std::string_view::npos)
    {
        at = json.find_first_not_of(kBlanks, at + kMember.size());
        if (at == std::string_view::npos || json[at] != ':')
        {
            continue;
        }
        at = json.find_first_not_of(kBlanks, at + 1);
        if (at == std::string_view::npos || json[at] != '"')
        {
            continue;
        }
        const std::size_t end = json.find('"', at + 1);
        if (end == std::string_view::npos || names.size() >= kMaxDisks)
        {
            break;
        }
        names.emplace_back(json.substr(at + 1, end - at - 1));
        at = end + 1;
    }
    return names;
}
} // namespace

void CStartCheck::NoteScan(std::string_view output)
{
    m_scanned = DeviceNames(output);
}

void CStartCheck::NoteLog(std::string_view text)
{
    if (text.substr(0, kIgnoreLine.size()) == kIgnoreLine && m_ignored.size() < kMaxDisks)
    {
        text.remove_prefix(kIgnoreLine.size());
        m_ignored.emplace(text.substr(0, text.find(" (")));
    }
}

std::vector<std::string> CStartCheck::Missing(const Picture& picture) const
{
    std::vector<std::string> missing;
    if (!picture.documents.modulesSeen)
    {
        missing.emplace_back("the module document");
    }
    if (!picture.documents.storageSeen)
    {
        missing.emplace_back("the configuration document");
    }
    if (picture.documents.status == 0)
    {
        missing.emplace_back("a status document (none is sent while no disk is known)");
    }
    if (!picture.chip.name.empty() && !picture.settings.sensorStatus)
    {
        missing.emplace_back("the sensors of the board's chip");
    }
    for (const std::string& name : m_scanned)
    {
        const DiskPicture* const disk = picture.FindDisk(name);
        if (m_ignored.count(name) == 0 && (disk == nullptr || !disk->hasStatus))
        {
            missing.push_back("the state of disk " + name + ", which the scan shows");
        }
    }
    return missing;
}
} // namespace host
