#include "sim/SmartctlRaid.h"

#include <charconv>

namespace sim
{
namespace
{
constexpr const char* kBusDevice = "/dev/bus/0";
constexpr std::string_view kTypeName = "megaraid,";

SmartctlName VolumeName(const RaidArray& array)
{
    return {.device = array.osDevice, .info = array.osDevice, .type = "scsi", .protocol = "SCSI"};
}

std::string TwoDigits(const std::string& number)
{
    return number.size() < 2 ? "0" + number : number;
}
} // namespace

void WriteRaidVolumes(CJsonWriter& json, const CRaidModel& raid)
{
    for (const RaidArray& array : raid.Arrays())
    {
        WriteDevice(json, {}, VolumeName(array));
    }
}

void WriteBusDrives(CJsonWriter& json, const CRaidModel& raid)
{
    if (raid.Spec().kind != RaidKind::Lsi)
    {
        return; // other controllers' drives are not found by a scan
    }
    for (const RaidDrive& drive : raid.Drives())
    {
        if (drive.disk.IsPresent())
        {
            const std::string number = std::to_string(drive.spec.deviceId);
            WriteDevice(json, {},
                        {.device = kBusDevice,
                         .info = std::string(kBusDevice) + " [megaraid_disk_" + TwoDigits(number) + "]",
                         .type = std::string(kTypeName) + number,
                         .protocol = "SCSI"});
        }
    }
}

const RaidDrive* FindBusDrive(const CRaidModel& raid, const std::string& device, const std::string& type)
{
    const std::size_t at = type.find(kTypeName);
    if (raid.Spec().kind != RaidKind::Lsi || device != kBusDevice || at == std::string::npos)
    {
        return nullptr;
    }
    const char* const end = type.data() + type.size();
    int number = 0;
    const auto result = std::from_chars(type.data() + at + kTypeName.size(), end, number);
    const RaidDrive* const drive =
        result.ec == std::errc() && result.ptr == end ? raid.FindDeviceId(number) : nullptr;
    return drive != nullptr && drive->state != DriveState::Failed ? drive : nullptr;
}

SmartctlName BusDriveName(const std::string& device, const std::string& type)
{
    const std::string number = type.substr(type.find(kTypeName) + kTypeName.size());
    return {.device = device,
            .info = device + " [megaraid_disk_" + TwoDigits(number) + "] [SAT]",
            .type = "sat+megaraid," + number,
            .protocol = "ATA"};
}

void WriteVolumeReport(CJsonWriter& json, const CRaidModel& raid, const RaidArray& array)
{
    const bool isLsi = raid.Spec().kind == RaidKind::Lsi;
    const std::string vendor = isLsi ? "LSI" : "Adaptec";
    const std::string product = isLsi ? raid.Spec().model : "LogicalDrv " + std::to_string(array.volume);
    WriteDevice(json, "device", VolumeName(array));
    json.String("scsi_vendor", vendor);
    json.String("scsi_product", product.substr(0, 16)); // the width of an INQUIRY's field
    json.String("scsi_model_name", vendor + " " + product.substr(0, 16));
    json.String("scsi_revision", "4.68");
    json.String("scsi_version", "SPC-3");
    json.BeginObject("user_capacity");
    json.Number("blocks", array.bytes / 512);
    json.Number("bytes", array.bytes);
    json.EndObject();
    json.Number("logical_block_size", 512);
    json.BeginObject("temperature");
    json.Number("current", 0);
    json.EndObject();
}
} // namespace sim
