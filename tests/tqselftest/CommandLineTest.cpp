#include "tqselftest/CommandLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace tqselftest;

TEST(CommandLine, TakesItsWordsInAnyOrder)
{
    const CommandLine line = ParseCommandLine({"-x", "-d", "/dev/sda", "-c", "startlong"});
    EXPECT_EQ(line.error, "");
    EXPECT_EQ(line.command, Command::StartLong);
    EXPECT_EQ(line.drive, "/dev/sda");
    EXPECT_TRUE(line.trace);
    EXPECT_EQ(ParseCommandLine({"-c", "report"}).command, Command::Report);
    EXPECT_FALSE(ParseCommandLine({"-c", "report"}).drive);
    EXPECT_EQ(ParseCommandLine({"-v", "-x"}).error, "");
}

TEST(CommandLine, RefusesTheRest)
{
    const std::vector<std::vector<std::string>> wrong = {
        {},
        {"-c"},
        {"-c", "startmedium"},
        {"-c", "stop", "-c", "stop"},
        {"-d", "/dev/sda"},
        {"-c", "stop", "-d"},
        {"-c", "stop", "-d", "/dev/sda", "-d", "/dev/sdb"},
        {"-c", "stop", "-d", "--device=/dev/sda"}, // would be an option of smartctl
        {"-c", "stop", "-d", ""},
        {"-c", "stop", "-d", "/dev/sd a"},
        {"-c", "stop", "/dev/sda"},
        {"-v", "-d", "/dev/sda"},
        {"-v", "-c", "stop"},
        {"--help"},
    };
    for (const auto& words : wrong)
    {
        EXPECT_NE(ParseCommandLine(words).error, "") << testing::PrintToString(words);
    }
}
