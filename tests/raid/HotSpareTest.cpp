#include "frame/Log.h"
#include "frame/Text.h"
#include "raid/LsiController.h"
#include "tests/support/Cases.h"
#include "tests/support/ManualClock.h"
#include "tests/support/StorcliTexts.h"

#include <gmock/gmock.h>

namespace
{
const CFakeHost::Answer kDone{.output = storcli::Success("")};
const CFakeHost::Answer kRefused{.output = storcli::Failure()};
const CFakeHost::Answer kNotStarted{.startError = 2};

struct HotSpareCase
{
    const char* name;
    const char* volumes; // a mirror "1", a data volume "6"
    const char* state;   // of the disk, which is in no unit
    bool enable;
    const CFakeHost::Answer& answer;
    const char* command; // behind the disk's name, without the final "J"; empty: none is started
    const char* line;    // behind "HOTSPARE: ", D stands for the disk
    const char* after;   // kind, error, unit
};

// clang-format off
const std::vector<HotSpareCase> kCases{
    {"Dedicated", "16", "UGood", true, kDone, "add hotsparedrive dgs=1", "dedicated D to /c0/v4", "1 0 /c0/v4"},
    {"Global", "6", "UGood", true, kDone, "add hotsparedrive", "dedicated D to global", "2 0 "},
    {"Refused", "16", "UGood", true, kRefused, "add hotsparedrive dgs=1", "storcli error Failure", "0 1 "},
    {"DedicatedNotStarted", "16", "UGood", true, kNotStarted, "add hotsparedrive dgs=1",
     "storcli ExecuteAddHotspare D (DG 1) IPC failed", "0 1 "},
    {"GlobalNotStarted", "6", "UGood", true, kNotStarted, "add hotsparedrive",
     "storcli ExecuteAddHotspare D (global) IPC failed", "0 1 "},
    {"Released", "6", "GHS", false, kDone, "delete hotsparedrive", "disabled D", "0 0 "},
    {"ReleaseRefused", "6", "DHS", false, kRefused, "delete hotsparedrive", "storcli error Failure", "1 2 "},
    {"ReleaseNotStarted", "6", "DHS", false, kNotStarted, "delete hotsparedrive",
     "storcli ExecuteDeleteHotspare D IPC failed", "1 2 "},
    {"UnsupportedGlobalReleased", "16", "GHS", false, kDone, "delete hotsparedrive", "disabled D", "0 0 "},
    {"AlreadyASpare", "6", "HSP", true, kDone, "", "enable D ignored - already enabled or disabled", "3 0 "},
    {"AlreadyASpareBesideAMirror", "16", "HSP", true, kDone, "", "enable D ignored - already enabled or disabled", "3 3 "},
    {"AlreadyNone", "6", "UGood", false, kDone, "", "disable D ignored - already enabled or disabled", "0 0 "},
    {"NoDataVolume", "1", "UGood", true, kDone, "", "enable D ignored - disk may not be changed", "0 0 "},
};
// clang-format on

class HotSpare : public testing::TestWithParam<HotSpareCase>
{
protected:
    void Refresh(std::string_view volumes, const storcli::Drive& drive)
    {
        std::vector<storcli::Volume> list;
        for (const char level : volumes)
        {
            list.push_back(level == '1' ? storcli::Volume{} : storcli::Volume{.ids = "1/4", .type = "RAID6"});
        }
        m_host.OnProgram(storcli::kController, {.output = storcli::Controller({drive})});
        m_host.OnProgram(storcli::kEnclosures, {.output = storcli::Enclosures()});
        m_host.OnProgram(storcli::kVolumes, {.output = storcli::Volumes(list)});
        m_host.OnProgram(storcli::kDisks, {.output = storcli::Disks({drive})});
        m_controller->RefreshController();
        m_disk = m_controller->RefreshDisks().at(0);
        m_disk->UpdateHotSpareCapability();
        m_host.Forget();
    }

    // The last line, D for the disk. The link logs a line of its own when a program does not start.
    std::string LastLine()
    {
        std::string line = m_host.LogTexts().back();
        if (const auto name = line.find(m_disk->m_name); name != std::string::npos)
        {
            line.replace(name, m_disk->m_name.size(), "D");
        }
        return line;
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
    m_host.SetProgramHook([&row](const auto& /*asked*/) { return std::optional(row.answer); });
    const std::string command(row.command);
    EXPECT_EQ(m_disk->SetHotSpare(row.enable) != 0, !command.empty());
    EXPECT_EQ(LastLine(), std::string("HOTSPARE: ") + row.line);
    EXPECT_EQ(std::to_string(static_cast<int>(m_disk->m_hotSpare)) + " " +
                  std::to_string(m_disk->m_hotSpareError) + " " + m_disk->m_unitName,
              row.after);
    std::string started;
    for (const CFakeHost::Arguments& program : m_host.Programs())
    {
        started += Join(program, " ");
    }
    EXPECT_EQ(started, command.empty() ? "" : "storcli /c0/e252/s0 " + command + " J");
}
INSTANTIATE_TEST_SUITE_P(Cases, HotSpare, testing::ValuesIn(kCases), kByName);

TEST_F(HotSpare, OfAUnitOrWithoutItsDataVolumeIsNone)
{
    Refresh("6", {.dg = "1"});
    EXPECT_EQ(m_disk->SetHotSpare(true), 0);
    EXPECT_EQ(LastLine(), "HOTSPARE: enable D ignored - disk may not be changed");

    Refresh("16", {.state = "UGood", .dg = "\"-\""});
    m_host.OnProgram(storcli::kVolumes, {.output = storcli::Volumes({{}})});
    m_controller->RefreshVolumes();
    EXPECT_EQ(m_disk->SetHotSpare(true), 0);
    EXPECT_EQ(LastLine(), "HOTSPARE: enable failed - D invalid or no data volumes");
}
} // namespace
