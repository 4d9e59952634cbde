// Reading JSON that tools print. Whatever is missing or of another kind is absent, never an error, so a
// client asks for what it wants and looks at the result once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct JsonStore;
class CJsonElements;
struct JsonMember;

// Arrays and objects inside each other; a text with more does not parse.
inline constexpr std::size_t kMaxJsonDepth = 64;

// One value of a document, or no value. Two words, copied freely; it and every string_view taken from it are
// good as long as the document lives, also when the document is moved. Reading is safe from several threads.
class CJsonValue
{
public:
    CJsonValue() = default;

    [[nodiscard]] bool Exists() const { return m_store != nullptr; }
    [[nodiscard]] bool IsObject() const;
    [[nodiscard]] bool IsArray() const;

    // The member of this object with exactly that name, dots included. Of a repeated member the last counts.
    [[nodiscard]] CJsonValue Member(std::string_view name) const;

    // Each dot descends one object: "Command Status.Status". Without a dot the same as Member.
    [[nodiscard]] CJsonValue Find(std::string_view path) const;

    // The elements of this array, in order; none when it is no array.
    [[nodiscard]] CJsonElements Elements() const;

    // The members of this object in order, each name once; none when it is no object.
    [[nodiscard]] std::vector<JsonMember> Members() const;

    // A number truncated toward zero to 64 bits, of which the low 32 are taken: raw SMART counters pack
    // several values into one number. Absent beyond 64 bits. Also a string that begins with an optional "-"
    // and decimal digits, whatever follows them; absent when it does not fit.
    [[nodiscard]] std::optional<std::int32_t> Int32() const;

    // The same in 64 bits; absent when it does not fit.
    [[nodiscard]] std::optional<std::int64_t> Int64() const;

    // Numbers and booleans only, no strings.
    [[nodiscard]] std::optional<double> Double() const;
    [[nodiscard]] std::optional<bool> Bool() const;

    // A JSON string, escapes resolved. Bytes: it may be no valid UTF-8 and may hold NUL.
    [[nodiscard]] std::optional<std::string_view> String() const;

    // The string, empty when there is none.
    [[nodiscard]] std::string Text() const;

private:
    friend class CJsonDocument;
    friend class CJsonElements;

    CJsonValue(const JsonStore* store, std::uint32_t index) : m_store(store), m_index(index) {}
    [[nodiscard]] std::uint32_t Following() const;

    const JsonStore* m_store = nullptr;
    std::uint32_t m_index = 0;
};

struct JsonMember
{
    std::string_view name;
    CJsonValue value;
};

// What a range-for over an array needs.
class CJsonElements
{
public:
    class CIterator
    {
    public:
        explicit CIterator(CJsonValue value) : m_value(value) {}
        CJsonValue operator*() const { return m_value; }
        CIterator& operator++()
        {
            m_value.m_index = m_value.Following();
            return *this;
        }
        bool operator==(const CIterator& other) const { return m_value.m_index == other.m_value.m_index; }

    private:
        CJsonValue m_value;
    };

    CJsonElements(CJsonValue first, CJsonValue last) : m_first(first), m_last(last) {}
    // NOLINTBEGIN(readability-identifier-naming): range-for asks for these names
    [[nodiscard]] CIterator begin() const { return CIterator(m_first); }
    [[nodiscard]] CIterator end() const { return CIterator(m_last); }
    // NOLINTEND(readability-identifier-naming)

private:
    friend class CIterator;

    CJsonValue m_first;
    CJsonValue m_last;
};

// A parsed text. It keeps a copy of what it needs, so the text may go. Move-only; its storage is handed to
// the next document when it ends, any number of documents may live side by side.
class CJsonDocument
{
public:
    // Text after the first complete value is ignored.
    explicit CJsonDocument(std::string_view text);
    ~CJsonDocument();
    CJsonDocument(CJsonDocument&&) noexcept;
    CJsonDocument& operator=(CJsonDocument&&) noexcept;

    // Absent when the text did not parse.
    [[nodiscard]] CJsonValue Root() const;

private:
    std::unique_ptr<JsonStore> m_store;
};
