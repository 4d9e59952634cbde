#include "host/SimLauncher.h"

#include "host/SimTime.h"
#include "tests/host/FrameLog.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <csignal>

namespace
{
using namespace host;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

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

class SimLauncher : public testing::Test
{
protected:
    SimLauncher()
    {
        simtime::UseManual(1'000'000'000s);
        CTimeLimits limits;
        limits.Set("sleep=100");
        m_launcher = std::make_unique<CSimLauncher>(
            Answer, std::chrono::steady_clock::now(), limits,
            [this](std::string_view frame) { m_log.Take(frame); },
            [this](const std::string& note) { m_log.TakeNote(note); });
    }
    ~SimLauncher() override
    {
        m_launcher->Stop();
        simtime::UsePassThrough();
    }

    // Returns when the launcher has started it and waits for its end.
    void Start(std::uint32_t id, std::vector<std::string> argv)
    {
        ExecRequest request;
        request.id = id;
        request.argv = std::move(argv);
        m_launcher->Start(std::move(request));
        EXPECT_TRUE(WaitUntil([this, id] { return m_log.HasStarted(id) && simtime::NextDeadline(); }));
    }

    CFrameLog m_log;
    std::unique_ptr<CSimLauncher> m_launcher;
};

TEST_F(SimLauncher, DeliversWhenTheProgramsTimeHasPassed)
{
    simtime::Advance(7s);
    Start(1, {"sleep", "2000"});
    Start(2, {"sleep", "1000"});
    ASSERT_TRUE(
        WaitUntil([] { return simtime::NextDeadline() == std::optional<std::chrono::nanoseconds>(1s); }));
    simtime::Advance(1s);
    const ProgramLog second = m_log.WaitForEnd(2);
    ASSERT_TRUE(second.ended);
    EXPECT_THAT(second.kinds, ElementsAre(FrameKind::Started, FrameKind::StandardOutput,
                                          FrameKind::StandardError, FrameKind::Ended));
    EXPECT_EQ(second.output[0], "asked at 7000");
    EXPECT_EQ(second.output[1], "tired");
    EXPECT_EQ(second.value, 0x100U);
    EXPECT_FALSE(m_log.Now(1).ended);
    simtime::Advance(1s);
    EXPECT_TRUE(m_log.WaitForEnd(1).ended);
}

TEST_F(SimLauncher, AHangEndsAtTheTimeLimit)
{
    Start(1, {"sleep", "3600000"});
    simtime::Advance(99s);
    EXPECT_FALSE(m_log.Now(1).ended);
    simtime::Advance(1s);
    const ProgramLog log = m_log.WaitForEnd(1);
    ASSERT_TRUE(log.ended);
    EXPECT_EQ(log.value, static_cast<std::uint32_t>(SIGKILL));
    EXPECT_EQ(log.output[0], "");
    EXPECT_THAT(m_log.Notes(), HasSubstr("limit of 100 s"));
}

TEST_F(SimLauncher, ReportsWhatTheApplianceDoesNotHave)
{
    ExecRequest request;
    request.id = 9;
    request.argv = {"storcli", "-V"};
    m_launcher->Start(request);
    const ProgramLog log = m_log.WaitForEnd(9);
    EXPECT_THAT(log.kinds, ElementsAre(FrameKind::StartFailed));
    EXPECT_EQ(log.value, static_cast<std::uint32_t>(ENOENT));
}
} // namespace
