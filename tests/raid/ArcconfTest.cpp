#include "raid/ArcconfConfig.h"
#include "raid/ArcconfSmart.h"
#include "tests/raid/ArcconfTexts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

struct TextCase
{
    const char* text;
    const char* expected;
};

TEST(Arcconf, AnswerIsCheckedByItsWords)
{
    for (const auto& [text, expected] : std::to_array<TextCase>({
             {"Controllers found: 1\nCommand completed successfully.", ""},
             {"", "arcconf smart invalid response error 5"},
             {"# a\nControllers found: 1\nCommand completed successfully.",
              "arcconf smart invalid response error 5"},
             {"Controllers found: 2\nCommand completed successfully.", "arcconf smart missing controller"},
             {"Controllers found: 1\nNot supported.\r\n\n  Try\n\nCommand aborted.",
              "arcconf smart error 5 - Not supported.   Try Command aborted."},
             {"Controllers found: 1\n", "arcconf smart error 5 -"},
         }))
    {
        EXPECT_EQ(CheckArcconfResponse("smart", {.exitCode = 5, .output = text}), expected) << text;
    }
}

ArcConfig Parse(const std::string& config, const std::string& listing, const std::string& tasks)
{
    return ParseControllerInfo({.output = config}, {.output = listing}, {.output = tasks});
}

// One logical drive, one hard drive in an otherwise empty configuration.
ArcConfig ParseLogical(const std::string& members, const std::string& listing = kArcListText,
                       const std::string& tasks = kArcTasksText)
{
    return Parse(ArcAnswerText(R"({"Controller": {"LogicalDrive": [{)" + members + "}]}}"), listing, tasks);
}
ArcConfig ParseHard(const std::string& drive)
{
    return Parse(ArcAnswerText(R"({"Controller": {"Channel": [{"HardDrive": [)" + drive + "]}]}}"),
                 kArcListText, kArcTasksText);
}

TEST(ArcconfConfig, TakesAllOfAController)
{
    const ArcConfig config = Parse(kArcConfigText, kArcListText, kArcTasksText);
    EXPECT_EQ(config.error, "");
    EXPECT_EQ(config.serialNumber + config.model + config.driverVersion + config.firmwareVersion,
              " 9A0001 Example RAID 81-12i2.1.20-0353.21[0]");
    const ArcLogicalDrive mirror{
        .id = 0, .raidLevel = 1, .sizeGB = 223, .name = "0", .state = "Optimal", .mountPoints = "/"};
    const ArcLogicalDrive data{.id = 1,
                               .raidLevel = 5,
                               .sizeGB = 14902,
                               .name = "1",
                               .state = "Degraded, Rebuilding",
                               .task = {{.name = "Rebuild", .percent = 41}}};
    EXPECT_THAT(config.logicalDrives, ElementsAre(mirror, data));
    EXPECT_THAT(config.arrays,
                ElementsAre(ArcArray{.id = 0, .logicalDriveId = 0, .drives = {{0, 8}, {0, 9}}},
                            ArcArray{.id = 3, .logicalDriveId = 1, .drives = {{0, 10}, {0, 11}}}));
    ASSERT_EQ(config.hardDrives.size(), 7U);
    EXPECT_EQ(config.hardDrives[1].state, "UNKNOWN");
    EXPECT_EQ(config.hardDrives[2], (ArcHardDrive{.connector = 0,
                                                  .id = {0, 10},
                                                  .slot = 2,
                                                  .state = "Online",
                                                  .model = "EX HDD",
                                                  .serialNumber = "D10  ",
                                                  .firmwareLevel = "B7",
                                                  .sizeGB = 7630,
                                                  .rotationalSpeed = 7200,
                                                  .temperature = 34,
                                                  .errorNames = {"mediumErrorCount", "smartWarningCount"}}));
    EXPECT_EQ(config.hardDrives[4].spareOfArray, 3);
}

TEST(ArcconfConfig, FirstErrorOfTheThreeAnswersCounts)
{
    EXPECT_EQ(Parse(kArcConfigText, "x", "").error, "arcconf status invalid response error 0");
    EXPECT_EQ(Parse(kArcConfigText, kArcListText, "").error, "arcconf task invalid response error 0");
    EXPECT_EQ(Parse("Controllers found: 2", "x", "").error, "arcconf config missing controller");
    for (const char* json : {"", "{", "{\"Controller\": [1,}", "no object"})
    {
        const ArcConfig config = Parse(ArcAnswerText("") + json, kArcListText, kArcTasksText);
        EXPECT_EQ(config, ArcConfig{.error = "arcconf config invalid json"}) << json;
    }
}

TEST(ArcconfConfig, LogicalDrivesOfOtherLevelsAndUnlistedOnesAreSkipped)
{
    for (const auto& [members, level] : {std::pair(R"("logicalDriveID": "1", "raidLevel": 1)", 1),
                                         {R"("logicalDriveID": 1, "raidLevel": 50)", 5},
                                         {R"("logicalDriveID": 1, "raidLevel": 15)", 5},
                                         {R"("logicalDriveID": 1, "raidLevel": 60)", 6},
                                         {R"("logicalDriveID": 1, "raidLevel": "16")", 6},
                                         {R"("logicalDriveID": 1, "raidLevel": 10)", 0},
                                         {R"("logicalDriveID": 1)", 0},
                                         {R"("raidLevel": 5)", 0},
                                         {R"("logicalDriveID": 2, "raidLevel": 5)", 0}})
    {
        const ArcConfig config = ParseLogical(members);
        EXPECT_EQ(config.logicalDrives.empty() ? 0 : config.logicalDrives[0].raidLevel, level) << members;
    }
}

TEST(ArcconfConfig, ListingLinesGiveStateAndSize)
{
    for (const auto& [line, expected] : std::to_array<TextCase>({
             {" Logical 7 : Optimal (5, Data, 1048576 MB) X", "Optimal 1024"},
             {" Logical 7 : Failed (5, Data, 1023 MB)", "Failed 0"},
             {" Logical 7 : Impacted (see log) (5, Data, 2048 MB) (x)", "Impacted (see log) 2"},
             {" Logical 7 : Optimal (5, Data, 2048 MB, 4096 MB) X", "Optimal 4"},
             {"Logical 7 : Optimal (5, Data, 2048 MB) X", ""},
             {" Logical 7 : Optimal (5, 2048 MB) X", ""},
             {" Logical 7 : Optimal (5, Data, 99999999999999999999 MB)", ""},
         }))
    {
        const ArcConfig config = ParseLogical(R"("logicalDriveID": 7, "raidLevel": 5)", ArcAnswerText(line));
        std::string text;
        for (const ArcLogicalDrive& drive : config.logicalDrives)
        {
            text += drive.state + " " + std::to_string(drive.sizeGB);
        }
        EXPECT_EQ(text, expected) << line;
    }
}

TEST(ArcconfConfig, TasksBelongToTheDriveNamedBeforeThem)
{
    for (
        const auto& [lines, expected] : std::to_array<TextCase>({
            {"  Logical device : 0\n\n  Current operation : Compacting\n\n  Percentage complete : 9\n\n"
             "  Logical Device : 1\n  Current Operation :  Build/Verify with fix  \n  Percentage Complete : 90\n",
             "Build/Verify with fix 90"},
            {" Current operation : Rebuild\n Logical device : 1\n Percentage complete : 8\n", ""},
            {" Logical device : 1\n Current operation :    \n Percentage complete : 8\n", ""},
            {" Logical device : 1\n Current operation : Verify\n", "Verify 0"},
            {" Logical device : 11\n Current operation : Verify\n", ""},
            {" Logical device : 1\n Logical device : 99999999999\n Current operation : Verify\n", ""},
        }))
    {
        const std::string members = R"("logicalDriveID": 1, "raidLevel": 5)";
        // Its presence counts, not its value.
        const ArcConfig config =
            ParseLogical(members + R"(, "bTaskInProgress": false)", kArcListText, ArcAnswerText(lines));
        const auto& task = config.logicalDrives.at(0).task;
        EXPECT_EQ(task ? task->name + " " + std::to_string(task->percent) : "", expected) << lines;
        EXPECT_FALSE(ParseLogical(members, kArcListText, ArcAnswerText(lines)).logicalDrives.at(0).task);
    }
}

TEST(ArcconfConfig, HardDriveNeedsItsSevenMembersAndAKnownConnector)
{
    const std::string drive = ArcDriveJson("14", "CN0", 6, "");
    EXPECT_EQ(ParseHard(drive).hardDrives.size(), 1U);
    for (const char* part : {"channelID", "deviceID", "connectorName", "slotID", "model", "serialNumber",
                             "firmwareLevel", "CN0", "14", "6"})
    {
        EXPECT_THAT(ParseHard(Replaced(drive, part, "\"X\"")).hardDrives, IsEmpty()) << part;
        EXPECT_THAT(ParseHard(Replaced(drive, part, "X")).hardDrives, IsEmpty()) << part;
    }
}

TEST(ArcconfConfig, OptionalFactsOfAHardDrive)
{
    // "size errors spare"
    for (
        const auto& [members, expected] : std::to_array<TextCase>({
            {R"("x": 0)", "-  -"},
            {R"("size": "536870911")", "511  -"},
            {R"("size": 17179869184)", "16384  -"},
            {R"("size": "9223372036854775807")", "-  -"},
            {R"("size": "TB", "assignedTo": "3")", "-  -"},
            {R"("scsiBusFaults": 1, "hardwareErrors": 2, "mediumErrorCount": -1, "parityErrorCount": 0, "x": 4)",
             "- mediumErrorCount,hardwareErrors,scsiBusFaults, -"},
            {R"("timeOutErrors": 4294967296)", "- timeOutErrors, -"}, // low 32 bits are 0
            {R"("assignedTo": ["2", "5", "all"])", "-  5"},
            {R"("assignedTo": ["global"])", "-  -"},
        }))
    {
        const ArcConfig config = ParseHard(ArcDriveJson("14", "CN0", 6, std::string(", ") + members));
        const ArcHardDrive& drive = config.hardDrives.at(0);
        std::string text = (drive.sizeGB ? std::to_string(*drive.sizeGB) : "-") + " ";
        for (const std::string& name : drive.errorNames)
        {
            text += name + ",";
        }
        text += " " + (drive.spareOfArray ? std::to_string(*drive.spareOfArray) : "-");
        EXPECT_EQ(text, expected) << members;
    }
}

TEST(ArcconfConfig, DriveNames)
{
    EXPECT_EQ(DriveName({1, 12}), "1:12");
    EXPECT_EQ(ParseDriveName("disk 1:12x"), (ArcDriveId{1, 12}));
    for (const char* name : {"", "1:", ":2", "1 : 2", "99999999999:1", "1:99999999999"})
    {
        EXPECT_EQ(ParseDriveName(name), std::nullopt) << name;
    }
}

TEST(ArcconfSmart, TakesTheRowsThatAreComplete)
{
    std::string rows =
        kArcSmartRow +
        R"(<Attribute id="0xC2" name="T" normalizedCurrent="1" normalizedWorst="2" thresholdValue="3")"
        R"( rawValue="118596931990811" Status="Pre-fail" />)";
    for (const char* part :
         {"id", "name", "normalizedC", "normalizedW", "thresholdValue", "rawValue", "Status"})
    {
        rows += Replaced(kArcSmartRow, part, "X");
    }
    for (const char* id : {"0x5", "0x005", "0x0g", "0x-5", "0X05", "  05", ""})
    {
        rows += Replaced(kArcSmartRow, "0x05", id);
    }
    const ArcSmartInfo info = ParseSmartInfo({.output = ArcSmartText(rows)});
    EXPECT_EQ(info.error, "");
    ASSERT_EQ(info.drives.size(), 1U);
    const ArcSmartAttribute good{
        .name = "Reallocated", .id = 5, .current = 90, .worst = 80, .threshold = 5, .raw = 7};
    const ArcSmartAttribute failing{.name = "T",
                                    .id = 0xC2,
                                    .current = 1,
                                    .worst = 2,
                                    .threshold = 3,
                                    .raw = static_cast<std::int32_t>(118596931990811 & 0xFFFFFFFF),
                                    .failing = true};
    EXPECT_THAT(info.drives.at({0, 10}), ElementsAre(good, failing));
}

TEST(ArcconfSmart, FindsTheStatsBelowAnotherRootAndNowhereElse)
{
    const std::string stats = R"(<SmartStats><PhysicalDriveSmartStats channel="1" id="2"/>)"
                              R"(<PhysicalDriveSmartStats channel="1"/></SmartStats>)";
    const auto parse = [](const std::string& xml) { return ParseSmartInfo({.output = ArcAnswerText(xml)}); };
    EXPECT_EQ(parse("<All>" + stats + "</All>").drives.size(), 1U);
    EXPECT_EQ(parse(stats).drives.size(), 1U);
    EXPECT_THAT(parse("<All><More>" + stats + "</More></All>").drives, IsEmpty());
    EXPECT_THAT(parse("<SASSmartStats/>").drives, IsEmpty());
    for (const char* broken : {"", "<SmartStats>", "<SmartStats></All>"})
    {
        EXPECT_EQ(parse(broken).error, "arcconf smart invalid xml") << broken;
    }
    EXPECT_EQ(ParseSmartInfo({.exitCode = 4, .output = "<SmartStats/>"}).error,
              "arcconf smart invalid response error 4");
}
} // namespace
