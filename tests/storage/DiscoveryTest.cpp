#include "storage/Discovery.h"

#include "frame/Text.h"
#include "storage/SmartConfig.h"
#include "tests/storage/StorageFakes.h"
#include "tests/support/Cases.h"

#include <sstream>

namespace
{
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

std::string ScsiReport(const std::string& vendor, const std::string& product)
{
    return R"({"smartctl": {"exit_status": 0}, "scsi_vendor": ")" + vendor + R"(", "scsi_product": ")" +
           product + R"("})";
}

class Discovery : public testing::Test
{
protected:
    bool Scan(bool full)
    {
        return ScanSmartctlDisks(
            {.removableDevices = m_removable, .knownDisks = m_known, .ignoredDevices = m_ignored}, m_found,
            full);
    }

    // Names and types: "/dev/sda ata /dev/sdb sat".
    void ScanFinds(const std::string& devices)
    {
        std::istringstream in(devices);
        std::string list;
        for (std::string device, type; in >> device >> type;)
        {
            list.append(list.empty() ? "" : ",").append(R"({"name": ")").append(device);
            list.append(R"(", "type": ")").append(type).append(R"("})");
        }
        m_host.OnProgram(ScanCommand(),
                         {.output = R"({"smartctl": {"exit_status": 0}, "devices": [)" + list + "]}"});
    }

    // Called again for a device: its next report.
    void Reports(const std::string& device, const std::string& report)
    {
        m_host.OnProgram(ReportCommand(device), {.output = report});
    }

    CFakeHost m_host;
    std::map<std::string, bool> m_removable;
    DiskList m_known;
    std::set<std::string> m_ignored;
    DiskList m_found;
};

struct RuleCase
{
    const char* name;
    const char* device; // and its type
    const char* scan;   // "quick", "full", or "removable": a full one of a removable device
    std::string report; // empty: must not be asked for
    const char* lines;  // joined by line feeds
    int exitCode = 0;
};

const std::vector<RuleCase> kRuleCases{
    {"RemovableComesBeforeTheType", "/dev/bus/0 megaraid,8", "removable", "",
     "50 SMARTCTL: ignore /dev/bus/0 (removable)"},
    {"PseudoDeviceComesBeforeNew", "/dev/bus/0 megaraid,8", "quick", "",
     "50 SMARTCTL: ignore /dev/bus/0 (LSI RAID pseudo-device)"},
    {"InvalidTypeComesBeforeNew", "/dev/sdb megaraid,8", "quick", "",
     "50 SMARTCTL: ignore /dev/sdb (invalid disk type)"},
    {"NewInAQuickScan", "/dev/sdb ata", "quick", "", "50 SMARTCTL: ignore /dev/sdb (new)"},
    {"FailedReportIsNotRepeated", "/dev/sdb ata", "full", "no such %s",
     "50 SMARTCTL: ignore /dev/sdb (smartctl error 2)\n0 no such %s", 2},
    {"ReportWithoutASerial", "/dev/sdb scsi", "full", AtaReport("", kSpinUpRow),
     "50 SMARTCTL: ignore /dev/sdb (empty model [TEST HDD] or serial [])"},
    {"VolumeOfLsiComesBeforeItsProduct", "/dev/sdb scsi", "full", ScsiReport("xLSIx", "Virtual Disk"),
     "50 SMARTCTL: ignore /dev/sdb (LSI RAID volume - vendor [xLSIx] product [Virtual Disk])"},
    {"VolumeOfAvago", "/dev/sdb scsi", "full", ScsiReport("AVAGO", ""),
     "50 SMARTCTL: ignore /dev/sdb (LSI RAID volume - vendor [AVAGO] product [])"},
    {"VolumeOfIntel", "/dev/sdb scsi", "full", ScsiReport("Intel", "R"),
     "50 SMARTCTL: ignore /dev/sdb (LSI RAID volume - vendor [Intel] product [R])"},
    {"VirtualProduct", "/dev/sdb scsi", "full", ScsiReport("V", "A VirtualDisk"),
     "50 SMARTCTL: ignore /dev/sdb (product [A VirtualDisk])"},
    {"VirtualProductInCapitals", "/dev/sdb scsi", "full", ScsiReport("", "VIRTUAL-DISK"),
     "50 SMARTCTL: ignore /dev/sdb (product [VIRTUAL-DISK])"},
    {"WordsAreCaseSensitive", "/dev/sdb scsi", "full", ScsiReport("lsi avago INTEL", "virtual"),
     "50 SMARTCTL: ignore /dev/sdb (SMART unsupported)"},
    {"NoAttributesAfterAWarning", "/dev/sdb ata", "full", AtaReport("S1", "", "", 0x18),
     "50 SMARTCTL: /dev/sdb get disk warnings: disk failing, curr SMART attrs <= thresh\n"
     "50 SMARTCTL: ignore /dev/sdb (SMART unsupported)"},
};

using DiscoveryRule = WithCases<Discovery, RuleCase>;

// A rejected device is logged once, and never again looked at.
TEST_P(DiscoveryRule, Rejects)
{
    const RuleCase& row = GetParam();
    const std::string scan = row.scan;
    ScanFinds(row.device);
    const std::string name = std::string(row.device).substr(0, std::string_view(row.device).find(' '));
    std::vector<CFakeHost::Arguments> programs{ScanCommand()};
    if (!row.report.empty())
    {
        m_host.OnProgram(ReportCommand(name), {.output = row.report, .exitCode = row.exitCode});
        programs.push_back(ReportCommand(name));
    }
    if (scan == "removable")
    {
        m_removable[name] = true;
    }
    EXPECT_TRUE(Scan(scan != "quick"));
    EXPECT_EQ(Join(LevelAndText(m_host), "\n"), row.lines);
    EXPECT_THAT(m_host.Programs(), ElementsAreArray(programs));
    EXPECT_THAT(m_ignored, ElementsAre(name));

    m_host.Forget();
    m_removable.clear();
    EXPECT_TRUE(Scan(true));
    EXPECT_THAT(LevelAndText(m_host), IsEmpty());
    EXPECT_THAT(m_host.Programs(), ElementsAre(ScanCommand()));
    EXPECT_THAT(m_found, IsEmpty());
}
INSTANTIATE_TEST_SUITE_P(Cases, DiscoveryRule, testing::ValuesIn(kRuleCases), kByName);

TEST_F(Discovery, FullScanTakesIdentityAndRange)
{
    ScanFinds("/dev/sda sat /dev/nvme0 nvme");
    Reports("/dev/sda", AtaReport(" S 1 ", kSpinUpRow, "", 0x10));
    Reports("/dev/nvme0", AtaReport("S2", kSpinUpRow)); // the scan's type decides, not the report's
    EXPECT_TRUE(Scan(true));
    ASSERT_EQ(m_found.size(), 2U);
    EXPECT_EQ(
        Print(m_found[0]->CreateXmlElement().get()),
        R"(<Disk Name="/dev/sda" Model="TEST HDD" SerialNumber="S 1" FirmwareVersion="F1" DriverVersion="" )"
        R"(Capacity="-1" SmartAvailable="1" SmartEnabled="1" ControllerName="" UnitName="" OtherName="" )"
        R"(Speed="-1" LinkSpeed="-1.000000" Hotspare="0" CanConfigureHotSpare="0" SelfTestSupport="1" )"
        R"(Attached="1" NonRaidPort="-1" SupportsPrep="0">)"
        R"(<Thresholds><Threshold Id="194" Min="5" Max="55" /></Thresholds></Disk>)");
    EXPECT_EQ(m_found[0]->m_status, "OK");
    EXPECT_EQ(m_found[0]->m_source, DiskSource::Smartctl);
    EXPECT_FALSE(m_found[1]->m_selfTestSupport);
    EXPECT_EQ(m_found[1]->m_userRange, (ThresholdRange{.min = 5, .max = 75}));
    EXPECT_THAT(LevelAndText(m_host),
                ElementsAre("50 SMARTCTL: /dev/sda get disk warnings: curr SMART attrs <= thresh",
                            "50 SMARTCTL: found /dev/sda serial [ S 1 ]",
                            "50 SMARTCTL: found /dev/nvme0 serial [S2]"));
    EXPECT_THAT(m_ignored, IsEmpty());
}

TEST_F(Discovery, SecondDiskWithASerialIsIgnored)
{
    ScanFinds("/dev/sda ata /dev/sdb ata /dev/sdc ata /dev/sdd ata /dev/sde ata");
    Reports("/dev/sda", AtaReport("S1", "")); // rejected: its serial does not count
    Reports("/dev/sdb", AtaReport("S1", kSpinUpRow));
    Reports("/dev/sdc", AtaReport("S1", kSpinUpRow));
    Reports("/dev/sdd", AtaReport("S1 ", kSpinUpRow)); // compared untrimmed
    Reports("/dev/sde", AtaReport("S1 ", kSpinUpRow));
    EXPECT_TRUE(Scan(true));
    EXPECT_THAT(LevelAndText(m_host), ElementsAre("50 SMARTCTL: ignore /dev/sda (SMART unsupported)",
                                                  "50 SMARTCTL: found /dev/sdb serial [S1]",
                                                  "50 SMARTCTL: ignore /dev/sdc (duplicate serial S1)",
                                                  "50 SMARTCTL: found /dev/sdd serial [S1 ]",
                                                  "50 SMARTCTL: ignore /dev/sde (duplicate serial S1 )"));
    EXPECT_THAT(m_ignored, ElementsAre("/dev/sda", "/dev/sdc", "/dev/sde"));

    // Serials are remembered for one scan only.
    m_host.Forget();
    EXPECT_TRUE(Scan(true));
    EXPECT_THAT(LevelAndText(m_host), ElementsAre("50 SMARTCTL: found /dev/sdb serial [S1]",
                                                  "50 SMARTCTL: found /dev/sdd serial [S1 ]"));
}

TEST_F(Discovery, BrokenReportIsAskedForTenTimes)
{
    const std::string retry = "50 SMARTCTL: /dev/sda get disk retry on invalid JSON";
    ScanFinds("/dev/sda ata");
    for (int broken = 0; broken < 9; ++broken)
    {
        Reports("/dev/sda", "{");
    }
    Reports("/dev/sda", AtaReport("S1", kSpinUpRow));
    Reports("/dev/sda", "{"); // of the second scan, again and again
    EXPECT_TRUE(Scan(true));
    std::vector<std::string> lines(9, retry);
    lines.emplace_back("50 SMARTCTL: found /dev/sda serial [S1]");
    EXPECT_THAT(LevelAndText(m_host), ElementsAreArray(lines));

    m_host.Forget();
    EXPECT_TRUE(Scan(true));
    EXPECT_EQ(m_host.Programs().size(), 1U + 10U);
    lines.assign(10, retry);
    lines.insert(lines.end(), {"50 SMARTCTL: ignore /dev/sda (smartctl invalid json)", "0 {"});
    EXPECT_THAT(LevelAndText(m_host), ElementsAreArray(lines));
    EXPECT_THAT(m_ignored, ElementsAre("/dev/sda"));
}

TEST_F(Discovery, QuickScanOnlyConfirmsTheName)
{
    ScanFinds("/dev/nvme0 nvme");
    m_known.push_back(std::make_shared<CDisk>("/dev/nvme0"));
    EXPECT_TRUE(Scan(false));
    EXPECT_THAT(m_host.Programs(), ElementsAre(ScanCommand()));
    EXPECT_THAT(LevelAndText(m_host), IsEmpty());
    ASSERT_EQ(m_found.size(), 1U);
    EXPECT_EQ(m_found[0]->m_name, "/dev/nvme0");
    EXPECT_EQ(m_found[0]->m_source, DiskSource::Smartctl);
    EXPECT_EQ(m_found[0]->m_status, "");
    EXPECT_FALSE(m_found[0]->m_userRange.has_value());
}

TEST_F(Discovery, FailedScanLeavesTheListAlone)
{
    m_host.OnProgram(ScanCommand(), {.exitCode = 4});
    m_found.push_back(std::make_shared<CDisk>("/c0/s1"));
    EXPECT_FALSE(Scan(true));
    EXPECT_THAT(LevelAndText(m_host), ElementsAre("50 SMARTCTL: ExecuteScan error (smartctl error 4)"));
    ASSERT_EQ(m_found.size(), 1U);
    EXPECT_TRUE(m_found[0]->IsPresent());
}

// A drive that the controller lets through shows up on both paths.
TEST_F(Discovery, MergesIntoTheControllersDisks)
{
    const auto behind = std::make_shared<CDisk>("/c0/s1");
    behind->m_source = DiskSource::Controller;
    behind->m_serialNumber = "S1";
    m_found.push_back(behind);
    ScanFinds("/dev/sda ata /dev/sdb ata");
    Reports("/dev/sda", AtaReport("S1", kSpinUpRow));
    Reports("/dev/sdb", AtaReport("S2", kSpinUpRow));
    EXPECT_TRUE(Scan(true));
    ASSERT_EQ(m_found.size(), 2U);
    EXPECT_EQ(m_found[0], behind);
    EXPECT_EQ(behind->m_name, "/c0/s1");
    EXPECT_EQ(m_found[1]->m_name, "/dev/sdb");
}

TEST(SmartConfigFile, CompleteEntriesAreAdded)
{
    CXmlDocument document;
    ASSERT_TRUE(document.Parse(R"(
        <SmartConfig>
            <Disk Model="WDC WD40" FirstIgnoreLba="-5" LastIgnoreLba="9"/>
            <Disk Model="" FirstIgnoreLba="1" LastIgnoreLba="9"/><Disk FirstIgnoreLba="1" LastIgnoreLba="9"/>
            <Disk Model="NoFirst" LastIgnoreLba="9"/><Disk Model="NoNumber" FirstIgnoreLba="1" LastIgnoreLba="x"/>
            <Disk Model="ZeroFirst" FirstIgnoreLba="0" LastIgnoreLba="9"/>
            <Disk Model="ZeroLast" FirstIgnoreLba="1" LastIgnoreLba="0"/>
            <Motherboard Name="BOARD 1">
                <DriveSlot ScsiId="0" DisplayOrder="4"/><DriveSlot ScsiId="3" DisplayOrder="1"/>
                <DriveSlot ScsiId="5" DisplayOrder="0"/><DriveSlot ScsiId="6"/><DriveSlot DisplayOrder="7"/>
            </Motherboard>
            <Motherboard Name="board 1"><DriveSlot ScsiId="7" DisplayOrder="7"/></Motherboard>
            <Motherboard><DriveSlot ScsiId="8" DisplayOrder="8"/></Motherboard>
        </SmartConfig>
        <smartConfig><Disk Model="Root" FirstIgnoreLba="1" LastIgnoreLba="9"/></smartConfig>
        <SmartConfig>
            <Motherboard Name="BOARD 1"><DriveSlot ScsiId="3" DisplayOrder="2"/></Motherboard>
            <Disk Model="Second" FirstIgnoreLba="2" LastIgnoreLba="2"/>
        </SmartConfig>)"));
    SmartConfig config;
    config.ignoreLbas.push_back({.model = "before", .firstLba = 1, .lastLba = 1});
    config.driveSlots[0] = 9;
    config.driveSlots[10] = 10;
    ReadSmartConfig(document, "BOARD 1", config);
    std::string rules;
    for (const IgnoreLbaRule& rule : config.ignoreLbas)
    {
        rules += rule.model + " " + std::to_string(rule.firstLba) + " " + std::to_string(rule.lastLba) + "; ";
    }
    EXPECT_EQ(rules, "before 1 1; wdc wd40 -5 9; second 2 2; ");
    EXPECT_THAT(config.driveSlots,
                ElementsAre(testing::Pair(0, 4), testing::Pair(3, 2), testing::Pair(10, 10)));
}
} // namespace
