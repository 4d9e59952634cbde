#include "hwmon/SystemInfo.h"

#include "frame/Ipc.h"
#include "frame/Log.h"
#include "frame/Text.h"
#include "frame/Xml.h"

#include <tinyxml.h>

#include <array>
#include <cstdlib>
#include <string_view>

namespace
{
// Makes the last drive of an output end like every other: by the line of the next one.
constexpr const char* kClosingLines = "\ndrive-index=-1\nraid-volume=";

struct DriveInfo
{
    std::int32_t slot = -1;
    std::string name = {};
    std::string serial = {};
    std::int32_t partitions = 0;
    bool removable = false;
    std::string mountPath = {};
    std::string fileSystem = {};
    bool needsPrep = false;
};

struct ScalarKey
{
    std::string_view key;
    std::string SystemInfo::*field;
};

constexpr auto kScalarKeys = std::to_array<ScalarKey>({
    {"motherboard-model", &SystemInfo::motherboardModel},
    {"motherboard-vendor", &SystemInfo::motherboardVendor},
    {"firmware-vendor", &SystemInfo::firmwareVendor},
    {"firmware-version", &SystemInfo::firmwareVersion},
    {"os", &SystemInfo::operatingSystem},
    {"deploykey-version", &SystemInfo::deployKeyVersion},
    {"deploykey-jobnumber", &SystemInfo::deployKeyJobNumber},
    {"deploykey-branchname", &SystemInfo::deployKeyBranchName},
    {"baseimage-version", &SystemInfo::baseImageVersion},
    {"memory", &SystemInfo::memory},
    {"swap", &SystemInfo::swap},
});

struct DriveTextKey
{
    std::string_view key;
    std::string DriveInfo::*field;
};

constexpr auto kDriveTextKeys = std::to_array<DriveTextKey>({
    {"drive-name", &DriveInfo::name},
    {"drive-serial", &DriveInfo::serial},
    {"drive-fspath", &DriveInfo::mountPath},
    {"drive-fstype", &DriveInfo::fileSystem},
});

// 0 when the text is no number.
long Decimal(const std::string& text)
{
    return std::strtol(text.c_str(), nullptr, 10);
}

template <typename Record, typename Rows>
bool StoreText(Record& record, const Rows& rows, std::string_view key, const std::string& value)
{
    for (const auto& row : rows)
    {
        if (key == row.key)
        {
            record.*row.field = value;
            return true;
        }
    }
    return false;
}

class CSysInfoParser
{
public:
    explicit CSysInfoParser(SystemInfo& info) : m_info(info) {}

    void Take(std::string_view key, const std::string& value)
    {
        if (StoreText(m_info, kScalarKeys, key, value) || StoreText(m_drive, kDriveTextKeys, key, value))
        {
            return;
        }
        if (key == "processor")
        {
            m_info.processors.push_back(value);
        }
        else if (key == "drive-index")
        {
            CompleteDrive();
            m_drive = {.slot = static_cast<std::int32_t>(Decimal(value))};
        }
        else if (key == "drive-partitions")
        {
            m_drive.partitions = static_cast<std::int32_t>(Decimal(value));
        }
        else if (key == "drive-removable")
        {
            m_drive.removable = Decimal(value) == 1;
        }
        else if (key == "drive-needs-prep")
        {
            m_drive.needsPrep = Decimal(value) == 1;
        }
        else if (key == "raid-volume")
        {
            m_volume = value;
        }
        else if (key == "raid-fspath")
        {
            MountVolume(value);
        }
    }

private:
    void CompleteDrive()
    {
        const DriveInfo& drive = m_drive;
        if (drive.slot < 0 || drive.serial.empty())
        {
            return;
        }
        m_info.driveSlots[drive.serial] = drive.slot;
        if (!drive.mountPath.empty())
        {
            m_info.mountPoints[drive.serial].insert(drive.mountPath);
        }
        if (drive.needsPrep)
        {
            m_info.drivesNeedingPrep[drive.serial] = "FS type [" + drive.fileSystem + "] mountpt [" +
                                                     drive.mountPath + "] numparts [" +
                                                     std::to_string(drive.partitions) + "]";
        }
        if (drive.removable && !drive.name.empty())
        {
            m_info.removableDevices["/dev/" + drive.name] = true;
        }
        Log(LogInfo,
            "SYSINFO: non-RAID disk serial [%s] slot [%d] needprep [%d] partitions [%d] mount [%s] fstype [%s] name [%s] removable [%d]",
            drive.serial.c_str(), drive.slot, drive.needsPrep ? 1 : 0, drive.partitions,
            drive.mountPath.c_str(), drive.fileSystem.c_str(), drive.name.c_str(), drive.removable ? 1 : 0);
    }

    // A volume name serves one path only; a second path needs its own "raid-volume" line.
    void MountVolume(const std::string& path)
    {
        if (!m_volume.empty() && !path.empty())
        {
            m_info.mountPoints[m_volume].insert(path);
            Log(LogInfo, "SYSINFO: RAID volume [%s] mounted at [%s]", m_volume.c_str(), path.c_str());
        }
        m_volume.clear();
    }

    SystemInfo& m_info;
    DriveInfo m_drive;
    std::string m_volume;
};

void AddTextChild(TiXmlElement& parent, const char* name, const char* attribute, const std::string& text)
{
    AddChild(parent, name).SetAttribute(attribute, text);
}
} // namespace

void RunSysInfo(SystemInfo& info)
{
    const auto client = tq::ipc::RunCommand(kSysInfoScript, {}, nullptr);
    if (client->HasFailed())
    {
        return; // already logged
    }
    const int exitCode = tq::ipc::ExitCode(client->WaitForExit());
    if (tq::ipc::IsIpcClosed())
    {
        return; // cut off by the plug-in's end: half a description would be saved as the whole
    }
    if (exitCode != 0)
    {
        Log(LogError, "SYSINFO: Failed to query sys info (%s, err  %d):\n%s", kSysInfoScript, exitCode,
            client->StandardOutput().c_str());
        return;
    }
    ParseSysInfo(info, client->StandardOutput());
}

void ParseSysInfo(SystemInfo& info, const std::string& output)
{
    info.processors.clear();
    info.driveSlots.clear();
    info.drivesNeedingPrep.clear();
    info.mountPoints.clear();
    info.removableDevices.clear();

    CSysInfoParser parser(info);
    int number = 0;
    for (const std::string& line : SplitLines(output + kClosingLines))
    {
        Log(LogDebug, "SYSINFO: %03d: %s", number++, line.c_str());
        const auto equals = line.find('=');
        if (equals != std::string::npos)
        {
            parser.Take(std::string_view(line).substr(0, equals), line.substr(equals + 1));
        }
    }
}

TiXmlElement& AddSystemInfoElement(TiXmlElement& parent, const SystemInfo& info)
{
    TiXmlElement& element = AddChild(parent, "SystemInfo");
    TiXmlElement& board = AddChild(element, "Motherboard");
    board.SetAttribute("Vendor", info.motherboardVendor);
    board.SetAttribute("Model", info.motherboardModel);
    TiXmlElement& firmware = AddChild(element, "BIOS");
    firmware.SetAttribute("Vendor", info.firmwareVendor);
    firmware.SetAttribute("Version", info.firmwareVersion);
    TiXmlElement& memory = AddChild(element, "Memory");
    memory.SetAttribute("Size", info.memory);
    memory.SetAttribute("Swap", info.swap);
    TiXmlElement& processors = AddChild(element, "Processors");
    for (const std::string& processor : info.processors)
    {
        AddTextChild(processors, "Processor", "Name", processor);
    }
    AddTextChild(element, "OperatingSystem", "Name", info.operatingSystem);

    // Absent on a machine that was not set up from a deployment key or a base image.
    struct OptionalChild
    {
        const char* name;
        const std::string& text;
    };
    const auto optionalChildren = std::to_array<OptionalChild>({
        {"DeployKeyVersion", info.deployKeyVersion},
        {"DeployKeyJobNumber", info.deployKeyJobNumber},
        {"DeployKeyBranchName", info.deployKeyBranchName},
        {"BaseImageVersion", info.baseImageVersion},
    });
    for (const OptionalChild& child : optionalChildren)
    {
        if (!child.text.empty())
        {
            AddTextChild(element, child.name, "Name", child.text);
        }
    }
    return element;
}
