// corvanehost: runs the plug-in on a simulated appliance or on this machine.

#include "host/ApplianceDriver.h"
#include "host/Control.h"
#include "host/LineView.h"
#include "host/Options.h"
#include "host/PortTrap.h"
#include "host/RealLauncher.h"
#include "host/RealTime.h"
#include "host/ScreenView.h"
#include "host/Session.h"
#include "host/SimLauncher.h"
#include "host/SimTime.h"
#include "host/WorkDir.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>

namespace
{
using namespace host;

// The ports of an appliance without a chip that could be asked.
class CNoPorts final : public sim::CIoPorts
{
public:
    std::uint8_t In(std::uint16_t /*port*/, sim::SimTime /*now*/) noexcept override { return 0xFF; }
    void Out(std::uint16_t /*port*/, std::uint8_t /*value*/, sim::SimTime /*now*/) noexcept override {}
    int SetPermission(std::uint16_t /*first*/, int /*count*/, bool /*on*/) noexcept override { return EPERM; }
};

int Complain(const std::string& text)
{
    std::cerr << "corvanehost: " << text << '\n';
    return 1;
}

// The path as it is meant before the working directory changes.
std::string Absolute(const std::string& path)
{
    return path.empty() ? path : std::filesystem::absolute(path).string();
}

int Send(HostOptions options)
{
    constexpr std::string_view kOk = "ok\n";
    std::vector<std::string>& words = options.words;
    if (words.size() == 2 && words[0].rfind("raw-", 0) == 0)
    {
        words[1] = Absolute(words[1]); // the host has another working directory
    }
    const std::string socket = options.socket.empty() ? FindSocket() : options.socket;
    std::string answer;
    if (!AskHost(socket, JoinControlWords(words), answer))
    {
        return Complain(answer.empty() ? "the host has ended without an answer" : answer);
    }
    const std::size_t lastLine = answer.size() < 2 ? 0 : answer.rfind('\n', answer.size() - 2) + 1;
    const bool ok = answer.compare(lastLine, std::string::npos, kOk) == 0;
    // Where there is a text, it says enough.
    std::cout << (ok && lastLine > 0 ? answer.substr(0, lastLine) : answer);
    return ok ? 0 : 1;
}

// Reads the scenario before anything starts; false when it was refused.
bool ReadScenario(const std::string& path, std::optional<sim::Scenario>& scenario, std::string& error)
{
    if (path.empty())
    {
        return true;
    }
    std::ifstream file(path, std::ios::binary);
    if (!file)
    {
        error = path + ": " + std::strerror(errno);
        return false;
    }
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    scenario = sim::ParseScenario(text, error);
    error = path + ": " + error;
    return scenario.has_value();
}

std::unique_ptr<CView> MakeView(const HostOptions& options)
{
    const char* const terminal = std::getenv("TERM");
    const bool canDraw =
        isatty(STDOUT_FILENO) != 0 && terminal != nullptr && std::strcmp(terminal, "dumb") != 0;
    if (canDraw && !options.plain && !options.once)
    {
        return std::make_unique<CScreenView>(STDOUT_FILENO);
    }
    return std::make_unique<CLineView>(std::cout);
}

std::unique_ptr<CLauncher> MakeLauncher(const HostOptions& options, sim::CAppliance* appliance,
                                        std::chrono::steady_clock::time_point switchedOn, CHostCore& core,
                                        CEventQueue& events)
{
    auto frames = [&core](std::string_view frame) { core.DeliverFrame(frame); };
    auto notes = [&events](std::string note) { events.Push(EventKind::Note, std::move(note)); };
    if (appliance == nullptr)
    {
        return std::make_unique<CRealLauncher>(options.limits, frames, notes);
    }
    auto model = [appliance](const std::vector<std::string>& argv, sim::SimTime now)
    { return appliance->Run(argv, now); };
    return std::make_unique<CSimLauncher>(model, switchedOn, options.limits, frames, notes);
}

// From the loaded plug-in to its end.
int Host(const HostOptions& options, const CPlugin& plugin, sim::CAppliance* appliance)
{
    const sigset_t signals = SessionSignals();
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN); // a closed output is seen where it is written
    const CFd signalFd(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    std::string error;
    const auto control = CControlServer::Listen(options.socket.empty() ? kSocketName : options.socket, error);
    if (!control || !signalFd.IsOpen())
    {
        return Complain("the control socket: " + error);
    }

    CEventQueue events;
    const auto switchedOn = std::chrono::steady_clock::now();
    CHostCore core(plugin, events, std::min(options.logLevel, kLevelWarning),
                   [appliance] { return appliance == nullptr || appliance->ReturnsHeartbeats(); });
    const auto launcher = MakeLauncher(options, appliance, switchedOn, core, events);
    core.SetLauncher(*launcher);
    if (!core.Load(error))
    {
        return Complain("the plug-in: " + error);
    }
    auto view = MakeView(options);
    CSession session({options, core, events, *view, *control, appliance, signalFd.Get()});
    bool stopped = false;
    {
        std::optional<CApplianceDriver> driver;
        if (appliance != nullptr)
        {
            driver.emplace(*appliance, events, switchedOn, options.speed);
        }
        stopped = session.Run();
    }
    view.reset(); // the terminal is in order again
    for (const std::string& failure : session.Failures())
    {
        Complain(failure);
    }
    if (!stopped)
    {
        // The plug-in's threads are still at work: nothing can be taken down below them.
        std::cout.flush();
        std::_Exit(1);
    }
    return session.Failures().empty() ? 0 : 1;
}

int Start(HostOptions options)
{
    std::string error;
    std::optional<sim::Scenario> scenario;
    if (!ReadScenario(options.scenario, scenario, error))
    {
        return Complain(error);
    }
    options.plugin = Absolute(options.plugin.empty() ? FindPlugin() : options.plugin);
    options.socket = Absolute(options.socket);
    if (options.plugin.empty())
    {
        return Complain("there is no plug-in library near the program; say where it is with --plugin");
    }

    std::unique_ptr<sim::CAppliance> appliance;
    const bool fresh = !options.real && options.workDir.empty();
    if (!options.real)
    {
        // Before any other thread, and before the plug-in: time and ports are the appliance's from here on.
        static CNoPorts ports;
        static CPortTrace trace;
        TrapPorts(ports, trace, std::chrono::steady_clock::now());
        if (options.speed > 1)
        {
            simtime::UseScaled(options.speed);
        }
        try
        {
            appliance = std::make_unique<sim::CAppliance>(options.appliance, std::move(scenario));
        }
        catch (const std::invalid_argument& reason)
        {
            return Complain(reason.what());
        }
        if (fresh)
        {
            options.workDir = MakeFreshWorkDir(error);
        }
    }
    if ((fresh && options.workDir.empty()) ||
        (!options.workDir.empty() && !EnterWorkDir(options.workDir, error)) ||
        (appliance && !WriteMissingFiles(appliance->Files(), error)))
    {
        return Complain(error);
    }
    const auto plugin = CPlugin::Open(options.plugin, error);
    if (!plugin)
    {
        return Complain("the plug-in cannot be loaded: " + error);
    }
    const int status = Host(options, *plugin, appliance.get());
    if (fresh && status == 0)
    {
        std::error_code ignored; // a directory of ours that nobody needs any more
        std::filesystem::current_path("/", ignored);
        std::filesystem::remove_all(options.workDir, ignored);
    }
    else if (fresh)
    {
        Complain("the files of this run are in " + options.workDir);
    }
    return status;
}
} // namespace

int main(int argc, char** argv)
{
    int exitCode = 0;
    const auto options = ParseOptions(argc, argv, exitCode);
    if (!options)
    {
        return exitCode;
    }
    return options->send ? Send(*options) : Start(*options);
}
