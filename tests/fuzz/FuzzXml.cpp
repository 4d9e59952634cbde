// Any text: the nesting limit says the same as TinyXML's own tree, and what was read survives printing.
#include "frame/Xml.h"
#include "tests/fuzz/Fuzz.h"

#include <iconv.h>
#include <tinyxml.h>

#include <vector>

namespace
{
// TinyXML alone, without a limit, recurses; texts with more "<" than this are not compared.
constexpr std::ptrdiff_t kMaxMarkups = 1000;

bool IsUtf8(const std::string& text)
{
    static const iconv_t converter = iconv_open("UTF-32", "UTF-8");
    iconv(converter, nullptr, nullptr, nullptr, nullptr);
    std::vector<char> out(text.size() * 4 + 8);
    char* from = const_cast<char*>(text.data());
    std::size_t fromLeft = text.size();
    char* to = out.data();
    std::size_t toLeft = out.size();
    return iconv(converter, &from, &fromLeft, &to, &toLeft) != static_cast<std::size_t>(-1);
}

void RemoveAfter(TiXmlNode& parent, const TiXmlNode* last)
{
    while (parent.LastChild() != last)
    {
        parent.RemoveChild(parent.LastChild());
    }
}

// Removes the first node that begins with "<" and has more ancestors than the limit allows, and all that was
// read after it; true when there was one.
bool CutTooDeep(TiXmlNode& node, int ancestors)
{
    for (TiXmlNode* child = node.FirstChild(); child != nullptr; child = child->NextSibling())
    {
        const bool markup = child->ToText() == nullptr || child->ToText()->CDATA();
        if (markup && ancestors > kMaxParseDepth)
        {
            RemoveAfter(node, child->PreviousSibling());
            return true;
        }
        if (CutTooDeep(*child, ancestors + 1))
        {
            RemoveAfter(node, child);
            return true;
        }
    }
    return false;
}

std::string Print(const TiXmlDocument& tree)
{
    TiXmlPrinter printer;
    printer.SetStreamPrinting();
    tree.Accept(&printer);
    return printer.Str();
}

void CompareWithTinyXml(const CXmlDocument& document, const std::string& text)
{
    TiXmlDocument plain;
    const bool utf8 = IsUtf8(text);
    const bool markSkipped = !utf8 && text.starts_with("\xEF\xBB\xBF");
    plain.Parse(text.c_str() + (markSkipped ? 3 : 0), nullptr,
                utf8 ? TIXML_DEFAULT_ENCODING : TIXML_ENCODING_LEGACY);
    const bool tooDeep = CutTooDeep(plain, 0);
    Require(document.ErrorId() == (tooDeep ? kXmlErrorTooDeep : plain.Error() ? plain.ErrorId() : 0));
    Require(Print(document.Tree()) == Print(plain));
}

// Elements and attributes only, as the plug-in's documents are: blanks around text and odd declarations are
// not kept.
void KeepElements(TiXmlNode& node)
{
    for (TiXmlNode* child = node.FirstChild(); child != nullptr;)
    {
        TiXmlNode* const next = child->NextSibling();
        if (child->ToElement() == nullptr)
        {
            node.RemoveChild(child);
        }
        else
        {
            KeepElements(*child);
        }
        child = next;
    }
}

bool SameElements(const TiXmlNode& a, const TiXmlNode& b)
{
    const TiXmlNode* childA = a.FirstChild();
    const TiXmlNode* childB = b.FirstChild();
    for (; childA != nullptr && childB != nullptr;
         childA = childA->NextSibling(), childB = childB->NextSibling())
    {
        const TiXmlAttribute* attributeA = childA->ToElement()->FirstAttribute();
        const TiXmlAttribute* attributeB = childB->ToElement()->FirstAttribute();
        for (; attributeA != nullptr && attributeB != nullptr;
             attributeA = attributeA->Next(), attributeB = attributeB->Next())
        {
            if (attributeA->NameTStr() != attributeB->NameTStr() ||
                attributeA->ValueStr() != attributeB->ValueStr())
            {
                return false;
            }
        }
        if (attributeA != attributeB || childA->ValueStr() != childB->ValueStr() ||
            !SameElements(*childA, *childB))
        {
            return false;
        }
    }
    return childA == childB;
}

void PrintAndReadBack(CXmlDocument& document)
{
    KeepElements(document.Tree());
    for (const std::string& text : {PrintCompact(document), PrintIndented(document)})
    {
        CXmlDocument again;
        const bool empty = document.Root() == nullptr;
        Require(again.Parse(text) != empty);
        Require(SameElements(document.Tree(), again.Tree()));
    }
}
} // namespace

// First byte: how often the part between the first two NULs is repeated, so that depth is cheap to reach.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
    {
        return 0;
    }
    const auto [before, rest] = Cut(Text(data + 1, size - 1));
    const auto [part, after] = Cut(rest);
    std::string text = before;
    for (int i = 0; i < data[0]; ++i)
    {
        text += part;
    }
    text += after;

    CXmlDocument document;
    const bool parsed = document.Parse(text);
    Require(parsed == !document.HasError());
    text = Cut(text).first;
    if (std::count(text.begin(), text.end(), '<') <= kMaxMarkups)
    {
        CompareWithTinyXml(document, text);
    }
    if (parsed)
    {
        PrintAndReadBack(document);
    }
    return 0;
}
