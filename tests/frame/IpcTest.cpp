#include "frame/Ipc.h"

#include "frame/HostMessage.h"
#include "tests/support/FakeHost.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <future>

using namespace tq::ipc;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
using Process = std::shared_ptr<client>;

bool Reply(std::uint32_t id, std::uint32_t kind, std::uint32_t value, const std::string& payload = {})
{
    const std::string frame = IpcFrame(id, kind, value, payload);
    return HandleIpcReply(frame.data(), frame.size());
}

// The bare link: frames out are queued, frames in are made by the test.
class IpcLink : public testing::Test
{
protected:
    IpcLink()
    {
        InstallSender(kPluginId,
                      [this](const void* frame, std::size_t length)
                      {
                          const std::lock_guard lock(m_mutex);
                          std::memcpy(&m_lastId, static_cast<const char*>(frame) + 4, sizeof m_lastId);
                          if (m_keeping)
                          {
                              m_sent.emplace_back(static_cast<const char*>(frame), length);
                              m_changed.notify_all();
                          }
                          return m_taking;
                      });
    }
    ~IpcLink() override
    {
        CloseIpc(true);
        InstallSender(kPluginId, nullptr);
    }

    // The next frame sent, waited for.
    std::string NextFrame()
    {
        std::unique_lock lock(m_mutex);
        if (!m_changed.wait_for(lock, std::chrono::seconds(20), [this] { return !m_sent.empty(); }))
        {
            ADD_FAILURE() << "no frame sent";
            return IpcFrame(0, 0, 0);
        }
        std::string frame = m_sent.front();
        m_sent.erase(m_sent.begin());
        return frame;
    }

    static std::future<Process> Begin(const std::vector<std::string>& argv, unsigned options = kOptionField1)
    {
        return std::async(std::launch::async,
                          [argv, options] { return StartProcess(argv, options, {}, {}); });
    }

    // Starts a program and answers that it runs.
    Process Run()
    {
        auto begun = Begin({"x"});
        NextFrame();
        EXPECT_TRUE(Reply(m_lastId, 3, 4711));
        return begun.get();
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::string> m_sent;
    std::uint32_t m_lastId = 0; // of the frames sent
    bool m_taking = true;
    bool m_keeping = true;
};

TEST_F(IpcLink, ExecFrameHasTheseBytes)
{
    auto begun = Begin({"./smartctl", "-j", ""});
    const std::string frame = NextFrame();
    EXPECT_EQ(frame, std::string("\x1F\0\0\0"
                                 "\x01\0\x70\x03"
                                 "\x06\0\0\0"
                                 "\x0A\0\0\0"
                                 "\0./smartctl\0-j\0",
                                 31));
    EXPECT_TRUE(Reply(m_lastId, 3, 99));
    EXPECT_EQ(begun.get()->State(), ClientState::Running);
}

TEST_F(IpcLink, OptionsBecomeFlags)
{
    m_taking = false;
    const std::tuple<unsigned, char, std::string> cases[] = {{0, 0x02, "p"},
                                                             {kOptionFlag01, 0x03, "p"},
                                                             {kOptionFlag04InsteadOf02, 0x04, "p"},
                                                             {7, 0x0D, std::string("f\0p", 3)}};
    for (const auto& [options, flags, payload] : cases)
    {
        StartProcess({"p"}, options, "f", "g");
        const std::string frame = NextFrame();
        EXPECT_EQ(frame[12], flags);
        EXPECT_EQ(frame.substr(16), payload);
    }
    StartProcessWithFlags({"p", "q"}, 0x18, "f", "");
    EXPECT_EQ(NextFrame().substr(16), std::string("f\0\0p\0q", 6));
}

// The ids count on also for requests that fail, wrap at 20 bits and leave out those in use.
TEST_F(IpcLink, IdsWrapAndSkipThoseInUse)
{
    const Process running = Run();
    EXPECT_EQ(m_lastId, 0x3700001U);

    m_taking = false;
    m_keeping = false;
    int attempts = 0;
    for (const std::uint32_t expected : {0x3700002U, 0x37FFFFFU, 0x3700000U, 0x3700002U, 0x3700003U})
    {
        for (; m_lastId != expected && attempts < 0x100004; ++attempts)
        {
            StartProcess({"x"}, 0, {}, {});
        }
        EXPECT_EQ(m_lastId, expected);
    }
    EXPECT_EQ(attempts, 0xFFFFE + 3); // 2 to the last, 0, 2, 3
}

TEST_F(IpcLink, UnsendableRequestsFail)
{
    EXPECT_TRUE(StartProcess({}, kOptionField1, {}, {})->HasFailed());
    EXPECT_THAT(m_sent, IsEmpty());

    // The longest frame that may be sent, and one byte more.
    m_taking = false;
    StartProcess({"p", std::string(65517, 'x')}, kOptionField1, {}, {});
    EXPECT_EQ(NextFrame().size(), 65536U);
    const Process tooLong = StartProcess({"p", std::string(65518, 'x')}, kOptionField1, {}, {});
    EXPECT_TRUE(tooLong->HasFailed());
    EXPECT_EQ(tooLong->Status(), 0);
    EXPECT_THAT(m_sent, IsEmpty());

    // One the host does not take leaves no open request behind.
    EXPECT_TRUE(StartProcess({"p"}, kOptionField1, {}, {})->HasFailed());
    NextFrame();
    EXPECT_FALSE(Reply(m_lastId, 3, 0));
}

TEST_F(IpcLink, StartErrorIsFinal)
{
    auto begun = Begin({"x"});
    NextFrame();
    const std::uint32_t id = m_lastId;
    EXPECT_TRUE(Reply(id, 4, ENOENT));
    const Process process = begun.get();
    EXPECT_TRUE(process->HasFailed());
    EXPECT_EQ(process->Status(), ENOENT);
    EXPECT_FALSE(Reply(id, 3, 0));
    EXPECT_TRUE(process->HasFailed());
}

TEST_F(IpcLink, OutputLosesCarriageReturnsOnly)
{
    const Process process = Run();
    const std::uint32_t id = m_lastId;
    for (const std::string& piece :
         {std::string("a\r"), std::string("\nb\r\rc\0d", 7), std::string(), std::string("\r\n")})
    {
        EXPECT_TRUE(Reply(id, 1, 0, piece));
    }
    // The length given with the frame counts, not the one inside.
    std::string lying = IpcFrame(id, 2, 0, "err");
    lying[0] = 16;
    EXPECT_TRUE(HandleIpcReply(lying.data(), lying.size()));
    EXPECT_TRUE(Reply(id, 5, 0x0009));
    EXPECT_EQ(process->WaitForExit(), 9);
    EXPECT_EQ(process->StandardOutput(), std::string("a\nbc\0d\n", 7));
    std::string line;
    EXPECT_TRUE(process->ReadLine(kStandardError, line));
    EXPECT_EQ(line, "err");
    EXPECT_FALSE(Reply(id, 1, 0, "late"));
    EXPECT_EQ(process->StandardOutput().size(), 7U);
}

TEST_F(IpcLink, BadFramesAreRefused)
{
    const Process process = Run();
    const std::uint32_t id = m_lastId;
    const std::string good = IpcFrame(id, 5, 1);
    EXPECT_FALSE(HandleIpcReply(nullptr, 0));
    EXPECT_FALSE(HandleIpcReply(good.data(), 15));
    EXPECT_FALSE(Reply(id + 1, 5, 1));
    for (const std::uint32_t kind : {0U, 6U, 7U, 0x10005U, 0xFFFFFFFFU})
    {
        EXPECT_FALSE(Reply(id, kind, 1)) << kind;
    }
    EXPECT_EQ(process->State(), ClientState::Running);
}

TEST_F(IpcLink, ReadLineWaitsForWholeLines)
{
    const Process process = Run();
    const std::uint32_t id = m_lastId;
    auto lines = std::async(std::launch::async,
                            [process]
                            {
                                std::vector<std::string> all;
                                std::string line;
                                while (process->ReadLine(kStandardOutput, line))
                                {
                                    all.push_back(line);
                                }
                                return all;
                            });
    for (const char* piece : {"on", "e\n\ntw", "o\nrest", " of it"})
    {
        EXPECT_TRUE(Reply(id, 1, 0, piece));
    }
    EXPECT_TRUE(Reply(id, 5, 0));
    EXPECT_THAT(lines.get(), ElementsAre("one", "", "two", "rest of it"));
}

TEST_F(IpcLink, ClosingEndsEveryWait)
{
    const Process running = Run();
    const std::uint32_t id = m_lastId;
    auto exit = std::async(std::launch::async, [running] { return running->WaitForExit(); });
    auto begun = Begin({"y"});
    NextFrame();

    CloseIpc(true);
    EXPECT_EQ(exit.get(), 0);
    EXPECT_EQ(running->State(), ClientState::Exited);
    const Process waiting = begun.get();
    EXPECT_TRUE(waiting->HasFailed());
    EXPECT_EQ(waiting->Status(), 0);

    EXPECT_FALSE(Reply(id, 5, 0x100));
    EXPECT_EQ(running->Status(), 0);
    EXPECT_TRUE(StartProcess({"z"}, kOptionField1, {}, {})->HasFailed());
    EXPECT_THAT(m_sent, IsEmpty());
}

class IpcRunCommand : public testing::Test
{
protected:
    ~IpcRunCommand() override { SetCommandLineLogging(false); }

    CFakeHost m_host;
};

TEST_F(IpcRunCommand, FailedStartIsLogged)
{
    EXPECT_TRUE(RunCommand("./x", {"a b", ""}, "label")->HasFailed());
    EXPECT_THAT(m_host.LogTexts(50),
                ElementsAre("Failure (No such file or directory) on '\"./x\" \"a b\" \"\"'"));
    m_host.Forget();
    CloseIpc(true);
    EXPECT_EQ(RunCommand("./x", {}, nullptr)->Status(), 0);
    EXPECT_THAT(m_host.LogTexts(50), ElementsAre("Failure (Success) on '\"./x\"'"));
    EXPECT_THAT(m_host.Programs(), IsEmpty());
}

TEST_F(IpcRunCommand, CommandLinesAreLoggedOnRequest)
{
    m_host.OnProgram({"./x", "1"}, {});
    RunCommand("./x", {"1"}, "label");
    EXPECT_THAT(m_host.LogTexts(), IsEmpty());
    SetCommandLineLogging(true);
    RunCommand("./x", {"1"}, "label");
    RunCommand("./x", {"1"}, nullptr)->WaitForExit();
    EXPECT_THAT(m_host.LogTexts(25), ElementsAre("\"./x\" \"1\" [label]", "\"./x\" \"1\""));
}

struct ExitCase
{
    CFakeHost::Answer answer;
    std::vector<std::string> log;
};

TEST_F(IpcRunCommand, ALabelledRunLogsAFailingExit)
{
    const ExitCase cases[] = {
        {{.output = "fine\n"}, {}},
        {{.output = "Tool 1.0\r\n(C) CopyRight 2020\r\n\r\nbad option", .exitCode = 2},
         {"Error 2 on 'tool': Tool 1.0\n\nbad option\n"}}, // without the banner
        {{.output = "COPYRIGHT\n", .errorOutput = "not shown", .exitCode = 255}, {"Error 255 on 'tool'"}},
        {{.signal = 9}, {"Error 2304 on 'tool'"}},
    };
    for (const ExitCase& row : cases)
    {
        m_host.Forget();
        m_host.OnProgram({"./x"}, row.answer);
        EXPECT_EQ(RunCommand("./x", {}, "tool")->State(), ClientState::Exited);
        EXPECT_EQ(m_host.LogTexts(50), row.log);
    }
}

TEST_F(IpcRunCommand, WithoutLabelReturnsWhileTheProcessRuns)
{
    m_host.OnProgram({"./x"}, {.output = "half", .hang = true});
    const Process process = RunCommand("./x", {}, nullptr);
    EXPECT_EQ(process->State(), ClientState::Running);
    auto exit = std::async(std::launch::async, [process] { return process->WaitForExit(); });
    ASSERT_TRUE(m_host.WaitForHanging(1));
    EXPECT_EQ(m_host.EndHanging(1), 1);
    EXPECT_EQ(ExitCode(exit.get()), 1);
    EXPECT_EQ(process->StandardOutput(), "half");
    EXPECT_THAT(m_host.LogTexts(), IsEmpty());
}

// More than a frame holds, from two threads: each gets its own.
TEST_F(IpcRunCommand, ThreadsDoNotMixTheirPrograms)
{
    const auto run = [](const std::string& name)
    {
        for (int i = 0; i < 50; ++i)
        {
            EXPECT_EQ(RunCommand(name.c_str(), {}, "tool")->StandardOutput(), std::string(100000, name[0]));
        }
    };
    m_host.OnProgram({"a"}, {.output = std::string(100000, 'a')});
    m_host.OnProgram({"b"}, {.output = std::string(100000, 'b')});
    std::thread other(run, "a");
    run("b");
    other.join();
}
} // namespace
