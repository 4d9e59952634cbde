#include "sim/ArcconfReport.h"

#include "sim/JsonWriter.h"

#include <algorithm>
#include <array>

namespace sim
{
namespace
{
constexpr std::int64_t kKiB = 1024;
constexpr std::int64_t kMiB = kKiB * 1024;

constexpr const char* kRule = "----------------------------------------------------------------------\n";

// Every drive here hangs on one channel, whatever its connector.
constexpr int kChannel = 0;

struct WordRow
{
    DriveState state;
    const char* word;
};

constexpr auto kStateWords = std::to_array<WordRow>({
    {DriveState::Free, "Ready"},
    {DriveState::Online, "Online"},
    {DriveState::Rebuilding, "Rebuilding"},
    {DriveState::Failed, "Failed"},
    {DriveState::DedicatedSpare, "Dedicated Hot-Spare"},
    {DriveState::GlobalSpare, "Global Hot-Spare"},
    {DriveState::Foreign, "Raw"},
});

const char* StateWord(const RaidDrive& drive)
{
    return std::ranges::find(kStateWords, drive.state, &WordRow::state)->word;
}

const char* StateWord(VolumeState state)
{
    switch (state)
    {
    case VolumeState::Optimal:
        break;
    case VolumeState::PartlyDegraded:
    case VolumeState::Degraded:
        return "Degraded";
    case VolumeState::Offline:
        return "Failed";
    }
    return "Optimal";
}

const char* TaskWord(VolumeTask task)
{
    switch (task)
    {
    case VolumeTask::None:
        break;
    case VolumeTask::Initialise:
        return "Build/Verify";
    case VolumeTask::Check:
        return "Verify with fix";
    case VolumeTask::Rebuild:
        return "Rebuild";
    }
    return "None";
}

std::string Padded(const std::string& text, std::size_t width)
{
    return text + std::string(width - std::min(width, text.size()), ' ');
}

std::string MegabyteText(std::int64_t bytes)
{
    return std::to_string(bytes / kMiB) + "MB";
}

std::string Label(const RaidArray& array)
{
    return array.label.empty() ? "LogicalDrv " + std::to_string(array.volume) : array.label;
}

std::string Join(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words)
    {
        text += (text.empty() ? "" : ", ") + word;
    }
    return text;
}

void WriteLogicalDrive(CJsonWriter& json, const RaidArray& array)
{
    json.BeginObject();
    json.Number("logicalDriveID", array.volume);
    json.Number("arrayID", array.group);
    json.String("name", Label(array));
    json.Number("raidLevel", array.level);
    json.Number("dataSpace", array.bytes / kKiB);
    json.Number("stripeSize", 512);
    json.Number("state", array.State() == VolumeState::Optimal ? 2 : 3);
    json.String("volumePath", array.osDevice);
    if (!array.mountPaths.empty())
    {
        json.String("mountPoints", Join(array.mountPaths));
    }
    if (array.task != VolumeTask::None)
    {
        json.Bool("bTaskInProgress", true);
    }
    json.EndObject();
}

void WriteArray(CJsonWriter& json, const CRaidModel& raid, const RaidArray& array)
{
    json.BeginObject();
    json.Number("arrayID", array.group);
    json.String("arrayName", std::string(1, static_cast<char>('A' + array.group)));
    json.BeginArray("Chunk");
    for (const ArrayRow& row : array.rows)
    {
        if (row.drive)
        {
            json.BeginObject();
            json.Number("logicalDriveID", array.volume);
            json.Number("channelID", kChannel);
            json.Number("deviceID", raid.Drives()[*row.drive].spec.deviceId);
            json.EndObject();
        }
    }
    json.EndArray();
    json.EndObject();
}

void WriteErrorCounters(CJsonWriter& json, const RaidDrive& drive)
{
    json.Number("mediumErrorCount", drive.errors.media);
    json.Number("parityErrorCount", 0);
    json.Number("linkFailureCount", 0);
    json.Number("abortedCmdCount", 0);
    json.Number("smartWarningCount", drive.disk.IsFailing() ? 1 : 0);
    for (const char* key :
         {"abortedCommands", "badTargetErrors", "failedReadRecovers", "failedWriteRecovers", "formatErrors"})
    {
        json.Number(key, 0);
    }
    json.Number("hardwareErrors", drive.errors.other);
    for (const char* key :
         {"hardReadErrors", "hardWriteErrors", "mediaFailures", "notReadyErrors", "timeOutErrors"})
    {
        json.Number(key, 0);
    }
    json.Number("predictiveFailures", drive.errors.predictive);
    for (const char* key : {"retryRecoveredReadErrors", "retryRecoveredWriteErrors", "scsiBusFaults"})
    {
        json.Number(key, 0);
    }
}

void WriteHardDrive(CJsonWriter& json, const RaidDrive& drive, SimTime now)
{
    constexpr std::size_t kSerialWidth = 20; // as ATA holds it
    const DiskSpec& disk = drive.disk.Spec();
    json.BeginObject();
    json.Number("channelID", kChannel);
    json.Number("deviceID", drive.spec.deviceId);
    json.String("connectorName", "CN" + std::to_string(drive.spec.enclosure));
    json.Number("slotID", drive.spec.slot);
    json.String("vendor", "");
    json.String("model", disk.model);
    json.String("serialNumber", Padded(disk.serial, kSerialWidth));
    json.String("firmwareLevel", disk.firmware);
    json.String("interfaceType", "SATA");
    json.String("size", std::to_string(CoercedBytes(drive) / kKiB));
    json.Number("rotationalSpeed", disk.kind == DiskKind::HardDisk ? 7200 : 0);
    json.Number("currentTemperature", drive.disk.Temperature(now));
    json.Number("maxTemperature", drive.disk.HighestTemperature(now));
    WriteErrorCounters(json, drive);
    if (drive.state == DriveState::DedicatedSpare)
    {
        json.BeginArray("assignedTo");
        json.String({}, std::to_string(drive.spareGroup));
        json.EndArray();
    }
    json.EndObject();
}

// Thresholds are reached or not, whichever way the drive counts.
bool IsFine(const SmartRow& row)
{
    return row.threshold == 0 || row.value > row.threshold;
}

std::string HexId(int id)
{
    constexpr std::string_view kHex = "0123456789ABCDEF";
    const auto byte = static_cast<std::size_t>(id);
    return {'0', 'x', kHex[byte >> 4], kHex[byte & 0xF]};
}

std::string SmartAttribute(const SmartRow& row)
{
    std::string name = row.name;
    std::ranges::replace(name, '_', ' ');
    return "<Attribute id=\"" + HexId(row.id) + "\" name=\"" + name + "\" normalizedCurrent=\"" +
           std::to_string(row.value) + "\" normalizedWorst=\"" + std::to_string(row.worst) +
           "\" thresholdValue=\"" + std::to_string(row.threshold) + "\" rawValue=\"" +
           std::to_string(row.raw) + "\" Status=\"" + (IsFine(row) ? "OK" : "FAILING") + "\" />\n";
}

std::string SmartRoot(const RaidSpec& spec, const char* name, const std::string& content)
{
    return std::string("<") + name + " controllerID=\"0\" time=\"1772352000\" deviceName=\"" + spec.model +
           "\" serialNumber=\"" + spec.serial + "\">\n" + content + "</" + name + ">\n";
}
} // namespace

std::string ArcconfConfig(const CRaidModel& raid, SimTime now)
{
    const RaidSpec& spec = raid.Spec();
    CJsonWriter json;
    json.BeginObject();
    json.BeginObject("Controller");
    json.Number("controllerID", 0);
    json.String("deviceName", spec.model);
    json.String("serialNumber", spec.serial + "   ");
    json.String("firmwareVersion", spec.firmware);
    json.String("driverName", "Linux");
    json.String("driverVersion", spec.driver);
    json.BeginArray("LogicalDrive");
    for (const RaidArray& array : raid.Arrays())
    {
        WriteLogicalDrive(json, array);
    }
    json.EndArray();
    json.BeginArray("Array");
    for (const RaidArray& array : raid.Arrays())
    {
        WriteArray(json, raid, array);
    }
    json.EndArray();
    json.BeginArray("Channel");
    json.BeginObject();
    json.Number("channelID", kChannel);
    json.BeginArray("HardDrive");
    for (const RaidDrive& drive : raid.Drives())
    {
        if (drive.disk.IsPresent())
        {
            WriteHardDrive(json, drive, now);
        }
    }
    json.EndArray();
    json.EndObject();
    json.EndArray();
    json.EndObject();
    json.EndObject();
    return json.Text() + "\n";
}

std::string ArcconfList(const CRaidModel& raid)
{
    constexpr std::size_t kColumn = 29;
    const RaidSpec& spec = raid.Spec();
    std::string text = std::string(kRule) + "Controller information\n" + kRule +
                       "   Controller ID             : Status, Slot, Mode, Name, SerialNumber, WWN\n" +
                       kRule + "   Controller 1:             : Optimal, Slot 3, RAID (Expose RAW), " +
                       spec.model + ", " + spec.serial + ", 50000D1704B53280\n" + kRule +
                       "Logical device information\n" + kRule +
                       "   Logical ID                : Status (RAID, Interface, SizeMB) Name\n" + kRule;
    for (const RaidArray& array : raid.Arrays())
    {
        text += Padded("   Logical " + std::to_string(array.volume), kColumn) + ": " +
                StateWord(array.State()) + " (" + std::to_string(array.level) + ", Data, " +
                std::to_string(array.bytes / kMiB) + " MB) " + Label(array) + "\n";
    }
    text += std::string(kRule) + "Physical Device information\n" + kRule +
            "   Channel, Device           : State (Interface, Type, SizeMB, Connector, Location) Serial\n" +
            kRule;
    for (const RaidDrive& drive : raid.Drives())
    {
        if (drive.disk.IsPresent())
        {
            const std::string device = std::to_string(kChannel) + "," + std::to_string(drive.spec.deviceId);
            text += Padded("   Physical " + device, kColumn) + ": " + StateWord(drive) + " (SATA, " +
                    (drive.spec.disk.kind == DiskKind::Ssd ? "SSD" : "HDD") + ", " +
                    MegabyteText(CoercedBytes(drive)) + ", Connector:CN" +
                    std::to_string(drive.spec.enclosure) + ", Slot:" + std::to_string(drive.spec.slot) +
                    ") " + drive.disk.Spec().serial + "\n";
        }
    }
    return text + "\n";
}

std::string ArcconfTasks(const CRaidModel& raid, SimTime now)
{
    std::string text;
    int number = 100;
    for (const RaidArray& array : raid.Arrays())
    {
        if (array.task != VolumeTask::None)
        {
            text += "Logical device Task:\n"
                    "   Logical device                 : " +
                    std::to_string(array.volume) +
                    "\n   Task ID                        : " + std::to_string(number++) +
                    "\n   Current operation              : " + TaskWord(array.task) +
                    "\n   Status                         : In Progress\n" +
                    "   Priority                       : High\n   Percentage complete            : " +
                    std::to_string(array.Percent(now)) + "\n\n\n";
        }
    }
    return text.empty() ? "   Current operation              : None\n\n" : text;
}

std::string ArcconfSmart(const CRaidModel& raid, SimTime now)
{
    std::string drives;
    for (const RaidDrive& drive : raid.Drives())
    {
        if (!drive.disk.IsPresent() || drive.state == DriveState::Failed)
        {
            continue;
        }
        drives += "<PhysicalDriveSmartStats channel=\"" + std::to_string(kChannel) + "\" id=\"" +
                  std::to_string(drive.spec.deviceId) + "\" nonSpinning=\"" +
                  (drive.spec.disk.kind == DiskKind::Ssd ? "true" : "false") +
                  "\" isDescriptionAvailable=\"true\" >\n";
        for (const SmartRow& row : drive.disk.Attributes(now))
        {
            drives += SmartAttribute(row);
        }
        drives += "</PhysicalDriveSmartStats>\n";
    }
    return "\nSMART STATS FOR SATA:\n---------------------\n\n" +
           SmartRoot(raid.Spec(), "SmartStats", drives) +
           "\n\nSMART STATS FOR SAS:\n--------------------\n\n" +
           SmartRoot(raid.Spec(), "SASSmartStats", "") + "\n\n";
}
} // namespace sim
