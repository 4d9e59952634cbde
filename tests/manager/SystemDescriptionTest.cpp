#include "manager/SystemDescription.h"

#include "frame/Xml.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

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

constexpr LevelCase kLevelCases[] = {
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
};

TEST(SystemDescription, TheRaidLevelFollowsNameFamilyAndLayout)
{
    for (const LevelCase& row : kLevelCases)
    {
        const std::string family = row.family;
        EXPECT_EQ(Read("<family value=\"" + family + "\"/><defaultraidlevel value=\"" + row.named +
                       "\"/><Drives StorageRows=\"" + row.rows + "\" StorageCols=\"" + row.cols + "\"/>")
                      .raidLevel,
                  row.level)
            << row.name;
    }
}

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
    const std::pair<const char*, std::string> cases[] = {
        {R"(StorageRows="2" StorageCols="3" VerticalOrder="1" HorizontalFlip="-1")", "2x3 order flip"},
        {R"(StorageRows="2" StorageCols="4" VerticalSlots="7")", "2x4 slots"},
        {R"(StorageRows="2" StorageCols="4")", "2x4"},
        {R"(StorageRows="1" StorageCols="4")", "1x4 slots"}, // those of a single row unless told
        {R"(StorageRows="1" StorageCols="4" VerticalSlots="0")", "1x4"},
    };
    for (const auto& [attributes, shown] : cases)
    {
        const auto layout = Read(std::string("<Drives ") + attributes + "/>").layout;
        ASSERT_TRUE(layout) << attributes;
        EXPECT_EQ(std::to_string(layout->rows) + "x" + std::to_string(layout->cols) +
                      (layout->verticalOrder ? " order" : "") + (layout->verticalSlots ? " slots" : "") +
                      (layout->horizontalFlip ? " flip" : ""),
                  shown);
    }
}

TEST(SystemDescription, ABrokenDocumentDescribesNothing)
{
    CXmlDocument document;
    EXPECT_FALSE(document.Parse(R"(<a><family value="k_series"/><Drives StorageRows="2" StorageCols="4"/>)"));
    EXPECT_FALSE(ReadSystemDescription(document).isKSeries);
    EXPECT_FALSE(ReadSystemDescription(document).layout);
}
} // namespace
