#include "frame/Log.h"
#include "host/SimTime.h"
#include "tests/manager/ManagerRig.h"
#include "tests/support/CaseName.h"

#include <map>
#include <random>

// Closing in every phase. What always holds: each armed timer says once that it ends, each lent buffer comes
// back once, and nothing is told after Run has returned but the buffers that Unload gives back.
namespace
{
class Stopping : public ManagerRig
{
protected:
    Stopping()
    {
        m_hasChip = true;
        m_dir.Write(kConfigurationFile,
                    R"(<zDVR><Storage TqselftestLogEnabled="1" RefreshIntervalSec="1"/></zDVR>)");
        for (ControllerKind* kind : {&m_environment.lsi, &m_environment.adaptec})
        {
            kind->version = [] { return ToolVersion{}; };
            kind->create = [](bool) { return nullptr; };
        }
        AnswerScan({"/dev/sda"});
        AnswerReport("/dev/sda", "S1", 30);
    }

    // After Close: joins and unloads, which tells nothing more but the buffers given back. What was told.
    CFakeHost::Record End()
    {
        Join();
        const CFakeHost::Record atEnd = m_host.Told();
        Unload();
        CFakeHost::Record after = m_host.Told();
        EXPECT_EQ(after.log.size(), atEnd.log.size());
        EXPECT_EQ(after.documents.size(), atEnd.documents.size());
        EXPECT_EQ(after.programs.size(), atEnd.programs.size());
        EXPECT_EQ(after.heartbeats, atEnd.heartbeats);
        return after;
    }

    // "0 timer" and so on, all four of them or none, when every one that was armed has said so once.
    static std::map<std::string, int> EndedTimers(const CFakeHost::Record& told)
    {
        std::map<std::string, int> timers;
        for (const CFakeHost::LogLine& line : told.log)
        {
            if (line.level == LogDebug && line.text.starts_with("CORVANEPI: Will not reschedule "))
            {
                ++timers[line.text.substr(31, 7)];
            }
        }
        return timers;
    }

    // After Close. `started`: the timers were armed and no tool was cut off; otherwise both may be so or not.
    void ExpectCleanEnd(bool started, const std::vector<const void*>& lent)
    {
        const CFakeHost::Record after = End();
        const auto timers = EndedTimers(after);
        EXPECT_TRUE(timers == m_allTimers || (!started && timers.empty())) << testing::PrintToString(timers);

        std::map<std::uint64_t, int> releases;
        for (const std::uint64_t address : after.releases)
        {
            ++releases[address];
        }
        for (const void* buffer : lent)
        {
            EXPECT_EQ(releases[reinterpret_cast<std::uintptr_t>(buffer)], 1);
        }
        EXPECT_EQ(m_chip->calls.Count("arm 40"), m_chip->calls.Count("disarm"));
        if (started)
        {
            EXPECT_EQ(m_host.LogTexts(LogError), std::vector<std::string>{});
        }
    }

    const std::map<std::string, int> m_allTimers{
        {"0 timer", 1}, {"1 timer", 1}, {"2 timer", 1}, {"3 timer", 1}};
};

TEST_F(Stopping, BeforeRunOnlyTheStepsBeforeTheStorageAreTaken)
{
    Create();
    const void* early = Post("<zDVR/>");
    Close();
    const void* late = Post("<zDVR/>");
    m_manager->WaitUntilStarted();
    Run();
    Join();
    EXPECT_TRUE(m_host.Programs().empty()) << "the link is closed";
    EXPECT_TRUE(m_host.Told().releases.empty());
    m_host.Forget();
    Unload();
    EXPECT_THAT(m_host.Told().releases,
                testing::UnorderedElementsAre(reinterpret_cast<std::uintptr_t>(early),
                                              reinterpret_cast<std::uintptr_t>(late)));
    EXPECT_TRUE(m_host.LogTexts().empty());
}

TEST_F(Stopping, WithoutAnyRunTheBuffersStillComeBack)
{
    Create();
    const void* buffer = Post("<zDVR/>");
    m_manager->PostWatchdogPing();
    Unload();
    EXPECT_THAT(m_host.Told().releases, testing::ElementsAre(reinterpret_cast<std::uintptr_t>(buffer)));
}

struct HangCase
{
    const char* name;
    CFakeHost::Arguments program;
    bool noStart;
    bool armed;       // the timers, by then or later
    int answered = 0; // times it works before
};

const HangCase kHangCases[] = {
    {"SystemInformation", {"scripts/sysinfo.sh"}, false, false},
    {"SystemInformationNeverAnswered", {"scripts/sysinfo.sh"}, true, false},
    {"ToolVersion", {"./smartctl", "-jV"}, false, false},
    {"FirstScan", kScan, false, true},
    {"FirstReport", {"./smartctl", "-j", "-T", "permissive", "-a", "/dev/sda"}, false, true},
    {"FirstSmartRefresh", {"./smartctl", "-j", "-T", "permissive", "-a", "/dev/sda"}, false, true, 1},
    {"FirstSelfTestReport", {"./tqselftest", "-c", "report"}, false, true},
};

class HangingStart : public Stopping, public testing::WithParamInterface<HangCase>
{
};

TEST_P(HangingStart, IsEndedByClose)
{
    m_dir.Write(kConfigurationFile,
                R"(<zDVR><Storage><Disk SerialNumber="S1"/></Storage><Sensors Enabled="0"/></zDVR>)");
    Answer({"./tqselftest", "-v"}, {.output = "tqselftest version: 1.2\n"});
    for (int i = 0; i < GetParam().answered; ++i)
    {
        m_host.OnProgram(GetParam().program, {.output = ReportJson("S1", 30)});
    }
    m_host.OnProgram(GetParam().program, {.hang = true, .noStart = GetParam().noStart});
    Create();
    Run();
    AwaitHanging();
    const void* document = Post(StorageDocument(kRefresh));
    m_manager->PostWatchdogPing();
    Close();
    const CFakeHost::Record after = End();
    EXPECT_TRUE(Statuses().empty()) << "half a start is not told";
    EXPECT_THAT(m_chip->calls.Take(), testing::ElementsAre("destroyed"))
        << "the watchdog is not armed any more";
    for (const CFakeHost::LogLine& line : after.log)
    {
        EXPECT_EQ(line.text.find("removed"), std::string::npos) << "the scan was cut off, the disk was not";
        EXPECT_EQ(line.text.find(R"("./tqselftest" "-c")"), std::string::npos) << "no further try";
    }
    EXPECT_THAT(m_dir.Read(kConfigurationFile).value(), testing::ContainsRegex("<Sensors.* Enabled=\"0\""))
        << "the owner's setting";
    EXPECT_EQ(EndedTimers(after), GetParam().armed ? m_allTimers : decltype(m_allTimers){});
    EXPECT_THAT(after.releases, testing::ElementsAre(reinterpret_cast<std::uintptr_t>(document)));
}

INSTANTIATE_TEST_SUITE_P(Cases, HangingStart, testing::ValuesIn(kHangCases), kByName);

TEST_F(Stopping, AnIdleLoopEndsItsTimers)
{
    Start();
    Close();
    ExpectCleanEnd(true, {});
    EXPECT_EQ(CountLog("CORVANEPI: Will not reschedule 3 timer. m_stopped=true, error_code=125, "
                       "error_description=Operation canceled"),
              1);
}

TEST_F(Stopping, AHungToolInTheLoopEndsAndWhatWaitsBehindItIsDropped)
{
    Start();
    const int titles = CountLog("CORVANEPI: Status Update");
    const std::size_t documents = m_host.Documents().size();
    Answer(kScan, {.hang = true});
    Post("");
    const void* request = Post("<zDVR/>");
    host::simtime::Advance(std::chrono::seconds(1)); // the scan timer
    AwaitHanging();
    const void* behind = Post("<zDVR/>");
    m_manager->PostWatchdogPing();
    Close();
    ExpectCleanEnd(true, {request, behind});
    EXPECT_LE(CountLog("CORVANEPI: Status Update"), titles + 2) << "the one behind the tool is not processed";
    EXPECT_EQ(m_host.Documents().size(), documents) << "what a cut-off scan saw is told to nobody";
}

TEST_F(Stopping, AHungCoreDumpScriptEndsToo)
{
    Start();
    m_dir.Write("enabledumps", "");
    Answer({"scripts/config_core_pattern.sh", "enable"}, {.hang = true});
    host::simtime::Advance(std::chrono::seconds(1));
    AwaitHanging();
    m_manager->PostWatchdogPing();
    Close();
    ExpectCleanEnd(true, {});
    EXPECT_EQ(m_chip->calls.Count("ping"), 0);
}

// Threads of the host at work, timers due at any moment, and Close somewhere in between.
class AtAnyMoment : public Stopping, public testing::WithParamInterface<bool>
{
};

TEST_P(AtAnyMoment, OfABusyLoopOrOfTheStart)
{
    const auto seed = std::random_device{}();
    SCOPED_TRACE(seed);
    std::minstd_rand random(seed);
    const bool started = GetParam();
    if (started)
    {
        Start();
    }
    else
    {
        Create();
        Run();
    }
    std::atomic<bool> ready{false};
    const auto hostThread = [this, &ready](std::vector<const void*>& lent)
    {
        for (int i = 0; i < 40; ++i)
        {
            lent.push_back(Post(R"(<zDVR><Sensors ID="3604480" Refresh="1"/></zDVR>)"));
            m_manager->PostWatchdogPing();
            ready = true;
        }
    };
    std::vector<const void*> requests;
    std::vector<const void*> more;
    std::thread first(hostThread, std::ref(requests));
    std::thread second(hostThread, std::ref(more));
    std::thread time(
        []
        {
            for (int i = 0; i < 40; ++i)
            {
                host::simtime::Advance(std::chrono::milliseconds(500));
            }
        });
    while (!ready)
    {
        std::this_thread::yield();
    }
    for (auto spins = random() % 5000; spins > 0; --spins)
    {
        std::this_thread::yield();
    }
    Close();
    first.join();
    second.join();
    time.join();
    requests.insert(requests.end(), more.begin(), more.end());
    ExpectCleanEnd(started, requests);
}

INSTANTIATE_TEST_SUITE_P(StartedOrNot, AtAnyMoment, testing::Bool());
} // namespace
