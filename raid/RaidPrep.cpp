// CController: preparing the data volume. Which status follows which stands in RaidPrepState.cpp; here is
// what is done on the way.
#include "frame/HostMessage.h"
#include "frame/Ipc.h"
#include "frame/Log.h"
#include "frame/Text.h"
#include "frame/Xml.h"
#include "raid/Controller.h"

#include <tinyxml.h>

#include <algorithm>
#include <limits>

namespace
{
using std::chrono::milliseconds;
using tq::ipc::ClientState;

constexpr const char* kNewArrayName = "New Data Array";
constexpr const char* kPrepScript = "scripts/raidprep.sh";

// A job is not looked at before: a new array takes its time to show itself.
constexpr milliseconds kSettleTime{30'000};

// What is there already. At most one of the two is set.
struct DataVolumes
{
    const CRaidUnit* unmounted = nullptr; // the only one
    const char* settled = nullptr;        // why there is nothing to do
};

DataVolumes FindDataVolumes(const std::vector<std::shared_ptr<CRaidUnit>>& units,
                            const std::set<std::string>& mountedUnits)
{
    DataVolumes found;
    for (const auto& unit : units)
    {
        if (!IsDataLevel(unit->m_raidLevel))
        {
            continue;
        }
        if (found.unmounted != nullptr)
        {
            return {.settled = "multiple"};
        }
        if (mountedUnits.contains(unit->m_name))
        {
            return {.settled = "mounted"};
        }
        found.unmounted = unit.get();
    }
    return found;
}

int AsInt(milliseconds elapsed)
{
    return static_cast<int>(std::min<std::int64_t>(elapsed.count(), std::numeric_limits<int>::max()));
}
} // namespace

bool CController::IsPrepBusy() const
{
    return m_prep.status == PrepStatus::CreatingArray || m_prep.status == PrepStatus::Prepping;
}

void CController::AdvancePrep(PrepEvent event)
{
    m_prep.status = NextPrepStatus(m_prep.status, event).value_or(m_prep.status);
}

void CController::SetSupportsPrep(char level, const std::set<std::string>& mountedUnits)
{
    if (IsPrepBusy())
    {
        Log(LogInfo, "RAIDPREP: SetSupportsPrep - already busy so no change yet");
        return;
    }
    const DataVolumes volumes = FindDataVolumes(m_units, mountedUnits);
    if (volumes.settled != nullptr)
    {
        m_supportsPrep = false;
        AdvancePrep(PrepEvent::NothingToDo);
        Log(LogInfo, "RAIDPREP: SetSupportsPrep - saw %s data volume(s) so nothing to do", volumes.settled);
        return;
    }
    if (level != '5' && level != '6')
    {
        Log(LogInfo, "RAIDPREP: SetSupportsPrep - invalid raid type '%c'", level);
        return;
    }
    if (volumes.unmounted != nullptr)
    {
        m_prep.name = m_prep.oldName = volumes.unmounted->m_name;
        m_prep.raidLevel = level - '0';
        AdvancePrep(PrepEvent::UnmountedVolume);
        Log(LogInfo, "RAIDPREP: SetSupportsPrep - status %s, need to resume prep on %s",
            PrepStatusText(m_prep.status), m_prep.name.c_str());
        return;
    }
    const std::vector<UnconfiguredDisk> disks = GetUnconfiguredDisks();
    if (disks.empty())
    {
        m_supportsPrep = false;
        AdvancePrep(PrepEvent::NothingToDo);
        Log(LogInfo,
            "RAIDPREP: SetSupportsPrep - no unassigned disks or unmounted data volume so nothing to do");
        return;
    }
    OfferArray(level, disks);
}

// All free drives, or none: the tools use of each as much as the smallest has.
void CController::OfferArray(char level, const std::vector<UnconfiguredDisk>& disks)
{
    const std::size_t required = level == '5' ? 3 : 4;
    m_supportsPrep = disks.size() >= required;
    RaidPrepState fresh;
    fresh.raidLevel = level - '0';
    fresh.status = m_prep.status;
    fresh.job = m_prep.job;
    m_prep = std::move(fresh);
    AdvancePrep(m_supportsPrep ? PrepEvent::EnoughDisks : PrepEvent::TooFewDisks);
    if (m_supportsPrep)
    {
        std::int32_t smallest = disks.front().sizeGB;
        for (const UnconfiguredDisk& disk : disks)
        {
            m_prep.disks.push_back(disk.name);
            smallest = std::min(smallest, disk.sizeGB);
        }
        m_prep.sizeGB = static_cast<std::uint32_t>(smallest);
        m_prep.name = kNewArrayName;
    }
    Log(LogInfo,
        "RAIDPREP: SetSupportsPrep - status %s, %d unconfigured disks [estimate %d GB RAID%c], %d required, %s prep",
        PrepStatusText(m_prep.status), static_cast<int>(disks.size()), static_cast<int>(m_prep.sizeGB), level,
        static_cast<int>(required), m_supportsPrep ? "can" : "CANNOT");
}

void CController::StartPrep(const std::string& volumeName)
{
    const bool isName = volumeName == m_prep.name;
    if (isName && NextPrepStatus(m_prep.status, PrepEvent::ArrayStarted))
    {
        StartArray();
    }
    else if ((isName || volumeName == m_prep.oldName) &&
             NextPrepStatus(m_prep.status, PrepEvent::ScriptStarted))
    {
        StartScript(volumeName);
    }
    else
    {
        Log(LogInfo, "RAIDPREP: StartPrep status %s volname [%s] id [%s] oldname [%s] - nothing to do.",
            PrepStatusText(m_prep.status), volumeName.c_str(), m_prep.name.c_str(), m_prep.oldName.c_str());
    }
}

void CController::StartArray()
{
    StartCreateVolume();
    m_prep.startTime = SteadyNow();
    if (m_prep.job->HasFailed())
    {
        Log(LogWarning, "RAIDPREP: StartPrep failed to start creating volume with [%s].",
            m_prep.name.c_str());
        AdvancePrep(PrepEvent::ArrayNotStarted);
        m_prep.job.reset();
    }
    else
    {
        AdvancePrep(PrepEvent::ArrayStarted);
        Log(LogInfo, "RAIDPREP: StartPrep creating data volume with [%s] (step 1 of 2).",
            m_prep.name.c_str());
    }
    SendPrepStatus();
}

// Blocks until the script has ended.
void CController::StartScript(const std::string& volumeName)
{
    m_prep.job = tq::ipc::RunCommand(kPrepScript, {}, "start raid prep");
    m_prep.startTime = SteadyNow();
    if (!m_prep.job->HasFailed())
    {
        AdvancePrep(PrepEvent::ScriptStarted);
        Log(LogInfo, "RAIDPREP: StartPrep prepping data volume with [%s] (step 2 of 2).", volumeName.c_str());
    }
    else
    {
        Log(LogWarning, "RAIDPREP: StartPrep failed to start prepping volume with [%s].", volumeName.c_str());
        AdvancePrep(PrepEvent::ScriptNotStarted);
        m_prep.job.reset();
    }
    SendPrepStatus();
}

bool CController::CheckRaidPrep(bool force)
{
    if (m_prep.job == nullptr)
    {
        return false;
    }
    const auto elapsed = std::chrono::duration_cast<milliseconds>(SteadyNow() - m_prep.startTime);
    // Failed: the host lost the process after it had started. It will never be seen to exit.
    const ClientState state = m_prep.job->State();
    const bool ended = state == ClientState::Exited || state == ClientState::Failed;
    if (!ended || (elapsed < kSettleTime && !force))
    {
        Log(LogInfo, "RAIDPREP: CheckRaidPrep busy %s for %d ms", PrepStatusText(m_prep.status),
            AsInt(elapsed));
        return false;
    }
    if (m_prep.status == PrepStatus::CreatingArray)
    {
        FinishArray();
        return false;
    }
    return m_prep.status == PrepStatus::Prepping && FinishScript();
}

void CController::FinishArray()
{
    const CreateVolumeResult created = m_prep.job->HasFailed()
                                           ? CreateVolumeResult{.text = "vol create error - IPC failed"}
                                           : FinishCreateVolume();
    if (tq::ipc::IsIpcClosed())
    {
        return; // cut off by the plug-in's end: the next start finds out what became of the array
    }
    if (created.ok)
    {
        m_prep.oldName = m_prep.name;
        m_prep.name = created.text;
        AdvancePrep(PrepEvent::ArrayCreated);
        if (const std::string error = ConfigureCache(); !error.empty())
        {
            Log(LogWarning, "RAIDPREP: %s set cache policy error - %s (non fatal)", m_prep.name.c_str(),
                error.c_str());
        }
    }
    else
    {
        Log(LogWarning, "RAIDPREP: %s", created.text.c_str());
        AdvancePrep(PrepEvent::ArrayFailed);
    }
    m_prep.job.reset();
    SendPrepStatus();
    if (created.ok && !tq::ipc::IsIpcClosed())
    {
        Log(LogInfo, "RAIDPREP: CheckRaidPrep calling StartPrep on id [%s] oldname [%s]", m_prep.name.c_str(),
            m_prep.oldName.c_str());
        StartPrep(m_prep.name);
    }
}

// True when everything is done.
bool CController::FinishScript()
{
    const std::shared_ptr<tq::ipc::client> job = m_prep.job;
    const std::int32_t code = tq::ipc::ExitCode(job->WaitForExit());
    const std::string& output = job->StandardOutput();
    if (code == 0 && !job->HasFailed())
    {
        AdvancePrep(PrepEvent::ScriptDone);
    }
    else
    {
        AdvancePrep(ScriptFailure(output));
        Log(LogWarning, "RAIDPREP: raidprep script error %d - %s", code, PrepStatusText(m_prep.status));
    }
    for (const std::string& line : SplitLines(output))
    {
        Log(LogInfo, "RAIDPREP: %s", line.c_str());
    }
    m_prep.job.reset();
    SendPrepStatus();
    if (m_prep.status != PrepStatus::PrepComplete)
    {
        return false;
    }
    Log(LogInfo, "RAIDPREP: raidprep completed.");
    m_prep.name.clear();
    AdvancePrep(PrepEvent::CompletionReported);
    return true;
}

void CController::SendPrepStatus()
{
    Log(LogInfo, "RAIDPREP: SendPrepStatus %s name [%s] oldname [%s]", PrepStatusText(m_prep.status),
        m_prep.name.c_str(), m_prep.oldName.c_str());
    if (m_prep.name.empty())
    {
        return;
    }
    CXmlDocument document;
    TiXmlElement& storage = AddChild(StartDocument(document), "Storage");
    storage.SetAttribute("ID", kPluginElementId);
    TiXmlElement& volume = AddChild(storage, "Volume");
    volume.SetAttribute("Name", m_prep.name);
    if (!m_prep.oldName.empty())
    {
        volume.SetAttribute("OldName", m_prep.oldName);
    }
    volume.SetAttribute("PrepStatus", static_cast<int>(m_prep.status));
    SendDocument(document, MessageCategory::StatusDocument);
}
