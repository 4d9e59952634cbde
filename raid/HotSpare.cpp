// The controller's answer to a hot-spare request of the host, independent of its kind.
#include "frame/Ipc.h"
#include "frame/Log.h"
#include "raid/Controller.h"

int CController::SetDiskHotSpare(const std::shared_ptr<CDisk>& disk, bool enable)
{
    if (disk == nullptr)
    {
        return 0;
    }
    const char* action = enable ? "enable" : "disable";
    const char* name = disk->m_name.c_str();
    if (!disk->m_canConfigureHotSpare)
    {
        Log(LogWarning, "HOTSPARE: %s %s ignored - disk may not be changed", action, name);
        return 0;
    }
    if (enable == (disk->m_hotSpare != HotSpareType::None))
    {
        Log(LogWarning, "HOTSPARE: %s %s ignored - already enabled or disabled", action, name);
        return 0;
    }
    const HotSpareResult result =
        tq::ipc::IsIpcClosed() ? HotSpareResult{} : ConfigureHotSpare(disk->m_name, enable);
    if (tq::ipc::IsIpcClosed())
    {
        return 0; // not begun, or cut off by the plug-in's end: the next start sees what the disk is
    }
    if (result.code != 0)
    {
        if (result.text.empty())
        {
            Log(LogInfo, "HOTSPARE: %s failed - %s invalid or no data volumes", action, name);
            return 0;
        }
        disk->m_hotSpareError = static_cast<std::uint32_t>(result.code);
        Log(LogWarning, "HOTSPARE: %s", result.text.c_str());
        return 1;
    }

    // Ahead of the next refresh, so that the next status document already shows it.
    disk->m_hotSpareError = 0;
    if (enable)
    {
        const bool global = result.text == "global";
        disk->m_hotSpare = global ? HotSpareType::Global : HotSpareType::Dedicated;
        disk->m_unitName = global ? "" : result.text;
        Log(LogWarning, "HOTSPARE: dedicated %s to %s", name, result.text.c_str());
    }
    else
    {
        disk->m_hotSpare = HotSpareType::None;
        Log(LogWarning, "HOTSPARE: disabled %s", name);
    }
    return 1;
}
