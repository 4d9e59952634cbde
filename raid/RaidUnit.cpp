#include "raid/RaidUnit.h"

#include "raid/Controller.h"

#include <tinyxml.h>

CRaidUnit::CRaidUnit(std::string name)
{
    m_name = std::move(name);
}

std::unique_ptr<TiXmlElement> CRaidUnit::CreateXmlElement() const
{
    auto element = std::make_unique<TiXmlElement>("Volume");
    element->SetAttribute("Name", m_name);
    element->SetAttribute("Type", "RAID" + std::to_string(m_raidLevel));
    element->SetAttribute("Size", static_cast<int>(m_sizeGB));
    element->SetAttribute("SupportsPrep", 0);
    return element;
}

std::string CRaidUnit::GetTaskText() const
{
    return m_task ? "busy (" + m_task->name + " " + std::to_string(m_task->percent) + "% complete)" : "";
}

bool CRaidUnit::GetStatusText(std::string& text) const
{
    text = m_task ? m_state + ", " + GetTaskText() : m_state;
    return !CController::s_okUnitStates.contains(m_state);
}

std::unique_ptr<TiXmlElement> CRaidUnit::CreateAlarmElement(bool force, std::int64_t now)
{
    std::string text;
    const bool alarmed = GetStatusText(text);
    if (!m_lastStatusText.empty() && m_lastStatusText == text)
    {
        return nullptr;
    }
    m_lastStatusText = text;
    auto element = std::make_unique<TiXmlElement>("Volume");
    element->SetAttribute("Name", m_name);
    if (force || alarmed != m_alarmReported)
    {
        element->SetAttribute("Time", static_cast<int>(now));
        element->SetAttribute("Alarm", alarmed ? 1 : 0);
    }
    element->SetAttribute("Message", text);
    m_alarmReported = alarmed;
    return element;
}
