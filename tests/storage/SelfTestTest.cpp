#include "storage/SelfTest.h"

#include "frame/Text.h"
#include "tests/storage/StorageFakes.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TempDir.h"

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <sstream>

namespace
{
using namespace tq::corvanepi;

// Log entries from words: "1=2" is entry 1 with status 2, "3=3@201" one that failed at LBA 201.
std::string Entries(const std::string& words, const std::string& more = {})
{
    std::istringstream in(words);
    std::string text;
    for (std::string id, status; std::getline(in, id, '=') && in >> status; in >> std::ws)
    {
        const std::size_t at = status.find('@');
        const std::string lba = at < status.size() ? R"(" FailLBA=")" + status.substr(at + 1) : "";
        text += R"(<Report Type="T" Status="s")";
        text.append(more).append(" ID=\"").append(id).append(R"(" StatusCode=")");
        text.append(status.substr(0, at)).append(lba).append("\"/>");
    }
    return text;
}

std::string Disk(const std::string& name, int status, const std::string& log = {})
{
    return "<Disk Name=\"/dev/" + name + "\" SelfTestStatus=\"" + std::to_string(status) +
           "\" PcRemain=\"30\">" + log + "</Disk>";
}

// Two disks, and a tool that answers every command; its report is `m_report`.
class SelfTest : public testing::Test
{
protected:
    SelfTest()
    {
        setenv("TZ", "UTC", 1);
        tzset();
        m_host.SetProgramHook(
            [this](const CFakeHost::Arguments& arguments)
            { return arguments.size() > 2 && arguments[2] != "report" ? m_answer : m_report; });
        m_report.output = "t: 1.2\n";
        EXPECT_EQ(m_tests.GetToolVersion(), "1.2");
        Reports("");
        m_host.Forget();
    }

    void Reports(const std::string& disks) { m_report.output = "<r>" + disks + "</r>"; }

    // The tool's command lines ("> ...") and then the log lines, each with a "|" behind it.
    std::string Execute(int command, const DiskList& disks)
    {
        m_tests.ExecuteCommand(command, disks, 1'700'000'000, m_config); // 2023-11-14 22:13:20 UTC
        std::string text;
        for (CFakeHost::Arguments program : m_host.Programs())
        {
            program[0] = ">";
            text += Join(program, " ") + "|";
        }
        for (const std::string& line : LevelAndText(m_host))
        {
            text += line + "|";
        }
        m_host.Forget();
        return text;
    }
    std::string Execute(int command) { return Execute(command, {m_sda, m_sdb}); }

    // What a report after a running test of /dev/sda tells.
    std::string ResultOf(const std::string& log)
    {
        Reports(Disk("sda", 1));
        Execute(4);
        Reports(Disk("sda", 2, log));
        return Execute(4);
    }

    std::string Status(const std::string& name = "/dev/sda")
    {
        TiXmlElement element("S");
        m_tests.AddStatusAttributes(name, element);
        return Print(&element);
    }

    CFakeHost::Answer m_answer, m_report;
    CFakeHost m_host;
    CTempDir m_dir;
    CManualClock m_clock;
    SmartConfig m_config;
    SelfTestManager m_tests{m_clock, m_dir.File("logs/bad.xml")};
    const std::shared_ptr<CDisk> m_sda = std::make_shared<CDisk>("/dev/sda");
    const std::shared_ptr<CDisk> m_sdb = std::make_shared<CDisk>("/dev/sdb");
};

TEST_F(SelfTest, WithoutAVersionThereIsNoTool)
{
    for (const CFakeHost::Answer& answer : std::vector<CFakeHost::Answer>{{.output = "t 1.2\n"},
                                                                          {.output = "t: \n"},
                                                                          {.output = "\nt: 1\n"},
                                                                          {},
                                                                          {.output = "t: 1", .exitCode = 1},
                                                                          {.startError = ENOENT}})
    {
        m_report = answer;
        SelfTestManager tests(m_clock, "");
        EXPECT_EQ(tests.GetToolVersion(), "") << answer.output;
        m_host.Forget();
        tests.ExecuteCommand(0, {m_sda}, 0, m_config);
        tests.ExecuteCommand(9, {m_sda}, 0, m_config);
        EXPECT_EQ(Execute(9, {}), "");
    }
}

TEST_F(SelfTest, CommandsRunTheToolOrAreIgnored)
{
    // Each letter is a disk: Supported, Unsupported, Busy.
    static constexpr auto kRows = std::to_array<std::tuple<int, std::string_view, const char*>>({
        {0, "S", "> -c startshort -d /dev/sda|> -c report|25 SELFTEST: START_SHORT /dev/sda|"},
        {1, "SS", "> -c startlong|> -c report|25 SELFTEST: START_LONG ALL - avail [/dev/sda, /dev/sdb]|"},
        {0, "US",
         "> -c startshort|> -c report|25 SELFTEST: START_SHORT ALL - avail [/dev/sdb], unsupported [/dev/sda]|"},
        {0, "U", "50 SELFTEST: START_SHORT /dev/sda - ignored, unsupported [/dev/sda]|"},
        {1, "UB", "50 SELFTEST: START_LONG ALL - ignored, unsupported [/dev/sda], busy [/dev/sdb]|"},
        {1, "SB", "50 SELFTEST: START_LONG ALL - ignored, busy [/dev/sdb]|"},
        {2, "S", "> -c stop -d /dev/sda|50 SELFTEST: STOP /dev/sda|"},
        {2, "SB", "> -c stop|50 SELFTEST: STOP ALL|"},
        {2, "B", "50 SELFTEST: STOP /dev/sda - ignored, busy [/dev/sda]|"},
        {3, "S", "> -c report|"},
        {4, "UB", "> -c report|"},
        {3, "UU", "50 SELFTEST: REPORT ALL - ignored, unsupported [/dev/sda, /dev/sdb]|"},
        {4, "UU", ""}, // told once
        {5, "S", "50 SELFTEST: invalid command 5|"},
    });
    m_host.SetLogThreshold(25);
    const auto controller = std::make_shared<CFakeDiskController>("");
    controller->taskText = "Rebuild";
    for (const auto& [command, kinds, told] : kRows)
    {
        DiskList disks;
        for (const char kind : kinds)
        {
            disks.push_back(disks.empty() ? m_sda : m_sdb);
            disks.back()->m_selfTestSupport = kind != 'U';
            disks.back()->m_controller = kind != 'S' ? controller : nullptr; // an unsupported one is not busy
        }
        EXPECT_EQ(Execute(command, disks), told);
    }
}

TEST_F(SelfTest, AFailingToolHasNoFurtherEffect)
{
    m_tests.SetToolLogging(true);
    m_answer = {.output = "no drive\n", .exitCode = 3};
    EXPECT_EQ(Execute(0), "> -c startshort -x|50 Error 3 on 'SELFTEST START_SHORT ALL': no drive\n|");
    m_answer = {.startError = ENOENT};
    EXPECT_EQ(Execute(2).find("STOP"), std::string::npos);
    Reports(Disk("sda", 1));
    m_report.exitCode = 1;
    Execute(3);
    EXPECT_FALSE(m_tests.HasChanged("/dev/sda"));
}

TEST_F(SelfTest, ARunningTestIsFollowedAndItsResultTakenUpOnce)
{
    Execute(0); // uses up the first report, which says nothing
    Reports(Disk("sda", 1) + Disk("sdb", 2, Entries("1=3")) + Disk("sdz", 1));
    EXPECT_EQ(Execute(4), "> -c report|25 SELFTEST: /dev/sda in progress - 70%|")
        << "no result of a disk never seen running, nothing of an unknown disk";
    EXPECT_EQ(Status(), R"(<S SelfTestStatus="1" SelfTestTime="1700000000" Percent="70" />)");
    EXPECT_EQ(Status(), "<S />") << "told once";
    Reports(Disk("sda", 2, Entries("12=4 1=2", " Timestamp=\"3\"")));
    EXPECT_EQ(Execute(4), "> -c report|25 SELFTEST: /dev/sda #01 (T) = s|25 SELFTEST: /dev/sda #12 (T) = s|"
                          "50 SELFTEST: /dev/sda result COMPLETED_NO_ERROR|");
    EXPECT_EQ(Status(), R"(<S SelfTestStatus="2" SelfTestTime="1700000000" Percent="100" />)");
    EXPECT_EQ(Execute(4), "> -c report|");
    EXPECT_EQ(Status("/dev/sdz"), "<S />");
}

TEST_F(SelfTest, TheFirstReadableReportGivesEarlierResults)
{
    m_report.output = "<r";
    Execute(4);
    Reports(Disk("sda", 2, Entries("1=4")) + Disk("sdb", 2));
    EXPECT_EQ(Execute(4),
              "> -c report|25 SELFTEST: /dev/sda #01 (T) = s|50 SELFTEST: /dev/sda result ABORTED|"
              "50 SELFTEST: /dev/sdb log not supported|"
              "50 SELFTEST: /dev/sdb result RESULT_NOT_AVAILABLE|");
    EXPECT_EQ(Status(), R"(<S SelfTestStatus="4" SelfTestTime="0" Percent="-1" />)");
    EXPECT_EQ(Status("/dev/sdb"), R"(<S SelfTestStatus="0" SelfTestTime="0" Percent="0" />)");
}

TEST_F(SelfTest, FailuresCountUnlessTheirPlaceIsKnown)
{
    struct Row
    {
        const char* model; // the rule is for "acme x1"
        const char* log;
        const char* ends;     // of the third entry's line
        std::int32_t lastLba; // of that rule, its first is 100
        bool fails;
    };
    static constexpr Row kRows[] = {
        {"ACME X1", "1=2 3=3@99", "s (LBA 99)", 200, true},
        {"ACME X1", "1=2 3=3@100", "IGNORED s (LBA 100)", 200, false},
        {"aCme x10", "1=2 3=3@200", "IGNORED s (LBA 200)", 200, false},
        {"ACME X1", "1=2 3=3@201", "s (LBA 201)", 200, true},
        {"ACME X1", "1=2 3=3", "s (LBA 0)", 200, true},
        {"X ACME X1", "1=2 3=3@150", "s (LBA 150)", 200, true},
        {"ACME X1", "1=2 3=3@4294967446", "s (LBA 4294967446)", 200, true},
        {"ACME X1", "1=2 3=3@9999999999", "IGNORED s (LBA 9999999999)", -1, false},
        {"ACME X1", "1=3@150 3=2", "s", 200, true}, // the latest decides, ignored or not
    };
    for (const Row& row : kRows)
    {
        m_sda->m_model = row.model;
        m_config.ignoreLbas = {
            {"other", 1, 2000000000}, {"acme x1", 100, row.lastLba}, {"acme", 1, 2000000000}};
        const std::string told = ResultOf(Entries(row.log));
        EXPECT_NE(told.find(std::string("#03 (T) = ") + row.ends + "|"), std::string::npos) << told;
        EXPECT_EQ(m_tests.HasFailed("/dev/sda"), row.fails) << told;
    }
    m_config.ignoreLbas.clear();
    EXPECT_EQ(ResultOf(Entries("1=2 3=3@150")).find("IGNORED"), std::string::npos) << "the rule is gone";
}

TEST_F(SelfTest, EntriesOfWdcDrivesHaveTimes)
{
    m_sda->m_model = "x WDC WD1";
    m_sda->m_attributes[9].rawValue = 1000;
    EXPECT_EQ(ResultOf(Entries("1=2", " Timestamp=\"999\"") + Entries("2=4")),
              "> -c report|25 SELFTEST: /dev/sda #01 2023-11-14 21:00:00 (T) = s|"
              "25 SELFTEST: /dev/sda #02 (T) = s|50 SELFTEST: /dev/sda result COMPLETED_NO_ERROR|");
    EXPECT_EQ(Status(), R"(<S SelfTestStatus="2" SelfTestTime="1699995600" Percent="100" />)");
}

TEST_F(SelfTest, AShortTestIsAbortedAfterItsTime)
{
    m_host.SetLogThreshold(50);
    m_tests.SetTimeout(7200);
    m_tests.SetTimeout(1800);
    const std::string line = "50 SELFTEST: set timeout to 7200|";
    EXPECT_EQ(Execute(0), "> -c startshort|> -c report|" + line + line);
    Reports(Disk("sda", 1) + Disk("sdb", 1));
    Execute(1); // a long test has no limit
    m_clock.Advance(std::chrono::hours(100));
    Execute(0, {m_sda});
    m_clock.Advance(std::chrono::seconds(7200));
    EXPECT_EQ(Execute(3), "> -c report|");
    m_clock.Advance(std::chrono::milliseconds(1));
    EXPECT_EQ(Execute(4, {m_sdb}), "> -c report|") << "not asked about";
    EXPECT_EQ(Execute(4), "> -c report|> -c stop -d /dev/sda|50 SELFTEST: STOP /dev/sda|"
                          "50 SELFTEST: REPORT ALL - aborted on timeout [/dev/sda]|");
}

TEST_F(SelfTest, ATestFoundRunningAfterARestartGetsALimit)
{
    m_host.SetLogThreshold(50);
    Reports(Disk("sda", 1));
    Execute(4);
    m_clock.Advance(std::chrono::seconds(3601));
    m_report.output = R"(<r a="1"><Disk Name="/dev/sda"/>)";
    const std::string told =
        "> -c report|> -c stop -d /dev/sda|"
        "50 SELFTEST: received bad report XML - check logs/tqselftest_bad_report.xml|"
        "50 SELFTEST: STOP /dev/sda|50 SELFTEST: REPORT ALL - aborted on timeout [/dev/sda]|";
    EXPECT_EQ(Execute(4), told) << "also without a readable report, and without a folder to keep it in";
    std::filesystem::create_directory(m_dir.File("logs"));
    EXPECT_EQ(Execute(4), told);
    EXPECT_EQ(m_dir.Read("logs/bad.xml"), "<r a=\"1\">\n    <Disk Name=\"/dev/sda\" />\n</r>\n");
}
} // namespace
