#include "hwmon/SuperIo.h"

#include "frame/Clock.h"
#include "frame/Log.h"
#include "frame/Xml.h"
#include "hwmon/BoardFile.h"
#include "hwmon/Conversions.h"
#include "hwmon/PortIo.h"

#include <tinyxml.h>

#include <cstdio>
#include <mutex>
#include <utility>

namespace
{
constexpr int kStopPasses = 10;
constexpr std::chrono::milliseconds kStopPause{100};

// Lower case, at least `digits` of them, with the prefix.
std::string Hex(std::uint32_t value, int digits)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%0*x", digits, value);
    return text;
}

void LogDetected(const SensorDef& sensor)
{
    std::string access;
    if (sensor.firstRegister)
    {
        access += " reg " + Hex(*sensor.firstRegister, 2);
    }
    if (sensor.width)
    {
        access += " width " + std::to_string(*sensor.width);
    }
    if (sensor.ignore)
    {
        access += " ignore " + Hex(*sensor.ignore, 2);
    }
    Log(LogInfo, "SENSORS: Detected %s '%s' min %d max %d%s", SensorTypeName(sensor.type),
        sensor.label.c_str(), sensor.min, sensor.max, access.c_str());
}

std::uint8_t Changed(const Step& step, std::uint8_t before, std::uint8_t timeoutSec)
{
    switch (step.kind)
    {
    case StepKind::Write:
        return step.value;
    case StepKind::WriteTimeout:
        return timeoutSec;
    case StepKind::SetBits:
        return before | step.value;
    case StepKind::KeepBits:
        return before & step.value;
    case StepKind::ClearAndSetBits:
        return static_cast<std::uint8_t>((before & ~step.cleared) | step.value);
    case StepKind::Read:
        break;
    }
    return before;
}
} // namespace

CSuperIo::CSuperIo(const ChipContext& context, std::string description)
    : m_ports(context.ports),
      m_clock(context.clock),
      m_config(context.ports, context.info),
      m_monitorIndexPort(context.info.monitorIndexPort),
      m_monitorDataPort(static_cast<std::uint16_t>(context.info.monitorIndexPort + 1)),
      m_description(std::move(description))
{
}

CSuperIo::~CSuperIo() = default;

void CSuperIo::SetMotherboard(const std::string& vendor, const std::string& model)
{
    m_motherboardVendor = vendor;
    m_motherboardModel = model;
}

bool CSuperIo::InitHwMonitoring(const CXmlDocument& boardFile)
{
    if (const TiXmlElement* board = FindBoardElement(boardFile, m_config.Info().chipId, m_motherboardModel))
    {
        for (SensorDef& sensor : ReadSensorDefinitions(*board))
        {
            LogDetected(sensor);
            m_sensors.push_back(std::move(sensor));
        }
        ReadBoardRegisters(*board, m_boardRegisters);
    }
    if (m_sensors.empty())
    {
        Log(LogWarning, "SENSORS: Disabled because '%s' & '%s' not found in hwmconfig.xml",
            m_motherboardVendor.c_str(), m_motherboardModel.c_str());
        return false;
    }
    const std::lock_guard lock(m_operationLock);
    DoInitHwMonitoring();
    return true;
}

void CSuperIo::StopHwMonitoring()
{
    m_sensors.clear();
}

void CSuperIo::PollSensors()
{
    const std::lock_guard lock(m_operationLock);
    DoPollSensors();
}

bool CSuperIo::AddSensorElements(TiXmlElement& parent, bool full)
{
    if (full)
    {
        PollSensors();
    }
    bool alarmed = false;
    for (SensorDef& sensor : m_sensors)
    {
        auto element = CreateSensorElement(sensor, full, m_zeroSuppression, m_clock.UtcSeconds());
        alarmed |= element != nullptr && element->Attribute("Alarm") != nullptr;
        AdoptChild(parent, std::move(element));
    }
    return alarmed;
}

bool CSuperIo::StartWatchdog(std::uint8_t timeoutSec, const CXmlDocument& boardFile)
{
    const TiXmlElement* board = FindBoardElement(boardFile, m_config.Info().chipId, m_motherboardModel);
    if (board == nullptr)
    {
        m_watchdogAllowed = false;
        Log(LogError, "SENSORS: %s disabled watchdog for unknown '%s' '%s'", kBoardFileName,
            m_motherboardVendor.c_str(), m_motherboardModel.c_str());
        return false;
    }
    if (const auto permission = IntAttribute(*board, "Watchdog"))
    {
        m_watchdogAllowed = *permission != 0;
    }
    if (!m_watchdogAllowed)
    {
        Log(LogInfo, "SENSORS: %s disabled watchdog for '%s' '%s'", kBoardFileName,
            m_motherboardVendor.c_str(), m_motherboardModel.c_str());
        return false;
    }
    const std::lock_guard lock(m_operationLock);
    EnablePME();
    if (GetLastRebootStatus())
    {
        Log(LogWarning, "SENSORS: Unexpected errors caused the system to reboot");
    }
    ConfigureWatchdog(timeoutSec);
    Log(LogInfo, "SENSORS: Watchdog timer started successfully");
    return true;
}

void CSuperIo::PingWatchdog()
{
    const std::lock_guard lock(m_operationLock);
    DoPingWatchdog();
}

void CSuperIo::StopWatchdog()
{
    const std::lock_guard lock(m_operationLock);
    DoStopWatchdog();
}

// The bank is written again on every access: nobody else uses these ports, but a reset of the chip's monitor
// part would go unnoticed.
void CSuperIo::SelectBank(std::uint32_t reg)
{
    if (m_bankSelectRegister != 0)
    {
        WritePort(m_ports, m_monitorIndexPort, m_bankSelectRegister);
        WritePort(m_ports, m_monitorDataPort, HighByte(reg));
    }
}

std::uint8_t CSuperIo::ReadHwmRegister(std::uint16_t reg)
{
    SelectBank(reg);
    WritePort(m_ports, m_monitorIndexPort, LowByte(reg));
    return ReadPort(m_ports, m_monitorDataPort);
}

void CSuperIo::WriteHwmRegister(std::uint16_t reg, std::uint8_t value)
{
    SelectBank(reg);
    WritePort(m_ports, m_monitorIndexPort, LowByte(reg));
    WritePort(m_ports, m_monitorDataPort, value);
}

CSuperIo::SensorReading CSuperIo::ReadSensorRegister(std::uint32_t firstRegister, std::uint32_t width)
{
    SensorReading reading;
    reading.trace = "reg [" + Hex(firstRegister, 2) + "] read [";
    SelectBank(firstRegister);
    for (std::uint32_t at = 0; at < width; ++at)
    {
        WritePort(m_ports, m_monitorIndexPort, LowByte(firstRegister + at));
        const std::uint8_t byte = ReadPort(m_ports, m_monitorDataPort);
        reading.value = (reading.value << 8) | byte;
        reading.trace += (at == 0 ? "" : " ") + Hex(byte, 2);
    }
    reading.trace += "] => [" + Hex(reading.value, 1) + "]";
    return reading;
}

void CSuperIo::RunSteps(std::span<const Step> steps, ChangeLog log)
{
    for (const Step& step : steps)
    {
        RunStep(step, log);
    }
}

void CSuperIo::RunStep(const Step& step, ChangeLog log)
{
    const auto configRegister = static_cast<std::uint8_t>(step.reg);
    std::optional<std::uint8_t> before;
    if (step.kind != StepKind::Write && step.kind != StepKind::WriteTimeout)
    {
        before = step.bank == Bank::Config ? m_config.ReadConfigRegister(configRegister)
                                           : ReadHwmRegister(step.reg);
    }
    if (step.kind == StepKind::Read)
    {
        return;
    }
    const std::uint8_t after = Changed(step, before.value_or(0), m_watchdogTimeoutSec);
    if (step.bank == Bank::Config)
    {
        m_config.WriteConfigRegister(configRegister, after);
    }
    else
    {
        WriteHwmRegister(step.reg, after);
    }
    if (log != nullptr)
    {
        log(step.reg, before, after);
    }
}

void CSuperIo::RunStopLoop(const StopLoop& loop)
{
    bool running = true;
    for (int pass = 0; running && pass < kStopPasses; ++pass)
    {
        if (loop.write)
        {
            m_config.WriteConfigRegister(loop.reg, *loop.write);
        }
        running = (m_config.ReadConfigRegister(loop.reg) & 0x01) != 0;
        m_clock.Sleep(kStopPause);
    }
}

bool CSuperIo::TakeRebootStatus(const RebootStatusRow& row)
{
    const std::uint8_t status = m_config.ReadConfigRegister(row.reg);
    const auto cleared = static_cast<std::uint8_t>((status & ~row.cleared) | row.set);
    m_config.WriteConfigRegister(row.reg, cleared);
    if (row.log != nullptr)
    {
        row.log(row.reg, status, cleared);
    }
    return (status & row.bit) != 0;
}

std::int32_t CSuperIo::BoardRegister(const std::string& name) const
{
    const auto found = m_boardRegisters.find(name);
    return found != m_boardRegisters.end() ? found->second : 0;
}
