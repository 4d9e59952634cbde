#include "sim/Appliance.h"

#include "SimTestSupport.h"
#include "tests/support/CaseName.h"

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
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace
{
constexpr const char* kVersion = "./smartctl -jV";
constexpr const char* kScan = "./smartctl -j --scan";
constexpr const char* kSysInfo = "scripts/sysinfo.sh";

int Temperature(sim::CAppliance& appliance, const std::string& device, sim::SimTime now)
{
    return Report(appliance, device, now).at("temperature").at("current");
}

std::string SysInfo(sim::CAppliance& appliance)
{
    return Call(appliance, kSysInfo).standardOutput;
}
} // namespace

TEST(Appliance, UnknownPresetsAndChipsAreRefused)
{
    EXPECT_THROW(sim::CAppliance("plane", std::nullopt), std::invalid_argument);
    EXPECT_THAT(sim::CAppliance::PresetNames(), ElementsAre("plain", "ipmi", "lsi", "adaptec"));
    EXPECT_THROW(sim::CAppliance("plain", std::nullopt, "it9999"), std::invalid_argument);
    EXPECT_THAT(sim::CAppliance::ChipNames(), testing::SizeIs(9));
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
    EXPECT_THAT(report, Includes(R"({"smartctl": {"exit_status": 0}, "serial_number": "NEW-1",
                                     "model_name": "Meridian ST-8T", "power_on_time": {"hours": 1}})"_json));
    EXPECT_EQ(Attribute(report, 9).at("raw").at("value"), 1);
    EXPECT_THAT(SysInfo(*appliance),
                HasSubstr("drive-index=2\ndrive-name=sdc\ndrive-serial=NEW-1\ndrive-partitions=0\n"
                          "drive-removable=0\ndrive-fspath=\ndrive-fstype=\ndrive-needs-prep=1\n"));
}

TEST(Appliance, NvmeVerbsShowInTheHealthLog)
{
    const auto appliance = Play("at 0s disk /dev/nvme0 spare 8\nat 0s disk /dev/nvme0 media-errors 12\n"
                                "at 0s disk /dev/nvme0 temperature 80");
    EXPECT_THAT(Report(*appliance, "/dev/nvme0"), Includes(R"({"nvme_smart_health_information_log": {
        "available_spare": 8, "available_spare_threshold": 10, "media_errors": 12, "temperature": 80,
        "critical_warning": 1}})"_json));
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
    const auto run = Call(*appliance, kSysInfo);
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
        const std::string serial = Report(*appliance, device).at("serial_number");
        EXPECT_THAT(run.standardOutput, HasSubstr("drive-serial=" + serial + "\n"));
    }
}

TEST(Appliance, WhatItDoesNotHaveCannotBeStarted)
{
    const auto appliance = Play("");
    for (const char* program :
         {"", "smartctl", "storcli", "arcconf", "ipmitool", "tqselftest", "scripts/raidprep.sh"})
    {
        EXPECT_EQ(Call(*appliance, program).startError, ENOENT) << program;
    }
}

TEST(ApplianceFaults, HangAndSlowChangeTheUsualTimeOnly)
{
    EXPECT_EQ(Call(*Play(""), ReportCommand("/dev/sdc")).duration, 120ms);
    const auto usual = Call(*Play(""), kScan);
    EXPECT_EQ(usual.duration, 50ms);
    const auto hung = Call(*Play("at 0s tool smartctl hang 90s"), kScan);
    const auto slow = Call(*Play("at 0s tool smartctl slow 2s"), kScan);
    EXPECT_EQ(hung.duration, 90s);
    EXPECT_EQ(slow.duration, usual.duration + 2s);
    EXPECT_EQ(hung.standardOutput, usual.standardOutput);
    EXPECT_EQ(slow.standardOutput, usual.standardOutput);
}

TEST(ApplianceFaults, FailGivesItsExitCodeAndAPartOfTheOutput)
{
    const auto appliance = Play("at 0s tool smartctl fail 127\nat 0s tool sysinfo fail 255");
    const auto smartctl = Call(*appliance, ReportCommand("/dev/sdc"));
    EXPECT_EQ(smartctl.waitStatus, 127 << 8);
    EXPECT_EQ(smartctl.standardOutput, "");
    const auto script = Call(*appliance, kSysInfo);
    EXPECT_EQ(script.waitStatus, 255 << 8);
    EXPECT_THAT(script.standardOutput, AllOf(StartsWith("motherboard-vendor="), testing::EndsWith("\n"),
                                             Not(HasSubstr("drive-name=sdg"))));
    EXPECT_NE(script.standardError, "");
}

TEST(ApplianceFaults, CutKeepsTheFirstBytesAndLooksLikeSuccess)
{
    const auto appliance = Play("at 0s disk /dev/sdc health failing\nat 0s tool smartctl cut 100\n"
                                "at 0s tool sysinfo cut 1000000");
    const auto run = Call(*appliance, ReportCommand("/dev/sdc"));
    EXPECT_EQ(run.standardOutput, Call(*Play(""), ReportCommand("/dev/sdc")).standardOutput.substr(0, 100));
    EXPECT_EQ(run.waitStatus, 0);
    EXPECT_EQ(SysInfo(*appliance), SysInfo(*Play("")));
}

TEST(ApplianceFaults, GarbageCannotBeParsed)
{
    const auto appliance = Play("at 0s tool smartctl garbage\nat 0s tool sysinfo garbage");
    for (const std::string& command :
         {std::string(kVersion), std::string(kScan), ReportCommand("/dev/sdc"), ReportCommand("/dev/nvme0")})
    {
        const auto run = Call(*appliance, command);
        EXPECT_FALSE(nlohmann::json::accept(run.standardOutput));
        EXPECT_EQ(run.waitStatus, 0);
    }
    // A text loses what separates its fields.
    EXPECT_THAT(SysInfo(*appliance), Not(HasSubstr("=")));
    const auto sensors = Call(*Play("at 0s tool ipmitool garbage", 0s, "ipmi"), "ipmitool -c sdr");
    EXPECT_THAT(sensors.standardOutput, AllOf(StartsWith("CPU Temp"), Not(HasSubstr(","))));
    EXPECT_EQ(sensors.waitStatus, 0);
}

TEST(ApplianceFaults, HoldForOneToolUntilOk)
{
    const auto appliance =
        Play("at 0s tool smartctl garbage\nat 1s tool smartctl missing once\nat 5s tool smartctl ok", 0s);
    Call(*appliance, kVersion);
    EXPECT_FALSE(Json(Call(*appliance, kVersion)).is_object());
    EXPECT_THAT(SysInfo(*appliance), HasSubstr("=")); // the other tool is well
    appliance->Advance(4s);
    const auto missing = Call(*appliance, kVersion, 4s); // once goes before the standing fault
    EXPECT_EQ(missing.startError, ENOENT);
    EXPECT_EQ(missing.standardOutput, "");
    EXPECT_EQ(Call(*appliance, kVersion, 4s).startError, 0);
    EXPECT_FALSE(Json(Call(*appliance, kVersion, 4s)).is_object());
    appliance->Advance(5s);
    EXPECT_TRUE(Json(Call(*appliance, kVersion, 5s)).is_object());
}

TEST(ApplianceFaults, OnceIsForOneRunEach)
{
    const auto appliance = Play("at 0s tool smartctl hang 9s once\nat 0s tool smartctl fail 4 once");
    EXPECT_EQ(Call(*appliance, kVersion).duration, 9s);
    EXPECT_EQ(Call(*appliance, kVersion).waitStatus, 4 << 8);
    EXPECT_TRUE(Json(Call(*appliance, kVersion)).is_object());
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
    EXPECT_EQ(Report(*Play(""), "/dev/sdb").at("model_name"), disk->Attribute("Model"));
}

TEST(AppliancePlain, BuiltInScenarioShowsEveryTroubleAndEndsWell)
{
    sim::CAppliance appliance("plain", std::nullopt);
    std::set<std::string> troubles;
    int brokenAnswers = 0;
    const auto exitCode = [&appliance](const char* device, sim::SimTime now)
    { return Call(appliance, ReportCommand(device), now).waitStatus >> 8; };
    std::size_t requests = 0;
    sim::SimTime withheld{0};
    for (sim::SimTime now = 0s; now <= 270s; now += 1s)
    {
        appliance.Advance(now);
        withheld += appliance.ReturnsHeartbeats() ? 0s : 1s;
        // A scan now and then, as the plug-in makes one after each request.
        const auto asked = appliance.TakeRequests().size();
        requests += asked;
        if (asked == 0)
        {
            continue;
        }
        const auto scan = Call(appliance, kScan, now);
        brokenAnswers += nlohmann::json::accept(scan.standardOutput) ? 0 : 1;
        troubles.insert(scan.duration >= 10s ? "hang" : "");
        troubles.insert(Temperature(appliance, "/dev/sdc", now) > 55 ? "hot" : "");
        troubles.insert(exitCode("/dev/sde", now) == 24 ? "failing" : "");
        troubles.insert(exitCode("/dev/sdd", now) == 2 ? "pulled" : "");
        troubles.insert(exitCode("/dev/nvme0", now) == 8 ? "worn" : "");
    }
    EXPECT_THAT(troubles, ElementsAre("", "failing", "hang", "hot", "pulled", "worn"));
    EXPECT_EQ(brokenAnswers, 1);
    EXPECT_GE(requests, 10U);
    EXPECT_EQ(ScannedDevices(appliance, 270s).size(), 8U);
    for (const char* device : {"/dev/sdc", "/dev/sdd", "/dev/sde", "/dev/nvme0"})
    {
        EXPECT_EQ(exitCode(device, 270s), 0) << device;
    }
    EXPECT_LT(Temperature(appliance, "/dev/sdc", 270s), 45);
    // The watchdog, whose time-out is 40 s, runs out once: the heartbeats are back before the next one.
    EXPECT_TRUE(appliance.ReturnsHeartbeats());
    EXPECT_GT(withheld, 40s);
    EXPECT_LT(withheld, 80s);
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
        EXPECT_EQ(Call(often, ReportCommand(device), 63s).standardOutput,
                  Call(seldom, ReportCommand(device), 63s).standardOutput);
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
                Call(appliance, ReportCommand("/dev/sdc"), 10s);
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
