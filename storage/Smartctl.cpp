#include "storage/Smartctl.h"

#include "frame/Ipc.h"
#include "storage/Json.h"

#include <array>
#include <string_view>

namespace
{
constexpr const char* kSmartctl = "./smartctl";

// Bits of smartctl's exit status. Bit 2 (a command failed) and bit 6 (errors in the device's log) say nothing
// about today.
constexpr std::int32_t kStatusCommandLine = 1 << 0;
constexpr std::int32_t kStatusOpenFailed = 1 << 1;
constexpr std::int32_t kStatusFailing = 1 << 3;

struct StatusWarning
{
    std::int32_t bit;
    const char* text;
};

constexpr auto kStatusWarnings = std::to_array<StatusWarning>({
    {kStatusFailing, "disk failing"},
    {1 << 4, "curr SMART attrs <= thresh"},
    {1 << 5, "historic prefail attrs <= thresh"},
    {1 << 7, "has self-test error"},
});

struct SmartctlOutput
{
    CJsonDocument document;
    std::string error = {};
    std::string warnings = {};
    bool diskFailing = false;
};

// " - " and its text for each message; a message without a text adds nothing.
std::string Messages(CJsonValue root)
{
    std::string texts;
    for (const CJsonValue message : root.Find("smartctl.messages").Elements())
    {
        if (const auto text = message.Member("string").String())
        {
            texts.append(" - ").append(*text);
        }
    }
    return texts;
}

// The status word comes from the document: the process's exit code is only looked at when there is none.
SmartctlOutput CheckSmartctlOutput(int exitCode, const std::string& output)
{
    SmartctlOutput result{.document = CJsonDocument(output)};
    const CJsonValue root = result.document.Root();
    if (!root.IsObject())
    {
        result.error = exitCode != 0 ? "smartctl error " + std::to_string(exitCode) : kSmartctlInvalidJson;
        return result;
    }
    const auto status = root.Find("smartctl.exit_status").Int32();
    if (!status)
    {
        result.error = "smartctl missing errcode";
        return result;
    }
    if ((*status & kStatusCommandLine) != 0)
    {
        result.error = "smartctl cmdline did not parse" + Messages(root);
        return result;
    }
    if ((*status & kStatusOpenFailed) != 0)
    {
        result.error = "smartctl device open failed" + Messages(root);
        return result;
    }
    for (const StatusWarning& warning : kStatusWarnings)
    {
        if ((*status & warning.bit) != 0)
        {
            result.warnings.append(result.warnings.empty() ? "" : ", ").append(warning.text);
        }
    }
    result.diskFailing = (*status & kStatusFailing) != 0;
    return result;
}

SmartctlDeviceType DeviceType(std::string_view name, std::string_view type)
{
    struct TypeName
    {
        std::string_view text;
        SmartctlDeviceType type;
    };
    static constexpr auto kTypeNames = std::to_array<TypeName>({
        {"sat", SmartctlDeviceType::Sat},
        {"ata", SmartctlDeviceType::Ata},
        {"scsi", SmartctlDeviceType::Scsi},
        {"nvme", SmartctlDeviceType::Nvme},
    });
    for (const TypeName& typeName : kTypeNames)
    {
        if (type == typeName.text)
        {
            return typeName.type;
        }
    }
    const bool megaRaid =
        name.find("/dev/bus") != std::string_view::npos && type.find("megaraid") != std::string_view::npos;
    return megaRaid ? SmartctlDeviceType::MegaRaid : SmartctlDeviceType::Invalid;
}

// A row that lacks anything but "thresh" is dropped.
void AppendAtaAttribute(CJsonValue row, std::vector<SmartctlAttribute>& attributes)
{
    const auto id = row.Member("id").Int32();
    const auto name = row.Member("name").String();
    const auto flags = row.Find("flags.value").Int32();
    const auto value = row.Member("value").Int32();
    const auto worst = row.Member("worst").Int32();
    const auto raw = row.Find("raw.value").Int32();
    if (!id || !name || !flags || !value || !worst || !raw)
    {
        return;
    }
    attributes.push_back({.id = *id,
                          .name = std::string(*name),
                          .flags = *flags,
                          .value = *value,
                          .worst = *worst,
                          .thresh = row.Member("thresh").Int32().value_or(-1),
                          .raw = *raw});
}

void ReadAtaHealth(CJsonValue root, SmartctlDiskInfo& info)
{
    info.temperature = root.Find("temperature.current").Int32();
    for (const CJsonValue row : root.Find("ata_smart_attributes.table").Elements())
    {
        AppendAtaAttribute(row, info.attributes);
    }
}

// NVMe disks have no attribute table. What their health log offers is given the ids and names of the ATA
// attributes that mean the same, so that the evaluation needs no second set of rules.
void ReadNvmeHealth(CJsonValue root, SmartctlDiskInfo& info)
{
    struct NvmeRow
    {
        std::int32_t id;
        const char* name;
        std::int32_t flags; // as in the ATA table; bit 0: pre-failure
        const char* member;
        const char* threshMember; // a row with one needs both
    };
    static constexpr auto kNvmeRows = std::to_array<NvmeRow>({
        {5, "Reallocated_Sector_Ct", 0x33, "available_spare", "available_spare_threshold"},
        {194, "Temperature_Celsius", 0x22, "temperature", nullptr},
        {12, "Power_Cycle_Count", 0x32, "power_cycles", nullptr},
        {9, "Power_On_Hours", 0x32, "power_on_hours", nullptr},
        {199, "NVMe_Error_Count", 0x32, "media_errors", nullptr},
    });
    const CJsonValue log = root.Member("nvme_smart_health_information_log");
    info.temperature = log.Member("temperature").Int32();
    for (const NvmeRow& row : kNvmeRows)
    {
        const auto value = log.Member(row.member).Int32();
        const auto thresh =
            row.threshMember != nullptr ? log.Member(row.threshMember).Int32() : std::optional(-1);
        if (value && thresh)
        {
            info.attributes.push_back({.id = row.id,
                                       .name = row.name,
                                       .flags = row.flags,
                                       .value = *value,
                                       .worst = -1,
                                       .thresh = *thresh,
                                       .raw = *value});
        }
    }
}

std::string VersionNumber(CJsonValue numbers)
{
    std::string version;
    for (const CJsonValue number : numbers.Elements())
    {
        if (const auto value = number.Int32())
        {
            version.append(version.empty() ? "" : ".").append(std::to_string(*value));
        }
    }
    return version;
}
} // namespace

SmartctlScanResult ParseScan(int exitCode, const std::string& output)
{
    const SmartctlOutput checked = CheckSmartctlOutput(exitCode, output);
    SmartctlScanResult result{.error = checked.error};
    if (!result.error.empty())
    {
        return result;
    }
    for (const CJsonValue device : checked.document.Root().Member("devices").Elements())
    {
        const std::string name = device.Member("name").Text();
        const std::string type = device.Member("type").Text();
        if (!name.empty() && !type.empty())
        {
            result.devices.push_back({.name = name, .type = DeviceType(name, type)});
        }
    }
    return result;
}

SmartctlDiskInfo ParseDiskInfo(int exitCode, const std::string& output)
{
    const SmartctlOutput checked = CheckSmartctlOutput(exitCode, output);
    if (!checked.error.empty())
    {
        return {.error = checked.error, .rawOutput = output};
    }
    const CJsonValue root = checked.document.Root();
    SmartctlDiskInfo info{.warnings = checked.warnings,
                          .model = root.Member("model_name").Text(),
                          .serial = root.Member("serial_number").Text(),
                          .vendor = root.Member("scsi_vendor").Text(),
                          .product = root.Member("scsi_product").Text(),
                          .healthPassed = !checked.diskFailing};
    if (!info.vendor.empty() || !info.product.empty())
    {
        return info; // a SCSI disk: identity only
    }
    if (info.model.empty() || info.serial.empty())
    {
        info.error = "empty model [" + info.model + "] or serial [" + info.serial + "]";
        return info;
    }
    info.firmware = root.Member("firmware_version").Text();
    if (root.Find("device.type").Text() == "nvme")
    {
        ReadNvmeHealth(root, info);
    }
    else
    {
        ReadAtaHealth(root, info);
    }
    return info;
}

ToolVersion ParseVersion(int exitCode, const std::string& output)
{
    ToolVersion version{.toolName = "smartctl", .displayName = "smartctl"};
    const SmartctlOutput checked = CheckSmartctlOutput(exitCode, output);
    if (!checked.error.empty())
    {
        version.error = checked.error;
        return version;
    }
    const CJsonValue smartctl = checked.document.Root().Member("smartctl");
    version.version = VersionNumber(smartctl.Member("version"));
    version.revision = smartctl.Member("svn_revision").Text();
    version.build = smartctl.Member("build_info").Text();
    if (version.version.empty() || version.revision.empty() || version.build.empty())
    {
        version.error = "empty version [" + version.version + "] or rev [" + version.revision +
                        "] or build [" + version.build + "]";
    }
    return version;
}

SmartctlScanResult ExecuteScan()
{
    const auto client = tq::ipc::RunCommand(kSmartctl, {"-j", "--scan"}, nullptr);
    if (client->HasFailed())
    {
        return {.error = "smartctl ExecuteScan IPC failed"};
    }
    const int exitCode = tq::ipc::ExitCode(client->WaitForExit());
    return ParseScan(exitCode, client->StandardOutput());
}

SmartctlDiskInfo ExecuteDiskInfo(const std::string& device, const std::string& deviceType)
{
    // "permissive": a disk that refuses one command still gives the rest of its report.
    std::vector<std::string> arguments{"-j", "-T", "permissive"};
    if (!deviceType.empty())
    {
        arguments.insert(arguments.end(), {"-d", deviceType});
    }
    arguments.insert(arguments.end(), {"-a", device});
    const auto client = tq::ipc::RunCommand(kSmartctl, arguments, nullptr);
    if (client->HasFailed())
    {
        return {.error = "smartctl ExecuteDiskInfo IPC failed"};
    }
    const int exitCode = tq::ipc::ExitCode(client->WaitForExit());
    return ParseDiskInfo(exitCode, client->StandardOutput());
}

ToolVersion ExecuteSmartctlVersion()
{
    const auto client = tq::ipc::RunCommand(kSmartctl, {"-jV"}, nullptr);
    if (client->HasFailed())
    {
        return {.error = "smartctl ExecuteVersion IPC failed"};
    }
    const int exitCode = tq::ipc::ExitCode(client->WaitForExit());
    return ParseVersion(exitCode, client->StandardOutput());
}
