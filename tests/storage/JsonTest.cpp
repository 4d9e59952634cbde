#include "storage/Json.h"

#include "tests/support/Cases.h"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace
{
std::string Nested(std::size_t depth)
{
    return std::string(depth, '[') + std::string(depth, ']');
}

constexpr std::int64_t kMax64 = 9223372036854775807;

const auto kIntegerCases = std::to_array<
    std::tuple<const char*, const char*, std::optional<std::int32_t>, std::optional<std::int64_t>>>({
    {"TruncatedTowardZero", "2.9", 2, 2},
    {"NegativeTruncatedTowardZero", "-2.9", -2, -2},
    {"ExponentForm", "12.5e1", 125, 125},
    {"Low32BitsOfPackedCounter", "171799937060", 1245220, 171799937060},
    {"Low32BitsAreSigned", "4294967295", -1, 4294967295},
    {"Largest64", "9223372036854775807", -1, kMax64},
    {"BeyondSigned64", "9223372036854775809", 1, std::nullopt},
    {"Largest64Unsigned", "18446744073709551615", -1, std::nullopt},
    {"Beyond64", "18446744073709551616", std::nullopt, std::nullopt},
    {"FractionBeyondSigned64", "9223372036854777856.5", 2048, std::nullopt},
    {"FractionBeyond64", "1e300", std::nullopt, std::nullopt},
    {"FractionBelow64", "-1e19", std::nullopt, std::nullopt},
    {"StringWithTextBehind", R"("-12 C")", -12, -12},
    {"StringWithPlus", R"("+5")", std::nullopt, std::nullopt},
    {"StringWithBlankBefore", R"(" 5")", std::nullopt, std::nullopt},
    {"StringWithoutDigit", R"("-")", std::nullopt, std::nullopt},
    {"EmptyString", R"("")", std::nullopt, std::nullopt},
    {"StringLowest32", R"("-2147483648")", -2147483647 - 1, -2147483648},
    {"StringBeyond32", R"("2147483648")", std::nullopt, 2147483648},
    {"StringBeyond64", R"("9223372036854775808")", std::nullopt, std::nullopt},
    {"Boolean", "true", std::nullopt, std::nullopt},
    {"Array", "[1]", std::nullopt, std::nullopt},
});

TEST(Json, IntegersAreReadInBothWidths)
{
    for (const auto& [name, text, in32, in64] : kIntegerCases)
    {
        SCOPED_TRACE(name);
        const CJsonDocument document("{\"v\":" + std::string(text) + "}");
        EXPECT_EQ(document.Root().Member("v").Int32(), in32);
        EXPECT_EQ(document.Root().Member("v").Int64(), in64);
    }
}

TEST(Json, ParsesOrNot)
{
    for (const auto& [text, parses] : {std::pair(std::string(), false),
                                       {"  \n", false},
                                       {R"({"a": 1)", false},
                                       {R"({"a": 1,})", false},
                                       {"/* a */ {}", false},
                                       {"{} usage: tool [options]", true},
                                       {"tool 1.0 {}", false},
                                       {Nested(kMaxJsonDepth), true},
                                       {Nested(kMaxJsonDepth + 1), false},
                                       {"{\"a\": \"\x80\xFF\"}", true},
                                       {std::string("{\"a\": \"\0\"}", 10), false}})
    {
        EXPECT_EQ(CJsonDocument(text).Root().Exists(), parses) << text;
    }
}

TEST(Json, FindsByPathAndByWholeName)
{
    const CJsonDocument document(R"({"Command Status": {"Status": "Success", "": 7}, "S.M.A.R.T alert": "No",
                                     "S": {"M": {"A": 1}}, "list": [{"a": 1}]})");
    const CJsonValue root = document.Root();
    EXPECT_EQ(root.Find("Command Status.Status").Text(), "Success");
    EXPECT_EQ(root.Find("Command Status.").Int32(), 7);
    EXPECT_EQ(root.Find("S.M.A").Int32(), 1);
    EXPECT_EQ(root.Member("S.M.A.R.T alert").Text(), "No");
    EXPECT_FALSE(root.Find("S.M.A.R.T alert").Exists());
    EXPECT_FALSE(root.Member("S.M.A").Exists());
    EXPECT_FALSE(root.Member("M").Exists()) << "a member of an inner object";
    EXPECT_FALSE(root.Find("list.a").Exists()) << "a path does not enter arrays";
    EXPECT_FALSE(root.Find("Command").Exists());
}

TEST(Json, LastOfRepeatedMembersCounts)
{
    const CJsonDocument document(R"({"a": {"x": 1}, "b": 2, "a": {"y": 3}, "c": 4, "a": {"z": 5}})");
    EXPECT_EQ(document.Root().Find("a.z").Int32(), 5);
    EXPECT_FALSE(document.Root().Find("a.x").Exists());
    std::string names;
    for (const JsonMember& member : document.Root().Members())
    {
        names.append(member.name);
    }
    EXPECT_EQ(names, "abc");
    EXPECT_EQ(document.Root().Members().front().value.Member("z").Int32(), 5);
}

TEST(Json, WalksElementsInOrder)
{
    const CJsonDocument document(R"([1, [2, [3]], {"a": [4]}, [], "5", null])");
    std::string seen;
    for (const CJsonValue element : document.Root().Elements())
    {
        seen += element.IsArray()    ? "A"
                : element.IsObject() ? "O"
                                     : std::to_string(element.Int32().value_or(-1));
        for (const CJsonValue inner : element.Elements())
        {
            seen += inner.IsArray() ? "a" : "n";
        }
    }
    EXPECT_EQ(seen, "1AnaOA5-1");
    EXPECT_TRUE(document.Root().Members().empty());
}

TEST(Json, KindsAreNotMixedUp)
{
    const CJsonDocument document(R"({"text": "1.5", "number": 2, "real": 2.5, "yes": true, "none": null})");
    const CJsonValue root = document.Root();
    EXPECT_EQ(root.Member("text").Double(), std::nullopt);
    EXPECT_EQ(root.Member("number").Double(), 2.0);
    EXPECT_EQ(root.Member("real").Double(), 2.5);
    EXPECT_EQ(root.Member("yes").Bool(), true);
    EXPECT_EQ(root.Member("number").Bool(), std::nullopt);
    EXPECT_EQ(root.Member("number").String(), std::nullopt);
    EXPECT_TRUE(root.Member("none").Exists());
    EXPECT_EQ(root.Member("none").String(), std::nullopt);
    EXPECT_EQ(CJsonValue().Int32(), std::nullopt);
    EXPECT_EQ(CJsonValue().Text(), "");
}

// Escapes make the library deliver a string in pieces, and long ones in several buffers.
TEST(Json, ResolvesEscapesInNamesAndStrings)
{
    const std::string filler(5000, 'x');
    const CJsonDocument document(R"({"n\u00e4me\/": "a\"\\\n\u0000\ud83d\ude00b", "plain": "p", ")" + filler +
                                 R"(\t": ")" + filler + R"(\n)" + filler + R"("})");
    EXPECT_EQ(document.Root().Member("n\xC3\xA4me/").Text(), std::string("a\"\\\n\0\xF0\x9F\x98\x80"
                                                                         "b",
                                                                         10));
    EXPECT_EQ(document.Root().Member("plain").Text(), "p");
    const CJsonDocument inOnePiece(R"({"\tname": "\tvalue"})");
    EXPECT_EQ(inOnePiece.Root().Member("\tname").Text(), "\tvalue");
    EXPECT_EQ(document.Root().Member(filler + "\t").Text(), filler + "\n" + filler);
}

TEST(Json, DocumentsLiveSideBySide)
{
    std::string text = R"({"name": "first", "escaped": "1\t1"})";
    CJsonDocument first(text);
    text.assign(text.size(), '#');
    const CJsonValue root = first.Root();
    const std::string_view name = *root.Member("name").String();
    const CJsonDocument second(R"({"name": "second, longer than the first", "escaped": "2\t2"})");
    const CJsonDocument moved(std::move(first));
    const CJsonDocument third(R"({"name": "third"})");
    EXPECT_EQ(name, "first");
    EXPECT_EQ(root.Member("escaped").Text(), "1\t1");
    EXPECT_EQ(moved.Root().Member("name").Text(), "first");
    EXPECT_EQ(second.Root().Member("escaped").Text(), "2\t2");
    EXPECT_EQ(third.Root().Member("name").Text(), "third");
}

// The second text would fit where the first one stood, but not its resolved strings as well.
TEST(Json, KeptStorageGrowsForResolvedStrings)
{
    for (const std::size_t count : {100U, 190U})
    {
        std::string text = "[\"";
        for (std::size_t i = 0; i < count; ++i)
        {
            text += "\\t";
        }
        const CJsonDocument document(text + "\"]");
        EXPECT_EQ((*document.Root().Elements().begin()).Text(), std::string(count, '\t'));
    }
}

TEST(Json, FailedParseShowsNothingOfTheDocumentBefore)
{
    {
        const CJsonDocument good(R"({"name": "kept storage"})");
        ASSERT_TRUE(good.Root().Exists());
    }
    const CJsonDocument bad(R"({"name": "new)");
    EXPECT_FALSE(bad.Root().Exists());
    EXPECT_FALSE(bad.Root().Find("name").Exists());
}
} // namespace
