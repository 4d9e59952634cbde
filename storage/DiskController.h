// What a disk needs of the RAID controller it hangs on. All questions are asked with the disk's name; main
// loop only.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

class CDisk;
struct SmartAttribute;

// How smartctl reaches a drive; both empty when it cannot.
struct SmartctlTarget
{
    std::string device;
    std::string deviceType;
};

class CDiskController
{
public:
    virtual ~CDiskController();

    [[nodiscard]] virtual SmartctlTarget GetSmartctlDevice(const std::string& diskName) const = 0;

    // The controller's device ID of the drive as text.
    [[nodiscard]] virtual std::string GetDiskDid(const std::string& diskName) const = 0;

    // Degrees Celsius.
    [[nodiscard]] virtual std::optional<std::int32_t>
    GetDiskTemperature(const std::string& diskName) const = 0;

    [[nodiscard]] virtual std::map<std::int32_t, SmartAttribute>
    GetDiskSmartAttributes(const std::string& diskName) const = 0;

    [[nodiscard]] virtual bool HasRaid1Unit() const = 0;
    [[nodiscard]] virtual bool HasRaid56Unit() const = 0;

    // The background activity of one RAID unit, empty when it is idle or unknown.
    [[nodiscard]] virtual std::string GetUnitTaskText(const std::string& unitName) const = 0;

    // Makes the disk a hot spare or releases it; records its result code in the disk. 1 when the tool was
    // asked, whatever it said; 0 when there was nothing to ask.
    virtual int SetDiskHotSpare(const std::shared_ptr<CDisk>& disk, bool enable) = 0;
};
