#include "sim/RaidPrepScript.h"

#include "sim/Machine.h"

#include <optional>

namespace sim
{
namespace
{
constexpr std::chrono::milliseconds kLookDuration{400};
constexpr std::chrono::milliseconds kPartitionDuration{3'000};
constexpr std::chrono::milliseconds kFormatDuration{9'000};
constexpr std::chrono::milliseconds kMountDuration{600};

std::optional<PrepFault> TakeFault(Machine& machine)
{
    if (machine.prepFaults.empty())
    {
        return std::nullopt;
    }
    const PrepFault fault = machine.prepFaults.front();
    machine.prepFaults.pop_front();
    return fault;
}

// One stage of the script.
class CStages
{
public:
    CStages(Machine& machine, std::optional<PrepFault> fault, SimTime start, ToolAnswer& answer)
        : m_machine(machine),
          m_fault(fault),
          m_start(start),
          m_answer(answer)
    {
    }

    // False when the stage fails: the script then ends with `word` as its last line.
    bool Run(const std::string& line, std::chrono::milliseconds length, PrepFault fault, const char* word)
    {
        Tell(line);
        m_answer.standardOutput += line + "\n";
        m_answer.duration += length;
        if (m_fault != fault)
        {
            return true;
        }
        Tell(word);
        m_answer.standardOutput += std::string(word) + "\n";
        m_answer.standardError = "scripts/raidprep.sh: the command failed\n";
        m_answer.exitCode = 1;
        return false;
    }

    // A line for the screen at the moment the script has come to.
    void Tell(const std::string& line)
    {
        m_machine.notes.emplace(m_start + m_answer.duration, "raidprep.sh: " + line);
    }

private:
    Machine& m_machine;
    const std::optional<PrepFault> m_fault;
    const SimTime m_start;
    ToolAnswer& m_answer;
};

bool Prepare(RaidArray& volume, const std::string& mountPath, CStages& stages)
{
    const std::string partition = volume.osDevice + "1";
    if (!volume.isPartitioned && !stages.Run("partitioning " + volume.osDevice, kPartitionDuration,
                                             PrepFault::Partitioning, "partitioning_error"))
    {
        return false;
    }
    volume.isPartitioned = true;
    if (!volume.isFormatted && !stages.Run("formatting " + partition + " as xfs", kFormatDuration,
                                           PrepFault::Formatting, "format_error"))
    {
        return false;
    }
    volume.isFormatted = true;
    if (!stages.Run("mounting " + partition + " at " + mountPath, kMountDuration, PrepFault::Mounting,
                    "mount_part_error"))
    {
        return false;
    }
    volume.mountPaths = {mountPath};
    return true;
}
} // namespace

ToolAnswer AnswerRaidPrepScript(Machine& machine, const std::vector<std::string>&, SimTime now)
{
    ToolAnswer answer{.standardOutput = {}, .duration = kLookDuration};
    const auto fault = TakeFault(machine);
    RaidArray* const volume = machine.raid.DataVolume();
    if (fault == PrepFault::Other || volume == nullptr || !volume->mountPaths.empty())
    {
        answer.standardOutput = "no data volume that could be prepared\n";
        answer.exitCode = 1;
        return answer;
    }
    CStages stages(machine, fault, now, answer);
    if (Prepare(*volume, machine.raid.Spec().dataMountPath, stages))
    {
        stages.Tell("done");
        answer.standardOutput += "done\n";
    }
    return answer;
}

bool HasRaidPrepScript(const Machine& machine)
{
    return machine.raid.IsFitted();
}
} // namespace sim
