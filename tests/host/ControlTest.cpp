#include "host/Control.h"

#include "host/Options.h"
#include "host/Requests.h"
#include "tests/support/TempDir.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <array>
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

TEST(ControlRequest, BecomesADocument)
{
    using enum ControlKind;
    struct Row
    {
        const char* line;
        ControlKind kind;
        std::string storage; // between <Storage ID="3604480" and </Storage>
    };
    const std::string limits = R"("><Thresholds><Threshold Id="194" )";
    for (const auto& [line, kind, storage] : std::vector<Row>{
             {"refresh", Config, R"(><Refresh Controllers="all"/>)"},
             {"threshold /dev/sda -5 50", Config,
              R"(><Disk Name="/dev/sda)" + limits + R"(Min="-5" Max="50"/></Thresholds></Disk>)"},
             {R"(threshold "a \"b\" <&>" 5 50)", Config,
              R"(><Disk Name="a &quot;b&quot; &lt;&amp;&gt;)" + limits +
                  R"(Min="5" Max="50"/></Thresholds></Disk>)"},
             {"test long", Request, R"( SelfTest="1">)"},
             {"test stop /dev/sda", Request, R"(><Disk Name="/dev/sda" SelfTest="2"></Disk>)"},
             {"test report", Request, R"( SelfTest="3">)"},
             {"prep /dev/sda", Request, R"(><Disk Name="/dev/sda" StartPrep="1"></Disk>)"},
             {"prep DATA", Request, R"(><Volume Name="DATA" StartPrep="1"/>)"},
             {"hotspare /dev/sda off", Config, R"(><Disk Name="/dev/sda" Hotspare="0"></Disk>)"},
             {"set-schedule long sun,sat 23:59", Config,
              R"(><SelfTestSchedule SelfTest="1" Days="65" Start="86340"/>)"},
             {"set-schedule short 126 3600", Config,
              R"(><SelfTestSchedule SelfTest="0" Days="126" Start="3600"/>)"},
         })
    {
        const ControlCommand command = ParseControl(SplitControlLine(line), Appliance());
        EXPECT_EQ(command.kind, kind) << line;
        EXPECT_EQ(command.text, std::string("<?xml ?><zDVR") + (kind == Config ? R"( Delta="1")" : "") +
                                    R"(><Storage ID="3604480")" + storage + "</Storage></zDVR>")
            << line;
    }
    const ControlCommand sensors = ParseControl({"sensors"}, {});
    EXPECT_EQ(sensors.kind, Request);
    EXPECT_EQ(sensors.text, R"(<?xml ?><zDVR><Sensors ID="3604480" Refresh="1"/></zDVR>)");
    EXPECT_EQ(ParseControl({"status"}, {}).kind, Status);
    const ControlCommand file = ParseControl({"raw-status", "/a/b"}, {});
    EXPECT_EQ(file.kind, RequestFile);
    EXPECT_EQ(file.text, "/a/b");
}

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
    using Row = std::pair<const char*, const char*>;
    for (const auto& [line, start] :
         {Row{"set-schedule short daily +2", "80"}, Row{"set-schedule long sun +0", "86360"},
          Row{"set-schedule short daily 7", "7"}, Row{"set-schedule short daily +1440", "+1440"},
          Row{"set-schedule short daily +x", "+x"}})
    {
        auto words = SplitControlLine(line);
        ResolveStart(words, 24 * 3600 - 40);
        EXPECT_EQ(words.back(), start) << line;
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
TEST(ControlSocket, CarriesALineThereAndTheAnswerBack)
{
    const CTempDir folder;
    const std::string path = folder.File("s");
    std::string error;
    {
        const auto server = CControlServer::Listen(path, error);
        ASSERT_TRUE(server) << error;
        struct stat status = {};
        ASSERT_EQ(stat(path.c_str(), &status), 0);
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
        EXPECT_TRUE(AskHost(path, JoinControlWords({"status"}), answer));
        EXPECT_EQ(answer, large + "\nok\n");
        answer.clear();
        EXPECT_TRUE(AskHost(path, std::string(kMaxControlLine, 'a'), answer));
        EXPECT_THAT(answer, StartsWith("error: the line is too long"));
        answer.clear();
        EXPECT_TRUE(AskHost(path, "what", answer));
        EXPECT_EQ(answer, "error: what\n");
        serving.join();
        EXPECT_FALSE(CControlServer::Listen(path, error)) << "a host that runs keeps its socket";
    }
    std::string answer;
    EXPECT_FALSE(AskHost(path, "gone", answer));
    EXPECT_THAT(answer, HasSubstr(path));
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
