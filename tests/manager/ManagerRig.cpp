#include "tests/manager/ManagerRig.h"

#include "frame/Ipc.h"
#include "frame/Xml.h"
#include "host/SimTime.h"
#include "hwmon/PortIo.h"
#include "tests/support/KernelWait.h"

#include <tinyxml.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>

namespace
{
// A chip whose registers nobody looks at: the fake touches no port.
class CNoPorts final : public CPortIo
{
public:
    std::uint8_t In(std::uint16_t /*port*/) override { return 0xFF; }
    void Out(std::uint16_t /*port*/, std::uint8_t /*value*/) override {}
    int SetPermission(std::uint16_t /*first*/, int /*count*/, bool /*on*/) override { return 0; }
};

CNoPorts noPorts;
const CSystemClock kChipClock;

// Its one sensor, of the rig's board file, shows 5 while it has news and nothing otherwise.
class CFakeChip final : public CSuperIo
{
public:
    CFakeChip(std::shared_ptr<ChipScript> script, const SuperIoInfo& info, const std::string& vendor)
        : CSuperIo({.info = info, .ports = noPorts, .clock = kChipClock}, "Chip of " + vendor),
          m_script(std::move(script))
    {
    }
    ~CFakeChip() override { m_script->calls.Add("destroyed"); }

private:
    void DoInitHwMonitoring() override { m_script->calls.Add("init"); }

    void DoPollSensors() override
    {
        ++m_script->polls;
        for (SensorDef& sensor : m_sensors)
        {
            sensor.current = m_script->hasNews ? 5 : 0;
            sensor.changed = m_script->hasNews;
            sensor.event = m_script->hasAlarm;
        }
    }

    void ConfigureWatchdog(std::uint8_t timeoutSec) override
    {
        m_script->calls.Add("arm " + std::to_string(timeoutSec));
    }
    void DoPingWatchdog() override { m_script->calls.Add("ping"); }
    void DoStopWatchdog() override { m_script->calls.Add("disarm"); }
    void EnablePME() override {}
    bool GetLastRebootStatus() override { return false; }
    void EnterPmeDevice() override {}
    void EnterWatchdogDevice() override {}
    void EnterHwMonitorDevice() override {}
    void LeavePmeDevice() override {}
    void LeaveWatchdogDevice() override {}
    void LeaveHwMonitorDevice() override {}

    const std::shared_ptr<ChipScript> m_script;
};

class CFakeController final : public CController
{
public:
    explicit CFakeController(std::shared_ptr<CControllerScript> script)
        : CController("/c0", {"Optl"}, {"Onln"}, std::make_shared<CSystemClock>()),
          m_script(std::move(script))
    {
    }

    [[nodiscard]] std::vector<UnconfiguredDisk> GetUnconfiguredDisks() const override { return {}; }
    void StartCreateVolume() override {}
    CreateVolumeResult FinishCreateVolume() override { return {}; }
    HotSpareResult ConfigureHotSpare(const std::string& /*diskName*/, bool /*enable*/) override { return {}; }
    [[nodiscard]] std::string GetDiskDid(const std::string& /*diskName*/) const override { return "7"; }
    [[nodiscard]] std::optional<std::int32_t>
    GetDiskTemperature(const std::string& /*diskName*/) const override
    {
        return std::nullopt;
    }
    [[nodiscard]] std::map<std::int32_t, SmartAttribute>
    GetDiskSmartAttributes(const std::string& /*diskName*/) const override
    {
        return {};
    }
    [[nodiscard]] bool HasRaid1Unit() const override { return m_script->Get().raid1; }
    [[nodiscard]] bool HasRaid56Unit() const override { return true; }
    [[nodiscard]] std::string GetUnitTaskText(const std::string& /*unitName*/) const override { return {}; }

    int SetDiskHotSpare(const std::shared_ptr<CDisk>& disk, bool enable) override
    {
        m_script->calls.Add("hot spare " + disk->m_name + (enable ? " on" : " off"));
        return m_script->Get().hotSpareResult;
    }

    ControllerRefresh RefreshController() override
    {
        m_script->calls.Add("controller");
        const ControllerState state = m_script->Get();
        return {.changed = state.changed, .ok = state.present};
    }

    void RefreshVolumes() override { m_script->calls.Add("volumes"); }

    DiskList RefreshDisks() override
    {
        m_script->calls.Add("disks");
        const ControllerState state = m_script->Get();
        if (!state.disksAnswer)
        {
            return {};
        }
        auto disk = std::make_shared<CDisk>("/c0/e1/s4");
        disk->m_source = DiskSource::Controller;
        disk->m_controller = shared_from_this();
        disk->m_controllerName = "/c0";
        disk->m_unitName = state.unit;
        disk->m_serialNumber = "RS1";
        disk->m_status = "Onln";
        disk->m_port = 4;
        return {disk};
    }

    std::vector<std::unique_ptr<TiXmlElement>> CreateAlarmElements(bool force) override
    {
        std::vector<std::unique_ptr<TiXmlElement>> elements;
        if (force)
        {
            elements.push_back(std::make_unique<TiXmlElement>("Controller"));
            elements.push_back(std::make_unique<TiXmlElement>("Volume"));
        }
        return elements;
    }

    void AddRaidConfigElements(TiXmlElement& storage, bool levelKnown,
                               const std::optional<ChassisLayout>& layout) override
    {
        AddChild(storage, "Controller")
            .SetAttribute("Told", std::string(levelKnown ? "level" : "") + (layout ? " layout" : ""));
    }

    [[nodiscard]] bool IsPrepBusy() const override { return m_script->Get().busy; }

    void SetSupportsPrep(char level, const std::set<std::string>& mountedUnits) override
    {
        std::string call = std::string("supports ") + level;
        for (const std::string& unit : mountedUnits)
        {
            call += " " + unit;
        }
        m_script->calls.Add(call);
    }

    void SendPrepStatus() override { m_script->calls.Add("prep status"); }
    void StartPrep(const std::string& volumeName) override { m_script->calls.Add("start " + volumeName); }

    bool CheckRaidPrep(bool force) override
    {
        bool done = false;
        m_script->Change(
            [&done](ControllerState& state)
            {
                done = state.prepDone;
                state.prepDone = false;
            });
        return done && !force;
    }

private:
    const std::shared_ptr<CControllerScript> m_script;
};
} // namespace

int CCallRecord::Count(const std::string& call) const
{
    const std::lock_guard lock(m_mutex);
    return static_cast<int>(std::count(m_calls.begin(), m_calls.end(), call));
}

ManagerRig::ManagerRig()
{
    setenv("TZ", "UTC", 1);
    tzset();
    host::simtime::UseManual(std::chrono::seconds(kStartUtc));
    const auto missing = [] { return ToolVersion{.error = "not there"}; };
    m_environment = {.paths = {.systemDescription = m_dir.File("delmo/tqsysteminfo.xml"),
                               .systemDescriptionFallback = m_dir.File("tqsysteminfo.xml"),
                               .configuration = m_dir.File(kConfigurationFile),
                               .boardFile = m_dir.File("hwmconfig.xml"),
                               .ipmiFile = m_dir.File("corvanepi-ipmi.xml"),
                               .bySlot = m_dir.File("by-slot") + "/"},
                     .clock = std::make_shared<CSystemClock>(),
                     .detectSuperIo =
                         [this]
                     {
                         SuperIoInfo info;
                         info.chipId = m_hasChip ? 0xA020 : kNoChipId;
                         return info;
                     },
                     .createSuperIo = [this](const std::string& vendor,
                                             const SuperIoInfo& info) -> std::unique_ptr<CSuperIo>
                     { return m_hasChip ? std::make_unique<CFakeChip>(m_chip, info, vendor) : nullptr; },
                     .lsi = {.version = missing, .create = {}},
                     .adaptec = {.version = missing, .create = {}}};
    m_host.SetProgramHook(
        [this](const CFakeHost::Arguments& arguments) -> std::optional<CFakeHost::Answer>
        {
            const std::lock_guard lock(m_mutex);
            const auto found = m_answers.find(arguments);
            return found != m_answers.end() ? std::optional(found->second) : std::nullopt;
        });
    m_dir.Write("hwmconfig.xml", kBoardFile);
    AnswerSysInfo();
    Answer({"./smartctl", "-jV"}, {.output = kSmartctlVersionJson});
    AnswerScan({});
}

ManagerRig::~ManagerRig()
{
    if (m_runThread.joinable())
    {
        Close();
        Join();
    }
    m_manager.reset();
    m_host.SetProgramHook({});
    host::simtime::UsePassThrough();
}

void ManagerRig::UseController(bool lsi)
{
    ControllerKind& kind = lsi ? m_environment.lsi : m_environment.adaptec;
    const char* tool = lsi ? "storcli" : "arcconf";
    kind.version = [tool] { return ToolVersion{.toolName = tool, .displayName = tool, .version = "1.2.3"}; };
    kind.create = [this, lsi](bool qSeries)
    {
        m_controller->calls.Add(std::string(lsi ? "lsi" : "adaptec") + (qSeries ? " q" : ""));
        return std::make_shared<CFakeController>(m_controller);
    };
}

std::string ScanJson(const std::vector<std::string>& devices)
{
    std::string list;
    for (const std::string& device : devices)
    {
        list += (list.empty() ? "" : ",") + (R"({"name":")" + device + R"(","type":"sat"})");
    }
    return R"({"smartctl":{"exit_status":0},"devices":[)" + list + "]}";
}

std::string ReportJson(const std::string& serial, int temperature, int exitStatus)
{
    const std::string degrees = std::to_string(temperature);
    return R"({"smartctl":{"exit_status":)" + std::to_string(exitStatus) +
           R"(},"device":{"type":"sat"},"model_name":"EXAMPLE","firmware_version":"F1","serial_number":")" +
           serial + R"(","temperature":{"current":)" + degrees + R"(},"ata_smart_attributes":{"table":[)" +
           R"({"id":194,"name":"Temperature","flags":{"value":34},"value":60,"worst":50,"thresh":0,"raw":{"value":)" +
           degrees +
           R"(}},{"id":5,"name":"Reallocated","flags":{"value":51},"value":100,"worst":100,"thresh":7,)" +
           R"("raw":{"value":0}}]}})";
}

void ManagerRig::Answer(const CFakeHost::Arguments& arguments, const CFakeHost::Answer& answer)
{
    const std::lock_guard lock(m_mutex);
    m_answers[arguments] = answer;
}

void ManagerRig::AnswerSysInfo(const std::string& output)
{
    Answer({"scripts/sysinfo.sh"}, {.output = output});
}

void ManagerRig::AnswerScan(const std::vector<std::string>& devices)
{
    Answer({"./smartctl", "-j", "--scan"}, {.output = ScanJson(devices)});
}

void ManagerRig::FailScan()
{
    Answer({"./smartctl", "-j", "--scan"}, {.output = "", .exitCode = 2});
}

void ManagerRig::AnswerReport(const std::string& device, const std::string& serial, int temperature,
                              int exitStatus)
{
    Answer({"./smartctl", "-j", "-T", "permissive", "-a", device},
           {.output = ReportJson(serial, temperature, exitStatus)});
}

void ManagerRig::Create()
{
    tq::ipc::InstallSender(kPluginId, SendIpcFrame); // opens the link again after a Close
    m_manager = std::make_unique<CCorvane>(m_environment);
}

void ManagerRig::Run()
{
    m_runThread = std::thread([this] { m_manager->Run(); });
}

void ManagerRig::Close()
{
    m_manager->Stop();
    tq::ipc::CloseIpc(true);
}

void ManagerRig::Join()
{
    m_runThread.join();
}

void ManagerRig::Unload()
{
    m_manager.reset();
}

void ManagerRig::Start()
{
    Create();
    Run();
    Settle(); // the loop runs, and the start of sensors and watchdog was queued before it did
    Settle();
}

void ManagerRig::Stop()
{
    Close();
    Join();
    Unload();
}

const void* ManagerRig::Post(const std::string& text)
{
    const void* buffer = nullptr;
    {
        const std::lock_guard lock(m_mutex);
        buffer = m_lent.emplace_back(text).data();
    }
    m_manager->PostStatusUpdate(buffer, static_cast<std::int32_t>(text.size()));
    return buffer;
}

void ManagerRig::AwaitRelease(const void* buffer)
{
    const auto address = reinterpret_cast<std::uintptr_t>(buffer);
    EXPECT_TRUE(WaitUntil([address](const CFakeHost::Record& told)
                          { return std::count(told.releases.begin(), told.releases.end(), address) != 0; }));
}

void ManagerRig::Request(const std::string& children)
{
    AwaitRelease(Post("<zDVR>" + children + "</zDVR>"));
}

void ManagerRig::Configure(const std::string& text)
{
    const void* buffer = nullptr;
    {
        const std::lock_guard lock(m_mutex);
        buffer = m_lent.emplace_back(text).data();
    }
    EXPECT_TRUE(m_manager->PostConfigUpdate(static_cast<std::uint32_t>(text.size()), buffer));
    AwaitRelease(buffer);
}

void ManagerRig::Pass(std::chrono::seconds step, const std::function<bool(const CFakeHost::Record&)>& until)
{
    host::simtime::Advance(step);
    EXPECT_TRUE(WaitUntil(until));
    Settle(); // the handler has ended, its timer is armed again
}

void ManagerRig::Housekeeping()
{
    const int before = m_chip->polls;
    Pass(std::chrono::seconds(5),
         [this, before](const CFakeHost::Record& /*told*/) { return m_chip->polls > before; });
}

bool ManagerRig::WaitUntil(const std::function<bool(const CFakeHost::Record&)>& condition)
{
    return WaitByKernelClock(m_host, condition);
}

std::vector<std::string> ManagerRig::Documents(MessageCategory category) const
{
    return DocumentTexts(m_host, category);
}

std::string ManagerRig::LastDocument(MessageCategory category) const
{
    const std::vector<std::string> texts = Documents(category);
    return texts.empty() ? "" : texts.back();
}

int ManagerRig::CountLog(const std::string& text) const
{
    const std::vector<std::string> texts = m_host.LogTexts();
    return static_cast<int>(std::count(texts.begin(), texts.end(), text));
}

int ManagerRig::CountProgram(const CFakeHost::Arguments& arguments) const
{
    const auto programs = m_host.Programs();
    return static_cast<int>(std::count(programs.begin(), programs.end(), arguments));
}
