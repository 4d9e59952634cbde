// The books on buffers lent to the plug-in: each one that it keeps must come back exactly once.
#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace host
{
// Any thread. The buffer may come back while the call that lends it is still running.
class CBufferBook
{
public:
    // Copies `text` into a buffer of its own; the pointer is good until it has come back.
    char* Lend(std::string_view text);

    // After the lending call: whether the plug-in kept the buffer.
    void Settle(const void* buffer, bool kept);

    // The plug-in gives a buffer back.
    void TakeBack(const void* buffer);

    // At the end: reports what never came back, and returns all faults since the start, one line each.
    std::vector<std::string> Close();

    [[nodiscard]] std::size_t LentNow() const;

private:
    struct Entry
    {
        std::unique_ptr<char[]> bytes;
        std::size_t size = 0;
        bool settled = false;
        bool kept = false;
        bool back = false;
    };

    void Retire(const void* buffer);

    mutable std::mutex m_mutex; // guards the rest
    std::unordered_map<const void*, Entry> m_entries;
    std::deque<const void*>
        m_retired; // the last ones that are done with, so that a second return is recognised
    std::size_t m_open = 0;
    std::vector<std::string> m_faults;
};
} // namespace host
