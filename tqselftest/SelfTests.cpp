#include "tqselftest/SelfTests.h"

#include "tqselftest/ReportXml.h"
#include "tqselftest/SmartctlJson.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <set>

namespace tqselftest
{
namespace
{
// smartctl's exit status: command line, device, a command to the drive. Further bits are findings about its
// health.
constexpr int kFailureBits = 0x07;

// As many entries as the old log keeps, which stands in for an extended one that a drive has not.
constexpr const char* kExtendedLog = "xselftest,21,selftest";

// With smartctl's lines of text, some of which no other member of the answer tells.
constexpr const char* kJson = "--json=o";

struct Target
{
    std::string name;   // in the report
    std::string device; // for smartctl
    std::string type{}; // for its -d; empty: it finds out by itself
};

struct TargetList
{
    std::vector<Target> targets;
    int exitCode = kDone;
};

class CSelfTests
{
public:
    CSelfTests(const CommandLine& line, const std::string& smartctl, const Runner& run)
        : m_line(line),
          m_smartctl(smartctl),
          m_run(run)
    {
    }

    Outcome Run()
    {
        Do();
        for (std::size_t index = 0; m_outcome.exitCode != kDone && index < m_outcome.messages.size(); ++index)
        {
            m_outcome.output += m_outcome.messages[index] + "\n";
        }
        return std::move(m_outcome);
    }

private:
    void Do()
    {
        const auto targets = FindTargets();
        if (!targets)
        {
            return;
        }
        m_targets = *targets;
        m_answers = Ask(m_targets);
        if (m_isSmartctlMissing)
        {
            m_outcome = {.exitCode = kNoSmartctl, .messages = {m_smartctl + ": " + m_answers.front().error}};
            return;
        }
        switch (m_line.command)
        {
        case Command::StartShort:
        case Command::StartLong:
            Start();
            break;
        case Command::Stop:
            Stop();
            break;
        case Command::Report:
            Report();
            break;
        case Command::Version: // nothing to do with drives
            break;
        }
    }

    void Say(const std::string& text) { m_outcome.messages.push_back(text); }

    [[nodiscard]] std::vector<std::string> Smartctl(std::vector<std::string> options,
                                                    const Target& target) const
    {
        std::vector<std::string> command{m_smartctl, kJson};
        command.insert(command.end(), options.begin(), options.end());
        if (!target.type.empty())
        {
            command.insert(command.end(), {"-d", target.type});
        }
        command.push_back(target.device);
        return command;
    }

    std::vector<ProgramResult> RunFor(const std::vector<Target>& targets,
                                      const std::vector<std::string>& options)
    {
        std::vector<std::vector<std::string>> commands;
        commands.reserve(targets.size());
        for (const Target& target : targets)
        {
            commands.push_back(Smartctl(options, target));
        }
        return m_run(commands);
    }

    // Without the drive named or any list of drives: nothing, and the outcome says why.
    std::optional<std::vector<Target>> FindTargets()
    {
        if (m_line.drive && m_line.drive->starts_with("/dev/"))
        {
            return std::vector<Target>{{*m_line.drive, *m_line.drive}};
        }
        const ProgramResult scan = m_run({{m_smartctl, kJson, "--scan"}}).front();
        const auto devices = ParseScan(scan.output);
        if (!scan.error.empty() || !devices)
        {
            m_outcome.exitCode = kNoSmartctl;
            const std::string messages = ParseMessages(scan.output);
            Say(m_smartctl + " --scan: " +
                (!scan.error.empty() ? scan.error
                 : !messages.empty() ? messages
                                     : "its answer cannot be read"));
            return std::nullopt;
        }
        std::vector<Target> targets = TargetsOf(*devices);
        if (m_line.drive)
        {
            std::erase_if(targets, [this](const Target& target) { return target.name != *m_line.drive; });
            if (targets.empty())
            {
                m_outcome.exitCode = kDriveFailed;
                Say(*m_line.drive + ": there is no such drive");
                return std::nullopt;
            }
        }
        return targets;
    }

    std::vector<Target> TargetsOf(const std::vector<ScannedDevice>& devices)
    {
        std::vector<Target> targets;
        std::vector<ScannedDevice> behindController;
        std::set<std::string> names;
        for (const ScannedDevice& device : devices)
        {
            if (device.type.find("megaraid,") != std::string::npos)
            {
                behindController.push_back(device);
            }
            else if (device.type.find(',') != std::string::npos)
            {
                Say(device.name + " (" + device.type + "): drives of this controller are not reached");
            }
            else if (names.insert(device.name).second)
            {
                targets.push_back({device.name, device.name});
            }
        }
        if (!behindController.empty())
        {
            AddRaidTargets(behindController, targets);
        }
        return targets;
    }

    // The last part of the type is the controller's number of the drive, by which storcli's list gives it a
    // name.
    void AddRaidTargets(const std::vector<ScannedDevice>& devices, std::vector<Target>& targets)
    {
        const ProgramResult list = m_run({{"storcli", "/c0/eall/sall", "show", "J"}}).front();
        const auto drives = ParseRaidDrives(list.output);
        for (const ScannedDevice& device : devices)
        {
            const std::string number = device.type.substr(device.type.rfind(',') + 1);
            const auto drive = std::find_if(drives.begin(), drives.end(),
                                            [&number](const RaidDrive& candidate)
                                            { return std::to_string(candidate.deviceId) == number; });
            if (drive == drives.end())
            {
                Say(device.name + " (" + device.type + "): storcli does not list this drive" +
                    (list.error.empty() ? "" : " (" + list.error + ")"));
                continue;
            }
            targets.push_back({drive->name, device.name, device.type});
        }
    }

    std::vector<DriveAnswer> Ask(const std::vector<Target>& targets)
    {
        // SCSI drives know the plain log only; an ATA drive with the extended one has both.
        const auto results = RunFor(targets, {"-c", "-A", "-l", kExtendedLog, "-l", "selftest"});
        std::vector<DriveAnswer> answers;
        for (const ProgramResult& result : results)
        {
            m_isSmartctlMissing = m_isSmartctlMissing || !result.isStarted;
            answers.push_back(result.error.empty() ? ParseDrive(result.exitCode, result.output)
                                                   : DriveAnswer{.error = result.error});
        }
        return answers;
    }

    // Why no test can be started; empty when one can.
    static std::string Obstacle(const DriveAnswer& answer)
    {
        if (!answer.state)
        {
            return answer.error;
        }
        if (!answer.state->isSupported)
        {
            return "no self-tests";
        }
        return answer.state->isRunning ? "a self-test is running" : "";
    }

    void Start()
    {
        std::vector<Target> startable;
        std::size_t running = 0;
        for (std::size_t index = 0; index < m_targets.size(); ++index)
        {
            const auto& state = m_answers[index].state;
            if (!m_line.drive && state && state->protocol == Protocol::Nvme)
            {
                continue;
            }
            const std::string obstacle = Obstacle(m_answers[index]);
            if (obstacle.empty())
            {
                startable.push_back(m_targets[index]);
                continue;
            }
            Say(m_targets[index].name + ": " + obstacle);
            running += !m_line.drive && state && state->isRunning ? 1U : 0U;
        }
        running += StartTests(startable);
        m_outcome.exitCode = running > 0 ? kDone : kDriveFailed;
        if (m_targets.empty())
        {
            Say("there are no drives");
        }
    }

    // How many have started.
    std::size_t StartTests(const std::vector<Target>& targets)
    {
        const auto results =
            RunFor(targets, {"-t", m_line.command == Command::StartShort ? "short" : "long"});
        std::vector<Target> doubtful;
        std::vector<std::string> failures; // of the doubtful
        std::size_t started = 0;
        for (std::size_t index = 0; index < targets.size(); ++index)
        {
            const ProgramResult& result = results[index];
            if (!result.error.empty())
            {
                Say(targets[index].name + ": " + result.error);
            }
            else if ((result.exitCode & kFailureBits) == 0)
            {
                ++started;
            }
            else
            {
                doubtful.push_back(targets[index]);
                failures.push_back(WhatFailed(result));
            }
        }
        // A drive with a wrong check sum somewhere reports a failed command and starts all the same.
        const auto answers = Ask(doubtful);
        for (std::size_t index = 0; index < doubtful.size(); ++index)
        {
            const auto& state = answers[index].state;
            if (state && state->isRunning)
            {
                ++started;
                continue;
            }
            Say(doubtful[index].name + ": " + failures[index]);
        }
        return started;
    }

    static std::string WhatFailed(const ProgramResult& result)
    {
        const std::string messages = ParseMessages(result.output);
        return !result.error.empty() ? result.error
               : !messages.empty()   ? messages
                                     : "smartctl error " + std::to_string(result.exitCode);
    }

    void Stop()
    {
        std::vector<Target> running;
        for (std::size_t index = 0; index < m_targets.size(); ++index)
        {
            const DriveAnswer& answer = m_answers[index];
            if (!answer.state)
            {
                Say(m_targets[index].name + ": " + answer.error);
                m_outcome.exitCode = m_line.drive ? kDriveFailed : m_outcome.exitCode;
            }
            else if (answer.state->isRunning)
            {
                running.push_back(m_targets[index]);
            }
        }
        const auto results = RunFor(running, {"-X"});
        for (std::size_t index = 0; index < running.size(); ++index)
        {
            if (!results[index].error.empty() || (results[index].exitCode & kFailureBits) != 0)
            {
                Say(running[index].name + ": " + WhatFailed(results[index]));
                m_outcome.exitCode = kDriveFailed;
            }
        }
    }

    void Report()
    {
        std::vector<NamedDrive> drives;
        for (std::size_t index = 0; index < m_targets.size(); ++index)
        {
            if (const auto& state = m_answers[index].state)
            {
                drives.push_back({m_targets[index].name, *state});
            }
            else
            {
                Say(m_targets[index].name + ": " + m_answers[index].error);
            }
        }
        if (drives.empty() && !m_targets.empty())
        {
            m_outcome.exitCode = kDriveFailed;
            return;
        }
        m_outcome.output = FormatReport(drives);
    }

    const CommandLine& m_line;
    const std::string& m_smartctl;
    const Runner& m_run;
    std::vector<Target> m_targets;
    std::vector<DriveAnswer> m_answers; // of the targets, in their order
    bool m_isSmartctlMissing = false;
    Outcome m_outcome;
};
} // namespace

Outcome Execute(const CommandLine& line, const std::string& smartctl, const Runner& run)
{
    return CSelfTests(line, smartctl, run).Run();
}
} // namespace tqselftest
