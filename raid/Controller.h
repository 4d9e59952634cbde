// The appliance's RAID controller, as the manager drives it. Main loop only.
#pragma once

#include "storage/Disk.h"
#include "storage/DiskController.h"
#include "storage/StorageElement.h"

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

class TiXmlElement;

// Chassis layout for the elements of RAID units.
struct ChassisLayout
{
    std::uint32_t rows = 0;
    std::uint32_t cols = 0;
    bool verticalOrder = false;
    bool verticalSlots = false;
    bool horizontalFlip = false;
};

struct ControllerRefresh
{
    bool changed = false; // the configuration differs from the last successful refresh
    bool ok = false;      // the tool answered: the controller is present
};

// Abstract here: the two concrete controllers come with their tool clients. Always held by a shared_ptr.
class CController : public CStorageElement, public CDiskController
{
public:
    ~CController() override;

    // State words of a healthy drive behind this controller.
    [[nodiscard]] virtual const std::set<std::string>& OkDiskStates() const = 0;

    virtual ControllerRefresh RefreshController() = 0;
    virtual void RefreshVolumes() = 0;

    // The disks behind the controller, built afresh.
    virtual DiskList RefreshDisks() = 0;

    // The controller's own status element and those of its units, in order; only what has changed unless
    // `force`.
    virtual std::vector<std::unique_ptr<TiXmlElement>> CreateAlarmElements(bool force) = 0;

    // Elements of the configuration document: controller, preparation candidate (when the array level is
    // known), units.
    virtual void AddRaidConfigElements(TiXmlElement& storage, bool levelKnown,
                                       const std::optional<ChassisLayout>& layout) = 0;

    // An array is being created, or a volume prepared.
    [[nodiscard]] virtual bool IsPrepBusy() const = 0;

    // `level`: '5' or '6'. Decides whether a data volume can or must be prepared.
    virtual void SetSupportsPrep(char level, const std::set<std::string>& mountedUnits) = 0;
    virtual void SendRaidPrepStatus() = 0;
    virtual void StartPrep(const std::string& volumeName) = 0;

    // True when a preparation has just been completed and mounts and hardware should be looked at again.
    virtual bool CheckRaidPrep(bool force) = 0;
};
