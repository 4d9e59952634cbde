#include "tests/plugin/LoadedPlugin.h"

#include "host/SimTime.h"
#include "tests/support/KernelWait.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <stdexcept>

CLoadedPlugin::CLoadedPlugin() : m_library(dlopen(PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL))
{
    if (m_library == nullptr)
    {
        throw std::runtime_error(dlerror());
    }
}

CLoadedPlugin::~CLoadedPlugin()
{
    dlclose(m_library);
}

void CLoadedPlugin::Load(LoadRecord& record)
{
    Record<24> hostInfo;
    hostInfo.Put(16, CFakeHost::Callback());
    Call("Load", hostInfo.bytes.data(), record.bytes.data());
}

WriteReply CLoadedPlugin::Write(std::uint64_t source, std::uint64_t category, const void* data,
                                std::int32_t length)
{
    Record<8 + 224> message;
    message.Put(16, length);
    message.Put(24, data);
    message.Put(32, source);
    message.Put(48, category);
    WriteReply reply;
    Call("Write", message.bytes.data(), reply.bytes.data());
    return reply;
}

IoctlReply CLoadedPlugin::Ioctl(std::uint32_t code, const void* data, std::uint32_t length)
{
    Record<40> request;
    request.Put(8, code);
    request.Put(24, length);
    request.Put(32, data);
    IoctlReply reply;
    Call("IOCTL", request.bytes.data(), reply.bytes.data());
    return reply;
}

PluginRig::PluginRig()
{
    setenv("TZ", "UTC", 1);
    tzset();
    host::simtime::UseManual(std::chrono::seconds(kStartUtc));
}

PluginRig::~PluginRig()
{
    CloseAndUnload();
    host::simtime::UsePassThrough();
}

void PluginRig::Start()
{
    Load();
    Run();
    Settle(); // the loop runs, and what Run had queued for it is ahead of the next
    Settle();
}

void PluginRig::CloseAndUnload()
{
    m_plugin.Close();
    if (m_run.joinable())
    {
        m_run.join();
    }
    m_plugin.Unload();
}

const std::string& PluginRig::Lend(const std::string& text)
{
    return m_lent.emplace_back(text);
}

void PluginRig::Settle()
{
    const std::string& empty = Lend("");
    m_plugin.Write(kForeignSource, 4, empty.data(), 0);
    const auto address = reinterpret_cast<std::uintptr_t>(empty.data());
    EXPECT_TRUE(WaitUntil([address](const auto& told)
                          { return std::count(told.releases.begin(), told.releases.end(), address) != 0; }));
}

bool PluginRig::WaitUntil(const std::function<bool(const CFakeHost::Record&)>& condition)
{
    return WaitByKernelClock(m_host, condition);
}

std::vector<std::string> PluginRig::Documents(MessageCategory category) const
{
    return DocumentTexts(m_host, category);
}
