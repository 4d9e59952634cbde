#include "storage/Discovery.h"

#include "frame/Ipc.h"
#include "frame/Log.h"
#include "frame/Text.h"
#include "storage/DiskMerge.h"
#include "storage/Smartctl.h"

#include <algorithm>

namespace
{
constexpr int kReportTries = 10;

// The default for NVMe disks: they run hotter.
constexpr ThresholdRange kNvmeRange{.min = 5, .max = 75};

bool ContainsAny(const std::string& text, std::initializer_list<const char*> words)
{
    return std::any_of(words.begin(), words.end(),
                       [&text](const char* word) { return Contains(text, word); });
}

SmartctlDiskInfo ReportWithRetries(const std::string& name)
{
    SmartctlDiskInfo info;
    for (int attempt = 1; attempt <= kReportTries; ++attempt)
    {
        info = ExecuteDiskInfo(name, {});
        if (!info.warnings.empty())
        {
            Log(LogWarning, "SMARTCTL: %s get disk warnings: %s", name.c_str(), info.warnings.c_str());
        }
        if (!Contains(info.error, kSmartctlInvalidJson) || tq::ipc::IsIpcClosed())
        {
            break;
        }
        Log(LogWarning, "SMARTCTL: %s get disk retry on invalid JSON", name.c_str());
    }
    return info;
}

// One scan: applies the ignore rules device by device, in their order.
class CDiscovery
{
public:
    CDiscovery(const DiscoveryContext& context, bool full) : m_context(context), m_full(full)
    {
        for (const auto& disk : context.knownDisks)
        {
            m_knownNames.insert(disk->m_name);
        }
    }

    void Add(const SmartctlDevice& device)
    {
        const char* name = device.name.c_str();
        if (m_context.ignoredDevices.contains(device.name))
        {
            return;
        }
        if (m_context.removableDevices.contains(device.name))
        {
            Log(LogWarning, "SMARTCTL: ignore %s (removable)", name);
        }
        else if (device.type == SmartctlDeviceType::MegaRaid)
        {
            Log(LogWarning, "SMARTCTL: ignore %s (LSI RAID pseudo-device)", name);
        }
        else if (device.type == SmartctlDeviceType::Invalid)
        {
            Log(LogWarning, "SMARTCTL: ignore %s (invalid disk type)", name);
        }
        else if (!m_full && !m_knownNames.contains(device.name))
        {
            Log(LogWarning, "SMARTCTL: ignore %s (new)", name);
        }
        else if (!m_full)
        {
            AddDisk(device.name); // a placeholder: only the name counts
            return;
        }
        else if (const SmartctlDiskInfo info = ReportWithRetries(device.name); Accept(device.name, info))
        {
            AddReported(device, info);
            return;
        }
        m_context.ignoredDevices.insert(device.name);
    }

    [[nodiscard]] const DiskList& Found() const { return m_found; }

private:
    // The rules that need the report; a rejected device is logged here.
    [[nodiscard]] bool Accept(const std::string& device, const SmartctlDiskInfo& info) const
    {
        const char* name = device.c_str();
        if (tq::ipc::IsIpcClosed())
        {
            return false; // cut off by the plug-in's end: it says nothing about the device
        }
        if (!info.error.empty())
        {
            Log(LogWarning, "SMARTCTL: ignore %s (%s)", name, info.error.c_str());
            Log(LogDebug, "%s", info.rawOutput.c_str());
        }
        else if (ContainsAny(info.vendor, {"LSI", "AVAGO", "Intel"}))
        {
            Log(LogWarning, "SMARTCTL: ignore %s (LSI RAID volume - vendor [%s] product [%s])", name,
                info.vendor.c_str(), info.product.c_str());
        }
        else if (ContainsAny(info.product, {"VIRTUAL", "Virtual"}))
        {
            Log(LogWarning, "SMARTCTL: ignore %s (product [%s])", name, info.product.c_str());
        }
        else if (info.attributes.empty())
        {
            Log(LogWarning, "SMARTCTL: ignore %s (SMART unsupported)", name);
        }
        else if (m_serials.contains(info.serial))
        {
            Log(LogWarning, "SMARTCTL: ignore %s (duplicate serial %s)", name, info.serial.c_str());
        }
        else
        {
            return true;
        }
        return false;
    }

    CDisk& AddDisk(const std::string& name)
    {
        auto disk = std::make_shared<CDisk>(name);
        disk->m_source = DiskSource::Smartctl;
        m_found.push_back(disk);
        return *disk;
    }

    void AddReported(const SmartctlDevice& device, const SmartctlDiskInfo& info)
    {
        const bool nvme = device.type == SmartctlDeviceType::Nvme;
        CDisk& disk = AddDisk(device.name);
        disk.m_status = "OK";
        disk.m_model = info.model;
        disk.m_serialNumber = TrimSpaces(info.serial);
        disk.m_firmwareVersion = info.firmware;
        disk.m_selfTestSupport = !nvme;
        disk.SetUserRange(nvme ? kNvmeRange : ThresholdRange{});
        m_serials.insert(info.serial);
        Log(LogWarning, "SMARTCTL: found %s serial [%s]", device.name.c_str(), info.serial.c_str());
    }

    const DiscoveryContext& m_context;
    const bool m_full;
    std::set<std::string> m_knownNames;
    std::set<std::string> m_serials; // as reported, untrimmed
    DiskList m_found;
};
} // namespace

bool ScanSmartctlDisks(const DiscoveryContext& context, DiskList& disks, bool full)
{
    const SmartctlScanResult scan = ExecuteScan();
    if (tq::ipc::IsIpcClosed())
    {
        return false; // the plug-in ends: nothing was seen, and nothing is worth a line
    }
    if (!scan.error.empty())
    {
        Log(LogWarning, "SMARTCTL: ExecuteScan error (%s)", scan.error.c_str());
        return false;
    }
    CDiscovery discovery(context, full);
    for (const SmartctlDevice& device : scan.devices)
    {
        if (tq::ipc::IsIpcClosed())
        {
            return false;
        }
        discovery.Add(device);
    }
    MergeDisks(discovery.Found(), disks);
    return true;
}
