#include "frame/Log.h"
#include "tests/manager/ManagerRig.h"

namespace
{
using testing::HasSubstr;

std::string Range(const std::string& disk, int min, int max)
{
    return R"(<Disk Name=")" + disk + R"("><Thresholds><Threshold Id="194" Min=")" + std::to_string(min) +
           R"(" Max=")" + std::to_string(max) + R"("/></Thresholds></Disk>)";
}

// A request that would be followed, with this replaced in it.
std::string Spoiled(const std::string& from, const std::string& to)
{
    std::string text = StorageDocument(kRefresh);
    return text.replace(text.find(from), from.size(), to);
}

// One disk, /dev/sda with serial number S1.
class HostRequests : public ManagerRig
{
protected:
    HostRequests()
    {
        AnswerScan({"/dev/sda"});
        AnswerReport("/dev/sda", "S1", 30);
    }

    int Updates() { return CountLog("ProcessConfigUpdate calling UpdateStorage"); }
};

TEST_F(HostRequests, AVolumeRequestWithoutAControllerIsInvalidAndEndsItsDocument)
{
    Start();
    m_host.Forget();
    Request(R"(<Storage ID="1"><Volume/></Storage>)");
    EXPECT_TRUE(m_host.LogTexts().empty()) << "somebody else's";
    const std::string volume = R"(<Storage ID="3604480"><Volume Name="v" StartPrep="1"/></Storage>)";
    Request(volume + volume);
    EXPECT_THAT(m_host.LogTexts(), testing::ElementsAre("RAIDPREP: Ignoring invalid raidprep request"));
}

TEST_F(HostRequests, ASelfTestCommandEndsItsDocument)
{
    Start();
    m_host.Forget();
    const std::string volume = R"(<Storage ID="3604480"><Volume/></Storage>)";
    Request(R"(<Storage ID="3604480" SelfTest="0"><Disk Name="/dev/sda" SelfTest="1"/></Storage>)" + volume);
    Request(R"(<Storage ID="3604480"><Disk Name="/dev/sda" SelfTest="2"/></Storage>)" + volume);
    EXPECT_TRUE(m_host.LogTexts().empty());
    Request(R"(<Storage ID="3604480"><Disk Name="/dev/sdz" SelfTest="2"/></Storage>)" + volume);
    EXPECT_EQ(m_host.LogTexts().size(), 1U) << "an unknown disk is passed over";
}

TEST_F(HostRequests, ADiskIsPreparedAndTheDescriptionReadAgain)
{
    // A disk that has a controller's name needs preparation as well, but not through the plug-in.
    m_dir.Write(kConfigurationFile,
                R"(<zDVR><Storage><Disk SerialNumber="S9" OtherName="x" RaidPort="7"/></Storage></zDVR>)");
    AnswerSysInfo("motherboard-vendor=ACME\ndrive-index=0\ndrive-serial=S1\ndrive-needs-prep=1\n"
                  "drive-index=1\ndrive-serial=S9\ndrive-needs-prep=1\n");
    Answer({"scripts/driveprep.sh", "prep", "S1"}, {});
    Start();
    RequestStorage(R"(<Disk Name="S9" StartPrep="1"/>)");
    EXPECT_EQ(CountProgram({"scripts/driveprep.sh", "prep", "S9"}), 0);
    EXPECT_EQ(CountProgram({"scripts/sysinfo.sh"}), 1);
    RequestStorage(R"(<Disk Name="/dev/sda" StartPrep="0"/>)");
    EXPECT_EQ(CountProgram({"scripts/driveprep.sh", "prep", "S1"}), 0);
    RequestStorage(R"(<Disk Name="/dev/sdz" StartPrep="1"/><Disk Name="/dev/sda" StartPrep="1"/>)");
    EXPECT_EQ(CountProgram({"scripts/driveprep.sh", "prep", "S1"}), 1);

    AnswerSysInfo("motherboard-vendor=ACME\ndrive-index=0\ndrive-serial=S1\ndrive-fspath=/data\n");
    const std::size_t saved = Configs().size();
    Pass(std::chrono::seconds(5), [this, saved] { return Configs().size() > saved; });
    EXPECT_EQ(CountLog("DRIVEPREP: completed on disk [/dev/sda] serial [S1]"), 1);
    EXPECT_THAT(LastConfig(), HasSubstr(R"(<Drive Name="/data" />)"));
}

const std::pair<const char*, std::string> kDroppedCases[] = {
    {"NoXml", "Delta"},
    {"OtherRoot", R"(<x Delta="1"><Storage ID="3604480"><Refresh Controllers="all"/></Storage></x>)"},
    {"NoDelta", Spoiled(R"( Delta="1")", "")},
    {"DeltaZero", Spoiled(R"(Delta="1")", R"(Delta="0")")},
    {"ForeignId", Spoiled("3604480", "3604481")},
    {"MissingIdStops", Spoiled("<Storage", "<Storage/><Storage")},
    {"OtherControllers", Spoiled("all", "none")},
    {"RefreshHidesDisks", StorageDocument("<Refresh/>" + Range("/dev/sda", 1, 2))},
    {"SameRange", StorageDocument(Range("/dev/sda", 5, 55))},
    {"UnknownDisk", StorageDocument(Range("/dev/sdz", 1, 2))},
    {"SameSchedule", StorageDocument(R"(<SelfTestSchedule SelfTest="0" Days="127" Start="3600"/>)")},
};

TEST_F(HostRequests, DroppedChangesDoNothingAndGiveTheBufferBack)
{
    Start();
    for (const auto& [name, text] : kDroppedCases)
    {
        SCOPED_TRACE(name);
        m_host.Forget();
        Configure(text);
        const CFakeHost::Record told = m_host.Told();
        EXPECT_TRUE(told.log.empty());
        EXPECT_TRUE(told.documents.empty());
        EXPECT_TRUE(told.programs.empty());
        EXPECT_EQ(told.releases.size(), 1U);
    }
}

TEST_F(HostRequests, AChangedRangeIsSavedAndScannedQuickly)
{
    Start();
    m_host.Forget();
    // An element of somebody else's before it is passed over.
    Configure(R"(<zDVR Delta="1"><Storage ID="5"/><Storage ID="3604480">)" + Range("/dev/sda", 31, 60) +
              "</Storage></zDVR>");
    EXPECT_EQ(Updates(), 1);
    EXPECT_THAT(m_host.Programs(), testing::ElementsAre(testing::ElementsAre("./smartctl", "-j", "--scan")));
    EXPECT_THAT(LastStatus(), HasSubstr("threshold exceeded"));
    EXPECT_EQ(Configs().size(), 1U) << "a quick pass without changes saves nothing";
}

TEST_F(HostRequests, AChangedScheduleIsSaved)
{
    Start();
    ConfigureStorage(R"(<SelfTestSchedule SelfTest="0" Days="127" Start="7200"/>)");
    EXPECT_EQ(Updates(), 1);
}

TEST_F(HostRequests, ARefreshLooksAtEverythingAgain)
{
    Start();
    AnswerScan({"/dev/sda", "/dev/sdb"});
    AnswerReport("/dev/sdb", "S2", 30);
    m_host.Forget();
    ConfigureStorage(R"(<Refresh Controllers="one, ALL"/><Refresh Controllers="all"/>)");
    EXPECT_EQ(CountLog("Storage hardware refresh requested"), 1) << "the second finds it pending";
    EXPECT_EQ(CountProgram({"scripts/sysinfo.sh"}), 1);
    EXPECT_EQ(Updates(), 1);
    EXPECT_EQ(CountLog("RAIDPREP: UpdateStorage calling SetSupportsPrep"), 1);
    EXPECT_THAT(LastConfig(), HasSubstr(R"(<Disk Name="/dev/sdb")"));
    ConfigureStorage(kRefresh);
    EXPECT_EQ(Updates(), 2) << "the first is no longer pending";
}

TEST_F(HostRequests, DocumentsOfNoLengthAreTitledAndGivenBack)
{
    m_dir.Write(kConfigurationFile, R"(<zDVR><Storage TqselftestLogEnabled="1"/></zDVR>)");
    Start();
    m_host.Forget();
    const char text[] = "<zDVR/>";
    m_manager->PostStatusUpdate(text, -1);
    AwaitRelease(text);
    m_manager->PostStatusUpdate(nullptr, 0);
    AwaitRelease(nullptr);
    EXPECT_TRUE(m_manager->PostConfigUpdate(1, text));
    EXPECT_FALSE(m_manager->PostConfigUpdate(0, text));
    m_manager->PostWatchdogPing();
    EXPECT_TRUE(WaitUntil([this] { return m_host.Told().releases.size() == 3; }));
    EXPECT_TRUE(WaitUntil([this] { return m_host.Told().log.size() == 4; }));
    EXPECT_THAT(m_host.LogTexts(LogInfo),
                testing::UnorderedElementsAre("CORVANEPI: Status Update", "CORVANEPI: Status Update",
                                              "CORVANEPI: Config update", "CORVANEPI: Ping Watchdog"));
}
} // namespace
