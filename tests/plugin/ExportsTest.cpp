#include "host/SimTime.h"
#include "tests/plugin/LoadedPlugin.h"
#include "tests/support/CaseName.h"

#include <cstdio>
#include <memory>
#include <set>

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

using Exports = PluginRig;

// The host's table of exports; a C++ symbol among them could be mixed up with one of the host's.
TEST(PluginFile, ExportsTheSixFunctionsOnly)
{
    const std::unique_ptr<FILE, int (*)(FILE*)> listing(popen("nm -D --defined-only '" PLUGIN_FILE "'", "r"),
                                                        pclose);
    ASSERT_NE(listing, nullptr);
    std::set<std::string> names;
    char line[4096];
    while (std::fgets(line, sizeof line, listing.get()) != nullptr)
    {
        const std::string text = line;
        names.insert(text.substr(text.rfind(' ') + 1, text.size() - text.rfind(' ') - 2));
    }
    EXPECT_THAT(names, ElementsAre("Close", "IOCTL", "Load", "Open", "Unload", "Write"));
}

TEST_F(Exports, LoadFillsItsFieldsAndNothingElse)
{
    LoadRecord expected;
    expected.Put<std::uint64_t>(8, 3604480);
    expected.Put<std::uint64_t>(32, 0x2000010);
    expected.Put<std::uint64_t>(56, 0x2000000);
    expected.Put<std::uint8_t>(96, 1);
    expected.Put<std::uint8_t>(99, 1);
    LoadRecord record;
    m_plugin.Load(record);
    EXPECT_EQ(record.bytes, expected.bytes);
}

TEST_F(Exports, IoctlOfAnUnknownCodeChangesNothing)
{
    Load();
    for (const std::uint32_t code : {0U, 3U, 5U, 6U, 0x80000001U})
    {
        EXPECT_EQ(m_plugin.Ioctl(code, "<zDVR/>", 7), IoctlReply{}) << code;
    }
    EXPECT_EQ(m_plugin.Ioctl(4, "short", 5), IoctlReply{}) << "no frame";
    EXPECT_EQ(m_plugin.Ioctl(4, nullptr, 0), IoctlReply{});
    EXPECT_THAT(m_host.Told().releases, IsEmpty());
}

TEST_F(Exports, AConfigurationChangeIsKeptUnlessItIsEmpty)
{
    Load();
    const std::string& text = Lend("<zDVR/>");
    IoctlReply empty;
    empty.Put<std::uint32_t>(16, 0);
    EXPECT_EQ(m_plugin.Ioctl(2, text.data(), 0), empty);
    IoctlReply kept;
    kept.Put<std::uint32_t>(16, 1);
    EXPECT_EQ(m_plugin.Ioctl(2, text.data(), 7), kept);
    EXPECT_THAT(m_host.Told().releases, IsEmpty()) << "nobody runs yet";
    CloseAndUnload();
    EXPECT_THAT(m_host.Told().releases, ElementsAre(reinterpret_cast<std::uintptr_t>(text.data())));
}

struct WriteCase
{
    const char* name;
    std::uint64_t source;
    std::uint64_t category;
    std::int32_t length;
    bool kept;
};

constexpr auto kWriteCases = std::to_array<WriteCase>({
    {"Foreign", kForeignSource, 4, 7, true},
    {"ForeignHeartbeatIsADocument", kForeignSource, 32, 7, true},
    {"ForeignOfNoSourceAtAll", 0, 4, 7, true},
    {"HighHalfOfTheSourceCounts", (1ULL << 32) + kOwnSource, 32, 7, true},
    {"EmptyForeign", kForeignSource, 4, 0, true},
    {"NegativeLength", kForeignSource, 4, -7, true},
    {"OwnHeartbeat", kOwnSource, 32, 0, false},
    {"OwnDocument", kOwnSource, 4, 7, false},
    {"HighHalfOfTheCategoryCounts", kOwnSource, (1ULL << 32) + 32, 7, false},
});

class WriteRules : public PluginRig, public testing::WithParamInterface<WriteCase>
{
};

TEST_P(WriteRules, DecideWhatIsKept)
{
    m_dir.Write("corvanepi.xml", R"(<zDVR><Storage TqselftestLogEnabled="1"/></zDVR>)");
    Load();
    Run();
    const std::string& text = Lend("<zDVR/>");
    WriteReply expected;
    if (GetParam().kept)
    {
        expected.Put<std::uint32_t>(28, 1);
    }
    EXPECT_EQ(m_plugin.Write(GetParam().source, GetParam().category, text.data(), GetParam().length),
              expected);
    if (GetParam().kept)
    {
        EXPECT_TRUE(WaitUntil([](const auto& told) { return !told.releases.empty(); }));
    }
    // A ping of our own, so that both loops have been at work.
    m_plugin.Write(kOwnSource, 32, nullptr, 0);
    const auto count = [](const CFakeHost::Record& told, const char* title)
    {
        return std::count_if(told.log.begin(), told.log.end(),
                             [title](const CFakeHost::LogLine& line) { return line.text == title; });
    };
    const int pings = GetParam().source == kOwnSource && GetParam().category == 32 ? 2 : 1;
    EXPECT_TRUE(
        WaitUntil([&](const auto& told) { return count(told, "CORVANEPI: Ping Watchdog") == pings; }));
    Settle();
    CloseAndUnload();
    const CFakeHost::Record told = m_host.Told();
    EXPECT_EQ(count(told, "CORVANEPI: Status Update"), GetParam().kept ? 2 : 1);
    EXPECT_EQ(count(told, "CORVANEPI: Ping Watchdog"), pings);
    EXPECT_EQ(told.releases.size(), GetParam().kept ? 2U : 1U) << "with the one of Settle";
}

INSTANTIATE_TEST_SUITE_P(Cases, WriteRules, testing::ValuesIn(kWriteCases), kByName);

TEST_F(Exports, OpenWaitsForRunOrClose)
{
    for (const bool run : {false, true})
    {
        Load();
        std::atomic<bool> opened{false};
        std::thread open(
            [this, &opened]
            {
                m_plugin.Open();
                opened = true;
            });
        EXPECT_TRUE(WaitUntil([](const auto&) { return host::simtime::NextDeadline().has_value(); }));
        EXPECT_FALSE(opened);
        if (run)
        {
            Run();
            Settle();
        }
        else
        {
            m_plugin.Close();
        }
        EXPECT_FALSE(opened);
        host::simtime::Advance(std::chrono::milliseconds(100));
        open.join();
        m_plugin.Open(); // from now on at once
        CloseAndUnload();
    }
}

TEST_F(Exports, CloseInAnyOrderLetsRunReturn)
{
    m_plugin.Close();
    m_plugin.Unload();
    Load();
    m_plugin.Close();
    m_plugin.Close();
    Run();
    m_run.join();
    EXPECT_THAT(m_host.Programs(), IsEmpty()) << "closed before it ran";
    const std::string& late = Lend("<zDVR/>");
    EXPECT_EQ(m_plugin.Write(kForeignSource, 4, late.data(), 7).Get<std::uint32_t>(28), 1U);
    EXPECT_EQ(m_plugin.Ioctl(2, late.data(), 7).Get<std::uint32_t>(16), 1U);
    m_plugin.Write(kOwnSource, 32, nullptr, 0);
    m_plugin.Unload();
    EXPECT_EQ(m_host.Told().releases.size(), 2U);
    m_plugin.Unload();
    m_plugin.Close();
    m_plugin.Open();
    EXPECT_EQ(m_plugin.Write(kForeignSource, 4, late.data(), 7), WriteReply{}) << "nobody would give it back";
    EXPECT_EQ(m_host.Told().releases.size(), 2U);
}

TEST_F(Exports, AMissingBufferIsGivenBackLikeAnyOther)
{
    Load();
    Run();
    EXPECT_EQ(m_plugin.Write(kForeignSource, 4, nullptr, 0).Get<std::uint32_t>(28), 1U);
    EXPECT_TRUE(WaitUntil([](const auto& told) { return told.releases == std::vector<std::uint64_t>{0}; }));
}
} // namespace
