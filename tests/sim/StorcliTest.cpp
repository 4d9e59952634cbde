// The appliance with an LSI controller: what its commands change, and the forms of storcli's answers.
#include "SimTestSupport.h"
#include "tests/support/CaseName.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <numeric>
#include <sstream>
#include <tuple>

using namespace std::chrono_literals;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

namespace
{
json Controller(sim::CAppliance& appliance, const std::string& line, sim::SimTime now)
{
    return Json(Call(appliance, "storcli " + line, now)).at("Controllers").at(0);
}

json Data(sim::CAppliance& appliance, const std::string& line, sim::SimTime now)
{
    return Controller(appliance, line, now).at("Response Data");
}

std::string Status(sim::CAppliance& appliance, const std::string& line, sim::SimTime now = 0s)
{
    return Controller(appliance, line, now).at("Command Status").at("Status");
}

// "State/group" of a drive, and "state/active operation" of a volume; "" when it is not listed.
std::string Drive(sim::CAppliance& appliance, const std::string& path, sim::SimTime now = 0s)
{
    const json data = Data(appliance, "/c0/eall/sall show all J", now);
    const auto found = data.find("Drive " + path);
    if (found == data.end())
    {
        return "";
    }
    const json& group = found->at(0).at("DG");
    return found->at(0).at("State").get<std::string>() + "/" +
           (group.is_string() ? group.get<std::string>() : group.dump());
}

std::string Volume(sim::CAppliance& appliance, int number, sim::SimTime now = 0s)
{
    const json data = Data(appliance, "/c0/vall show all J", now);
    const auto found = data.find("/c0/v" + std::to_string(number));
    if (found == data.end())
    {
        return "";
    }
    return found->at(0).at("State").get<std::string>() + "/" +
           data.at("VD" + std::to_string(number) + " Properties").at("Active Operations").get<std::string>();
}

constexpr const char* kCreate = "/c0 add vd r5 drives=64:0,64:1,64:2,64:3 strip=256 J";

// A data volume of four disks in group 0, initialised; 64:4 is free, 64:5 a global spare.
std::unique_ptr<sim::CAppliance> PlayWithVolume(const std::string& scenario = "")
{
    auto appliance = Play("at 0s raid rebuilds-take 100s\n" + scenario, 0s, "lsi");
    EXPECT_EQ(Status(*appliance, kCreate), "Success");
    return appliance;
}

struct LifeCase
{
    const char* name;
    const char* scenario; // after 200 s
    int second;           // looked at
    const char* path;
    const char* drive;
    const char* volume;
};

constexpr auto kLifeCases = std::to_array<LifeCase>({
    {"Initialises", "", 40, "64/s0", "Onln/0", "Optl/Background Initialization (40%)"},
    {"Rests", "", 200, "64/s4", "UGood/-", "Optl/None"},
    {"GlobalSpareTakesOver", "at 200s disk 64:1 fail", 225, "64/s5", "Rbld/0", "Dgrd/Rebuild (25%)"},
    {"FailedMemberIsBadThen", "at 200s disk 64:1 fail", 225, "64/s1", "UBad/-", "Dgrd/Rebuild (25%)"},
    {"RebuiltAtItsTime", "at 200s disk 64:1 fail", 300, "64/s5", "Onln/0", "Optl/None"},
    {"NoSpareLeft", "at 200s disk 64:5 pull\nat 201s disk 64:1 fail", 300, "64/s1", "Failed/0", "Dgrd/None"},
    {"PulledMemberIsNotListed", "at 200s disk 64:1 pull", 210, "64/s1", "", "Dgrd/Rebuild (10%)"},
    {"ForeignWhenBack", "at 200s disk 64:1 pull\nat 205s disk 64:1 plug", 210, "64/s1", "UGood/F",
     "Dgrd/Rebuild (10%)"},
    {"SpareIsFreeWhenBack", "at 200s disk 64:5 pull\nat 205s disk 64:5 plug", 210, "64/s5", "UGood/-",
     "Optl/None"},
    {"Replaced", "at 200s disk 64:5 pull\nat 201s disk 64:1 fail\nat 210s disk 64:1 replace N1", 220, "64/s1",
     "Rbld/0", "Dgrd/Rebuild (10%)"},
    {"RebuildLosesItsDrive", "at 200s disk 64:1 fail\nat 210s disk 64:5 fail", 220, "64/s5", "Failed/0",
     "Dgrd/None"},
    {"TwoMembersAreTooMany", "at 200s disk 64:1 fail\nat 210s disk 64:2 fail", 400, "64/s5", "UGood/-",
     "OfLn/None"},
    {"SpareFailsUnused", "at 200s disk 64:5 fail", 210, "64/s5", "UBad/-", "Optl/None"},
    {"SpareOfAnotherKindIsNotUsed", "at 200s disk 65:12 fail", 210, "64/s5", "GHS/-", "Optl/None"},
    {"Check", "at 200s raid check 1", 236, "64/s1", "Onln/0", "Optl/Consistency Check (36%)"},
    {"Cleared", "at 200s disk 64:4 foreign\nat 205s disk 64:4 clear", 210, "64/s4", "UGood/-", "Optl/None"},
});

using RaidLife = testing::TestWithParam<LifeCase>;

// Name, command, and a part of the message.
constexpr auto kRefusedCases = std::to_array<std::tuple<const char*, const char*, const char*>>({
    {"TooFewDrives", "/c0 add vd r6 drives=64:4 strip=256 J", "incorrect number"},
    {"DriveInUse", "/c0 add vd r5 drives=64:3,64:4,64:5 J", "64:3 is not free"},
    {"DriveTwice", "/c0 add vd r5 drives=64:4,64:4,64:4 J", "64:4 is not free"},
    {"DriveNotPlugged", "/c0 add vd r5 drives=64:4,64:6,64:0 J", "64:6 not found"},
    {"NoSuchVolume", "/c0/v9 set pdcache=off wrcache=awb J", "Invalid VD number"},
    {"VolumeInUse", "/c0/v0 del J", "in use"},
    {"SpareOfNoGroup", "/c0/e64/s4 add hotsparedrive dgs=7 J", "group not found"},
    {"SpareOfAnotherKind", "/c0/e64/s4 add hotsparedrive dgs=1 J", "another kind"},
    {"SpareAlready", "/c0/e64/s5 add hotsparedrive J", "not free"},
    {"NoSpare", "/c0/e64/s4 delete hotsparedrive J", "not a hot spare"},
    {"NoSuchDrive", "/c0/e64/s11 delete hotsparedrive J", "not found"},
    {"OtherController", "/c1 show all J", "Controller 1 not found"},
    {"UnknownWords", "/c0 frobnicate J", "syntax error"},
});
} // namespace

TEST_P(RaidLife, ShowsInTheTables)
{
    auto appliance = PlayWithVolume(GetParam().scenario);
    const std::chrono::seconds when{GetParam().second};
    appliance->Advance(when);
    EXPECT_EQ(Drive(*appliance, std::string("/c0/e") + GetParam().path, when), GetParam().drive);
    EXPECT_EQ(Volume(*appliance, 1, when), GetParam().volume);
}

INSTANTIATE_TEST_SUITE_P(Cases, RaidLife, testing::ValuesIn(kLifeCases), kByName);

TEST(StorcliRefuses, AndChangesNothing)
{
    for (const auto& [name, command, message] : kRefusedCases)
    {
        SCOPED_TRACE(name);
        auto appliance = PlayWithVolume();
        const json before = Data(*appliance, "/c0 show all J", 1s);
        const auto run = Call(*appliance, std::string("storcli ") + command, 1s);
        const json status = Json(run).at("Controllers").at(0).at("Command Status");
        EXPECT_EQ(status.at("Status"), "Failure");
        EXPECT_THAT(status.dump(), HasSubstr(message));
        EXPECT_NE(run.waitStatus, 0);
        EXPECT_EQ(Data(*appliance, "/c0 show all J", 1s), before);
    }
}

TEST(Storcli, AToolThatFailsHasChangedNothing)
{
    for (const char* fault : {"refuse", "fail 1", "missing"})
    {
        auto appliance = Play(std::string("at 0s tool storcli ") + fault + " once", 0s, "lsi");
        const auto failed = Call(*appliance, std::string("storcli ") + kCreate);
        EXPECT_TRUE(failed.startError == ENOENT || failed.waitStatus != 0) << fault;
        EXPECT_EQ(Volume(*appliance, 1), "") << fault;
        EXPECT_EQ(Status(*appliance, kCreate), "Success") << fault;
    }
}

TEST(Storcli, SparesAreSetAndReleased)
{
    auto appliance = PlayWithVolume("at 200s disk 64:1 fail");
    EXPECT_EQ(Drive(*appliance, "/c0/e64/s5"), "GHS/-");
    EXPECT_EQ(Status(*appliance, "/c0/e64/s5 delete hotsparedrive J"), "Success");
    EXPECT_EQ(Drive(*appliance, "/c0/e64/s5"), "UGood/-");
    EXPECT_EQ(Status(*appliance, "/c0/e64/s5 add hotsparedrive J"), "Success");
    EXPECT_EQ(Status(*appliance, "/c0/e64/s4 add hotsparedrive dgs=0 J"), "Success");
    EXPECT_EQ(Drive(*appliance, "/c0/e64/s4"), "DHS/0");
    // The dedicated one goes first.
    appliance->Advance(200s);
    EXPECT_EQ(Drive(*appliance, "/c0/e64/s4", 201s), "Rbld/0");
    EXPECT_EQ(Drive(*appliance, "/c0/e64/s5", 201s), "GHS/-");
    // A spare set while a member is missing starts at once.
    auto late = PlayWithVolume("at 100s disk 64:5 pull\nat 200s disk 64:1 fail");
    late->Advance(200s);
    EXPECT_EQ(Status(*late, "/c0/e64/s4 add hotsparedrive dgs=0 J", 210s), "Success");
    EXPECT_EQ(Volume(*late, 1, 220s), "Dgrd/Rebuild (10%)");
}

// Nobody answers the scenario's requests here, so the volume that its later lines speak of never comes.
TEST(RaidScenarios, PlayToTheirEndWithWhateverTheHostMakesOfIt)
{
    for (const char* preset : {"lsi", "adaptec"})
    {
        sim::CAppliance appliance(preset, std::nullopt);
        appliance.Advance(1h);
        EXPECT_TRUE(appliance.IsOver()) << preset;
        EXPECT_THAT(appliance.TakeRequests(), testing::AllOf(testing::Contains("prep \"New Data Array\""),
                                                             testing::Contains("refresh")));
    }
}

// What real answers are like, and a reader may stumble over.
TEST(Storcli, FormsOfTheAnswers)
{
    auto appliance =
        PlayWithVolume("at 200s disk 64:2 errors media 3\nat 200s disk 64:2 errors predictive 1\n"
                       "at 200s disk 64:2 health failing\nat 200s disk 64:3 pull");
    appliance->Advance(200s);
    const json ctlr = Data(*appliance, "/c0 show all J", 201s);
    EXPECT_THAT(ctlr, Includes(R"({"Basics": {"Serial Number": "SK84213977      "},
                                   "HwCfg": {"BatteryFRU": "N/A"}})"_json));
    EXPECT_EQ(ctlr.at("PD LIST").size(), 7U);
    // Two lines for each group, its members; the missing member's place has been taken by the spare.
    std::vector<std::string> rows;
    for (const json& row : ctlr.at("TOPOLOGY"))
    {
        rows.push_back(row.at("DG").dump() + row.at("Arr").dump() + row.at("Row").dump() +
                       row.at("Type").get<std::string>() + row.at("DID").dump() + row.at("EID:Slot").dump());
    }
    EXPECT_THAT(rows, ElementsAre(R"(0"-""-"RAID5"-""-")", R"(00"-"RAID5"-""-")", R"(000DRIVE8"64:0")",
                                  R"(001DRIVE13"64:1")", R"(002DRIVE18"64:2")", R"(003DRIVE9"64:5")",
                                  R"(1"-""-"RAID1"-""-")", R"(10"-"RAID1"-""-")", R"(100DRIVE21"65:12")",
                                  R"(101DRIVE22"65:13")"));
    const json encl = Data(*appliance, "/c0/eall show all J", 201s);
    EXPECT_EQ(encl.at("Enclosure /c0/e64 ").at("Properties").at(0).at("Slots"), 12);
    EXPECT_EQ(encl.at("Enclosure /c0/e65 ").at("Properties").at(0).at("PD"), 2);
    EXPECT_THAT(Data(*appliance, "/c0/vall show all J", 201s).at("/c0/v1").at(0),
                Includes(R"({"DG/VD": "0/1", "Size": "21.832 TB"})"_json)); // three of 7452 GB
    const json drives = Data(*appliance, "/c0/eall/sall show all J", 201s);
    EXPECT_THAT(drives, Includes(R"j({
        "Drive /c0/e64/s2 - Detailed Information": {"Drive /c0/e64/s2 State": {
            "Drive Temperature": " 38C (100.40 F)", "Media Error Count": 3, "Predictive Failure Count": 1,
            "S.M.A.R.T alert flagged by drive": "Yes"}},
        "Drive /c0/e65/s12 - Detailed Information": {"Drive /c0/e65/s12 Device attributes": {
            "SN": "           HS4A00731"}}})j"_json)); // 20 characters
    EXPECT_EQ(drives.at("Drive /c0/e65/s12").at(0).at("Size"), "447.000 GB");
    EXPECT_THAT(Call(*appliance, "storcli -V").standardOutput, HasSubstr(" Ver 007.2203.0000.0000 "));
}

TEST(Storcli, SmartDataIsAWholeTable)
{
    auto appliance = Play("at 0s disk 64:0 attribute 5 value 90 raw 70000", 0s, "lsi");
    const json data = Data(*appliance, "/c0/eall/sall show smart J", 0s);
    std::istringstream text(data.at("Smart Data Info /c0/e64/s0").get<std::string>());
    std::vector<unsigned> bytes;
    for (std::string pair; text >> pair;)
    {
        ASSERT_EQ(pair.size(), 2U);
        bytes.push_back(static_cast<unsigned>(std::stoul(pair, nullptr, 16)));
    }
    ASSERT_EQ(bytes.size(), 512U);
    EXPECT_EQ(std::accumulate(bytes.begin(), bytes.end(), 0U) % 256, 0U);
    // The fifth entry: flags 0x33, worst as low as the value, raw 70000 = 0x011170.
    const std::vector<unsigned> entry(bytes.begin() + 50, bytes.begin() + 62);
    EXPECT_THAT(entry, ElementsAre(5, 0x33, 0, 90, 90, 0x70, 0x11, 1, 0, 0, 0, 0));
}

TEST(Storcli, SmartctlSeesVolumesAndDrivesBehindTheBus)
{
    auto appliance = PlayWithVolume("at 9s disk 64:2 health failing\nat 9s disk 64:3 fail");
    appliance->Advance(9s);
    const json scan = Json(Call(*appliance, "./smartctl -j --scan", 9s)).at("devices");
    ASSERT_EQ(scan.size(), 2U + 8U);
    EXPECT_EQ(scan.at(1).at("name"), "/dev/sdb");
    EXPECT_THAT(scan.at(2), Includes(R"({"name": "/dev/bus/0", "type": "megaraid,8"})"_json));
    EXPECT_EQ(Report(*appliance, "/dev/sdb", 9s).at("scsi_vendor"), "LSI");
    const auto bus = [&appliance](const std::string& type)
    { return Json(Call(*appliance, "./smartctl -j -T permissive -d " + type + " -a /dev/bus/0", 9s)); };
    EXPECT_THAT(bus("sat+megaraid,18"),
                Includes(R"({"serial_number": "M8T-41D0A7", "device": {"type": "sat+megaraid,18"},
                             "smartctl": {"exit_status": 8}})"_json));
    // The failed one, and one that was never there.
    EXPECT_EQ(bus("sat+megaraid,11").at("smartctl").at("exit_status"), 2);
    EXPECT_EQ(bus("sat+megaraid,99").at("smartctl").at("exit_status"), 2);
}

TEST(RaidPrep, FailsAtEachStageAndIsResumed)
{
    auto appliance = PlayWithVolume("at 0s raidprep fails partitioning\nat 0s raidprep fails otherwise\n"
                                    "at 0s raidprep fails formatting\nat 0s raidprep fails mounting");
    appliance->Advance(0s);
    const auto run = [&appliance] { return Call(*appliance, "scripts/raidprep.sh", 1s); };
    const auto mounts = [&appliance]
    { return Call(*appliance, "scripts/sysinfo.sh", 1s).standardOutput.find("raid-volume=/c0/v1"); };
    EXPECT_THAT(run().standardOutput, HasSubstr("\npartitioning_error\n"));
    EXPECT_THAT(run().standardOutput, testing::Not(HasSubstr("_error")));
    EXPECT_THAT(run().standardOutput, HasSubstr("\nformat_error\n"));
    const auto third = run();
    EXPECT_THAT(third.standardOutput, HasSubstr("mount_part_error\n"));
    EXPECT_THAT(third.standardOutput, testing::Not(HasSubstr("partitioning"))); // that had been done
    EXPECT_NE(third.waitStatus, 0);
    EXPECT_EQ(mounts(), std::string::npos);
    EXPECT_EQ(run().waitStatus, 0);
    EXPECT_NE(mounts(), std::string::npos);
    EXPECT_NE(run().waitStatus, 0); // never again
}
