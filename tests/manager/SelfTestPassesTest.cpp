#include "frame/Log.h"
#include "host/SimTime.h"
#include "tests/manager/ManagerRig.h"

namespace
{
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

// Three disks and a self-test tool, whose report is about /dev/sda.
class SelfTestPasses : public ManagerRig
{
protected:
    SelfTestPasses()
    {
        AnswerScan({"/dev/sda", "/dev/sdb", "/dev/sdc"});
        AnswerReport("/dev/sda", "S1", 30);
        AnswerReport("/dev/sdb", "S2", 31);
        AnswerReport("/dev/sdc", "S3", 32);
        Answer({"./tqselftest", "-v"}, {.output = "tqselftest version: 1.2\n"});
        for (const char* verb : {"startshort", "startlong"})
        {
            Answer({"./tqselftest", "-c", verb}, {});
        }
        Answer({"./tqselftest", "-c", "startshort", "-d", "/dev/sda"}, {});
        ReportSda(R"(SelfTestStatus="0")", "");
    }

    void ReportSda(const std::string& attributes, const std::string& log)
    {
        Answer({"./tqselftest", "-c", "report"},
               {.output = "<r><Disk Name=\"/dev/sda\" " + attributes + ">" + log + "</Disk></r>"});
    }

    void UseSchedule(const std::string& attributes)
    {
        m_dir.Write(kConfigurationFile,
                    "<zDVR><Storage><SelfTestSchedule " + attributes + "/></Storage></zDVR>");
    }

    // One run of the scan timer.
    void Scan()
    {
        const CFakeHost::Arguments scan{"./smartctl", "-j", "--scan"};
        const int before = CountProgram(scan);
        Pass(std::chrono::seconds(60), [&scan, before](const CFakeHost::Record& told)
             { return std::count(told.programs.begin(), told.programs.end(), scan) > before; });
    }

    // What the self-test tool was told since the last call.
    std::vector<std::string> Commands()
    {
        std::vector<std::string> verbs;
        for (const CFakeHost::Arguments& program : m_host.Programs())
        {
            if (program.at(0) == "./tqselftest")
            {
                verbs.push_back(program.back());
            }
        }
        m_host.Forget();
        return verbs;
    }
};

TEST_F(SelfTestPasses, OneReportRunServesAllDisksOfAPass)
{
    Start();
    EXPECT_THAT(Documents(MessageCategory::ConfigDocument).at(0),
                HasSubstr(R"(<Library Name="tqselftest" Filename="tqselftest" Version="1.2" />)"));
    EXPECT_THAT(LastDocument(MessageCategory::ConfigDocument),
                testing::AllOf(HasSubstr(R"(SelfTestSupport="1" CannotDeleteThreshold="1">)"),
                               HasSubstr(R"(<SelfTestSchedule SelfTest="0" Start="3600" Days="127" />)"
                                         R"(<SelfTestSchedule SelfTest="1" Start="0" Days="0" />)")));
    EXPECT_THAT(Commands(), ElementsAre("-v", "report", "report")) << "a full pass asks before and after";
    Scan();
    EXPECT_THAT(Commands(), ElementsAre("report"));
    AnswerScan({"/dev/sda"}); // a pass with changes
    Scan();
    EXPECT_THAT(Commands(), ElementsAre("report"));
}

TEST_F(SelfTestPasses, ADueTestIsStartedBetweenTheReports)
{
    UseSchedule(R"(SelfTest="0" Days="1" Start="43260")"); // Sunday 12:01
    Start();
    Commands();
    Scan();
    EXPECT_THAT(Commands(), ElementsAre("startshort", "report", "report"));
    Scan();
    EXPECT_THAT(Commands(), ElementsAre("report"));
    Stop();
    UseSchedule(R"(SelfTest="1" Days="1" Start="43320")"); // 12:02 is now
    Start();
    EXPECT_THAT(Commands(), ElementsAre("-v", "report", "startlong", "report", "report"));
}

TEST_F(SelfTestPasses, ARequestedTestIsToldAndAlarmsWhenItFails)
{
    Start();
    ReportSda(R"(SelfTestStatus="1" PcRemain="90")", "");
    m_host.Forget();
    Request(R"(<Storage ID="3604480"><Disk Name="/dev/sda" SelfTest="0"/></Storage>)");
    EXPECT_THAT(Documents(MessageCategory::StatusDocument),
                ElementsAre(HasSubstr(
                    R"(<Disk Name="/dev/sda" Message="Healthy" SelfTestStatus="1" SelfTestTime="1700395200" )"
                    R"(Percent="10" Time="1700395200" Milliseconds="0" Alarm="0" /></Storage>)")));
    ReportSda(R"(SelfTestStatus="3")", R"(<Report ID="1" StatusCode="3" FailLBA="77"/>)");
    m_host.Forget();
    Scan();
    EXPECT_THAT(
        Documents(MessageCategory::StatusDocument),
        ElementsAre(HasSubstr(
            R"(<Disk Name="/dev/sda" Message="self-test failure" SelfTestStatus="3" SelfTestTime="1700395200" )"
            R"(Percent="10" Time="1700395260" Milliseconds="0" Alarm="1" /></Storage>)")));
}

TEST_F(SelfTestPasses, NothingFollowsAReportThatTheEndCutsOff)
{
    Answer({"./tqselftest", "-c", "report"}, {.hang = true});
    Create();
    Run();
    ASSERT_TRUE(m_host.WaitForHanging(1));
    Close();
    Join();
    EXPECT_THAT(m_host.LogTexts(LogWarning), Not(testing::Contains(HasSubstr("Failure"))));
}

TEST_F(SelfTestPasses, AQSeriesSystemDoesNotAskForTheTool)
{
    m_dir.Write("tqsysteminfo.xml", R"(<x><family value="q_series"/></x>)");
    Start();
    EXPECT_EQ(CountLog("tqselftest missing - disabling self-test feature."), 1);
    EXPECT_THAT(LastDocument(MessageCategory::ConfigDocument), HasSubstr(R"(SelfTestSupport="0")"));
    EXPECT_THAT(Commands(), testing::IsEmpty());
}
} // namespace
