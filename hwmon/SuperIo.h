// The motherboard's Super I/O chip: hardware monitor and watchdog. CSuperIo is what the manager works with;
// below it stand the families (DeviceChip.h, SoftwareChip.h) and one source for each chip.
#pragma once

#include "hwmon/ChipTables.h"
#include "hwmon/ConfigAccess.h"
#include "hwmon/FifoLock.h"
#include "hwmon/Sensor.h"

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

class CClock;
class CPortIo;
class CXmlDocument;
class TiXmlElement;

// What a chip is made from. Ports and clock are lent for the chip's life.
struct ChipContext
{
    SuperIoInfo info;
    CPortIo& ports;
    const CClock& clock;
};

// One chip. PingWatchdog comes from the heartbeat thread, everything else from the main loop.
//
// The index and data ports are state that all operations share, so each operation has the ports to itself
// from its first access to its last: the public operations take the lock, once, and the virtual ones run with
// it held. Sensors, board registers and the permission for the watchdog belong to the main loop and are read
// and written without it.
class CSuperIo
{
public:
    virtual ~CSuperIo();
    CSuperIo(const CSuperIo&) = delete;
    CSuperIo& operator=(const CSuperIo&) = delete;

    // Reported to the host as the watchdog's source.
    [[nodiscard]] const std::string& Description() const { return m_description; }

    // Identity of the board; the model is matched against the board file.
    void SetMotherboard(const std::string& vendor, const std::string& model);

    // Reads this board's sensors from the board file and starts monitoring them; false, with a log line, when
    // it has none.
    bool InitHwMonitoring(const CXmlDocument& boardFile);

    // Ends monitoring: the sensor list is emptied.
    void StopHwMonitoring();

    // Reads all sensors once.
    void PollSensors();

    // Appends the sensor elements, all of them (after a poll) when `full`, else the changed ones; true when
    // one carries an alarm state.
    bool AddSensorElements(TiXmlElement& parent, bool full);

    // Whether the board file allows the watchdog on this board.
    [[nodiscard]] bool IsWatchdogAllowed() const { return m_watchdogAllowed; }

    // True when the watchdog was armed. `timeoutSec`: 10 to 255.
    bool StartWatchdog(std::uint8_t timeoutSec, const CXmlDocument& boardFile);
    void PingWatchdog();
    void StopWatchdog(); // may take a second

protected:
    CSuperIo(const ChipContext& context, std::string description);

    // --- Operations of the chip, called with the lock held.

    // Programs the hardware monitor; the sensors are read already.
    virtual void DoInitHwMonitoring() = 0;
    virtual void DoPollSensors() = 0;
    virtual void DoPingWatchdog() = 0;
    virtual void DoStopWatchdog() = 0;

    // Configuration mode with that logical device selected, and out of it.
    virtual void EnterPmeDevice() = 0;
    virtual void EnterWatchdogDevice() = 0;
    virtual void EnterHwMonitorDevice() = 0;
    virtual void LeavePmeDevice() = 0;
    virtual void LeaveWatchdogDevice() = 0;
    virtual void LeaveHwMonitorDevice() = 0;

    // Prepares the power-management logic before arming.
    virtual void EnablePME() = 0;

    // True when the last reset was the watchdog's; clears the status.
    virtual bool GetLastRebootStatus() = 0;

    // Arms the watchdog.
    virtual void ConfigureWatchdog(std::uint8_t timeoutSec) = 0;

    // --- Register access.

    [[nodiscard]] const CConfigAccess& Config() const { return m_config; }
    [[nodiscard]] std::uint8_t ReadHwmRegister(std::uint16_t reg);
    void WriteHwmRegister(std::uint16_t reg, std::uint8_t value);

    struct SensorReading
    {
        std::uint32_t value = 0;
        std::string trace; // for log lines
    };

    // Reads `width` consecutive registers of one bank, the first one as the most significant byte.
    [[nodiscard]] SensorReading ReadSensorRegister(std::uint32_t firstRegister, std::uint32_t width);

    // The rows in order. `log`, when given, is called after each change.
    void RunSteps(std::span<const Step> steps, ChangeLog log = nullptr);
    void RunStopLoop(const StopLoop& loop);
    bool TakeRebootStatus(const RebootStatusRow& row);

    [[nodiscard]] const CClock& Clock() const { return m_clock; }

    // A named register value of the board file, 0 when it has none.
    [[nodiscard]] std::int32_t BoardRegister(const std::string& name) const;

    // --- State of the chip.

    std::uint8_t m_bankSelectRegister = 0;   // selects the bank of monitor registers; 0: no banks
    std::uint8_t m_watchdogTimeoutSec = 255; // as last armed, 0 once stopped; with the lock held
    bool m_zeroSuppression = true;           // a sensor at 0 stays out of documents
    std::vector<SensorDef> m_sensors;

private:
    void SelectBank(std::uint32_t reg);
    void RunStep(const Step& step, ChangeLog log);

    CFifoLock m_operationLock;
    CPortIo& m_ports;
    const CClock& m_clock;
    const CConfigAccess m_config;
    const std::uint16_t m_monitorIndexPort;
    const std::uint16_t m_monitorDataPort;
    bool m_watchdogAllowed = true;
    const std::string m_description;
    std::string m_motherboardVendor;
    std::string m_motherboardModel;
    BoardRegisterMap m_boardRegisters;
};
