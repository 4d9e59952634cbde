#include "host/PictureText.h"

#include "host/SafeText.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

namespace host
{
namespace
{
constexpr std::size_t kMaxModelColumns = 32;
constexpr std::size_t kMaxSerialColumns = 24;

std::string HealthText(const HealthPicture& health)
{
    std::string message = SafeText(health.message);
    if (!health.alarm)
    {
        return message;
    }
    const std::string since = health.sinceSec != 0 ? " since " + DateTimeText(health.sinceSec) : "";
    return "ALARM " + message + since;
}

void AddPart(std::string& text, const std::string& part)
{
    if (!part.empty())
    {
        text += (text.empty() ? "" : ", ") + part;
    }
}

std::string SelfTestPart(const DiskPicture& disk)
{
    constexpr int kRunning = 1;
    if (!disk.selfTestStatus || SelfTestText(*disk.selfTestStatus).empty() || *disk.selfTestStatus == 0)
    {
        return {};
    }
    std::string text = "self-test " + SelfTestText(*disk.selfTestStatus);
    if (*disk.selfTestStatus == kRunning && disk.selfTestPercent >= 0)
    {
        text += fmt::format(" {}%", disk.selfTestPercent);
    }
    if (disk.selfTestSec != 0)
    {
        text += (*disk.selfTestStatus == kRunning ? " since " : " ") + DateTimeText(disk.selfTestSec);
    }
    return text;
}

// "members 64:0 64:1"; a disk in alarm has its reason behind it. Empty for no disks.
std::string ListBays(const char* title, const std::vector<const DiskPicture*>& disks)
{
    std::string text = disks.empty() ? "" : title;
    for (const DiskPicture* disk : disks)
    {
        const bool isForeign = !disk->health.alarm && !disk->hotSpare && disk->unitName == "Foreign";
        text += " " + SafeText(BayName(*disk));
        text += disk->health.alarm ? " (" + SafeText(disk->health.message) + ")" : "";
        text += isForeign ? " (Foreign)" : "";
    }
    return text;
}

std::size_t Widest(const std::vector<DiskRow>& rows, std::string DiskRow::*member, std::size_t from,
                   std::size_t to)
{
    std::size_t width = from;
    for (const DiskRow& row : rows)
    {
        width = std::max(width, Columns(row.*member));
    }
    return std::min(width, to);
}

void AddDiskTable(std::string& text, const Picture& picture)
{
    std::vector<DiskRow> rows;
    rows.reserve(picture.disks.size());
    for (const DiskPicture& disk : picture.disks)
    {
        rows.push_back(DescribeDisk(disk));
    }
    const std::size_t name = Widest(rows, &DiskRow::name, 4, 24);
    const std::size_t model = Widest(rows, &DiskRow::model, 5, kMaxModelColumns);
    const std::size_t serial = Widest(rows, &DiskRow::serial, 6, kMaxSerialColumns);
    text += fmt::format("bay  {} {} {}  temp  state\n", Fit("disk", name), Fit("model", model),
                        Fit("serial", serial));
    for (const DiskRow& row : rows)
    {
        text += fmt::format("{}  {} {} {}  {}  {}\n", FitRight(row.bay, 3), Fit(row.name, name),
                            Fit(row.model, model), Fit(row.serial, serial), FitRight(row.temperature, 4),
                            row.state);
    }
}

const char* TestName(int test)
{
    return test == 0 ? "short" : "long";
}

std::string DayText(int days)
{
    static constexpr const char* kDays = "SMTWTFS";
    std::string text;
    for (int day = 0; day < 7; ++day)
    {
        text += (days >> day & 1) != 0 ? kDays[day] : '-';
    }
    return text;
}

void AddSettings(std::string& text, const SettingsPicture& settings)
{
    text +=
        fmt::format("settings: scan every {} s, SMART every {} s, daily log {}", settings.refreshIntervalSec,
                    settings.smartIntervalSec, SafeText(settings.dailyLogTime));
    for (const auto& [test, schedule] : settings.schedule)
    {
        text += fmt::format(", {} test {} {:02}:{:02}", TestName(test), DayText(schedule.days),
                            schedule.startSec / 3600, schedule.startSec / 60 % 60);
    }
    text += settings.selfTestSupport ? fmt::format(", test time-out {} s\n", settings.selfTestTimeoutSec)
                                     : std::string(", no self-tests\n");
    if (settings.watchdog)
    {
        text +=
            fmt::format("watchdog: {} {}, {} s\n", SafeText(settings.watchdog->source),
                        settings.watchdog->enabled ? "enabled" : "disabled", settings.watchdog->timeoutSec);
    }
}

// Units of the readings: the board file states voltages in millivolts.
std::string UnitText(const std::string& kind)
{
    if (kind == "Voltage")
    {
        return " mV";
    }
    if (kind == "Temperature")
    {
        return " C";
    }
    return kind == "FanSpeed" ? " rpm" : "";
}

// 0 says that a chip's sensor has no such limit, -1 that a management controller keeps it to itself.
bool IsLimit(const std::optional<int>& limit)
{
    return limit.value_or(0) != 0 && *limit != -1;
}

std::string ValueText(const Picture& picture, const PictureChange& change)
{
    const DiskPicture* const disk = picture.FindDisk(change.subject);
    const auto temperature = disk != nullptr ? disk->Temperature() : std::nullopt;
    return temperature ? fmt::format(" ({} C)", *temperature) : "";
}
} // namespace

DiskRow DescribeDisk(const DiskPicture& disk)
{
    DiskRow row;
    row.bay = disk.bay >= 0 ? std::to_string(disk.bay) : "-";
    row.name = SafeText(disk.DisplayName());
    row.model = SafeText(disk.model);
    row.serial = SafeText(disk.serial);
    const auto temperature = disk.Temperature();
    row.temperature = temperature ? fmt::format("{} C", *temperature) : "-";
    row.alarm = disk.health.alarm;
    row.attached = disk.attached;
    row.state = HealthText(disk.health);
    AddPart(row.state, disk.attached ? "" : "missing");
    // A disk in good health says by itself that it is a spare.
    const bool saysSpare = disk.health.message.find("hotspare") != std::string::npos;
    AddPart(row.state, disk.hotSpare && !saysSpare ? "hot spare" : "");
    AddPart(row.state,
            disk.unitName.empty() ? "" : (disk.hotSpare ? "of " : "in ") + SafeText(disk.unitName));
    AddPart(row.state, disk.prepStatus && *disk.prepStatus != 0 ? PrepText(*disk.prepStatus) : "");
    AddPart(row.state, SelfTestPart(disk));
    if (row.state.empty())
    {
        row.state = "no report yet";
    }
    return row;
}

std::string DescribeReading(const SensorPicture& sensor)
{
    std::string text = fmt::format("{} {}{}", SafeText(sensor.label), sensor.value, UnitText(sensor.kind));
    const bool hasMin = IsLimit(sensor.min);
    const bool hasMax = IsLimit(sensor.max);
    if (hasMin && hasMax)
    {
        return text + fmt::format(" ({} to {})", *sensor.min, *sensor.max);
    }
    if (!hasMin && !hasMax)
    {
        return text;
    }
    return text + (hasMin ? fmt::format(" (min {})", *sensor.min) : fmt::format(" (max {})", *sensor.max));
}

std::string DescribeSensor(const SensorPicture& sensor)
{
    std::string text = DescribeReading(sensor);
    if (sensor.health.alarm)
    {
        AddPart(text, HealthText(sensor.health));
    }
    return text;
}

std::string DescribeChip(const Picture& picture)
{
    std::string text = SafeText(picture.chip.name);
    if (!picture.watchdog)
    {
        return text;
    }
    const WatchdogState& watchdog = *picture.watchdog;
    AddPart(text, watchdog.isArmed ? fmt::format("watchdog {} s", watchdog.timeoutSec) : "watchdog off");
    if (watchdog.sincePingSec && watchdog.leftSec)
    {
        text += fmt::format(": pinged {} s ago, {} s left", *watchdog.sincePingSec, *watchdog.leftSec);
    }
    if (watchdog.resets > 0)
    {
        text += fmt::format(", has reset the appliance {}", watchdog.resets);
        text += watchdog.resets == 1 ? " time" : " times";
    }
    return text;
}

std::string DescribeVolume(const RaidVolume& row)
{
    const VolumePicture& volume = *row.volume;
    std::string text =
        fmt::format("{} {} {} GB", SafeText(volume.name), SafeText(volume.type), volume.sizeGB);
    AddPart(text, HealthText(volume.health));
    AddPart(text, volume.prepStatus && *volume.prepStatus != 0 ? PrepText(*volume.prepStatus) : "");
    AddPart(text, ListBays("members", row.members));
    AddPart(text, ListBays("spares", row.spares));
    return text;
}

std::string DescribeLooseDisks(const RaidPicture& raid)
{
    std::string text = ListBays("free", raid.freeDisks);
    AddPart(text, ListBays("global spares", raid.globalSpares));
    AddPart(text, ListBays("unusable", raid.unusableDisks));
    return text;
}

std::string ProgressBar(int percent)
{
    constexpr int kCells = 20;
    const auto full = static_cast<std::size_t>(percent * kCells / 100);
    return "[" + std::string(full, '#') + std::string(kCells - full, '-') + "]";
}

std::string DescribeController(const ControllerPicture& controller)
{
    return fmt::format("{} {} firmware {} serial {}, {} drives", SafeText(controller.name),
                       SafeText(controller.model), SafeText(controller.firmware), SafeText(controller.serial),
                       controller.drives);
}

std::string DescribeModules(const Picture& picture)
{
    std::string text;
    for (const ModulePicture& module : picture.modules)
    {
        AddPart(text, SafeText(module.name) + " " + SafeText(module.version));
        for (const LibraryPicture& library : module.libraries)
        {
            AddPart(text, SafeText(library.name) + " " + SafeText(library.version));
        }
    }
    return text;
}

namespace
{
// A sensor of a management controller says in its name what there is to say.
std::string WithDetail(const std::string& what, const std::string& detail)
{
    return detail.empty() ? what : what + ": " + detail;
}
} // namespace

std::string DescribeChange(const Picture& picture, const PictureChange& change)
{
    const std::string subject = SafeText(change.subject);
    const std::string text = SafeText(change.text);
    switch (change.kind)
    {
    case ChangeKind::AlarmRaised:
    case ChangeKind::AlarmText:
        return WithDetail("ALARM " + subject, text + ValueText(picture, change));
    case ChangeKind::AlarmCleared:
        return WithDetail("alarm cleared " + subject, text + ValueText(picture, change));
    case ChangeKind::DiskAdded:
        return fmt::format("disk {}: found {}", subject, text);
    case ChangeKind::DiskGone:
        return fmt::format("disk {}: no longer listed, was {}", subject, text);
    case ChangeKind::DiskMissing:
        return fmt::format("disk {}: missing", subject);
    case ChangeKind::DiskBack:
        return fmt::format("disk {}: back", subject);
    case ChangeKind::Prep:
        return fmt::format("preparation {}: {}", subject, text);
    case ChangeKind::SelfTest:
        return fmt::format("self-test {}: {}", subject, text);
    case ChangeKind::Volume:
        return fmt::format("volume {}: {}", subject, text);
    }
    return {};
}

std::string DeviceText(const Picture& picture)
{
    std::string text;
    AddDiskTable(text, picture);
    if (picture.controller)
    {
        text += "controller: " + DescribeController(*picture.controller) + "\n";
    }
    const RaidPicture raid = MakeRaidPicture(picture);
    for (const RaidVolume& row : raid.volumes)
    {
        text += "volume: " + DescribeVolume(row) + "\n";
    }
    if (const std::string loose = DescribeLooseDisks(raid); !loose.empty())
    {
        text += "disks: " + loose + "\n";
    }
    if (const std::string chip = DescribeChip(picture); !chip.empty())
    {
        text += "board: " + chip + "\n";
    }
    for (const SensorPicture& sensor : picture.sensors)
    {
        text += "sensor: " + DescribeSensor(sensor) + "\n";
    }
    text += fmt::format("alarms: {}\n", picture.AlarmCount());
    return text;
}

std::string SystemText(const Picture& picture)
{
    std::string text = "modules: " + DescribeModules(picture) + "\n";
    const auto known = [](const std::string& words)
    { return words.find_first_not_of(' ') == std::string::npos ? std::string("unknown") : SafeText(words); };
    text += fmt::format("system: {}, BIOS {}, {}\n", known(picture.system.board), known(picture.system.bios),
                        known(picture.system.operatingSystem));
    AddSettings(text, picture.settings);
    return text;
}
} // namespace host
