#include "hwmon/CoreDumps.h"

#include "frame/Log.h"
#include "frame/Text.h"
#include "tests/support/Cases.h"
#include "tests/support/FakeHost.h"
#include "tests/support/TempDir.h"

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
constexpr const char* kMarker = "enabledumps";

const CFakeHost::Arguments kEnable = {"scripts/config_core_pattern.sh", "enable"};
const CFakeHost::Arguments kDisable = {"scripts/config_core_pattern.sh", "disable"};

rlimit CoreLimit()
{
    rlimit limit{};
    EXPECT_EQ(getrlimit(RLIMIT_CORE, &limit), 0);
    return limit;
}

// An empty working directory, a script that succeeds, a soft limit that is neither of the two that are set.
class CoreDumps : public testing::Test
{
protected:
    static constexpr rlim_t kOther = 4096;

    const rlimit m_before = CoreLimit(); // limits belong to the process: they are put back as they were
    CTempDir m_dir;
    CWorkingDirectory m_inside{m_dir.Path()};
    CFakeHost m_host;
    CCoreDumpSwitch m_switch;

    void SetUp() override
    {
        if (m_before.rlim_max != RLIM_INFINITY)
        {
            GTEST_SKIP() << "the hard core-size limit is finite here";
        }
        const rlimit start{.rlim_cur = kOther, .rlim_max = RLIM_INFINITY};
        ASSERT_EQ(setrlimit(RLIMIT_CORE, &start), 0);
    }
    void TearDown() override { EXPECT_EQ(setrlimit(RLIMIT_CORE, &m_before), 0); }

    void Mark() const { m_dir.Write(kMarker, ""); }
    void Unmark() const { std::filesystem::remove(m_dir.File(kMarker)); }
};
} // namespace

TEST_F(CoreDumps, FollowTheMarker)
{
    m_host.OnProgram(kEnable, {});
    m_host.OnProgram(kDisable, {});
    m_switch.UpdateCoreDumps();
    m_switch.UpdateCoreDumps();
    EXPECT_THAT(m_host.Programs(), IsEmpty());
    EXPECT_THAT(m_host.LogTexts(), IsEmpty());
    EXPECT_EQ(CoreLimit().rlim_cur, kOther);
    for (int round = 0; round < 3; ++round)
    {
        m_host.Forget();
        if (round == 2) // any kind of file is a marker
        {
            std::filesystem::create_directory(m_dir.File(kMarker));
        }
        else
        {
            Mark();
        }
        m_switch.UpdateCoreDumps();
        m_switch.UpdateCoreDumps(); // established: no second run
        EXPECT_THAT(m_host.Programs(), ElementsAre(kEnable));
        EXPECT_EQ(CoreLimit().rlim_cur, RLIM_INFINITY);
        EXPECT_EQ(CoreLimit().rlim_max, RLIM_INFINITY);
        EXPECT_THAT(m_host.LogTexts(LogWarning), ElementsAre("COREDUMPS: enabled core dumps."));

        m_host.Forget();
        Unmark();
        m_switch.UpdateCoreDumps();
        m_switch.UpdateCoreDumps();
        EXPECT_THAT(m_host.Programs(), ElementsAre(kDisable));
        EXPECT_EQ(CoreLimit().rlim_cur, 0U);
        EXPECT_EQ(CoreLimit().rlim_max, RLIM_INFINITY);
        EXPECT_THAT(m_host.LogTexts(LogWarning), ElementsAre("COREDUMPS: disabled core dumps."));
    }
}

struct FailureCase
{
    const char* name;
    CFakeHost::Answer answer;
    const char* reason;
};

using CoreDumpFailures = WithCases<CoreDumps, FailureCase>;

TEST_P(CoreDumpFailures, EndItForGood)
{
    m_host.OnProgram(kEnable, GetParam().answer);
    m_host.OnProgram(kEnable, {}); // would succeed
    m_host.OnProgram(kDisable, {});
    Mark();
    m_switch.UpdateCoreDumps();
    EXPECT_THAT(m_host.LogTexts(LogWarning), ElementsAre("COREDUMPS: failed to config core dumps (" +
                                                         std::string(GetParam().reason) + ")."));
    EXPECT_EQ(CoreLimit().rlim_cur, kOther);
    m_switch.UpdateCoreDumps();
    Unmark();
    m_switch.UpdateCoreDumps();
    Mark();
    m_switch.UpdateCoreDumps();
    EXPECT_THAT(m_host.Programs(), ElementsAre(kEnable));
    EXPECT_EQ(m_host.LogTexts().size(), 1U);
}
INSTANTIATE_TEST_SUITE_P(Cases, CoreDumpFailures,
                         testing::Values(FailureCase{"NoScript", {.startError = ENOENT}, "failure 2"},
                                         FailureCase{"ExitCode", {.exitCode = 3}, "error 3"},
                                         FailureCase{"Signal", {.signal = 15}, "error 3840"}),
                         kByName);

TEST_F(CoreDumps, AFailureToDisableLeavesThemEnabled)
{
    m_host.OnProgram(kEnable, {});
    m_host.OnProgram(kDisable, {.exitCode = 1});
    Mark();
    m_switch.UpdateCoreDumps();
    m_host.Forget();
    Unmark();
    m_switch.UpdateCoreDumps();
    EXPECT_THAT(m_host.LogTexts(LogWarning),
                ElementsAre("COREDUMPS: failed to config core dumps (error 1)."));
    EXPECT_EQ(CoreLimit().rlim_cur, RLIM_INFINITY);
}

namespace
{
// In a process of its own, since a hard limit that was lowered stays so. Prints what happened.
[[noreturn]] void RunWithFiniteHardLimit()
{
    const CTempDir dir;
    const CWorkingDirectory inside(dir.Path());
    const rlimit finite{.rlim_cur = 100, .rlim_max = 1'000'000};
    if (setrlimit(RLIMIT_CORE, &finite) != 0)
    {
        std::cerr << "cannot lower the limit";
        std::exit(1);
    }
    std::string seen;
    {
        CFakeHost host;
        host.OnProgram(kEnable, {});
        host.OnProgram(kDisable, {});
        dir.Write(kMarker, "");
        CCoreDumpSwitch dumps;
        dumps.UpdateCoreDumps();
        dumps.UpdateCoreDumps();
        std::filesystem::remove(dir.File(kMarker));
        dumps.UpdateCoreDumps();
        for (const auto& program : host.Programs())
        {
            seen += program.back() + ";";
        }
        seen += Join(host.LogTexts(LogWarning), ";") + ";" + std::to_string(CoreLimit().rlim_cur);
    }
    std::cerr << seen;
    std::exit(0);
}
} // namespace

TEST(CoreDumpsDeathTest, AFiniteHardLimitIsLeftAloneAfterOneScript)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(RunWithFiniteHardLimit(), testing::ExitedWithCode(0),
                "enable;COREDUMPS: can't configure core dumps because hard limit not unlimited.;100$");
}
