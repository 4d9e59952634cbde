// What is on a drive (partitions, file system, mount) and how preparing it for recording changes that.
#pragma once

#include "sim/SimTime.h"

#include <optional>
#include <string>
#include <vector>

namespace sim
{
// As the system information script sees it.
struct DriveUse
{
    int partitions = 0;
    std::string mountPath{}; // "" when not mounted
    std::string fileSystem{};
    bool needsPrep = false;
};

// In the order in which they are done.
enum class PrepStage
{
    Partition,
    Format,
    Mount,
};

struct PrepStep
{
    PrepStage stage = PrepStage::Partition;
    SimTime start{0};
    SimTime end{0};
    bool fails = false; // then it is the last step
};

// Not locked: the appliance's mutex guards it. Times never go back from call to call.
class CDriveUse
{
public:
    explicit CDriveUse(DriveUse use) : m_use(std::move(use)) {}

    // At the end of the steps done by `now`.
    [[nodiscard]] DriveUse At(SimTime now) const;

    // The next preparation fails at this stage.
    void FailNext(PrepStage stage) { m_fails = stage; }

    // Pre: the drive is not mounted. Gives the steps that follow from now; a drive with a file system that
    // only the mount is missing to is not formatted again.
    std::vector<PrepStep> Prepare(const std::string& mountPath, SimTime now);

private:
    DriveUse m_use; // before the steps
    std::vector<PrepStep> m_steps;
    std::string m_mountPath;
    std::optional<PrepStage> m_fails;
};
} // namespace sim
