#include "frame/Log.h"
#include "tests/manager/ManagerRig.h"

namespace
{
using testing::HasSubstr;

constexpr const char* kRefresh =
    R"(<zDVR Delta="1"><Storage ID="3604480"><Refresh Controllers="All"/></Storage></zDVR>)";

std::string Change(const std::string& children, const std::string& delta = "1",
                   const std::string& id = "3604480")
{
    return "<zDVR Delta=\"" + delta + "\"><Storage ID=\"" + id + "\">" + children + "</Storage></zDVR>";
}

std::string Range(int min, int max)
{
    return R"(<Disk Name="/dev/sda"><Thresholds><Threshold Id="194" Min=")" + std::to_string(min) +
           R"(" Max=")" + std::to_string(max) + R"("/></Thresholds></Disk>)";
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
    Request(
        R"(<Storage ID="3604480"><Volume Name="v" StartPrep="1"/></Storage><Storage ID="3604480"><Volume/></Storage>)");
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
    Request(R"(<Storage ID="3604480"><Disk Name="S9" StartPrep="1"/></Storage>)");
    EXPECT_EQ(CountProgram({"scripts/driveprep.sh", "prep", "S9"}), 0);
    EXPECT_EQ(CountProgram({"scripts/sysinfo.sh"}), 1);
    Request(R"(<Storage ID="3604480"><Disk Name="/dev/sda" StartPrep="0"/></Storage>)");
    EXPECT_EQ(CountProgram({"scripts/driveprep.sh", "prep", "S1"}), 0);
    Request(
        R"(<Storage ID="3604480"><Disk Name="/dev/sdz" StartPrep="1"/><Disk Name="/dev/sda" StartPrep="1"/></Storage>)");
    EXPECT_EQ(CountProgram({"scripts/driveprep.sh", "prep", "S1"}), 1);

    AnswerSysInfo("motherboard-vendor=ACME\ndrive-index=0\ndrive-serial=S1\ndrive-fspath=/data\n");
    const std::size_t saved = Documents(MessageCategory::ConfigDocument).size();
    Pass(std::chrono::seconds(5),
         [this, saved](const CFakeHost::Record& told)
         {
             return static_cast<std::size_t>(std::count_if(told.documents.begin(), told.documents.end(),
                                                           [](const auto& document)
                                                           { return document.category == 256; })) > saved;
         });
    EXPECT_EQ(CountLog("DRIVEPREP: completed on disk [/dev/sda] serial [S1]"), 1);
    EXPECT_THAT(LastDocument(MessageCategory::ConfigDocument), HasSubstr(R"(<Drive Name="/data" />)"));
}

struct DroppedCase
{
    const char* name;
    const char* text;
};

constexpr auto kDroppedCases = std::to_array<DroppedCase>({
    {"NoXml", "Delta"},
    {"OtherRoot", R"(<x Delta="1"><Storage ID="3604480"><Refresh Controllers="all"/></Storage></x>)"},
    {"NoDelta", R"(<zDVR><Storage ID="3604480"><Refresh Controllers="all"/></Storage></zDVR>)"},
    {"DeltaZero", R"(<zDVR Delta="0"><Storage ID="3604480"><Refresh Controllers="all"/></Storage></zDVR>)"},
    {"ForeignId", R"(<zDVR Delta="1"><Storage ID="3604481"><Refresh Controllers="all"/></Storage></zDVR>)"},
    {"MissingIdStops",
     R"(<zDVR Delta="1"><Storage/><Storage ID="3604480"><Refresh Controllers="all"/></Storage></zDVR>)"},
    {"OtherControllers",
     R"(<zDVR Delta="1"><Storage ID="3604480"><Refresh Controllers="none"/></Storage></zDVR>)"},
    {"RefreshHidesDisks",
     R"(<zDVR Delta="1"><Storage ID="3604480"><Refresh/><Disk Name="/dev/sda"><Thresholds>)"
     R"(<Threshold Id="194" Min="1" Max="2"/></Thresholds></Disk></Storage></zDVR>)"},
    {"SameRange", R"(<zDVR Delta="1"><Storage ID="3604480"><Disk Name="/dev/sda"><Thresholds>)"
                  R"(<Threshold Id="194" Min="5" Max="55"/></Thresholds></Disk></Storage></zDVR>)"},
    {"UnknownDisk", R"(<zDVR Delta="1"><Storage ID="3604480"><Disk Name="/dev/sdz"><Thresholds>)"
                    R"(<Threshold Id="194" Min="1" Max="2"/></Thresholds></Disk></Storage></zDVR>)"},
    {"SameSchedule",
     R"(<zDVR Delta="1"><Storage ID="3604480"><SelfTestSchedule SelfTest="0" Days="127" Start="3600"/></Storage></zDVR>)"},
});

class DroppedChanges : public HostRequests, public testing::WithParamInterface<DroppedCase>
{
};

TEST_P(DroppedChanges, DoNothingAndGiveTheBufferBack)
{
    Start();
    m_host.Forget();
    Configure(GetParam().text);
    const CFakeHost::Record told = m_host.Told();
    EXPECT_TRUE(told.log.empty());
    EXPECT_TRUE(told.documents.empty());
    EXPECT_TRUE(told.programs.empty());
    EXPECT_EQ(told.releases.size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Cases, DroppedChanges, testing::ValuesIn(kDroppedCases),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(HostRequests, AChangedRangeIsSavedAndScannedQuickly)
{
    Start();
    m_host.Forget();
    // An element of somebody else's before it is passed over.
    Configure(R"(<zDVR Delta="1"><Storage ID="5"/><Storage ID="3604480">)" + Range(31, 60) +
              "</Storage></zDVR>");
    EXPECT_EQ(Updates(), 1);
    EXPECT_THAT(m_host.Programs(), testing::ElementsAre(testing::ElementsAre("./smartctl", "-j", "--scan")));
    EXPECT_THAT(LastDocument(MessageCategory::StatusDocument), HasSubstr("threshold exceeded"));
    EXPECT_EQ(Documents(MessageCategory::ConfigDocument).size(), 1U)
        << "a quick pass without changes saves nothing";
}

TEST_F(HostRequests, AChangedScheduleIsSaved)
{
    Start();
    Configure(Change(R"(<SelfTestSchedule SelfTest="0" Days="127" Start="7200"/>)"));
    EXPECT_EQ(Updates(), 1);
    Configure(Change(R"(<SelfTestSchedule SelfTest="0" Days="127" Start="7200"/>)"));
    EXPECT_EQ(Updates(), 1) << "no change the second time";
}

TEST_F(HostRequests, ARefreshLooksAtEverythingAgain)
{
    Start();
    AnswerScan({"/dev/sda", "/dev/sdb"});
    AnswerReport("/dev/sdb", "S2", 30);
    m_host.Forget();
    Configure(Change(R"(<Refresh Controllers="one, ALL"/><Refresh Controllers="all"/>)"));
    EXPECT_EQ(CountLog("Storage hardware refresh requested"), 1) << "the second finds it pending";
    EXPECT_EQ(CountProgram({"scripts/sysinfo.sh"}), 1);
    EXPECT_EQ(Updates(), 1);
    EXPECT_EQ(CountLog("RAIDPREP: UpdateStorage calling SetSupportsPrep"), 1);
    EXPECT_THAT(LastDocument(MessageCategory::ConfigDocument), HasSubstr(R"(<Disk Name="/dev/sdb")"));
    Configure(kRefresh);
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
    EXPECT_TRUE(WaitUntil([](const CFakeHost::Record& told) { return told.releases.size() == 3; }));
    EXPECT_TRUE(WaitUntil([](const CFakeHost::Record& told) { return told.log.size() == 4; }));
    EXPECT_THAT(m_host.LogTexts(LogInfo),
                testing::UnorderedElementsAre("CORVANEPI: Status Update", "CORVANEPI: Status Update",
                                              "CORVANEPI: Config update", "CORVANEPI: Ping Watchdog"));
}
} // namespace
