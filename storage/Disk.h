// A physical disk: identity, presence, SMART attributes, warnings, and its elements in the host's documents.
#pragma once

#include "storage/DiskController.h"
#include "storage/PrepStatus.h"
#include "storage/StorageElement.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tq::ipc
{
class client;
}
namespace tq::corvanepi
{
class SelfTestManager;
}

// Which path created the disk. A disk restored from the configuration is taken over by the first path that
// finds it.
enum class DiskSource : std::uint32_t
{
    Config = 0,
    Controller = 1,
    Smartctl = 2,
    Unset = 0xFFFFFFFF,
};

// 2 and 3 are both global: a spare whose kind the tool names, and one whose kind it does not.
enum class HotSpareType : std::uint32_t
{
    None = 0,
    Dedicated = 1,
    Global = 2,
    GlobalUnstated = 3,
};

// One SMART attribute. Values are the 32-bit words of the report; documents print them as signed decimals.
struct SmartAttribute
{
    std::uint32_t id = 0; // 0 never describes a real attribute
    std::uint32_t flag = 0;
    std::uint32_t currentValue = 0; // normalised; degrees Celsius for id 194
    std::uint32_t worstValue = 0;
    std::uint32_t thresholdValue = 0;
    std::uint32_t rawValue = 0;
    bool advisoryBit = false; // not pre-failure, and threshold above current value
    bool preFailBit = false;  // pre-failure, and threshold above current value
    bool offlineCollectionBit = false;
    bool performanceBit = false;
    bool errorRateBit = false;
    bool errorCountBit = false;
    bool selfPreserving = false;
    bool changed = false; // current or raw value changed since it was last reported
};

// SMART attribute number of the drive temperature.
inline constexpr std::int32_t kTemperatureAttribute = 194;

// Keys of DiskWarning beyond the attribute numbers 1 to 252.
inline constexpr std::int32_t kWarningHealth = 1000;
inline constexpr std::int32_t kWarningStatus = 1001;
inline constexpr std::int32_t kWarningHotSpare = 1002;

struct DiskWarning
{
    std::int32_t key = 0;
    std::string text;
    std::int64_t time = 0; // seconds since 1970 when it was raised
};

// Degrees Celsius, both ends allowed values.
struct ThresholdRange
{
    std::int32_t min = 5;
    std::int32_t max = 55;
    bool operator==(const ThresholdRange&) const = default;
};

inline constexpr std::uint32_t kUnknown32 = 0xFFFFFFFF;

// m_hotSpareError of a global hot spare on a controller that cannot use one.
inline constexpr std::uint32_t kHotSpareUnsupportedGlobal = 3;

// Consecutive merges without a match are counted up to this number.
inline constexpr std::int32_t kMissedScansMax = 2;

// What the evaluation of a disk needs besides the disk itself.
struct DiskContext
{
    const std::set<std::string>& okDiskStates; // the controllers' words for a healthy drive
    tq::corvanepi::SelfTestManager& selfTests;
    std::int64_t now; // seconds since 1970
};

// Always held by a shared_ptr. No lock: everything on the main loop.
class CDisk : public CStorageElement, public std::enable_shared_from_this<CDisk>
{
public:
    explicit CDisk(std::string name);

    // "Disk" element of the configuration document.
    [[nodiscard]] std::unique_ptr<TiXmlElement> CreateXmlElement() const override;

    // Behind a controller, in a RAID unit, or named by a controller.
    [[nodiscard]] bool IsControllerAttached() const;

    [[nodiscard]] bool IsPresent() const { return m_missedScans == 0; }

    // Whether `scanned` describes this disk. A match by name takes over the scanned status text.
    bool Matches(const CDisk& scanned);

    // Takes over what the scan found, unless another path than the disk's own created it.
    void UpdateFrom(const CDisk& scanned);

    // Reads the "Thresholds" of a "Disk" element; true when the range changed.
    bool ReadThresholds(const TiXmlElement& element);

    // With a range: stores it, true when it is another one. Without: stores the default range if there is
    // none yet.
    bool SetUserRange(const std::optional<ThresholdRange>& range);

    // "Attribute" element, null for id 0 and for the current values 254 and 255, which carry no reading.
    static std::unique_ptr<TiXmlElement> CreateAttributeElement(const SmartAttribute& attribute);

    // Sends the preparation state in a status document of its own.
    void SendPrepStatus() const;

    // Whether the disk's RAID unit is busy in the background.
    [[nodiscard]] bool IsRaidBgRunning() const;

    void UpdateHotSpareCapability();

    // 0 without a controller, else the controller's answer.
    int SetHotSpare(bool enable);

    // Reads the disk's SMART data anew and re-evaluates its warnings. Blocks while smartctl runs, up to ten
    // times.
    void RefreshSmart(const DiskContext& context);

    // Raises and clears the warnings; true when their number changed.
    bool EvaluateWarnings(const DiskContext& context);

    // The disk's entry of the status document; null when nothing changed since the last one. `force`: with
    // alarm state.
    std::unique_ptr<TiXmlElement> CreateStatusElement(bool force, const DiskContext& context);

    void UpdateAttribute(const SmartAttribute& attribute);

    DiskSource m_source = DiskSource::Unset;
    std::uint32_t m_capacity = kUnknown32; // in the controller tool's unit
    std::uint32_t m_speed = kUnknown32;
    double m_linkSpeed = -1.0;
    std::optional<ThresholdRange> m_userRange; // allowed temperature
    bool m_healthPassed = false;
    bool m_healthKnown = false; // m_healthPassed holds a verdict of smartctl
    std::map<std::int32_t, SmartAttribute> m_attributes;
    std::map<std::int32_t, DiskWarning> m_warnings;
    std::set<std::string> m_drives; // mount paths on this disk or on its RAID unit
    std::string m_status;           // "OK", the controller's state word, or "Offline"
    std::string m_lastMessage;      // "Message" last sent to the host
    bool m_pollError = false;       // the last smartctl scan failed and this disk came from it
    std::int32_t m_missedScans = 0; // 0 present, 1 or 2 merges without a match
    std::shared_ptr<CDiskController> m_controller;
    std::string m_controllerName;
    std::string m_unitName;
    std::string m_otherName; // the controller's own name for the drive
    std::int32_t m_port = -1;
    std::int32_t m_volumeIndex = -1;
    HotSpareType m_hotSpare = HotSpareType::None;
    std::uint32_t m_hotSpareError = 0;
    bool m_canConfigureHotSpare = false;
    std::shared_ptr<tq::ipc::client> m_prepJob; // the running preparation script
    PrepStatus m_prepStatus = PrepStatus::Ok;
    bool m_selfTestSupport = true;

private:
    bool RefreshFromSmartctl(const SmartctlTarget& target);
    void RefreshFromController();
    bool SetWarning(std::int32_t key, bool raise, const std::string& text, std::int64_t now);
    [[nodiscard]] std::string StatusMessage(const DiskContext& context) const;
    [[nodiscard]] std::string HotSpareWarning() const;
};

using DiskList = std::vector<std::shared_ptr<CDisk>>;
