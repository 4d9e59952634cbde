#include "storage/DrivePrep.h"

#include "frame/Ipc.h"
#include "frame/Log.h"
#include "frame/Text.h"

#include <array>

namespace
{
constexpr const char* kPrepScript = "scripts/driveprep.sh";

// Words of the script's output, in the order in which they count.
struct FailureWord
{
    const char* word;
    PrepStatus status;
};
constexpr auto kFailureWords = std::to_array<FailureWord>({
    {"mount", PrepStatus::ErrorMounting},
    {"format", PrepStatus::ErrorFormatting},
    {"partition", PrepStatus::ErrorPartitioning},
});

PrepStatus FailureOf(const std::string& output)
{
    for (const FailureWord& row : kFailureWords)
    {
        if (Contains(output, row.word))
        {
            return row.status;
        }
    }
    return PrepStatus::RaidPrepError;
}
} // namespace

void FindDrivesNeedingPrep(const DiskList& disks, const std::map<std::string, std::string>& reasons)
{
    for (const auto& disk : disks)
    {
        const char* serial = disk->m_serialNumber.c_str();
        const auto reason = reasons.find(disk->m_serialNumber);
        if (reason == reasons.end() || reason->second.empty())
        {
            Log(LogInfo, "DRIVEPREP: %s (device %s) DOES NOT need prep.", serial, disk->m_name.c_str());
            continue;
        }
        Log(LogWarning, "DRIVEPREP: %s (device %s) needs prep (%s).", serial, disk->m_name.c_str(),
            reason->second.c_str());
        disk->m_supportsPrep = true;
        disk->m_prepStatus = PrepStatus::NeedsPrep;
    }
}

void StartDrivePrep(CDisk& disk)
{
    if (disk.m_prepStatus == PrepStatus::Ok || disk.m_prepStatus == PrepStatus::PrepComplete)
    {
        return;
    }
    Log(LogInfo, "DRIVEPREP: starting on disk [%s] serial [%s]", disk.m_name.c_str(),
        disk.m_serialNumber.c_str());
    disk.m_prepStatus = PrepStatus::Prepping;
    disk.SendPrepStatus();
    disk.m_prepJob = tq::ipc::RunCommand(kPrepScript, {"prep", disk.m_serialNumber}, "start disk prep");
    if (disk.m_prepJob->HasFailed())
    {
        disk.m_prepJob.reset();
    }
}

bool CheckDrivePrep(CDisk& disk)
{
    // Cut off by the plug-in's end a script counts as ended well: the next start sees what became of the
    // disk.
    if (disk.m_prepJob == nullptr || disk.m_prepJob->State() != tq::ipc::ClientState::Exited ||
        tq::ipc::IsIpcClosed())
    {
        return false;
    }
    const std::int32_t code = tq::ipc::ExitCode(disk.m_prepJob->Status());
    if (code == 0)
    {
        Log(LogInfo, "DRIVEPREP: completed on disk [%s] serial [%s]", disk.m_name.c_str(),
            disk.m_serialNumber.c_str());
        disk.m_prepStatus = PrepStatus::PrepComplete;
    }
    else
    {
        Log(LogWarning, "DRIVEPREP: error %d on disk [%s] serial [%s]", code, disk.m_name.c_str(),
            disk.m_serialNumber.c_str());
        disk.m_prepStatus = FailureOf(disk.m_prepJob->StandardOutput());
    }
    disk.SendPrepStatus();
    disk.m_prepJob.reset();
    return code == 0;
}
