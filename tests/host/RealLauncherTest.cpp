#include "host/RealLauncher.h"

#include "tests/host/FrameLog.h"

#include <gmock/gmock.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>

namespace
{
using namespace host;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

class RealLauncher : public testing::Test
{
protected:
    void Make(const char* limit, LauncherBounds bounds = {})
    {
        CTimeLimits limits;
        ASSERT_TRUE(limits.Set(limit));
        m_launcher = std::make_unique<CRealLauncher>(
            limits, [this](std::string_view frame) { m_log.Take(frame); },
            [this](const std::string& note) { m_log.TakeNote(note); }, bounds);
    }

    void Start(std::uint32_t id, std::vector<std::string> argv)
    {
        ExecRequest request;
        request.id = id;
        request.argv = std::move(argv);
        m_launcher->Start(std::move(request));
    }

    ProgramLog Run(std::vector<std::string> argv)
    {
        Start(++m_id, std::move(argv));
        return m_log.WaitForEnd(m_id);
    }

    CFrameLog m_log;
    std::unique_ptr<CRealLauncher> m_launcher;
    std::uint32_t m_id = 0;
};

TEST_F(RealLauncher, DeliversBothOutputsAsBytesAndThenTheWaitStatus)
{
    Make("sh=20");
    const ProgramLog log = Run({"/bin/sh", "-c", R"(printf 'a\r\nb\0c'; printf 'oops\n' >&2; exit 3)"});
    ASSERT_TRUE(log.ended);
    EXPECT_EQ(log.kinds.front(), FrameKind::Started);
    EXPECT_EQ(log.kinds.back(), FrameKind::Ended);
    EXPECT_EQ(log.output[0], std::string("a\r\nb\0c", 6));
    EXPECT_EQ(log.output[1], "oops\n");
    EXPECT_EQ(log.value, 0x300U);
}

TEST_F(RealLauncher, TakesProgramsFromPathWithAnEmptyStandardInput)
{
    Make("cat=20");
    const ProgramLog log = Run({"cat"});
    ASSERT_TRUE(log.ended) << "it must not wait for the terminal";
    EXPECT_EQ(log.value, 0U);
}

TEST_F(RealLauncher, ReportsWhyAProgramDidNotStart)
{
    Make("x=20");
    const ProgramLog missing = Run({"./no-such-program"});
    EXPECT_THAT(missing.kinds, ElementsAre(FrameKind::StartFailed));
    EXPECT_EQ(missing.value, static_cast<std::uint32_t>(ENOENT));
    EXPECT_EQ(Run({"/"}).value, static_cast<std::uint32_t>(EACCES));
}

TEST_F(RealLauncher, SplitsLargeOutputAndLosesNothing)
{
    Make("sh=20");
    const ProgramLog log = Run({"/bin/sh", "-c", "head -c 1000000 /dev/zero | tr '\\0' x"});
    ASSERT_TRUE(log.ended);
    EXPECT_EQ(log.output[0], std::string(1000000, 'x'));
    EXPECT_LE(log.largest, 65536U);
}

TEST_F(RealLauncher, KillsTheWholeGroupPastTheLimit)
{
    Make("sh=1");
    // Neither the shell nor its child listens to a polite request; the child would hold the pipe open for a
    // minute.
    const ProgramLog log = Run({"/bin/sh", "-c", "trap '' TERM; echo begun; sleep 60; echo done"});
    ASSERT_TRUE(log.ended);
    EXPECT_EQ(log.value, static_cast<std::uint32_t>(SIGKILL));
    EXPECT_EQ(log.output[0], "begun\n");
    EXPECT_THAT(m_log.Notes(), HasSubstr("limit of 1 s"));
}

TEST_F(RealLauncher, KillsAProgramThatWritesWithoutEnd)
{
    LauncherBounds bounds;
    bounds.maxOutput = 300000;
    Make("sh=20", bounds);
    const ProgramLog log = Run({"/bin/sh", "-c", "yes"});
    ASSERT_TRUE(log.ended);
    EXPECT_EQ(log.value, static_cast<std::uint32_t>(SIGKILL));
    EXPECT_LE(log.output[0].size(), bounds.maxOutput);
    EXPECT_GE(log.output[0].size(), bounds.maxOutput - 65520);
}

// The process that holds the pipe is no longer the one that was started.
TEST_F(RealLauncher, EndsWithTheProgramNotWithItsChildren)
{
    Make("sh=20");
    const auto start = RealNow();
    const ProgramLog log = Run({"/bin/sh", "-c", "echo here; sleep 5 & exit 0"});
    ASSERT_TRUE(log.ended);
    EXPECT_LT(RealNow() - start, 4s);
    EXPECT_EQ(log.output[0], "here\n");
}

TEST_F(RealLauncher, StopKillsAndReapsWhatStillRuns)
{
    Make("sleep=0");
    Start(1, {"sleep", "60"});
    Start(2, {"sleep", "60"});
    ASSERT_TRUE(WaitUntil([this] { return m_log.HasStarted(2); }));
    m_launcher->Stop();
    EXPECT_FALSE(m_log.Now(1).ended);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "no child is left, dead or alive";
    EXPECT_EQ(errno, ECHILD);
    Start(3, {"sleep", "60"});
    EXPECT_FALSE(m_log.HasStarted(3));
}
} // namespace
