#include "storage/SelfTest.h"

#include "frame/Log.h"

namespace tq::corvanepi
{
SelfTestManager::~SelfTestManager() = default;

std::string SelfTestManager::GetToolVersion()
{
    m_toolAvailable = false;
    return {};
}

void SelfTestManager::SetTimeout(std::int32_t seconds)
{
    if (seconds > kDefaultSelfTestTimeoutSec)
    {
        m_timeoutSec = seconds;
    }
    Log(LogWarning, "SELFTEST: set timeout to %d", m_timeoutSec);
}

void SelfTestManager::ExecuteCommand(std::int32_t /*command*/, const DiskList& /*disks*/,
                                     std::int64_t /*nowSec*/, const SmartConfig& /*config*/)
{
}

bool SelfTestManager::HasFailed(const std::string& /*diskName*/) const
{
    return false;
}

bool SelfTestManager::HasChanged(const std::string& /*diskName*/) const
{
    return false;
}

void SelfTestManager::AddStatusAttributes(const std::string& /*diskName*/, TiXmlElement& /*element*/) {}
} // namespace tq::corvanepi
