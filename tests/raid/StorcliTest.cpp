#include "raid/Storcli.h"

#include "raid/StorcliAnswer.h"
#include "tests/support/Cases.h"
#include "tests/support/StorcliTexts.h"

#include <gmock/gmock.h>

#include <array>
#include <string_view>

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

// Exit code, text and error of a query.
constexpr std::string_view kMissingData =
    "storcli missing response data"; // no error of a command that changes something

// clang-format off
constexpr auto kAnswerCases = std::to_array<std::tuple<const char*, int, const char*, std::string_view>>({
    {"Empty", 0, "", "storcli invalid json"},
    {"PlainText", 0, "syntax error, unexpected TOKEN_UNKNOWN", "storcli invalid json"},
    {"PlainTextAndExitCode", 255, "Killed", "storcli error 255"},
    {"Cut", 0, R"({"Controllers":[{"Command Status":{"Status":"Success"},"Resp)", "storcli invalid json"},
    {"NoObject", 1, "[]", "storcli missing controller"},
    {"NoControllers", 0, R"({"Controllers":[]})", "storcli missing controller"},
    {"ControllersIsNoArray", 0, R"({"Controllers":{"0":{}}})", "storcli missing controller"},
    {"ControllerIsNoObject", 0, R"({"Controllers":["Success"]})", "storcli missing exitcode"},
    {"StatusIsNoText", 0, R"({"Controllers":[{"Command Status":{"Status":0}}]})", "storcli missing exitcode"},
    {"FailureInSpiteOfData", 0,
     R"({"Controllers":[{"Command Status":{"Status":"Failure"},"Response Data":{}}]})", "storcli error Failure"},
    {"NoData", 0, R"({"Controllers":[{"Command Status":{"Status":"Success","Description":"No VDs"}}]})", kMissingData},
    {"DataIsAnArray", 0,
     R"({"Controllers":[{"Command Status":{"Status":"Success"},"Response Data":[{}]}]})", kMissingData},
    {"TheFirstControllerCounts", 9,
     R"({"Controllers":[{"Command Status":{"Status":"Success"},"Response Data":{}},{}]} and more)", ""},
});
// clang-format on

TEST(StorcliText, AnswersAreJudged)
{
    for (const auto& [name, exitCode, text, error] : kAnswerCases)
    {
        SCOPED_TRACE(name);
        EXPECT_EQ(ParseStorcliChange(exitCode, text), error == kMissingData ? "" : error);
        EXPECT_EQ(ParseVolumesInfo(exitCode, text).error, error);
        EXPECT_EQ(ParseDisksInfo(exitCode, text).error, error);
        EXPECT_EQ(ParseDisksSmartInfo(exitCode, text).error, error);
    }
}

TEST(StorcliText, Forms)
{
    EXPECT_EQ(SizeInGB("1.818 TB"), 1861);
    EXPECT_EQ(SizeInGB("465.25   GB"), 465);
    for (const char* text : {"", "1 TB", "1.818TB", "744.687 GiB", "0.5 MB", " 1.0 TB", "-1.0 TB", "1.0 TB ",
                             "9999999.0 TB", "99999999999999999999999.0 GB"})
    {
        EXPECT_EQ(SizeInGB(text), std::nullopt) << text;
    }
    EXPECT_EQ(LeadingInteger(" 34C (93.20 F)"), 34);
    EXPECT_EQ(LeadingInteger("N/A"), std::nullopt);
    EXPECT_EQ(LeadingNumber("12.0Gb/s"), 12.0);
    EXPECT_EQ(LeadingNumber("Unknown"), -1.0);
    EXPECT_EQ(LeadingNumber("infGb/s"), -1.0);
}

TEST(StorcliControllerInfo, ReadsPlaces)
{
    const auto info =
        ParseControllerInfo(0,
                            storcli::Controller({{.did = "6", .dg = "0", .row = "1"},
                                                 {.slot = "3", .did = "7", .dg = "1", .row = "0"},
                                                 {.slot = "4", .did = "8", .dg = "2"},
                                                 {.enclosure = "8", .did = "9", .dg = "\"-\""},
                                                 {.enclosure = " ", .slot = "1", .did = "60"},
                                                 {.did = "\"-\""}}),
                            0, storcli::Enclosures());
    EXPECT_EQ(info.error, "");
    EXPECT_FALSE(info.supportsJbod);
    std::vector<std::string> places;
    for (const StorcliPhysicalDrive& drive : info.drives)
    {
        places.push_back(drive.name + " " + std::to_string(drive.did) + " row " +
                         std::to_string(drive.row.value_or(-1)) + " level " +
                         std::to_string(drive.raidLevel.value_or(-1)));
    }
    EXPECT_THAT(places, ElementsAre("/c0/e252/s0 6 row 1 level 1", "/c0/e252/s3 7 row 0 level 5",
                                    "/c0/e252/s4 8 row 0 level -1", "/c0/e8/s0 9 row -1 level -1"));
}

TEST(StorcliControllerInfo, AbsentMembersLeaveTheirFieldsEmpty)
{
    const auto info =
        ParseControllerInfo(0, storcli::Success(R"("Basics":[],"TOPOLOGY":{},"PD LIST":[1,[]])"), 0,
                            storcli::Success(R"("Enclosure":7,"E":{"Properties":{}})"));
    EXPECT_EQ(info.error, "");
    EXPECT_FALSE(info.autoRebuild) << "an absent policy is no other than \"No\"";
    EXPECT_FALSE(info.supportsJbod);
    EXPECT_EQ(info.numSlots, 0);
    EXPECT_THAT(info.drives, IsEmpty());
    EXPECT_EQ(ParseControllerInfo(0, "", 0, "").error, "ctlr storcli invalid json");
    EXPECT_EQ(ParseControllerInfo(0, storcli::Controller({}), 3, "").error, "encl storcli error 3");
}

std::vector<std::string> Lines(const StorcliVolumes& list)
{
    std::vector<std::string> lines;
    for (const StorcliVolume& volume : list.volumes)
    {
        const auto number = [](std::int32_t value) { return " " + std::to_string(value); };
        lines.push_back(volume.name + number(volume.dg) + number(volume.vd) + number(volume.raidLevel) +
                        number(volume.sizeGB) + " " + volume.state +
                        (volume.task ? " [" + volume.task->name + "]" + number(volume.task->percent) : ""));
    }
    return lines;
}

TEST(StorcliVolumes, RowsAndTasks)
{
    EXPECT_THAT(Lines(ParseVolumesInfo(
                    0, storcli::Volumes(
                           {{.size = "1.818 TB", .operations = "Rebuild (45%)"},
                            {.ids = "2/239", .type = "RAID6", .state = "Dgrd", .operations = "BGI (x) (7) y"},
                            {.ids = "3/7", .type = "RAID5 ", .size = "500 GB", .operations = "Erase 3%"}}))),
                ElementsAre("/c0/v0 0 0 1 1861 Optl [Rebuild] 45", "/c0/v239 2 239 6 465 Dgrd [BGI (x)] 7",
                            "/c0/v7 3 7 0 0 Optl"));
    EXPECT_THAT(
        Lines(ParseVolumesInfo(
            0, storcli::Success(R"("/c0/v3":[{"DG/VD":"-/3"},7],"/c0/v4":{},"/c0/vx":[{}],"VD3 Properties":)"
                                R"json({"Active Operations":"Rebuild (99999999999%)"})json"))),
        ElementsAre("/c0/v3 -1 3 0 0 ", "/c0/v3 -1 3 0 0 "))
        << "a volume without its numbers keeps its name";
}

TEST(StorcliDisks, AbsentAndMistypedMembersLeaveTheirFieldsEmpty)
{
    const auto list = ParseDisksInfo(
        0,
        storcli::Success(
            R"("Drive /c1/e8/s0":[{"EID:Slt":" :0","DID":"-","DG":true,"Size":7,"State":[]}],"Drive /c0/e8/s":[{}],)"
            R"("Drive /c0/e8/s1":[{}],"Drive /c0/e8/s2":{"DID":1},"Drive /c0/e8/s1 - Detailed Information":)"
            R"({"Drive /c0/e8/s1 State":{"Media Error Count":"N/A","Other Error Count":4294967298,)"
            R"("Drive Temperature":"N/A","S.M.A.R.T alert flagged by drive":"N/A"}})"));
    ASSERT_EQ(list.disks.size(), 2U);
    EXPECT_EQ(list.disks[0].name, "/c1/e8/s0");
    EXPECT_EQ(list.disks[0].slot, 0);
    EXPECT_EQ(list.disks[0].did, -1);
    EXPECT_EQ(list.disks[0].dg, std::nullopt);
    EXPECT_EQ(list.disks[0].sizeGB, std::nullopt);
    EXPECT_FALSE(list.disks[0].smartAlert);
    EXPECT_EQ(list.disks[1].mediaErrors, 0);
    EXPECT_EQ(list.disks[1].otherErrors, 2) << "the low 32 bits";
    EXPECT_EQ(list.disks[1].temperature, std::nullopt);
    EXPECT_TRUE(list.disks[1].smartAlert) << "\"N/A\" counts";
}

TEST(StorcliSmart, OnlyAWholeTableCounts)
{
    using storcli::Smart;
    std::string noBlankAtTheEnd = Smart("/c0/e1/s1");
    noBlankAtTheEnd.erase(noBlankAtTheEnd.size() - 2, 1);
    std::string noHex = Smart("/c0/e1/s4");
    noHex[noHex.size() - 3] = 'g';
    std::string noBlank = Smart("/c0/e1/s5");
    noBlank[noBlank.size() - 5] = '0';
    const auto list = ParseDisksSmartInfo(
        0, storcli::Success(Smart("/c0/e1/s0") + "," + noBlankAtTheEnd + "," + Smart("/c0/e1/s2", 511) + "," +
                            Smart("/c0/e1/s3", 513) + "," + noHex + "," + noBlank +
                            R"(,"Smart Data Info /c0/e1/s6":512)"));
    std::vector<std::string> names;
    for (const auto& [name, data] : list.byDisk)
    {
        names.push_back(name);
        EXPECT_THAT((std::array{data[0], data[2], data[3], data[17]}), ElementsAre(0x10, 5, 0x33, 0x5F));
    }
    EXPECT_THAT(names, ElementsAre("/c0/e1/s0", "/c0/e1/s1"));
}
} // namespace
