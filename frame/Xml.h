// XML documents: TinyXML with a limit on element nesting, an error state of our own, and the two printing
// forms. All texts are bytes and go through unchanged.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

class TiXmlDocument;
class TiXmlElement;

// An element may have at most this many ancestors, the document included, and still receive children.
inline constexpr int kMaxParseDepth = 100;

// Error ids of a document. Ids 1 to 16 are TinyXML's own.
inline constexpr int kXmlErrorOpeningFile = 2;
inline constexpr int kXmlErrorTooDeep = 17;

// A TinyXML tree with the result of its last parse, load or save. Not locked; one thread at a time.
class CXmlDocument
{
public:
    CXmlDocument();
    ~CXmlDocument();
    CXmlDocument(CXmlDocument&&) noexcept;
    CXmlDocument& operator=(CXmlDocument&&) noexcept;

    // Replaces the tree. False on a syntax error or when elements are nested too deeply; the tree then stands
    // as far as it was built. Reads up to the first NUL.
    bool Parse(const std::string& text);

    // Reads the whole file ("rb", CR LF and CR become LF) and parses it. False when it cannot be read, is
    // empty or does not parse.
    bool LoadFile(const std::string& name);

    // Prints the tree to the file (mode "w") without any of the care of SaveXmlFile. False when it cannot be
    // written.
    [[nodiscard]] bool WriteFile(const std::string& name) const;

    [[nodiscard]] TiXmlDocument& Tree() { return *m_tree; }
    [[nodiscard]] const TiXmlDocument& Tree() const { return *m_tree; }

    // The first element of that name at the top, null when there is none.
    [[nodiscard]] const TiXmlElement* Root(const char* name) const;
    [[nodiscard]] const TiXmlElement* Root() const;

    [[nodiscard]] bool HasError() const { return m_errorId != 0; }
    [[nodiscard]] int ErrorId() const { return m_errorId; }
    [[nodiscard]] const std::string& ErrorText() const { return m_errorText; }
    void SetError(int id, std::string text);

private:
    std::unique_ptr<TiXmlDocument> m_tree;
    int m_errorId = 0;
    std::string m_errorText;
};

// Adds the declaration without attributes and the root "zDVR"; returns the root, owned by the document.
TiXmlElement& StartDocument(CXmlDocument& document);

// Adds a new child element and returns it, owned by its parent.
TiXmlElement& AddChild(TiXmlElement& parent, const char* name);

// Adds an element made elsewhere; nothing when it is null.
void AdoptChild(TiXmlElement& parent, std::unique_ptr<TiXmlElement> child);

// Adds a childless element already in its printed form, name and attributes without the brackets. It prints
// as an element does and is none to a search: for lists so long that a node for each attribute takes longer
// than all else.
void AddPrintedChild(TiXmlElement& parent, std::string_view nameAndAttributes);

// Sets a number beyond 32 bits, such as a time in seconds.
void SetWideAttribute(TiXmlElement& element, const char* name, std::int64_t value);

// No indentation, no line breaks: the form for the host.
std::string PrintCompact(const CXmlDocument& document);

// Four blanks for each level, a line feed after each line: the form of files.
std::string PrintIndented(const CXmlDocument& document);

// A decimal integer at the attribute's start ("12abc" is 12, leading blanks allowed, low 32 bits of a larger
// number); absent when the attribute is missing or begins otherwise.
std::optional<int> IntAttribute(const TiXmlElement& element, const char* name);

// A number at the attribute's start, written with a point in every locale (leading blanks, exponents and
// hexadecimal forms allowed); absent when the attribute is missing or begins otherwise.
std::optional<double> DoubleAttribute(const TiXmlElement& element, const char* name);

// The attribute's text, empty included; absent when the attribute is missing.
std::optional<std::string> TextAttribute(const TiXmlElement& element, const char* name);
