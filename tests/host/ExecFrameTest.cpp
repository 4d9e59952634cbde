#include "host/ExecFrame.h"

#include "host/TimeLimits.h"

#include <gmock/gmock.h>

#include <array>
#include <cstring>

namespace
{
using namespace host;
using namespace std::string_literals;
using testing::ElementsAre;

std::string Frame(std::uint32_t length, std::uint32_t kind, std::uint32_t flags, const std::string& payload)
{
    const std::array<std::uint32_t, 4> header{length, 0x3700001, kind, flags};
    std::string frame(sizeof header, '\0');
    std::memcpy(frame.data(), header.data(), sizeof header);
    return frame + payload;
}

std::string Exec(std::uint32_t flags, const std::string& payload)
{
    return Frame(static_cast<std::uint32_t>(16 + payload.size()), 6, flags, payload);
}

TEST(ExecFrame, FieldsComeBeforeTheWords)
{
    std::string error;
    const auto both = ParseExecFrame(Exec(0x1A, "one\0two\0./smartctl\0-j\0--scan"s), error);
    ASSERT_TRUE(both) << error;
    EXPECT_EQ(both->id, 0x3700001U);
    EXPECT_EQ(both->field1, "one");
    EXPECT_EQ(both->field2, "two");
    EXPECT_THAT(both->argv, ElementsAre("./smartctl", "-j", "--scan"));

    const auto none = ParseExecFrame(Exec(0x02, "echo\0\0last"s), error);
    ASSERT_TRUE(none) << error;
    EXPECT_THAT(none->argv, ElementsAre("echo", "", "last")) << "an empty word is a word";
}

TEST(ExecFrame, ABadOneIsRefusedWithAReason)
{
    for (const std::string& frame : {
             "123456789012345"s,
             Frame(30, 6, 2, "echo"), // length and size differ
             Frame(20, 5, 2, "echo"), // of another kind
             Exec(0x0A, "echo"),      // a field without end
             Exec(0x0A, "\0"s),       // no program
             Exec(2, std::string(65536 - 15, 'x')),
         })
    {
        std::string error;
        EXPECT_FALSE(ParseExecFrame(frame, error)) << frame;
        EXPECT_FALSE(error.empty()) << frame;
    }
}

TEST(ExecFrame, OutputIsSplitAtTheLongestFrame)
{
    std::vector<std::string> frames;
    const auto sink = [&frames](std::string_view frame) { frames.emplace_back(frame); };
    SendOutput(sink, 7, FrameKind::StandardError, std::string(65520, 'a') + "b\r\0"s);
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[0].size(), 65536U);
    EXPECT_EQ(frames[1], BuildFrame(7, FrameKind::StandardError, 0, "b\r\0"s))
        << "bytes go through as they are";
    SendOutput(sink, 7, FrameKind::StandardOutput, "");
    EXPECT_EQ(frames.size(), 2U);
}

TEST(TimeLimits, FollowTheProgramAndItsCommand)
{
    CTimeLimits limits;
    ASSERT_TRUE(limits.Set("storcli=30"));
    ASSERT_TRUE(limits.Set("raidprep.sh=900"));
    using Row = std::pair<std::vector<std::string>, int>; // seconds, 0 is none
    for (const auto& [argv, seconds] :
         {Row{{"./smartctl", "-j", "--scan"}, 120}, Row{{"storcli", "/c0", "show", "all", "J"}, 30},
          Row{{"storcli", "/c0", "add", "vd", "r5", "J"}, 0}, // creating is not a query
          Row{{"storcli", "/c0/e1/s1", "add", "hotsparedrive", "J"}, 30},
          Row{{"arcconf", "CREATE", "1", "LOGICALDRIVE"}, 0}, Row{{"scripts/driveprep.sh", "prep", "S1"}, 0},
          Row{{"scripts/raidprep.sh"}, 900}})
    {
        EXPECT_EQ(limits.LimitFor(argv).value_or(std::chrono::seconds(0)).count(), seconds) << argv.back();
    }
}

TEST(TimeLimits, RefusesWhatIsNoLimit)
{
    CTimeLimits limits;
    for (const char* text : {"smartctl", "=5", "smartctl=", "smartctl=5s", "smartctl=-1", "smartctl=9999999"})
    {
        EXPECT_FALSE(limits.Set(text)) << text;
    }
    EXPECT_EQ(limits.LimitFor({"./smartctl"}), kDefaultTimeLimit);
}
} // namespace
