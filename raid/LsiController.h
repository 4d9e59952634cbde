// A MegaRAID controller, driven by storcli: always controller 0, "/c0".
#pragma once

#include "raid/Controller.h"
#include "raid/Storcli.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

class CLsiController final : public CController
{
public:
    // `smartThroughSmartctl`: storcli is not asked for SMART data, the drives are read with smartctl through
    // the controller's bus device.
    CLsiController(bool smartThroughSmartctl, std::shared_ptr<const CClock> clock);

    [[nodiscard]] std::vector<UnconfiguredDisk> GetUnconfiguredDisks() const override;
    void StartCreateVolume() override;
    CreateVolumeResult FinishCreateVolume() override;
    std::string ConfigureCache() override;
    HotSpareResult ConfigureHotSpare(const std::string& diskName, bool enable) override;

    // Three runs of the tool: controller, enclosures, volumes. `changed`: the list of volumes is another one.
    ControllerRefresh RefreshController() override;
    void RefreshVolumes() override;

    // Needs one good answer about the controller and about the volumes.
    DiskList RefreshDisks() override;

    [[nodiscard]] SmartctlTarget GetSmartctlDevice(const std::string& diskName) const override;
    [[nodiscard]] std::string GetDiskDid(const std::string& diskName) const override;
    [[nodiscard]] std::optional<std::int32_t> GetDiskTemperature(const std::string& diskName) const override;

    // Without threshold and raw value, which the table does not hold.
    [[nodiscard]] std::map<std::int32_t, SmartAttribute>
    GetDiskSmartAttributes(const std::string& diskName) const override;

private:
    [[nodiscard]] const StorcliDisk* FindDisk(const std::string& diskName) const;
    [[nodiscard]] std::string UnitOf(const StorcliDisk& disk) const;
    [[nodiscard]] std::map<std::int32_t, std::int32_t> MirrorRows() const;
    std::shared_ptr<CDisk> BuildDisk(const StorcliDisk& disk, std::int32_t volumeIndex);
    void ReportErrorFlags(const StorcliDisk& disk);

    // The last good answers, empty until the first.
    std::optional<StorcliControllerInfo> m_ctlrInfo;
    std::optional<std::vector<StorcliVolume>> m_volumes;
    std::optional<std::vector<StorcliDisk>> m_disks;
    std::optional<std::map<std::string, StorcliSmartData>> m_smartData; // by the disk's name

    const bool m_smartThroughSmartctl;
    std::string m_smartctlDevice = "/dev/bus/0"; // where smartctl finds the controller
};
