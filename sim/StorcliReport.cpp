#include "sim/StorcliReport.h"

#include "sim/AtaSmartTable.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace sim
{
namespace
{
constexpr std::int64_t kGiB = std::int64_t{1} << 30;
constexpr std::size_t kSerialWidth = 20; // as ATA holds it

std::string Decimal(double value, int places)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.*f", places, value);
    return text.data();
}

// Binary units under decimal names, as the tool prints them.
std::string SizeText(std::int64_t bytes)
{
    const double gigabytes = static_cast<double>(bytes) / static_cast<double>(kGiB);
    return gigabytes < 1024 ? Decimal(gigabytes, 3) + " GB" : Decimal(gigabytes / 1024, 3) + " TB";
}

std::string SectorText(std::int64_t bytes)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), " [0x%llx Sectors]",
                  static_cast<unsigned long long>(bytes / 512));
    return SizeText(bytes) + text.data();
}

std::string Bay(const RaidDrive& drive)
{
    return std::to_string(drive.spec.enclosure) + ":" + std::to_string(drive.spec.slot);
}

const char* StateWord(const CRaidModel& raid, const RaidDrive& drive)
{
    switch (drive.state)
    {
    case DriveState::Free:
    case DriveState::Foreign:
        break;
    case DriveState::Online:
        return "Onln";
    case DriveState::Rebuilding:
        return "Rbld";
    case DriveState::Failed: // one that no group waits for any more is merely bad
        return raid.GroupMissing(drive) != nullptr ? "Failed" : "UBad";
    case DriveState::DedicatedSpare:
        return "DHS";
    case DriveState::GlobalSpare:
        return "GHS";
    }
    return "UGood";
}

const char* StateWord(VolumeState state)
{
    switch (state)
    {
    case VolumeState::Optimal:
        break;
    case VolumeState::PartlyDegraded:
        return "Pdgd";
    case VolumeState::Degraded:
        return "Dgrd";
    case VolumeState::Offline:
        return "OfLn";
    }
    return "Optl";
}

std::string TaskText(const RaidArray& array, SimTime now)
{
    const std::string percent = " (" + std::to_string(array.Percent(now)) + "%)";
    switch (array.task)
    {
    case VolumeTask::None:
        break;
    case VolumeTask::Initialise:
        return "Background Initialization" + percent;
    case VolumeTask::Check:
        return "Consistency Check" + percent;
    case VolumeTask::Rebuild:
        return "Rebuild" + percent;
    }
    return "None";
}

std::string LevelText(const RaidArray& array)
{
    return "RAID" + std::to_string(array.level);
}

// The drive group as the tables have it: a number, "-" without one, "F" for a foreign configuration.
void WriteGroup(CJsonWriter& json, const CRaidModel& raid, const RaidDrive& drive)
{
    const RaidArray* array = raid.GroupOf(drive);
    if (array == nullptr && drive.state == DriveState::Failed)
    {
        array = raid.GroupMissing(drive);
    }
    if (drive.state == DriveState::DedicatedSpare)
    {
        array = raid.FindGroup(drive.spareGroup);
    }
    if (array != nullptr)
    {
        json.Number("DG", array->group);
    }
    else
    {
        json.String("DG", drive.state == DriveState::Foreign ? "F" : "-");
    }
}

// One row of the drive tables.
void WriteDriveRow(CJsonWriter& json, const CRaidModel& raid, const RaidDrive& drive)
{
    json.BeginObject();
    json.String("EID:Slt", Bay(drive));
    json.Number("DID", drive.spec.deviceId);
    json.String("State", StateWord(raid, drive));
    WriteGroup(json, raid, drive);
    json.String("Size", SizeText(CoercedBytes(drive)));
    json.String("Intf", "SATA");
    json.String("Med", drive.spec.disk.kind == DiskKind::Ssd ? "SSD" : "HDD");
    json.String("SED", "N");
    json.String("PI", "N");
    json.String("SeSz", "512B");
    json.String("Model", drive.spec.disk.model);
    json.String("Sp", "U");
    json.String("Type", "-");
    json.EndObject();
}

void WriteVolumeRow(CJsonWriter& json, const RaidArray& array)
{
    json.BeginObject();
    json.String("DG/VD", std::to_string(array.group) + "/" + std::to_string(array.volume));
    json.String("TYPE", LevelText(array));
    json.String("State", StateWord(array.State()));
    json.String("Access", "RW");
    json.String("Consist", array.task == VolumeTask::Initialise ? "No" : "Yes");
    json.String("Cache", array.alwaysWriteBack ? "RAWBD" : "RWTD");
    json.String("Cac", "-");
    json.String("sCC", "ON");
    json.String("Size", SizeText(array.bytes));
    json.String("Name", array.label);
    json.EndObject();
}

struct TopologyRow
{
    const RaidArray* array = nullptr; // null: a global spare
    std::optional<int> row{};         // a member's
    const RaidDrive* drive = nullptr;
    bool isMember = false; // or the place of one
    bool isSpan = false;   // the second line of a group
};

void NumberOrDash(CJsonWriter& json, std::string_view key, std::optional<int> number)
{
    if (number)
    {
        json.Number(key, *number);
    }
    else
    {
        json.String(key, "-");
    }
}

void WriteTopologyRow(CJsonWriter& json, const CRaidModel& raid, const TopologyRow& row)
{
    const bool isDrive = row.isMember || row.drive != nullptr;
    const std::int64_t bytes = row.drive != nullptr ? CoercedBytes(*row.drive)
                               : isDrive ? CoercedBytes(raid.Drives()[row.array->rows.front().home])
                                         : row.array->bytes;
    json.BeginObject();
    NumberOrDash(json, "DG", row.array != nullptr ? std::optional(row.array->group) : std::nullopt);
    NumberOrDash(json, "Arr", row.isMember || row.isSpan ? std::optional(0) : std::nullopt);
    NumberOrDash(json, "Row", row.row);
    json.String("EID:Slot", row.drive != nullptr ? Bay(*row.drive) : "-");
    NumberOrDash(json, "DID", row.drive != nullptr ? std::optional(row.drive->spec.deviceId) : std::nullopt);
    json.String("Type", isDrive ? "DRIVE" : LevelText(*row.array));
    json.String("State", row.drive != nullptr ? StateWord(raid, *row.drive)
                         : isDrive            ? "Msng"
                                              : StateWord(row.array->State()));
    json.String("BT", row.array != nullptr && row.array->task != VolumeTask::None ? "Y" : "N");
    json.String("Size", SizeText(bytes));
    json.String("PDC", row.array != nullptr && row.array->driveCacheOff ? "dsbl" : "dflt");
    json.String("PI", "N");
    json.String("SED", "N");
    json.String("DS3", "none");
    json.String("FSpace", isDrive ? "-" : "N");
    json.String("TR", "N");
    json.EndObject();
}

void WriteTopology(CJsonWriter& json, const CRaidModel& raid)
{
    json.BeginArray("TOPOLOGY");
    std::vector<const RaidArray*> byGroup;
    for (const RaidArray& array : raid.Arrays())
    {
        byGroup.push_back(&array);
    }
    std::ranges::sort(byGroup, {}, [](const RaidArray* array) { return array->group; });
    for (const RaidArray* array : byGroup)
    {
        WriteTopologyRow(json, raid, {.array = array});
        WriteTopologyRow(json, raid, {.array = array, .isSpan = true});
        int number = 0;
        for (const ArrayRow& row : array->rows)
        {
            WriteTopologyRow(json, raid,
                             {.array = array,
                              .row = number++,
                              .drive = row.drive ? &raid.Drives()[*row.drive] : nullptr,
                              .isMember = true});
        }
        for (const RaidDrive& drive : raid.Drives())
        {
            if (drive.state == DriveState::DedicatedSpare && drive.spareGroup == array->group)
            {
                WriteTopologyRow(json, raid, {.array = array, .drive = &drive});
            }
        }
    }
    for (const RaidDrive& drive : raid.Drives())
    {
        if (drive.state == DriveState::GlobalSpare && drive.disk.IsPresent())
        {
            WriteTopologyRow(json, raid, {.drive = &drive});
        }
    }
    json.EndArray();
}

std::int64_t CountDrives(const CRaidModel& raid, std::optional<int> enclosure)
{
    return std::ranges::count_if(
        raid.Drives(), [enclosure](const RaidDrive& drive)
        { return drive.disk.IsPresent() && (!enclosure || drive.spec.enclosure == *enclosure); });
}

void WriteEnclosureRow(CJsonWriter& json, const CRaidModel& raid, const EnclosureSpec& enclosure)
{
    json.BeginObject();
    json.Number("EID", enclosure.id);
    json.String("State", "OK");
    json.Number("Slots", enclosure.slots);
    json.Number("PD", CountDrives(raid, enclosure.id));
    for (const char* key : {"PS", "Fans", "TSs", "Alms", "SIM"})
    {
        json.Number(key, 0);
    }
    json.String("Port#", "-");
    json.String("ProdID", enclosure.product);
    json.String("VendorSpecific", " ");
    json.EndObject();
}

struct TextRow
{
    const char* key;
    const char* value;
};

void WriteTexts(CJsonWriter& json, const char* object, std::initializer_list<TextRow> rows)
{
    json.BeginObject(object);
    for (const TextRow& row : rows)
    {
        json.String(row.key, row.value);
    }
    json.EndObject();
}

// What the controller is; nothing of it changes.
void WriteFixedSections(CJsonWriter& json, const RaidSpec& spec)
{
    json.BeginObject("Basics");
    json.Number("Controller", 0);
    json.String("Model", spec.model);
    json.String("Serial Number", spec.serial + "      "); // padded, as many cards print it
    json.String("SAS Address", " 500a0b8000c41f20");
    json.String("PCI Address", "00:03:00:00");
    json.String("Rework Date", "00/00/00");
    json.EndObject();
    json.BeginObject("Version");
    json.String("Firmware Package Build", "24.21.0-0148");
    json.String("Firmware Version", spec.firmware);
    json.String("Driver Name", "megaraid_sas");
    json.String("Driver Version", spec.driver);
    json.EndObject();
    WriteTexts(json, "Status", {{"Controller Status", "Optimal"}, {"BBU Status", "NA"}});
    WriteTexts(json, "Supported Adapter Operations",
               {{"Rebuild Rate", "Yes"},
                {"BGI Rate ", "Yes"},
                {"Dedicated Hot Spare", "Yes"},
                {"Global Hot Spares", "Yes"},
                {"Support JBOD", "Yes"},
                {"Support Uneven span ", "No"}});
    json.BeginObject("HwCfg");
    json.String("ChipRevision", " C0");
    json.String("BatteryFRU", "N/A");
    json.Number("Backend Port Count", 8);
    json.String("BBU", "Absent");
    json.Number("ROC temperature(Degree Celsius)", 57);
    json.EndObject();
    json.BeginObject("Policies");
    json.BeginArray("Policies Table");
    json.BeginObject();
    json.String("Policy", "Rebuild Rate");
    json.String("Current", "30 %");
    json.String("Default", "30%");
    json.EndObject();
    json.EndArray();
    json.String("Drive Coercion Mode", "1GB");
    json.String("Auto Rebuild", "On");
    json.String("Restore Hot Spare on Insertion", "Off");
    json.EndObject();
    json.BeginObject("Boot");
    json.Number("Max Drives to Spinup at One Time", 2);
    json.Number("Delay Among Spinup Groups (sec)", 12);
    json.String("Stop BIOS on Error", "On");
    json.EndObject();
}

void WriteDriveState(CJsonWriter& json, const std::string& drivePath, const RaidDrive& drive, SimTime now)
{
    const int celsius = drive.disk.Temperature(now);
    json.BeginObject(drivePath + " State");
    json.Number("Shield Counter", 0);
    json.Number("Media Error Count", drive.errors.media);
    json.Number("Other Error Count", drive.errors.other);
    json.Number("BBM Error Count", 0);
    json.String("Drive Temperature",
                " " + std::to_string(celsius) + "C (" + Decimal(celsius * 1.8 + 32, 2) + " F)");
    json.Number("Predictive Failure Count", drive.errors.predictive);
    json.String("S.M.A.R.T alert flagged by drive", drive.disk.IsFailing() ? "Yes" : "No");
    json.EndObject();
}

void WriteDriveAttributes(CJsonWriter& json, const std::string& drivePath, const RaidDrive& drive)
{
    const DiskSpec& disk = drive.disk.Spec();
    // ATA serial numbers stand at the right end of their field.
    const std::string padding(kSerialWidth - std::min(disk.serial.size(), kSerialWidth), ' ');
    json.BeginObject(drivePath + " Device attributes");
    json.String("SN", padding + disk.serial);
    json.String("Manufacturer Id", "ATA     ");
    json.String("Model Number", disk.model);
    json.String("NAND Vendor", "NA");
    json.String("Firmware Revision", disk.firmware + "    ");
    json.String("Raw size", SectorText(disk.bytes));
    json.String("Coerced size", SectorText(CoercedBytes(drive)));
    json.String("Device Speed", "6.0Gb/s");
    json.String("Link Speed", "6.0Gb/s");
    json.String("NCQ setting", "Enabled");
    json.String("Write Cache", "N/A");
    json.String("Logical Sector Size", "512B");
    json.String("Physical Sector Size", "4 KB");
    json.String("Connector Name", "C0.0 & C0.1 ");
    json.EndObject();
}

void WriteDrivePolicies(CJsonWriter& json, const std::string& drivePath, const CRaidModel& raid,
                        const RaidDrive& drive)
{
    const RaidArray* const array = raid.GroupOf(drive);
    const auto row = raid.RowOf(drive);
    json.BeginObject(drivePath + " Policies/Settings");
    json.String("Drive position", array != nullptr && row ? "DriveGroup:" + std::to_string(array->group) +
                                                                ", Span:0, Row:" + std::to_string(*row)
                                                          : "-");
    json.String("Enclosure position", "1");
    json.String("Connected Port Number", std::to_string(drive.spec.slot % 8) + "(path0) ");
    json.String("Commissioned Spare", "No");
    json.String("Successful diagnostics completion on", "N/A");
    json.BeginArray("Port Information");
    json.BeginObject();
    json.Number("Port", 0);
    json.String("Status", "Active");
    json.String("Linkspeed", "6.0Gb/s");
    json.String("SAS address", "0x4433221100000000");
    json.EndObject();
    json.EndArray();
    json.EndObject();
}
} // namespace

std::string StorcliPath(const RaidDrive& drive)
{
    return drive.spec.disk.device;
}

void WriteControllerReport(CJsonWriter& json, const CRaidModel& raid, SimTime)
{
    WriteFixedSections(json, raid.Spec());
    json.Number("Drive Groups", static_cast<std::int64_t>(raid.Arrays().size()));
    WriteTopology(json, raid);
    json.Number("Virtual Drives", static_cast<std::int64_t>(raid.Arrays().size()));
    json.BeginArray("VD LIST");
    for (const RaidArray& array : raid.Arrays())
    {
        WriteVolumeRow(json, array);
    }
    json.EndArray();
    json.Number("Physical Drives", CountDrives(raid, std::nullopt));
    json.BeginArray("PD LIST");
    for (const RaidDrive& drive : raid.Drives())
    {
        if (drive.disk.IsPresent())
        {
            WriteDriveRow(json, raid, drive);
        }
    }
    json.EndArray();
    json.Number("Enclosures", static_cast<std::int64_t>(raid.Spec().enclosures.size()));
    json.BeginArray("Enclosure LIST");
    for (const EnclosureSpec& enclosure : raid.Spec().enclosures)
    {
        WriteEnclosureRow(json, raid, enclosure);
    }
    json.EndArray();
}

void WriteEnclosureReport(CJsonWriter& json, const CRaidModel& raid)
{
    for (const EnclosureSpec& enclosure : raid.Spec().enclosures)
    {
        json.BeginObject("Enclosure /c0/e" + std::to_string(enclosure.id) + " "); // the tool's own blank
        WriteTexts(json, "Information", {{"Connector Name", "N/A"}, {"Enclosure Type", "SES"}});
        json.BeginArray("Properties");
        WriteEnclosureRow(json, raid, enclosure);
        json.EndArray();
        json.EndObject();
    }
}

void WriteVolumeReport(CJsonWriter& json, const CRaidModel& raid, SimTime now)
{
    for (const RaidArray& array : raid.Arrays())
    {
        const std::string number = std::to_string(array.volume);
        json.BeginArray("/c0/v" + number);
        WriteVolumeRow(json, array);
        json.EndArray();
        json.BeginArray("PDs for VD " + number);
        for (const ArrayRow& row : array.rows)
        {
            if (row.drive)
            {
                WriteDriveRow(json, raid, raid.Drives()[*row.drive]);
            }
        }
        json.EndArray();
        json.BeginObject("VD" + number + " Properties");
        json.String("Strip Size", "256 KB");
        json.Number("Number of Blocks", array.bytes / 512);
        json.Number("Span Depth", 1);
        json.Number("Number of Drives Per Span", static_cast<std::int64_t>(array.rows.size()));
        json.String("Write Cache(initial setting)",
                    array.alwaysWriteBack ? "AlwaysWriteBack" : "WriteThrough");
        json.String("Disk Cache Policy", array.driveCacheOff ? "Disabled" : "Disk's Default");
        json.String("Encryption", "None");
        json.String("Data Protection", "Disabled");
        json.String("Active Operations", TaskText(array, now));
        json.String("Exposed to OS", "Yes");
        json.String("OS Drive Name", array.osDevice);
        json.EndObject();
    }
}

void WriteDriveReport(CJsonWriter& json, const CRaidModel& raid, SimTime now)
{
    for (const RaidDrive& drive : raid.Drives())
    {
        if (!drive.disk.IsPresent())
        {
            continue;
        }
        const std::string path = "Drive " + StorcliPath(drive);
        json.BeginArray(path);
        WriteDriveRow(json, raid, drive);
        json.EndArray();
        json.BeginObject(path + " - Detailed Information");
        WriteDriveState(json, path, drive, now);
        WriteDriveAttributes(json, path, drive);
        WriteDrivePolicies(json, path, raid, drive);
        json.EndObject();
    }
}

void WriteDriveSmart(CJsonWriter& json, const CRaidModel& raid, SimTime now)
{
    constexpr std::string_view kHex = "0123456789abcdef";
    for (const RaidDrive& drive : raid.Drives())
    {
        if (!drive.disk.IsPresent() || drive.state == DriveState::Failed)
        {
            continue;
        }
        std::string text;
        for (const std::uint8_t byte : AtaSmartTable(drive.disk, now))
        {
            text += {kHex[byte >> 4], kHex[byte & 0xF], ' '};
        }
        json.String("Smart Data Info " + StorcliPath(drive), text);
    }
}
} // namespace sim
