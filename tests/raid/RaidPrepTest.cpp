#include "frame/Ipc.h"
#include "raid/Controller.h"
#include "tests/storage/StorageFakes.h"
#include "tests/support/Cases.h"
#include "tests/support/ManualClock.h"

#include <cerrno>

namespace
{
using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

const std::string kNew = "New Data Array";
const CFakeHost::Arguments kCreate{"create"};
const CFakeHost::Arguments kScript{"scripts/raidprep.sh"};

// What a preparation asks of its controller; the rest is not used here.
class CPrepController final : public CController
{
public:
    explicit CPrepController(std::shared_ptr<const CClock> clock) : CController("c", {}, {}, std::move(clock))
    {
    }

    [[nodiscard]] std::vector<UnconfiguredDisk> GetUnconfiguredDisks() const override { return m_free; }
    void StartCreateVolume() override { m_prep.job = tq::ipc::RunCommand("create", {}, nullptr); }
    CreateVolumeResult FinishCreateVolume() override { return m_created; }
    std::string ConfigureCache() override { return m_cacheError; }
    HotSpareResult ConfigureHotSpare(const std::string& /*disk*/, bool /*enable*/) override { return {}; }
    ControllerRefresh RefreshController() override { return {}; }
    void RefreshVolumes() override {}
    DiskList RefreshDisks() override { return {}; }
    [[nodiscard]] std::optional<std::int32_t> GetDiskTemperature(const std::string& /*disk*/) const override
    {
        return std::nullopt;
    }
    [[nodiscard]] std::map<std::int32_t, SmartAttribute>
    GetDiskSmartAttributes(const std::string& /*disk*/) const override
    {
        return {};
    }

    std::vector<UnconfiguredDisk> m_free;
    CreateVolumeResult m_created{.ok = true, .text = "v1"};
    std::string m_cacheError;
};

class RaidPrep : public testing::Test
{
protected:
    // Units v0, v1 and so on of these levels, 100 GB and the level in size; free disks of these sizes in GB.
    void Set(const std::vector<int>& levels, const std::vector<int>& freeSizes)
    {
        m_controller->m_units.clear();
        for (const int level : levels)
        {
            auto unit = std::make_shared<CRaidUnit>("v" + std::to_string(m_controller->m_units.size()));
            unit->m_raidLevel = level;
            unit->m_sizeGB = static_cast<std::uint32_t>(100 + level);
            m_controller->m_units.push_back(unit);
        }
        m_controller->m_free.clear();
        for (const int size : freeSizes)
        {
            const std::size_t slot = m_controller->m_free.size();
            m_controller->m_free.push_back({.name = "252:" + std::to_string(slot), .sizeGB = size});
        }
    }

    void Offer(const std::vector<int>& levels, const std::vector<int>& freeSizes)
    {
        Set(levels, freeSizes);
        m_controller->SetSupportsPrep('5', {});
        m_host.Forget();
    }

    // The housekeeping's check when a job's time has come, and the same once the job has ended.
    bool CheckLater()
    {
        m_clock->Advance(30s);
        return m_controller->CheckRaidPrep(false);
    }
    bool CheckEnded()
    {
        if (const auto job = m_controller->m_prep.job)
        {
            job->WaitForExit();
        }
        return CheckLater();
    }

    // A process that had started is lost: the host reports a failure for it, without an errno.
    void LoseProgram()
    {
        ASSERT_TRUE(m_host.WaitForHanging(1));
        for (std::uint32_t id = 0x3700000; id < 0x3701000; ++id)
        {
            const std::uint32_t frame[4] = {16, id,
                                            static_cast<std::uint32_t>(tq::ipc::FrameKind::StartFailed), 0};
            tq::ipc::HandleIpcReply(frame, sizeof frame);
        }
    }

    // The attributes of "Volume" in all documents so far, and the last of them, "PrepStatus".
    [[nodiscard]] std::vector<std::string> Documents() const
    {
        const std::string before = R"(<?xml ?><zDVR><Storage ID="3604480"><Volume )";
        std::vector<std::string> told;
        for (const CFakeHost::Document& document : m_host.Documents())
        {
            EXPECT_TRUE(document.category == 4U && document.text.starts_with(before));
            told.push_back(document.text.substr(before.size(), document.text.find(" />") - before.size()));
        }
        return told;
    }
    [[nodiscard]] std::string Statuses() const
    {
        std::string statuses;
        for (const std::string& document : Documents())
        {
            const auto at = document.rfind("PrepStatus=") + std::string("PrepStatus=\"").size();
            statuses += document.substr(at, document.size() - at - 1) + " ";
        }
        return statuses;
    }

    [[nodiscard]] std::string Candidate() const { return Print(m_controller->CreatePrepElement().get()); }

    CFakeHost m_host;
    const std::shared_ptr<CManualClock> m_clock = std::make_shared<CManualClock>();
    const std::shared_ptr<CPrepController> m_controller = std::make_shared<CPrepController>(m_clock);
};

TEST_F(RaidPrep, WholeLifeAsTheHostSeesIt)
{
    Offer({}, {1863, 931, 1863});
    m_controller->SendPrepStatus();
    EXPECT_EQ(Candidate(), R"(<Volume Name="New Data Array" Type="RAID5" Size="931" SupportsPrep="4" />)");
    EXPECT_THAT(m_controller->m_prep.disks, ElementsAre("252:0", "252:1", "252:2"));

    m_host.OnProgram(kCreate, {.hang = true});
    m_controller->StartPrep(kNew);
    EXPECT_TRUE(m_controller->IsPrepBusy());
    EXPECT_FALSE(CheckLater()) << "the tool still runs";
    ASSERT_TRUE(m_host.WaitForHanging(1));
    m_host.EndHanging();
    m_host.OnProgram(kScript, {.output = "one\n\ntwo\n"});
    m_controller->m_cacheError = "storcli error Failure";
    EXPECT_FALSE(CheckEnded()) << "step 2 has only begun";
    EXPECT_TRUE(m_controller->IsPrepBusy());
    m_clock->Advance(29'999ms);
    EXPECT_FALSE(m_controller->CheckRaidPrep(false)) << "not looked at before 30 seconds";
    EXPECT_TRUE(m_controller->CheckRaidPrep(true)) << "unless forced";
    EXPECT_EQ(Candidate(), "");
    EXPECT_FALSE(m_controller->IsPrepBusy());
    EXPECT_FALSE(CheckLater()) << "told once";

    EXPECT_THAT(Documents(), ElementsAre(R"(Name="New Data Array" PrepStatus="4")",
                                         R"(Name="New Data Array" PrepStatus="5")",
                                         R"(Name="v1" OldName="New Data Array" PrepStatus="1")",
                                         R"(Name="v1" OldName="New Data Array" PrepStatus="2")",
                                         R"(Name="v1" OldName="New Data Array" PrepStatus="3")"));
    EXPECT_THAT(
        LevelAndText(m_host),
        ElementsAre("25 RAIDPREP: SendPrepStatus NeedsArray name [New Data Array] oldname []",
                    "25 RAIDPREP: StartPrep creating data volume with [New Data Array] (step 1 of 2).",
                    "25 RAIDPREP: SendPrepStatus CreatingArray name [New Data Array] oldname []",
                    "25 RAIDPREP: CheckRaidPrep busy CreatingArray for 30000 ms",
                    "50 RAIDPREP: v1 set cache policy error - storcli error Failure (non fatal)",
                    "25 RAIDPREP: SendPrepStatus NeedsPrep name [v1] oldname [New Data Array]",
                    "25 RAIDPREP: CheckRaidPrep calling StartPrep on id [v1] oldname [New Data Array]",
                    "25 RAIDPREP: StartPrep prepping data volume with [v1] (step 2 of 2).",
                    "25 RAIDPREP: SendPrepStatus Prepping name [v1] oldname [New Data Array]",
                    "25 RAIDPREP: CheckRaidPrep busy Prepping for 29999 ms", "25 RAIDPREP: one",
                    "25 RAIDPREP: ", "25 RAIDPREP: two",
                    "25 RAIDPREP: SendPrepStatus PrepComplete name [v1] oldname [New Data Array]",
                    "25 RAIDPREP: raidprep completed."));
}

// How far it comes, and what the host is told. The errnos are those of programs that do not start.
struct StepCase
{
    const char* name;
    int createErrno;
    const char* createError;
    int scriptErrno;
    int scriptExit;
    const char* output;
    const char* statuses;
    const char* warning; // begins with these words
};

const std::vector<StepCase> kStepCases{
    {"CreateDoesNotStart", ENOENT, "", 0, 0, "", "-5", "StartPrep failed to start creating volume with [New"},
    {"CreateFails", 0, "vol create error - no", 0, 0, "", "5 -5", "vol create error - no"},
    {"ScriptDoesNotStart", 0, "", EACCES, 0, "", "5 1 -4",
     "StartPrep failed to start prepping volume with [v1]."},
    {"Partitioning", 0, "", 0, 1, "partitioning_error: x\n", "5 1 2 -3", "raidprep script error 1 - ErrorP"},
    {"Formatting", 0, "", 0, 2, "partitioning_error\nformat_error", "5 1 2 -2",
     "raidprep script error 2 - ErrorF"},
    {"Mounting", 0, "", 0, 255, "format_error mount_part_error", "5 1 2 -1",
     "raidprep script error 255 - ErrorM"},
    {"OtherReason", 0, "", 0, 1, "Mount_part_error", "5 1 2 -4", "raidprep script error 1 - RaidPrepError"},
};

using RaidPrepStep = WithCases<RaidPrep, StepCase>;

TEST_P(RaidPrepStep, FailureIsToldAndCanBeResumed)
{
    const StepCase& row = GetParam();
    Offer({}, {900, 900, 900});
    m_host.OnProgram(kCreate, {.startError = row.createErrno});
    m_host.OnProgram(kScript,
                     {.output = row.output, .exitCode = row.scriptExit, .startError = row.scriptErrno});
    if (*row.createError != '\0')
    {
        m_controller->m_created = {.text = row.createError};
    }
    m_controller->StartPrep(kNew);
    for (int i = 0; i < 4; ++i)
    {
        EXPECT_FALSE(CheckEnded());
    }
    EXPECT_EQ(Statuses(), row.statuses + std::string(" "));
    EXPECT_THAT(m_host.LogTexts(50), Contains(HasSubstr(std::string("RAIDPREP: ") + row.warning)));
    EXPECT_FALSE(m_controller->IsPrepBusy());
    const bool again = m_controller->m_prep.status == PrepStatus::CreateArrayError;
    EXPECT_THAT(Candidate(), HasSubstr(again ? "New Data Array" : "v1"));

    m_host.Forget();
    m_host.OnProgram(kCreate, {});
    m_host.OnProgram(kScript, {});
    m_controller->m_created = {.ok = true, .text = "v1"};
    m_controller->StartPrep(kNew); // the old name of the volume, too
    EXPECT_TRUE(CheckEnded() || CheckEnded());
    EXPECT_EQ(Statuses(), again ? "5 1 2 3 " : "2 3 ");
}
INSTANTIATE_TEST_SUITE_P(Cases, RaidPrepStep, testing::ValuesIn(kStepCases), kByName);

TEST_F(RaidPrep, LostProcessIsAFailureWhateverItsStatus)
{
    Offer({}, {900, 900, 900});
    m_host.OnProgram(kCreate, {.output = "mount_part_error", .hang = true});
    m_controller->StartPrep(kNew);
    LoseProgram();
    EXPECT_FALSE(CheckLater());
    m_controller->m_prep.status = PrepStatus::Prepping;
    m_controller->StartCreateVolume(); // any program stands for the script
    LoseProgram();
    EXPECT_FALSE(CheckLater());
    EXPECT_EQ(Statuses(), "5 -5 -1 ");
    EXPECT_THAT(m_host.LogTexts(50), ElementsAre("RAIDPREP: vol create error - IPC failed",
                                                 "RAIDPREP: raidprep script error 0 - ErrorMounting"));
}

// One look at units and drives.
struct LookCase
{
    std::vector<int> levels;
    std::set<std::string> mounted;
    std::vector<int> freeSizes;
    char level;
    const char* line;
    PrepStatus status;
    bool supported; // true before
};

const char* const kMultiple = "saw multiple data volume(s) so nothing to do";
const char* const kMounted = "saw mounted data volume(s) so nothing to do";
const char* const kNothing = "no unassigned disks or unmounted data volume so nothing to do";
const char* const kResume = "status NeedsPrep, need to resume prep on v1";
const char* const kTwo =
    "status Invalid, 2 unconfigured disks [estimate 0 GB RAID5], 3 required, CANNOT prep";
const char* const kFour =
    "status NeedsArray, 4 unconfigured disks [estimate 931 GB RAID6], 4 required, can prep";

const std::vector<LookCase> kLookCases{
    {{1, 5}, {"v1"}, {900, 900, 900}, '5', kMounted, PrepStatus::Ok, false},
    {{5, 6}, {}, {}, '5', kMultiple, PrepStatus::Ok, false},
    {{5, 5}, {"v1"}, {}, '5', kMultiple, PrepStatus::Ok, false}, // the first is not mounted
    {{5}, {"v0"}, {}, '1', kMounted, PrepStatus::Ok, false},     // before the level is looked at
    {{}, {}, {900, 900, 900}, '1', "invalid raid type '1'", PrepStatus::Invalid, true},
    {{1, 6}, {"v0"}, {900, 900, 900}, '5', kResume, PrepStatus::NeedsPrep, true},
    {{1}, {}, {}, '6', kNothing, PrepStatus::Ok, false}, // a mirror is no data volume
    {{}, {}, {900, 900}, '5', kTwo, PrepStatus::Invalid, false},
    {{}, {}, {1863, 1863, 931, 1863}, '6', kFour, PrepStatus::NeedsArray, true},
};

TEST_F(RaidPrep, LookDecides)
{
    for (const LookCase& row : kLookCases)
    {
        m_host.Forget();
        m_controller->m_supportsPrep = true; // as an earlier look may have left it
        m_controller->m_prep = {};
        Set(row.levels, row.freeSizes);
        m_controller->SetSupportsPrep(row.level, row.mounted);
        EXPECT_THAT(LevelAndText(m_host),
                    ElementsAre(std::string("25 RAIDPREP: SetSupportsPrep - ") + row.line));
        EXPECT_EQ(m_controller->m_prep.status, row.status) << row.line;
        EXPECT_EQ(m_controller->m_supportsPrep, row.supported) << row.line;
        m_controller->SendPrepStatus();
        const bool named = row.status == PrepStatus::NeedsArray || row.status == PrepStatus::NeedsPrep;
        EXPECT_EQ(Documents().size(), named ? 1U : 0U) << row.line;
        EXPECT_EQ(Candidate().empty(), !named) << row.line;
    }
}

TEST_F(RaidPrep, NeitherLookNorRequestTouchesARunningStep)
{
    Offer({}, {900, 900, 900});
    m_controller->StartPrep(kNew); // no such program
    m_controller->SetSupportsPrep('5', {});
    m_controller->SendPrepStatus();
    EXPECT_EQ(Statuses(), "-5 4 ");
    m_host.OnProgram(kCreate, {.hang = true});
    m_controller->StartPrep(kNew);
    m_host.Forget();
    Set({5}, {});
    m_controller->SetSupportsPrep('6', {"v0"});
    EXPECT_THAT(m_host.LogTexts(), ElementsAre("RAIDPREP: SetSupportsPrep - already busy so no change yet"));
    EXPECT_EQ(m_controller->m_prep.status, PrepStatus::CreatingArray);
    EXPECT_EQ(m_controller->m_prep.raidLevel, 5);
    m_controller->StartPrep(kNew);
    EXPECT_EQ(m_host.LogTexts().back(),
              "RAIDPREP: StartPrep status CreatingArray volname [New Data Array] id [New "
              "Data Array] oldname [] - nothing to do.");
}

class RaidConfig : public RaidPrep
{
protected:
    // The elements behind the controller's own.
    std::string Volumes(bool levelKnown, const std::optional<ChassisLayout>& layout)
    {
        TiXmlElement storage("Storage");
        m_controller->AddRaidConfigElements(storage, levelKnown, layout);
        EXPECT_TRUE(storage.RemoveChild(storage.FirstChildElement("Controller")));
        return Print(&storage);
    }

    static constexpr ChassisLayout kLayout{
        .rows = 4, .cols = 6, .verticalOrder = true, .verticalSlots = false, .horizontalFlip = true};
};

TEST_F(RaidConfig, LayoutStandsAtTheVolumesBesideAMirror)
{
    Offer({1, 0}, {900, 900, 900});
    EXPECT_EQ(
        Volumes(true, kLayout),
        R"(<Storage><Volume Name="New Data Array" Type="RAID5" Size="900" SupportsPrep="4" GroupName="Data" Rows="4" Cols="6" VerticalOrder="1" VerticalSlots="0" HorizontalFlip="1" />)"
        R"(<Volume Name="v0" Type="RAID1" Size="101" SupportsPrep="0" GroupName="OS" Rows="2" Cols="1" VerticalOrder="1" VerticalSlots="0" HorizontalFlip="0" />)"
        R"(<Volume Name="v1" Type="RAID0" Size="100" SupportsPrep="0" GroupName="Data" Rows="4" Cols="6" VerticalOrder="1" VerticalSlots="0" HorizontalFlip="1" /></Storage>)");
    EXPECT_THAT(LevelAndText(m_host),
                ElementsAre("0 cfg XML: set RaidToPrep name to New Data Array",
                            "0 cfg XML: generate for unit v0", "0 cfg XML: generate for unit v1"));
    // Neither chassis nor level known.
    EXPECT_EQ(
        Volumes(false, std::nullopt),
        R"(<Storage><Volume Name="v0" Type="RAID1" Size="101" SupportsPrep="0" GroupName="OS" Rows="2" Cols="1" VerticalOrder="0" VerticalSlots="0" HorizontalFlip="0" />)"
        R"(<Volume Name="v1" Type="RAID0" Size="100" SupportsPrep="0" /></Storage>)");

    // The volume being prepared stands there once, with its real size.
    Offer({6}, {});
    EXPECT_EQ(Volumes(true, kLayout),
              R"(<Storage><Volume Name="v0" Type="RAID5" Size="106" SupportsPrep="1" /></Storage>)");
    EXPECT_THAT(LevelAndText(m_host), ElementsAre("0 cfg XML: set RaidToPrep name to v0",
                                                  "0 cfg XML: adjust v0 raidprep size to 106"));
}
} // namespace
