#include "storage/Json.h"

#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/src.hpp>

#include <algorithm>
#include <charconv>
#include <limits>
#include <mutex>
#include <system_error>
#include <unordered_map>
#include <utility>

namespace
{
enum class Kind : std::uint32_t
{
    Null,
    Bool,
    Signed,
    Unsigned, // only beyond the signed range
    Double,
    String,
    Array,
    Object,
};

// A place in JsonStore::chars.
struct Piece
{
    std::uint32_t offset = 0;
    std::uint32_t length = 0;
};

// Values lie in the order of the text, a container before its content: the first child is the next node, and
// `following` is the node after the last one inside.
struct Node
{
    Kind kind = Kind::Null;
    std::uint32_t following = 0; // of a container that is still open: the container around it
    Piece name;                  // of no meaning in an array
    union
    {
        bool boolean;
        std::int64_t signedValue;
        std::uint64_t unsignedValue;
        double doubleValue;
        Piece text;
    };

    explicit Node(Kind nodeKind) : kind(nodeKind), signedValue(0) {}
};

constexpr std::uint32_t kNone = 0xFFFFFFFF;

// Larger stores are given back to the system: one huge answer is no reason to keep its memory for ever.
constexpr std::size_t kLargestKeptText = std::size_t{4} << 20;
constexpr std::size_t kLargestKeptNodes = std::size_t{256} << 10;

// Offsets are 32 bits wide and cover the text twice.
constexpr std::size_t kLongestText = std::size_t{0x7FFFFFFF};
} // namespace

struct JsonStore
{
    // A copy of the text, which strings without escapes point into, then room for the resolved strings. Those
    // are never longer than what they were written as, so twice the length of the text is enough.
    std::unique_ptr<char[]> chars;
    std::size_t capacity = 0;
    std::vector<Node> nodes;

    [[nodiscard]] std::string_view View(Piece piece) const
    {
        return {chars.get() + piece.offset, piece.length};
    }

    char* Prepare(std::string_view text)
    {
        if (capacity < 2 * text.size() || !chars)
        {
            capacity = 2 * text.size() + 1;
            chars.reset(new char[capacity]);
        }
        nodes.clear();
        std::copy(text.begin(), text.end(), chars.get());
        return chars.get();
    }
};

namespace
{
// One store waiting for the next document. Tools are asked one after the other, so one is enough; a second
// document that lives at the same time gets a store of its own. Not thread_local: the destructor of such a
// variable would keep the plug-in's code loaded until the host's thread ends.
class CSpareStore
{
public:
    std::unique_ptr<JsonStore> Take()
    {
        std::unique_ptr<JsonStore> store;
        {
            const std::lock_guard lock(m_mutex);
            store.swap(m_store);
        }
        if (!store)
        {
            store = std::make_unique<JsonStore>();
        }
        return store;
    }

    // Takes the store, or leaves it with its owner when it is too large to keep.
    void Give(std::unique_ptr<JsonStore>& store)
    {
        if (store && store->capacity <= 2 * kLargestKeptText + 1 &&
            store->nodes.capacity() <= kLargestKeptNodes)
        {
            const std::lock_guard lock(m_mutex);
            m_store = std::move(store);
        }
    }

private:
    std::mutex m_mutex;
    std::unique_ptr<JsonStore> m_store;
};

CSpareStore& SpareStore()
{
    static CSpareStore spare;
    return spare;
}

// Receives the library's parse events and lays the nodes down. The library's own tree takes a third more time
// even in memory that is used again, three times as long in fresh memory, and ties each value to that
// memory's owner.
class CNodeBuilder
{
public:
    // The library asks for these names. NOLINTBEGIN(readability-identifier-naming)
    static constexpr std::size_t max_object_size = std::numeric_limits<std::size_t>::max();
    static constexpr std::size_t max_array_size = std::numeric_limits<std::size_t>::max();
    static constexpr std::size_t max_key_size = std::numeric_limits<std::size_t>::max();
    static constexpr std::size_t max_string_size = std::numeric_limits<std::size_t>::max();

    using error_code = boost::json::error_code;
    using string_view = boost::json::string_view;

    CNodeBuilder(JsonStore& store, std::size_t textLength)
        : m_nodes(store.nodes),
          m_chars(store.chars.get()),
          m_textLength(textLength),
          m_resolvedEnd(textLength)
    {
    }

    bool on_document_begin(error_code&) { return true; }
    bool on_document_end(error_code&) { return true; }
    bool on_object_begin(error_code&) { return Open(Kind::Object); }
    bool on_object_end(std::size_t, error_code&) { return Close(); }
    bool on_array_begin(error_code&) { return Open(Kind::Array); }
    bool on_array_end(std::size_t, error_code&) { return Close(); }
    bool on_key_part(string_view part, std::size_t, error_code&) { return Append(part); }
    bool on_key(string_view part, std::size_t length, error_code&)
    {
        m_name = Finish(part, length);
        return true;
    }
    bool on_string_part(string_view part, std::size_t, error_code&) { return Append(part); }
    bool on_string(string_view part, std::size_t length, error_code&)
    {
        Add(Kind::String).text = Finish(part, length);
        return true;
    }
    bool on_number_part(string_view, error_code&) { return true; }
    bool on_int64(std::int64_t value, string_view, error_code&)
    {
        Add(Kind::Signed).signedValue = value;
        return true;
    }
    bool on_uint64(std::uint64_t value, string_view, error_code&)
    {
        Add(Kind::Unsigned).unsignedValue = value;
        return true;
    }
    bool on_double(double value, string_view, error_code&)
    {
        Add(Kind::Double).doubleValue = value;
        return true;
    }
    bool on_bool(bool value, error_code&)
    {
        Add(Kind::Bool).boolean = value;
        return true;
    }
    bool on_null(error_code&)
    {
        Add(Kind::Null);
        return true;
    }
    bool on_comment_part(string_view, error_code&) { return true; }
    bool on_comment(string_view, error_code&) { return true; }
    // NOLINTEND(readability-identifier-naming)

private:
    Node& Add(Kind kind)
    {
        Node& node = m_nodes.emplace_back(kind);
        node.following = static_cast<std::uint32_t>(m_nodes.size());
        node.name = m_name;
        return node;
    }

    bool Open(Kind kind)
    {
        Add(kind).following = m_open;
        m_open = static_cast<std::uint32_t>(m_nodes.size() - 1);
        return true;
    }

    bool Close()
    {
        Node& node = m_nodes[m_open];
        m_open = std::exchange(node.following, static_cast<std::uint32_t>(m_nodes.size()));
        return true;
    }

    bool Append(string_view part)
    {
        std::copy(part.begin(), part.end(), m_chars + m_resolvedEnd);
        m_resolvedEnd += part.size();
        return true;
    }

    // A string that came in one piece out of our copy of the text stays where it is.
    Piece Finish(string_view part, std::size_t length)
    {
        const auto offset =
            reinterpret_cast<std::uintptr_t>(part.data()) - reinterpret_cast<std::uintptr_t>(m_chars);
        if (part.size() == length && offset < m_textLength)
        {
            return {static_cast<std::uint32_t>(offset), static_cast<std::uint32_t>(length)};
        }
        Append(part);
        return {static_cast<std::uint32_t>(m_resolvedEnd - length), static_cast<std::uint32_t>(length)};
    }

    std::vector<Node>& m_nodes;
    char* m_chars;
    std::size_t m_textLength;
    std::size_t m_resolvedEnd;
    std::uint32_t m_open = kNone;
    Piece m_name;
};

bool Build(JsonStore& store, std::string_view text)
{
    if (text.size() > kLongestText)
    {
        return false;
    }
    const char* copy = store.Prepare(text);
    boost::json::parse_options options;
    options.max_depth = kMaxJsonDepth;
    options.allow_invalid_utf8 = true; // model names are whatever the drive's maker burnt in
    boost::json::basic_parser<CNodeBuilder> parser(options, store, text.size());
    boost::json::error_code error;
    parser.write_some(false, copy, text.size(), error);
    return !error && parser.done();
}

// -2^63 and 2^64, both exact as double.
constexpr double kLowest64 = -9223372036854775808.0;
constexpr double kBeyondSigned64 = 9223372036854775808.0;
constexpr double kBeyond64 = 18446744073709551616.0;

// The number's 64 bits, the value itself when it is signed.
std::optional<std::uint64_t> Bits64(const Node& node)
{
    switch (node.kind)
    {
    case Kind::Signed:
        return static_cast<std::uint64_t>(node.signedValue);
    case Kind::Unsigned:
        return node.unsignedValue;
    case Kind::Double:
        if (node.doubleValue >= kBeyondSigned64 && node.doubleValue < kBeyond64)
        {
            return static_cast<std::uint64_t>(node.doubleValue);
        }
        if (node.doubleValue >= kLowest64 && node.doubleValue < kBeyondSigned64)
        {
            return static_cast<std::uint64_t>(static_cast<std::int64_t>(node.doubleValue));
        }
        return {};
    default:
        return {};
    }
}

template <typename Integer>
std::optional<Integer> LeadingInteger(std::string_view text)
{
    Integer value{};
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc{} ? std::optional<Integer>(value) : std::nullopt;
}
} // namespace

bool CJsonValue::IsObject() const
{
    return m_store != nullptr && m_store->nodes[m_index].kind == Kind::Object;
}

bool CJsonValue::IsArray() const
{
    return m_store != nullptr && m_store->nodes[m_index].kind == Kind::Array;
}

std::uint32_t CJsonValue::Following() const
{
    return m_store->nodes[m_index].following;
}

CJsonValue CJsonValue::Member(std::string_view name) const
{
    if (!IsObject())
    {
        return {};
    }
    const Node* const nodes = m_store->nodes.data();
    std::uint32_t found = 0;
    for (std::uint32_t i = m_index + 1; i < nodes[m_index].following; i = nodes[i].following)
    {
        if (m_store->View(nodes[i].name) == name)
        {
            found = i;
        }
    }
    return found != 0 ? CJsonValue(m_store, found) : CJsonValue();
}

CJsonValue CJsonValue::Find(std::string_view path) const
{
    CJsonValue value = *this;
    for (auto dot = path.find('.'); dot != std::string_view::npos; dot = path.find('.'))
    {
        value = value.Member(path.substr(0, dot));
        path.remove_prefix(dot + 1);
    }
    return value.Member(path);
}

CJsonElements CJsonValue::Elements() const
{
    if (!IsArray())
    {
        return {CJsonValue(), CJsonValue()};
    }
    return {CJsonValue(m_store, m_index + 1), CJsonValue(m_store, Following())};
}

std::vector<JsonMember> CJsonValue::Members() const
{
    std::vector<JsonMember> members;
    if (!IsObject())
    {
        return members;
    }
    std::unordered_map<std::string_view, std::size_t> places;
    for (std::uint32_t i = m_index + 1; i < Following(); i = m_store->nodes[i].following)
    {
        const JsonMember member{m_store->View(m_store->nodes[i].name), CJsonValue(m_store, i)};
        const auto [place, isNew] = places.try_emplace(member.name, members.size());
        if (isNew)
        {
            members.push_back(member);
        }
        else
        {
            members[place->second] = member;
        }
    }
    return members;
}

std::optional<std::int32_t> CJsonValue::Int32() const
{
    if (const auto text = String())
    {
        return LeadingInteger<std::int32_t>(*text);
    }
    const auto bits = m_store != nullptr ? Bits64(m_store->nodes[m_index]) : std::nullopt;
    return bits ? std::optional(static_cast<std::int32_t>(static_cast<std::uint32_t>(*bits))) : std::nullopt;
}

std::optional<std::int64_t> CJsonValue::Int64() const
{
    if (const auto text = String())
    {
        return LeadingInteger<std::int64_t>(*text);
    }
    if (m_store == nullptr)
    {
        return {};
    }
    const Node& node = m_store->nodes[m_index];
    const bool beyondSigned =
        node.kind == Kind::Unsigned || (node.kind == Kind::Double && node.doubleValue >= kBeyondSigned64);
    const auto bits = beyondSigned ? std::nullopt : Bits64(node);
    return bits ? std::optional(static_cast<std::int64_t>(*bits)) : std::nullopt;
}

std::optional<double> CJsonValue::Double() const
{
    if (m_store == nullptr)
    {
        return {};
    }
    const Node& node = m_store->nodes[m_index];
    switch (node.kind)
    {
    case Kind::Signed:
        return static_cast<double>(node.signedValue);
    case Kind::Unsigned:
        return static_cast<double>(node.unsignedValue);
    case Kind::Double:
        return node.doubleValue;
    default:
        return {};
    }
}

std::optional<bool> CJsonValue::Bool() const
{
    if (m_store == nullptr || m_store->nodes[m_index].kind != Kind::Bool)
    {
        return {};
    }
    return m_store->nodes[m_index].boolean;
}

std::optional<std::string_view> CJsonValue::String() const
{
    if (m_store == nullptr || m_store->nodes[m_index].kind != Kind::String)
    {
        return {};
    }
    return m_store->View(m_store->nodes[m_index].text);
}

std::string CJsonValue::Text() const
{
    return std::string(String().value_or(std::string_view()));
}

CJsonDocument::CJsonDocument(std::string_view text) : m_store(SpareStore().Take())
{
    if (!Build(*m_store, text))
    {
        m_store->nodes.clear();
    }
}

CJsonDocument::~CJsonDocument()
{
    SpareStore().Give(m_store);
}

CJsonDocument::CJsonDocument(CJsonDocument&&) noexcept = default;
CJsonDocument& CJsonDocument::operator=(CJsonDocument&&) noexcept = default;

CJsonValue CJsonDocument::Root() const
{
    return m_store && !m_store->nodes.empty() ? CJsonValue(m_store.get(), 0) : CJsonValue();
}
