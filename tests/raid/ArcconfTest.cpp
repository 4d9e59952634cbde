#include "raid/ArcconfConfig.h"
#include "raid/ArcconfSmart.h"
#include "tests/raid/ArcconfTexts.h"

#include <gmock/gmock.h>

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
             {"", "arcconf x invalid response error 5"},
             {"# a\nControllers found: 1\nCommand completed successfully.",
              "arcconf x invalid response error 5"},
             {"Controllers found: 2\nCommand completed successfully.", "arcconf x missing controller"},
             {"Controllers found: 1\nNo.\r\n\n  Try\n\nAborted.", "arcconf x error 5 - No.   Try Aborted."},
             {"Controllers found: 1\n", "arcconf x error 5 -"},
         }))
    {
        EXPECT_EQ(CheckArcconfResponse("x", {.exitCode = 5, .output = text}), expected) << text;
    }
}

std::string Text(const std::optional<std::int32_t>& number)
{
    return number ? std::to_string(*number) : "-";
}

// "id level size state mounts task percent;" and "name connector slot state size rpm temperature errors
// spare;"
std::string Text(const ArcConfig& config)
{
    std::string text = config.error;
    for (const ArcLogicalDrive& drive : config.logicalDrives)
    {
        text += drive.name + " " + std::to_string(drive.raidLevel) + " " + std::to_string(drive.sizeGB) +
                " " + drive.state + " " + drive.mountPoints.value_or("-") + " " +
                (drive.task ? drive.task->name + " " + std::to_string(drive.task->percent) : "-") + ";";
    }
    for (const ArcHardDrive& drive : config.hardDrives)
    {
        text += DriveName(drive.id) + " CN" + std::to_string(drive.connector) + " " +
                std::to_string(drive.slot) + " " + drive.state + " " + Text(drive.sizeGB) + " " +
                Text(drive.rotationalSpeed) + " " + Text(drive.temperature) + " ";
        for (const std::string& name : drive.errorNames)
        {
            text += name + " ";
        }
        text += Text(drive.spareOfArray) + ";";
    }
    return text;
}

ArcConfig Parse(const std::string& config, const std::string& listing, const std::string& tasks)
{
    return ParseControllerInfo({.output = config}, {.output = listing}, {.output = tasks});
}

// One logical drive or one hard drive in an otherwise empty configuration.
std::string ParseLogical(const std::string& members, const std::string& listing, const std::string& tasks)
{
    return Text(Parse(ArcAnswerText(R"({"Controller": {"LogicalDrive": [{)" + members + "}]}}"),
                      ArcAnswerText(listing), ArcAnswerText(tasks)));
}
std::string ParseHard(const std::string& drive)
{
    return Text(Parse(ArcAnswerText(R"({"Controller": {"Channel": [{"HardDrive": [)" + drive + "]}]}}"),
                      ArcAnswerText(""), ArcAnswerText("")));
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
    for (const auto& [members, expected] : std::to_array<TextCase>({
             {R"("logicalDriveID": "7", "raidLevel": 1)", "7 1 1 S - -;"},
             {R"("logicalDriveID": 7, "raidLevel": 50, "mountPoints": "/m")", "7 5 1 S /m -;"},
             {R"("logicalDriveID": 7, "raidLevel": 15)", "7 5 1 S - -;"},
             {R"("logicalDriveID": 7, "raidLevel": 60)", "7 6 1 S - -;"},
             {R"("logicalDriveID": 7, "raidLevel": "16")", "7 6 1 S - -;"},
             {R"("logicalDriveID": 7, "raidLevel": 10)", ""},
             {R"("logicalDriveID": 7)", ""},
             {R"("raidLevel": 5)", ""},
             {R"("logicalDriveID": 8, "raidLevel": 5)", ""},
         }))
    {
        EXPECT_EQ(ParseLogical(members, " Logical 7 : S (5, Data, 1024 MB)", ""), expected) << members;
    }
}

TEST(ArcconfConfig, ListingLinesGiveStateAndSize)
{
    const std::string good = " Logical 7 : Optimal (5, Data, 2048 MB)";
    const std::string longest = good + std::string(1024 - good.size(), 'x');
    const std::string tooLong = longest + "x";
    for (const auto& [line, expected] : std::to_array<TextCase>({
             {longest.c_str(), "7 5 2 Optimal - -;"},
             {tooLong.c_str(), ""},
             {" Logical 7 : Failed (5, Data, 1023 MB)", "7 5 0 Failed - -;"},
             {" Logical 7 : Off (see log) (5, Data, 2048 MB) (x)", "7 5 2 Off (see log) - -;"},
             {" Logical 7 : Optimal (5, Data, 2048 MB, 4096 MB) X", "7 5 4 Optimal - -;"},
             {"Logical 7 : Optimal (5, Data, 2048 MB) X", ""},
             {" Logical 7 : Optimal (5, 2048 MB) X", ""},
             {" Logical 7 : Optimal (5, Data, 99999999999999999999 MB)", ""},
         }))
    {
        EXPECT_EQ(ParseLogical(R"("logicalDriveID": 7, "raidLevel": 5)", line, ""), expected) << line;
    }
}

TEST(ArcconfConfig, TasksBelongToTheDriveNamedBeforeThem)
{
    for (
        const auto& [lines, expected] : std::to_array<TextCase>({
            {" Logical device : 0\n\n Current operation : Compacting\n\n Percentage complete : 9\n\n"
             " Logical Device : 7\n Current Operation :  Build/Verify with fix  \n Percentage Complete : 90\n",
             "Build/Verify with fix 90;"},
            {" Current operation : Rebuild\n Logical device : 7\n Percentage complete : 8\n", "-;"},
            {" Logical device : 7\n Current operation :    \n Percentage complete : 8\n", "-;"},
            {" Logical device : 7\n Current operation : Verify\n", "Verify 0;"},
            {" Logical device : 77\n Current operation : Verify\n", "-;"},
            {" Logical device : 7\n Logical device : 99999999999\n Current operation : Verify\n", "-;"},
        }))
    {
        const std::string members = R"("logicalDriveID": 7, "raidLevel": 5)";
        const std::string listing = " Logical 7 : S (5, Data, 1024 MB)";
        // Its presence counts, not its value.
        EXPECT_EQ(ParseLogical(members + R"(, "bTaskInProgress": false)", listing, lines),
                  std::string("7 5 1 S - ") + expected);
        EXPECT_EQ(ParseLogical(members, listing, lines), "7 5 1 S - -;") << lines;
    }
}

TEST(ArcconfConfig, HardDriveNeedsItsSevenMembersAndAKnownConnector)
{
    const std::string drive = ArcDriveJson("14", "CN0", 6, "");
    for (const char* part : {"channelID", "deviceID", "connectorName", "slotID", "model", "serialNumber",
                             "firmwareLevel", "CN0", "14", "6"})
    {
        EXPECT_EQ(ParseHard(Replaced(drive, part, "X")).find("0:14"), std::string::npos) << part;
    }
    for (
        const auto& [members, expected] : std::to_array<TextCase>({
            {R"("x": 0)", "- - - -;"},
            {R"("size": "536870911")", "511 - - -;"},
            {R"("size": 17179869184)", "16384 - - -;"},
            {R"("size": "9223372036854775807")", "- - - -;"},
            {R"("size": "TB", "assignedTo": "3")", "- - - -;"},
            {R"("scsiBusFaults": 1, "hardwareErrors": 2, "mediumErrorCount": -1, "parityErrorCount": 0, "x": 4)",
             "- - - mediumErrorCount hardwareErrors scsiBusFaults -;"},
            {R"("timeOutErrors": 4294967296)", "- - - timeOutErrors -;"}, // low 32 bits are 0
            {R"("assignedTo": ["2", "5", "all"])", "- - - 5;"},
            {R"("assignedTo": ["global"])", "- - - -;"},
        }))
    {
        EXPECT_EQ(ParseHard(ArcDriveJson("14", "CN0", 6, std::string(", ") + members)),
                  std::string("0:14 CN0 6 UNKNOWN ") + expected);
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
    constexpr auto kLowBits = static_cast<std::int32_t>(118596931990811 & 0xFFFFFFFF);
    EXPECT_THAT(info.drives.at({0, 10}), ElementsAre(ArcSmartAttribute{"Reallocated", 5, 90, 80, 5, 7, false},
                                                     ArcSmartAttribute{"T", 0xC2, 1, 2, 3, kLowBits, true}));
}

TEST(ArcconfSmart, FindsTheStatsBelowAnotherRootAndNowhereElse)
{
    const std::string stats = R"(<SmartStats><PhysicalDriveSmartStats channel="1" id="2"/>)"
                              R"(<PhysicalDriveSmartStats channel="1"/></SmartStats>)";
    const auto parse = [](const std::string& xml) { return ParseSmartInfo({.output = ArcAnswerText(xml)}); };
    EXPECT_EQ(parse("<All>" + stats + "</All>").drives.size(), 1U);
    EXPECT_EQ(parse(stats).drives.size(), 1U);
    EXPECT_THAT(parse("<All><More>" + stats + "</More></All>").drives, IsEmpty());
    for (const char* broken : {"", "<SmartStats>", "<SmartStats></All>"})
    {
        EXPECT_EQ(parse(broken).error, "arcconf smart invalid xml") << broken;
    }
    EXPECT_EQ(ParseSmartInfo({.output = "<SmartStats/>"}).error, "arcconf smart invalid response error 0");
}
} // namespace
