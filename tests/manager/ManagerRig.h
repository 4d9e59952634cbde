// A whole CCorvane on a thread of its own, in a world of fakes: files in a temporary directory, programs
// answered by the fake host, a chip and a controller that keep a record, and a process clock moved by hand.
#pragma once

#include "hwmon/SuperIo.h"
#include "manager/Corvane.h"
#include "manager/Environment.h"
#include "raid/Controller.h"
#include "tests/support/FakeHost.h"
#include "tests/support/KernelWait.h"
#include "tests/support/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// Names of operations in the order of their calls. Any thread.
class CCallRecord
{
public:
    void Add(std::string call)
    {
        const std::lock_guard lock(m_mutex);
        m_calls.push_back(std::move(call));
    }

    // All since the last time.
    [[nodiscard]] std::vector<std::string> Take()
    {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_calls, {});
    }

    [[nodiscard]] auto Count(const std::string& call) const
    {
        const std::lock_guard lock(m_mutex);
        return std::count(m_calls.begin(), m_calls.end(), call);
    }

private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_calls;
};

// What the fake chip does; outlives it.
struct ChipScript
{
    std::atomic<bool> hasNews{false}; // has a sensor element to tell
    std::atomic<bool> hasAlarm{false};
    CCallRecord calls; // without the polls
    std::atomic<int> polls{0};
};

// What the fake controller does; outlives it. A test may change it at any time.
struct ControllerScript
{
    std::atomic<bool> present{true};
    std::atomic<bool> changed{false};
    std::atomic<bool> busy{false};
    std::atomic<bool> prepDone{false};   // answered once
    std::atomic<bool> volumeNews{false}; // has an alarm element of its volume to tell
    std::atomic<bool> raid1{false};
    std::atomic<int> hotSpareResult{1};
    std::atomic<bool> disksAnswer{true};
    std::atomic<const char*> unit{"/c0/v1"}; // of its one disk; may be empty
    CCallRecord calls;
};

// For ConfigureStorage: a refresh of everything.
inline constexpr const char* kRefresh = R"(<Refresh Controllers="all"/>)";

inline const CFakeHost::Arguments kScan{"./smartctl", "-j", "--scan"};

// The plug-in's own storage element with these children, as both kinds of document carry it.
inline std::string StorageDocument(const std::string& children)
{
    return R"(<zDVR Delta="1"><Storage ID="3604480">)" + children + "</Storage></zDVR>";
}

class ManagerRig : public testing::Test
{
protected:
    static constexpr const char* kConfigurationFile = "corvanepi.xml";

    // Board B1 with the fake chip and one sensor.
    static constexpr const char* kBoardFile =
        R"(<x><Motherboard Chip="40992" Name="B1"><Sensor Id="2000" Conversion="1" Max="9" Min="0" Label="T"/>)"
        R"(</Motherboard></x>)";

    // Sunday, 2023-11-19 12:00:00 UTC, the time zone of these tests.
    static constexpr std::int64_t kStartUtc = 1'700'395'200;

    ManagerRig();
    ~ManagerRig() override;

    // Answers programs, from now on. Without one of these: board B1 of ACME, smartctl found, no disks.
    void Answer(const CFakeHost::Arguments& arguments, const CFakeHost::Answer& answer);
    void AnswerSysInfo(const std::string& output = "motherboard-vendor=ACME\nmotherboard-model=B1\n")
    {
        Answer({"scripts/sysinfo.sh"}, {.output = output});
    }
    void AnswerScan(const std::vector<std::string>& devices);
    void AnswerReport(const std::string& device, const std::string& serial, int temperature);
    void FailScan() { Answer(kScan, {.exitCode = 2}); }

    // Load, the call that lends a thread, Close, the end of that thread, Unload.
    void Create();
    void Run() { m_runThread = std::thread(&CCorvane::Run, m_manager.get()); }
    void Close();
    void Join() { m_runThread.join(); }
    void Unload() { m_manager.reset(); }

    // Create and Run, until the first handlers of the loop have run; and all the way back.
    void Start();
    void Stop();

    // A document, waiting until it is processed. `Post` does not wait and returns the lent buffer.
    void Request(const std::string& children) { AwaitRelease(Post("<zDVR>" + children + "</zDVR>")); }
    void RequestStorage(const std::string& children) { AwaitRelease(Post(StorageDocument(children))); }
    void Configure(const std::string& text);
    void ConfigureStorage(const std::string& children) { Configure(StorageDocument(children)); }
    const void* Post(const std::string& text);
    void AwaitRelease(const void* buffer);

    // Everything that the loop had begun or queued is done.
    void Settle() { AwaitRelease(Post("")); }

    // Moves the clock until the condition holds: once by `step`, then waits.
    void Pass(std::chrono::seconds step, const std::function<bool()>& until);

    // One run of the scan timer.
    void Scan();

    // One run of the housekeeping, told by the chip's poll.
    void Housekeeping(std::chrono::seconds step = std::chrono::seconds(5));

    bool WaitUntil(const std::function<bool()>& condition);
    void AwaitHanging();

    // The documents told so far; the last of none is empty.
    [[nodiscard]] std::vector<std::string> Configs() const
    {
        return DocumentTexts(m_host, MessageCategory::ConfigDocument);
    }
    [[nodiscard]] std::vector<std::string> Statuses() const
    {
        return DocumentTexts(m_host, MessageCategory::StatusDocument);
    }
    [[nodiscard]] std::string LastConfig() const { return Last(Configs()); }
    [[nodiscard]] std::string LastStatus() const { return Last(Statuses()); }

    [[nodiscard]] int CountLog(const std::string& text) const { return Count(m_host.LogTexts(), text); }
    [[nodiscard]] int CountProgram(const CFakeHost::Arguments& arguments) const
    {
        return Count(m_host.Programs(), arguments);
    }

    // The words at that place in this tool's commands that have one, a blank behind each; forgets all that
    // was told.
    std::string TakeWords(const std::string& tool, std::size_t place);

    // Uses the fake controller, found through this tool.
    void UseController(bool lsi = true);

    CTempDir m_dir;
    CFakeHost m_host;
    Environment m_environment;
    const std::shared_ptr<ChipScript> m_chip = std::make_shared<ChipScript>();
    const std::shared_ptr<ControllerScript> m_controller = std::make_shared<ControllerScript>();
    bool m_hasChip = false;
    std::unique_ptr<CCorvane> m_manager;

private:
    const std::string& Lend(const std::string& text);

    static std::string Last(const std::vector<std::string>& texts)
    {
        return texts.empty() ? "" : texts.back();
    }
    template <typename T>
    static int Count(const std::vector<T>& list, const T& element)
    {
        return static_cast<int>(std::count(list.begin(), list.end(), element));
    }

    CWorkingDirectory m_cwd{m_dir.Path()};
    std::thread m_runThread;
    std::mutex m_mutex; // guards the rest
    std::map<CFakeHost::Arguments, CFakeHost::Answer> m_answers;
    std::deque<std::string> m_lent; // buffers as the host lends them, kept for good
};

// A report as smartctl prints it.
std::string ReportJson(const std::string& serial, int temperature);
