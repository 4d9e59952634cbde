#include "frame/Xml.h"

#include <tinyxml.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <type_traits>
#include <vector>

namespace
{
constexpr const char* kTooDeepText =
    "Elements nested too deeply (exceeds the configured maximum parse depth).";
constexpr const char* kByteOrderMark = "\xEF\xBB\xBF";

// TinyXML under UTF-8 steps over a lead byte together with what follows it, a closing quote included. A text
// that is not UTF-8 throughout is therefore read byte by byte.
bool IsUtf8(std::string_view text)
{
    for (std::size_t i = 0; i < text.size();)
    {
        const auto lead = static_cast<unsigned char>(text[i]);
        std::size_t more = 0;
        unsigned char lowest = 0x80;
        unsigned char highest = 0xBF;
        if (lead < 0x80)
        {
            ++i;
            continue;
        }
        if (lead >= 0xC2 && lead <= 0xDF)
        {
            more = 1;
        }
        else if (lead >= 0xE0 && lead <= 0xEF)
        {
            more = 2;
            lowest = lead == 0xE0 ? 0xA0 : 0x80;  // no overlong forms
            highest = lead == 0xED ? 0x9F : 0xBF; // no surrogates
        }
        else if (lead >= 0xF0 && lead <= 0xF4)
        {
            more = 3;
            lowest = lead == 0xF0 ? 0x90 : 0x80;
            highest = lead == 0xF4 ? 0x8F : 0xBF; // nothing beyond U+10FFFF
        }
        else
        {
            return false;
        }
        if (i + more >= text.size())
        {
            return false;
        }
        for (std::size_t k = 1; k <= more; ++k)
        {
            const auto next = static_cast<unsigned char>(text[i + k]);
            if (next < (k == 1 ? lowest : 0x80) || next > (k == 1 ? highest : 0xBF))
            {
                return false;
            }
        }
        i += more + 1;
    }
    return true;
}

// Walks through a text as TinyXML will, but with a list in place of recursion. TinyXML's own readers take
// everything that holds no elements, so that both agree on where a quote, a character reference or a
// declaration ends. Never instantiated: deriving opens the readers.
class CDepthScan : private TiXmlBase
{
public:
    // The "<" before which the nesting limit stops the parse; null when the text keeps the limit, or when
    // TinyXML stops earlier for a reason of its own.
    static const char* Find(const char* text, TiXmlEncoding encoding)
    {
        if (encoding == TIXML_ENCODING_UNKNOWN && std::string_view(text).starts_with(kByteOrderMark))
        {
            encoding = TIXML_ENCODING_UTF8;
        }
        std::vector<std::string>
            open; // names; the innermost element has open.size() ancestors, the document included
        const char* p = SkipWhiteSpace(text, encoding);
        while (p != nullptr && *p != '\0')
        {
            if (*p != '<')
            {
                p = open.empty() ? nullptr : SkipText(p, encoding);
            }
            else if (!open.empty() && p[1] == '/')
            {
                p = SkipEndTag(p, encoding, open.back());
                open.pop_back();
            }
            else if (open.size() > static_cast<std::size_t>(kMaxParseDepth))
            {
                return p;
            }
            else
            {
                p = SkipNodeOrStartTag(p, encoding, open);
            }
            p = SkipWhiteSpace(p, encoding);
        }
        return nullptr;
    }

private:
    // These return what stands behind, null where TinyXML stops with an error.

    // Character data or a CDATA section.
    static const char* SkipText(const char* p, TiXmlEncoding encoding)
    {
        return TiXmlText("").Parse(p, nullptr, encoding);
    }

    static const char* SkipEndTag(const char* p, TiXmlEncoding encoding, const std::string& name)
    {
        if (!StringEqual(p, ("</" + name).c_str(), false,
                         encoding)) // which asserts that `p` is no empty text
        {
            return nullptr;
        }
        p = SkipWhiteSpace(p + 2 + name.size(), encoding);
        return p != nullptr && *p == '>' ? p + 1 : nullptr;
    }

    static const char* SkipNodeOrStartTag(const char* p, TiXmlEncoding& encoding,
                                          std::vector<std::string>& open)
    {
        if (StringEqual(p, "<?xml", true, encoding))
        {
            TiXmlDeclaration declaration;
            p = declaration.Parse(p, nullptr, encoding);
            if (open.empty() && encoding == TIXML_ENCODING_UNKNOWN)
            {
                encoding = DeclaredEncoding(declaration.Encoding());
            }
            return p;
        }
        if (StringEqual(p, "<!--", false, encoding))
        {
            return TiXmlComment().Parse(p, nullptr, encoding);
        }
        if (StringEqual(p, "<![CDATA[", false, encoding))
        {
            return SkipText(p, encoding);
        }
        if (IsAlpha(static_cast<unsigned char>(p[1]), encoding) != 0 || p[1] == '_')
        {
            return SkipStartTag(p + 1, encoding, open);
        }
        return TiXmlUnknown().Parse(p, nullptr, encoding);
    }

    // Only the first declaration at the top counts.
    static TiXmlEncoding DeclaredEncoding(const char* name)
    {
        const bool utf8 = *name == '\0' || StringEqual(name, "UTF-8", true, TIXML_ENCODING_UNKNOWN) ||
                          StringEqual(name, "UTF8", true, TIXML_ENCODING_UNKNOWN);
        return utf8 ? TIXML_ENCODING_UTF8 : TIXML_ENCODING_LEGACY;
    }

    // An attribute of the plain kind, as almost all are: letters, "=", a text in double quotes without a
    // character reference. Reading it builds nothing. Null for any other, which is for TinyXML's reader.
    static const char* SkipPlainAttribute(const char* p, std::string_view& name)
    {
        const char* const start = p;
        while ((*p >= 'a' && *p <= 'z') || (*p >= 'A' && *p <= 'Z'))
        {
            ++p;
        }
        name = {start, static_cast<std::size_t>(p - start)};
        if (name.empty() || p[0] != '=' || p[1] != '"')
        {
            return nullptr;
        }
        p = std::strpbrk(p + 2, "\"&");
        return p != nullptr && *p == '"' ? p + 1 : nullptr;
    }

    static const char* SkipAttribute(const char* p, TiXmlEncoding encoding, std::string_view& name)
    {
        if (const char* const behind = SkipPlainAttribute(p, name))
        {
            return behind;
        }
        TiXmlAttribute attribute;
        const char* const behind = attribute.Parse(p, nullptr, encoding);
        name = {p, std::strlen(attribute.Name())};
        return behind;
    }

    // Adds the element to the open ones unless it is empty ("/>").
    static const char* SkipStartTag(const char* p, TiXmlEncoding encoding, std::vector<std::string>& open)
    {
        std::string name;
        std::vector<std::string_view> attributeNames;
        attributeNames.reserve(8);
        p = ReadName(p, &name, encoding);
        while (p != nullptr && *p != '\0')
        {
            p = SkipWhiteSpace(p, encoding);
            if (p == nullptr || *p == '\0')
            {
                return nullptr;
            }
            if (*p == '/')
            {
                return p[1] == '>' ? p + 2 : nullptr;
            }
            if (*p == '>')
            {
                open.push_back(name);
                return p + 1;
            }
            std::string_view attribute;
            p = SkipAttribute(p, encoding, attribute);
            if (std::find(attributeNames.begin(), attributeNames.end(), attribute) != attributeNames.end())
            {
                return nullptr; // the same attribute twice
            }
            attributeNames.push_back(attribute);
        }
        return nullptr;
    }
};

std::optional<std::string> ReadWholeFile(const std::string& name)
{
    std::FILE* file = std::fopen(name.c_str(), "rb");
    if (file == nullptr)
    {
        return std::nullopt;
    }
    std::string text;
    char buffer[16384];
    std::size_t got = 0;
    while ((got = std::fread(buffer, 1, sizeof buffer, file)) > 0)
    {
        text.append(buffer, got);
    }
    const bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (failed)
    {
        return std::nullopt;
    }
    return text;
}

// CR LF and single CR become LF.
std::string NormaliseLineEnds(const std::string& text)
{
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        if (text[i] != '\r')
        {
            out += text[i];
        }
        else if (i + 1 >= text.size() || text[i + 1] != '\n')
        {
            out += '\n';
        }
    }
    return out;
}
} // namespace

CXmlDocument::CXmlDocument() : m_tree(std::make_unique<TiXmlDocument>()) {}
CXmlDocument::~CXmlDocument() = default;
CXmlDocument::CXmlDocument(CXmlDocument&&) noexcept = default;
CXmlDocument& CXmlDocument::operator=(CXmlDocument&&) noexcept = default;

void CXmlDocument::SetError(int id, std::string text)
{
    m_errorId = id;
    m_errorText = std::move(text);
}

bool CXmlDocument::Parse(const std::string& text)
{
    m_tree = std::make_unique<TiXmlDocument>();
    SetError(0, {});
    std::string whole = text.substr(0, text.find('\0'));
    TiXmlEncoding encoding = TIXML_DEFAULT_ENCODING;
    if (!IsUtf8(whole))
    {
        encoding = TIXML_ENCODING_LEGACY;
        if (whole.starts_with(kByteOrderMark))
        {
            whole.erase(0, std::strlen(kByteOrderMark)); // TinyXML knows it under UTF-8 only
        }
    }

    const char* const tooDeep = CDepthScan::Find(whole.c_str(), encoding);
    if (tooDeep != nullptr)
    {
        whole.resize(static_cast<std::size_t>(tooDeep - whole.c_str()));
    }
    m_tree->Parse(whole.c_str(), nullptr, encoding);
    if (tooDeep != nullptr)
    {
        SetError(kXmlErrorTooDeep, kTooDeepText);
    }
    else if (m_tree->Error())
    {
        SetError(m_tree->ErrorId(), m_tree->ErrorDesc());
    }
    return !HasError();
}

bool CXmlDocument::LoadFile(const std::string& name)
{
    const std::optional<std::string> text = ReadWholeFile(name);
    if (!text)
    {
        m_tree = std::make_unique<TiXmlDocument>();
        SetError(kXmlErrorOpeningFile, "Failed to open file");
        return false;
    }
    return Parse(NormaliseLineEnds(*text));
}

bool CXmlDocument::WriteFile(const std::string& name) const
{
    std::FILE* file = std::fopen(name.c_str(), "w");
    if (file == nullptr)
    {
        return false;
    }
    const std::string text = PrintIndented(*this);
    const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    return std::fclose(file) == 0 && written;
}

const TiXmlElement* CXmlDocument::Root(const char* name) const
{
    return m_tree->FirstChildElement(name);
}

const TiXmlElement* CXmlDocument::Root() const
{
    return m_tree->RootElement();
}

TiXmlElement& StartDocument(CXmlDocument& document)
{
    document.Tree().LinkEndChild(new TiXmlDeclaration("", "", ""));
    return *document.Tree().LinkEndChild(new TiXmlElement("zDVR"))->ToElement();
}

TiXmlElement& AddChild(TiXmlElement& parent, const char* name)
{
    return *parent.LinkEndChild(new TiXmlElement(name))->ToElement();
}

void AdoptChild(TiXmlElement& parent, std::unique_ptr<TiXmlElement> child)
{
    if (child != nullptr)
    {
        parent.LinkEndChild(child.release());
    }
}

void AddPrintedChild(TiXmlElement& parent, std::string_view nameAndAttributes)
{
    // The library prints what it does not understand as it stands between "<" and ">".
    class CPrintedNode final : public TiXmlUnknown
    {
    public:
        explicit CPrintedNode(std::string_view text)
        {
            constexpr std::string_view kNoChildren = " /";
            value.reserve(text.size() + kNoChildren.size());
            value.append(text).append(kNoChildren);
        }
    };
    parent.LinkEndChild(new CPrintedNode(nameAndAttributes));
}

void SetWideAttribute(TiXmlElement& element, const char* name, std::int64_t value)
{
    element.SetAttribute(name, std::to_string(value));
}

std::optional<int> IntAttribute(const TiXmlElement& element, const char* name)
{
    int value = 0;
    if (element.QueryIntAttribute(name, &value) != TIXML_SUCCESS)
    {
        return std::nullopt;
    }
    return value;
}

std::optional<double> DoubleAttribute(const TiXmlElement& element, const char* name)
{
    // Not the library's reader, which wants what the host's locale has for a point.
    static const std::unique_ptr<std::remove_pointer_t<locale_t>, void (*)(locale_t)> plain(
        newlocale(LC_ALL_MASK, "C", nullptr), [](locale_t locale) { freelocale(locale); });
    const char* const text = element.Attribute(name);
    if (text == nullptr)
    {
        return std::nullopt;
    }
    char* end = nullptr;
    const double value = strtod_l(text, &end, plain.get());
    return end != text ? std::optional(value) : std::nullopt;
}

std::optional<std::string> TextAttribute(const TiXmlElement& element, const char* name)
{
    const std::string* value = element.Attribute(std::string(name));
    if (value == nullptr)
    {
        return std::nullopt;
    }
    return *value;
}
