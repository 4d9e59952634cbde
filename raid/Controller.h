// The appliance's RAID controller: identity, units, memory of errors, and the preparation of a data volume.
// What depends on the maker's tool is virtual; the two kinds are in LsiController.h and ArcController.h.
#pragma once

#include "frame/Clock.h"
#include "raid/RaidPrep.h"
#include "raid/RaidUnit.h"
#include "storage/Disk.h"
#include "storage/DiskController.h"
#include "storage/StorageElement.h"

#include <chrono>
#include <cstdint>
#include <map>
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

struct UnconfiguredDisk
{
    std::string name; // as the create command wants it
    std::int32_t sizeGB = 0;
};

struct CreateVolumeResult
{
    bool ok = false;
    std::string text; // the new volume's name, or the error
};

// 0 done, 1 could not add, 2 could not remove.
struct HotSpareResult
{
    std::int32_t code = 0;
    std::string text; // the unit served or "global"; the tool's error; empty when there is nothing to serve
};

// One volume of a tool's list.
struct RaidVolume
{
    std::string name;
    std::int32_t raidLevel = 0;
    std::int32_t sizeGB = 0;
    std::string state;
    std::optional<RaidTask> task;
};

// Keys of SetLastError. Those of a disk are its name and this ending.
inline constexpr const char* kRefreshControllerKey = "RefreshController";
inline constexpr const char* kRefreshVolumesKey = "RefreshVolumes";
inline constexpr const char* kRefreshDisksKey = "RefreshDisks";
inline constexpr const char* kRefreshSmartKey = "RefreshSmartAttributes";
inline constexpr const char* kSmartWarningsKeyEnding = "_smartwarnings";

// Always held by a shared_ptr. Main loop only, no lock; whatever runs a tool blocks until the tool has ended,
// except StartCreateVolume. No operation throws for what a tool prints: errors go to the log, once until they
// change, and into the states of the units.
class CController : public CStorageElement,
                    public CDiskController,
                    public std::enable_shared_from_this<CController>
{
public:
    // The state words become those of all controllers. `clock` outlives the controller.
    CController(std::string name, std::set<std::string> okUnitStates, std::set<std::string> okDiskStates,
                std::shared_ptr<const CClock> clock);
    ~CController() override;

    // "Controller" element of the configuration document.
    [[nodiscard]] std::unique_ptr<TiXmlElement> CreateXmlElement() const override;

    // Disks free for a new array, as of the last refresh.
    [[nodiscard]] virtual std::vector<UnconfiguredDisk> GetUnconfiguredDisks() const = 0;

    // Starts the tool that creates the data volume from m_prep and stores the client in m_prep.job, which may
    // be a failed one.
    virtual void StartCreateVolume() = 0;

    // Waits for m_prep.job, checks its answer and finds the new volume.
    virtual CreateVolumeResult FinishCreateVolume() = 0;

    // Sets the cache policy of the volume m_prep.name; the error, empty on success. Here: nothing to do.
    virtual std::string ConfigureCache();

    // Makes the disk a hot spare or releases it.
    virtual HotSpareResult ConfigureHotSpare(const std::string& diskName, bool enable) = 0;

    virtual ControllerRefresh RefreshController() = 0;
    virtual void RefreshVolumes() = 0;

    // The disks behind the controller, built afresh; empty when the tool failed.
    virtual DiskList RefreshDisks() = 0;

    // Here: unknown.
    [[nodiscard]] SmartctlTarget GetSmartctlDevice(const std::string& diskName) const override;
    [[nodiscard]] std::string GetDiskDid(const std::string& diskName) const override;

    // Some unit has level 1; some unit has level 5 or 6.
    [[nodiscard]] bool HasRaid1Unit() const override;
    [[nodiscard]] bool HasRaid56Unit() const override;
    [[nodiscard]] std::string GetUnitTaskText(const std::string& unitName) const override;

    // Null when there is no unit of that name.
    [[nodiscard]] std::shared_ptr<CRaidUnit> FindUnit(const std::string& unitName) const;

    // Remembers the operation's last error; true when it is a new one, which the caller then logs. An empty
    // error forgets it.
    bool SetLastError(const std::string& key, const std::string& error);

    // Logs an operation's new error as "Failed to refresh RAID `what` - ..."; not that of a query which the
    // plug-in's end has cut off.
    void TellRefreshError(const char* key, const char* what, const std::string& error);

    // The controller's status element; null when it was told before, unless `force`.
    std::unique_ptr<TiXmlElement> CreateAlarmElement(bool force);

    // Hot-spare request of the host for this disk; true when something was attempted.
    int SetDiskHotSpare(const std::shared_ptr<CDisk>& disk, bool enable) override;

    // The rest is what the manager asks for; virtual for the controller of its tests.

    // The controller's own status element and those of its units, in order; only what has changed unless
    // `force`.
    virtual std::vector<std::unique_ptr<TiXmlElement>> CreateAlarmElements(bool force);

    // Elements of the configuration document: controller, preparation candidate (when the array level is
    // known), units.
    virtual void AddRaidConfigElements(TiXmlElement& storage, bool levelKnown,
                                       const std::optional<ChassisLayout>& layout);

    // An array is being created, or a volume prepared.
    [[nodiscard]] virtual bool IsPrepBusy() const;

    // `level`: '5' or '6'. Decides whether a data volume can or must be prepared.
    virtual void SetSupportsPrep(char level, const std::set<std::string>& mountedUnits);
    virtual void SendPrepStatus();
    virtual void StartPrep(const std::string& volumeName);

    // True when a preparation has just been completed and mounts and hardware should be looked at again.
    virtual bool CheckRaidPrep(bool force);

    // "Volume" element of the preparation candidate; null when there is none.
    [[nodiscard]] std::unique_ptr<TiXmlElement> CreatePrepElement() const;

    // State words of healthy units and drives: one set for all controllers, written by constructors only.
    static std::set<std::string> s_okUnitStates;
    static std::set<std::string> s_okDiskStates;

    std::uint32_t m_numDrives = 0;
    std::uint32_t m_numPhys = 0;
    bool m_autoRebuild = false;
    std::uint32_t m_spinupStagger = 0; // seconds between spin-up groups, with m_hasSpinupPolicy
    bool m_hasSpinupPolicy = false;
    std::vector<std::shared_ptr<CRaidUnit>> m_units; // in the order the tool first reported them
    RaidPrepState m_prep;

protected:
    // Unit name of disks that carry a foreign configuration.
    const std::string m_foreignText = "Foreign";

    // Takes over the tool's volume list: known units are updated, new ones appended, missing ones removed.
    void MergeVolumes(const std::vector<RaidVolume>& volumes);

    // Every unit shows the error as its state and so raises an alarm.
    void FailUnits(const std::string& error);

    // A disk of this controller as the refresh begins to fill it.
    std::shared_ptr<CDisk> MakeDisk(const std::string& diskName, std::int32_t port);

    [[nodiscard]] std::chrono::steady_clock::time_point SteadyNow() const;

private:
    // RaidPrep.cpp
    void AdvancePrep(PrepEvent event);
    void OfferArray(char level, const std::vector<UnconfiguredDisk>& disks);
    void StartArray();
    void StartScript(const std::string& volumeName);
    void FinishArray();
    bool FinishScript();

    std::map<std::string, std::string> m_lastErrors;
    const std::shared_ptr<const CClock> m_clock;
};
