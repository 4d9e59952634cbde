#include "host/PictureMerge.h"

#include "host/ConfigMerge.h"
#include "host/XmlRead.h"

#include <algorithm>

namespace host
{
namespace
{
using Changes = std::vector<PictureChange>;

// Message, Alarm and Time of a status element.
void MergeHealth(HealthPicture& health, const std::string& subject, const TiXmlElement& element,
                 Changes& changes)
{
    const HealthPicture before = health;
    if (element.Attribute("Message") != nullptr)
    {
        health.message = Text(element, "Message");
    }
    const auto time = Int(element, "Time");
    if (const auto alarm = Int(element, "Alarm"))
    {
        health.alarm = *alarm != 0;
        if (health.alarm != before.alarm || before.sinceSec == 0)
        {
            health.sinceSec = time.value_or(0);
        }
    }
    if (health.alarm != before.alarm)
    {
        changes.push_back({health.alarm ? ChangeKind::AlarmRaised : ChangeKind::AlarmCleared, subject,
                           health.message, health.sinceSec});
    }
    else if (health.alarm && health.message != before.message)
    {
        changes.push_back({ChangeKind::AlarmText, subject, health.message, time.value_or(0)});
    }
}

// The disk of that name; a new row for a disk that no configuration has named yet. Null when the list is
// full.
DiskPicture* FindOrAddDisk(Picture& picture, const std::string& name, Changes& changes)
{
    const auto found = std::find_if(picture.disks.begin(), picture.disks.end(),
                                    [&name](const DiskPicture& d) { return d.DisplayName() == name; });
    if (found != picture.disks.end())
    {
        return &*found;
    }
    if (name.empty() || picture.disks.size() >= kMaxDisks)
    {
        return nullptr;
    }
    DiskPicture disk;
    disk.name = name;
    picture.disks.push_back(std::move(disk));
    changes.push_back({ChangeKind::DiskAdded, name, "", 0});
    return &picture.disks.back();
}

void MergePrep(std::optional<int>& prepStatus, const std::string& subject, const TiXmlElement& element,
               Changes& changes)
{
    const auto status = Int(element, "PrepStatus");
    if (status && status != prepStatus)
    {
        prepStatus = status;
        changes.push_back({ChangeKind::Prep, subject, PrepText(*status), 0});
    }
}

void MergeSelfTest(DiskPicture& disk, const TiXmlElement& element, Changes& changes)
{
    const auto status = Int(element, "SelfTestStatus");
    if (!status)
    {
        return;
    }
    const bool changed = status != disk.selfTestStatus;
    disk.selfTestStatus = status;
    TakeInt(element, "Percent", disk.selfTestPercent);
    disk.selfTestSec = Int(element, "SelfTestTime").value_or(0);
    if (changed)
    {
        changes.push_back(
            {ChangeKind::SelfTest, disk.DisplayName(), SelfTestText(*status), disk.selfTestSec});
    }
}

void MergeDisk(Picture& picture, const TiXmlElement& element, Changes& changes)
{
    DiskPicture* const disk = FindOrAddDisk(picture, Text(element, "Name"), changes);
    if (disk == nullptr)
    {
        return;
    }
    // Attributes before the alarm, so that an alarm is told with the value that raised it.
    ReadAttributes(*disk, element);
    disk->hasStatus = disk->hasStatus || element.Attribute("Message") != nullptr;
    MergeHealth(disk->health, disk->DisplayName(), element, changes);
    MergePrep(disk->prepStatus, disk->DisplayName(), element, changes);
    MergeSelfTest(*disk, element, changes);
}

void MergeVolume(Picture& picture, const TiXmlElement& element, Changes& changes)
{
    const std::string name = Text(element, "Name");
    const std::string oldName = Text(element, "OldName"); // before a preparation created the array
    auto volume = std::find_if(picture.volumes.begin(), picture.volumes.end(),
                               [&](const VolumePicture& v)
                               { return v.name == name || (!oldName.empty() && v.name == oldName); });
    if (volume == picture.volumes.end())
    {
        if (name.empty() || picture.volumes.size() >= kMaxVolumes)
        {
            return;
        }
        picture.volumes.emplace_back();
        volume = std::prev(picture.volumes.end());
        changes.push_back({ChangeKind::Volume, name, "found", 0});
    }
    volume->name = name;
    const std::string before = volume->health.message;
    const std::size_t changesBefore = changes.size();
    MergeHealth(volume->health, name, element, changes);
    if (changes.size() == changesBefore && volume->health.message != before)
    {
        changes.push_back({ChangeKind::Volume, name, volume->health.message, 0});
    }
    MergePrep(volume->prepStatus, name, element, changes);
}

void MergeSensors(Picture& picture, const TiXmlElement& parent, Changes& changes)
{
    for (const TiXmlElement* element = parent.FirstChildElement(); element != nullptr;
         element = element->NextSiblingElement())
    {
        const auto id = Int(*element, "ID");
        if (!id)
        {
            continue;
        }
        auto sensor = std::find_if(picture.sensors.begin(), picture.sensors.end(),
                                   [&id](const SensorPicture& s) { return s.id == *id; });
        if (sensor == picture.sensors.end())
        {
            if (picture.sensors.size() >= kMaxSensors)
            {
                continue;
            }
            picture.sensors.emplace_back();
            sensor = std::prev(picture.sensors.end());
            sensor->id = *id;
        }
        sensor->kind = element->ValueStr().substr(0, kMaxText);
        sensor->label = Text(*element, "Label");
        TakeInt(*element, "Value", sensor->value);
        MergeHealth(sensor->health, sensor->label, *element, changes);
    }
}

void ApplyStatus(Picture& picture, const TiXmlElement& root, Changes& changes)
{
    ForEach(root, "Storage",
            [&](const TiXmlElement& storage)
            {
                if (!IsOurs(storage))
                {
                    return;
                }
                ForEach(storage, "Disk",
                        [&](const TiXmlElement& disk) { MergeDisk(picture, disk, changes); });
                ForEach(storage, "Volume",
                        [&](const TiXmlElement& volume) { MergeVolume(picture, volume, changes); });
                if (const TiXmlElement* const controller = storage.FirstChildElement("Controller"))
                {
                    if (!picture.controller)
                    {
                        picture.controller.emplace();
                        picture.controller->name = Text(*controller, "Name");
                    }
                    MergeHealth(picture.controller->health, picture.controller->name, *controller, changes);
                }
            });
    ForEach(root, "Sensors",
            [&](const TiXmlElement& sensors)
            {
                if (IsOurs(sensors))
                {
                    MergeSensors(picture, sensors, changes);
                }
            });
}
} // namespace

std::vector<PictureChange> MergeDocument(Picture& picture, DocumentKind kind, const std::string& text)
{
    Changes changes;
    TiXmlDocument document;
    // Texts are bytes: read as UTF-8, a stray lead byte would swallow the quote behind it.
    if (!IsTooDeep(text))
    {
        document.Parse(text.c_str(), nullptr, TIXML_ENCODING_LEGACY);
    }
    const TiXmlElement* const root = document.FirstChildElement("zDVR");
    if (document.Error() || root == nullptr || (kind == DocumentKind::Config && Int(*root, "Delta") != 0))
    {
        ++picture.documents.rejected;
        return changes;
    }
    if (kind == DocumentKind::Config)
    {
        ++picture.documents.config;
        ApplyConfig(picture, *root, changes);
    }
    else
    {
        ++picture.documents.status;
        ApplyStatus(picture, *root, changes);
    }
    return changes;
}
} // namespace host
