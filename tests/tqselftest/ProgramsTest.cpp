#include "tqselftest/Programs.h"

#include "tests/support/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>

using namespace std::chrono_literals;
using namespace tqselftest;
using testing::HasSubstr;

namespace
{
std::vector<std::string> Shell(const std::string& script)
{
    return {"/bin/sh", "-c", script};
}

// The program itself, below a host that ignores its children's ends, with this smartctl in its folder.
ProgramResult RunTool(const std::string& smartctl, const std::string& command)
{
    const CTempDir folder;
    std::filesystem::permissions(folder.Write("smartctl", "#!/bin/sh\n" + smartctl + "\n"),
                                 std::filesystem::perms::owner_all);
    return RunPrograms(
               {{"env", "--ignore-signal=CHLD", "-C", folder.Path().string(), TQSELFTEST, "-c", command}}, {})
        .front();
}
} // namespace

TEST(Programs, ResultsStandInTheOrderOfTheCommands)
{
    const auto results = RunPrograms({Shell("echo one; echo no >&2; exit 4"),
                                      {"no-such-program"},
                                      Shell("read line; echo got:$line"),
                                      Shell("kill -9 $$")},
                                     {.atATime = 2});
    ASSERT_EQ(results.size(), 4U);
    EXPECT_EQ(results[0].output, "one\n");
    EXPECT_EQ(results[0].exitCode, 4);
    EXPECT_THAT(results[1].error, HasSubstr("No such file"));
    EXPECT_FALSE(results[1].isStarted);
    EXPECT_EQ(results[2].output, "got:\n"); // its input is empty
    EXPECT_EQ(results[3].error, "killed by signal 9");
    EXPECT_EQ(results[3].exitCode, -1);
}

// Each of the sleepers would hold the run up for an hour.
TEST(Programs, ASlowOneIsKilledAndTheOthersGoOn)
{
    const auto results = RunPrograms({{"sleep", "3600"}, Shell("echo fine"), {"sleep", "3600"}},
                                     {.each = 300ms, .atATime = 2});
    EXPECT_EQ(results[0].error, "took too long");
    EXPECT_EQ(results[1].output, "fine\n");
    EXPECT_EQ(results[2].error, "took too long");
}

TEST(Programs, NothingBeginsAfterTheLimitForAll)
{
    const auto results =
        RunPrograms({{"sleep", "3600"}, Shell("echo fine")}, {.each = 1h, .all = 200ms, .atATime = 1});
    EXPECT_EQ(results[0].error, "took too long");
    EXPECT_EQ(results[1].error, "not begun, the time is up");
}

TEST(Programs, OutputIsBounded)
{
    const std::string much = "head -c 200000 /dev/zero";
    const auto results = RunPrograms({Shell(much), Shell(much)}, {.output = 200'000});
    EXPECT_EQ(results[0].output.size(), 200'000U);
    EXPECT_EQ(RunPrograms({Shell(much)}, {.output = 199'999})[0].error, "printed too much");
}

// The system takes the ends up then: neither waiting for the limit nor a kill of whatever has the number by
// now.
TEST(Programs, WithChildrensEndsIgnoredNothingWaits)
{
    std::signal(SIGCHLD, SIG_IGN);
    const auto results = RunPrograms({Shell("echo one"), Shell("echo two")}, {.each = 20s});
    std::signal(SIGCHLD, SIG_DFL);
    EXPECT_EQ(results[0].error, "its exit status is lost");
    EXPECT_EQ(results[1].error, "its exit status is lost");
}

TEST(Tool, TakesUpChildrensEndsWhateverTheHostLeft)
{
    const ProgramResult report = RunTool(R"(echo '{"smartctl":{}}')", "report");
    EXPECT_EQ(report.exitCode, 0);
    EXPECT_THAT(report.output, HasSubstr("<SelfTests>"));
}

TEST(Tool, AFailedRunPrintsItsReason)
{
    EXPECT_EQ(RunTool("exit 1", "report").output, "./smartctl --scan: its answer cannot be read\n");
    EXPECT_EQ(RunTool("exit 1", "repair").output, "unknown command \"repair\"\n");
}

// A child that lives on with the pipe in its hands must not hold the run up.
TEST(Programs, TheEndOfTheProgramCounts)
{
    const auto results = RunPrograms({Shell("sleep 20 & echo done")}, {.each = 10s});
    EXPECT_EQ(results[0].error, "");
    EXPECT_EQ(results[0].output, "done\n");
}
