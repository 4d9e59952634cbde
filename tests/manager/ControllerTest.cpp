#include "frame/Log.h"
#include "tests/manager/ManagerRig.h"

namespace
{
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr const char* kAdaptecLine =
    "Adaptec RAID controller detected - self-test operations are not supported for RAID-attached disks";
constexpr const char* kRemoved = "Plugin detected disk '/c0/e1/s4' has been removed";

// An appliance with a controller, one disk behind it and a known RAID level.
class Controller : public ManagerRig
{
protected:
    Controller()
    {
        m_hasChip = true;
        UseController();
        m_dir.Write("tqsysteminfo.xml", R"(<x><Drives StorageRows="2" StorageCols="4"/></x>)");
        AnswerSysInfo("motherboard-vendor=ACME\nraid-volume=/c0/v1\nraid-fspath=/data\n");
    }

    // What was asked of the controller since.
    std::vector<std::string> Asked() { return m_controller->calls.Take(); }
};

TEST_F(Controller, IsDetectedToldAndPreparationIsDecidedAtTheStart)
{
    Start();
    EXPECT_THAT(Asked(),
                ElementsAre("lsi", "controller", "disks", "volumes", "supports 5 /c0/v1", "prep status"));
    EXPECT_THAT(Statuses(),
                ElementsAre(testing::AllOf(HasSubstr(R"(<Storage ID="3604480"><Disk Name="/c0/e1/s4")"),
                                           HasSubstr(R"(Alarm="0" /><Controller /><Volume /></Storage>)"))));
    const std::string document = LastConfig();
    EXPECT_THAT(document, HasSubstr(R"(CannotDeleteThreshold="1"><Controller Told="level layout" /><Disk )"));
    EXPECT_THAT(document, HasSubstr(R"(<Drive Name="/data" />)"));
    EXPECT_THAT(document, HasSubstr(R"(StorageRows="2")"));
    EXPECT_THAT(document, HasSubstr(R"(<Threshold Id="194" Min="5" Max="55" />)"))
        << "nobody gave it a range";
    // Tools, preparation, storage pass, end of the start, sensors.
    EXPECT_EQ(Configs().size(), 5U);

    m_host.Forget();
    m_controller->volumeNews = true;
    Housekeeping();
    EXPECT_THAT(Statuses(), ElementsAre(HasSubstr(R"(<Storage ID="3604480"><Volume /></Storage>)")));
}

TEST_F(Controller, OfTheFirstKindWinsAndWithARaid1UnitTakesTheLayout)
{
    const auto lsi = m_environment.lsi;
    UseController(false);
    m_environment.lsi = lsi;
    m_controller->raid1 = true;
    m_dir.Write("tqsysteminfo.xml",
                R"(<x><family value="q_series"/><Drives StorageRows="2" StorageCols="4"/></x>)");
    Start();
    EXPECT_EQ(Asked().front(), "lsi q");
    EXPECT_EQ(CountLog(kAdaptecLine), 0);
    EXPECT_THAT(LastConfig(), Not(HasSubstr("StorageRows")));
    EXPECT_EQ(CountLog("tqselftest missing - disabling self-test feature."), 1);
    EXPECT_EQ(CountProgram({"./tqselftest", "-v"}), 0) << "nor is it asked for on the Q series";
}

TEST_F(Controller, IsLookedForAtEachScanAndScannedThoroughlyWhenItIsNewOrChanged)
{
    m_environment.lsi.version = [] { return ToolVersion{.error = "none"}; };
    UseController(false);
    m_controller->present = false;
    Start();
    Scan();
    EXPECT_THAT(Asked(), ElementsAre("adaptec", "controller", "adaptec", "controller"));
    EXPECT_EQ(CountLog(kAdaptecLine), 2);
    m_controller->present = true;
    Scan();
    EXPECT_THAT(Asked(),
                ElementsAre("adaptec", "controller", "disks", "volumes", "supports 5 /c0/v1", "prep status"));
    EXPECT_EQ(CountLog("ScanStorage: Refresh start"), 1);
    Scan();
    EXPECT_THAT(Asked(), ElementsAre("controller", "disks", "volumes"));
    m_controller->changed = true;
    Scan();
    EXPECT_THAT(Asked(), ElementsAre("controller", "disks", "volumes", "supports 5 /c0/v1", "prep status"))
        << "thorough again";
}

TEST_F(Controller, ABusyOneIsLeftAlone)
{
    Start();
    m_controller->busy = true;
    m_host.Forget();
    Asked();
    Housekeeping(std::chrono::seconds(60)); // nothing may be scanned in it
    ConfigureStorage(kRefresh);
    EXPECT_THAT(Asked(), ElementsAre());
    EXPECT_THAT(m_host.LogTexts(),
                ElementsAre("Storage hardware refresh request ignored while raidprep busy"));
}

TEST_F(Controller, APreparationsEndIsFollowedByAScan)
{
    Start();
    Asked();
    m_host.Forget();
    m_controller->prepDone = true;
    Housekeeping();
    EXPECT_THAT(m_host.LogTexts(LogInfo),
                testing::Contains("RAIDPREP: CheckRaidPrep refreshing mounts and rescanning hardware"));
    EXPECT_EQ(CountProgram({"scripts/sysinfo.sh"}), 1);
    EXPECT_THAT(Asked(), ElementsAre("controller", "disks", "volumes"));
    EXPECT_EQ(Configs().size(), 1U);
}

TEST_F(Controller, AVolumeRequestIsAnsweredInTheLog)
{
    const char* invalid = "RAIDPREP: Ignoring invalid raidprep request";
    const std::pair<const char*, const char*> cases[] = {
        {R"(Name="v 1" StartPrep="0")", "RAIDPREP: stop request unsupported."},
        {R"(StartPrep="1")", invalid},
        {R"(Name="" StartPrep="1")", invalid},
        {R"(Name="v 1")", invalid},
        {R"(Name="v 1" StartPrep="2")", "RAIDPREP: calling StartPrep on v 1."},
    };
    Start();
    for (const auto& [attributes, line] : cases)
    {
        EXPECT_EQ(m_controller->calls.Count("start v 1"), 0);
        m_host.Forget();
        Request(std::string(R"(<Storage ID="3604480" SelfTest="0"><Volume )") + attributes + "/></Storage>");
        EXPECT_THAT(m_host.LogTexts(LogInfo), ElementsAre(line)) << attributes;
    }
    EXPECT_EQ(m_controller->calls.Count("start v 1"), 1);
}

TEST_F(Controller, WithoutAKnownLevelNothingIsPrepared)
{
    m_dir.Write("tqsysteminfo.xml", "<x/>");
    Start();
    EXPECT_THAT(Asked(), ElementsAre("lsi", "controller", "disks", "volumes"));
    RequestStorage(R"(<Volume Name="v" StartPrep="1"/>)");
    EXPECT_EQ(CountLog("RAIDPREP: Ignoring invalid raidprep request"), 1);
    m_controller->prepDone = true;
    Housekeeping();
    EXPECT_TRUE(m_controller->prepDone) << "not asked";
    EXPECT_THAT(LastConfig(), HasSubstr(R"(<Controller Told="" />)"));
}

TEST_F(Controller, AnotherUnitIsAChange)
{
    Start();
    const std::size_t saved = Configs().size();
    Scan();
    EXPECT_EQ(Configs().size(), saved);
    m_controller->unit = "/c0/v2";
    Scan();
    EXPECT_EQ(Configs().size(), saved + 1);
}

TEST_F(Controller, OnlyADiskOfAUnitIsMissed)
{
    Start();
    m_controller->disksAnswer = false;
    Scan();
    Scan();
    EXPECT_EQ(CountLog(kRemoved), 1);
    Stop();

    m_host.Forget();
    m_dir.Write(kConfigurationFile, "");
    m_controller->disksAnswer = true;
    m_controller->unit = "";
    Start();
    m_controller->disksAnswer = false;
    const std::size_t saved = Configs().size();
    Scan();
    EXPECT_EQ(CountLog(kRemoved), 0);
    EXPECT_EQ(Configs().size(), saved) << "not counted either";
}

TEST_F(Controller, HotSpareRequestsWaitForEachOther)
{
    const auto hotSpare = [this](int on)
    { ConfigureStorage(R"(<Disk Name="/c0/e1/s4" Hotspare=")" + std::to_string(on) + R"("/>)"); };
    Start();
    m_host.Forget();
    Asked();
    hotSpare(1);
    EXPECT_THAT(Asked(), ElementsAre("hot spare /c0/e1/s4 on", "disks", "volumes", "supports 5 /c0/v1",
                                     "prep status"));
    EXPECT_EQ(CountLog("ProcessConfigUpdate calling UpdateStorage"), 1);

    // Refused by the controller: nothing changed, and the refresh stays pending.
    m_controller->hotSpareResult = 0;
    hotSpare(0);
    m_host.Forget();
    Asked();
    hotSpare(1);
    ConfigureStorage(kRefresh);
    Housekeeping(std::chrono::seconds(60));
    EXPECT_THAT(m_host.LogTexts(), ElementsAre("HOTSPARE: ignore request while refreshing controller"));
    EXPECT_THAT(Asked(), ElementsAre());
}
} // namespace
