#include "sim/JsonWriter.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <array>

namespace
{
struct QuoteCase
{
    const char* name;
    std::string_view text;
    std::string_view quoted;
};

constexpr auto kQuoteCases = std::to_array<QuoteCase>({
    {"QuoteAndBackslash", "a\"b\\c", R"("a\"b\\c")"},
    {"ControlCharacters", "\x01\n\x1F", R"("\u0001\u000a\u001f")"},
    {"DelIsNoControlInJson", "\x7F", "\"\x7F\""},
    {"Utf8GoesThrough", "\xC2\xB0\xE2\x82\xAC\xF0\x9F\x98\x80", "\"\xC2\xB0\xE2\x82\xAC\xF0\x9F\x98\x80\""},
    {"StrayLead", "\xC3(", "\"\xEF\xBF\xBD(\""},
    {"CutSequence", "\xE2\x82", "\"\xEF\xBF\xBD\xEF\xBF\xBD\""},
    {"OverlongSlash", "\xC0\xAF", "\"\xEF\xBF\xBD\xEF\xBF\xBD\""},
    {"Surrogate", "\xED\xA0\x80", "\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\""},
    {"BeyondUnicode", "\xF4\x90\x80\x80", "\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\""},
});

class JsonQuoting : public testing::TestWithParam<QuoteCase>
{
};
} // namespace

TEST_P(JsonQuoting, GivesThisTextAndValidJson)
{
    const std::string quoted = sim::JsonQuote(GetParam().text);
    EXPECT_EQ(quoted, GetParam().quoted);
    EXPECT_TRUE(nlohmann::json::accept(quoted));
}

INSTANTIATE_TEST_SUITE_P(Cases, JsonQuoting, testing::ValuesIn(kQuoteCases),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(JsonWriter, NestsAndSeparates)
{
    sim::CJsonWriter json;
    json.BeginObject();
    json.BeginArray("list");
    json.Number({}, -9'000'000'000);
    json.BeginObject();
    json.EndObject();
    json.EndArray();
    json.Bool("yes", true);
    json.EndObject();
    EXPECT_EQ(json.Text(), "{\n  \"list\": [\n    -9000000000,\n    {}\n  ],\n  \"yes\": true\n}\n");
}
