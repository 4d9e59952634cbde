// CCorvane: the status document, complete once and then only what has changed.
#include "frame/Xml.h"
#include "manager/Corvane.h"
#include "raid/Controller.h"

#include <tinyxml.h>

void CCorvane::SendStatusUpdate()
{
    if (m_stopped)
    {
        return; // a tool may have been cut off on the way here, and half an answer must not become an alarm
    }
    CXmlDocument document;
    TiXmlElement& root = StartDocument(document);
    TiXmlElement& storage = AddChild(root, "Storage");
    storage.SetAttribute("ID", kPluginElementId);

    const bool force = !m_fullStatusSent;
    const DiskContext context = MakeDiskContext();
    for (const auto& disk : m_disks)
    {
        AdoptChild(storage, disk->CreateStatusElement(force, context));
    }
    if (m_controller != nullptr)
    {
        for (auto& element : m_controller->CreateAlarmElements(force))
        {
            AdoptChild(storage, std::move(element));
        }
    }
    const bool sensors = AttachSensors(root);
    if (!storage.NoChildren() || sensors)
    {
        m_fullStatusSent = true;
        SendDocument(document, MessageCategory::StatusDocument);
    }
}

// A pending refresh request is answered by the first document that has sensor elements to carry.
bool CCorvane::AttachSensors(TiXmlElement& root)
{
    if (m_superIo == nullptr || !m_sensorsActive)
    {
        return false;
    }
    auto sensors = std::make_unique<TiXmlElement>("Sensors");
    sensors->SetAttribute("ID", kPluginElementId);
    const bool alarmed = m_superIo->AddSensorElements(*sensors, false);
    if (sensors->NoChildren() || !(alarmed || m_sensorsRefreshRequested))
    {
        return false;
    }
    m_sensorsRefreshRequested = false;
    AdoptChild(root, std::move(sensors));
    return true;
}
