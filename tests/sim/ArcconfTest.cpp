// The appliance with an Adaptec controller: the forms of arcconf's answers and what its commands change.
#include "SimTestSupport.h"

#include <gtest/gtest.h>
#include <tinyxml.h>

#include <array>
#include <tuple>

using namespace std::chrono_literals;
using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{
constexpr const char* kCreate =
    "CREATE 1 LOGICALDRIVE STRIPESIZE 512 LDCACHE LON MAX 6 0 8 0 9 0 10 0 11 NOPROMPT";
constexpr const char* kAddSpare = "SETSTATE 1 DEVICE 0 12 HSP ARRAY 0 NOPROMPT";

sim::ProgramRun Arcconf(sim::CAppliance& appliance, const std::string& line, sim::SimTime now = 0s)
{
    return Call(appliance, "arcconf " + line, now);
}

std::string Text(sim::CAppliance& appliance, const std::string& line, sim::SimTime now = 0s)
{
    return Arcconf(appliance, line, now).standardOutput;
}

// The JSON between the first line and the last.
json Config(sim::CAppliance& appliance, sim::SimTime now)
{
    const std::string text = Text(appliance, "GETCONFIGJSON 1", now);
    const std::size_t begin = text.find('{');
    return json::parse(text.substr(begin, text.rfind('}') + 1 - begin)).at("Controller");
}

json HardDrive(sim::CAppliance& appliance, int device, sim::SimTime now)
{
    return Find(Config(appliance, now).at("Channel").at(0).at("HardDrive"), "deviceID", device);
}

std::unique_ptr<sim::CAppliance> PlayWithVolume(const std::string& scenario)
{
    auto appliance = Play("at 0s raid rebuilds-take 100s\n" + scenario, 0s, "adaptec");
    EXPECT_EQ(Arcconf(*appliance, kCreate).waitStatus, 0);
    EXPECT_EQ(Arcconf(*appliance, kAddSpare).waitStatus, 0);
    return appliance;
}

// Name, scenario after 200 s, command, and a part of its answer at 250 s.
constexpr auto kListCases = std::to_array<std::tuple<const char*, const char*, const char*, const char*>>({
    {"Free", "at 200s disk 0:13 plug", "LIST 1",
     "\n   Physical 0,13             : Ready (SATA, HDD, 11444224MB, Connector:CN0, Slot:5) M12-60B044\n"},
    {"Volume", "", "LIST 1",
     "\n   Logical 1                 : Optimal (6, Data, 22888448 MB) LogicalDrv 1\n"},
    {"Degraded", "at 200s disk 0:9 fail", "LIST 1", "Logical 1                 : Degraded (6, "},
    {"SpareRebuilds", "at 200s disk 0:9 fail", "LIST 1", "Physical 0,12             : Rebuilding ("},
    {"Failed", "at 200s disk 0:9 fail", "LIST 1", "Physical 0,9              : Failed ("},
    {"SpareWaits", "", "LIST 1", "Physical 0,12             : Dedicated Hot-Spare ("},
    {"Lost", "at 200s disk 0:12 pull\nat 200s disk 0:8 pull\nat 201s disk 0:9 pull\nat 202s disk 0:10 pull",
     "LIST 1", "Logical 1                 : Failed (6, "},
    {"NoTask", "", "GETSTATUS 1",
     "Controllers found: 1\n   Current operation              : None\n\nCommand"},
    {"TaskOfTheVolume", "at 200s disk 0:9 fail", "GETSTATUS 1",
     "   Logical device                 : 1\n   Task ID                        : 100\n"
     "   Current operation              : Rebuild\n   Status                         : In Progress\n"
     "   Priority                       : High\n   Percentage complete            : 50\n"},
});

// Name, command, and a part of the reason.
constexpr auto kRefusedCases = std::to_array<std::tuple<const char*, const char*, const char*>>({
    {"TooFewDrives", "CREATE 1 LOGICALDRIVE MAX 6 0 12 NOPROMPT", "incorrect number"},
    {"HalfADrive", "CREATE 1 LOGICALDRIVE MAX 6 0 12 0 NOPROMPT", "Invalid command line."},
    {"WouldAsk", "CREATE 1 LOGICALDRIVE MAX 1 0 12 0 13", "Nobody"},
    {"SpareOfNoArray", "SETSTATE 1 DEVICE 0 12 HSP ARRAY 4 NOPROMPT", "group not found"},
    {"MemberAsSpare", "SETSTATE 1 DEVICE 0 8 HSP ARRAY 0 NOPROMPT", "not free"},
    {"NoSpare", "SETSTATE 1 DEVICE 0 8 RDY NOPROMPT", "not a hot spare"},
    {"VolumeInUse", "DELETE 1 LOGICALDRIVE 0 NOPROMPT", "in use"},
    {"OtherController", "GETSTATUS 2", "Invalid controller number."},
    {"Unknown", "FROBNICATE 1", "Invalid command line."},
});
} // namespace

TEST(ArcconfText, ShowsTheState)
{
    for (const auto& [name, scenario, command, line] : kListCases)
    {
        SCOPED_TRACE(name);
        auto appliance = PlayWithVolume(scenario);
        appliance->Advance(250s);
        const std::string text = Text(*appliance, command, 250s);
        EXPECT_THAT(text, StartsWith("Controllers found: 1\n"));
        EXPECT_THAT(text, HasSubstr(line));
        EXPECT_THAT(text, HasSubstr("\nCommand completed successfully.\n"));
    }
}

TEST(ArcconfRefuses, WithoutTheWordsOfSuccess)
{
    for (const auto& [name, command, reason] : kRefusedCases)
    {
        SCOPED_TRACE(name);
        auto appliance = Play("", 0s, "adaptec");
        EXPECT_EQ(Arcconf(*appliance, kCreate).waitStatus, 0);
        const auto run = Arcconf(*appliance, command);
        EXPECT_THAT(run.standardOutput, StartsWith("Controllers found: 1\n"));
        EXPECT_THAT(run.standardOutput, HasSubstr(reason));
        EXPECT_THAT(run.standardOutput, HasSubstr("\nCommand aborted.\n"));
        EXPECT_NE(run.waitStatus, 0);
    }
}

TEST(Arcconf, ConfigurationFollowsTheModel)
{
    auto appliance = PlayWithVolume("at 200s disk 0:10 errors media 3\nat 200s disk 0:10 health failing\n"
                                    "at 200s disk 0:9 fail");
    EXPECT_EQ(HardDrive(*appliance, 12, 1s).at("assignedTo"), json::array({"0"}));
    appliance->Advance(200s);
    // Array and logical drive have other numbers; the spare stands in the failed member's place.
    const json config = Config(*appliance, 210s);
    EXPECT_EQ(config.at("serialNumber"), "8A3C2070416   ");
    EXPECT_THAT(config.at("LogicalDrive").at(0),
                Includes(R"({"mountPoints":"/","bTaskInProgress":null})"_json));
    const json& data = config.at("LogicalDrive").at(1);
    EXPECT_THAT(data, Includes(R"({"raidLevel":6,"mountPoints":null})"_json));
    EXPECT_TRUE(data.contains("bTaskInProgress"));
    const json& array = config.at("Array").at(1);
    EXPECT_EQ(array.at("arrayID"), 0);
    EXPECT_EQ(array.at("Chunk").at(0).at("logicalDriveID"), 1);
    EXPECT_EQ(array.at("Chunk").at(1).at("deviceID"), 12);
    // The size is in KiB.
    EXPECT_THAT(HardDrive(*appliance, 10, 210s), Includes(R"({"mediumErrorCount":3,"smartWarningCount":1,
                                                    "size":"11718885376","connectorName":"CN0"})"_json));
    EXPECT_EQ(HardDrive(*appliance, 25, 210s).at("connectorName"), "CN1");
    EXPECT_THAT(Text(*appliance, "VERSION"), HasSubstr("  | UCLI |  Version 3.07.23971 (B23971)\n"));
}

TEST(Arcconf, SmartDataIsTwoDocumentsInAText)
{
    auto appliance = PlayWithVolume("at 200s disk 0:10 attribute 5 value 9 raw 4016\nat 200s disk 0:9 fail");
    appliance->Advance(200s);
    const std::string text = Text(*appliance, "GETSMARTSTATS 1", 200s);
    EXPECT_THAT(text, HasSubstr("</SASSmartStats>\n"));
    TiXmlDocument document;
    document.Parse(text.c_str() + text.find('<'));
    const TiXmlElement* const root = document.FirstChildElement("SmartStats");
    ASSERT_NE(root, nullptr);
    std::string row;
    int drives = 0;
    for (const auto* drive = root->FirstChildElement(); drive != nullptr; drive = drive->NextSiblingElement())
    {
        ++drives;
        for (const auto* attribute = drive->FirstChildElement(); attribute != nullptr;
             attribute = attribute->NextSiblingElement())
        {
            if (std::string(drive->Attribute("id")) == "10" &&
                std::string(attribute->Attribute("id")) == "0x05")
            {
                row = std::string(attribute->Attribute("normalizedCurrent")) + " " +
                      attribute->Attribute("thresholdValue") + " " + attribute->Attribute("rawValue") + " " +
                      attribute->Attribute("Status");
            }
        }
    }
    EXPECT_EQ(row, "9 10 4016 FAILING");
    EXPECT_EQ(drives, 6); // not the failed one
}
