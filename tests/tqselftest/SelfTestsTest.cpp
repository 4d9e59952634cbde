// The tool's commands over made-up answers of smartctl.
#include "tqselftest/SelfTests.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <sstream>

using namespace tqselftest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace
{
std::string Ata(int status)
{
    return R"({"device":{"protocol":"ATA"},"ata_smart_data":{"self_test":{"status":{"value":)" +
           std::to_string(status) + "}}}}";
}

// What a drive answers to a query; "silent" does not answer at all.
const std::map<std::string, std::string> kStates{
    {"idle", Ata(0)},
    {"busy", Ata(0xF4)},
    {"unable", R"({"device":{"protocol":"ATA"}})"},
    {"silent", ""},
    {"nvme",
     R"({"device":{"protocol":"NVMe"},"nvme_self_test_log":{"current_self_test_operation":{"value":0}}})"},
    {"oldnvme", R"({"device":{"protocol":"NVMe"}})"},
};

// A machine by its drives and their states, as "sda idle sdb busy".
class CMachine
{
public:
    explicit CMachine(const std::string& words = {})
    {
        std::istringstream in(words);
        for (std::string name, state; in >> name >> state;)
        {
            drives.emplace_back("/dev/" + name, kStates.at(state));
        }
    }

    std::vector<std::pair<std::string, std::string>> drives; // name, answer to a query
    std::map<std::string, ProgramResult> answers;            // by command line, in place of the usual one
    std::vector<std::string> actions;                        // starts and stops, as "-t short /dev/sda"

    std::vector<ProgramResult> Run(const std::vector<std::vector<std::string>>& commands)
    {
        std::vector<ProgramResult> results;
        results.reserve(commands.size());
        for (const auto& command : commands)
        {
            results.push_back(Answer(command));
        }
        return results;
    }

private:
    ProgramResult Answer(const std::vector<std::string>& command)
    {
        std::string words;
        for (std::size_t index = 2; index < command.size(); ++index)
        {
            words += (index == 2 ? "" : " ") + command[index];
        }
        if (words.starts_with("-t") || words.starts_with("-X"))
        {
            actions.push_back(words);
        }
        if (const auto answer = answers.find(words); answer != answers.end())
        {
            return answer->second;
        }
        if (words == "--scan")
        {
            return Scan();
        }
        for (const auto& [name, state] : drives)
        {
            if (command.back() == name)
            {
                return state.empty() ? ProgramResult{.error = "took too long"}
                                     : ProgramResult{.exitCode = 0, .output = state};
            }
        }
        return {.exitCode = 2, .output = R"({"smartctl":{"messages":[{"string":"No such device"}]}})"};
    }

    [[nodiscard]] ProgramResult Scan() const
    {
        std::string devices;
        for (const auto& [name, state] : drives)
        {
            devices += (devices.empty() ? "" : ",") + (R"({"name":")" + name) + R"(","type":"scsi"})";
        }
        return {.exitCode = 0, .output = R"({"smartctl":{},"devices":[)" + devices + "]}"};
    }
};

Outcome Do(CMachine& machine, Command command, const std::string& drive = {})
{
    CommandLine line{.command = command};
    line.drive = drive.empty() ? std::nullopt : std::optional(drive);
    return Execute(line, "smartctl", [&machine](const auto& commands) { return machine.Run(commands); });
}

std::string Lines(const std::vector<std::string>& texts)
{
    std::string lines;
    for (const std::string& text : texts)
    {
        lines += text + "\n";
    }
    return lines;
}

struct CommandCase
{
    const char* name;
    const char* drives;
    const char* drive;
    Command command;
    int exitCode;
    std::string actions; // and messages: lines
    std::string messages;
};

const CommandCase kCommandCases[] = {
    {"StartAll", "sda idle sdb busy sdc unable sdd silent nvme0 nvme", "", Command::StartShort, kDone,
     "-t short /dev/sda\n",
     "/dev/sdb: a self-test is running\n/dev/sdc: no self-tests\n/dev/sdd: took too long\n"},
    {"StartOne", "sda idle sdb idle", "/dev/sdb", Command::StartLong, kDone, "-t long /dev/sdb\n", ""},
    {"StartAllWhileAllRun", "sda busy", "", Command::StartShort, kDone, "",
     "/dev/sda: a self-test is running\n"},
    {"StartOneThatRuns", "sda busy", "/dev/sda", Command::StartShort, kDriveFailed, "",
     "/dev/sda: a self-test is running\n"},
    {"StartOneThatCannot", "sda unable", "/dev/sda", Command::StartShort, kDriveFailed, "",
     "/dev/sda: no self-tests\n"},
    {"StartNvmeByName", "nvme0 nvme", "/dev/nvme0", Command::StartShort, kDone, "-t short /dev/nvme0\n", ""},
    // smartctl 7.3 accepts the command for an NVMe drive, does nothing and reports success.
    {"StartNvmeOfOldSmartctl", "nvme0 oldnvme", "/dev/nvme0", Command::StartShort, kDriveFailed, "",
     "/dev/nvme0: no self-tests\n"},
    {"StartNone", "sda unable", "", Command::StartShort, kDriveFailed, "", "/dev/sda: no self-tests\n"},
    {"StartWithoutDrives", "", "", Command::StartShort, kDriveFailed, "", "there are no drives\n"},
    {"StartMissingDrive", "", "/dev/sda", Command::StartShort, kDriveFailed, "",
     "/dev/sda: No such device\n"},
    {"StopOnlyWhatRuns", "sda idle sdb busy sdc silent", "", Command::Stop, kDone, "-X /dev/sdb\n",
     "/dev/sdc: took too long\n"},
    {"StopOneThatDoesNotAnswer", "sdc silent", "/dev/sdc", Command::Stop, kDriveFailed, "",
     "/dev/sdc: took too long\n"},
    {"StopNothing", "sda idle", "/dev/sda", Command::Stop, kDone, "", ""},
    {"ReportNone", "", "", Command::Report, kDone, "", ""},
    {"ReportOfSilentDrives", "sda silent", "", Command::Report, kDriveFailed, "",
     "/dev/sda: took too long\n"},
    {"UnknownRaidDrive", "sda idle", "/c0/e252/s3", Command::StartShort, kDriveFailed, "",
     "/c0/e252/s3: there is no such drive\n"},
};
} // namespace

TEST(ToolCommand, DoesWhatItSays)
{
    for (const CommandCase& row : kCommandCases)
    {
        SCOPED_TRACE(row.name);
        CMachine machine(row.drives);
        const Outcome outcome = Do(machine, row.command, row.drive);
        EXPECT_EQ(outcome.exitCode, row.exitCode);
        EXPECT_EQ(Lines(machine.actions), row.actions);
        EXPECT_EQ(Lines(outcome.messages), row.messages);
        // The plug-in logs what a failed run prints.
        EXPECT_TRUE(outcome.exitCode == kDone || outcome.output == row.messages) << outcome.output;
    }
}

TEST(ToolReport, LeavesOutDrivesThatDoNotAnswer)
{
    CMachine machine("sda busy sdb silent sdc unable nvme0 oldnvme");
    const Outcome outcome = Do(machine, Command::Report);
    EXPECT_EQ(outcome.exitCode, kDone);
    EXPECT_THAT(outcome.output, HasSubstr(R"(<Disk Name="/dev/sda" SelfTestStatus="1" PcRemain="40">)"));
    EXPECT_THAT(outcome.output, HasSubstr(R"(<Disk Name="/dev/sdc" SelfTestStatus="0">)"));
    EXPECT_THAT(outcome.output, HasSubstr(R"(<Disk Name="/dev/nvme0" SelfTestStatus="0">)"));
    EXPECT_THAT(outcome.output, Not(HasSubstr("/dev/sdb")));
    EXPECT_THAT(outcome.messages, ElementsAre("/dev/sdb: took too long"));
}

TEST(ToolStart, AFailedCommandIsBelievedOnlyWhenNothingRuns)
{
    CMachine machine("sda idle sdb idle");
    machine.answers["-t short /dev/sda"] = {.exitCode = 4, .output = "{}"};
    machine.answers["-t short /dev/sdb"] = {.exitCode = 4, .output = "{}"};
    EXPECT_EQ(Do(machine, Command::StartShort, "/dev/sda").exitCode, kDriveFailed);

    std::vector<std::size_t> steps; // how many commands at a time
    const Outcome outcome = Execute({.command = Command::StartShort}, "smartctl",
                                    [&](const auto& commands)
                                    {
                                        steps.push_back(commands.size());
                                        machine.drives[1].second =
                                            kStates.at(steps.size() > 3 ? "busy" : "idle");
                                        return machine.Run(commands);
                                    });
    EXPECT_EQ(outcome.exitCode, kDone);
    EXPECT_THAT(outcome.messages, ElementsAre("/dev/sda: smartctl error 4"));
    EXPECT_THAT(steps, ElementsAre(1U, 2U, 2U, 2U)); // scan, query, start, query: all drives in each
}

TEST(ToolStop, ATestThatCannotBeStoppedIsAFailure)
{
    CMachine machine("sda busy sdb busy");
    machine.answers["-X /dev/sda"] = {.exitCode = 4, .output = "{}"};
    const Outcome outcome = Do(machine, Command::Stop);
    EXPECT_EQ(outcome.exitCode, kDriveFailed);
    EXPECT_THAT(machine.actions, ElementsAre("-X /dev/sda", "-X /dev/sdb"));
    EXPECT_THAT(outcome.messages, ElementsAre("/dev/sda: smartctl error 4"));
}

TEST(ToolScan, WithoutSmartctlNothingCanBeDone)
{
    for (const ProgramResult& scan :
         {ProgramResult{.error = "No such file or directory"},
          ProgramResult{.exitCode = 0, .output = "usage"}, ProgramResult{.exitCode = 1, .output = ""}})
    {
        CMachine machine;
        machine.answers["--scan"] = scan;
        const Outcome outcome = Do(machine, Command::Report);
        EXPECT_EQ(outcome.exitCode, kNoSmartctl);
        EXPECT_EQ(outcome.messages.size(), 1U);
        EXPECT_EQ(outcome.output, Lines(outcome.messages));
    }
    CMachine machine;
    machine.answers["-c -A -l xselftest,21,selftest -l selftest /dev/sda"] = {
        .error = "No such file or directory", .isStarted = false};
    EXPECT_EQ(Do(machine, Command::StartShort, "/dev/sda").exitCode, kNoSmartctl);
}

TEST(ToolScan, RaidDrivesGoByTheControllersNames)
{
    CMachine machine("sda idle bus/0 idle");
    machine.answers["--scan"] = {
        .exitCode = 0,
        .output =
            R"({"smartctl":{},"devices":[{"name":"/dev/sda","type":"scsi"},{"name":"/dev/sda","type":"sat"},)"
            R"({"name":"/dev/bus/0","type":"megaraid,8"},{"name":"/dev/bus/0","type":"sat+megaraid,9"},)"
            R"({"name":"/dev/sg2","type":"cciss,0"}]})"};
    machine.answers["show J"] = {
        .exitCode = 0,
        .output =
            R"({"Controllers":[{"Response Data":{"Drive Information":[{"EID:Slt":"252:3","DID":9}]}}]})"};
    const Outcome all = Do(machine, Command::StartShort);
    EXPECT_EQ(all.exitCode, kDone);
    EXPECT_THAT(machine.actions, ElementsAre("-t short /dev/sda", "-t short -d sat+megaraid,9 /dev/bus/0"));
    EXPECT_THAT(all.messages, testing::UnorderedElementsAre(HasSubstr("cciss,0"),
                                                            HasSubstr("megaraid,8): storcli does not list")));
    machine.actions.clear();
    EXPECT_EQ(Do(machine, Command::StartLong, "/c0/e252/s3").exitCode, kDone);
    EXPECT_THAT(machine.actions, ElementsAre("-t long -d sat+megaraid,9 /dev/bus/0"));
    EXPECT_THAT(Do(machine, Command::Report).output, HasSubstr(R"(Name="/c0/e252/s3")"));
}
