// An Adaptec controller, driven by arcconf.
#pragma once

#include "raid/Arcconf.h"
#include "raid/Controller.h"

// Its drives are named "channel:device", its units by the number of the logical drive.
class ArcController final : public CController
{
public:
    explicit ArcController(std::shared_ptr<const CClock> clock);

    [[nodiscard]] std::vector<UnconfiguredDisk> GetUnconfiguredDisks() const override;
    void StartCreateVolume() override;
    CreateVolumeResult FinishCreateVolume() override;

    // A spare is always dedicated: to the array of the first data volume.
    HotSpareResult ConfigureHotSpare(const std::string& diskName, bool enable) override;

    ControllerRefresh RefreshController() override;
    void RefreshVolumes() override;
    DiskList RefreshDisks() override;

    [[nodiscard]] std::optional<std::int32_t> GetDiskTemperature(const std::string& diskName) const override;
    [[nodiscard]] std::map<std::int32_t, SmartAttribute>
    GetDiskSmartAttributes(const std::string& diskName) const override;

private:
    void MergeUnits();
    std::shared_ptr<CDisk> BuildDisk(const ArcHardDrive& drive, std::int32_t numberOnSecondConnector);
    [[nodiscard]] const ArcArray* FindArray(std::int32_t arrayId) const;

    std::optional<ArcConfig> m_config;       // the last good answer
    std::optional<ArcSmartData> m_smartData; // likewise
};
