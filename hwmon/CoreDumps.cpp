#include "hwmon/CoreDumps.h"

#include "frame/Ipc.h"
#include "frame/Log.h"

#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>

namespace
{
constexpr const char* kMarkerFile = "enabledumps";
constexpr const char* kScript = "scripts/config_core_pattern.sh";
constexpr std::uint32_t kExecFlags = 0x0A;
} // namespace

void CCoreDumpSwitch::UpdateCoreDumps()
{
    if (m_failed)
    {
        return;
    }
    const bool wanted = access(kMarkerFile, F_OK) == 0;
    if (wanted == m_enabled)
    {
        return;
    }
    if (!Switch(wanted))
    {
        m_failed = true;
        return;
    }
    m_enabled = wanted;
    Log(LogWarning, "COREDUMPS: %s core dumps.", m_enabled ? "enabled" : "disabled");
}

bool CCoreDumpSwitch::Switch(bool enable)
{
    const char* action = enable ? "enable" : "disable";
    const auto script = tq::ipc::StartProcessWithFlags({kScript, action}, kExecFlags, {}, {});
    const int code = script->HasFailed() ? 0 : tq::ipc::ExitCode(script->WaitForExit());
    if (tq::ipc::IsIpcClosed())
    {
        return false; // cut off by the plug-in's end: nobody knows what the script has done
    }
    if (script->HasFailed())
    {
        Log(LogWarning, "COREDUMPS: failed to config core dumps (failure %d).", script->Status());
        return false;
    }
    if (code != 0)
    {
        Log(LogWarning, "COREDUMPS: failed to config core dumps (error %d).", code);
        return false;
    }
    rlimit limit{};
    if (getrlimit(RLIMIT_CORE, &limit) != 0)
    {
        Log(LogWarning, "COREDUMPS: failed to %s core dumps (get error %d).", action, errno);
        return false;
    }
    if (limit.rlim_max != RLIM_INFINITY)
    {
        Log(LogWarning, "COREDUMPS: can't configure core dumps because hard limit not unlimited.");
        return false;
    }
    limit.rlim_cur = enable ? RLIM_INFINITY : 0;
    if (setrlimit(RLIMIT_CORE, &limit) != 0)
    {
        Log(LogWarning, "COREDUMPS: failed to %s core dumps (set error %d).", action, errno);
        return false;
    }
    return true;
}
