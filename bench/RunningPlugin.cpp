#include "bench/RunningPlugin.h"

#include "frame/Ipc.h"

#include <pthread.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <stdexcept>
#include <string_view>

namespace bench
{
namespace
{
constexpr std::string_view kRefresh =
    R"(<zDVR Delta="1"><Storage ID="3604480"><Refresh Controllers="all"/></Storage></zDVR>)";

std::string MakeDirectory()
{
    std::string path = (std::filesystem::temp_directory_path() / "corvanepi-bench-XXXXXX").string();
    if (mkdtemp(path.data()) == nullptr || chdir(path.c_str()) != 0)
    {
        throw std::runtime_error("no temporary directory");
    }
    return path;
}
} // namespace

CRunningPlugin::CRunningPlugin(Answer answer) : m_directory(MakeDirectory()), m_host(std::move(answer))
{
    Environment environment = SystemEnvironment();
    environment.detectSuperIo = [] { return SuperIoInfo{}; }; // leaves the ports of this machine alone
    m_manager = std::make_unique<CCorvane>(std::move(environment));
    m_run = std::thread([this] { m_manager->Run(); });
    m_manager->WaitUntilStarted();
    Pass(); // queued behind the start-up work
}

CRunningPlugin::~CRunningPlugin()
{
    m_manager->Stop();
    tq::ipc::CloseIpc(true);
    m_run.join();
    m_manager.reset();
    std::error_code ignored; // a leftover in the temporary directory is no failure of the measurement
    std::filesystem::remove_all(m_directory, ignored);
}

void CRunningPlugin::Pass()
{
    m_manager->PostConfigUpdate(static_cast<std::uint32_t>(kRefresh.size()), kRefresh.data());
    m_host.WaitForReleases(++m_passes);
}

std::chrono::nanoseconds CRunningPlugin::MainLoopTime()
{
    clockid_t clock{};
    timespec time{};
    if (pthread_getcpuclockid(m_run.native_handle(), &clock) != 0 || clock_gettime(clock, &time) != 0)
    {
        throw std::runtime_error("no clock of the main loop's thread");
    }
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}
} // namespace bench
