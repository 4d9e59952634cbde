// The shared object as a host holds it: loaded with dlopen, called through its six functions, everything in
// raw bytes at the offsets of the host's interface.
#pragma once

#include "tests/support/FakeHost.h"
#include "tests/support/TempDir.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

// Bytes of a structure that the plug-in may write to, all 0xEE before the call.
template <std::size_t kSize>
struct Record
{
    std::array<std::uint8_t, kSize> bytes;
    Record() { bytes.fill(0xEE); }

    template <typename T>
    [[nodiscard]] T Get(std::size_t offset) const
    {
        T value;
        std::memcpy(&value, bytes.data() + offset, sizeof value);
        return value;
    }

    template <typename T>
    void Put(std::size_t offset, T value)
    {
        std::memcpy(bytes.data() + offset, &value, sizeof value);
    }

    bool operator==(const Record&) const = default;
};

using LoadRecord = Record<128>;
using WriteReply = Record<64>;
using IoctlReply = Record<64>;

inline constexpr std::uint64_t kOwnSource = 0x370000;
inline constexpr std::uint64_t kForeignSource = 0x10000;

class CLoadedPlugin
{
public:
    CLoadedPlugin();
    ~CLoadedPlugin();
    CLoadedPlugin(const CLoadedPlugin&) = delete;
    CLoadedPlugin& operator=(const CLoadedPlugin&) = delete;

    // Each expects 0 as the result.
    void Load(LoadRecord& record);
    void Open() { Call("Open"); }
    void Close() { Call("Close"); }
    void Unload() { Call("Unload"); }
    WriteReply Write(std::uint64_t source, std::uint64_t category, const void* data, std::int32_t length);
    IoctlReply Ioctl(std::uint32_t code, const void* data, std::uint32_t length);

private:
    template <typename... Pointers>
    void Call(const char* name, Pointers... pointers)
    {
        using Function = std::int32_t (*)(Pointers...);
        EXPECT_EQ(reinterpret_cast<Function>(dlsym(m_library, name))(pointers...), 0) << name;
    }

    void* m_library;
};

// A plug-in in a temporary working directory, answered by a fake host; the clock stands still.
class PluginRig : public testing::Test
{
protected:
    // Sunday, 2023-11-19 12:00:00 UTC.
    static constexpr std::int64_t kStartUtc = 1'700'395'200;

    PluginRig();
    ~PluginRig() override;

    void Load()
    {
        LoadRecord record;
        m_plugin.Load(record);
    }

    // The thread lent to the plug-in.
    void Run()
    {
        m_run = std::thread([this] { m_plugin.Ioctl(1, nullptr, 0); });
    }

    // Both, until the plug-in has done what it does by itself.
    void Start();

    void CloseAndUnload();

    // A buffer of the host; lives as long as the test.
    const std::string& Lend(const std::string& text);

    // Sends a request, waits until it is processed: the loop has done all that came before.
    void Settle();

    bool WaitUntil(const std::function<bool(const CFakeHost::Record&)>& condition);

    [[nodiscard]] std::vector<std::string> Documents(MessageCategory category) const;

    CTempDir m_dir;
    CLoadedPlugin m_plugin;
    CFakeHost m_host{[this](const void* frame, std::size_t length)
                     {
                         m_plugin.Ioctl(4, frame, static_cast<std::uint32_t>(length));
                         return true;
                     }};
    std::thread m_run;

private:
    CWorkingDirectory m_cwd{m_dir.Path()};
    std::deque<std::string> m_lent;
};
