// Self-tests and drive preparation on the simulated appliance, as the tools tell of them.
#include "SimTestSupport.h"
#include "tests/support/CaseName.h"

#include <gtest/gtest.h>
#include <tinyxml.h>

#include <array>

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace
{
sim::ProgramRun Tool(sim::CAppliance& appliance, const std::string& command, const std::string& device,
                     sim::SimTime now)
{
    const std::string target = device.empty() ? "" : " -d " + device;
    return Call(appliance, "./tqselftest -c " + command + target, now);
}

// What the report says of a disk: "1 -70" in progress with 70 percent left, else "STATUS: ID/STATUSCODE@LBA
// ...".
std::string State(sim::CAppliance& appliance, const std::string& device, sim::SimTime now)
{
    const auto run = Tool(appliance, "report", "", now);
    TiXmlDocument document;
    document.Parse(run.standardOutput.c_str());
    if (document.Error() || document.RootElement() == nullptr || run.waitStatus != 0)
    {
        return "no report";
    }
    for (const auto* disk = document.RootElement()->FirstChildElement("Disk"); disk != nullptr;
         disk = disk->NextSiblingElement("Disk"))
    {
        if (disk->Attribute("Name") != device)
        {
            continue;
        }
        std::string state = disk->Attribute("SelfTestStatus");
        if (const char* remaining = disk->Attribute("PcRemain"))
        {
            return state + " -" + remaining;
        }
        state += ":";
        for (const auto* report = disk->FirstChildElement("Report"); report != nullptr;
             report = report->NextSiblingElement("Report"))
        {
            const char* lba = report->Attribute("FailLBA");
            state += std::string(" ") + report->Attribute("ID") + "/" + report->Attribute("StatusCode") +
                     (lba != nullptr ? std::string("@") + lba : "");
        }
        return state;
    }
    return "not listed";
}

struct CourseCase
{
    const char* name;
    const char* fate; // a scenario line for /dev/sdf, whose log is empty
    const char* command;
    sim::SimTime time;
    const char* state;
};

const auto kCourseCases = std::to_array<CourseCase>({
    {"StartsAtNinety", "", "startshort", 0s, "1 -90"},
    {"GrowsInTens", "", "startshort", 61s, "1 -40"},
    {"IsThereToTheLastInstant", "", "startshort", 119'999ms, "1 -0"},
    {"Passes", "", "startshort", 120s, "2: 1/2"},
    {"FailsHalfWay", "fails at 7000000000", "startshort", 60s, "3: 1/3@7000000000"},
    {"RunsUntilItFails", "fails at 7000000000", "startshort", 59'999ms, "1 -50"},
    {"LongFailsAtItsBlock", "fails at 7814026584", "startlong", 414min, "3: 1/3@7814026584"},
    {"LongRunsUntilItsBlock", "fails at 7814026584", "startlong", 413min, "1 -50"},
    {"Sticks", "sticks", "startshort", 100h, "1 -60"},
    {"StuckOneBeginsLikeAnyOther", "sticks", "startshort", 30s, "1 -70"},
    {"CanBePassedAgain", "fails at 5\nat 0s disk /dev/sdf selftest passes", "startshort", 120s, "2: 1/2"},
});

using SelfTestCourse = testing::TestWithParam<CourseCase>;

struct PrepCase
{
    const char* name;
    const char* scenario;
    const char* serial;
    int exitCode;
    const char* output;
    const char* drive; // a part of what the system information says afterwards
};

constexpr auto kPrepCases = std::to_array<PrepCase>({
    {"NewDrive", "", "M8T-5A01F6", 0, "partition\nformat\nmount\n",
     "drive-serial=M8T-5A01F6\ndrive-partitions=1\ndrive-removable=0\ndrive-fspath=/mnt/data3\n"
     "drive-fstype=xfs\ndrive-needs-prep=0\n"},
    {"PartitionFails", "at 0s disk /dev/sdf prep fails partition", "M8T-5A01F6", 1, "partition\n",
     "drive-serial=M8T-5A01F6\ndrive-partitions=0\ndrive-removable=0\ndrive-fspath=\ndrive-fstype=\n"
     "drive-needs-prep=1\n"},
    {"FormatFails", "at 0s disk /dev/sdf prep fails format", "M8T-5A01F6", 1, "partition\nformat\n",
     "drive-serial=M8T-5A01F6\ndrive-partitions=0\ndrive-removable=0\ndrive-fspath=\ndrive-fstype=\n"
     "drive-needs-prep=1\n"},
    {"MountFails", "at 0s disk /dev/sdf prep fails mount", "M8T-5A01F6", 1, "partition\nformat\nmount\n",
     "drive-serial=M8T-5A01F6\ndrive-partitions=1\ndrive-removable=0\ndrive-fspath=\ndrive-fstype=xfs\n"
     "drive-needs-prep=1\n"},
    {"DriveInUse", "", "M8T-2C11B1", 3, "", "drive-fspath=/mnt/data1\n"},
    {"DriveWithData", "", "M8T-2C1209", 3, "", "drive-serial=M8T-2C1209\ndrive-partitions=1\n"},
    {"PulledDrive", "at 0s disk /dev/sdf pull", "M8T-5A01F6", 3, "", ""},
    {"UnknownDrive", "", "M8T-5A01F", 3, "", ""},
});

using DrivePreparation = testing::TestWithParam<PrepCase>;
} // namespace

TEST_P(SelfTestCourse, IsReported)
{
    const std::string fate = GetParam().fate;
    const auto appliance = Play(fate.empty() ? "" : "at 0s disk /dev/sdf selftest " + fate);
    EXPECT_EQ(State(*appliance, "/dev/sdf", 0s), "0:");
    ASSERT_EQ(Tool(*appliance, GetParam().command, "/dev/sdf", 0s).waitStatus, 0);
    EXPECT_EQ(State(*appliance, "/dev/sdf", GetParam().time), GetParam().state);
}

INSTANTIATE_TEST_SUITE_P(Cases, SelfTestCourse, testing::ValuesIn(kCourseCases), kByName);

TEST(SelfTestTool, OneTestAtATimeAndTheNewestFirst)
{
    const auto appliance = Play("at 2m disk /dev/sdf selftest fails at 99\nat 3m disk /dev/sdf pull\n"
                                "at 3m disk /dev/sdf plug");
    EXPECT_EQ(Tool(*appliance, "startshort", "/dev/sdf", 0s).waitStatus, 0);
    EXPECT_EQ(Tool(*appliance, "startlong", "/dev/sdf", 119s).waitStatus, 1 << 8);
    EXPECT_EQ(Tool(*appliance, "startshort", "/dev/sdf", 120s).waitStatus, 0);
    appliance->Advance(2min);
    EXPECT_EQ(Tool(*appliance, "stop", "/dev/sdf", 130s).waitStatus, 0);
    EXPECT_EQ(State(*appliance, "/dev/sdf", 130s), "4: 1/4 2/2");
    EXPECT_EQ(Tool(*appliance, "stop", "/dev/sdf", 131s).waitStatus, 0); // nothing to stop
    EXPECT_EQ(Tool(*appliance, "startshort", "/dev/sdf", 140s).waitStatus, 0);
    appliance->Advance(3min); // pulled out while it runs
    EXPECT_EQ(State(*appliance, "/dev/sdf", 1h), "4: 1/4 2/4 3/2");
    for (int hour = 2; hour < 32; ++hour)
    {
        Tool(*appliance, "startshort", "/dev/sdf", std::chrono::hours(hour));
    }
    EXPECT_THAT(State(*appliance, "/dev/sdf", 40h), testing::EndsWith(" 20/3@99 21/3@99"));
}

TEST(SelfTestTool, AllMeansTheDrivesThatCan)
{
    const auto appliance = Play("at 0s disk /dev/sdc selftest unsupported\nat 0s disk /dev/sdd pull");
    const auto run = Tool(*appliance, "startshort", "", 0s);
    EXPECT_EQ(run.waitStatus, 0);
    EXPECT_EQ(run.standardError, "tqselftest: /dev/sdc: no self-tests\n");
    EXPECT_EQ(State(*appliance, "/dev/sda", 1s), "1 -90");
    EXPECT_EQ(State(*appliance, "/dev/sdb", 1s), "1 -90");
    EXPECT_EQ(State(*appliance, "/dev/sdc", 1s), "0:");
    EXPECT_EQ(State(*appliance, "/dev/sdd", 1s), "not listed");
    EXPECT_EQ(State(*appliance, "/dev/sdg", 1s), "not listed");
    EXPECT_EQ(State(*appliance, "/dev/nvme0", 1s), "0:");
}

TEST(SelfTestTool, WhatCannotBeDoneFails)
{
    const auto appliance = Play("");
    for (const char* device : {"/dev/nvme0", "/dev/sdg", "/dev/sdz"})
    {
        EXPECT_EQ(Tool(*appliance, "startshort", device, 0s).waitStatus, 1 << 8) << device;
    }
    EXPECT_EQ(Tool(*appliance, "startmedium", "", 0s).waitStatus, 2 << 8);
    EXPECT_EQ(Call(*appliance, "./tqselftest -c").waitStatus, 2 << 8);
    EXPECT_EQ(Call(*appliance, "./tqselftest -v").standardOutput, "tqselftest: 26.1.7\n");
    const auto garbage = Play("at 0s tool tqselftest garbage");
    EXPECT_EQ(State(*garbage, "/dev/sda", 0s), "no report");
    EXPECT_THAT(Call(*garbage, "./tqselftest -v").standardOutput, Not(HasSubstr(": ")));
}

TEST(SelfTestTool, ARunThatFailsDoesNothing)
{
    const auto appliance = Play("at 0s tool tqselftest fail 1 once\nat 0s tool driveprep missing once");
    EXPECT_EQ(Tool(*appliance, "startshort", "", 0s).waitStatus, 1 << 8);
    EXPECT_EQ(State(*appliance, "/dev/sdf", 1s), "0:");
    Call(*appliance, "scripts/driveprep.sh prep M8T-5A01F6", 0s);
    EXPECT_THAT(appliance->Advance(1min), ElementsAre());
}

// smartctl tells of the same tests as the tool.
TEST(SelfTestInSmartctl, StatusLogAndExitBit)
{
    const auto appliance = Play("at 0s disk /dev/sdf selftest fails at 99");
    Tool(*appliance, "startshort", "/dev/sdf", 0s);
    EXPECT_THAT(Report(*appliance, "/dev/sdf", 31s), Includes(R"({"smartctl": {"exit_status": 0},
        "ata_smart_data": {"self_test": {"status": {"value": 247}}},
        "ata_smart_self_test_log": {"standard": {"count": 0}}})"_json));
    const auto report = Report(*appliance, "/dev/sdf", 1min);
    EXPECT_THAT(report, Includes(R"({"smartctl": {"exit_status": 128},
        "ata_smart_data": {"self_test": {"status": {"value": 117}}}})"_json));
    EXPECT_EQ(report.at("/ata_smart_self_test_log/standard/table/0/lba"_json_pointer), 99);
    // A long test that passes makes the failure void.
    appliance->Advance(1min);
    const auto later = Play("at 1m disk /dev/sdf selftest passes");
    Tool(*later, "startlong", "", 2min);
    EXPECT_EQ(Report(*later, "/dev/sdf", 24h)["smartctl"]["exit_status"], 0);
    EXPECT_FALSE(Report(*appliance, "/dev/nvme0", 0s).contains("ata_smart_data"));
}

TEST_P(DrivePreparation, TellsItsStagesAndChangesTheDrive)
{
    const auto appliance = Play(GetParam().scenario);
    const auto run = Call(*appliance, std::string("scripts/driveprep.sh prep ") + GetParam().serial);
    EXPECT_EQ(run.waitStatus, GetParam().exitCode << 8);
    EXPECT_EQ(run.standardOutput, GetParam().output);
    EXPECT_EQ(run.standardError.empty(), run.waitStatus == 0);
    EXPECT_THAT(Call(*appliance, "scripts/sysinfo.sh", run.duration).standardOutput,
                HasSubstr(GetParam().drive));
}

INSTANTIATE_TEST_SUITE_P(Cases, DrivePreparation, testing::ValuesIn(kPrepCases), kByName);

TEST(DrivePreparationStages, AreToldAtTheirTimes)
{
    const auto appliance = Play("at 10s note between\nat 14s end");
    const auto run = Call(*appliance, "scripts/driveprep.sh prep M8T-5A01F6", 1s);
    EXPECT_EQ(run.duration, 13s);
    EXPECT_THAT(appliance->Advance(3'999ms), ElementsAre("driveprep.sh /dev/sdf: partition"));
    EXPECT_THAT(appliance->Advance(1min), ElementsAre("driveprep.sh /dev/sdf: format", "at 10s note between",
                                                      "driveprep.sh /dev/sdf: mount", "at 14s end"));
}

TEST(DrivePreparationStages, ASecondRunGoesOnWhereTheFirstFailed)
{
    const auto appliance =
        Play("at 0s disk /dev/sdf prep fails format\nat 1m disk /dev/sdf prep fails mount");
    const auto prepare = [&appliance](sim::SimTime now)
    { return Call(*appliance, "scripts/driveprep.sh prep M8T-5A01F6", now); };
    EXPECT_EQ(prepare(0s).waitStatus, 1 << 8);
    appliance->Advance(1min);
    EXPECT_EQ(prepare(1min).standardOutput, "partition\nformat\nmount\n");
    EXPECT_EQ(prepare(2min).standardOutput, "mount\n"); // what is formatted is not formatted again
    EXPECT_EQ(prepare(3min).waitStatus, 3 << 8);
}

TEST(SelfTestRequests, AreTheHostsOwnLines)
{
    const auto appliance = Play("at 1s request test short\nat 1s request test stop /dev/sdb\n"
                                "at 1s request prep /dev/sdf\nat 1s request set-schedule long mon,thu 01:30",
                                1s);
    EXPECT_THAT(appliance->TakeRequests(), ElementsAre("test short", "test stop /dev/sdb", "prep /dev/sdf",
                                                       "set-schedule long mon,thu 01:30"));
}
