#include "frame/Log.h"
#include "tests/manager/ManagerRig.h"

namespace
{
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr const char* kAdaptecLine =
    "Adaptec RAID controller detected - self-test operations are not supported for RAID-attached disks";
constexpr const char* kRefresh =
    R"(<zDVR Delta="1"><Storage ID="3604480"><Refresh Controllers="all"/></Storage></zDVR>)";
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

    void Scan()
    {
        const int scans = CountProgram({"./smartctl", "-j", "--scan"});
        Pass(std::chrono::seconds(60),
             [scans](const CFakeHost::Record& told)
             {
                 return std::count(told.programs.begin(), told.programs.end(),
                                   CFakeHost::Arguments{"./smartctl", "-j", "--scan"}) > scans;
             });
    }

    // One period of the scan timer in which nothing may be scanned.
    void PassQuietly()
    {
        const int polls = m_chip->polls;
        Pass(std::chrono::seconds(60),
             [this, polls](const CFakeHost::Record&) { return m_chip->polls > polls; });
    }

    // What was asked of the controller since.
    std::vector<std::string> Asked()
    {
        std::vector<std::string> calls = m_controller->calls.All();
        m_controller->calls.Clear();
        return calls;
    }
};

TEST_F(Controller, IsDetectedAndPreparationIsDecidedAtTheStart)
{
    Start();
    EXPECT_THAT(Asked(),
                ElementsAre("lsi", "controller", "disks", "volumes", "supports 5 /c0/v1", "prep status"));
    EXPECT_THAT(Documents(MessageCategory::StatusDocument),
                ElementsAre(testing::AllOf(HasSubstr(R"(<Storage ID="3604480"><Disk Name="/c0/e1/s4")"),
                                           HasSubstr(R"(Alarm="0" /><Controller /><Volume /></Storage>)"))));
    const std::string document = LastDocument(MessageCategory::ConfigDocument);
    EXPECT_THAT(document, HasSubstr(R"(CannotDeleteThreshold="1"><Controller Told="level layout" /><Disk )"));
    EXPECT_THAT(document, HasSubstr(R"(<Drive Name="/data" />)"));
    EXPECT_THAT(document, HasSubstr(R"(StorageRows="2")"));
    EXPECT_THAT(document, HasSubstr(R"(<Threshold Id="194" Min="5" Max="55" />)"))
        << "nobody gave it a range";
    // Tools, preparation, storage pass, end of the start, sensors.
    EXPECT_EQ(Documents(MessageCategory::ConfigDocument).size(), 5U);
}

TEST_F(Controller, OfTheFirstKindWinsAndWithARaid1UnitTakesTheLayout)
{
    const auto lsi = m_environment.lsi;
    UseController(false);
    m_environment.lsi = lsi;
    m_controller->Change([](ControllerState& state) { state.raid1 = true; });
    m_dir.Write("tqsysteminfo.xml",
                R"(<x><family value="q_series"/><Drives StorageRows="2" StorageCols="4"/></x>)");
    Start();
    EXPECT_EQ(Asked().front(), "lsi q");
    EXPECT_EQ(CountLog(kAdaptecLine), 0);
    EXPECT_THAT(LastDocument(MessageCategory::ConfigDocument), Not(HasSubstr("StorageRows")));
}

TEST_F(Controller, ThatIsNotThereIsLookedForAtEachScan)
{
    m_environment.lsi.version = [] { return ToolVersion{.error = "none"}; };
    UseController(false);
    m_controller->Change([](ControllerState& state) { state.present = false; });
    Start();
    Scan();
    EXPECT_THAT(Asked(), ElementsAre("adaptec", "controller", "adaptec", "controller"));
    EXPECT_EQ(CountLog(kAdaptecLine), 2);
    m_controller->Change([](ControllerState& state) { state.present = true; });
    Scan();
    EXPECT_THAT(Asked(),
                ElementsAre("adaptec", "controller", "disks", "volumes", "supports 5 /c0/v1", "prep status"));
    EXPECT_EQ(CountLog("ScanStorage: Refresh start"), 1);
    Scan();
    EXPECT_THAT(Asked(), ElementsAre("controller", "disks", "volumes"));
}

TEST_F(Controller, AChangedOneIsScannedThoroughly)
{
    Start();
    Asked();
    m_controller->Change([](ControllerState& state) { state.changed = true; });
    Scan();
    EXPECT_THAT(Asked(), ElementsAre("controller", "disks", "volumes", "supports 5 /c0/v1", "prep status"));
}

TEST_F(Controller, ABusyOneIsLeftAlone)
{
    Start();
    m_controller->Change([](ControllerState& state) { state.busy = true; });
    m_host.Forget();
    Asked();
    PassQuietly();
    Configure(kRefresh);
    EXPECT_THAT(Asked(), ElementsAre());
    EXPECT_THAT(m_host.LogTexts(),
                ElementsAre("Storage hardware refresh request ignored while raidprep busy"));
}

TEST_F(Controller, APreparationsEndIsFollowedByAScan)
{
    Start();
    Asked();
    m_host.Forget();
    m_controller->Change([](ControllerState& state) { state.prepDone = true; });
    Housekeeping();
    EXPECT_THAT(m_host.LogTexts(LogInfo),
                testing::Contains("RAIDPREP: CheckRaidPrep refreshing mounts and rescanning hardware"));
    EXPECT_EQ(CountProgram({"scripts/sysinfo.sh"}), 1);
    EXPECT_THAT(Asked(), ElementsAre("controller", "disks", "volumes"));
    EXPECT_EQ(Documents(MessageCategory::ConfigDocument).size(), 1U);
}

struct VolumeCase
{
    const char* name;
    const char* attributes;
    const char* line;
    bool started;
};

constexpr auto kVolumeCases = std::to_array<VolumeCase>({
    {"Start", R"(Name="v 1" StartPrep="2")", "RAIDPREP: calling StartPrep on v 1.", true},
    {"Stop", R"(Name="v 1" StartPrep="0")", "RAIDPREP: stop request unsupported.", false},
    {"NoName", R"(StartPrep="1")", "RAIDPREP: Ignoring invalid raidprep request", false},
    {"EmptyName", R"(Name="" StartPrep="1")", "RAIDPREP: Ignoring invalid raidprep request", false},
    {"NoStartPrep", R"(Name="v 1")", "RAIDPREP: Ignoring invalid raidprep request", false},
});

class VolumeRequest : public Controller, public testing::WithParamInterface<VolumeCase>
{
};

TEST_P(VolumeRequest, IsAnsweredInTheLog)
{
    Start();
    m_host.Forget();
    Asked();
    Request(std::string(R"(<Storage ID="3604480" SelfTest="0"><Volume )") + GetParam().attributes +
            "/></Storage>");
    EXPECT_THAT(m_host.LogTexts(LogInfo), ElementsAre(GetParam().line));
    EXPECT_EQ(m_controller->calls.Count("start v 1"), GetParam().started ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(Cases, VolumeRequest, testing::ValuesIn(kVolumeCases),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(Controller, WithoutAKnownLevelNothingIsPrepared)
{
    m_dir.Write("tqsysteminfo.xml", "<x/>");
    Start();
    EXPECT_THAT(Asked(), ElementsAre("lsi", "controller", "disks", "volumes"));
    Request(R"(<Storage ID="3604480"><Volume Name="v" StartPrep="1"/></Storage>)");
    EXPECT_EQ(CountLog("RAIDPREP: Ignoring invalid raidprep request"), 1);
    m_controller->Change([](ControllerState& state) { state.prepDone = true; });
    Housekeeping();
    EXPECT_TRUE(m_controller->Get().prepDone) << "not asked";
    EXPECT_THAT(LastDocument(MessageCategory::ConfigDocument), HasSubstr(R"(<Controller Told="" />)"));
}

TEST_F(Controller, AnotherUnitIsAChange)
{
    Start();
    const std::size_t saved = Documents(MessageCategory::ConfigDocument).size();
    Scan();
    EXPECT_EQ(Documents(MessageCategory::ConfigDocument).size(), saved);
    m_controller->Change([](ControllerState& state) { state.unit = "/c0/v2"; });
    Scan();
    EXPECT_EQ(Documents(MessageCategory::ConfigDocument).size(), saved + 1);
}

TEST_F(Controller, OnlyADiskOfAUnitIsMissed)
{
    Start();
    m_controller->Change([](ControllerState& state) { state.disksAnswer = false; });
    Scan();
    Scan();
    EXPECT_EQ(CountLog(kRemoved), 1);
    Stop();

    m_host.Forget();
    m_dir.Write(kConfigurationFile, "");
    m_controller->Change(
        [](ControllerState& state)
        {
            state.disksAnswer = true;
            state.unit = "";
        });
    Start();
    m_controller->Change([](ControllerState& state) { state.disksAnswer = false; });
    const std::size_t saved = Documents(MessageCategory::ConfigDocument).size();
    Scan();
    EXPECT_EQ(CountLog(kRemoved), 0);
    EXPECT_EQ(Documents(MessageCategory::ConfigDocument).size(), saved) << "not counted either";
}

TEST_F(Controller, HotSpareRequestsWaitForEachOther)
{
    const auto hotSpare = [](int on)
    {
        return R"(<zDVR Delta="1"><Storage ID="3604480"><Disk Name="/c0/e1/s4" Hotspare=")" +
               std::to_string(on) + R"("/></Storage></zDVR>)";
    };
    Start();
    m_host.Forget();
    Asked();
    Configure(hotSpare(1));
    EXPECT_THAT(Asked(), ElementsAre("hot spare /c0/e1/s4 on", "disks", "volumes", "supports 5 /c0/v1",
                                     "prep status"));
    EXPECT_EQ(CountLog("ProcessConfigUpdate calling UpdateStorage"), 1);

    // Refused by the controller: nothing changed, and the refresh stays pending.
    m_controller->Change([](ControllerState& state) { state.hotSpareResult = 0; });
    Configure(hotSpare(0));
    m_host.Forget();
    Asked();
    Configure(hotSpare(1));
    Configure(kRefresh);
    PassQuietly();
    EXPECT_THAT(m_host.LogTexts(), ElementsAre("HOTSPARE: ignore request while refreshing controller"));
    EXPECT_THAT(Asked(), ElementsAre());
}
} // namespace
