#include "frame/Log.h"
#include "host/SimTime.h"
#include "tests/manager/ManagerRig.h"

namespace
{
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr const char* kRefreshRequest = R"(<Sensors ID="3604480" Refresh="1"/>)";

class Sensors : public ManagerRig
{
protected:
    Sensors() { m_hasChip = true; }

    // What the next housekeeping sends.
    std::vector<std::string> NextDocuments()
    {
        m_host.Forget();
        Housekeeping();
        return Statuses();
    }
};

TEST_F(Sensors, MonitoringAndWatchdogStartWithTheLoopAndEndWithRun)
{
    Start();
    EXPECT_THAT(m_chip->calls.Take(), ElementsAre("init", "arm 40"));
    EXPECT_EQ(CountLog("SENSORS: Found Chip of ACME"), 1);
    Close();
    Join();
    EXPECT_THAT(m_chip->calls.Take(), ElementsAre("disarm", "destroyed"));
    const std::vector<std::string> info = m_host.LogTexts(LogInfo);
    EXPECT_THAT(std::vector<std::string>(info.end() - 2, info.end()),
                ElementsAre("SENSORS: Stopping sensor monitoring.", "SENSORS: Stopping watchdog."));
}

TEST_F(Sensors, TheConfigurationTellsThemOnceTheStartHasRun)
{
    m_chip->hasNews = true;
    Start();
    const std::vector<std::string> documents = Configs();
    EXPECT_THAT(documents.at(documents.size() - 2), Not(HasSubstr("<Sensors")));
    EXPECT_THAT(
        documents.back(),
        HasSubstr(
            R"(<Watchdogs ID="3604480"><Watchdog Source="Chip of ACME" Enabled="1" Timeout="40" /></Watchdogs>)"
            R"(<Sensors ID="3604480" Enabled="1" Status="0"><Temperature ID="2000" Label="T" Value="5" Type="2" Max="9" /></Sensors><SystemInfo)"));
}

TEST_F(Sensors, SwitchedOffTheyStayOffInTheFile)
{
    m_dir.Write(
        kConfigurationFile,
        R"(<zDVR><Watchdogs><Watchdog Enabled="0" Timeout="120"/></Watchdogs><Sensors Enabled="0"/></zDVR>)");
    Start();
    const int polls = m_chip->polls;
    Stop();
    EXPECT_EQ(polls, 0);
    EXPECT_THAT(m_chip->calls.Take(), ElementsAre("destroyed"));
    EXPECT_THAT(
        LastConfig(),
        HasSubstr(
            R"(Enabled="0" Timeout="120" /></Watchdogs><Sensors ID="3604480" Enabled="0" Status="2" />)"));
}

TEST_F(Sensors, AnUnknownBoardHasNeither)
{
    AnswerSysInfo("motherboard-vendor=ACME\nmotherboard-model=B2\n");
    m_dir.Write(kConfigurationFile, R"(<zDVR><Storage TqselftestLogEnabled="1"/></zDVR>)");
    m_chip->hasNews = true;
    m_chip->hasAlarm = true;
    Start();
    m_manager->PostWatchdogPing();
    EXPECT_TRUE(WaitUntil([this] { return CountLog("CORVANEPI: Ping Watchdog") == 1; }));
    const std::string document = LastConfig();
    Stop();
    EXPECT_THAT(document,
                HasSubstr(R"(<Watchdogs ID="3604480" /><Sensors ID="3604480" Enabled="1" Status="3" />)"));
    EXPECT_THAT(m_chip->calls.Take(), ElementsAre("destroyed"));
    EXPECT_EQ(CountLog("SENSORS: Disabled because 'ACME' & 'B2' not found in hwmconfig.xml"), 1);
    EXPECT_EQ(m_chip->polls, 0);
    EXPECT_TRUE(Statuses().empty()) << "no document polls a chip at rest";
}

TEST_F(Sensors, WithoutAChipTheLogSaysSo)
{
    m_hasChip = false;
    Start();
    m_manager->PostWatchdogPing();
    EXPECT_THAT(m_host.LogTexts(LogError),
                testing::IsSupersetOf({"SENSORS: Watchdog timer not started",
                                       "SENSORS: Disabled sensors - unsupported or no super I/O."}));
    EXPECT_THAT(LastConfig(), Not(HasSubstr("<Sensors")));
    Stop();
    m_host.Forget();
    m_dir.Write(kConfigurationFile, R"(<zDVR><Watchdogs><Watchdog Enabled="0"/></Watchdogs></zDVR>)");
    Start();
    EXPECT_EQ(CountLog("SENSORS: Watchdog timer not started"), 0) << "nobody misses it";
}

TEST_F(Sensors, ReachTheHostWithAnAlarmOrOnRequest)
{
    Start();
    m_chip->hasNews = true;
    EXPECT_TRUE(NextDocuments().empty()) << "news without an alarm state";
    m_chip->hasAlarm = true;
    EXPECT_THAT(NextDocuments(), ElementsAre(testing::MatchesRegex(
                                     R"(<\?xml \?><zDVR><Storage ID="3604480" /><Sensors ID="3604480">)"
                                     R"(<Temperature ID="2000" Label="T" Value="5" Alarm="0" Time="[0-9]+" )"
                                     R"(Message="T value is in normal range" /></Sensors></zDVR>)")));
    m_chip->hasAlarm = false;
    m_chip->hasNews = false;
    Request(kRefreshRequest);
    EXPECT_TRUE(NextDocuments().empty()) << "nothing to carry: the request waits";
    m_chip->hasNews = true;
    EXPECT_EQ(NextDocuments().size(), 1U);
    EXPECT_TRUE(NextDocuments().empty()) << "the request is answered";
}

TEST_F(Sensors, RequestsLessThanFiveSecondsApartAreOne)
{
    Start();
    m_chip->hasNews = true;
    for (const char* ignored :
         {R"(<Sensors ID="3604480" Refresh="0"/>)", R"(<Sensors ID="3604480" Refresh="2"/>)",
          R"(<Sensors ID="5" Refresh="1"/>)", R"(<Sensors Refresh="1"/>)"})
    {
        Request(ignored);
    }
    EXPECT_TRUE(NextDocuments().empty());

    // A self-test command is followed by a status document at once.
    const auto isTaken = [this]
    {
        m_host.Forget();
        Request(std::string(R"(<Sensors ID="5" Refresh="1"/>)") + kRefreshRequest +
                R"(<Storage ID="3604480" SelfTest="3"/>)");
        return !Statuses().empty();
    };
    EXPECT_TRUE(isTaken());
    EXPECT_FALSE(isTaken());
    host::simtime::Advance(std::chrono::seconds(4));
    EXPECT_FALSE(isTaken());
    Housekeeping();
    EXPECT_TRUE(isTaken()) << "counted from the one that was taken";
}

TEST_F(Sensors, EachReturnedHeartbeatIsOnePing)
{
    Start();
    m_manager->PostWatchdogPing();
    m_manager->PostWatchdogPing();
    EXPECT_TRUE(WaitUntil([this] { return m_chip->calls.Count("ping") == 2; }));
    host::simtime::Advance(std::chrono::seconds(1));
    EXPECT_TRUE(WaitUntil([this] { return m_host.Told().heartbeats == 1; }));
    Close();
    Join();
    m_manager->PostWatchdogPing();
    Unload();
    EXPECT_EQ(m_chip->calls.Count("ping"), 2);
}

const CFakeHost::Arguments kIpmitool{"ipmitool", "-c", "sdr"};

TEST_F(Sensors, WithoutAChipTheManagementControllerIsAskedEachTime)
{
    m_hasChip = false;
    Answer(kIpmitool, {.output = "FAN1,5400,RPM,ok\n"});
    Start();
    EXPECT_EQ(CountProgram(kIpmitool), 1);
    EXPECT_THAT(Configs(), testing::Contains(HasSubstr(R"x(Label="FAN1 (ok)")x")));
    Answer(kIpmitool, {.output = "FAN1,0,RPM,cr\n"});
    for (int runs = 2; runs <= 3; ++runs)
    {
        Pass(std::chrono::seconds(5), [this, runs] { return CountProgram(kIpmitool) == runs; });
    }
    Settle();
    EXPECT_THAT(LastStatus(), HasSubstr(R"x(Label="FAN1 (cr)" Value="0" Alarm="1")x"));
}

TEST_F(Sensors, AChipIsEnough)
{
    Start();
    Housekeeping();
    EXPECT_EQ(CountProgram(kIpmitool), 0);
}

TEST_F(Sensors, TheOwnerMayForbidTheManagementController)
{
    m_hasChip = false;
    m_dir.Write("corvanepi-ipmi.xml", R"(<zDVR><Sensors Enabled="0"/></zDVR>)");
    Start();
    Scan(); // some housekeeping came before it
    EXPECT_EQ(CountProgram(kIpmitool), 0);
}
} // namespace
