#include "sim/Appliance.h"

#include "SimTestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tinyxml.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <set>
#include <stdexcept>
#include <thread>

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace
{
const std::vector<std::string> kVersionCommand = {"./smartctl", "-jV"};
const std::vector<std::string> kSysInfoCommand = {"scripts/sysinfo.sh"};

int Temperature(sim::CAppliance& appliance, const std::string& device, sim::SimTime now)
{
    return Report(appliance, device, now).at("temperature").at("current");
}

std::string SysInfo(sim::CAppliance& appliance)
{
    return appliance.Run(kSysInfoCommand, 0s).standardOutput;
}

struct RefusedCase
{
    const char* name;
    const char* scenario;
    const char* error;
};

constexpr auto kRefusedCases = std::to_array<RefusedCase>({
    {"NoSuchDisk", "\nat 1s disk /dev/sdz pull", "line 2: no /dev/sdz"},
    {"NoSuchAttribute", "at 1s disk /dev/sdc attribute 77 value 1", "no attribute 77"},
    {"TemperatureRowIsDerived", "at 1s disk /dev/sdc attribute 194 value 1", "no attribute 194"},
    {"AttributeOfNvme", "at 1s disk /dev/nvme0 attribute 5 value 1", "no attribute 5"},
    {"SpareOfSata", "at 1s disk /dev/sdc spare 1", "no NVMe disk"},
    {"HealthOfUsbStick", "at 1s disk /dev/sdg health failing", "no SMART data"},
    {"NoSuchFan", "at 1s chip fan 6 stop", "the chip has 5 fans"},
    {"NoSuchTemperature", "at 1s chip temperature 3 value 4", "the chip has 2 temperatures"},
    {"SelfTestOfNvme", "at 1s disk /dev/nvme0 selftest sticks", "no self-tests"},
    {"SelfTestBlockBeyondTheEnd", "at 1s disk /dev/sdf selftest fails at 15628053168",
     "no block 15628053168"},
    {"RequestForNoDisk", "at 1s request test short /dev/sdz", "no /dev/sdz"},
});

class ApplianceRefuses : public testing::TestWithParam<RefusedCase>
{
};
} // namespace

TEST_P(ApplianceRefuses, AScenarioItCannotPlay)
{
    std::string error;
    const auto scenario = sim::ParseScenario(GetParam().scenario, error);
    ASSERT_TRUE(scenario) << error;
    try
    {
        sim::CAppliance appliance("plain", scenario);
        FAIL() << "accepted";
    }
    catch (const std::invalid_argument& problem)
    {
        EXPECT_THAT(problem.what(), HasSubstr(GetParam().error));
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, ApplianceRefuses, testing::ValuesIn(kRefusedCases),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(Appliance, UnknownPresetIsRefused)
{
    EXPECT_THROW(sim::CAppliance("plane", std::nullopt), std::invalid_argument);
    EXPECT_THAT(sim::CAppliance::PresetNames(), ElementsAre("plain", "ipmi", "lsi", "adaptec"));
}

TEST(Appliance, LinesTakeEffectAtTheirTimeAndOnce)
{
    const auto appliance = Play("at 10s disk /dev/sdc temperature 58\nat 10s heartbeats withhold\n"
                                "at 20s heartbeats return\nat 20s request refresh\nat 21s request refresh",
                                9'999ms);
    EXPECT_NE(Temperature(*appliance, "/dev/sdc", 9'999ms), 58);
    EXPECT_THAT(appliance->Advance(10s),
                ElementsAre("at 10s disk /dev/sdc temperature 58", "at 10s heartbeats withhold"));
    EXPECT_EQ(Temperature(*appliance, "/dev/sdc", 10s), 58);
    EXPECT_FALSE(appliance->ReturnsHeartbeats());
    EXPECT_THAT(appliance->Advance(15s), ElementsAre());
    EXPECT_THAT(appliance->TakeRequests(), ElementsAre());
    appliance->Advance(30s);
    EXPECT_TRUE(appliance->ReturnsHeartbeats());
    EXPECT_THAT(appliance->TakeRequests(), ElementsAre("refresh", "refresh"));
    EXPECT_THAT(appliance->TakeRequests(), ElementsAre());
}

TEST(Appliance, NothingHappensAfterTheEnd)
{
    const auto appliance = Play("at 1s note so\nat 2s end\nat 2s heartbeats withhold", 1s);
    EXPECT_FALSE(appliance->IsOver());
    EXPECT_THAT(appliance->Advance(60s), ElementsAre("at 2s end"));
    EXPECT_TRUE(appliance->IsOver());
    EXPECT_TRUE(appliance->ReturnsHeartbeats());
}

TEST(Appliance, TemperatureWandersByOneDegreeAroundRest)
{
    const auto appliance = Play("");
    std::set<int> seen;
    for (sim::SimTime now = 0s; now < 5min; now += 10s)
    {
        seen.insert(Temperature(*appliance, "/dev/sdc", now));
    }
    EXPECT_THAT(seen, ElementsAre(38, 39, 40));
}

TEST(Appliance, WarmRampsFromThePresentValue)
{
    const auto appliance =
        Play("at 10s disk /dev/sdc temperature 20\nat 20s disk /dev/sdc warm 60 over 40s", 50s);
    EXPECT_EQ(Temperature(*appliance, "/dev/sdc", 20s), 20);
    EXPECT_EQ(Temperature(*appliance, "/dev/sdc", 21s), 21);
    EXPECT_EQ(Temperature(*appliance, "/dev/sdc", 40s), 40);
    EXPECT_EQ(Temperature(*appliance, "/dev/sdc", 59'999ms), 59);
    EXPECT_EQ(Temperature(*appliance, "/dev/sdc", 1h), 60);
    // A ramp begins at the time of its line, however late the host calls.
    const auto down = Play("at 0s disk /dev/sdc temperature 60\nat 10s disk /dev/sdc warm 20 over 40s", 1min);
    EXPECT_EQ(Temperature(*down, "/dev/sdc", 30s), 40);
    // An instant one does not divide by its length.
    EXPECT_EQ(Temperature(*Play("at 0s disk /dev/sdc warm 60 over 0s"), "/dev/sdc", 0s), 60);
}

TEST(Appliance, PulledDiskIsGoneEverywhereAndComesBack)
{
    const auto appliance = Play("at 1s disk /dev/sdc pull\nat 2s disk /dev/sdc plug", 1s);
    EXPECT_THAT(ScannedDevices(*appliance, 1s), Not(Contains("/dev/sdc")));
    EXPECT_THAT(SysInfo(*appliance), Not(HasSubstr("drive-name=sdc")));
    appliance->Advance(2s);
    EXPECT_THAT(ScannedDevices(*appliance, 2s), Contains("/dev/sdc"));
    EXPECT_THAT(SysInfo(*appliance), HasSubstr("drive-name=sdc"));
}

TEST(Appliance, ReplacedDiskIsNewAndHealthy)
{
    const auto appliance =
        Play("at 1h disk /dev/sdc health failing\nat 1h disk /dev/sdc attribute 5 value 8\n"
             "at 1h disk /dev/sdc pull\nat 2h disk /dev/sdc replace NEW-1",
             2h);
    const auto report = Report(*appliance, "/dev/sdc", 3h);
    EXPECT_EQ(report.at("smartctl").at("exit_status"), 0);
    EXPECT_EQ(report.at("serial_number"), "NEW-1");
    EXPECT_EQ(report.at("model_name"), "Meridian ST-8T");
    EXPECT_EQ(report.at("power_on_time").at("hours"), 1);
    EXPECT_EQ(Attribute(report, 9).at("raw").at("value"), 1);
    EXPECT_THAT(SysInfo(*appliance),
                HasSubstr("drive-index=2\ndrive-name=sdc\ndrive-serial=NEW-1\ndrive-partitions=0\n"
                          "drive-removable=0\ndrive-fspath=\ndrive-fstype=\ndrive-needs-prep=1\n"));
}

TEST(Appliance, NvmeVerbsShowInTheHealthLog)
{
    const auto appliance = Play("at 0s disk /dev/nvme0 spare 8\nat 0s disk /dev/nvme0 media-errors 12\n"
                                "at 0s disk /dev/nvme0 temperature 80");
    const auto report = Report(*appliance, "/dev/nvme0", 0s);
    const auto& log = report.at("nvme_smart_health_information_log");
    EXPECT_EQ(log.at("available_spare"), 8);
    EXPECT_EQ(log.at("available_spare_threshold"), 10);
    EXPECT_EQ(log.at("media_errors"), 12);
    EXPECT_EQ(log.at("temperature"), 80);
    EXPECT_EQ(log.at("critical_warning"), 1);
}

TEST(Appliance, RawValueSetStaysExactAndGrowsOn)
{
    const auto appliance = Play("at 10h disk /dev/sdc attribute 9 value 50 raw 100", 10h);
    EXPECT_EQ(Attribute(Report(*appliance, "/dev/sdc", 10h), 9).at("raw").at("value"), 100);
    EXPECT_EQ(Attribute(Report(*appliance, "/dev/sdc", 12h), 9).at("raw").at("value"), 102);
}

TEST(Appliance, SysInfoDescribesBoardAndDrives)
{
    const auto appliance = Play("");
    const auto run = appliance->Run(kSysInfoCommand, 0s);
    EXPECT_EQ(run.waitStatus, 0);
    EXPECT_EQ(run.duration, 300ms);
    EXPECT_THAT(run.standardOutput, HasSubstr("motherboard-model=TB-470M\n"));
    EXPECT_THAT(
        run.standardOutput,
        HasSubstr("drive-index=1\ndrive-name=sdb\ndrive-serial=M8T-2C11B1\ndrive-partitions=1\n"
                  "drive-removable=0\ndrive-fspath=/mnt/data1\ndrive-fstype=xfs\ndrive-needs-prep=0\n"));
    EXPECT_THAT(run.standardOutput, HasSubstr("drive-name=nvme0n1\n"));
    EXPECT_THAT(run.standardOutput, HasSubstr("drive-name=sdg\ndrive-serial=PB7731\ndrive-partitions=1\n"
                                              "drive-removable=1\n"));
    // The serial numbers are the ones that the reports give: they are what ties the two together.
    for (const char* device : {"/dev/sda", "/dev/sdf", "/dev/nvme0"})
    {
        const std::string serial = Report(*appliance, device, 0s).at("serial_number");
        EXPECT_THAT(run.standardOutput, HasSubstr("drive-serial=" + serial + "\n"));
    }
}

TEST(Appliance, WhatItDoesNotHaveCannotBeStarted)
{
    const auto appliance = Play("");
    for (const std::string program :
         {"smartctl", "storcli", "arcconf", "ipmitool", "tqselftest", "scripts/raidprep.sh"})
    {
        EXPECT_EQ(appliance->Run({program}, 0s).startError, ENOENT) << program;
    }
    EXPECT_EQ(appliance->Run({}, 0s).startError, ENOENT);
}

TEST(Appliance, UsualDurations)
{
    const auto appliance = Play("");
    EXPECT_EQ(appliance->Run({"./smartctl", "-j", "--scan"}, 0s).duration, 50ms);
    EXPECT_EQ(appliance->Run(ReportCommand("/dev/sdc"), 0s).duration, 120ms);
}

TEST(ApplianceFaults, HangAndSlowChangeTheTimeOnly)
{
    const auto usual = Play("")->Run(kVersionCommand, 0s);
    const auto hung = Play("at 0s tool smartctl hang 90s")->Run(kVersionCommand, 0s);
    const auto slow = Play("at 0s tool smartctl slow 2s")->Run(kVersionCommand, 0s);
    EXPECT_EQ(hung.duration, 90s);
    EXPECT_EQ(slow.duration, usual.duration + 2s);
    EXPECT_EQ(hung.standardOutput, usual.standardOutput);
    EXPECT_EQ(slow.standardOutput, usual.standardOutput);
}

TEST(ApplianceFaults, FailGivesItsExitCodeAndAPartOfTheOutput)
{
    const auto appliance = Play("at 0s tool smartctl fail 127\nat 0s tool sysinfo fail 255");
    const auto smartctl = appliance->Run(ReportCommand("/dev/sdc"), 0s);
    EXPECT_EQ(smartctl.waitStatus, 127 << 8);
    EXPECT_EQ(smartctl.standardOutput, "");
    const auto script = appliance->Run(kSysInfoCommand, 0s);
    EXPECT_EQ(script.waitStatus, 255 << 8);
    EXPECT_THAT(script.standardOutput, testing::StartsWith("motherboard-vendor="));
    EXPECT_THAT(script.standardOutput, testing::EndsWith("\n"));
    EXPECT_THAT(script.standardOutput, Not(HasSubstr("drive-name=sdg")));
    EXPECT_NE(script.standardError, "");
}

TEST(ApplianceFaults, CutKeepsTheFirstBytesAndLooksLikeSuccess)
{
    const auto appliance = Play("at 0s disk /dev/sdc health failing\nat 0s tool smartctl cut 100\n"
                                "at 0s tool sysinfo cut 1000000");
    const auto run = appliance->Run(ReportCommand("/dev/sdc"), 0s);
    EXPECT_EQ(run.standardOutput, Play("")->Run(ReportCommand("/dev/sdc"), 0s).standardOutput.substr(0, 100));
    EXPECT_EQ(run.waitStatus, 0);
    EXPECT_EQ(SysInfo(*appliance), SysInfo(*Play("")));
}

TEST(ApplianceFaults, GarbageCannotBeParsed)
{
    const auto appliance = Play("at 0s tool smartctl garbage\nat 0s tool sysinfo garbage");
    const std::vector<std::vector<std::string>> commands = {kVersionCommand,
                                                            {"./smartctl", "-j", "--scan"},
                                                            ReportCommand("/dev/sdc"),
                                                            ReportCommand("/dev/nvme0")};
    for (const auto& command : commands)
    {
        const auto run = appliance->Run(command, 0s);
        EXPECT_FALSE(nlohmann::json::accept(run.standardOutput));
        EXPECT_EQ(run.waitStatus, 0);
    }
    EXPECT_THAT(SysInfo(*appliance), Not(HasSubstr("=")));
}

TEST(ApplianceFaults, MissingToolCannotBeStarted)
{
    const auto run = Play("at 0s tool smartctl missing")->Run(kVersionCommand, 0s);
    EXPECT_EQ(run.startError, ENOENT);
    EXPECT_EQ(run.standardOutput, "");
}

TEST(ApplianceFaults, HoldForOneToolUntilOk)
{
    const auto appliance =
        Play("at 0s tool smartctl garbage\nat 1s tool smartctl missing once\nat 5s tool smartctl ok", 0s);
    appliance->Run(kVersionCommand, 0s);
    EXPECT_FALSE(Json(appliance->Run(kVersionCommand, 0s)).is_object());
    EXPECT_THAT(SysInfo(*appliance), HasSubstr("=")); // the other tool is well
    appliance->Advance(4s);
    EXPECT_EQ(appliance->Run(kVersionCommand, 4s).startError, ENOENT); // once goes before the standing fault
    EXPECT_EQ(appliance->Run(kVersionCommand, 4s).startError, 0);
    EXPECT_FALSE(Json(appliance->Run(kVersionCommand, 4s)).is_object());
    appliance->Advance(5s);
    EXPECT_TRUE(Json(appliance->Run(kVersionCommand, 5s)).is_object());
}

TEST(ApplianceFaults, OnceIsForOneRunEach)
{
    const auto appliance = Play("at 0s tool smartctl hang 9s once\nat 0s tool smartctl fail 4 once");
    EXPECT_EQ(appliance->Run(kVersionCommand, 0s).duration, 9s);
    EXPECT_EQ(appliance->Run(kVersionCommand, 0s).waitStatus, 4 << 8);
    EXPECT_TRUE(Json(appliance->Run(kVersionCommand, 0s)).is_object());
}

TEST(ApplianceFiles, AreReadableByTheXmlLibrary)
{
    const auto files = Play("")->Files();
    TiXmlDocument system;
    system.Parse(files.at("tqsysteminfo.xml").c_str());
    ASSERT_FALSE(system.Error()) << system.ErrorDesc();
    const auto* drives = system.RootElement()->FirstChildElement("Drives");
    ASSERT_NE(drives, nullptr);
    EXPECT_STREQ(drives->Attribute("StorageRows"), "2");
    EXPECT_STREQ(drives->Attribute("StorageCols"), "4");
    TiXmlDocument hardware;
    hardware.Parse(files.at("hwmconfig.xml").c_str());
    ASSERT_FALSE(hardware.Error()) << hardware.ErrorDesc();
    const auto* disk =
        TiXmlHandle(&hardware).FirstChildElement("SmartConfig").FirstChildElement("Disk").ToElement();
    ASSERT_NE(disk, nullptr);
    // The rule must name a model that is fitted, or it would never apply.
    EXPECT_EQ(Report(*Play(""), "/dev/sdb", 0s).at("model_name"), disk->Attribute("Model"));
}

TEST(AppliancePlain, BuiltInScenarioShowsEveryTroubleAndEndsWell)
{
    sim::CAppliance appliance("plain", std::nullopt);
    std::set<std::string> troubles;
    int brokenAnswers = 0;
    std::size_t requests = 0;
    for (sim::SimTime now = 0s; now <= 190s; now += 1s)
    {
        appliance.Advance(now);
        // A scan now and then, as the plug-in makes one after each request.
        const auto asked = appliance.TakeRequests().size();
        requests += asked;
        if (asked == 0)
        {
            continue;
        }
        const auto scan = appliance.Run({"./smartctl", "-j", "--scan"}, now);
        brokenAnswers += nlohmann::json::accept(scan.standardOutput) ? 0 : 1;
        troubles.insert(scan.duration >= 10s ? "hang" : "");
        troubles.insert(Temperature(appliance, "/dev/sdc", now) > 55 ? "hot" : "");
        troubles.insert(appliance.Run(ReportCommand("/dev/sde"), now).waitStatus == 24 << 8 ? "failing" : "");
        troubles.insert(appliance.Run(ReportCommand("/dev/sdd"), now).waitStatus == 2 << 8 ? "pulled" : "");
        troubles.insert(appliance.Run(ReportCommand("/dev/nvme0"), now).waitStatus == 8 << 8 ? "worn" : "");
    }
    EXPECT_THAT(troubles, ElementsAre("", "failing", "hang", "hot", "pulled", "worn"));
    EXPECT_EQ(brokenAnswers, 1);
    EXPECT_GE(requests, 10U);
    EXPECT_EQ(ScannedDevices(appliance, 190s).size(), 8U);
    for (const char* device : {"/dev/sdc", "/dev/sdd", "/dev/sde", "/dev/nvme0"})
    {
        EXPECT_EQ(appliance.Run(ReportCommand(device), 190s).waitStatus, 0) << device;
    }
    EXPECT_LT(Temperature(appliance, "/dev/sdc", 190s), 45);
}

TEST(AppliancePlain, SameScenarioGivesTheSameAnswers)
{
    sim::CAppliance often("plain", std::nullopt);
    sim::CAppliance seldom("plain", std::nullopt);
    for (sim::SimTime now = 0s; now <= 63s; now += 1s)
    {
        often.Advance(now);
    }
    seldom.Advance(63s);
    for (const auto& device : ScannedDevices(often, 63s))
    {
        EXPECT_EQ(often.Run(ReportCommand(device), 63s).standardOutput,
                  seldom.Run(ReportCommand(device), 63s).standardOutput);
    }
}

// Meaningful under the thread sanitizer; elsewhere it shows that no line and no request is lost.
TEST(AppliancePlain, CanBeUsedFromSeveralThreads)
{
    sim::CAppliance appliance("plain", std::nullopt);
    std::atomic<bool> stop = false;
    std::thread runner(
        [&appliance, &stop]
        {
            while (!stop && !appliance.IsOver() && appliance.ReturnsHeartbeats())
            {
                appliance.Run(ReportCommand("/dev/sdc"), 10s);
            }
        });
    std::size_t lines = 0;
    std::size_t requests = 0;
    for (sim::SimTime now = 0s; now <= 190s; now += 1s)
    {
        lines += appliance.Advance(now).size();
        requests += appliance.TakeRequests().size();
    }
    stop = true;
    runner.join();
    sim::CAppliance alone("plain", std::nullopt);
    EXPECT_EQ(lines, alone.Advance(190s).size());
    EXPECT_EQ(requests, alone.TakeRequests().size());
}
