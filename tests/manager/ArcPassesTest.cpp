// A data volume is made on an Adaptec controller, from the request to the mount, through the whole manager.
#include "frame/Log.h"
#include "host/SimTime.h"
#include "raid/RaidTools.h"
#include "tests/manager/ManagerRig.h"
#include "tests/raid/ArcconfTexts.h"

namespace
{
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class ArcPasses : public ManagerRig
{
protected:
    ArcPasses()
    {
        m_hasChip = true;
        m_environment.adaptec = {
            .version = [] { return ToolVersion{.toolName = "arcconf", .version = "1.2.3"}; },
            .create = [clock = m_environment.clock](bool /*qSeries*/) { return CreateArcController(clock); }};
        m_dir.Write("tqsysteminfo.xml",
                    R"(<x><Drives StorageRows="2" StorageCols="4"/><defaultraidlevel value="5"/></x>)");
        Answer({"arcconf", "GETSTATUS", "1"}, {.output = ArcAnswerText("")});
        Answer({"arcconf", "GETSMARTSTATS", "1"}, {.output = ArcSmartText(kArcSmartRow)});
        AnswerDrives("", "Ready");
    }

    // Three drives in that state, and logical drives.
    void AnswerDrives(const std::string& logical, const std::string& state)
    {
        std::string drives;
        std::string lines = " Logical 1 : Optimal (5, Data, 2097152 MB) DATA\n";
        for (const char* device : {"10", "11", "12"})
        {
            drives += (drives.empty() ? "" : ",") +
                      ArcDriveJson(device, "CN0", 1, R"(, "size": "1073741824", "currentTemperature": 30)");
            lines += std::string(" Physical 0,") + device + " : " + state + " (SAS, 4K, 1048576 MB) EX\n";
        }
        Answer({"arcconf", "GETCONFIGJSON", "1"},
               {.output = ArcAnswerText(R"({"Controller":{"LogicalDrive":[)" + logical +
                                        R"(],"Channel":[{"HardDrive":[)" + drives + "]}]}}")});
        Answer({"arcconf", "LIST", "1"}, {.output = ArcAnswerText(lines)});
    }

    // Commands of the controller's tool since the last time.
    std::string Asked() { return TakeWords("arcconf", 1); }

    // Moves the clock until the host has been told this status of the volume.
    void PassUntil(int seconds, const std::string& status)
    {
        const auto told = testing::Contains(HasSubstr("PrepStatus=\"" + status));
        Pass(std::chrono::seconds(seconds), [&] { return testing::Value(Statuses(), told); });
    }
};

TEST_F(ArcPasses, ADataVolumeIsMadeWithoutAScanBetween)
{
    const std::string info = "GETCONFIGJSON LIST GETSTATUS ";
    Start();
    EXPECT_EQ(Asked(), info + info + "GETSMARTSTATS " + info);

    const CFakeHost::Arguments create{
        "arcconf", "CREATE", "1", "LOGICALDRIVE", "STRIPESIZE", "512", "LDCACHE", "LON", "MAX", "5",
        "0",       "10",     "0", "11",           "0",          "12",  "NOPROMPT"};
    Answer(create, {.output = ArcAnswerText(""), .hang = true});
    RequestStorage(R"(<Volume Name="New Data Array" StartPrep="1"/>)");
    ASSERT_TRUE(m_host.WaitForHanging(1));
    for (int minute = 0; minute < 3; ++minute)
    {
        host::simtime::Advance(std::chrono::seconds(55)); // scans are due
        Housekeeping();
    }
    ConfigureStorage(kRefresh);
    EXPECT_EQ(Asked(), "CREATE ") << "no scan while it runs";

    AnswerDrives(R"({"logicalDriveID": 1, "raidLevel": 5})", "Online");
    Answer({"scripts/raidprep.sh"}, {.output = "mounted\n"});
    m_host.EndHanging();
    PassUntil(5, "2");
    EXPECT_EQ(Asked(), info) << "the new volume's name";
    AnswerSysInfo("motherboard-vendor=ACME\nraid-volume=1\nraid-fspath=/data\n");
    PassUntil(30, "3");
    EXPECT_THAT(LastConfig(),
                AllOf(HasSubstr(R"(<Volume Name="1" Type="RAID5" Size="2048" SupportsPrep="0" />)"),
                      Not(HasSubstr("New Data Array"))));
    EXPECT_EQ(Asked(), info + info + "GETSMARTSTATS " + info);
}
} // namespace
