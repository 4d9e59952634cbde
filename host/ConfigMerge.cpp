#include "host/ConfigMerge.h"

#include "host/XmlRead.h"

#include <algorithm>

namespace host
{
namespace
{
using Changes = std::vector<PictureChange>;

void ReadRange(DiskPicture& disk, const TiXmlElement& element)
{
    disk.range.reset();
    ForEach(element, "Thresholds",
            [&disk](const TiXmlElement& list)
            {
                ForEach(list, "Threshold",
                        [&disk](const TiXmlElement& threshold)
                        {
                            const auto min = Int(threshold, "Min");
                            const auto max = Int(threshold, "Max");
                            if (Int(threshold, "Id") == kTemperatureId && min && max)
                            {
                                disk.range = {*min, *max};
                            }
                        });
            });
}

DiskPicture ReadConfigDisk(const TiXmlElement& element)
{
    DiskPicture disk;
    disk.name = Text(element, "Name");
    disk.otherName = Text(element, "OtherName");
    disk.model = Text(element, "Model");
    disk.serial = Text(element, "SerialNumber");
    disk.firmware = Text(element, "FirmwareVersion");
    disk.controllerName = Text(element, "ControllerName");
    disk.unitName = Text(element, "UnitName");
    disk.drives = Names(element.FirstChildElement("Drives"), "Drive");
    disk.bay = Int(element, "RaidPort").value_or(Int(element, "NonRaidPort").value_or(-1));
    disk.attached = Int(element, "Attached").value_or(1) != 0;
    disk.hotSpare = IsSet(element, "Hotspare");
    disk.canConfigureHotSpare = IsSet(element, "CanConfigureHotSpare");
    disk.selfTestSupport = IsSet(element, "SelfTestSupport");
    disk.supportsPrep = IsSet(element, "SupportsPrep");
    if (const TiXmlElement* attributes = element.FirstChildElement("Attributes"))
    {
        ReadAttributes(disk, *attributes);
    }
    ReadRange(disk, element);
    return disk;
}

// The row of the same drive in the earlier list: by serial number, since a drive may come back under another
// name.
DiskPicture* FindEarlier(std::vector<DiskPicture>& disks, const DiskPicture& disk)
{
    const auto find = [&disks](auto matches) -> DiskPicture*
    {
        const auto found = std::find_if(disks.begin(), disks.end(), matches);
        return found != disks.end() ? &*found : nullptr;
    };
    if (!disk.serial.empty())
    {
        if (DiskPicture* const found =
                find([&disk](const DiskPicture& d) { return d.serial == disk.serial; }))
        {
            return found;
        }
    }
    return find(
        [&disk](const DiskPicture& d)
        { return d.DisplayName() == disk.DisplayName() && (d.serial.empty() || disk.serial.empty()); });
}

// The configuration says nothing of health and jobs: these stay.
void KeepStatus(DiskPicture& disk, const DiskPicture& earlier)
{
    disk.health = earlier.health;
    disk.hasStatus = earlier.hasStatus;
    disk.prepStatus = earlier.prepStatus;
    disk.selfTestStatus = earlier.selfTestStatus;
    disk.selfTestPercent = earlier.selfTestPercent;
    disk.selfTestSec = earlier.selfTestSec;
}

void ReplaceDisks(Picture& picture, const TiXmlElement& storage, Changes& changes)
{
    std::vector<DiskPicture> disks;
    Changes added; // told after those that are gone: a replaced drive has the name of its predecessor
    ForEach(storage, "Disk",
            [&](const TiXmlElement& element)
            {
                DiskPicture disk = ReadConfigDisk(element);
                if (disk.DisplayName().empty() || disks.size() >= kMaxDisks)
                {
                    return;
                }
                DiskPicture* const earlier = FindEarlier(picture.disks, disk);
                if (earlier == nullptr)
                {
                    added.push_back(
                        {ChangeKind::DiskAdded, disk.DisplayName(), disk.model + " " + disk.serial, 0});
                }
                else
                {
                    KeepStatus(disk, *earlier);
                    if (earlier->attached != disk.attached)
                    {
                        changes.push_back({disk.attached ? ChangeKind::DiskBack : ChangeKind::DiskMissing,
                                           disk.DisplayName(), disk.model, 0});
                    }
                    picture.disks.erase(picture.disks.begin() + (earlier - picture.disks.data()));
                }
                disks.push_back(std::move(disk));
            });
    for (const DiskPicture& gone : picture.disks)
    {
        changes.push_back({ChangeKind::DiskGone, gone.DisplayName(), gone.model + " " + gone.serial, 0});
    }
    changes.insert(changes.end(), added.begin(), added.end());
    picture.disks = std::move(disks);
}

void ReplaceController(Picture& picture, const TiXmlElement& storage)
{
    const TiXmlElement* element = storage.FirstChildElement("Controller");
    if (element == nullptr)
    {
        picture.controller.reset();
        return;
    }
    ControllerPicture controller;
    controller.name = Text(*element, "Name");
    controller.model = Text(*element, "Model");
    controller.serial = Text(*element, "SerialNumber");
    controller.firmware = Text(*element, "FirmwareVersion");
    controller.driver = Text(*element, "DriverVersion");
    controller.drives = Int(*element, "NumDrives").value_or(0);
    if (picture.controller)
    {
        controller.health = picture.controller->health;
    }
    picture.controller = std::move(controller);
}

void ReplaceVolumes(Picture& picture, const TiXmlElement& storage, Changes& changes)
{
    std::vector<VolumePicture> volumes;
    ForEach(storage, "Volume",
            [&](const TiXmlElement& element)
            {
                VolumePicture volume;
                volume.name = Text(element, "Name");
                if (volume.name.empty() || volumes.size() >= kMaxVolumes)
                {
                    return;
                }
                if (const VolumePicture* const earlier = picture.FindVolume(volume.name))
                {
                    volume.health = earlier->health;
                }
                else
                {
                    changes.push_back({ChangeKind::Volume, volume.name, "found", 0});
                }
                volume.type = Text(element, "Type");
                volume.sizeGB = Int(element, "Size").value_or(0);
                // The number is a preparation state here; 0 says that there is nothing to prepare.
                const int prep = Int(element, "SupportsPrep").value_or(0);
                if (prep != 0)
                {
                    volume.prepStatus = prep;
                }
                volumes.push_back(std::move(volume));
            });
    picture.volumes.swap(volumes);
    for (const VolumePicture& gone : volumes)
    {
        if (picture.FindVolume(gone.name) == nullptr)
        {
            changes.push_back({ChangeKind::Volume, gone.name, "gone", 0});
        }
    }
}

void ReplaceSettings(Picture& picture, const TiXmlElement& storage)
{
    SettingsPicture settings;
    settings.watchdog = picture.settings.watchdog;
    settings.sensorStatus = picture.settings.sensorStatus;
    TakeInt(storage, "RefreshIntervalSec", settings.refreshIntervalSec);
    TakeInt(storage, "SmartIntervalSec", settings.smartIntervalSec);
    TakeInt(storage, "SelfTestTimeoutSec", settings.selfTestTimeoutSec);
    settings.dailyLogTime = Text(storage, "DailyLogTime");
    settings.selfTestSupport = IsSet(storage, "SelfTestSupport");
    settings.logCommandLine = IsSet(storage, "LogCommandline");
    ForEach(storage, "SelfTestSchedule",
            [&settings](const TiXmlElement& element)
            {
                const auto test = Int(element, "SelfTest");
                if (test && *test >= 0 && *test <= 1)
                {
                    settings.schedule[*test] = {Int(element, "Days").value_or(0),
                                                Int(element, "Start").value_or(0)};
                }
            });
    picture.settings = std::move(settings);
}

void ReplaceModules(Picture& picture, const TiXmlElement& modules)
{
    picture.modules.clear();
    picture.documents.modulesSeen = true;
    ForEach(modules, "Module",
            [&picture](const TiXmlElement& element)
            {
                if (picture.modules.size() >= kMaxModules)
                {
                    return;
                }
                ModulePicture module{Text(element, "Name"), Text(element, "Version"), {}};
                ForEach(element, "Library",
                        [&module](const TiXmlElement& library)
                        {
                            if (module.libraries.size() < kMaxEntries)
                            {
                                module.libraries.push_back({Text(library, "Name"), Text(library, "Filename"),
                                                            Text(library, "Version")});
                            }
                        });
                picture.modules.push_back(std::move(module));
            });
}

void ReplaceSystem(Picture& picture, const TiXmlElement& element)
{
    const auto text = [&element](const char* child, const char* attribute)
    {
        const TiXmlElement* const found = element.FirstChildElement(child);
        return found != nullptr ? Text(*found, attribute) : std::string();
    };
    SystemPicture system;
    system.board = text("Motherboard", "Vendor") + " " + text("Motherboard", "Model");
    system.bios = text("BIOS", "Vendor") + " " + text("BIOS", "Version");
    system.memory = text("Memory", "Size");
    system.operatingSystem = text("OperatingSystem", "Name");
    system.processors = Names(element.FirstChildElement("Processors"), "Processor");
    picture.system = std::move(system);
}

void ReplaceWatchdog(Picture& picture, const TiXmlElement& parent)
{
    picture.settings.watchdog.reset();
    if (const TiXmlElement* const element = parent.FirstChildElement("Watchdog"))
    {
        picture.settings.watchdog = {Text(*element, "Source"), IsSet(*element, "Enabled"),
                                     Int(*element, "Timeout").value_or(0)};
    }
}

// Chip sensors and those of the management controller never exist side by side; each list is whole.
void ReplaceSensors(Picture& picture, const TiXmlElement& parent)
{
    picture.settings.sensorStatus = Int(parent, "Status");
    std::vector<SensorPicture> sensors;
    for (const TiXmlElement* element = parent.FirstChildElement(); element != nullptr;
         element = element->NextSiblingElement())
    {
        const auto id = Int(*element, "ID");
        if (!id || sensors.size() >= kMaxSensors)
        {
            continue;
        }
        SensorPicture sensor;
        sensor.id = *id;
        sensor.kind = element->ValueStr().substr(0, kMaxText);
        sensor.label = Text(*element, "Label");
        sensor.value = Int(*element, "Value").value_or(0);
        sensor.min = Int(*element, "Min");
        sensor.max = Int(*element, "Max");
        const auto earlier = std::find_if(picture.sensors.begin(), picture.sensors.end(),
                                          [&sensor](const SensorPicture& s) { return s.id == sensor.id; });
        if (earlier != picture.sensors.end())
        {
            sensor.health = earlier->health;
        }
        sensors.push_back(std::move(sensor));
    }
    picture.sensors = std::move(sensors);
}
} // namespace

void ReadAttributes(DiskPicture& disk, const TiXmlElement& parent)
{
    ForEach(parent, "Attribute",
            [&disk](const TiXmlElement& element)
            {
                const auto id = Int(element, "Id");
                if (!id || (disk.attributes.size() >= kMaxAttributes && disk.attributes.count(*id) == 0))
                {
                    return;
                }
                AttributePicture& attribute = disk.attributes[*id];
                TakeInt(element, "Flag", attribute.flag);
                TakeInt(element, "CurrentValue", attribute.current);
                TakeInt(element, "WorstValue", attribute.worst);
                TakeInt(element, "RawValue", attribute.raw);
                TakeInt(element, "ThresholdValue", attribute.threshold);
            });
}

void ApplyConfig(Picture& picture, const TiXmlElement& root, Changes& changes)
{
    ForEach(root, "Modules", [&picture](const TiXmlElement& modules) { ReplaceModules(picture, modules); });
    ForEach(root, "Storage",
            [&](const TiXmlElement& storage)
            {
                if (IsOurs(storage))
                {
                    picture.documents.storageSeen = true;
                    ReplaceSettings(picture, storage);
                    ReplaceDisks(picture, storage, changes);
                    ReplaceController(picture, storage);
                    ReplaceVolumes(picture, storage, changes);
                }
            });
    ForEach(root, "Watchdogs",
            [&picture](const TiXmlElement& watchdogs)
            {
                if (IsOurs(watchdogs))
                {
                    ReplaceWatchdog(picture, watchdogs);
                }
            });
    ForEach(root, "Sensors",
            [&picture](const TiXmlElement& sensors)
            {
                if (IsOurs(sensors))
                {
                    ReplaceSensors(picture, sensors);
                }
            });
    ForEach(root, "SystemInfo",
            [&picture](const TiXmlElement& system)
            {
                if (IsOurs(system))
                {
                    ReplaceSystem(picture, system);
                }
            });
}
} // namespace host
