// What the disk tests share: smartctl's command lines and reports, and a controller that answers from fields.
#pragma once

#include "storage/Disk.h"
#include "tests/support/HostTexts.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

inline CFakeHost::Arguments ScanCommand()
{
    return {"./smartctl", "-j", "--scan"};
}

inline CFakeHost::Arguments ReportCommand(const std::string& device)
{
    return {"./smartctl", "-j", "-T", "permissive", "-a", device};
}

inline const std::string kSpinUpRow =
    R"({"id": 3, "name": "Spin_Up_Time", "value": 90, "worst": 80, "thresh": 21, "flags": {"value": 39}, "raw": {"value": 7000}})";

inline const std::string kTemperatureRow =
    R"({"id": 194, "name": "Temperature_Celsius", "value": 117, "worst": 100, "thresh": 0, "flags": {"value": 34}, "raw": {"value": 33}})";

// An ATA report; `more` are further members, each beginning with a comma.
inline std::string AtaReport(const std::string& serial, const std::string& rows, const std::string& more = {},
                             int status = 0)
{
    return R"({"smartctl": {"exit_status": )" + std::to_string(status) +
           R"(}, "device": {"type": "sat"}, "model_name": "TEST HDD", "firmware_version": "F1", "serial_number": ")" +
           serial + R"(", "ata_smart_attributes": {"table": [)" + rows + "]}" + more + "}";
}

// An element without any bit; `more` are further attributes, each beginning with a blank.
inline std::string AttributeXml(const std::string& numbers, const std::string& more = {})
{
    return "<Attribute " + numbers +
           R"( AdvisoryBit="0" PreFailBit="0" OfflineCollectionBit="0" PerformanceBit="0" ErrorRateBit="0")"
           R"( ErrorCountBit="0" SelfPreserving="0")" +
           more + " />";
}

// Knows one drive, by the disk's name, and one unit.
class CFakeDiskController final : public CDiskController
{
public:
    explicit CFakeDiskController(std::string name) : diskName(std::move(name)) {}

    [[nodiscard]] SmartctlTarget GetSmartctlDevice(const std::string& name) const override
    {
        return name == diskName ? target : SmartctlTarget{};
    }
    [[nodiscard]] std::string GetDiskDid(const std::string& name) const override
    {
        return name == diskName ? did : "wrong disk";
    }
    [[nodiscard]] std::optional<std::int32_t> GetDiskTemperature(const std::string& name) const override
    {
        return name == diskName ? temperature : std::nullopt;
    }
    [[nodiscard]] std::map<std::int32_t, SmartAttribute>
    GetDiskSmartAttributes(const std::string& name) const override
    {
        return name == diskName ? attributes : std::map<std::int32_t, SmartAttribute>{};
    }
    [[nodiscard]] bool HasRaid1Unit() const override { return hasRaid1; }
    [[nodiscard]] bool HasRaid56Unit() const override { return hasRaid56; }
    [[nodiscard]] std::string GetUnitTaskText(const std::string& unit) const override
    {
        return unit == unitName ? taskText : "wrong unit";
    }
    int SetDiskHotSpare(const std::shared_ptr<CDisk>& /*disk*/, bool /*enable*/) override { return 0; }

    std::string diskName;
    SmartctlTarget target;
    std::string did;
    std::optional<std::int32_t> temperature;
    std::map<std::int32_t, SmartAttribute> attributes;
    bool hasRaid1 = false;
    bool hasRaid56 = false;
    std::string unitName;
    std::string taskText;
};
