#include "host/HostCore.h"

#include "host/LineView.h"
#include "host/Session.h"
#include "host/SimLauncher.h"
#include "host/SimTime.h"
#include "host/StartCheck.h"
#include "tests/host/WaitUntil.h"
#include "tests/support/TempDir.h"

#include <gmock/gmock.h>

#include <sstream>

namespace
{
using namespace host;
using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// The parts of a host around the fake plug-in.
class FakePluginHost : public testing::Test
{
protected:
    FakePluginHost()
    {
        std::string error;
        m_plugin = CPlugin::Open(FAKE_PLUGIN, error);
        EXPECT_TRUE(m_plugin) << error;
    }
    ~FakePluginHost() override { simtime::UsePassThrough(); }

    // A core with the plug-in loaded, whose scan takes that long.
    void MakeCore(int threshold, std::chrono::milliseconds scanTime)
    {
        m_core =
            std::make_unique<CHostCore>(*m_plugin, m_events, threshold, [this] { return m_returns.load(); });
        const auto model = [scanTime](const std::vector<std::string>& /*argv*/, sim::SimTime /*now*/)
        {
            sim::ProgramRun run;
            run.standardOutput = R"({"devices": [{"name": "/dev/sda", "type": "sat"}]})";
            run.duration = scanTime;
            return run;
        };
        m_launcher = std::make_unique<CSimLauncher>(
            model, std::chrono::steady_clock::now(), CTimeLimits(),
            [this](std::string_view frame) { m_core->DeliverFrame(frame); }, [](const std::string&) {});
        m_core->SetLauncher(*m_launcher);
        std::string error;
        ASSERT_TRUE(m_core->Load(error)) << error;
    }

    CEventQueue m_events;
    std::atomic<bool> m_returns{true};
    std::unique_ptr<CPlugin> m_plugin;
    std::unique_ptr<CHostCore> m_core;
    std::unique_ptr<CLauncher> m_launcher;
};

// The fake plug-in's whole life on a clock moved by the test.
class HostCore : public FakePluginHost
{
protected:
    HostCore() { simtime::UseManual(1'000'000'000s); }
    ~HostCore() override
    {
        m_launcher->Stop();
        m_core.reset();
    }

    void Start(int threshold = 0, std::chrono::milliseconds scanTime = 100ms)
    {
        MakeCore(threshold, scanTime);
        m_core->Start();
    }

    void TakeEvents()
    {
        for (HostEvent& event : m_events.TakeAll())
        {
            m_texts[event.kind].push_back(std::move(event.text));
        }
    }

    // Moves the clock in small steps until `condition` holds; false when it does not within 20 s of the
    // kernel's time.
    template <typename Condition>
    bool AdvanceUntil(Condition condition)
    {
        return WaitUntil(
            [&]
            {
                TakeEvents();
                const bool holds = condition();
                simtime::Advance(holds ? 0ms : 10ms);
                return holds;
            });
    }

    bool Stop()
    {
        const bool stopped = m_core->Stop(20s);
        TakeEvents();
        return stopped;
    }

    std::map<EventKind, std::vector<std::string>> m_texts;
};

TEST_F(HostCore, TakesAPluginThroughItsLife)
{
    Start();
    ASSERT_TRUE(AdvanceUntil([this] { return m_core->Heartbeats().returned >= 3; }));
    m_core->SendRequest("<a/>");
    m_core->SendConfig("<b/>");
    EXPECT_TRUE(AdvanceUntil([this] { return m_texts[EventKind::Log].back() == "document <b/>"; }));
    EXPECT_TRUE(Stop());
    EXPECT_EQ(m_texts[EventKind::Opened].size(), 1U);
    EXPECT_EQ(m_texts[EventKind::RunEnded].size(), 1U);
    EXPECT_EQ(m_texts[EventKind::ConfigDocument].size(), 2U);
    EXPECT_EQ(m_texts[EventKind::StatusDocument].size(), 1U);
    EXPECT_THAT(m_texts[EventKind::ProgramOutput], ElementsAre(HasSubstr("/dev/sda")));
    EXPECT_THAT(m_texts[EventKind::Log], Contains("FAKE: running at 1000000000"));
    EXPECT_THAT(m_texts[EventKind::Log], Contains("FAKE: scan gave 50 bytes"));
    EXPECT_THAT(m_texts[EventKind::Log], Contains("document <a/>"));
    EXPECT_THAT(m_texts[EventKind::Error], IsEmpty());
    EXPECT_EQ(m_core->Heartbeats().received, m_core->Heartbeats().returned);
}

TEST_F(HostCore, WithholdsHeartbeatsAndLinesThatAreNotWanted)
{
    m_returns = false;
    Start(50);
    ASSERT_TRUE(AdvanceUntil([this] { return m_core->Heartbeats().received >= 2; }));
    EXPECT_TRUE(Stop());
    EXPECT_EQ(m_core->Heartbeats().returned, 0U);
    EXPECT_THAT(m_texts[EventKind::Log], Contains("FAKE: scan gave 50 bytes"));
    EXPECT_THAT(m_texts[EventKind::Log], Not(Contains(HasSubstr("FAKE: running"))));
}

TEST_F(HostCore, StopsWhileAProgramRuns)
{
    Start(0, 1h);
    ASSERT_TRUE(AdvanceUntil([this] { return !m_texts[EventKind::Opened].empty(); }));
    EXPECT_TRUE(Stop());
    EXPECT_THAT(m_texts[EventKind::ProgramOutput], IsEmpty());
    EXPECT_THAT(m_texts[EventKind::Error], IsEmpty());
}

struct BufferFault
{
    const char* document;
    const char* fault;
};

class HostCoreBuffers : public HostCore, public testing::WithParamInterface<BufferFault>
{
};

TEST_P(HostCoreBuffers, AreAccountedFor)
{
    Start();
    ASSERT_TRUE(AdvanceUntil([this] { return !m_texts[EventKind::StatusDocument].empty(); }));
    m_core->SendRequest("good");
    m_core->SendRequest(GetParam().document);
    m_core->SendConfig("good as well");
    ASSERT_TRUE(AdvanceUntil([this] { return m_texts[EventKind::Log].back() == "document good as well"; }));
    EXPECT_TRUE(Stop());
    EXPECT_THAT(m_texts[EventKind::Error], ElementsAre(GetParam().fault));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, HostCoreBuffers,
    testing::Values(BufferFault{"never", "the plug-in never gave back a buffer of 5 bytes"},
                    BufferFault{"twice", "the plug-in gave back a buffer of 5 bytes a second time"},
                    BufferFault{"unasked", "the plug-in gave back a buffer that was never lent"}),
    [](const auto& test) { return std::string(test.param.document); });

TEST(BufferBook, ABufferMayComeBackBeforeItIsSettled)
{
    CBufferBook book;
    char* const kept = book.Lend("kept");
    EXPECT_EQ(std::string(kept, 4), "kept");
    book.TakeBack(kept);
    book.Settle(kept, true);
    char* const refused = book.Lend("refused");
    book.TakeBack(refused);
    book.Settle(refused, false);
    EXPECT_EQ(book.LentNow(), 0U);
    EXPECT_THAT(book.Close(), ElementsAre("the plug-in gave back a buffer of 7 bytes that it had not kept"));
}

TEST(Plugin, ALibraryThatIsNoneIsRefusedWithAReason)
{
    std::string error;
    EXPECT_FALSE(CPlugin::Open("./no-such-library.so", error));
    EXPECT_THAT(error, HasSubstr("no-such-library"));
    EXPECT_FALSE(CPlugin::Open("libm.so.6", error));
    EXPECT_THAT(error, HasSubstr("Load"));
}

TEST(StartCheck, WantsEveryScannedDiskThatThePluginDoesNotIgnore)
{
    CStartCheck check;
    check.NoteScan(R"({"smartctl":{"name":"no device"},"devices":[{"name" : "/dev/sda","type":"sat"},)"
                   R"({"name":"/dev/sdb","info_name":"/dev/sdb [SAT]"},{"name":"/dev/bus/0"}]})");
    check.NoteLog("SMARTCTL: ignore /dev/bus/0 (LSI RAID pseudo-device)");
    Picture picture;
    picture.documents.modulesSeen = true;
    picture.documents.storageSeen = true;
    picture.documents.status = 1;
    for (const char* name : {"/dev/sda", "/dev/sdb"})
    {
        picture.disks.emplace_back();
        picture.disks.back().name = name;
    }
    picture.disks[0].hasStatus = true;
    EXPECT_THAT(check.Missing(picture), ElementsAre("the state of disk /dev/sdb, which the scan shows"));
    picture.disks[1].hasStatus = true;
    EXPECT_THAT(check.Missing(picture), IsEmpty());
    picture.chip.name = "a chip";
    EXPECT_THAT(check.Missing(picture), ElementsAre("the sensors of the board's chip"));
    picture.settings.sensorStatus = 3;
    EXPECT_THAT(check.Missing(picture), IsEmpty());
    EXPECT_THAT(check.Missing({}), Contains("the module document"));
}

// A host around the fake plug-in, at a hundred times the speed.
class Session : public FakePluginHost
{
protected:
    Session()
    {
        simtime::UseScaled(100);
        m_options.once = true;
        std::string error;
        m_control = CControlServer::Listen(m_folder.File("s"), error);
        EXPECT_TRUE(m_control) << error;
    }

    SessionEnd Live(CSession& session)
    {
        MakeCore(0, 0ms);
        const SessionEnd end = session.Run(*m_core);
        m_launcher.reset();
        m_core.reset();
        return end;
    }

    CTempDir m_folder;
    HostOptions m_options;
    CPortTrace m_trace;
    std::ostringstream m_out;
    CLineView m_view{m_out};
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
