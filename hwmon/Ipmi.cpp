#include "hwmon/Ipmi.h"

#include "frame/Clock.h"
#include "frame/HostMessage.h"
#include "frame/Ipc.h"
#include "frame/Log.h"
#include "frame/Xml.h"
#include "frame/XmlFile.h"

#include <tinyxml.h>

#include <cstring>
#include <utility>

namespace
{
// The setting in the file; absent when the file or the setting cannot be read.
std::optional<bool> ReadEnabled(const std::string& file)
{
    CXmlDocument document;
    if (file.empty() || !LoadXmlFile(document, file))
    {
        return std::nullopt;
    }
    const TiXmlElement* root = document.Root("zDVR");
    const TiXmlElement* sensors = root != nullptr ? root->FirstChildElement("Sensors") : nullptr;
    const auto enabled = sensors != nullptr ? IntAttribute(*sensors, "Enabled") : std::nullopt;
    return enabled ? std::optional(*enabled != 0) : std::nullopt;
}
} // namespace

IpmiMonitor::IpmiMonitor(std::string file) : m_file(std::move(file))
{
    m_enabled = ReadEnabled(m_file).value_or(true);
    Log(LogWarning, "IPMI: monitoring %s", m_enabled ? "enabled" : "disabled");
}

void IpmiMonitor::Poll(const CClock& clock)
{
    if (!m_available || !m_enabled || tq::ipc::IsIpcClosed())
    {
        return;
    }
    const auto tool = tq::ipc::RunCommand("ipmitool", {"-c", "sdr"}, nullptr);
    if (tool->HasFailed())
    {
        m_available = false;
        Log(LogWarning, "IPMI: ipmitool unavailable (%s)", std::strerror(tool->Status()));
        return;
    }
    const int exitCode = tq::ipc::ExitCode(tool->WaitForExit());
    if (tq::ipc::IsIpcClosed())
    {
        return; // cut off by the plug-in's end: sensors that half a list leaves out are not missing
    }
    LogExitCode(exitCode);

    const std::size_t known = CountSensors(m_sensors);
    ApplyReport(m_sensors, ParseIpmiReport(exitCode, tool->StandardOutput()));
    if (CountSensors(m_sensors) != known)
    {
        SendFullDocument();
    }
    SendChanges(clock);
}

// The tool runs every five seconds: only the first run of a kind is worth a line.
void IpmiMonitor::LogExitCode(int exitCode)
{
    if (m_lastExitCode == 0 && exitCode != 0)
    {
        Log(LogWarning, "IPMI: ipmitool error %d", exitCode);
    }
    else if (m_lastExitCode != 0 && exitCode == 0)
    {
        Log(LogWarning, "IPMI: ipmitool success");
    }
    m_lastExitCode = exitCode;
}

void IpmiMonitor::SendFullDocument()
{
    CXmlDocument document = BuildFullDocument(m_sensors, m_enabled);
    SendDocument(document, MessageCategory::ConfigDocument);
    if (!m_file.empty())
    {
        // A failed save is not reported: the host has the document, and without the file monitoring is on.
        static_cast<void>(SaveXmlFile(document, m_file));
    }
}

void IpmiMonitor::SendChanges(const CClock& clock)
{
    if (const auto document = BuildChangeDocument(m_sensors, clock.UtcSeconds()))
    {
        SendDocument(*document, MessageCategory::StatusDocument);
        ClearChanges(m_sensors);
    }
}
