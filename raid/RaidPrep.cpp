// The controller's operations on its preparation record. Nothing is prepared yet: no candidate, no job.
#include "frame/Xml.h"
#include "raid/Controller.h"

#include <tinyxml.h>

bool CController::IsPrepBusy() const
{
    return m_prep.status == PrepStatus::CreatingArray || m_prep.status == PrepStatus::Prepping;
}

void CController::SetSupportsPrep(char /*level*/, const std::set<std::string>& /*mountedUnits*/) {}

void CController::SendRaidPrepStatus() {}

void CController::StartPrep(const std::string& /*volumeName*/) {}

bool CController::CheckRaidPrep(bool /*force*/)
{
    return false;
}

std::unique_ptr<TiXmlElement> CController::CreatePrepElement() const
{
    return nullptr;
}

void CController::AddRaidConfigElements(TiXmlElement& storage, bool /*levelKnown*/,
                                        const std::optional<ChassisLayout>& /*layout*/)
{
    AdoptChild(storage, CreateXmlElement());
    for (const auto& unit : m_units)
    {
        AdoptChild(storage, unit->CreateXmlElement());
    }
}
