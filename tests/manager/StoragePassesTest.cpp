#include "frame/Log.h"
#include "host/SimTime.h"
#include "tests/manager/ManagerRig.h"

#include <filesystem>

namespace
{
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// Two disks; a chip, because its polls tell the housekeeping.
class StoragePasses : public ManagerRig
{
protected:
    StoragePasses()
    {
        m_hasChip = true;
        AnswerScan({"/dev/sda", "/dev/sdb"});
        AnswerReport("/dev/sda", "S1", 30);
        AnswerReport("/dev/sdb", "S2", 31);
    }

    // A self-test tool from the next start on, its report about /dev/sda.
    void UseSelfTests(const std::string& schedule, const std::string& report = R"(SelfTestStatus="0")")
    {
        Answer({"./tqselftest", "-v"}, {.output = "tqselftest version: 1.2\n"});
        Answer({"./tqselftest", "-c", "startshort"}, {});
        Answer({"./tqselftest", "-c", "startlong"}, {});
        Answer({"./tqselftest", "-c", "report"},
               {.output = "<r><Disk Name=\"/dev/sda\" " + report + "/></r>"});
        m_dir.Write(kConfigurationFile, "<zDVR><Storage>" + schedule + "</Storage></zDVR>");
    }

    // What the self-test tool was told since the last call.
    std::string SelfTestVerbs() { return TakeWords("./tqselftest", 2); }

    static std::string Storage(const std::string& disks)
    {
        return R"(<?xml ?><zDVR><Storage ID="3604480">)" + disks + "</Storage></zDVR>";
    }
};

TEST_F(StoragePasses, TheFirstStatusIsCompleteAndLaterOnesTellChanges)
{
    Start();
    EXPECT_THAT(
        Statuses(),
        ElementsAre(Storage(
            R"(<Disk Name="/dev/sda" Message="Healthy" Time="1700395200" Milliseconds="0" Alarm="0" />)"
            R"(<Disk Name="/dev/sdb" Message="Healthy" Time="1700395200" Milliseconds="0" Alarm="0" />)")));
    m_host.Forget();
    Housekeeping();
    EXPECT_THAT(Statuses(), IsEmpty()) << "nothing has changed";

    AnswerReport("/dev/sdb", "S2", 56);
    Pass(std::chrono::seconds(3600),
         [this] {
             return CountProgram({"./smartctl", "-j", "-T", "permissive", "-a", "/dev/sdb"}) == 1;
         });
    Housekeeping();
    EXPECT_THAT(Statuses(), ElementsAre(AllOf(
                                HasSubstr(R"(<Disk Name="/dev/sdb" Message="threshold exceeded")"),
                                HasSubstr(R"(Alarm="1"><Attribute Id="194")"), Not(HasSubstr("/dev/sda")))));
}

TEST_F(StoragePasses, AQuickScanConfirmsAndAsksNoReports)
{
    Start();
    m_host.Forget();
    Scan();
    EXPECT_THAT(m_host.Programs(), ElementsAre(kScan));
    EXPECT_THAT(m_host.LogTexts(LogDebug), ElementsAre("ScanStorage calling UpdateStorage"));
    EXPECT_THAT(m_host.Documents(), IsEmpty());
}

TEST_F(StoragePasses, ADiskIsLostWhenAScanMissesItNotWhenTheScanFails)
{
    const char* removed = "Plugin detected disk '/dev/sda' has been removed";
    Start();
    FailScan();
    m_host.Forget();
    Scan();
    Scan();
    Scan();
    EXPECT_THAT(Statuses(), ElementsAre(Storage(R"(<Disk Name="/dev/sda" Message="poll error" />)"
                                                R"(<Disk Name="/dev/sdb" Message="poll error" />)")));
    EXPECT_EQ(CountLog(removed), 0);

    m_host.Forget();
    AnswerScan({"/dev/sdb"});
    Scan();
    Scan();
    EXPECT_THAT(Statuses(), ElementsAre(AllOf(HasSubstr(R"(<Disk Name="/dev/sda" Message="Offline" Time=)"),
                                              HasSubstr(R"(<Disk Name="/dev/sdb" Message="Healthy" />)"))));
    EXPECT_THAT(m_host.LogTexts(LogWarning), testing::Contains("/dev/sda alarmed - Offline"));
    EXPECT_THAT(LastConfig(), AllOf(HasSubstr(R"(<Disk Name="/dev/sda")"), HasSubstr(R"(Attached="0")")));
    FailScan();
    Scan();
    EXPECT_EQ(CountLog(removed), 1) << "seen neither the first nor the last time, but missed once";

    AnswerScan({"/dev/sda", "/dev/sdb"});
    Scan();
    EXPECT_THAT(LastStatus(), AllOf(HasSubstr(R"(<Disk Name="/dev/sda" Message="Healthy" Time=)"),
                                    HasSubstr(R"(Alarm="0")")));
}

TEST_F(StoragePasses, ADiskThatAQuickScanMetIsIgnoredForGood)
{
    Start();
    AnswerScan({"/dev/sda", "/dev/sdb", "/dev/sdc"});
    AnswerReport("/dev/sdc", "S3", 30);
    Scan();
    EXPECT_EQ(CountLog("SMARTCTL: ignore /dev/sdc (new)"), 1);
    ConfigureStorage(kRefresh);
    EXPECT_THAT(LastConfig(), Not(HasSubstr("/dev/sdc")));
}

TEST_F(StoragePasses, WithoutSmartctlNothingAsksIt)
{
    Answer({"./smartctl", "-jV"}, {.startError = 2});
    Start();
    EXPECT_EQ(CountLog("SMARTCTL: failed to get version (smartctl ExecuteVersion IPC failed)"), 1);
    EXPECT_EQ(CountLog("smartctl missing - disabling SMART feature."), 1);
    Housekeeping(std::chrono::seconds(3600));
    EXPECT_THAT(m_host.Programs(), testing::UnorderedElementsAre(ElementsAre("scripts/sysinfo.sh"),
                                                                 ElementsAre("./smartctl", "-jV"),
                                                                 ElementsAre("./tqselftest", "-v")));
}

TEST_F(StoragePasses, TheModuleDocumentListsTheToolsThatAreThere)
{
    UseController(false);
    m_controller->present = false;
    Start();
    EXPECT_EQ(Configs().at(0),
              R"(<?xml ?><zDVR Delta="0"><Modules><Module Name="CorvanePI" ID="3604480" Version="26.1.7.3">)"
              R"(<Library Name="smartctl" Filename="smartctl" Version="7.4 5530 local build" />)"
              R"(<Library Name="arcconf" Filename="arcconf" Version="1.2.3" /></Module></Modules></zDVR>)");
    const std::vector<std::string> warnings = m_host.LogTexts(LogWarning);
    EXPECT_THAT(std::vector<std::string>(warnings.begin(), warnings.begin() + 6),
                ElementsAre("IPMI: monitoring enabled", "smartctl found - enabling SMART feature.",
                            R"(Failure (No such file or directory) on '"./tqselftest" "-v"')",
                            "tqselftest missing - disabling self-test feature.",
                            "storcli missing - disabling LSI RAID feature.",
                            "arcconf found - enabling Adaptec RAID feature."));
    EXPECT_EQ(m_host.LogTexts(LogError).at(0), "STORCLI: failed to get version (not there)");
}

TEST_F(StoragePasses, PreparationIsCheckedExceptOnAKSeries)
{
    AnswerSysInfo("motherboard-vendor=ACME\n");
    Start();
    EXPECT_EQ(CountLog("DRIVEPREP: S1 (device /dev/sda) DOES NOT need prep."), 1);
    Stop();
    m_host.Forget();
    m_dir.Write("tqsysteminfo.xml", R"(<x><family value="k_series"/></x>)");
    Start();
    EXPECT_EQ(CountLog("DRIVEPREP: S1 (device /dev/sda) DOES NOT need prep."), 0);
    EXPECT_EQ(CountLog("DRIVEPREP: K-Series system; data drive prep not applicable."), 1);
}

TEST_F(StoragePasses, SlotsComeFromTheBoardsTable)
{
    AnswerSysInfo("motherboard-vendor=ACME\nmotherboard-model=B1\ndrive-index=4\ndrive-serial=S1\n"
                  "drive-index=2\ndrive-serial=S2\n");
    m_dir.Write("hwmconfig.xml",
                R"(<x/><SmartConfig><Motherboard Name="B1"><DriveSlot ScsiId="4" DisplayOrder="9"/>)"
                R"(<DriveSlot ScsiId="2" DisplayOrder="8"/></Motherboard></SmartConfig>)");
    Start();
    EXPECT_THAT(LastConfig(), testing::ContainsRegex("sda.*NonRaidPort=\"2\".*sdb.*NonRaidPort=\"1\""));
}

TEST_F(StoragePasses, SlotsComeFromTheBayLinks)
{
    const std::string device = m_dir.Write("dev-sdc", "");
    std::filesystem::create_directory(m_dir.File("by-slot"));
    std::filesystem::create_symlink(device, m_dir.File("by-slot/6"));
    AnswerScan({device});
    AnswerReport(device, "S3", 30);
    Start();
    EXPECT_THAT(LastConfig(), HasSubstr(R"(NonRaidPort="6")"));
}

TEST_F(StoragePasses, TheHealthLogIsWrittenOnceInItsWindow)
{
    m_dir.Write(kConfigurationFile, R"(<zDVR><Storage DailyLogTime="12:00 PM"/></zDVR>)");
    AnswerScan({"/dev/sda"});
    Start();
    const std::vector<std::string> info = m_host.LogTexts(LogInfo);
    const auto first = std::find(info.begin(), info.end(), "Disk /dev/sda overall health assessment : OK");
    ASSERT_NE(first, info.end());
    // Tools, storage pass, health log, end of the start, sensors.
    EXPECT_EQ(Configs().size(), 5U);
    EXPECT_THAT(std::vector<std::string>(first + 1, first + 4),
                ElementsAre("| Time | Device | SMART ID | Value | Threshold |",
                            "| Sun Nov 19 12:00:00 2023 | /dev/sda | 005 | 100 | 007 |",
                            "| Sun Nov 19 12:00:00 2023 | /dev/sda | 194 | 030 | 000 |"));
    Scan();
    EXPECT_EQ(CountLog("| Time | Device | SMART ID | Value | Threshold |"), 1)
        << "still in the window, but disarmed";
}

TEST_F(StoragePasses, AnUnusableLogTimeIsReplacedInTheFile)
{
    m_dir.Write(kConfigurationFile, R"(<zDVR><Storage DailyLogTime="noon"/></zDVR>)");
    Start();
    EXPECT_THAT(LastConfig(), HasSubstr(R"(DailyLogTime="1:00 AM")"));
}

TEST_F(StoragePasses, OneSelfTestReportServesAllDisksOfAPass)
{
    UseSelfTests("");
    Start();
    EXPECT_THAT(Configs().at(0),
                HasSubstr(R"(<Library Name="tqselftest" Filename="tqselftest" Version="1.2" />)"));
    EXPECT_THAT(
        LastConfig(),
        HasSubstr(
            R"(SelfTestSupport="1" CannotDeleteThreshold="1"><SelfTestSchedule SelfTest="0" Start="3600" )"
            R"(Days="127" /><SelfTestSchedule SelfTest="1" Start="0" Days="0" />)"));
    EXPECT_EQ(SelfTestVerbs(), "report report ") << "a full pass asks before and after";
    Scan();
    EXPECT_EQ(SelfTestVerbs(), "report ");
    AnswerScan({"/dev/sda"}); // a pass with changes
    Scan();
    EXPECT_EQ(SelfTestVerbs(), "report ");
}

TEST_F(StoragePasses, ADueSelfTestIsStartedBeforeTheReport)
{
    UseSelfTests(R"(<SelfTestSchedule SelfTest="0" Days="1" Start="43260"/>)"); // 12:01
    Start();
    SelfTestVerbs();
    Scan();
    EXPECT_EQ(SelfTestVerbs(), "startshort report report ");
    Scan();
    EXPECT_EQ(SelfTestVerbs(), "report ");
    Stop();
    UseSelfTests(R"(<SelfTestSchedule SelfTest="1" Days="1" Start="43320"/>)"); // now
    Start();
    EXPECT_EQ(SelfTestVerbs(), "report startlong report report ");
}

TEST_F(StoragePasses, AFailedSelfTestIsAnAlarm)
{
    UseSelfTests("", R"(SelfTestStatus="3"><Report ID="1" StatusCode="3" FailLBA="77"/></Disk><x)");
    Start();
    EXPECT_THAT(
        Statuses().at(0),
        HasSubstr(R"(<Disk Name="/dev/sda" Message="self-test failure" SelfTestStatus="3" SelfTestTime="0" )"
                  R"(Percent="-1" Time="1700395200" Milliseconds="0" Alarm="1" />)"));
    m_host.Forget();
    UseSelfTests("", R"(SelfTestStatus="1" PcRemain="90")");
    Request(R"(<Storage ID="3604480" SelfTest="0"/>)");
    EXPECT_THAT(Statuses(), ElementsAre(HasSubstr(
                                R"("Healthy" SelfTestStatus="1" SelfTestTime="1700395200" Percent="10" )"
                                R"(Time="1700395200" Milliseconds="0" Alarm="0" />)")));
}

} // namespace
