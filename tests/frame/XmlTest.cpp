#include "frame/Xml.h"

#include <gtest/gtest.h>
#include <tinyxml.h>

#include <climits>
#include <string>

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

struct InnerCase
{
    const char* name;
    const char* inner;
    bool child; // begins with "<"
};

class XmlDepth : public testing::TestWithParam<InnerCase>
{
};

TEST_P(XmlDepth, ElementWithMoreThan100AncestorsTakesNoChild)
{
    EXPECT_EQ(ParseId(Nested(100, GetParam().inner)), 0);
    EXPECT_EQ(ParseId(Nested(101, GetParam().inner)), GetParam().child ? 17 : 0);
}

constexpr InnerCase kInnerCases[] = {
    {"Nothing", "", false},
    {"Text", " x ", false},
    {"TextWithReference", "&#x<x41;", false},
    {"Element", "<a></a>", true},
    {"EmptyElement", "<a b='1'/>", true},
    {"Comment", "<!-- c -->", true},
    {"CommentAfterText", "text<!-- c -->", true},
    {"Cdata", "<![CDATA[c]]>", true},
    {"Declaration", "<?xml ?>", true},
    {"Unknown", "<!DOCTYPE x>", true},
};
INSTANTIATE_TEST_SUITE_P(Cases, XmlDepth, testing::ValuesIn(kInnerCases),
                         [](const auto& test) { return std::string(test.param.name); });

struct CountCase
{
    const char* name;
    std::string text;
    int id;
};

class XmlNesting : public testing::TestWithParam<CountCase>
{
};

// What looks like a tag and is none must neither open a level nor hide one.
TEST_P(XmlNesting, IsCountedAsParsed)
{
    CXmlDocument document;
    EXPECT_EQ(document.Parse(GetParam().text), GetParam().id == 0);
    EXPECT_EQ(document.ErrorId(), GetParam().id) << document.ErrorText();
}

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
INSTANTIATE_TEST_SUITE_P(Cases, XmlNesting, testing::ValuesIn(kCountCases),
                         [](const auto& test) { return std::string(test.param.name); });

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

TEST(XmlDocument, PrintsInTwoForms)
{
    CXmlDocument document;
    TiXmlElement& root = StartDocument(document);
    root.SetAttribute("Delta", 0);
    AddChild(AddChild(root, "Storage"), "Disk").SetAttribute("Label", "a<b>&\n");
    EXPECT_EQ(PrintCompact(document), "<?xml ?><zDVR Delta=\"0\"><Storage>"
                                      "<Disk Label=\"a&lt;b&gt;&amp;&#x0A;\" /></Storage></zDVR>");
    EXPECT_EQ(PrintIndented(document), "<?xml ?>\n"
                                       "<zDVR Delta=\"0\">\n"
                                       "    <Storage>\n"
                                       "        <Disk Label=\"a&lt;b&gt;&amp;&#x0A;\" />\n"
                                       "    </Storage>\n"
                                       "</zDVR>\n");
}

TEST(XmlAttributes, IntegersReadLikeThis)
{
    CXmlDocument document;
    ASSERT_TRUE(document.Parse(
        "<a plain='-12' tail='12abc' blank=' 5' empty='' word='x' plus='+7' half='1.9'"
        " max='2147483647' bits32='4294967295' bits33='4294967303' bits70='1180591620717411303424'/>"));
    const TiXmlElement& element = *document.Root("a");
    EXPECT_EQ(IntAttribute(element, "plain"), -12);
    EXPECT_EQ(IntAttribute(element, "tail"), 12);
    EXPECT_EQ(IntAttribute(element, "blank"), 5);
    EXPECT_EQ(IntAttribute(element, "plus"), 7);
    EXPECT_EQ(IntAttribute(element, "half"), 1);
    EXPECT_EQ(IntAttribute(element, "max"), INT_MAX);
    EXPECT_EQ(IntAttribute(element, "bits32"), -1);
    EXPECT_EQ(IntAttribute(element, "bits33"), 7);
    EXPECT_EQ(IntAttribute(element, "bits70"), -1);
    EXPECT_EQ(IntAttribute(element, "empty"), std::nullopt);
    EXPECT_EQ(IntAttribute(element, "word"), std::nullopt);
    EXPECT_EQ(IntAttribute(element, "missing"), std::nullopt);
    EXPECT_EQ(TextAttribute(element, "empty"), "");
    EXPECT_EQ(TextAttribute(element, "missing"), std::nullopt);
}
// The library's own printer is the model.
TEST(XmlPrint, FormsAreTheLibrarys)
{
    const std::string everyByte = []
    {
        std::string bytes;
        for (int byte = 1; byte < 256; ++byte)
        {
            bytes += static_cast<char>(byte);
        }
        return bytes;
    }();
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
