// A RAID volume, as the controller's tool reports it.
#pragma once

#include "storage/StorageElement.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

// A background operation: rebuild, initialisation, consistency check.
struct RaidTask
{
    std::string name;
    std::int32_t percent = 0;
    bool operator==(const RaidTask&) const = default;
};

// The level of a data volume; a mirror holds the system.
constexpr bool IsDataLevel(std::int32_t raidLevel)
{
    return raidLevel == 5 || raidLevel == 6;
}

// Main loop only.
class CRaidUnit : public CStorageElement
{
public:
    // The tool's name of the volume.
    explicit CRaidUnit(std::string name);

    // "Volume" element of the configuration document.
    [[nodiscard]] std::unique_ptr<TiXmlElement> CreateXmlElement() const override;

    // The background operation in words, empty when there is none.
    [[nodiscard]] std::string GetTaskText() const;

    // Sets `text` to state and background operation; true when the state is an alarm.
    bool GetStatusText(std::string& text) const;

    // "Volume" element of the status document; null when the status is the one last reported, also with
    // `force`. `now`: seconds since 1970.
    std::unique_ptr<TiXmlElement> CreateAlarmElement(bool force, std::int64_t now);

    std::int32_t m_raidLevel = -1;
    std::uint32_t m_sizeGB = 0;
    std::string m_state; // the tool's word, or the text of a failed refresh
    std::string m_lastStatusText;
    std::optional<RaidTask> m_task;
};
