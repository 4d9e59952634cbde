#include "sim/StorcliTables.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace sim
{
namespace
{
constexpr std::int64_t kGiB = std::int64_t{1} << 30;

// Binary units under decimal names, as the tool prints them.
std::string SizeText(std::int64_t bytes)
{
    const double gigabytes = static_cast<double>(bytes) / static_cast<double>(kGiB);
    return gigabytes < 1024 ? Decimal(gigabytes, 3) + " GB" : Decimal(gigabytes / 1024, 3) + " TB";
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
} // namespace

std::string Decimal(double value, int places)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.*f", places, value);
    return text.data();
}

std::string SectorText(std::int64_t bytes)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), " [0x%llx Sectors]",
                  static_cast<unsigned long long>(bytes / 512));
    return SizeText(bytes) + text.data();
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
} // namespace sim
