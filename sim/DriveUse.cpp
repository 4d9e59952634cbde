#include "sim/DriveUse.h"

#include <array>
#include <utility>

namespace sim
{
namespace
{
struct StageRow
{
    PrepStage stage;
    std::chrono::seconds length;
};
constexpr auto kStages = std::to_array<StageRow>({
    {PrepStage::Partition, std::chrono::seconds{3}},
    {PrepStage::Format, std::chrono::seconds{9}},
    {PrepStage::Mount, std::chrono::seconds{1}},
});

// What the drive is after a step. A partition that could not be formatted is taken away again; a drive that
// could not be mounted still needs that.
DriveUse After(const PrepStep& step, DriveUse use, const std::string& mountPath)
{
    switch (step.stage)
    {
    case PrepStage::Partition:
        use.partitions = step.fails ? 0 : 1;
        break;
    case PrepStage::Format:
        use.partitions = step.fails ? 0 : 1;
        use.fileSystem = step.fails ? "" : "xfs";
        break;
    case PrepStage::Mount:
        use.mountPath = step.fails ? "" : mountPath;
        use.needsPrep = step.fails;
        break;
    }
    return use;
}
} // namespace

DriveUse CDriveUse::At(SimTime now) const
{
    DriveUse use = m_use;
    for (const PrepStep& step : m_steps)
    {
        if (step.end <= now)
        {
            use = After(step, std::move(use), m_mountPath);
        }
    }
    return use;
}

std::vector<PrepStep> CDriveUse::Prepare(const std::string& mountPath, SimTime now)
{
    m_use = At(now);
    m_steps.clear();
    m_mountPath = mountPath;
    const bool isFormatted = !m_use.fileSystem.empty();
    SimTime time = now;
    for (const StageRow& row : kStages)
    {
        if (isFormatted && row.stage != PrepStage::Mount)
        {
            continue;
        }
        const bool fails = m_fails == row.stage;
        m_steps.push_back({.stage = row.stage, .start = time, .end = time + row.length, .fails = fails});
        time += row.length;
        if (fails)
        {
            break;
        }
    }
    m_fails.reset();
    return m_steps;
}
} // namespace sim
