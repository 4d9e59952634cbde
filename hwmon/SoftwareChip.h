// The software family: every sensor names its registers in the board file, and the plug-in compares the
// readings with the limits itself.
#pragma once

#include "hwmon/ChipTables.h"
#include "hwmon/SuperIo.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

// Steps in one logical device; without steps the chip is left alone.
struct DeviceSteps
{
    std::uint8_t device = 0;
    std::span<const Step> steps{};
    ChangeLog log = nullptr;
};

// Stored before the temperature sensor of that Id is read.
struct SourceRow
{
    int id;
    std::uint16_t reg;
    std::uint8_t source;
};

enum class SoftwareValue
{
    Scaled,            // raw times Conversion
    ScaledFansCounted, // the same; fans count ticks
    Raw,
};

struct SoftwareChipMap
{
    std::uint8_t hwMonitor; // logical device of the polls
    DeviceSteps start{};
    std::span<const SourceRow> sources{};
    SoftwareValue value;
    bool tellsUnconfigured; // a sensor without registers is removed with a log line
    bool honoursIgnore;     // on the first poll
    bool tracesNewRange;    // the line about a wider range says how it was read

    DeviceSteps enablePme;
    std::uint8_t rebootStatusDevice;
    RebootStatusRow rebootStatus;
    DeviceSteps configure{};
    DeviceSteps ping;
    DeviceSteps stop;
    std::optional<StopLoop> stopLoop{}; // in the device of `stop`
};

class CSoftwareChip : public CSuperIo
{
protected:
    // The map's rows outlive the chip.
    CSoftwareChip(const ChipContext& context, std::string description, const SoftwareChipMap& map);

    void DoInitHwMonitoring() override;
    void DoPollSensors() override;
    void DoPingWatchdog() override;
    void DoStopWatchdog() override;
    void EnablePME() override;
    bool GetLastRebootStatus() override;
    void ConfigureWatchdog(std::uint8_t timeoutSec) override;

    // Nothing: each operation opens the configuration scope it needs.
    void EnterPmeDevice() override {}
    void EnterWatchdogDevice() override {}
    void EnterHwMonitorDevice() override {}
    void LeavePmeDevice() override {}
    void LeaveWatchdogDevice() override {}
    void LeaveHwMonitorDevice() override {}

    enum class Verdict
    {
        Monitor, // the reading counts
        Skip,    // not this time
        Remove,  // the sensor leaves the list
    };

    // What is the chip's own in a poll: before its first access, and with each reading, which it may change.
    virtual void BeginPoll() {}
    virtual Verdict Examine(SensorDef& /*sensor*/, SensorReading& /*reading*/) { return Verdict::Monitor; }

    // Once a poll has gone through the whole list; never reset.
    [[nodiscard]] bool IsFirstPollDone() const { return m_firstPollDone; }

    static void LogAlarmState(const SensorDef& sensor, bool alarm);
    static void EndAlarm(SensorDef& sensor, const std::string& trace);

private:
    void Run(const DeviceSteps& steps);
    Verdict PollSensor(SensorDef& sensor);
    void RemoveSensors(const std::vector<const SensorDef*>& removed);
    bool IsIgnored(const SensorDef& sensor, std::uint32_t raw) const;
    [[nodiscard]] std::optional<int> Value(const SensorDef& sensor, std::uint32_t raw) const;
    void Monitor(SensorDef& sensor, int value, const std::string& trace) const;

    const SoftwareChipMap m_map;
    bool m_firstPollDone = false;
};
