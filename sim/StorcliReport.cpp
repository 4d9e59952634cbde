#include "sim/StorcliReport.h"

#include "sim/AtaSmartTable.h"
#include "sim/StorcliTables.h"

#include <algorithm>

namespace sim
{
namespace
{
constexpr std::size_t kSerialWidth = 20; // as ATA holds it

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
