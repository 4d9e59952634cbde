#include "frame/Log.h"
#include "host/SimTime.h"
#include "tests/manager/ManagerRig.h"

#include <sys/resource.h>

#include <filesystem>

namespace
{
using testing::ElementsAre;

const CFakeHost::Arguments kEnable{"scripts/config_core_pattern.sh", "enable"};
const CFakeHost::Arguments kDisable{"scripts/config_core_pattern.sh", "disable"};

class CoreDumps : public ManagerRig
{
protected:
    CoreDumps() { getrlimit(RLIMIT_CORE, &m_before); }
    ~CoreDumps() override { setrlimit(RLIMIT_CORE, &m_before); }

    // One heartbeat and the look at the marker file behind it.
    void Beat()
    {
        const int before = m_host.Told().heartbeats;
        host::simtime::Advance(std::chrono::seconds(1));
        EXPECT_TRUE(WaitUntil([before](const CFakeHost::Record& told) { return told.heartbeats > before; }));
        const int pings = m_chip->calls.Count("ping");
        m_manager->PostWatchdogPing(); // behind the look, on the same thread
        EXPECT_TRUE(WaitUntil([this, pings](const CFakeHost::Record&)
                              { return m_chip->calls.Count("ping") > pings; }));
    }

    std::vector<std::string> Lines()
    {
        std::vector<std::string> lines;
        for (const std::string& line : m_host.LogTexts(LogWarning))
        {
            if (line.starts_with("COREDUMPS: "))
            {
                lines.push_back(line);
            }
        }
        return lines;
    }

    rlimit m_before{};
};

struct FailureCase
{
    const char* name;
    CFakeHost::Answer answer;
    const char* line;
};

const auto kFailureCases = std::to_array<FailureCase>({
    {"NoScript", {.startError = 13}, "COREDUMPS: failed to config core dumps (failure 13)."},
    {"ScriptFails", {.exitCode = 3}, "COREDUMPS: failed to config core dumps (error 3)."},
    {"ScriptDies", {.signal = 9}, "COREDUMPS: failed to config core dumps (error 2304)."},
});

class CoreDumpFailure : public CoreDumps, public testing::WithParamInterface<FailureCase>
{
};

TEST_P(CoreDumpFailure, EndsAllFurtherAttempts)
{
    m_hasChip = true;
    Start();
    Beat();
    EXPECT_EQ(CountProgram(kDisable) + CountProgram(kEnable), 0) << "off is how it begins";
    Answer(kEnable, GetParam().answer);
    m_dir.Write("enabledumps", "");
    Beat();
    Beat();
    std::filesystem::remove(m_dir.File("enabledumps"));
    Beat();
    EXPECT_THAT(Lines(), ElementsAre(GetParam().line));
    EXPECT_EQ(CountProgram(kEnable), 1);
    EXPECT_EQ(CountProgram(kDisable), 0);
}

INSTANTIATE_TEST_SUITE_P(Cases, CoreDumpFailure, testing::ValuesIn(kFailureCases),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(CoreDumps, FollowTheMarkerFile)
{
    if (m_before.rlim_max != RLIM_INFINITY)
    {
        GTEST_SKIP() << "the hard limit of this process is finite";
    }
    m_hasChip = true;
    Answer(kEnable, {});
    Answer(kDisable, {});
    Start();
    rlimit limit{0, RLIM_INFINITY};
    setrlimit(RLIMIT_CORE, &limit);
    m_dir.Write("enabledumps", "");
    Beat();
    Beat();
    getrlimit(RLIMIT_CORE, &limit);
    EXPECT_EQ(limit.rlim_cur, RLIM_INFINITY);
    std::filesystem::remove(m_dir.File("enabledumps"));
    Beat();
    getrlimit(RLIMIT_CORE, &limit);
    EXPECT_EQ(limit.rlim_cur, 0U);
    EXPECT_EQ(limit.rlim_max, RLIM_INFINITY);
    EXPECT_THAT(Lines(), ElementsAre("COREDUMPS: enabled core dumps.", "COREDUMPS: disabled core dumps."));
    EXPECT_EQ(CountProgram(kEnable), 1);
}
} // namespace
