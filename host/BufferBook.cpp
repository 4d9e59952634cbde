#include "host/BufferBook.h"

#include <algorithm>
#include <cstring>

namespace host
{
namespace
{
// A retired buffer's address is not used again while it is remembered.
constexpr std::size_t kRemembered = 256;

// What a plug-in reads that uses a buffer after giving it back.
constexpr char kGone = '\xDD';

constexpr std::size_t kMaxFaults = 100;

std::string Describe(std::size_t size)
{
    return "a buffer of " + std::to_string(size) + " bytes";
}
} // namespace

char* CBufferBook::Lend(std::string_view text)
{
    Entry entry;
    entry.bytes = std::make_unique<char[]>(text.size() + 1); // never an empty allocation
    std::memcpy(entry.bytes.get(), text.data(), text.size());
    entry.size = text.size();
    char* const buffer = entry.bytes.get();
    const std::lock_guard lock(m_mutex);
    m_entries.emplace(buffer, std::move(entry));
    ++m_open;
    return buffer;
}

void CBufferBook::Settle(const void* buffer, bool kept)
{
    const std::lock_guard lock(m_mutex);
    Entry& entry = m_entries.at(buffer);
    entry.settled = true;
    entry.kept = kept;
    if (!kept && entry.back && m_faults.size() < kMaxFaults)
    {
        m_faults.push_back("the plug-in gave back " + Describe(entry.size) + " that it had not kept");
    }
    if (!kept || entry.back)
    {
        Retire(buffer);
    }
}

void CBufferBook::TakeBack(const void* buffer)
{
    const std::lock_guard lock(m_mutex);
    const auto found = m_entries.find(buffer);
    if (found == m_entries.end())
    {
        if (m_faults.size() < kMaxFaults)
        {
            m_faults.emplace_back("the plug-in gave back a buffer that was never lent");
        }
        return;
    }
    Entry& entry = found->second;
    if (entry.back || (entry.settled && !entry.kept))
    {
        if (m_faults.size() < kMaxFaults)
        {
            m_faults.push_back("the plug-in gave back " + Describe(entry.size) +
                               (entry.back ? " a second time" : " that it had not kept"));
        }
        return;
    }
    entry.back = true;
    if (entry.settled)
    {
        Retire(buffer);
    }
}

void CBufferBook::Retire(const void* buffer)
{
    Entry& entry = m_entries.at(buffer);
    std::fill_n(entry.bytes.get(), entry.size, kGone);
    --m_open;
    m_retired.push_back(buffer);
    if (m_retired.size() > kRemembered)
    {
        m_entries.erase(m_retired.front());
        m_retired.pop_front();
    }
}

std::vector<std::string> CBufferBook::Close()
{
    const std::lock_guard lock(m_mutex);
    for (const auto& [buffer, entry] : m_entries)
    {
        if (entry.settled && entry.kept && !entry.back)
        {
            m_faults.push_back("the plug-in never gave back " + Describe(entry.size));
        }
    }
    return m_faults;
}

std::size_t CBufferBook::LentNow() const
{
    const std::lock_guard lock(m_mutex);
    return m_open;
}
} // namespace host
