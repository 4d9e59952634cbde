#include "host/Session.h"

#include "host/LineView.h"
#include "host/SimLauncher.h"
#include "host/SimTime.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <sstream>

namespace
{
using namespace host;
using testing::HasSubstr;
using testing::IsEmpty;

// A host around the fake plug-in, at a hundred times the speed.
class Session : public testing::Test
{
protected:
    Session()
    {
        simtime::UseScaled(100);
        m_options.once = true;
        std::string error;
        m_plugin = CPlugin::Open(FAKE_PLUGIN, error);
        m_control = CControlServer::Listen("./session" + std::to_string(getpid()) + ".sock", error);
        EXPECT_TRUE(m_plugin && m_control) << error;
    }
    ~Session() override { simtime::UsePassThrough(); }

    SessionEnd Live(CSession& session)
    {
        const auto model = [](const std::vector<std::string>& /*argv*/, sim::SimTime /*now*/)
        {
            sim::ProgramRun run;
            run.standardOutput = R"({"devices": [{"name": "/dev/sda", "type": "sat"}]})";
            return run;
        };
        CHostCore core(*m_plugin, m_events, 0, [] { return true; });
        CSimLauncher launcher(
            model, std::chrono::steady_clock::now(), CTimeLimits(),
            [&core](std::string_view frame) { core.DeliverFrame(frame); }, [](const std::string&) {});
        core.SetLauncher(launcher);
        std::string error;
        EXPECT_TRUE(core.Load(error)) << error;
        return session.Run(core);
    }

    HostOptions m_options;
    CEventQueue m_events;
    CPortTrace m_trace;
    std::ostringstream m_out;
    CLineView m_view{m_out};
    std::unique_ptr<CPlugin> m_plugin;
    std::unique_ptr<CControlServer> m_control;
};

TEST_F(Session, AResetTakesThePluginDownAndTheNextLifeCompletesThePicture)
{
    const CFd noSignals;
    CSession session({m_options, m_events, m_view, *m_control, nullptr, m_trace, noSignals.Get(), {}});
    m_events.Push(EventKind::Reset);
    EXPECT_EQ(Live(session), SessionEnd::Reset);
    EXPECT_THAT(m_out.str(), HasSubstr("error   host: the hardware watchdog has reset the appliance"));
    EXPECT_EQ(Live(session), SessionEnd::Over);
    EXPECT_THAT(session.Failures(), IsEmpty()) << "neither the reset nor the end it brings is a fault";
    EXPECT_THAT(m_out.str(), HasSubstr("  -  /dev/sda                  -  Healthy\n"));
}

TEST_F(Session, WarnsOnceWhenThePingsStopAndTellsThatTheyAreBack)
{
    m_options.once = false;
    int looks = 0;
    const auto watchdog = [this, &looks]
    {
        ++looks;
        if (looks == 6)
        {
            m_events.Push(EventKind::Request, "quit");
        }
        const bool late = looks > 1 && looks < 4;
        return std::optional(sim::WatchdogView{true, 40, std::chrono::seconds(late ? 20 - looks : 39), 0});
    };
    const CFd noSignals;
    CSession session({m_options, m_events, m_view, *m_control, nullptr, m_trace, noSignals.Get(), watchdog});
    EXPECT_EQ(Live(session), SessionEnd::Over);
    const std::string out = m_out.str();
    const std::string warning =
        "the watchdog is no longer pinged: watchdog 40 s: pinged 22 s ago, 18 s left\n";
    const std::size_t warned = out.find(warning);
    ASSERT_NE(warned, std::string::npos);
    EXPECT_EQ(out.find("no longer pinged", warned + warning.size()), std::string::npos);
    EXPECT_NE(out.find("the watchdog is pinged again\n", warned), std::string::npos);
}
} // namespace
