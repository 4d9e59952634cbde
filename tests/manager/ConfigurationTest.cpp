#include "frame/Log.h"
#include "tests/manager/ManagerRig.h"

namespace
{
using testing::HasSubstr;
using testing::Not;

class Configuration : public ManagerRig
{
protected:
    // The file written by a manager that has found nothing.
    std::string SavedAfter(const std::string& configuration)
    {
        m_dir.Write(kConfigurationFile, configuration);
        Start();
        Stop();
        return m_dir.Read(kConfigurationFile).value_or("");
    }
};

TEST_F(Configuration, IsWrittenInTheDocumentedOrder)
{
    m_dir.Write("delmo/tqsysteminfo.xml",
                R"(<x><Drives StorageRows="1" StorageCols="8" HorizontalFlip="1"/></x>)");
    m_dir.Write("tqsysteminfo.xml", R"(<x><Drives StorageRows="7" StorageCols="7"/></x>)");
    m_dir.Write(
        kConfigurationFile,
        R"(<zDVR Delta="0"><Storage RefreshIntervalSec="90" SmartIntervalSec="600" SelfTestTimeoutSec="4000")"
        R"( TqselftestLogEnabled="1" DailyLogTime="2:30 PM" LogCommandline="1">)"
        R"(<Disk SerialNumber=" S1 " Model="M" NonRaidPort="3" OtherName=""/>)"
        R"(<Disk SerialNumber="S1" Model="IGNORED"><Thresholds><Threshold Id="194" Min="10" Max="45"/></Thresholds></Disk>)"
        R"(<Disk SerialNumber="" Model="IGNORED"/></Storage></zDVR>)");
    Start();
    EXPECT_EQ(
        LastConfig(),
        R"(<?xml ?><zDVR Delta="0"><Storage ID="3604480" RefreshIntervalSec="90" SmartIntervalSec="3600")"
        R"( SelfTestTimeoutSec="4000" TqselftestLogEnabled="1" DailyLogTime="2:30 PM" LogCommandline="1" HasRaidConfig="1")"
        R"( StorageRows="1" StorageCols="8" VerticalOrder="0" VerticalSlots="1" HorizontalFlip="1")"
        R"( SelfTestSupport="0" CannotDeleteThreshold="1">)"
        R"(<Disk Name=" S1 " Model="M" SerialNumber="S1" FirmwareVersion="" DriverVersion="" Capacity="-1")"
        R"( SmartAvailable="1" SmartEnabled="1" ControllerName="" UnitName="" OtherName="" Speed="-1")"
        R"( LinkSpeed="-1.000000" Hotspare="0" CanConfigureHotSpare="0" SelfTestSupport="1" Attached="0")"
        R"( NonRaidPort="3" SupportsPrep="0"><Thresholds><Threshold Id="194" Min="10" Max="45" /></Thresholds></Disk>)"
        R"(</Storage><Watchdogs ID="3604480" /><SystemInfo ID="3604480"><Motherboard Vendor="ACME" Model="B1" />)"
        R"(<BIOS Vendor="" Version="" /><Memory Size="" Swap="" /><Processors /><OperatingSystem Name="" />)"
        R"(</SystemInfo></zDVR>)");
    EXPECT_THAT(m_dir.Read(kConfigurationFile).value_or(""),
                HasSubstr("\n    <Storage ID=\"3604480\" RefreshIntervalSec=\"90\""));
    EXPECT_EQ(CountLog("\"scripts/sysinfo.sh\""), 1) << "command lines are logged";
}

TEST_F(Configuration, AttachedDisksAreRestoredUnderTheControllersName)
{
    const std::string saved = SavedAfter(
        R"(<zDVR><Storage><Disk SerialNumber="S1" ControllerName="/c0" OtherName="/c0/e1/s2" UnitName="/c0/v1")"
        R"( RaidPort="2" NonRaidPort="9" VolumeIndex="5"/>)"
        R"(<Disk SerialNumber="S2" OtherName="spare"/><Disk SerialNumber="S3"/></Storage></zDVR>)");
    EXPECT_THAT(saved, HasSubstr(R"(<Disk Name="/c0/e1/s2" Model="" SerialNumber="S1")"));
    EXPECT_THAT(saved, HasSubstr(R"(ControllerName="/c0" UnitName="/c0/v1" OtherName="/c0/e1/s2")"));
    EXPECT_THAT(saved, HasSubstr(R"(RaidPort="2" VolumeIndex="5")"));
    EXPECT_EQ(CountLog("Plugin detected disk '/c0/e1/s2' has been removed"), 1) << "it is in a unit";
    EXPECT_EQ(CountLog("Plugin detected disk 'S3' has been removed"), 1) << "it is a plain disk";
    EXPECT_EQ(CountLog("Plugin detected disk 'S2' has been removed"), 0) << "it is neither";
}

TEST_F(Configuration, AnAttachedDiskIsNotTakenOverByAnotherWay)
{
    m_dir.Write(kConfigurationFile, R"(<zDVR><Storage><Disk SerialNumber="S1" ControllerName="/c0")"
                                    R"( OtherName="/c0/e1/s2" UnitName="/c0/v1"/></Storage></zDVR>)");
    AnswerScan({"/dev/sda"}); // the same drive, as smartctl sees it
    AnswerReport("/dev/sda", "S1", 30);
    Start();
    EXPECT_THAT(LastConfig(),
                testing::AllOf(HasSubstr(R"(<Disk Name="/c0/e1/s2")"), Not(HasSubstr("/dev/sda"))));
}

TEST_F(Configuration, DefaultsServeWithoutAUsableFile)
{
    for (const char* unusable :
         {"", "<zDVR><Storage RefreshIntervalSec=\"90\">",
          "<other><Storage RefreshIntervalSec=\"90\" SelfTestTimeoutSec=\"4000\"/></other>"})
    {
        m_host.Forget();
        EXPECT_THAT(SavedAfter(unusable),
                    HasSubstr(R"(RefreshIntervalSec="60" SmartIntervalSec="3600" SelfTestTimeoutSec="3600")"
                              R"( TqselftestLogEnabled="0" DailyLogTime="1:00 AM" LogCommandline="0")"))
            << unusable;
        EXPECT_EQ(CountLog("SELFTEST: set timeout to 4000"), 0);
    }
}

TEST_F(Configuration, WithoutAFirstDescriptionTheFallbackIsRead)
{
    m_dir.Write("delmo/tqsysteminfo.xml", "<x><Drives StorageRows=\"7\" StorageCols=\"7\">");
    m_dir.Write("tqsysteminfo.xml", R"(<x><Drives StorageRows="2" StorageCols="5"/></x>)");
    EXPECT_THAT(SavedAfter(""), HasSubstr(R"(StorageRows="2" StorageCols="5")"));
}

TEST_F(Configuration, ADisksRangeSurvivesARestartWithoutTheDisk)
{
    AnswerScan({"/dev/sda"});
    AnswerReport("/dev/sda", " S1", 30);
    Start();
    EXPECT_THAT(LastConfig(), HasSubstr(R"(<Threshold Id="194" Min="5" Max="55" />)"));
    ConfigureStorage(R"(<Disk Name="/dev/sda"><Thresholds><Threshold Id="194" Min="-10" Max="45"/>)"
                     R"(</Thresholds></Disk>)");
    Stop();

    FailScan();
    Start();
    const std::string document = LastConfig();
    EXPECT_THAT(document, HasSubstr(R"(<Disk Name="S1" Model="EXAMPLE" SerialNumber="S1")"));
    EXPECT_THAT(document, HasSubstr(R"(<Threshold Id="194" Min="-10" Max="45" />)"));
    EXPECT_THAT(document, Not(HasSubstr("<Attribute ")));
    EXPECT_THAT(LastStatus(), HasSubstr(R"(<Disk Name="S1" Message="Offline" )"))
        << "not seen by any scan yet: no poll error";
    Stop();

    AnswerScan({"/dev/sdb"}); // the same disk, elsewhere
    AnswerReport("/dev/sdb", "S1", 50);
    Start();
    EXPECT_THAT(LastConfig(), HasSubstr(R"(<Disk Name="/dev/sdb")"));
    EXPECT_EQ(CountLog("/dev/sdb alarmed - threshold exceeded"), 1);
}

} // namespace
