// corvanehost: runs the plug-in on a simulated appliance or on this machine.

#include "host/ApplianceDriver.h"
#include "host/Control.h"
#include "host/LineView.h"
#include "host/Options.h"
#include "host/PortClaims.h"
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

// What a simulated appliance consists of, and what of it is traced.
struct Simulation
{
    std::unique_ptr<sim::CAppliance> appliance; // null with real programs
    CPortTrace portTrace;
    std::chrono::steady_clock::time_point switchedOn = std::chrono::steady_clock::now();

    [[nodiscard]] sim::SimTime Now() const
    {
        return std::chrono::duration_cast<sim::SimTime>(std::chrono::steady_clock::now() - switchedOn);
    }
};

std::unique_ptr<CLauncher> MakeLauncher(const HostOptions& options, const Simulation& simulation,
                                        CHostCore& core, CEventQueue& events)
{
    sim::CAppliance* const appliance = simulation.appliance.get();
    auto frames = [&core](std::string_view frame) { core.DeliverFrame(frame); };
    auto notes = [&events](std::string note) { events.Push(EventKind::Note, std::move(note)); };
    if (appliance == nullptr)
    {
        return std::make_unique<CRealLauncher>(options.limits, frames, notes);
    }
    auto model = [appliance](const std::vector<std::string>& argv, sim::SimTime now)
    { return appliance->Run(argv, now); };
    return std::make_unique<CSimLauncher>(model, simulation.switchedOn, options.limits, frames, notes);
}

// The plug-in between a start of the machine and the next.
struct PluginLife
{
    PluginLife(const HostOptions& options, const CPlugin& plugin, Simulation& simulation, CEventQueue& events)
        : core(plugin, events, std::min(options.logLevel, kLevelInfo),
               [appliance = simulation.appliance.get()]
               { return appliance == nullptr || appliance->ReturnsHeartbeats(); }),
          launcher(MakeLauncher(options, simulation, core, events))
    {
        core.SetLauncher(*launcher);
    }

    CHostCore core;
    std::unique_ptr<CLauncher> launcher;
};

// From the loaded library to the end of the plug-in's last life in it.
int Host(const HostOptions& options, const CPlugin& plugin, Simulation& simulation)
{
    sim::CAppliance* const appliance = simulation.appliance.get();
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
    for (std::string& warning : options.real ? PortClaimWarnings() : std::vector<std::string>())
    {
        events.Push(EventKind::Warning, std::move(warning));
    }
    auto view = MakeView(options);
    const auto watchdog = [&simulation]
    { return simulation.appliance ? simulation.appliance->Watchdog(simulation.Now()) : std::nullopt; };
    CSession session(
        {options, events, *view, *control, appliance, simulation.portTrace, signalFd.Get(), watchdog});
    std::optional<CApplianceDriver> driver;
    if (appliance != nullptr)
    {
        driver.emplace(*appliance, events, simulation.switchedOn, options.speed);
    }
    std::unique_ptr<PluginLife> life;
    SessionEnd end = SessionEnd::Reset;
    while (end == SessionEnd::Reset)
    {
        life.reset(); // one core at a time
        life = std::make_unique<PluginLife>(options, plugin, simulation, events);
        if (!life->core.Load(error))
        {
            view.reset();
            return Complain("the plug-in: " + error);
        }
        end = session.Run(life->core);
        if (end == SessionEnd::Reset)
        {
            appliance->TakeReset(); // with nothing of the plug-in left at work
        }
    }
    driver.reset();
    view.reset(); // the terminal is in order again
    for (const std::string& failure : session.Failures())
    {
        Complain(failure);
    }
    if (end == SessionEnd::Unstoppable)
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

    Simulation simulation;
    const bool fresh = !options.real && options.workDir.empty();
    if (!options.real)
    {
        // Before any other thread, and before the plug-in: time and ports are the appliance's from here on.
        // It is switched on once its clock runs.
        if (options.speed > 1)
        {
            simtime::UseScaled(options.speed);
        }
        try
        {
            simulation.appliance =
                std::make_unique<sim::CAppliance>(options.appliance, std::move(scenario), options.chip);
        }
        catch (const std::invalid_argument& reason)
        {
            return Complain(reason.what());
        }
        simulation.switchedOn = std::chrono::steady_clock::now();
        TrapPorts(simulation.appliance->Ports(), simulation.portTrace, simulation.switchedOn);
        if (fresh)
        {
            options.workDir = MakeFreshWorkDir(error);
        }
    }
    if ((fresh && options.workDir.empty()) ||
        (!options.workDir.empty() && !EnterWorkDir(options.workDir, error)) ||
        (simulation.appliance && !WriteMissingFiles(simulation.appliance->Files(), error)))
    {
        return Complain(error);
    }
    const auto plugin = CPlugin::Open(options.plugin, error);
    if (!plugin)
    {
        return Complain("the plug-in cannot be loaded: " + error);
    }
    const int status = Host(options, *plugin, simulation);
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
