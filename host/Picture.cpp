#include "host/Picture.h"

#include <algorithm>
#include <array>

namespace host
{
namespace
{
struct NumberText
{
    int number;
    const char* text;
};

constexpr auto kPrepTexts = std::to_array<NumberText>({
    {-5, "array error"},
    {-4, "prep error"},
    {-3, "partition error"},
    {-2, "format error"},
    {-1, "mount error"},
    {0, "ok"},
    {1, "needs prep"},
    {2, "preparing"},
    {3, "prepared"},
    {4, "needs array"},
    {5, "creating array"},
});

constexpr auto kSelfTestTexts = std::to_array<NumberText>({
    {0, "no result"},
    {1, "running"},
    {2, "passed"},
    {3, "failed"},
    {4, "aborted"},
});

template <typename Rows>
std::string Lookup(const Rows& rows, int number)
{
    const auto row =
        std::find_if(rows.begin(), rows.end(), [number](const NumberText& r) { return r.number == number; });
    return row != rows.end() ? row->text : "";
}
} // namespace

std::optional<int> DiskPicture::Temperature() const
{
    const auto found = attributes.find(kTemperatureId);
    return found != attributes.end() ? std::optional(found->second.current) : std::nullopt;
}

const DiskPicture* Picture::FindDisk(const std::string& name) const
{
    const auto disk = std::find_if(disks.begin(), disks.end(),
                                   [&name](const DiskPicture& d) { return d.DisplayName() == name; });
    return disk != disks.end() ? &*disk : nullptr;
}

const VolumePicture* Picture::FindVolume(const std::string& name) const
{
    const auto volume = std::find_if(volumes.begin(), volumes.end(),
                                     [&name](const VolumePicture& v) { return v.name == name; });
    return volume != volumes.end() ? &*volume : nullptr;
}

std::size_t Picture::AlarmCount() const
{
    const auto alarmed = [](const auto& element) { return element.health.alarm; };
    return static_cast<std::size_t>(std::count_if(disks.begin(), disks.end(), alarmed) +
                                    std::count_if(volumes.begin(), volumes.end(), alarmed) +
                                    std::count_if(sensors.begin(), sensors.end(), alarmed)) +
           (controller && controller->health.alarm ? 1 : 0);
}

std::string PrepText(int status)
{
    return Lookup(kPrepTexts, status);
}

std::string SelfTestText(int status)
{
    return Lookup(kSelfTestTexts, status);
}
} // namespace host
