#include "frame/Xml.h"

#include <gtest/gtest.h>
#include <tinyxml.h>

#include <climits>
#include <optional>
#include <string>
#include <utility>

namespace
{
std::string Repeat(const std::string& text, int times)
{
    std::string all;
    for (int i = 0; i < times; ++i)
    {
        all += text;
    }
    return all;
}

std::string Nested(int depth, const std::string& inner)
{
    return Repeat("<a>", depth) + inner + Repeat("</a>", depth);
}

int ParseId(const std::string& text)
{
    CXmlDocument document;
    const bool parsed = document.Parse(text);
    EXPECT_EQ(parsed, document.ErrorId() == 0);
    return document.ErrorId();
}

TEST(XmlDepth, ElementWithMoreThan100AncestorsTakesNoChild)
{
    for (const char* content : {"", " x ", "&#x<x41;"})
    {
        EXPECT_EQ(ParseId(Nested(101, content)), 0) << content;
    }
    for (const char* child : {"<a></a>", "<a b='1'/>", "<!-- c -->", "text<!-- c -->", "<![CDATA[c]]>",
                              "<?xml ?>", "<!DOCTYPE x>"})
    {
        EXPECT_EQ(ParseId(Nested(100, child)), 0) << child;
        EXPECT_EQ(ParseId(Nested(101, child)), 17) << child;
    }
}

struct CountCase
{
    const char* name;
    std::string text;
    int id;
};

const CountCase kCountCases[] = {
    {"TagsInAComment", "<r><!--" + Repeat("<a>", 200) + "--></r>", 0},
    {"TagsInCdata", "<r><![CDATA[" + Repeat("<a>", 200) + "]]></r>", 0},
    {"TagsInAQuotedValue", "<r b=\"" + Repeat("'><a>", 200) + "\"/>", 0},
    {"TagsInADeclaration", "<r><?xml version='" + Repeat("><a>", 200) + "'?></r>", 0},
    {"TagsInACharacterReference", "<r>&#x" + Repeat("<a>", 200) + "x41;</r>", 0},
    {"Siblings", "<r>" + Repeat("<a>x</a><a b='>'/>", 200) + "</r>", 0},
    {"EndTagInAComment", Repeat("<a><!--</a>-->", 150), 17},
    {"EndTagInAQuotedValue", Repeat("<a b = '/>'>", 150), 17},
    {"EndTagInADeclaration", Repeat("<a><?xml encoding=\"></a>\"?>", 150), 17},
    {"EndTagInACharacterReference", Repeat("<a>&#x</a>x41;", 150), 17},
    {"EndTagInADecimalReference", Repeat("<a>&#</a>#65;", 150), 17},
    {"QuoteInACharacterReference", Repeat("<a b='&#x'/>x41;'>", 150), 17},
    {"ByteOrderMarkFirst", "\xEF\xBB\xBF" + Repeat("<a>", 150), 17},
    {"ByteOrderMarkAfterTheDeclaration", "<?xml ?>\xEF\xBB\xBF" + Repeat("<a>", 150), 17},
    {"DeepEnoughForAnyStack", Repeat("<a>", 1000000), 17},
    {"TextAtTheTopEndsTheParse", "<r/>x" + Repeat("<a>", 150), 0},
    {"SyntaxErrorBeforeTheLimit", Repeat("<a>", 50) + "<a b>" + Repeat("<a>", 150),
     TiXmlBase::TIXML_ERROR_READING_ATTRIBUTES},
    {"SameAttributeTwiceBeforeTheLimit", "<a b='1' b='2'>" + Repeat("<a>", 150),
     TiXmlBase::TIXML_ERROR_PARSING_ELEMENT},
    {"SyntaxErrorBehindTheLimit", Repeat("<a>", 150) + "<a b>", 17},
    {"Empty", "", TiXmlBase::TIXML_ERROR_DOCUMENT_EMPTY},
};

// What looks like a tag and is none must neither open a level nor hide one.
TEST(XmlNesting, IsCountedAsParsed)
{
    for (const CountCase& row : kCountCases)
    {
        EXPECT_EQ(ParseId(row.text), row.id) << row.name;
    }
}

TEST(XmlDocument, TreeStandsUpToTheLimit)
{
    CXmlDocument document;
    EXPECT_FALSE(document.Parse("<r><first/>" + Nested(150, "")));
    EXPECT_EQ(document.ErrorText(),
              "Elements nested too deeply (exceeds the configured maximum parse depth).");
    int elements = 0;
    for (const TiXmlElement* element = document.Root(); element != nullptr;
         element = element->LastChild() != nullptr ? element->LastChild()->ToElement() : nullptr)
    {
        ++elements;
    }
    EXPECT_EQ(elements, 101);
    EXPECT_NE(document.Root("r")->FirstChildElement("first"), nullptr);

    EXPECT_TRUE(document.Parse("<zDVR/>"));
    EXPECT_FALSE(document.HasError());
    EXPECT_EQ(document.Root("r"), nullptr);
}

TEST(XmlDocument, ReadsUpToTheFirstNul)
{
    CXmlDocument document;
    EXPECT_TRUE(document.Parse(std::string("<a b='1'/>\0<", 12)));
    EXPECT_EQ(PrintCompact(document), "<a b=\"1\" />");
}

std::string ThroughPrintAndParse(const std::string& value)
{
    CXmlDocument written;
    StartDocument(written).SetAttribute("Model", value);
    for (const std::string& text : {PrintCompact(written), PrintIndented(written)})
    {
        CXmlDocument read;
        if (!read.Parse(text) || TextAttribute(*read.Root("zDVR"), "Model") != value)
        {
            return "lost: " + text;
        }
    }
    return value;
}

// A lead byte of UTF-8 at the end of a value must not swallow the closing quote.
TEST(XmlDocument, AttributeBytesSurvive)
{
    for (int byte = 1; byte <= 0xFF; ++byte)
    {
        const std::string value = "WDC \xC3\xA9" + std::string(1, static_cast<char>(byte));
        EXPECT_EQ(ThroughPrintAndParse(value), value) << byte;
    }
    for (const char* value :
         {"\xE2\x82", "\xF0\x9F\x92", "\xED\xA0\x80", "\xC0\x80", "\xF4\x90\x80\x80", "\xE2\x82\xAC",
          " two  blanks ", "\"'<>&", "&#x", "&#x41;", "&#65;&amp;", "&#x\"><b c='&#x1"})
    {
        EXPECT_EQ(ThroughPrintAndParse(value), value);
    }
}

TEST(XmlDocument, ByteOrderMarkBeforeTextThatIsNotUtf8)
{
    CXmlDocument document;
    ASSERT_TRUE(document.Parse("\xEF\xBB\xBF<a b=\"\xE9\"/>"));
    EXPECT_EQ(TextAttribute(*document.Root("a"), "b"), "\xE9");
}

TEST(XmlAttributes, IntegersReadLikeThis)
{
    const std::pair<const char*, std::optional<int>> cases[] = {
        {"-12", -12},       {"12abc", 12},       {" 5", 5},
        {"+7", 7},          {"1.9", 1},          {"2147483647", INT_MAX},
        {"4294967295", -1}, {"4294967303", 7},   {"1180591620717411303424", -1},
        {"", std::nullopt}, {"x", std::nullopt},
    };
    for (const auto& [text, value] : cases)
    {
        TiXmlElement element("a");
        element.SetAttribute("b", text);
        EXPECT_EQ(IntAttribute(element, "b"), value) << text;
        EXPECT_EQ(TextAttribute(element, "b"), text);
        EXPECT_EQ(IntAttribute(element, "missing"), std::nullopt);
        EXPECT_EQ(TextAttribute(element, "missing"), std::nullopt);
    }
}

// The library's own printer is the model.
TEST(XmlPrint, FormsAreTheLibrarys)
{
    std::string everyByte;
    for (int byte = 1; byte < 256; ++byte)
    {
        everyByte += static_cast<char>(byte);
    }
    for (const char* text :
         {"<a/>", "<?xml version=\"1.0\" standalone='no'?><a b='1' c='&quot;x' d=\"'\">t&lt;u</a>",
          "<a><b>one</b>two<c/><!-- c --><![CDATA[<d>]]></a>", "<a><![CDATA[x]]></a>",
          "<a>&#x41;&#xA9;&amp;</a>", "<a><b><c><!d e><?f g?></c></b></a><!-- end -->", "<a> </a>",
          "<a><!-- only --></a>"})
    {
        CXmlDocument document;
        ASSERT_TRUE(document.Parse(text)) << text;
        TiXmlElement& root = *document.Tree().RootElement();
        root.SetAttribute("bytes", everyByte);
        root.SetAttribute("reference", "&#x41; &#x");
        AddChild(root, "e").LinkEndChild(new TiXmlText(everyByte));
        for (const bool indented : {false, true})
        {
            TiXmlPrinter model;
            if (!indented)
            {
                model.SetStreamPrinting();
            }
            document.Tree().Accept(&model);
            EXPECT_EQ(indented ? PrintIndented(document) : PrintCompact(document), model.Str()) << text;
        }
    }
}

TEST(XmlPrint, APrintedChildIsLikeAnElement)
{
    CXmlDocument document;
    TiXmlElement& root = StartDocument(document);
    AddPrintedChild(root, R"(a b="1")");
    AddChild(root, "a").SetAttribute("b", 1);
    EXPECT_EQ(PrintCompact(document), R"(<?xml ?><zDVR><a b="1" /><a b="1" /></zDVR>)");
    EXPECT_EQ(PrintIndented(document), "<?xml ?>\n<zDVR>\n    <a b=\"1\" />\n    <a b=\"1\" />\n</zDVR>\n");
}
} // namespace
