#include "raid/LsiController.h"

#include "frame/Ipc.h"
#include "frame/Log.h"
#include "tests/support/Cases.h"
#include "tests/support/HostTexts.h"
#include "tests/support/ManualClock.h"
#include "tests/support/StorcliTexts.h"

#include <gmock/gmock.h>

#include <cerrno>

namespace
{
using storcli::kController;
using storcli::kDisks;
using storcli::kEnclosures;
using storcli::kSmart;
using storcli::kVolumes;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// A mirror of two, a data volume, a drive that is free.
class LsiController : public testing::Test
{
protected:
    LsiController()
    {
        for (const auto& [command, output] : m_good)
        {
            Answer(command, output);
        }
    }

    // The answer from now on.
    void Answer(const CFakeHost::Arguments& command, const std::string& output)
    {
        m_host.SetAnswer(command, {.output = output});
    }

    void RefreshAll()
    {
        EXPECT_TRUE(m_controller->RefreshController().ok);
        m_disks = m_controller->RefreshDisks();
    }

    std::string Unit(std::size_t number)
    {
        return Print(m_controller->m_units.at(number)->CreateAlarmElement(false, 77).get());
    }

    const std::vector<storcli::Drive> m_drives{
        {.slot = "4", .did = "6", .dg = "0", .row = "1"},
        {.slot = "5", .did = "7", .state = "Rbld", .dg = "1", .row = "0"},
        {.slot = "6",
         .did = "8",
         .state = "UGood",
         .dg = "\"-\"",
         .size = "512.0 GB",
         .mediaErrors = "1",
         .predictive = "2",
         .alert = "\"Yes\""},
        {.enclosure = "8", .slot = "7", .did = "9", .state = "UGood", .dg = "\"-\"", .size = "511.9 GB"},
        {.enclosure = "8", .slot = "8", .did = "10", .state = "UGood", .dg = "\"F\""},
        {.enclosure = "8", .slot = "9", .did = "11", .state = "DHS GHS", .dg = "\"F\"", .otherErrors = "1"},
    };
    const std::map<CFakeHost::Arguments, std::string> m_good{
        {kController, storcli::Controller(m_drives)},
        {kEnclosures, storcli::Enclosures()},
        {kVolumes, storcli::Volumes({{}, {.ids = "1/4", .type = "RAID5", .size = "5.457 TB"}})},
        {kDisks, storcli::Disks(m_drives)},
        {kSmart, storcli::Success(storcli::Smart("/c0/e252/s0"))},
    };
    CFakeHost m_host;
    const std::shared_ptr<CLsiController> m_controller =
        std::make_shared<CLsiController>(false, std::make_shared<CManualClock>(5'000'000'000));
    DiskList m_disks;
};

TEST_F(LsiController, TellsItselfAndItsUnits)
{
    RefreshAll();
    EXPECT_EQ(
        Print(m_controller->CreateXmlElement().get()),
        R"(<Controller Name="/c0" Model="RAID 8i" SerialNumber="SV1" DriverVersion="D1" FirmwareVersion="F1" )"
        R"(NumUnits="2" NumPhys="12" NumDrives="6" JBODExportPolicy="-1" DiskSpinupPolicy="1" )"
        R"(SpinupStaggerTime="12" AutoCarvingPolicy="-1" AutoCarvingSize="-1" AutoRebuildPolicy="1" )"
        R"(SupportsPrep="0" />)");
    EXPECT_EQ(Print(m_controller->m_units[1]->CreateXmlElement().get()),
              R"(<Volume Name="/c0/v4" Type="RAID5" Size="5587" SupportsPrep="0" />)");
    EXPECT_EQ(Print(m_controller->CreateAlarmElement(false).get()), "");
    EXPECT_EQ(Print(m_controller->CreateAlarmElement(true).get()),
              R"(<Controller Name="/c0" Alarm="0" Time="5000000000" Message="Healthy" />)");
}

TEST_F(LsiController, UnitsTellWhatChanges)
{
    RefreshAll();
    CRaidUnit& unit = *m_controller->m_units[1];
    EXPECT_EQ(Print(unit.CreateAlarmElement(true, 77).get()),
              R"(<Volume Name="/c0/v4" Time="77" Alarm="0" Message="Optl" />)");
    EXPECT_EQ(Print(unit.CreateAlarmElement(true, 77).get()), "") << "not even when forced";

    Answer(kVolumes,
           storcli::Volumes({{.ids = "1/4", .type = "RAID5", .state = "Dgrd", .operations = "Rebuild (5%)"},
                             {.ids = "2/9", .type = "RAID6", .operations = "Bgi (1)"}}));
    m_controller->RefreshVolumes();
    ASSERT_EQ(m_controller->m_units.size(), 2U) << "one gone, one new";
    EXPECT_EQ(Unit(0),
              R"x(<Volume Name="/c0/v4" Time="77" Alarm="1" Message="Dgrd, busy (Rebuild 5% complete)" />)x");
    EXPECT_EQ(Unit(1), R"x(<Volume Name="/c0/v9" Message="Optl, busy (Bgi 1% complete)" />)x");
    EXPECT_EQ(m_controller->GetUnitTaskText("/c0/v4"), "busy (Rebuild 5% complete)");
    EXPECT_EQ(m_controller->GetUnitTaskText("/c0/v1"), "");
    EXPECT_FALSE(m_controller->HasRaid1Unit());
}

TEST_F(LsiController, BuildsItsDisks)
{
    RefreshAll();
    std::vector<std::string> lines;
    for (const auto& disk : m_disks)
    {
        EXPECT_EQ(disk->m_source, DiskSource::Controller);
        EXPECT_EQ(disk->m_controller, m_controller);
        EXPECT_EQ(disk->m_controllerName + disk->m_otherName, "/c0" + disk->m_name);
        EXPECT_EQ(disk->m_model + disk->m_serialNumber + disk->m_firmwareVersion, "MODEL 2TS1FW1");
        EXPECT_EQ(disk->m_linkSpeed, 6.0);
        lines.push_back(disk->m_name + " " + disk->m_status + " [" + disk->m_unitName + "] " +
                        std::to_string(disk->m_capacity) + " port " + std::to_string(disk->m_port) +
                        " index " + std::to_string(disk->m_volumeIndex) + " spare " +
                        std::to_string(static_cast<int>(disk->m_hotSpare)));
    }
    EXPECT_THAT(lines, ElementsAre("/c0/e252/s4 Onln [/c0/v0] 1861 port 4 index 1 spare 0",
                                   "/c0/e252/s5 Rbld [/c0/v4] 1861 port 5 index 5 spare 0",
                                   "/c0/e252/s6 UGood [] 512 port 6 index 6 spare 0",
                                   "/c0/e8/s7 UGood [] 511 port 7 index 7 spare 0",
                                   "/c0/e8/s8 UGood [Foreign] 1861 port 8 index 8 spare 0",
                                   "/c0/e8/s9 DHS GHS [Foreign] 1861 port 9 index 9 spare 2"));
    const auto free = m_controller->GetUnconfiguredDisks();
    ASSERT_EQ(free.size(), 1U) << "large enough, not foreign, no spare";
    EXPECT_EQ(free[0].name, "252:6");
    EXPECT_EQ(free[0].sizeGB, 512);
    EXPECT_EQ(m_controller->GetDiskDid("/c0/e8/s9"), "11");
    EXPECT_EQ(m_controller->GetDiskDid("/c0/e8/s99"), "-1");
    EXPECT_EQ(m_controller->GetDiskTemperature("/c0/e8/s9"), 34);
    const SmartctlTarget target = m_controller->GetSmartctlDevice("/c0/e252/s6");
    EXPECT_EQ(target.device + " " + target.deviceType, "/dev/bus/0 sat+megaraid,8");
    EXPECT_EQ(m_controller->GetSmartctlDevice("/dev/sda").device, "");
    m_controller->RefreshDisks();
    EXPECT_THAT(m_host.LogTexts(LogWarning),
                ElementsAre("/c0/e252/s6 RAID SMART error flags: [MEDIA] [PREDICTIVE] [SMART]",
                            "/c0/e8/s9 RAID SMART error flags: [OTHER]"))
        << "once each";
}

TEST_F(LsiController, ReadsTheSmartTable)
{
    EXPECT_THAT(m_controller->GetDiskSmartAttributes("/c0/e252/s0"), IsEmpty());
    RefreshAll();
    EXPECT_THAT(m_controller->GetDiskSmartAttributes("/c0/e252/s4"), IsEmpty());
    const auto attributes = m_controller->GetDiskSmartAttributes("/c0/e252/s0");
    ASSERT_EQ(attributes.size(), 2U);
    const SmartAttribute& nine = attributes.at(9);
    EXPECT_THAT(
        (std::array{nine.flag, nine.currentValue, nine.worstValue, nine.rawValue, nine.thresholdValue}),
        ElementsAre(0x12EU, 0x5FU, 0x5FU, 0U, 0U));
    EXPECT_THAT((std::array{nine.offlineCollectionBit, nine.performanceBit, nine.errorRateBit,
                            nine.errorCountBit, nine.selfPreserving, nine.advisoryBit, nine.preFailBit}),
                ElementsAre(true, true, true, false, true, false, false));
    EXPECT_EQ(attributes.at(5).currentValue, 0x64U) << "the first of two";
}

struct FailureCase
{
    const char* name;
    const CFakeHost::Arguments& command;
    CFakeHost::Answer answer;
    const char* line; // behind "Failed to refresh RAID "
};

using LsiFailure = WithCases<LsiController, FailureCase>;

const CFakeHost::Answer kNotStarted{.startError = ENOENT};

// clang-format off
const std::vector<FailureCase> kFailureCases{
    {"Controller", kController, kNotStarted, "controller - storcli ExecuteControllerInfo ctlr IPC failed"},
    {"Enclosures", kEnclosures, kNotStarted, "controller - storcli ExecuteControllerInfo encl IPC failed"},
    {"ControllerCut", kController, {.output = R"({"Controllers":[{)"}, "controller - ctlr storcli invalid json"},
    {"EnclosuresFailed", kEnclosures, {.output = storcli::Failure()}, "controller - encl storcli error Failure"},
    {"Volumes", kVolumes, kNotStarted, "volumes - storcli ExecuteVolumesInfo IPC failed"},
    {"NoVolumes", kVolumes, {.output = storcli::Success("")}, "volumes - storcli missing response data"},
    {"Disks", kDisks, kNotStarted, "disks - storcli ExecuteDisksInfo IPC failed"},
    {"DisksKilled", kDisks, {.output = "{", .signal = 9}, "disks - storcli error 2304"},
    {"Smart", kSmart, kNotStarted, "SMART data - storcli ExecuteDisksSmartInfo IPC failed"},
    {"SmartPlainText", kSmart, {.output = "Error", .exitCode = 7}, "SMART data - storcli error 7"},
};
// clang-format on

TEST_P(LsiFailure, IsLoggedOnceKeepsTheDataAndPasses)
{
    RefreshAll();
    m_host.Forget();
    const auto pass = [this]
    {
        m_controller->RefreshController();
        m_controller->RefreshDisks();
    };
    m_host.SetAnswer(GetParam().command, GetParam().answer);
    pass();
    pass();
    const std::string line = std::string("Failed to refresh RAID ") + GetParam().line;
    EXPECT_THAT(m_host.LogTexts(LogError), ElementsAre(line));
    EXPECT_EQ(m_controller->m_units.size(), 2U);
    EXPECT_EQ(m_controller->m_serialNumber, "SV1");
    EXPECT_EQ(m_controller->GetDiskDid("/c0/e8/s9"), "11");
    EXPECT_EQ(m_controller->GetDiskSmartAttributes("/c0/e252/s0").size(), 2U);
    const bool volumes = GetParam().command == kVolumes;
    EXPECT_THAT(Unit(0), HasSubstr(volumes ? R"(Alarm="1" Message="storcli )" : R"(Message="Optl")"));

    Answer(GetParam().command, m_good.at(GetParam().command));
    pass();
    EXPECT_EQ(Unit(0).empty(), !volumes) << "its state is back";
    m_host.SetAnswer(GetParam().command, GetParam().answer);
    pass();
    EXPECT_THAT(m_host.LogTexts(LogError), ElementsAre(line, line)) << "again after a success";
}
INSTANTIATE_TEST_SUITE_P(Cases, LsiFailure, testing::ValuesIn(kFailureCases), kByName);

TEST_F(LsiController, WithoutVolumesNoDiskIsSeen)
{
    Answer(kVolumes, storcli::Success(""));
    EXPECT_TRUE(m_controller->RefreshController().ok);
    m_host.Forget();
    EXPECT_THAT(m_controller->RefreshDisks(), IsEmpty());
    EXPECT_THAT(m_host.LogTexts(LogError),
                ElementsAre("Failed to refresh RAID disks - unknown ctlr or vol config"));
    EXPECT_THAT(m_host.Programs(), IsEmpty());
    EXPECT_THAT(m_controller->GetUnconfiguredDisks(), IsEmpty());
}

TEST_F(LsiController, CreatesTheDataVolume)
{
    const CFakeHost::Arguments create{"storcli",          "/c0",       "add", "vd", "r5",
                                      "drives=252:6,8:7", "strip=256", "J"};
    m_controller->m_prep.raidLevel = 5;
    m_controller->m_prep.disks = {"252:6", "8:7"};
    m_controller->m_prep.name = "/c0/v4";
    const auto finish = [this, &create](const CFakeHost::Answer& answer)
    {
        m_host.SetAnswer(create, answer);
        m_controller->StartCreateVolume();
        const CreateVolumeResult result = m_controller->FinishCreateVolume();
        return std::string(result.ok ? "ok " : "failed ") + result.text;
    };
    const CFakeHost::Answer good{.output = storcli::Success("")};
    EXPECT_EQ(finish({.output = storcli::Failure(), .exitCode = 1}),
              "failed vol create error - storcli error Failure");
    EXPECT_EQ(finish(good), "ok /c0/v4");
    EXPECT_TRUE(m_controller->m_units.empty()) << "left to the scan that follows";
    Answer(kVolumes, storcli::Volumes({{}}));
    EXPECT_EQ(finish(good), "failed new vol name not found");
    Answer(kVolumes, "{");
    EXPECT_EQ(finish(good), "failed vol info error - storcli invalid json");

    EXPECT_EQ(m_controller->ConfigureCache(), "storcli ExecuteConfigureCache IPC failed");
    Answer({"storcli", "/c0/v4", "set", "pdcache=off", "wrcache=awb", "J"}, storcli::Success(""));
    EXPECT_EQ(m_controller->ConfigureCache(), "");
}
} // namespace
