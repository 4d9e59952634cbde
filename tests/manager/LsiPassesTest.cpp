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
using testing::ElementsAre;
using testing::IsEmpty;

using Programs = std::vector<CFakeHost::Arguments>;

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
        Answer(kReport, {.output = ReportJson("S1", 40)});
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
    ConfigureStorage(kRefresh);
    EXPECT_EQ(Started(), refresh) << "the host's refresh";

    const CFakeHost::Arguments spare{"storcli", "/c0/e252/s5", "add", "hotsparedrive", "J"};
    Answer(spare, {.output = storcli::Success("")});
    ConfigureStorage(R"(<Disk Name="/c0/e252/s5" Hotspare="1"/>)");
    Programs withSpare{spare};
    withSpare.insert(withSpare.end(), refresh.begin(), refresh.end());
    EXPECT_EQ(Started(), withSpare) << "a hot spare";

    Housekeeping();
    EXPECT_THAT(Started(), IsEmpty()) << "status";
    ConfigureStorage(R"(<Disk Name="/c0/e252/s5" Hotspare="0"/>)");
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
    AwaitHanging();
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

} // namespace
