#include "host/Control.h"

#include "host/Options.h"
#include "host/Requests.h"
#include "tests/support/CaseName.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <thread>

namespace
{
using namespace host;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

Picture Appliance()
{
    Picture picture;
    for (const char* name : {"/dev/sda", "a \"b\" <&>"})
    {
        picture.disks.emplace_back();
        picture.disks.back().name = name;
    }
    picture.disks[0].canConfigureHotSpare = true;
    picture.disks[0].hotSpare = true;
    picture.volumes.emplace_back();
    picture.volumes.back().name = "DATA";
    return picture;
}

struct RequestCase
{
    const char* name;
    const char* line;
    ControlKind kind;
    const char* text; // between <Storage ID="3604480" and </Storage>, or the whole
};

using ControlRequest = testing::TestWithParam<RequestCase>;

TEST_P(ControlRequest, BecomesADocument)
{
    const ControlCommand command = ParseControl(SplitControlLine(GetParam().line), Appliance());
    EXPECT_EQ(command.kind, GetParam().kind) << command.text;
    std::string expected = GetParam().text;
    if (expected.find("zDVR") == std::string::npos && command.kind != ControlKind::Status &&
        command.kind != ControlKind::RequestFile)
    {
        const std::string delta = command.kind == ControlKind::Config ? " Delta=\"1\"" : "";
        expected = "<?xml ?><zDVR" + delta + "><Storage ID=\"3604480\"" + expected + "</Storage></zDVR>";
    }
    EXPECT_EQ(command.text, expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ControlRequest,
    testing::Values(
        RequestCase{"Refresh", "refresh", ControlKind::Config, R"(><Refresh Controllers="all"/>)"},
        RequestCase{
            "Threshold", "threshold /dev/sda -5 50", ControlKind::Config,
            R"(><Disk Name="/dev/sda"><Thresholds><Threshold Id="194" Min="-5" Max="50"/></Thresholds></Disk>)"},
        RequestCase{
            "NameWithMarkup", R"(threshold "a \"b\" <&>" 5 50)", ControlKind::Config,
            R"(><Disk Name="a &quot;b&quot; &lt;&amp;&gt;"><Thresholds><Threshold Id="194" Min="5" Max="50"/>)"
            R"(</Thresholds></Disk>)"},
        RequestCase{"TestOfAll", "test long", ControlKind::Request, R"( SelfTest="1">)"},
        RequestCase{"TestOfOne", "test stop /dev/sda", ControlKind::Request,
                    R"(><Disk Name="/dev/sda" SelfTest="2"></Disk>)"},
        RequestCase{"ReportOfAll", "test report", ControlKind::Request, R"( SelfTest="3">)"},
        RequestCase{"PrepOfADisk", "prep /dev/sda", ControlKind::Request,
                    R"(><Disk Name="/dev/sda" StartPrep="1"></Disk>)"},
        RequestCase{"PrepOfAVolume", "prep DATA", ControlKind::Request,
                    R"(><Volume Name="DATA" StartPrep="1"/>)"},
        RequestCase{"HotSpareOff", "hotspare /dev/sda off", ControlKind::Config,
                    R"(><Disk Name="/dev/sda" Hotspare="0"></Disk>)"},
        RequestCase{"ScheduleByNames", "set-schedule long sun,sat 23:59", ControlKind::Config,
                    R"(><SelfTestSchedule SelfTest="1" Days="65" Start="86340"/>)"},
        RequestCase{"ScheduleByNumbers", "set-schedule short 126 3600", ControlKind::Config,
                    R"(><SelfTestSchedule SelfTest="0" Days="126" Start="3600"/>)"},
        RequestCase{"Sensors", "sensors", ControlKind::Request,
                    R"(<?xml ?><zDVR><Sensors ID="3604480" Refresh="1"/></zDVR>)"},
        RequestCase{"Status", "status", ControlKind::Status, ""},
        RequestCase{"File", "raw-status /a/b", ControlKind::RequestFile, "/a/b"}),
    kByName);

TEST(ControlLine, WhatIsWrongIsRefused)
{
    for (const char* line : {"",
                             "reboot",
                             "refresh now",
                             "threshold /dev/sda 50 5",
                             "threshold /dev/sda 5 x",
                             "threshold /dev/sdz 5 50",
                             "test medium",
                             "test short /dev/sdz",
                             "prep /dev/sdz",
                             "hotspare /dev/sda maybe",
                             "hotspare /dev/sda on",
                             R"(hotspare "a \"b\" <&>" on)",
                             R"(hotspare "a \"b\" <&>" off)",
                             "hotspare /dev/sdz on",
                             "set-schedule short someday 1:00",
                             "set-schedule short mon, 1:00",
                             "set-schedule stop mon 1:00",
                             "set-schedule report mon 1:00",
                             "set-schedule short 128 1:00",
                             "set-schedule short mon 24:00",
                             "set-schedule short mon 1:60",
                             "set-schedule short mon 86400"})
    {
        const ControlCommand command = ParseControl(SplitControlLine(line), Appliance());
        EXPECT_EQ(command.kind, ControlKind::Error) << line;
        EXPECT_FALSE(command.text.empty());
    }
}

TEST(ControlLine, AScheduleMayStartMinutesFromNow)
{
    struct Row
    {
        const char* line;
        const char* start;
    };
    for (const Row& row :
         {Row{"set-schedule short daily +2", "80"}, Row{"set-schedule long sun +0", "86360"},
          Row{"set-schedule short daily 7", "7"}, Row{"set-schedule short daily +1440", "+1440"},
          Row{"set-schedule short daily +x", "+x"}})
    {
        auto words = SplitControlLine(row.line);
        ResolveStart(words, 24 * 3600 - 40);
        EXPECT_EQ(words.back(), row.start) << row.line;
    }
    std::vector<std::string> other{"threshold", "a", "b", "+2"};
    ResolveStart(other, 0);
    EXPECT_EQ(other.back(), "+2");
}

TEST(ControlLine, WordsSurviveTheLine)
{
    const std::vector<std::string> words{"threshold", "a \"b\" \\c", "", "tab\there"};
    EXPECT_EQ(SplitControlLine(JoinControlWords(words)), words);
    EXPECT_THAT(SplitControlLine("  a\tb \r"), ElementsAre("a", "b"));
}

TEST(EscapeXml, ControlCharactersBecomeReferences)
{
    EXPECT_EQ(EscapeXml("a\n\x01'\xFF"), "a&#x0A;&#x01;&apos;\xFF");
}

// A server on its own thread, the way the host polls it.
class ControlSocket : public testing::Test
{
protected:
    ControlSocket()
    {
        EXPECT_NE(mkdtemp(m_folder.data()), nullptr);
        m_path = std::string(m_folder.data()) + "/s";
    }
    ~ControlSocket() override
    {
        unlink(m_path.c_str());
        rmdir(m_folder.data());
    }

    std::array<char, 32> m_folder{"/tmp/corvanehost-test-XXXXXX"};
    std::string m_path;
};

TEST_F(ControlSocket, CarriesALineThereAndTheAnswerBack)
{
    std::string error;
    {
        const auto server = CControlServer::Listen(m_path, error);
        ASSERT_TRUE(server) << error;
        struct stat status = {};
        ASSERT_EQ(stat(m_path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, 0600U);
        const std::string large(300000, 'x');
        std::thread serving(
            [&]
            {
                int answered = 0;
                for (int i = 0; i < 2000 && answered < 2; ++i)
                {
                    std::vector<pollfd> polled;
                    server->AddTo(polled);
                    poll(polled.data(), polled.size(), 10);
                    server->Serve(
                        [&](const std::string& line)
                        {
                            ++answered;
                            return line == "\"status\"" ? large + "\nok\n" : "error: " + line + "\n";
                        });
                }
            });
        std::string answer;
        EXPECT_TRUE(AskHost(m_path, JoinControlWords({"status"}), answer));
        EXPECT_EQ(answer, large + "\nok\n");
        answer.clear();
        EXPECT_TRUE(AskHost(m_path, std::string(kMaxControlLine, 'a'), answer));
        EXPECT_THAT(answer, StartsWith("error: the line is too long"));
        answer.clear();
        EXPECT_TRUE(AskHost(m_path, "what", answer));
        EXPECT_EQ(answer, "error: what\n");
        serving.join();
        EXPECT_FALSE(CControlServer::Listen(m_path, error)) << "a host that runs keeps its socket";
    }
    std::string answer;
    EXPECT_FALSE(AskHost(m_path, "gone", answer));
    EXPECT_THAT(answer, HasSubstr(m_path));
    EXPECT_FALSE(CControlServer::Listen(std::string(200, 'p'), error));
    EXPECT_THAT(error, HasSubstr("107"));
}

TEST(Options, SendTakesItsWordsAsTheyAre)
{
    int exitCode = 0;
    const std::array argv{"corvanehost", "send", "--socket", "/s", "threshold", "/dev/sda", "-5", "50"};
    const auto options = ParseOptions(argv.size(), argv.data(), exitCode);
    ASSERT_TRUE(options);
    EXPECT_TRUE(options->send);
    EXPECT_EQ(options->socket, "/s");
    EXPECT_THAT(options->words, ElementsAre("threshold", "/dev/sda", "-5", "50"));
}

TEST(Options, RefusesWhatDoesNotGoTogether)
{
    const std::array<std::vector<const char*>, 4> lines{{{"corvanehost", "--real", "--speed", "60"},
                                                         {"corvanehost", "--speed", "3601"},
                                                         {"corvanehost", "--appliance", "nosuch"},
                                                         {"corvanehost", "--time-limit", "smartctl"}}};
    for (const auto& line : lines)
    {
        int exitCode = 0;
        EXPECT_FALSE(ParseOptions(static_cast<int>(line.size()), line.data(), exitCode)) << line[1];
        EXPECT_NE(exitCode, 0);
    }
}
} // namespace
