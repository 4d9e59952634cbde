#include "host/Options.h"

#include "host/Requests.h"
#include "host/View.h"
#include "sim/Appliance.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <map>

namespace host
{
namespace
{
constexpr int kMaxSpeed = 3600;
constexpr int kMaxDuration = 365 * 24 * 3600;

const std::map<std::string, int> kLevels{
    {"debug", kLevelDebug}, {"info", kLevelInfo}, {"warning", kLevelWarning}, {"error", kLevelError}};

void Describe(CLI::App& app, HostOptions& options, std::vector<std::string>& limits, int& duration)
{
    app.add_option("--plugin", options.plugin,
                   "The plug-in library (default: libcorvanepi.so near the program)");
    CLI::Option* const appliance =
        app.add_option("--appliance", options.appliance, "Simulated appliance to run on")
            ->capture_default_str()
            ->check(CLI::IsMember(sim::CAppliance::PresetNames()));
    std::vector<std::string> chips = sim::CAppliance::ChipNames();
    chips.emplace_back("none");
    CLI::Option* const chip =
        app.add_option("--chip", options.chip, "Super I/O chip on its board (default: the appliance's own)")
            ->check(CLI::IsMember(chips));
    CLI::Option* const real = app.add_flag(
        "--real", options.real, "Run the real programs of this machine, from the working directory");
    real->excludes(appliance)->excludes(chip);
    app.add_option("--scenario", options.scenario,
                   "File with what happens to the simulated appliance, and when")
        ->excludes(real);
    app.add_option(
        "--work-dir", options.workDir,
        "Working directory (default: a fresh one for a simulated appliance, else the current one)");
    app.add_option("--socket", options.socket,
                   "Control socket (default: corvanehost.sock in the working directory)");
    app.add_option("--speed", options.speed, "How many times faster simulated time runs")
        ->check(CLI::Range(1, kMaxSpeed))
        ->excludes(real);
    app.add_flag("--once", options.once, "End after the first complete picture; status 1 when there is none");
    app.add_option("--duration", duration, "End after this many seconds of the appliance's time")
        ->check(CLI::Range(1, kMaxDuration));
    app.add_option("--log-level", options.logLevel, "Least severe log lines to show")
        ->transform(CLI::CheckedTransformer(kLevels));
    app.add_flag("--plain", options.plain, "Plain lines, also on a terminal");
    app.add_option(
           "--time-limit", limits,
           "NAME=SECONDS: limit for a program (\"create\": for commands that create an array; 0: none)")
        ->allow_extra_args(false);
}
} // namespace

std::optional<HostOptions> ParseOptions(int argc, const char* const* argv, int& exitCode)
{
    HostOptions options;
    std::vector<std::string> limits;
    int duration = 0;
    CLI::App app(
        "Runs the CorvanePI plug-in, on a simulated appliance or on this machine, and shows what it says.",
        "corvanehost");
    Describe(app, options, limits, duration);
    CLI::App* const send =
        app.add_subcommand("send", std::string("Sends a request to the running host: ") + kControlHelp);
    send->add_option("--socket", options.socket, "Control socket of the host");
    send->prefix_command(); // the rest are the request's words, also those that begin with "-"
    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::ParseError& error)
    {
        exitCode = app.exit(error);
        return std::nullopt;
    }
    options.send = send->parsed();
    options.words = send->remaining();
    if (duration > 0)
    {
        options.duration = std::chrono::seconds(duration);
    }
    for (const std::string& limit : limits)
    {
        if (!options.limits.Set(limit))
        {
            std::cerr << "corvanehost: --time-limit wants NAME=SECONDS, not " << limit << '\n';
            exitCode = 1;
            return std::nullopt;
        }
    }
    return options;
}
} // namespace host
