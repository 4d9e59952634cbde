// What disks, controllers and RAID volumes have in common.
#pragma once

#include <memory>
#include <string>

class TiXmlElement;

// The fields are read and written by the discovery paths, the merge and the documents; all on the main loop.
class CStorageElement
{
public:
    virtual ~CStorageElement();

    // The element's full description for the configuration document; null when there is none.
    [[nodiscard]] virtual std::unique_ptr<TiXmlElement> CreateXmlElement() const;

    std::string m_name; // device path, or the controller's name
    std::string m_driverVersion;
    std::string m_firmwareVersion;
    std::string m_serialNumber;
    std::string m_model;
    bool m_alarmReported = false; // alarm state last reported to the host
    bool m_supportsPrep = false;  // can be partitioned, formatted and mounted by the plug-in

protected:
    CStorageElement() = default;
    CStorageElement(const CStorageElement&) = default;
    CStorageElement& operator=(const CStorageElement&) = default;
};
