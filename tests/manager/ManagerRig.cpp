#include "tests/manager/ManagerRig.h"

#include "frame/Ipc.h"
#include "frame/Xml.h"
#include "host/SimTime.h"
#include "tests/support/FakePorts.h"

#include <tinyxml.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>

namespace
{
CFakePorts noPorts; // the fake chip touches none
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
    explicit CFakeController(std::shared_ptr<ControllerScript> script)
        : CController("/c0", {"Optl"}, {"Onln"}, std::make_shared<CSystemClock>()),
          m_script(std::move(script))
    {
    }

    [[nodiscard]] std::vector<UnconfiguredDisk> GetUnconfiguredDisks() const override { return {}; }
    void StartCreateVolume() override {}
    CreateVolumeResult FinishCreateVolume() override { return {}; }
    HotSpareResult ConfigureHotSpare(const std::string& /*disk*/, bool /*enable*/) override { return {}; }
    [[nodiscard]] std::optional<std::int32_t> GetDiskTemperature(const std::string& /*disk*/) const override
    {
        return std::nullopt;
    }
    [[nodiscard]] std::map<std::int32_t, SmartAttribute>
    GetDiskSmartAttributes(const std::string& /*disk*/) const override
    {
        return {};
    }
    [[nodiscard]] bool HasRaid1Unit() const override { return m_script->raid1; }
    [[nodiscard]] bool HasRaid56Unit() const override { return true; }

    int SetDiskHotSpare(const std::shared_ptr<CDisk>& disk, bool enable) override
    {
        m_script->calls.Add("hot spare " + disk->m_name + (enable ? " on" : " off"));
        return m_script->hotSpareResult;
    }

    ControllerRefresh RefreshController() override
    {
        m_script->calls.Add("controller");
        return {.changed = m_script->changed, .ok = m_script->present};
    }

    void RefreshVolumes() override { m_script->calls.Add("volumes"); }

    DiskList RefreshDisks() override
    {
        m_script->calls.Add("disks");
        if (!m_script->disksAnswer)
        {
            return {};
        }
        const std::shared_ptr<CDisk> disk = MakeDisk("/c0/e1/s4", 4);
        disk->m_otherName.clear(); // that it hangs on a controller must be enough
        disk->m_unitName = m_script->unit;
        disk->m_serialNumber = "RS1";
        disk->m_status = "Onln";
        return {disk};
    }

    std::vector<std::unique_ptr<TiXmlElement>> CreateAlarmElements(bool force) override
    {
        std::vector<std::unique_ptr<TiXmlElement>> elements;
        if (force)
        {
            elements.push_back(std::make_unique<TiXmlElement>("Controller"));
        }
        if (force || m_script->volumeNews)
        {
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

    [[nodiscard]] bool IsPrepBusy() const override { return m_script->busy; }

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
    bool CheckRaidPrep(bool force) override { return m_script->prepDone.exchange(false) && !force; }

private:
    const std::shared_ptr<ControllerScript> m_script;
};
} // namespace

ManagerRig::ManagerRig()
{
    setenv("TZ", "UTC", 1);
    tzset();
    host::simtime::UseManual(std::chrono::seconds(kStartUtc));
    const auto missing = [] { return ToolVersion{.error = "not there"}; };
    m_environment = {.paths = {.systemDescription = "delmo/tqsysteminfo.xml", .bySlot = "by-slot/"},
                     .clock = std::make_shared<CSystemClock>(),
                     .detectSuperIo = [this]
                     { return SuperIoInfo{.chipId = m_hasChip ? 0xA020U : kNoChipId}; },
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
    Answer(
        {"./smartctl", "-jV"},
        {.output =
             R"({"smartctl":{"version":[7,4],"svn_revision":"5530","build_info":"local build","exit_status":0}})"});
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

std::string ReportJson(const std::string& serial, int temperature)
{
    const std::string degrees = std::to_string(temperature);
    return R"({"smartctl":{"exit_status":0},"device":{"type":"sat"},"model_name":"EXAMPLE",)"
           R"("firmware_version":"F1","serial_number":")" +
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

void ManagerRig::AnswerScan(const std::vector<std::string>& devices)
{
    std::string list;
    for (const std::string& device : devices)
    {
        list += (list.empty() ? "" : ",") + (R"({"name":")" + device + R"(","type":"sat"})");
    }
    Answer(kScan, {.output = R"({"smartctl":{"exit_status":0},"devices":[)" + list + "]}"});
}

void ManagerRig::AnswerReport(const std::string& device, const std::string& serial, int temperature)
{
    Answer({"./smartctl", "-j", "-T", "permissive", "-a", device},
           {.output = ReportJson(serial, temperature)});
}

void ManagerRig::Create()
{
    tq::ipc::InstallSender(kPluginId, SendIpcFrame); // opens the link again after a Close
    m_manager = std::make_unique<CCorvane>(m_environment);
}

void ManagerRig::Close()
{
    m_manager->Stop();
    tq::ipc::CloseIpc(true);
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

const std::string& ManagerRig::Lend(const std::string& text)
{
    const std::lock_guard lock(m_mutex);
    return m_lent.emplace_back(text);
}

const void* ManagerRig::Post(const std::string& text)
{
    const std::string& lent = Lend(text);
    m_manager->PostStatusUpdate(lent.data(), static_cast<std::int32_t>(lent.size()));
    return lent.data();
}

void ManagerRig::Configure(const std::string& text)
{
    const std::string& lent = Lend(text);
    EXPECT_TRUE(m_manager->PostConfigUpdate(static_cast<std::uint32_t>(lent.size()), lent.data()));
    AwaitRelease(lent.data());
}

void ManagerRig::AwaitRelease(const void* buffer)
{
    const auto address = reinterpret_cast<std::uintptr_t>(buffer);
    EXPECT_TRUE(
        WaitByKernelClock(m_host, [address](const CFakeHost::Record& told)
                          { return std::count(told.releases.begin(), told.releases.end(), address) != 0; }));
}

void ManagerRig::Pass(std::chrono::seconds step, const std::function<bool()>& until)
{
    host::simtime::Advance(step);
    EXPECT_TRUE(WaitUntil(until));
    Settle(); // the handler has ended, its timer is armed again
}

void ManagerRig::Scan()
{
    const auto before = CountProgram(kScan);
    Pass(std::chrono::seconds(60), [this, before] { return CountProgram(kScan) > before; });
}

void ManagerRig::Housekeeping(std::chrono::seconds step)
{
    const int before = m_chip->polls;
    Pass(step, [this, before] { return m_chip->polls > before; });
}

bool ManagerRig::WaitUntil(const std::function<bool()>& condition)
{
    return WaitByKernelClock(m_host, [&condition](const CFakeHost::Record&) { return condition(); });
}

std::string ManagerRig::TakeWords(const std::string& tool, std::size_t place)
{
    std::string words;
    for (const CFakeHost::Arguments& program : m_host.Programs())
    {
        words += program[0] == tool && program.size() > place ? program[place] + " " : "";
    }
    m_host.Forget();
    return words;
}

void ManagerRig::AwaitHanging()
{
    EXPECT_TRUE(WaitUntil([this] { return m_host.HangingCount() > 0; }));
}
