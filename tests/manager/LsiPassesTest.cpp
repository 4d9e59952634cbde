// Storage passes with a real controller object: what they start, and what the host is told.
#include "frame/Log.h"
#include "host/SimTime.h"
#include "raid/RaidTools.h"
#include "tests/manager/ManagerRig.h"
#include "tests/support/StorcliTexts.h"

namespace
{
using storcli::kController;
using storcli::kDisks;
using storcli::kEnclosures;
using storcli::kSmart;
using storcli::kVolumes;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using Programs = std::vector<CFakeHost::Arguments>;

const CFakeHost::Arguments kScan{"./smartctl", "-j", "--scan"};
const CFakeHost::Arguments kReport{"./smartctl",     "-j", "-T",        "permissive", "-d",
                                   "sat+megaraid,6", "-a", "/dev/bus/0"};
const CFakeHost::Arguments kFreeReport{"./smartctl",     "-j", "-T",        "permissive", "-d",
                                       "sat+megaraid,7", "-a", "/dev/bus/0"};

// A data volume and two drives, the second free.
class LsiPasses : public ManagerRig
{
protected:
    LsiPasses()
    {
        m_hasChip = true;
        m_environment.lsi = {.version = [] { return ToolVersion{.toolName = "storcli", .version = "1.2.3"}; },
                             .create = [clock = m_environment.clock](bool qSeries)
                             { return CreateLsiController(qSeries, clock); }};
        Answer(kController, {.output = storcli::Controller(m_drives)});
        Answer(kEnclosures, {.output = storcli::Enclosures()});
        AnswerVolume("Optl");
        Answer(kDisks, {.output = storcli::Disks(m_drives)});
        Answer(kSmart, {.output = storcli::Success(storcli::Smart("/c0/e252/s4"))});
        Answer(kReport, {.output = ReportJson("S1", 40, 0)});
        Answer(kFreeReport, {.output = R"({"smartctl":{"exit_status":2}})", .exitCode = 2});
    }

    void AnswerVolume(const std::string& state, const std::string& ids = "1/4")
    {
        Answer(kVolumes, {.output = storcli::Volumes({{.ids = ids, .type = "RAID5", .state = state}})});
    }

    // What was started since, the controller's tool and smartctl only.
    Programs Started()
    {
        Programs programs = m_host.Programs();
        std::erase_if(programs, [](const auto& arguments)
                      { return arguments.front() != "storcli" && arguments.front() != "./smartctl"; });
        m_host.Forget();
        return programs;
    }

    void Scan()
    {
        Pass(std::chrono::seconds(60), [](const CFakeHost::Record& told)
             { return std::count(told.programs.begin(), told.programs.end(), kScan) > 0; });
    }

    std::vector<storcli::Drive> m_drives{
        {.slot = "4", .did = "6", .dg = "1"},
        {.slot = "5", .did = "7", .state = "UGood", .dg = "\"-\"", .serial = "S2"}};
    const Programs m_quick{kController, kEnclosures, kVolumes, kDisks, kSmart, kScan, kVolumes};
    const Programs m_full{kController, kEnclosures, kVolumes, kDisks,     kSmart,
                          kScan,       kVolumes,    kReport,  kFreeReport};
};

TEST_F(LsiPasses, EachStartsWhatItNeedsAndNoMore)
{
    Start();
    Programs started = Started();
    started.erase(started.begin()); // smartctl's version
    EXPECT_EQ(started, m_full) << "start";

    Scan();
    EXPECT_EQ(Started(), m_quick) << "scan without a change";
    AnswerVolume("Dgrd");
    Scan();
    EXPECT_EQ(Started(), m_quick) << "a state is no change of the configuration";
    AnswerVolume("Dgrd", "1/5");
    Scan();
    EXPECT_EQ(Started(), m_full) << "scan that finds another volume";

    const Programs refresh{kDisks, kSmart, kScan, kVolumes, kReport, kFreeReport};
    Configure(R"(<zDVR Delta="1"><Storage ID="3604480"><Refresh Controllers="all"/></Storage></zDVR>)");
    EXPECT_EQ(Started(), refresh) << "the host's refresh";

    const CFakeHost::Arguments spare{"storcli", "/c0/e252/s5", "add", "hotsparedrive", "J"};
    Answer(spare, {.output = storcli::Success("")});
    Configure(
        R"(<zDVR Delta="1"><Storage ID="3604480"><Disk Name="/c0/e252/s5" Hotspare="1"/></Storage></zDVR>)");
    Programs withSpare{spare};
    withSpare.insert(withSpare.end(), refresh.begin(), refresh.end());
    EXPECT_EQ(Started(), withSpare) << "a hot spare";

    Housekeeping();
    EXPECT_THAT(Started(), IsEmpty()) << "status";
    Configure(
        R"(<zDVR Delta="1"><Storage ID="3604480"><Disk Name="/c0/e252/s5" Hotspare="0"/></Storage></zDVR>)");
    EXPECT_THAT(Started(), IsEmpty()) << "a request that changes nothing";
}

// The end comes while the volumes are asked for, once for the controller and once for the status.
class EndOfLsiPasses : public LsiPasses, public testing::WithParamInterface<int>
{
};

TEST_P(EndOfLsiPasses, AQueryCutOffIsNoAlarm)
{
    Start();
    m_host.Forget();
    for (int answered = 0; answered < GetParam(); ++answered)
    {
        m_host.OnProgram(kVolumes, {.output = storcli::Volumes({{.ids = "1/4", .type = "RAID5"}})});
    }
    m_host.OnProgram(kVolumes, {.hang = true});
    host::simtime::Advance(std::chrono::seconds(60));
    EXPECT_TRUE(WaitUntil([this](const CFakeHost::Record&) { return m_host.HangingCount() > 0; }));
    const std::size_t programs = m_host.Programs().size();
    Close();
    Join();
    EXPECT_EQ(m_host.Programs().size(), programs);
    EXPECT_TRUE(m_host.Documents().empty());
    Unload();
}
INSTANTIATE_TEST_SUITE_P(Queries, EndOfLsiPasses, testing::Values(0, 1));

TEST_F(LsiPasses, OnTheQSeriesTheToolIsNotAskedForSmartData)
{
    m_dir.Write("tqsysteminfo.xml", R"(<x><family value="q_series"/></x>)");
    Start();
    Programs started = Started();
    started.erase(started.begin());
    EXPECT_THAT(started, ElementsAre(kController, kEnclosures, kVolumes, kDisks, kScan, kVolumes, kReport,
                                     kFreeReport));
}

TEST_F(LsiPasses, TheHostIsToldControllerUnitsAndDisks)
{
    Answer({"scripts/sysinfo.sh"},
           {.output = "motherboard-vendor=ACME\nraid-volume=/c0/v4\nraid-fspath=/data\n"});
    m_dir.Write("tqsysteminfo.xml", R"(<x><Drives StorageRows="2" StorageCols="4"/></x>)");
    Start();
    EXPECT_THAT(LastDocument(MessageCategory::StatusDocument),
                AllOf(HasSubstr(R"(<Disk Name="/c0/e252/s4" Message="Healthy")"),
                      HasSubstr(R"(<Disk Name="/c0/e252/s5" Message="Healthy")"),
                      HasSubstr(R"(<Controller Name="/c0" Alarm="0" Time="1700395200" Message="Healthy" />)"
                                R"(<Volume Name="/c0/v4" Time="1700395200" Alarm="0" Message="Optl" />)")));
    EXPECT_THAT(
        LastDocument(MessageCategory::ConfigDocument),
        AllOf(
            HasSubstr(R"(<Controller Name="/c0" Model="RAID 8i" SerialNumber="SV1")"),
            HasSubstr(R"(ControllerName="/c0" UnitName="/c0/v4" OtherName="/c0/e252/s4")"),
            HasSubstr(
                R"(Attached="1" RaidPort="4" VolumeIndex="4" DID="6" SupportsPrep="0"><Drives><Drive Name="/data")"),
            HasSubstr(R"(CanConfigureHotSpare="1")"),
            HasSubstr(R"(<Attribute Id="194" Flag="34" CurrentValue="40" WorstValue="50")"),
            HasSubstr(R"(<Attribute Id="194" Flag="0" CurrentValue="34" WorstValue="0")")))
        << "through smartctl, and from the controller where smartctl fails";
}

TEST_F(LsiPasses, AFailedDriveAndAFailedToolAreAlarmsUntilTheyPass)
{
    Start();
    m_drives[0].state = "Failed";
    Answer(kDisks, {.output = storcli::Disks(m_drives)});
    Answer(kVolumes, {.output = "Killed", .exitCode = 137});
    m_host.Forget();
    Scan();
    EXPECT_THAT(LastDocument(MessageCategory::StatusDocument),
                AllOf(HasSubstr(R"(<Disk Name="/c0/e252/s4" Message="Failed" Time=)"),
                      HasSubstr(R"(Alarm="1" Message="storcli error 137" />)"),
                      Not(HasSubstr("<Controller"))));
    EXPECT_EQ(CountLog("Failed to refresh RAID volumes - storcli error 137"), 1);

    m_drives[0].state = "Onln";
    Answer(kDisks, {.output = storcli::Disks(m_drives)});
    AnswerVolume("Optl");
    m_host.Forget();
    Scan();
    EXPECT_THAT(LastDocument(MessageCategory::StatusDocument),
                AllOf(HasSubstr(R"(<Disk Name="/c0/e252/s4" Message="Healthy")"),
                      HasSubstr(R"(Alarm="0" Message="Optl" />)")));

    Answer(kDisks, {.startError = 2});
    m_host.Forget();
    Scan();
    EXPECT_THAT(LastDocument(MessageCategory::StatusDocument),
                HasSubstr(R"(<Disk Name="/c0/e252/s4" Message="Offline")"));
    EXPECT_EQ(CountLog("Plugin detected disk '/c0/e252/s4' has been removed"), 1);
    EXPECT_EQ(CountLog("Plugin detected disk '/c0/e252/s5' has been removed"), 0) << "outside every unit";
}
} // namespace
