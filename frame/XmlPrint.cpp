// Printing of XML documents. The forms are the library's own, but a document of many disks is half a
// megabyte, and the library encodes every name and value into texts of its own first.
#include "frame/Xml.h"

#include <tinyxml.h>

#include <array>
#include <atomic>
#include <string_view>

namespace
{
constexpr std::string_view kIndent = "    ";

// Characters that the library writes as references: & < > " ' and the control characters.
constexpr auto kEncoded = []
{
    std::array<bool, 256> encoded{};
    for (unsigned int control = 0; control < ' '; ++control)
    {
        encoded[control] = true;
    }
    for (const char special : std::string_view("&<>\"'"))
    {
        encoded[static_cast<unsigned char>(special)] = true;
    }
    return encoded;
}();

class CPrinter final : public TiXmlVisitor
{
public:
    CPrinter(bool indented, std::size_t expectedLength) : m_indented(indented)
    {
        m_text.reserve(expectedLength);
    }

    bool VisitEnter(const TiXmlDocument& /*document*/) override { return true; }
    bool VisitExit(const TiXmlDocument& /*document*/) override { return true; }

    bool VisitEnter(const TiXmlElement& element, const TiXmlAttribute* attribute) override
    {
        Indent();
        m_text += '<';
        m_text += element.ValueStr();
        for (; attribute != nullptr; attribute = attribute->Next())
        {
            m_text += ' ';
            Encode(attribute->NameTStr());
            const bool doubleQuotes = attribute->ValueStr().find('"') == std::string::npos;
            m_text += doubleQuotes ? "=\"" : "='";
            Encode(attribute->ValueStr());
            m_text += doubleQuotes ? '"' : '\'';
        }
        ++m_depth;
        const TiXmlNode* const child = element.FirstChild();
        if (child == nullptr)
        {
            m_text += " />";
            EndLine();
            return true;
        }
        m_text += '>';
        const TiXmlText* const text = child == element.LastChild() ? child->ToText() : nullptr;
        m_textOnly = text != nullptr && !text->CDATA();
        if (!m_textOnly)
        {
            EndLine();
        }
        return true;
    }

    bool VisitExit(const TiXmlElement& element) override
    {
        --m_depth;
        if (element.FirstChild() == nullptr)
        {
            return true;
        }
        if (!m_textOnly)
        {
            Indent();
        }
        m_textOnly = false;
        m_text += "</";
        m_text += element.ValueStr();
        m_text += '>';
        EndLine();
        return true;
    }

    bool Visit(const TiXmlUnknown& unknown) override
    {
        Indent();
        m_text += '<';
        m_text += unknown.ValueStr();
        m_text += '>';
        EndLine();
        return true;
    }

    bool Visit(const TiXmlText& text) override
    {
        if (m_textOnly)
        {
            Encode(text.ValueStr());
            return true;
        }
        return ByTheLibrary(text);
    }
    bool Visit(const TiXmlDeclaration& declaration) override { return ByTheLibrary(declaration); }
    bool Visit(const TiXmlComment& comment) override { return ByTheLibrary(comment); }

    std::string TakeText() { return std::move(m_text); }

private:
    void Indent()
    {
        for (int level = 0; m_indented && level < m_depth; ++level)
        {
            m_text += kIndent;
        }
    }

    void EndLine()
    {
        if (m_indented)
        {
            m_text += '\n';
        }
    }

    void Encode(const std::string& text)
    {
        for (const char character : text)
        {
            if (kEncoded[static_cast<unsigned char>(character)])
            {
                TiXmlBase::EncodeString(text, &m_encoded);
                m_text += m_encoded;
                m_encoded.clear();
                return;
            }
        }
        m_text += text;
    }

    bool ByTheLibrary(const TiXmlNode& node)
    {
        TiXmlPrinter printer;
        if (!m_indented)
        {
            printer.SetStreamPrinting();
        }
        Indent();
        node.Accept(&printer);
        m_text += printer.Str();
        return true;
    }

    const bool m_indented;
    int m_depth = 0;
    bool m_textOnly = false; // inside an element that holds nothing but a text
    std::string m_text;
    std::string m_encoded;
};

// Length of the last text. The large documents of an appliance are alike, and growing to their size copies
// them twice over; a small one after a large one gives the room back when it has been sent.
std::atomic<std::size_t> lastLength{0};

std::string Print(const CXmlDocument& document, bool indented)
{
    constexpr std::size_t kSpare = 1024;
    CPrinter printer(indented, lastLength + kSpare);
    document.Tree().Accept(&printer);
    std::string text = printer.TakeText();
    lastLength = text.size();
    return text;
}
} // namespace

std::string PrintCompact(const CXmlDocument& document)
{
    return Print(document, false);
}

std::string PrintIndented(const CXmlDocument& document)
{
    return Print(document, true);
}
