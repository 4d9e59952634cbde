#include "raid/ArcController.h"

#include "frame/Ipc.h"
#include "tests/raid/ArcconfTexts.h"
#include "tests/storage/StorageFakes.h"
#include "tests/support/ManualClock.h"

#include <array>
#include <cerrno>
#include <iterator>
#include <sstream>

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

CFakeHost::Arguments Words(const std::string& text)
{
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

const CFakeHost::Arguments kConfig = Words("arcconf GETCONFIGJSON 1");
const CFakeHost::Arguments kList = Words("arcconf LIST 1");
const CFakeHost::Arguments kStatus = Words("arcconf GETSTATUS 1");
const CFakeHost::Arguments kSmart = Words("arcconf GETSMARTSTATS 1");

class ArcControllerTest : public testing::Test
{
protected:
    ArcControllerTest()
    {
        AnswerConfig(kArcConfigText);
        m_host.SetAnswer(kList, {.output = kArcListText});
        m_host.SetAnswer(kStatus, {.output = kArcTasksText});
        m_host.SetAnswer(kSmart, {.output = ArcSmartText(kArcSmartRow)});
    }

    void AnswerConfig(const std::string& text) { m_host.SetAnswer(kConfig, {.output = text}); }

    [[nodiscard]] std::vector<std::string> Units() const
    {
        std::vector<std::string> units;
        for (const auto& unit : m_controller->m_units)
        {
            std::string text;
            const bool alarmed = unit->GetStatusText(text);
            units.push_back(unit->m_name + " RAID" + std::to_string(unit->m_raidLevel) + " " +
                            std::to_string(unit->m_sizeGB) + " " + text + (alarmed ? " !" : ""));
        }
        return units;
    }

    CFakeHost m_host;
    const std::shared_ptr<ArcController> m_controller =
        std::make_shared<ArcController>(std::make_shared<CManualClock>());
};

TEST_F(ArcControllerTest, RefreshTakesIdentityAndUnits)
{
    const ControllerRefresh first = m_controller->RefreshController();
    EXPECT_TRUE(first.ok && first.changed);
    EXPECT_THAT(m_host.Programs(), ElementsAre(kConfig, kList, kStatus));
    EXPECT_EQ(
        Print(m_controller->CreateXmlElement().get()),
        R"(<Controller Name="1" Model="Example RAID 81-12i" SerialNumber="9A0001" DriverVersion="2.1.20-035" FirmwareVersion="3.21[0]" NumUnits="2" NumPhys="12" NumDrives="7" JBODExportPolicy="-1" DiskSpinupPolicy="0" SpinupStaggerTime="-1" AutoCarvingPolicy="-1" AutoCarvingSize="-1" AutoRebuildPolicy="1" SupportsPrep="0" />)");
    EXPECT_THAT(Units(), ElementsAre("0 RAID1 223 Optimal",
                                     "1 RAID5 14902 Degraded, Rebuilding, busy (Rebuild 41% complete) !"));

    EXPECT_FALSE(m_controller->RefreshController().changed);
    AnswerConfig(Replaced(kArcConfigText, "\"currentTemperature\": 34", "\"currentTemperature\": 36"));
    const ControllerRefresh warmer = m_controller->RefreshController();
    EXPECT_TRUE(warmer.ok && warmer.changed) << "everything that the tool tells counts";
}

TEST_F(ArcControllerTest, FailureIsLoggedOnceAndKeepsWhatIsKnown)
{
    m_controller->RefreshController();
    m_host.Forget();
    AnswerConfig("Controllers found: 0\n");
    EXPECT_FALSE(m_controller->RefreshController().ok);
    m_controller->RefreshController();
    EXPECT_THAT(Units().front(), "0 RAID1 223 Optimal");
    EXPECT_THAT(m_controller->RefreshDisks(), IsEmpty());
    m_controller->RefreshVolumes();
    EXPECT_THAT(Units().front(), "0 RAID1 223 arcconf config missing controller !");
    EXPECT_THAT(LevelAndText(m_host),
                ElementsAre("75 Failed to refresh RAID controller - arcconf config missing controller",
                            "75 Failed to refresh RAID disks - arcconf config missing controller",
                            "75 Failed to refresh RAID volumes - arcconf config missing controller"));
    EXPECT_EQ(m_controller->GetDiskTemperature("0:10"), 34) << "the last good answer stays";
    AnswerConfig(kArcConfigText);
    m_controller->RefreshVolumes();
    EXPECT_THAT(Units().front(), "0 RAID1 223 Optimal");

    // The first tool that does not start ends it.
    for (const auto& [command, word] : {std::pair(kStatus, "task"), {kList, "status"}, {kConfig, "config"}})
    {
        m_host.Forget();
        m_host.SetAnswer(command, {.startError = ENOENT});
        m_controller->RefreshVolumes();
        EXPECT_THAT(m_host.LogTexts(75), ElementsAre(std::string("Failed to refresh RAID volumes - arcconf "
                                                                 "ExecuteControllerInfo ") +
                                                     word + " IPC failed"));
        EXPECT_EQ(m_host.Programs().back(), command);
    }
}

TEST_F(ArcControllerTest, DisksHaveTheirPlaces)
{
    const DiskList disks = m_controller->RefreshDisks();
    EXPECT_THAT(m_host.Programs(), ElementsAre(kConfig, kList, kStatus, kSmart));
    std::vector<std::string> lines;
    for (const auto& disk : disks)
    {
        EXPECT_EQ(disk->m_source, DiskSource::Controller);
        EXPECT_EQ(disk->m_controller, m_controller);
        EXPECT_EQ(disk->m_controllerName, "1");
        EXPECT_FALSE(disk->m_selfTestSupport);
        lines.push_back(disk->m_name + " " + disk->m_serialNumber + " port " + std::to_string(disk->m_port) +
                        " index " + std::to_string(disk->m_volumeIndex) + " unit [" + disk->m_unitName +
                        "] " + disk->m_status +
                        (disk->m_hotSpare == HotSpareType::Dedicated ? " spare" : ""));
    }
    // The second connector counts by device number: 2, 8, 9.
    EXPECT_THAT(
        lines,
        ElementsAre("0:9 D9 port 12 index 2 unit [0] Online", "0:8 D8 port 11 index 1 unit [0] UNKNOWN",
                    "0:10 D10 port 2 index 2 unit [1] Online", "0:11 D11 port 3 index 3 unit [1] Rebuilding",
                    "0:13 D13 port 5 index 5 unit [1] Dedicated Hot-Spare spare",
                    "0:14 D14 port 6 index 6 unit [] Ready", "0:2 D2 port 10 index 0 unit [] Ready"));
    EXPECT_EQ(disks[2]->m_model + disks[2]->m_firmwareVersion, "EX HDDB7");
    EXPECT_EQ(disks[2]->m_capacity, 7630U);

    m_controller->RefreshDisks();
    EXPECT_THAT(LevelAndText(m_host),
                ElementsAre("50 0:10 RAID error flags:[mediumErrorCount] [smartWarningCount]"));
}

TEST_F(ArcControllerTest, SmartAndTemperatureByName)
{
    EXPECT_EQ(m_controller->GetDiskTemperature("0:10"), std::nullopt);
    EXPECT_THAT(m_controller->GetDiskSmartAttributes("0:10"), IsEmpty());
    const std::string low = Replaced(kArcSmartRow, "thresholdValue=\"5\"", "thresholdValue=\"91\"");
    m_host.SetAnswer(kSmart, {.output = ArcSmartText(Replaced(low, "0x05", "0x01") + kArcSmartRow + low)});
    m_controller->RefreshDisks();
    EXPECT_EQ(m_controller->GetDiskTemperature("0:10"), 34);
    EXPECT_EQ(m_controller->GetDiskTemperature("0:11"), std::nullopt);
    EXPECT_EQ(m_controller->GetDiskTemperature("9:10"), std::nullopt);
    EXPECT_THAT(m_controller->GetDiskSmartAttributes("0:11"), IsEmpty());
    const auto attributes = m_controller->GetDiskSmartAttributes("0:10");
    ASSERT_EQ(attributes.size(), 2U);
    EXPECT_TRUE(attributes.at(1).advisoryBit);
    const SmartAttribute& row = attributes.at(5);
    EXPECT_THAT(
        (std::array{row.id, row.flag, row.currentValue, row.worstValue, row.thresholdValue, row.rawValue}),
        ElementsAre(5, 0, 90, 80, 5, 7));
    EXPECT_FALSE(row.advisoryBit || row.preFailBit || row.changed);

    // A failed query leaves the data as it was.
    m_host.SetAnswer(kSmart, {.startError = ENOENT});
    EXPECT_EQ(m_controller->RefreshDisks().size(), 7U);
    EXPECT_EQ(m_controller->GetDiskSmartAttributes("0:10").size(), 2U);
    EXPECT_THAT(m_host.LogTexts(75),
                ElementsAre("Failed to refresh RAID SMART data - arcconf ExecuteDisksSmartInfo IPC failed"));
}

TEST_F(ArcControllerTest, FreeDisksAreReadyAndLargeEnough)
{
    EXPECT_THAT(m_controller->GetUnconfiguredDisks(), IsEmpty());
    m_controller->RefreshDisks();
    const std::vector<UnconfiguredDisk> free = m_controller->GetUnconfiguredDisks();
    ASSERT_EQ(free.size(), 2U);
    EXPECT_EQ(free[0].name + " " + free[1].name, "0:14 0:2");
    EXPECT_EQ(free[0].sizeGB, 7630);
    AnswerConfig(Replaced(kArcConfigText, "\"536870912\"", "\"536870911\""));
    m_host.SetAnswer(kList, {.output = Replaced(kArcListText, "Ready (SAS", "Ready - Missing (SAS")});
    m_controller->RefreshDisks();
    EXPECT_THAT(m_controller->GetUnconfiguredDisks(), IsEmpty());
}

TEST_F(ArcControllerTest, CreatesTheDataVolume)
{
    m_controller->RefreshDisks();
    m_controller->m_prep.raidLevel = 6;
    m_controller->m_prep.disks = {"0:14", "none", "0:2"};
    const auto create =
        Words("arcconf CREATE 1 LOGICALDRIVE STRIPESIZE 512 LDCACHE LON MAX 6 0 14 0 2 NOPROMPT");
    const auto finish = [this, create](const CFakeHost::Answer& answer)
    {
        m_host.SetAnswer(create, answer);
        m_host.Forget();
        m_controller->StartCreateVolume();
        EXPECT_THAT(m_host.Programs(), ElementsAre(create));
        const CreateVolumeResult result = m_controller->FinishCreateVolume();
        return std::string(result.ok ? "ok " : "") + result.text;
    };
    const std::string done = ArcAnswerText("");
    EXPECT_EQ(finish({.output = done}), "ok 1");
    EXPECT_EQ(
        finish({.output = "Controllers found: 1\nNot enough space.\n\nCommand aborted.\n", .exitCode = 255}),
        "vol create error - arcconf createvol error 255 - Not enough space. Command aborted.");
    AnswerConfig(Replaced(kArcConfigText, R"("raidLevel": 5)", R"("raidLevel": 10)"));
    EXPECT_EQ(finish({.output = done}), "new vol name not found");
    EXPECT_TRUE(m_controller->RefreshController().changed) << "the look for the new volume is not kept";
    m_host.SetAnswer(kStatus, {.output = ""});
    EXPECT_EQ(finish({.output = done}), "vol info error - arcconf task invalid response error 0");
}

TEST_F(ArcControllerTest, SparesServeTheArrayOfTheDataVolume)
{
    const auto add = Words("arcconf SETSTATE 1 DEVICE 0 14 HSP ARRAY 3 NOPROMPT");
    const auto remove = Words("arcconf SETSTATE 1 DEVICE 0 13 RDY NOPROMPT");
    const auto configure = [this](const char* disk, bool enable)
    {
        const HotSpareResult result = m_controller->ConfigureHotSpare(disk, enable);
        return std::pair(result.code, result.text);
    };
    EXPECT_THAT(configure("0:14", true), Pair(1, "")) << "no configuration known";
    m_controller->RefreshController();
    m_host.Forget();
    for (const char* name : {"", "1:", ":2", "0 : 14", "99999999999:1", "1:99999999999"})
    {
        EXPECT_THAT(configure(name, true), Pair(1, "")) << name;
        EXPECT_THAT(configure(name, false), Pair(2, "")) << name;
    }
    EXPECT_THAT(m_host.Programs(), IsEmpty());

    const std::string done = ArcAnswerText("");
    m_host.SetAnswer(add, {.output = done});
    m_host.SetAnswer(remove, {.output = done});
    EXPECT_THAT(configure("0:14", true), Pair(0, "1"));
    EXPECT_THAT(configure("0:13", false), Pair(0, ""));
    EXPECT_THAT(m_host.Programs(), ElementsAre(add, remove));

    m_host.SetAnswer(add, {.output = "Controllers found: 1\nInvalid drive.\n", .exitCode = 2});
    m_host.SetAnswer(remove, {.startError = ENOENT});
    EXPECT_THAT(configure("0:14", true), Pair(1, "arcconf addhotspare error 2 - Invalid drive."));
    EXPECT_THAT(configure("0:13", false), Pair(2, "arcconf ExecuteDeleteHotspare IPC failed"));

    AnswerConfig(
        Replaced(Replaced(kArcConfigText, R"("logicalDriveID": 1, "raid)", R"("logicalDriveID": 7, "raid)"),
                 R"("raidLevel": 1)", R"("raidLevel": 10)"));
    m_host.SetAnswer(kList, {.output = Replaced(kArcListText, "Logical 1 ", "Logical 7 ")});
    m_controller->RefreshController();
    EXPECT_THAT(configure("0:14", true), Pair(1, "")) << "a data volume without an array";
}
} // namespace
