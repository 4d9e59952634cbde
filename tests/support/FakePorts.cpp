#include "tests/support/FakePorts.h"

#include <algorithm>
#include <cstdio>

namespace
{
constexpr std::uint8_t kNobody = 0xFF; // what an unanswered read gives

std::string Hex(int value)
{
    char text[16];
    std::snprintf(text, sizeof text, "%02X", static_cast<unsigned>(value));
    return text;
}

std::string Change(std::optional<std::uint8_t> written)
{
    return written ? "=" + Hex(*written) : "?";
}

bool EndsWith(const std::vector<std::uint8_t>& bytes, const std::vector<std::uint8_t>& end)
{
    return bytes.size() >= end.size() && std::equal(end.rbegin(), end.rend(), bytes.rbegin());
}

void Append(std::string& list, const std::string& item)
{
    list += (list.empty() ? "" : " ") + item;
}
} // namespace

CFakePorts::CFakePorts(const FakeChipWiring& wiring) : m_wiring(wiring)
{
    m_config[0x20] = static_cast<std::uint8_t>(wiring.rawId >> 8);
    m_config[0x21] = static_cast<std::uint8_t>(wiring.rawId & 0xFF);
    Config(wiring.monitorDevice, 0x60) = static_cast<std::uint8_t>(wiring.monitorBase >> 8);
    Config(wiring.monitorDevice, 0x61) = static_cast<std::uint8_t>(wiring.monitorBase & 0xFF);
}

void CFakePorts::Tell(const std::string& access)
{
    Append(m_registers, access);
    m_threads.push_back(std::this_thread::get_id());
}

std::string CFakePorts::TakeRegisters()
{
    m_threads.clear();
    return std::exchange(m_registers, {});
}

void CFakePorts::CheckAccess(std::uint16_t port)
{
    if (m_granted.count(port) == 0)
    {
        Tell("!denied" + Hex(port));
    }
    if (m_owedToPost)
    {
        Tell("!nodelay");
        m_owedToPost.reset();
    }
}

std::uint8_t CFakePorts::Access(std::uint16_t port, std::optional<std::uint8_t> written)
{
    std::this_thread::yield(); // gives a thread that does not respect the lock its chance
    const std::lock_guard lock(m_mutex);
    if (port == 0x80 && written && m_owedToPost == written && m_granted.count(port) != 0)
    {
        Append(m_bytes, Hex(port) + Change(written));
        m_owedToPost.reset();
        return kNobody;
    }
    CheckAccess(port);
    std::uint8_t read = kNobody;
    if (port == m_wiring.configIndex && written)
    {
        OutConfigIndex(*written);
    }
    else if (port == m_wiring.configIndex + 1)
    {
        read = AccessConfig(written);
    }
    else if (port == m_wiring.monitorBase + 5 && written)
    {
        m_monitorIndex = *written;
    }
    else if (port == m_wiring.monitorBase + 6)
    {
        read = AccessMonitor(written);
    }
    m_owedToPost = written.value_or(read);
    Append(m_bytes, Hex(port) + (written ? "=" : "?") + Hex(*m_owedToPost));
    return read;
}

void CFakePorts::OutConfigIndex(std::uint8_t value)
{
    m_indexBytes.push_back(value);
    if (EndsWith(m_indexBytes, m_open ? m_wiring.exit : m_wiring.enter))
    {
        Tell(m_open ? "exit" : "enter");
        m_open = !m_open;
        m_indexBytes.clear();
    }
}

std::uint8_t CFakePorts::AccessConfig(std::optional<std::uint8_t> written)
{
    const std::uint8_t reg = m_indexBytes.empty() ? kNobody : m_indexBytes.back();
    m_indexBytes.clear();
    Tell((m_open ? "C" : "c") + Hex(reg) + Change(written));
    if (!m_open)
    {
        return kNobody;
    }
    const int key = Key(m_config[0x07], reg);
    if (written)
    {
        m_config[key] = *written;
    }
    const auto fixed = m_fixed.find(key);
    return fixed != m_fixed.end() ? fixed->second : m_config[key];
}

std::uint8_t CFakePorts::AccessMonitor(std::optional<std::uint8_t> written)
{
    if (m_wiring.bankSelect != 0 && m_monitorIndex == m_wiring.bankSelect && written)
    {
        Tell("B" + std::to_string(*written));
        m_bank = *written;
        return 0;
    }
    Tell("M" + Hex(m_monitorIndex) + Change(written));
    std::uint8_t& content = m_monitor[(m_bank << 8) | m_monitorIndex];
    content = written.value_or(content);
    return content;
}

int CFakePorts::SetPermission(std::uint16_t first, int count, bool on)
{
    const std::lock_guard lock(m_mutex);
    Append(m_bytes, (on ? "+" : "-") + Hex(first) + "," + std::to_string(count));
    if (const auto refusal = m_refusals.find(first); refusal != m_refusals.end())
    {
        return refusal->second;
    }
    for (int port = first; port < first + count; ++port)
    {
        if (on)
        {
            m_granted.insert(port);
        }
        else
        {
            m_granted.erase(port);
        }
    }
    return 0;
}
