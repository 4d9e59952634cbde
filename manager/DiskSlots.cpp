#include "manager/DiskSlots.h"

#include "frame/Log.h"

#include <dirent.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace
{
struct BayLink
{
    std::string path;   // the link itself
    std::string device; // where it leads; empty when it leads nowhere
    std::int32_t port = 0;
};

std::vector<BayLink> ReadBayLinks(const std::string& directory)
{
    std::vector<BayLink> links;
    const std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(directory.c_str()), closedir);
    if (dir == nullptr)
    {
        return links;
    }
    while (const dirent* entry = readdir(dir.get()))
    {
        const std::string_view name = entry->d_name;
        if (name == "." || name == "..")
        {
            continue;
        }
        BayLink link{.path = directory + std::string(name),
                     .device = {},
                     .port = static_cast<std::int32_t>(std::strtol(entry->d_name, nullptr, 10))};
        const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(link.path.c_str(), nullptr),
                                                                   std::free);
        if (resolved != nullptr)
        {
            link.device = resolved.get();
        }
        links.push_back(std::move(link));
    }
    return links;
}
} // namespace

void AssignDiskSlots(const DiskList& disks, const std::string& directory)
{
    const std::vector<BayLink> links = ReadBayLinks(directory);
    for (const auto& disk : disks)
    {
        std::size_t best = 0; // length of the longest fitting path; an equal path is the longest there can be
        for (const BayLink& link : links)
        {
            if (link.device.empty())
            {
                Log(LogWarning, "Error resolving symlink %s", link.path.c_str());
            }
            else if (disk->m_name.starts_with(link.device) && link.device.size() > best)
            {
                best = link.device.size();
                disk->m_port = link.port;
            }
        }
    }
}

void AssignSystemSlots(const DiskList& disks, const std::map<std::string, std::int32_t>& slotsBySerial,
                       const std::map<std::int32_t, std::int32_t>& slotTable)
{
    std::vector<std::pair<std::int32_t, CDisk*>> ordered;
    for (const auto& disk : disks)
    {
        const auto found = slotsBySerial.find(disk->m_serialNumber);
        if (found == slotsBySerial.end() || found->second < 0)
        {
            continue;
        }
        if (slotTable.empty())
        {
            disk->m_port = found->second;
        }
        else if (const auto order = slotTable.find(found->second); order != slotTable.end())
        {
            ordered.emplace_back(order->second, disk.get());
        }
    }
    std::stable_sort(ordered.begin(), ordered.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::int32_t number = 0;
    for (const auto& [order, disk] : ordered)
    {
        disk->m_port = ++number;
    }
}

void AssociateDiskDrives(const DiskList& disks, const SystemInfo& info)
{
    for (const auto& disk : disks)
    {
        const auto mounts =
            info.mountPoints.find(disk->IsControllerAttached() ? disk->m_unitName : disk->m_serialNumber);
        disk->m_drives = mounts != info.mountPoints.end() ? mounts->second : std::set<std::string>{};
    }
}
