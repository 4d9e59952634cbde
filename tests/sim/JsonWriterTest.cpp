#include "sim/JsonWriter.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

TEST(JsonQuoting, GivesThisTextAndValidJson)
{
    using Row = std::pair<std::string_view, std::string_view>;
    for (const auto& [text, expected] : {
             Row{"a\"b\\c", R"("a\"b\\c")"}, Row{"\x01\n\x1F", R"("\u0001\u000a\u001f")"},
             Row{"\x7F", "\"\x7F\""}, // no control character in JSON
             Row{"\xC2\xB0\xE2\x82\xAC\xF0\x9F\x98\x80", "\"\xC2\xB0\xE2\x82\xAC\xF0\x9F\x98\x80\""},
             Row{"\xC3(", "\"\xEF\xBF\xBD(\""}, Row{"\xE2\x82", "\"\xEF\xBF\xBD\xEF\xBF\xBD\""}, // cut
             Row{"\xC0\xAF", "\"\xEF\xBF\xBD\xEF\xBF\xBD\""},                                    // overlong
             Row{"\xED\xA0\x80", "\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\""},                 // a surrogate
             Row{"\xF4\x90\x80\x80", "\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\""}, // too high
         })
    {
        const std::string quoted = sim::JsonQuote(text);
        EXPECT_EQ(quoted, expected);
        EXPECT_TRUE(nlohmann::json::accept(quoted));
    }
}

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
