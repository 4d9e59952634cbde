#include "host/RealLauncher.h"
#include "host/SimLauncher.h"
#include "host/SimTime.h"
#include "tests/host/WaitUntil.h"

#include <gmock/gmock.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <map>
#include <mutex>

namespace
{
using namespace host;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

struct ProgramLog
{
    std::vector<FrameKind> kinds; // in order, output frames too
    std::string output[2];
    std::size_t largest = 0; // frame, with its header
    std::uint32_t value = 0; // of the last frame
    bool ended = false;      // or not started
};

// Keeps what a launcher tells.
class Launcher : public testing::Test
{
protected:
    void Start(std::uint32_t id, std::vector<std::string> argv)
    {
        ExecRequest request;
        request.id = id;
        request.argv = std::move(argv);
        m_launcher->Start(std::move(request));
    }

    // The program's log once it has ended; without `ended` when that takes too long.
    ProgramLog WaitForEnd(std::uint32_t id)
    {
        WaitUntil([this, id] { return Now(id).ended; });
        return Now(id);
    }

    ProgramLog Run(std::vector<std::string> argv)
    {
        Start(++m_id, std::move(argv));
        return WaitForEnd(m_id);
    }

    bool HasStarted(std::uint32_t id) { return !Now(id).kinds.empty(); }

    ProgramLog Now(std::uint32_t id)
    {
        const std::lock_guard lock(m_mutex);
        return m_programs[id];
    }

    std::string Notes()
    {
        const std::lock_guard lock(m_mutex);
        return m_notes;
    }

private:
    void Take(std::string_view frame)
    {
        std::uint32_t header[4] = {};
        std::memcpy(header, frame.data(), sizeof header);
        const std::lock_guard lock(m_mutex);
        ProgramLog& program = m_programs[header[1]];
        const auto kind = static_cast<FrameKind>(header[2]);
        program.kinds.push_back(kind);
        program.largest = std::max(program.largest, frame.size());
        program.value = header[3];
        if (kind == FrameKind::StandardOutput || kind == FrameKind::StandardError)
        {
            program.output[header[2] - 1] += frame.substr(sizeof header);
        }
        program.ended = kind == FrameKind::Ended || kind == FrameKind::StartFailed;
    }

    std::mutex m_mutex;
    std::map<std::uint32_t, ProgramLog> m_programs;
    std::string m_notes;
    std::uint32_t m_id = 0;

protected:
    const FrameSink m_frameSink = [this](std::string_view frame) { Take(frame); };
    const NoteSink m_noteSink = [this](const std::string& note)
    {
        const std::lock_guard lock(m_mutex);
        m_notes += note + "\n";
    };
    std::unique_ptr<CLauncher> m_launcher;
};

class RealLauncher : public Launcher
{
protected:
    RealLauncher() { Make("sh=20"); }

    void Make(const char* limit, LauncherBounds bounds = {})
    {
        CTimeLimits limits;
        ASSERT_TRUE(limits.Set("cat=20"));
        ASSERT_TRUE(limits.Set(limit));
        m_launcher = std::make_unique<CRealLauncher>(limits, m_frameSink, m_noteSink, bounds);
    }

    ProgramLog RunShell(const char* script) { return Run({"/bin/sh", "-c", script}); }
};

TEST_F(RealLauncher, DeliversBothOutputsAsBytesAndThenTheWaitStatus)
{
    const ProgramLog log = RunShell(R"(printf 'a\r\nb\0c'; printf 'oops\n' >&2; exit 3)");
    ASSERT_TRUE(log.ended);
    EXPECT_EQ(log.kinds.front(), FrameKind::Started);
    EXPECT_EQ(log.kinds.back(), FrameKind::Ended);
    EXPECT_EQ(log.output[0], std::string("a\r\nb\0c", 6));
    EXPECT_EQ(log.output[1], "oops\n");
    EXPECT_EQ(log.value, 0x300U);
}

TEST_F(RealLauncher, TakesProgramsFromPathWithAnEmptyStandardInput)
{
    const ProgramLog log = Run({"cat"});
    ASSERT_TRUE(log.ended) << "it must not wait for the terminal";
    EXPECT_EQ(log.value, 0U);
}

TEST_F(RealLauncher, ReportsWhyAProgramDidNotStart)
{
    const ProgramLog missing = Run({"./no-such-program"});
    EXPECT_THAT(missing.kinds, ElementsAre(FrameKind::StartFailed));
    EXPECT_EQ(missing.value, static_cast<std::uint32_t>(ENOENT));
    EXPECT_EQ(Run({"/"}).value, static_cast<std::uint32_t>(EACCES));
}

TEST_F(RealLauncher, SplitsLargeOutputAndLosesNothing)
{
    const ProgramLog log = RunShell("head -c 1000000 /dev/zero | tr '\\0' x");
    ASSERT_TRUE(log.ended);
    EXPECT_EQ(log.output[0], std::string(1000000, 'x'));
    EXPECT_LE(log.largest, 65536U);
}

TEST_F(RealLauncher, KillsTheWholeGroupPastTheLimit)
{
    Make("sh=1");
    // Neither the shell nor its child listens to a polite request; the child would hold the pipe open for a
    // minute.
    const ProgramLog log = RunShell("trap '' TERM; echo begun; sleep 60; echo done");
    ASSERT_TRUE(log.ended);
    EXPECT_EQ(log.value, static_cast<std::uint32_t>(SIGKILL));
    EXPECT_EQ(log.output[0], "begun\n");
    EXPECT_THAT(Notes(), HasSubstr("limit of 1 s"));
}

TEST_F(RealLauncher, KillsAProgramThatWritesWithoutEnd)
{
    LauncherBounds bounds;
    bounds.maxOutput = 300000;
    Make("sh=20", bounds);
    const ProgramLog log = RunShell("yes");
    ASSERT_TRUE(log.ended);
    EXPECT_EQ(log.value, static_cast<std::uint32_t>(SIGKILL));
    EXPECT_LE(log.output[0].size(), bounds.maxOutput);
    EXPECT_GE(log.output[0].size(), bounds.maxOutput - 65520);
}

// The process that holds the pipe is no longer the one that was started.
TEST_F(RealLauncher, EndsWithTheProgramNotWithItsChildren)
{
    const auto start = RealNow();
    const ProgramLog log = RunShell("echo here; sleep 5 & exit 0");
    ASSERT_TRUE(log.ended);
    EXPECT_LT(RealNow() - start, 4s);
    EXPECT_EQ(log.output[0], "here\n");
}

TEST_F(RealLauncher, StopKillsAndReapsWhatStillRuns)
{
    Make("sleep=0");
    Start(1, {"sleep", "60"});
    Start(2, {"sleep", "60"});
    ASSERT_TRUE(WaitUntil([this] { return HasStarted(2); }));
    m_launcher->Stop();
    EXPECT_FALSE(Now(1).ended);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "no child is left, dead or alive";
    EXPECT_EQ(errno, ECHILD);
    Start(3, {"sleep", "60"});
    EXPECT_FALSE(HasStarted(3));
}
// "sleep MS" ends after so many simulated milliseconds; anything else does not exist.
sim::ProgramRun Answer(const std::vector<std::string>& argv, sim::SimTime now)
{
    sim::ProgramRun run;
    if (argv[0] != "sleep")
    {
        run.startError = ENOENT;
        return run;
    }
    run.standardOutput = "asked at " + std::to_string(now.count());
    run.standardError = "tired";
    run.waitStatus = 0x100;
    run.duration = std::chrono::milliseconds(std::stoi(argv[1]));
    return run;
}

class SimLauncher : public Launcher
{
protected:
    SimLauncher()
    {
        simtime::UseManual(1'000'000'000s);
        CTimeLimits limits;
        limits.Set("sleep=100");
        m_launcher = std::make_unique<CSimLauncher>(Answer, std::chrono::steady_clock::now(), limits,
                                                    m_frameSink, m_noteSink);
    }
    ~SimLauncher() override
    {
        m_launcher->Stop();
        simtime::UsePassThrough();
    }

    // Returns when the launcher has started it and waits for its end.
    void StartSleep(std::uint32_t id, const char* length)
    {
        Start(id, {"sleep", length});
        EXPECT_TRUE(WaitUntil([this, id] { return HasStarted(id) && simtime::NextDeadline(); }));
    }
};

TEST_F(SimLauncher, DeliversWhenTheProgramsTimeHasPassed)
{
    simtime::Advance(7s);
    StartSleep(1, "2000");
    StartSleep(2, "1000");
    ASSERT_TRUE(
        WaitUntil([] { return simtime::NextDeadline() == std::optional<std::chrono::nanoseconds>(1s); }));
    simtime::Advance(1s);
    const ProgramLog second = WaitForEnd(2);
    ASSERT_TRUE(second.ended);
    EXPECT_THAT(second.kinds, ElementsAre(FrameKind::Started, FrameKind::StandardOutput,
                                          FrameKind::StandardError, FrameKind::Ended));
    EXPECT_EQ(second.output[0], "asked at 7000");
    EXPECT_EQ(second.output[1], "tired");
    EXPECT_EQ(second.value, 0x100U);
    EXPECT_FALSE(Now(1).ended);
    simtime::Advance(1s);
    EXPECT_TRUE(WaitForEnd(1).ended);
}

TEST_F(SimLauncher, AHangEndsAtTheTimeLimit)
{
    StartSleep(1, "3600000");
    simtime::Advance(99s);
    EXPECT_FALSE(Now(1).ended);
    simtime::Advance(1s);
    const ProgramLog log = WaitForEnd(1);
    ASSERT_TRUE(log.ended);
    EXPECT_EQ(log.value, static_cast<std::uint32_t>(SIGKILL));
    EXPECT_EQ(log.output[0], "");
    EXPECT_THAT(Notes(), HasSubstr("limit of 100 s"));
}

TEST_F(SimLauncher, ReportsWhatTheApplianceDoesNotHave)
{
    const ProgramLog log = Run({"storcli", "-V"});
    EXPECT_THAT(log.kinds, ElementsAre(FrameKind::StartFailed));
    EXPECT_EQ(log.value, static_cast<std::uint32_t>(ENOENT));
}
} // namespace
