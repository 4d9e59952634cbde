#include "manager/SystemDescription.h"

#include "frame/Xml.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace
{
SystemDescription Read(const std::string& children)
{
    CXmlDocument document;
    EXPECT_TRUE(document.Parse("<anything>" + children + "</anything>"));
    return ReadSystemDescription(document);
}

struct LevelCase
{
    const char* name;
    const char* family;
    const char* rows;
    const char* cols;
    const char* named; // defaultraidlevel
    std::optional<char> level;
};

constexpr auto kLevelCases = std::to_array<LevelCase>({
    {"OneRow", "", "1", "4", "", std::nullopt},
    {"TwoRows", "", "2", "4", "", '5'},
    {"ThreeRows", "", "3", "4", "", '5'},
    {"FourRows", "", "4", "4", "", '6'},
    {"OtherColumns", "", "4", "3", "", std::nullopt},
    {"KSeries", "k_series", "2", "4", "", std::nullopt},
    {"KSeriesWithName", "k_series", "2", "4", "5", '5'},
    {"QSeriesOneRow", "q_series", "1", "1", "", '5'},
    {"QSeriesTwoRows", "q_series", "2", "1", "", '6'},
    {"FamilyInCapitalsIsNoFamily", "Q_SERIES", "2", "1", "", std::nullopt},
    {"NameWins", "", "2", "4", "6", '6'},
    {"UnknownNameDoesNotCount", "", "2", "4", "10", '5'},
    {"NoRows", "q_series", "0", "4", "6", std::nullopt},
    {"NoColumns", "q_series", "2", "0", "6", std::nullopt},
});

class RaidLevel : public testing::TestWithParam<LevelCase>
{
};

TEST_P(RaidLevel, FollowsNameFamilyAndLayout)
{
    const LevelCase& row = GetParam();
    const SystemDescription description =
        Read(std::string("<family value=\"") + row.family + "\"/><defaultraidlevel value=\"" + row.named +
             "\"/><Drives StorageRows=\"" + row.rows + "\" StorageCols=\"" + row.cols + "\"/>");
    EXPECT_EQ(description.raidLevel, row.level);
}

INSTANTIATE_TEST_SUITE_P(Cases, RaidLevel, testing::ValuesIn(kLevelCases),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(SystemDescription, FamilySetsItsFlagAlone)
{
    const SystemDescription k = Read(R"(<family value="k_series"/>)");
    EXPECT_TRUE(k.isKSeries);
    EXPECT_FALSE(k.isQSeries);
    EXPECT_FALSE(k.layout);
    EXPECT_TRUE(Read(R"(<family value="q_series"/>)").isQSeries);
    EXPECT_EQ(Read(R"(<family value="other"/>)").family, "other");
    EXPECT_EQ(Read(R"(<family value=""/>)").family, std::nullopt);
}

TEST(SystemDescription, ReadsTheLayout)
{
    const auto layout =
        Read(
            R"(<Drives StorageRows="2" StorageCols="3" VerticalOrder="1" VerticalSlots="7" HorizontalFlip="-1"/>)")
            .layout;
    ASSERT_TRUE(layout);
    EXPECT_EQ(layout->rows, 2U);
    EXPECT_EQ(layout->cols, 3U);
    EXPECT_TRUE(layout->verticalOrder);
    EXPECT_TRUE(layout->verticalSlots);
    EXPECT_TRUE(layout->horizontalFlip);
}

TEST(SystemDescription, SlotsOfASingleRowAreVerticalUnlessTold)
{
    EXPECT_TRUE(Read(R"(<Drives StorageRows="1" StorageCols="4"/>)").layout->verticalSlots);
    EXPECT_FALSE(
        Read(R"(<Drives StorageRows="1" StorageCols="4" VerticalSlots="0"/>)").layout->verticalSlots);
    const auto twoRows = Read(R"(<Drives StorageRows="2" StorageCols="4"/>)").layout;
    EXPECT_FALSE(twoRows->verticalSlots);
    EXPECT_FALSE(twoRows->verticalOrder);
    EXPECT_FALSE(twoRows->horizontalFlip);
}

TEST(SystemDescription, ABrokenDocumentDescribesNothing)
{
    CXmlDocument document;
    EXPECT_FALSE(document.Parse(R"(<a><family value="k_series"/><Drives StorageRows="2" StorageCols="4"/>)"));
    EXPECT_FALSE(ReadSystemDescription(document).isKSeries);
    EXPECT_FALSE(ReadSystemDescription(document).layout);
}
} // namespace
