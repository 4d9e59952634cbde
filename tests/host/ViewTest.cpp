#include "host/LineView.h"
#include "host/PictureText.h"
#include "host/SafeText.h"
#include "host/Screen.h"

#include <gmock/gmock.h>

#include <map>
#include <sstream>

namespace
{
using namespace host;
using testing::HasSubstr;
using testing::Not;

TEST(SafeText, IsHarmless)
{
    for (const auto& [text, safe] : std::map<std::string, std::string>{
             {"a\x1b[2Jb", "a?[2Jb"},
             {"a\r\nb\t", "a??b?"},
             {"\x7f", "?"},
             {"\xC3\xA9\xE2\x82\xAC", "\xC3\xA9\xE2\x82\xAC"},
             {"\xC2\x9B[J", "?[J"}, // a control character as UTF-8
             {"\xC3\"", "?\""},     // a stray lead
             {"x\xE2\x82", "x??"},  // cut at the end
             {"\xC0\x9B", "??"},    // overlong
             {"\xED\xA0\x80", "???"},
             {"a\xE2\x80\xAEz", "a?z"}, // from right to left
         })
    {
        EXPECT_EQ(SafeText(text), safe);
    }
}

TEST(Fit, CountsCharactersNotBytes)
{
    EXPECT_EQ(Fit("\xC3\xA9\xC3\xA9", 3), "\xC3\xA9\xC3\xA9 ");
    EXPECT_EQ(Fit("\xC3\xA9\xC3\xA9\xC3\xA9", 2), "\xC3\xA9~");
    EXPECT_EQ(Fit("abc", 0), "");
    EXPECT_EQ(FitRight("7", 3), "  7");
}

Picture TwoDisks()
{
    Picture picture;
    for (const char* name : {"/dev/sda", "/dev/sdb"})
    {
        DiskPicture& disk = picture.disks.emplace_back();
        disk.name = name;
        disk.model = std::string("Model\x1b ") + name;
        disk.health.message = "Healthy";
        disk.attributes[kTemperatureId].current = 36;
    }
    return picture;
}

TEST(DiskRow, TellsHowTheSelfTestStands)
{
    DiskPicture disk = TwoDisks().disks[0];
    disk.selfTestStatus = 1;
    disk.selfTestPercent = 40;
    disk.selfTestSec = 1'700'000'000;
    EXPECT_EQ(DescribeDisk(disk).state,
              "Healthy, self-test running 40% since " + DateTimeText(1'700'000'000));
}

// Visible columns of a line with SGR sequences; -1 when any other escape sequence is in it.
int VisibleColumns(const std::string& line)
{
    std::string plain;
    for (std::size_t i = 0; i < line.size(); ++i)
    {
        if (line[i] == '\x1b')
        {
            const std::size_t end = line.find_first_not_of("[0123456789;", i + 1);
            if (end == std::string::npos || line[end] != 'm')
            {
                return -1;
            }
            i = end;
            continue;
        }
        plain += line[i];
    }
    return static_cast<int>(Columns(plain));
}

TEST(Screen, FitsEverySize)
{
    Picture picture = TwoDisks();
    picture.disks.resize(40, picture.disks[0]);
    picture.disks[39].health.alarm = true;
    picture.disks[39].health.message = "threshold \x1b[31mexceeded";
    const std::deque<ViewLine> log(50, ViewLine{1, 50, false, std::string(300, 'x') + "\n\x1b[H"});
    const ViewState state{picture, {}, 1, 60, "simulated plain", true};
    for (const std::size_t rows : {1U, 2U, 5U, 24U, 100U})
    {
        for (const std::size_t columns : {1U, 10U, 40U, 71U, 101U, 300U})
        {
            const auto lines = ComposeScreen(state, log, {rows, columns});
            EXPECT_LE(lines.size(), rows);
            for (const std::string& line : lines)
            {
                const int width = VisibleColumns(line);
                EXPECT_GE(width, 0) << line;
                EXPECT_LE(width, static_cast<int>(columns));
            }
        }
    }
    const auto lines = ComposeScreen(state, log, {24, 120});
    EXPECT_THAT(lines[0], HasSubstr("alarms 1"));
    EXPECT_THAT(lines[3], HasSubstr("ALARM threshold ?[31mexceeded"))
        << "alarms come first when not all disks fit";
}

TEST(LineView, PrintsTheTableWhenItHasChangedInSubstance)
{
    std::ostringstream out;
    CLineView view(out);
    Picture picture = TwoDisks();
    const auto update = [&](bool complete)
    {
        out.str("");
        view.Update({picture, {}, 1, 1, "simulated plain", complete});
        return out.str();
    };
    EXPECT_EQ(update(false), "");
    EXPECT_THAT(update(true), HasSubstr("/dev/sdb"));
    picture.disks[0].attributes[kTemperatureId].current = 50;
    EXPECT_EQ(update(true), "") << "temperatures always move";
    picture.disks[1].health.alarm = true;
    EXPECT_THAT(update(true), HasSubstr("alarms: 1"));
    picture.disks.pop_back();
    EXPECT_THAT(update(true), Not(HasSubstr("/dev/sdb")));
}

TEST(LineView, TellsAlarmsWithTheirValueAndOneLineEach)
{
    std::ostringstream out;
    CLineView view(out);
    view.ShowChange(TwoDisks(), {ChangeKind::AlarmRaised, "/dev/sda", "too\nhot", 20}, 20);
    EXPECT_THAT(out.str(), HasSubstr("ALARM /dev/sda: too?hot (36 C)\n"));
    out.str("");
    view.ShowLine({20, 75, false, "a\nb"});
    EXPECT_THAT(out.str(), HasSubstr("error   a?b\n"));
}
} // namespace
