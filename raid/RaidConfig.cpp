// CController: its part of the configuration document, with the places of the volumes in the chassis.
#include "frame/Log.h"
#include "frame/Xml.h"
#include "raid/Controller.h"

#include <tinyxml.h>

namespace
{
// The mirror of the system sits in two bays of its own, one above the other.
constexpr int kSystemRows = 2;
constexpr int kSystemCols = 1;

void AddLayoutAttributes(TiXmlElement& volume, const char* group, const ChassisLayout& layout)
{
    volume.SetAttribute("GroupName", group);
    volume.SetAttribute("Rows", static_cast<int>(layout.rows));
    volume.SetAttribute("Cols", static_cast<int>(layout.cols));
    volume.SetAttribute("VerticalOrder", layout.verticalOrder ? 1 : 0);
    volume.SetAttribute("VerticalSlots", layout.verticalSlots ? 1 : 0);
    volume.SetAttribute("HorizontalFlip", layout.horizontalFlip ? 1 : 0);
}

void AddDataLayout(TiXmlElement& volume, const std::optional<ChassisLayout>& layout)
{
    if (layout)
    {
        AddLayoutAttributes(volume, "Data", *layout);
    }
}

// The chassis layout counts for the direction only; an unknown one is 0.
void AddSystemLayout(TiXmlElement& volume, const std::optional<ChassisLayout>& layout)
{
    ChassisLayout system = layout.value_or(ChassisLayout{});
    system.rows = kSystemRows;
    system.cols = kSystemCols;
    system.horizontalFlip = false;
    AddLayoutAttributes(volume, "OS", system);
}
} // namespace

std::unique_ptr<TiXmlElement> CController::CreatePrepElement() const
{
    if (m_prep.status == PrepStatus::Ok || m_prep.status == PrepStatus::Invalid || m_prep.name.empty())
    {
        return nullptr;
    }
    auto element = std::make_unique<TiXmlElement>("Volume");
    element->SetAttribute("Name", m_prep.name);
    element->SetAttribute("Type", "RAID" + std::to_string(m_prep.raidLevel));
    element->SetAttribute("Size", static_cast<int>(m_prep.sizeGB));
    element->SetAttribute("SupportsPrep", static_cast<int>(m_prep.status));
    return element;
}

void CController::AddRaidConfigElements(TiXmlElement& storage, bool levelKnown,
                                        const std::optional<ChassisLayout>& layout)
{
    AdoptChild(storage, CreateXmlElement());

    // Beside a mirror the layout stands at each volume, otherwise at the storage as a whole.
    const bool atVolumes = HasRaid1Unit();
    TiXmlElement* candidate = nullptr; // owned by `storage`
    if (auto element = levelKnown ? CreatePrepElement() : nullptr)
    {
        if (atVolumes)
        {
            AddDataLayout(*element, layout);
        }
        candidate = element.get();
        AdoptChild(storage, std::move(element));
        Log(LogDebug, "cfg XML: set RaidToPrep name to %s", m_prep.name.c_str());
    }
    for (const auto& unit : m_units)
    {
        const int sizeGB = static_cast<int>(unit->m_sizeGB);
        if (candidate != nullptr && unit->m_name == m_prep.name)
        {
            // The volume being prepared stands there once, with the size that it really has.
            Log(LogDebug, "cfg XML: adjust %s raidprep size to %d", unit->m_name.c_str(), sizeGB);
            candidate->SetAttribute("Size", sizeGB);
            continue;
        }
        std::unique_ptr<TiXmlElement> element = unit->CreateXmlElement();
        Log(LogDebug, "cfg XML: generate for unit %s", unit->m_name.c_str());
        if (unit->m_raidLevel == 1)
        {
            AddSystemLayout(*element, layout);
        }
        else if (atVolumes)
        {
            AddDataLayout(*element, layout);
        }
        AdoptChild(storage, std::move(element));
    }
}
