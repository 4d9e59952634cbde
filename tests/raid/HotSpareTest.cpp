#include "frame/Log.h"
#include "raid/LsiController.h"
#include "tests/support/ManualClock.h"
#include "tests/support/StorcliTexts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kName = "/c0/e252/s0";
const CFakeHost::Arguments kAddGlobal{"storcli", kName, "add", "hotsparedrive", "J"};
const CFakeHost::Arguments kAddDedicated{"storcli", kName, "add", "hotsparedrive", "dgs=1", "J"};
const CFakeHost::Arguments kDelete{"storcli", kName, "delete", "hotsparedrive", "J"};
const storcli::Volume kMirror{};
const storcli::Volume kData{.ids = "1/4", .type = "RAID6"};

struct HotSpareCase
{
    const char* name;
    std::vector<storcli::Volume> volumes;
    const char* state; // of the disk: free or a spare
    bool enable;
    CFakeHost::Arguments command; // expected, none when empty
    const char* answer;           // "" when it cannot be started
    const char* line;
    bool attempted;
    const char* after; // kind, error, unit
};

const std::string kDone = storcli::Success("");
const std::string kRefused = storcli::Failure();

const std::vector<HotSpareCase> kCases{
    {"DedicatedWithAMirror",
     {kMirror, kData},
     "UGood",
     true,
     kAddDedicated,
     kDone.c_str(),
     "HOTSPARE: dedicated /c0/e252/s0 to /c0/v4",
     true,
     "1 0 /c0/v4"},
    {"GlobalWithoutAMirror",
     {kData},
     "UGood",
     true,
     kAddGlobal,
     kDone.c_str(),
     "HOTSPARE: dedicated /c0/e252/s0 to global",
     true,
     "2 0 "},
    {"DedicatedRefused",
     {kMirror, kData},
     "UGood",
     true,
     kAddDedicated,
     kRefused.c_str(),
     "HOTSPARE: storcli error Failure",
     true,
     "0 1 "},
    {"DedicatedNotStarted",
     {kMirror, kData},
     "UGood",
     true,
     kAddDedicated,
     "",
     "HOTSPARE: storcli ExecuteAddHotspare /c0/e252/s0 (DG 1) IPC failed",
     true,
     "0 1 "},
    {"GlobalNotStarted",
     {kData},
     "UGood",
     true,
     kAddGlobal,
     "",
     "HOTSPARE: storcli ExecuteAddHotspare /c0/e252/s0 (global) IPC failed",
     true,
     "0 1 "},
    {"Released",
     {kData},
     "GHS",
     false,
     kDelete,
     kDone.c_str(),
     "HOTSPARE: disabled /c0/e252/s0",
     true,
     "0 0 "},
    {"ReleaseRefused",
     {kData},
     "DHS",
     false,
     kDelete,
     kRefused.c_str(),
     "HOTSPARE: storcli error Failure",
     true,
     "1 2 "},
    {"ReleaseNotStarted",
     {kData},
     "DHS",
     false,
     kDelete,
     "",
     "HOTSPARE: storcli ExecuteDeleteHotspare /c0/e252/s0 IPC failed",
     true,
     "1 2 "},
    {"AlreadyASpare",
     {kData},
     "HSP",
     true,
     {},
     "",
     "HOTSPARE: enable /c0/e252/s0 ignored - already enabled or disabled",
     false,
     "3 0 "},
    {"AlreadyNone",
     {kData},
     "UGood",
     false,
     {},
     "",
     "HOTSPARE: disable /c0/e252/s0 ignored - already enabled or disabled",
     false,
     "0 0 "},
    {"NoDataVolume",
     {kMirror},
     "UGood",
     true,
     {},
     "",
     "HOTSPARE: enable /c0/e252/s0 ignored - disk may not be changed",
     false,
     "0 0 "},
};

class HotSpare : public testing::TestWithParam<HotSpareCase>
{
protected:
    void Refresh(const std::vector<storcli::Volume>& volumes, const storcli::Drive& drive)
    {
        m_host.OnProgram(storcli::kController, {.output = storcli::Controller({drive})});
        m_host.OnProgram(storcli::kEnclosures, {.output = storcli::Enclosures()});
        m_host.OnProgram(storcli::kVolumes, {.output = storcli::Volumes(volumes)});
        m_host.OnProgram(storcli::kDisks, {.output = storcli::Disks({drive})});
        m_controller->RefreshController();
        m_disk = m_controller->RefreshDisks().at(0);
        m_disk->UpdateHotSpareCapability();
        m_host.Forget();
    }

    CFakeHost m_host;
    const std::shared_ptr<CLsiController> m_controller =
        std::make_shared<CLsiController>(true, std::make_shared<CManualClock>());
    std::shared_ptr<CDisk> m_disk;
};

TEST_P(HotSpare, RequestIsBookedOrRefused)
{
    const HotSpareCase& row = GetParam();
    Refresh(row.volumes, {.state = row.state, .dg = "\"-\""});
    if (*row.answer != '\0')
    {
        m_host.OnProgram(row.command, {.output = row.answer});
    }
    EXPECT_EQ(m_disk->SetHotSpare(row.enable) != 0, row.attempted);
    ASSERT_FALSE(m_host.LogTexts(LogWarning).empty());
    EXPECT_EQ(m_host.LogTexts(LogWarning).back(),
              row.line); // behind the link's own when the tool did not start
    EXPECT_EQ(std::to_string(static_cast<int>(m_disk->m_hotSpare)) + " " +
                  std::to_string(m_disk->m_hotSpareError) + " " + m_disk->m_unitName,
              row.after);
    if (row.command.empty())
    {
        EXPECT_THAT(m_host.Programs(), IsEmpty());
    }
    else
    {
        EXPECT_THAT(m_host.Programs(), ElementsAre(row.command));
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, HotSpare, testing::ValuesIn(kCases),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(HotSpare, ADiskOfAUnitMayNotBeChanged)
{
    Refresh({kData}, {.dg = "1"});
    EXPECT_EQ(m_disk->SetHotSpare(true), 0);
    EXPECT_THAT(m_host.LogTexts(),
                ElementsAre("HOTSPARE: enable /c0/e252/s0 ignored - disk may not be changed"));
}

TEST_F(HotSpare, AVolumeThatVanishedBetweenIsNoneToServe)
{
    Refresh({kMirror, kData}, {.state = "UGood", .dg = "\"-\""});
    m_host.OnProgram(storcli::kVolumes, {.output = storcli::Volumes({kMirror})});
    m_controller->RefreshVolumes();
    m_host.Forget();
    EXPECT_EQ(m_disk->SetHotSpare(true), 0);
    EXPECT_THAT(m_host.LogTexts(),
                ElementsAre("HOTSPARE: enable failed - /c0/e252/s0 invalid or no data volumes"));
}

TEST_F(HotSpare, AGlobalSpareBesideAMirrorIsReported)
{
    Refresh({kMirror, kData}, {.state = "GHS", .dg = "\"-\""});
    EXPECT_TRUE(m_disk->m_canConfigureHotSpare);
    EXPECT_EQ(m_disk->m_hotSpareError, kHotSpareUnsupportedGlobal);
}
} // namespace
