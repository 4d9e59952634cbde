#include "frame/Log.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

namespace
{
thread_local int t_allocations = 0;

void* Allocate(std::size_t size) noexcept
{
    ++t_allocations;
    return std::malloc(size);
}
} // namespace

// Count what the tests of this program allocate. All forms, because a sanitizer brings its own of those left
// out, which do not fit these. Not inlined: g++ would see new paired with free.
[[gnu::noinline]] void* operator new(std::size_t size)
{
    if (void* memory = Allocate(size))
    {
        return memory;
    }
    throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new[](std::size_t size)
{
    return operator new(size);
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return Allocate(size);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept
{
    std::free(memory);
}
[[gnu::noinline]] void operator delete[](void* memory) noexcept
{
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}
[[gnu::noinline]] void operator delete[](void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

namespace
{
// What the host saw. Fixed memory: the host must not disturb the count of allocations.
struct Seen
{
    int queries = 0;
    int texts = 0;
    std::uint32_t length = 0;
    std::array<char, 4096> characters{}; // with whatever stands up to `length`
};

Seen g_seen;
std::int32_t g_threshold = 0;
constexpr std::int32_t kTextResult = 77;

std::int32_t Host(const HostMessage* message, void* /*reserved*/)
{
    if (message->type == 0x1000001)
    {
        ++g_seen.queries;
        return g_threshold;
    }
    ++g_seen.texts;
    g_seen.length = message->length;
    std::memcpy(g_seen.characters.data(), std::bit_cast<const void*>(message->data), message->length);
    return kTextResult;
}

class LogLines : public testing::Test
{
protected:
    LogLines()
    {
        g_seen = {};
        g_threshold = 0;
    }
};

TEST_F(LogLines, QueryComesFirstAndAnEqualLevelPasses)
{
    g_threshold = 50;
    EXPECT_EQ(LogToHost(kPluginId, Host, LogInfo, "%s", "no"), 0);
    EXPECT_EQ(g_seen.queries, 1);
    EXPECT_EQ(g_seen.texts, 0);
    EXPECT_EQ(LogToHost(kPluginId, Host, LogWarning, "%s", "yes"), kTextResult);
    EXPECT_EQ(g_seen.queries, 2);
    EXPECT_EQ(g_seen.texts, 1);
}

struct LengthCase
{
    std::size_t formatted;
    std::size_t sentCharacters; // up to the NUL
    std::uint32_t sentLength;
    LogLevel level;
};

constexpr LengthCase kLengthCases[] = {
    {2047, 2047, 2047, LogInfo},  {2048, 2047, 2048, LogInfo},  {2049, 2047, 2048, LogInfo},
    {3000, 2047, 2048, LogInfo},  {2048, 2047, 2048, LogDebug}, {2049, 2049, 2049, LogDebug},
    {3000, 3000, 3000, LogDebug},
};

TEST_F(LogLines, AreCutLikeThis)
{
    for (const LengthCase& row : kLengthCases)
    {
        g_seen = {};
        const std::string line = std::string(row.formatted - 1, 'x') + "e";
        LogToHost(kPluginId, Host, row.level, "%s", line.c_str());
        EXPECT_EQ(g_seen.length, row.sentLength) << row.formatted << " at " << row.level;
        EXPECT_EQ(std::string(g_seen.characters.data()), line.substr(0, row.sentCharacters));
    }
}

TEST_F(LogLines, EmptyLineAndMissingHostSendNothing)
{
    EXPECT_EQ(LogToHost(kPluginId, Host, LogError, "%s", ""), 0);
    EXPECT_EQ(g_seen.queries, 1);
    EXPECT_EQ(g_seen.texts, 0);
    EXPECT_EQ(LogToHost(kPluginId, nullptr, LogError, "%s", "x"), 0);
}

TEST_F(LogLines, OrdinaryLinesUseNoHeap)
{
    const std::string line(2048, 'x');
    const int before = t_allocations;
    LogToHost(kPluginId, Host, LogDebug, "%s", line.c_str());
    LogToHost(kPluginId, Host, LogError, "%s%s", line.c_str(), line.c_str());
    EXPECT_EQ(t_allocations, before);
    LogToHost(kPluginId, Host, LogDebug, "%s!", line.c_str());
    EXPECT_EQ(t_allocations, before + 1); // the count counts
    EXPECT_EQ(g_seen.texts, 3);
}
} // namespace
