#include "sim/SmartctlReport.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <string_view>

namespace sim
{
namespace
{
// Exit status bits of smartctl.
constexpr int kDiskFailing = 1 << 3;
constexpr int kPrefailBelowThreshold = 1 << 4;
constexpr int kBelowThresholdInThePast = 1 << 5;
constexpr int kFailedSelfTest = 1 << 7;

constexpr std::uint16_t kPrefail = 0x01; // attribute flag word

// The appliance is switched on at this UTC time: Sunday, 1 March 2026, 08:00.
constexpr std::time_t kSwitchedOn = 1'772'352'000;

enum class AttributeState
{
    Fine,
    FailingNow,
    FailedInThePast,
};

AttributeState StateOf(const SmartRow& row)
{
    if (row.threshold == 0 || row.worst > row.threshold)
    {
        return AttributeState::Fine;
    }
    return row.value <= row.threshold ? AttributeState::FailingNow : AttributeState::FailedInThePast;
}

const char* WhenFailed(AttributeState state)
{
    switch (state)
    {
    case AttributeState::Fine:
        break;
    case AttributeState::FailingNow:
        return "now";
    case AttributeState::FailedInThePast:
        return "past";
    }
    return "";
}

struct FlagBit
{
    std::uint16_t mask;
    char letter;
    const char* name;
};

constexpr auto kFlagBits = std::to_array<FlagBit>({
    {0x01, 'P', "prefailure"},
    {0x02, 'O', "updated_online"},
    {0x04, 'S', "performance"},
    {0x08, 'R', "error_rate"},
    {0x10, 'C', "event_count"},
    {0x20, 'K', "auto_keep"},
});

void WriteFlags(CJsonWriter& json, std::uint16_t flags)
{
    std::string letters;
    for (const FlagBit& bit : kFlagBits)
    {
        letters += (flags & bit.mask) != 0 ? bit.letter : '-';
    }
    json.BeginObject("flags");
    json.Number("value", flags);
    json.String("string", letters + " "); // the seventh place is for unknown bits
    for (const FlagBit& bit : kFlagBits)
    {
        json.Bool(bit.name, (flags & bit.mask) != 0);
    }
    json.EndObject();
}

std::string RawText(const SmartRow& row)
{
    if (row.id != 194)
    {
        return std::to_string(row.raw);
    }
    const auto word = [&row](int index) { return std::to_string((row.raw >> (16 * index)) & 0xFFFF); };
    return word(0) + " (Min/Max " + word(1) + "/" + word(2) + ")";
}

void WriteAttributeTable(CJsonWriter& json, const CSimDisk& disk, SimTime now)
{
    json.BeginObject("ata_smart_attributes");
    json.Number("revision", 16);
    json.BeginArray("table");
    for (const SmartRow& row : disk.Attributes(now))
    {
        json.BeginObject();
        json.Number("id", row.id);
        json.String("name", row.name);
        json.Number("value", row.value);
        json.Number("worst", row.worst);
        json.Number("thresh", row.threshold);
        json.String("when_failed", WhenFailed(StateOf(row)));
        WriteFlags(json, row.flags);
        json.BeginObject("raw");
        json.Number("value", row.raw);
        json.String("string", RawText(row));
        json.EndObject();
        json.EndObject();
    }
    json.EndArray();
    json.EndObject();
}

void WriteNvmeHealth(CJsonWriter& json, const CSimDisk& disk, SimTime now)
{
    constexpr std::int64_t kUnitsPerHour = 1'900; // of 512,000 bytes
    const NvmeHealth& health = disk.Nvme();
    const std::int64_t hours = disk.PowerOnHours(now);
    json.BeginObject("nvme_smart_health_information_log");
    json.Number("critical_warning", health.spare < health.spareThreshold ? 1 : disk.IsFailing() ? 4 : 0);
    json.Number("temperature", disk.Temperature(now));
    json.Number("available_spare", health.spare);
    json.Number("available_spare_threshold", health.spareThreshold);
    json.Number("percentage_used", 3);
    json.Number("data_units_read", hours * kUnitsPerHour / 2);
    json.Number("data_units_written", hours * kUnitsPerHour);
    json.Number("host_reads", hours * 21'400);
    json.Number("host_writes", hours * 38'700);
    json.Number("controller_busy_time", hours / 6);
    json.Number("power_cycles", 44);
    json.Number("power_on_hours", hours);
    json.Number("unsafe_shutdowns", 9);
    json.Number("media_errors", health.mediaErrors);
    json.Number("num_err_log_entries", health.mediaErrors);
    json.Number("warning_temp_time", 0);
    json.Number("critical_comp_time", 0);
    json.BeginArray("temperature_sensors");
    json.Number({}, disk.Temperature(now));
    json.EndArray();
    json.EndObject();
}

void WriteCapacity(CJsonWriter& json, std::int64_t bytes)
{
    json.BeginObject("user_capacity");
    json.Number("blocks", bytes / 512);
    json.Number("bytes", bytes);
    json.EndObject();
    json.Number("logical_block_size", 512);
}

void WriteAtaIdentity(CJsonWriter& json, const DiskSpec& disk)
{
    const bool spins = disk.kind == DiskKind::HardDisk;
    json.Number("physical_block_size", 4096);
    json.Number("rotation_rate", spins ? 7200 : 0);
    json.BeginObject("form_factor");
    json.Number("ata_value", spins ? 2 : 3);
    json.String("name", spins ? "3.5 inches" : "2.5 inches");
    json.EndObject();
    json.BeginObject("trim");
    json.Bool("supported", !spins);
    json.EndObject();
    json.Bool("in_smartctl_database", false);
    json.BeginObject("sata_version");
    json.String("string", "SATA 3.3");
    json.Number("value", 511);
    json.EndObject();
}

void WriteNvmeIdentity(CJsonWriter& json, const DiskSpec& disk)
{
    json.Number("nvme_total_capacity", disk.bytes);
    json.Number("nvme_unallocated_capacity", 0);
    json.Number("nvme_controller_id", 1);
    json.Number("nvme_number_of_namespaces", 1);
}

void WriteIdentity(CJsonWriter& json, const DiskSpec& disk)
{
    json.String("model_name", disk.model);
    json.String("serial_number", disk.serial);
    json.String("firmware_version", disk.firmware);
    WriteCapacity(json, disk.bytes);
    if (disk.kind == DiskKind::Nvme)
    {
        WriteNvmeIdentity(json, disk);
    }
    else
    {
        WriteAtaIdentity(json, disk);
    }
    json.BeginObject("smart_support");
    json.Bool("available", true);
    json.Bool("enabled", true);
    json.EndObject();
}

void WriteAttributeSection(CJsonWriter& json, const CSimDisk& disk, SimTime now)
{
    if (disk.Spec().kind == DiskKind::Nvme)
    {
        WriteNvmeHealth(json, disk, now);
    }
    else
    {
        WriteAttributeTable(json, disk, now);
    }
    json.BeginObject("power_on_time");
    json.Number("hours", disk.PowerOnHours(now));
    json.EndObject();
    json.BeginObject("temperature");
    json.Number("current", disk.Temperature(now));
    json.EndObject();
}
} // namespace

void WriteHeader(CJsonWriter& json, const SmartctlHeader& header)
{
    json.BeginObject();
    json.BeginArray("json_format_version");
    json.Number({}, 1);
    json.Number({}, 0);
    json.EndArray();
    json.BeginObject("smartctl");
    json.BeginArray("version");
    json.Number({}, 7);
    json.Number({}, 3);
    json.EndArray();
    json.String("svn_revision", "5338");
    json.String("platform_info", "x86_64-linux-6.1.0-appliance");
    json.String("build_info", "(local build)");
    json.BeginArray("argv");
    for (const std::string& word : header.argv)
    {
        json.String({}, word);
    }
    json.EndArray();
    if (header.namesDatabase)
    {
        json.BeginObject("drive_database_version");
        json.String("string", "7.3/5319");
        json.EndObject();
    }
    if (!header.errors.empty())
    {
        json.BeginArray("messages");
        for (const std::string& error : header.errors)
        {
            json.BeginObject();
            json.String("string", error);
            json.String("severity", "error");
            json.EndObject();
        }
        json.EndArray();
    }
    json.Number("exit_status", header.exitStatus);
    json.EndObject();
}

void WriteLocalTime(CJsonWriter& json, SimTime now)
{
    const std::time_t time =
        kSwitchedOn + static_cast<std::time_t>(std::chrono::duration_cast<std::chrono::seconds>(now).count());
    std::tm parts{};
    gmtime_r(&time, &parts);
    std::array<char, 32> text{};
    asctime_r(&parts, text.data()); // ends with a line feed; English in every locale
    json.BeginObject("local_time");
    json.Number("time_t", time);
    json.String("asctime", std::string(text.data(), std::string_view(text.data()).size() - 1) + " UTC");
    json.EndObject();
}

void WriteDevice(CJsonWriter& json, std::string_view key, const SmartctlName& name)
{
    json.BeginObject(key);
    json.String("name", name.device);
    json.String("info_name", name.info);
    json.String("type", name.type);
    json.String("protocol", name.protocol);
    json.EndObject();
}

SmartctlName PlainName(const DiskSpec& disk)
{
    const bool isAta = disk.kind == DiskKind::HardDisk || disk.kind == DiskKind::Ssd;
    const bool isNvme = disk.kind == DiskKind::Nvme;
    return {.device = disk.device,
            .info = disk.device + (isAta ? " [SAT]" : ""),
            .type = isAta    ? "sat"
                    : isNvme ? "nvme"
                             : "scsi",
            .protocol = isAta    ? "ATA"
                        : isNvme ? "NVMe"
                                 : "SCSI"};
}

void WriteReport(CJsonWriter& json, const SmartctlName& name, const CSimDisk& disk,
                 const SmartctlSections& sections, SimTime now)
{
    WriteDevice(json, "device", name);
    if (sections.identity)
    {
        WriteIdentity(json, disk.Spec());
    }
    if (sections.health)
    {
        json.BeginObject("smart_status");
        json.Bool("passed", !disk.IsFailing());
        json.EndObject();
    }
    const bool isAta = disk.Spec().kind == DiskKind::HardDisk || disk.Spec().kind == DiskKind::Ssd;
    if (sections.selfTests && isAta)
    {
        WriteSelfTestStatus(json, disk, now);
    }
    if (sections.attributes)
    {
        WriteAttributeSection(json, disk, now);
    }
    if (sections.selfTests && isAta)
    {
        WriteSelfTestLog(json, disk, now);
    }
}

int HealthStatusBits(const CSimDisk& disk, const SmartctlSections& sections, SimTime now)
{
    int status = sections.health && disk.IsFailing() ? kDiskFailing : 0;
    status |= sections.selfTests && disk.SelfTest().HasFailed(now) ? kFailedSelfTest : 0;
    for (const SmartRow& row : disk.Attributes(now))
    {
        const AttributeState state = StateOf(row);
        const bool isPrefailNow = state == AttributeState::FailingNow && (row.flags & kPrefail) != 0;
        if (sections.attributes && state != AttributeState::Fine)
        {
            status |= isPrefailNow ? kPrefailBelowThreshold : kBelowThresholdInThePast;
        }
    }
    return status;
}
} // namespace sim
