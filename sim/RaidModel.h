// A RAID controller with its drives, groups and volumes, as it stands at a moment of simulated time. It is
// the same for both kinds of controllers: what they call things is their tools' business. Not locked: the
// appliance's mutex guards it.
#pragma once

#include "sim/RaidSpec.h"
#include "sim/SimTime.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim
{
enum class DriveState
{
    Free,
    Online,
    Rebuilding, // a member whose data is being restored
    Failed,
    DedicatedSpare,
    GlobalSpare,
    Foreign, // carries a configuration that this controller does not know
};

struct DriveErrors
{
    int media = 0;
    int other = 0;
    int predictive = 0;
};

// A bay and the drive in it.
struct RaidDrive
{
    RaidDriveSpec spec;
    CSimDisk disk;
    DriveState state = DriveState::Free;
    int spareGroup = -1; // that a dedicated spare serves
    DriveErrors errors{};
    bool wasMember = false; // of a group that went on without it: foreign when it is plugged in again
};

enum class VolumeState
{
    Optimal,
    PartlyDegraded, // members are missing, and one more may fail
    Degraded,       // the next failure loses the data
    Offline,
};

enum class VolumeTask
{
    None,
    Initialise,
    Check,
    Rebuild,
};

// A member's place in a group.
struct ArrayRow
{
    std::optional<std::size_t> drive; // index of the bay; nothing while the member is missing
    std::size_t home = 0;             // bay of its present or last member
};

struct RaidArray
{
    int group = 0;
    int volume = 0;
    int level = 1;
    std::string label{};
    std::vector<ArrayRow> rows{};
    std::int64_t bytes = 0; // of the volume
    int missing = 0;        // rows without a member, or with one that is rebuilding; kept by the model
    bool isLost = false;    // more members failed than the level can bear
    VolumeTask task = VolumeTask::None;
    SimTime taskStart{0};
    std::chrono::milliseconds taskLength{0};
    bool driveCacheOff = false;
    bool alwaysWriteBack = false;
    // What the operating system sees and has made of it.
    std::string osDevice{};
    bool isPartitioned = false;
    bool isFormatted = false;
    std::vector<std::string> mountPaths{};

    // How many members may be missing.
    [[nodiscard]] int Redundancy() const;
    [[nodiscard]] VolumeState State() const;
    // Of the task, 0 to 99.
    [[nodiscard]] int Percent(SimTime now) const;
};

class CRaidModel
{
public:
    explicit CRaidModel(RaidSpec spec);

    [[nodiscard]] const RaidSpec& Spec() const { return m_spec; }
    [[nodiscard]] bool IsFitted() const { return m_spec.kind != RaidKind::None; }
    [[nodiscard]] const std::vector<RaidDrive>& Drives() const { return m_drives; }
    [[nodiscard]] const std::vector<RaidArray>& Arrays() const { return m_arrays; } // by volume number

    // Whether it is plugged or not; null when there is no such bay.
    [[nodiscard]] const RaidDrive* FindDrive(std::string_view name) const;
    RaidDrive* FindDrive(std::string_view name);
    // The plugged drive of that device ID.
    [[nodiscard]] const RaidDrive* FindDeviceId(int deviceId) const;
    [[nodiscard]] const RaidArray* FindVolume(int volume) const;
    RaidArray* FindVolume(int volume);
    [[nodiscard]] const RaidArray* FindGroup(int group) const;
    [[nodiscard]] const RaidArray* FindOsDevice(std::string_view device) const;
    // The group the drive is a member of, the row in it, and the group that misses the failed drive.
    [[nodiscard]] const RaidArray* GroupOf(const RaidDrive& drive) const;
    [[nodiscard]] std::optional<int> RowOf(const RaidDrive& drive) const;
    [[nodiscard]] const RaidArray* GroupMissing(const RaidDrive& drive) const;
    // The volume that holds the recordings: the first of level 5 or 6.
    RaidArray* DataVolume();

    // Finishes the tasks due by `now`, each at its time.
    void Advance(SimTime now);

    // What happens to drives. Pre: there is a drive of that name.
    void Fail(std::string_view name, SimTime now);
    // A drive pulled out of a group comes back as a foreign one, any other as a free one.
    void SetPlugged(std::string_view name, bool isPlugged, SimTime now);
    // A new drive in that bay. It takes the place of the member that the bay has lost, as long as no spare
    // has.
    void Replace(std::string_view name, const std::string& serial, SimTime now);
    void MakeForeign(std::string_view name, SimTime now);
    // Forgets a foreign configuration, or that the drive has failed.
    void Clear(std::string_view name);

    // How long a rebuild or an initialisation takes from now on.
    void SetTaskLength(std::chrono::milliseconds length) { m_taskLength = length; }
    // Pre: there is such a volume. Nothing happens to one that is busy or offline.
    void StartCheck(int volume, SimTime now);

    // Commands of the tools. They give what speaks against it, "" when done.
    std::string Create(int level, const std::vector<std::string>& drives, SimTime now);
    std::string AddSpare(std::string_view name, std::optional<int> group, SimTime now);
    std::string RemoveSpare(std::string_view name);
    std::string SetCache(int volume, bool driveCacheOff, bool alwaysWriteBack);
    std::string Delete(int volume);

private:
    std::size_t IndexOf(std::string_view name) const; // size of the list when there is none
    void CountMissing(RaidArray& array) const;
    // The drive takes that state, and a group it is a member of goes on without it.
    void TakeOut(std::size_t index, DriveState state, SimTime now);
    void Lose(RaidArray& array);
    void StartRebuild(RaidArray& array, ArrayRow& row, std::size_t index, SimTime now);
    void UseSpares(SimTime now);
    [[nodiscard]] std::optional<std::size_t> SpareFor(const RaidArray& array) const;
    [[nodiscard]] bool CanHold(const RaidDrive& drive, const RaidArray& array) const;
    void FinishTask(RaidArray& array, SimTime now);

    RaidSpec m_spec;
    std::vector<RaidDrive> m_drives;
    std::vector<RaidArray> m_arrays;
    std::chrono::milliseconds m_taskLength{std::chrono::minutes{2}};
};

// What of a drive can be used for an array: the rest is kept back so that a spare of another make fits.
std::int64_t CoercedBytes(const RaidDrive& drive);
} // namespace sim
