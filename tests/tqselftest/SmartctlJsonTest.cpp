// What is read from smartctl's texts, shown as the report that comes of it.
#include "tqselftest/SmartctlJson.h"

#include "tqselftest/ReportXml.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tinyxml.h>

using namespace tqselftest;

namespace
{
std::string Ata(const std::string& members)
{
    return R"({"smartctl":{"exit_status":0},"device":{"name":"/dev/sda","protocol":"ATA"},)" + members + "}";
}

std::string Status(int value)
{
    return R"("ata_smart_data":{"self_test":{"status":{"value":)" + std::to_string(value) +
           R"(}},"capabilities":{"self_tests_supported":true}})";
}

std::string Entry(int status, const std::string& more = R"("x":1)")
{
    return R"({"type":{"value":1,"string":"Short offline"},"status":{"value":)" + std::to_string(status) +
           R"(,"string":"s)" + std::to_string(status) + "\"}," + more + "}";
}

std::string Log(const std::string& kind, const std::string& entries)
{
    return R"("ata_smart_self_test_log":{")" + kind + R"(":{"revision":1,"table":[)" + entries + "]}}";
}

// With that status and a log of these entries.
std::string Ata(int status, const std::vector<std::string>& entries)
{
    std::string table;
    for (const std::string& entry : entries)
    {
        table += (table.empty() ? "" : ",") + entry;
    }
    return Ata(Status(status) + "," + Log("standard", table));
}

std::string Nvme(const std::string& members)
{
    return R"({"device":{"name":"/dev/nvme0","protocol":"NVMe"})" + members + "}";
}

std::string NvmeLog(int operation, const std::string& members)
{
    return Nvme(R"(,"nvme_self_test_log":{"current_self_test_operation":{"value":)" +
                std::to_string(operation) + "}" + members + "}");
}

std::string Scsi(const std::string& members)
{
    return R"({"device":{"name":"/dev/sdb","protocol":"SCSI"})" + members + "}";
}

// "STATUS[ -REMAINING][ cannot]: ID/CODE@LBA+HOURS ...", or the error.
std::string Shown(int exitCode, const std::string& text)
{
    const DriveAnswer answer = ParseDrive(exitCode, text);
    if (!answer.state)
    {
        return answer.error;
    }
    const DriveState& state = *answer.state;
    std::string shown = std::to_string(static_cast<int>(state.isRunning ? Result::InProgress : state.last));
    shown += state.remaining ? " -" + std::to_string(*state.remaining) : "";
    shown += state.isSupported ? ":" : " cannot:";
    for (const LogEntry& entry : state.log)
    {
        shown += " " + std::to_string(entry.id) + "/" + std::to_string(static_cast<int>(entry.result)) +
                 (entry.failedLba ? "@" + std::to_string(*entry.failedLba) : "") + "+" +
                 std::to_string(entry.hours);
    }
    return shown;
}

struct DriveCase
{
    const char* name;
    std::string text;
    const char* shown;
    int exitCode = 0;
};

const std::string kPassed = Entry(0, R"("lifetime_hours":10)");
constexpr const char* kUnread = "its self-tests could not be read (smartctl error 4)";

std::string Prints(const std::string& line)
{
    return R"("smartctl":{"output":["smartctl 7.3","",")" + line + "\"]}";
}

const DriveCase kDriveCases[] = {
    {"NeverTested", Ata(Status(0) + R"(,"ata_smart_self_test_log":{"standard":{"revision":1,"count":0}})"),
     "0:"},
    {"Passed", Ata(0, {kPassed}), "2: 1/2+10"},
    {"InProgress", Ata(0xF7, {kPassed}), "1 -70: 1/2+10"},
    {"InProgressAtItsEnd", Ata(Status(0xF0)), "1 -0:"},
    {"RunningTestListedInTheLog", Ata(0xF3, {Entry(0xF3), kPassed}), "1 -30: 2/2+10"},
    {"FailedAtABlock", Ata(0x79, {Entry(0x79, R"("lifetime_hours":9,"lba":1040)")}), "3: 1/3@1040+9"},
    {"BlockBeyond32Bits",
     Ata(Status(0x79) + R"(,"ata_smart_self_test_log":{"standard":{"table":[)" +
         Entry(0x79, R"("lba":4294967295)") + R"(]},"extended":{"table":[)" +
         Entry(0x79, R"("lba":15628053167)") + "]}}"),
     "3: 1/3@15628053167+0"},
    {"AbortedAndInterrupted", Ata(0x19, {Entry(0x19), Entry(0x22)}), "4: 1/4+0 2/4+0"},
    {"UnknownEnd", Ata(0x90, {Entry(0x90)}), "0: 1/0+0"},
    {"EveryFailure", Ata(0x30, {Entry(0x30), Entry(0x48), Entry(0x88)}), "3: 1/3+0 2/3+0 3/3+0"},
    // Each entry is at most 65,535 hours before the one above it.
    {"HoursRunOver",
     Ata(Status(0) + R"(,"power_on_time":{"hours":131080},)" +
         Log("standard", Entry(0, R"("lifetime_hours":5)") + "," + Entry(0, R"("lifetime_hours":65530)") +
                             "," + Entry(0, R"("lifetime_hours":7)"))),
     "2: 1/2+131077 2/2+131066 3/2+65543"},
    {"HoursWithoutAPresentCount", Ata(0, {Entry(0, R"("lifetime_hours":65530)")}), "2: 1/2+65530"},
    {"NotSupported",
     Ata(R"("ata_smart_data":{"self_test":{"status":{"value":0}},"capabilities":{"self_tests_supported":false}})"),
     "0 cannot:"},
    {"NoSmartData", Ata(R"("x":1)"), "0 cannot:"},
    {"FindingsAboutTheDrive", Ata(0, {kPassed}), "2: 1/2+10", 0xF8},
    {"AFailedCommandBesideTheRest", Ata(0, {kPassed}), "2: 1/2+10", 4},
    {"StateUnreadBesideOldEntries", Ata(Log("standard", kPassed)), kUnread, 4},
    {"LogUnread", Ata(Status(0x79)), kUnread, 4},
    {"LogUnreadOfARunningTest", Ata(Status(0xF3)), "1 -30:", 4},
    {"WithoutALog",
     R"({"device":{"protocol":"ATA"},)" + Prints("SMART Self-test Log not supported") + "," + Status(0) + "}",
     "0:", 4},
    {"WithoutSmart",
     R"({"device":{"protocol":"ATA"},)" + Prints("SMART support is: Unavailable - device lacks it.") + "}",
     "0 cannot:", 4},
    {"OddTypes",
     Ata(R"("ata_smart_data":[],"ata_smart_self_test_log":{"standard":{"table":[1,"x",{"status":{"value":"0"}}]}})"),
     "0 cannot:"},
    {"NvmeOfOldSmartctl", Nvme(""), "0 cannot:"},
    {"NvmeIdle", NvmeLog(0, ""), "0:"},
    {"NvmeRunning", NvmeLog(1, R"(,"current_self_test_completion_percent":35)"), "1 -65:"},
    {"NvmeLog",
     NvmeLog(0,
             R"(,"table":[)"
             R"({"self_test_code":{"value":1},"self_test_result":{"value":7},"power_on_hours":90,"lba":77},)"
             R"({"self_test_result":{"value":15}},{"self_test_result":{"value":1},"power_on_hours":80},)"
             R"({"self_test_result":{"value":0},"power_on_hours":70}])"),
     "3: 1/3@77+90 3/4+80 4/2+70"},
    {"NvmeUnread", Nvme(""), kUnread, 4},
    {"ScsiWithoutTests", Scsi("," + Prints("Device does not support Self Test logging")), "0 cannot:", 4},
    {"ScsiUnread", Scsi("," + Prints("scsiPrintSelfTest: Failed [I/O error]")), kUnread, 4},
    {"ScsiUnreadWhileRunning", Scsi(R"(,"self_test_in_progress":true)"), "1:", 4},
    {"ScsiNeverTested", Scsi(""), "0:"},
    {"ScsiLog",
     Scsi(
         R"(,"scsi_self_test_0":{"code":{"value":2},"result":{"value":7},"power_on_time":{"hours":8},"lba_first_failure":{"value":99}},)"
         R"("scsi_self_test_1":{"result":{"value":0},"power_on_time":{"hours":1}},"scsi_self_test_3":{"result":{"value":0}})"),
     "3: 1/3@99+8 2/2+1"},
    {"ScsiRunning",
     Scsi(R"(,"scsi_self_test_0":{"result":{"value":15}},"scsi_self_test_1":{"result":{"value":2}})"),
     "1: 2/4+0"},
    {"CannotBeOpened", R"({"smartctl":{"messages":[{"string":"open failed"},{"string":"twice"}]}})",
     "open failed; twice", 2},
    {"WithoutAMessage", "{}", "smartctl error 2", 2},
    {"NotJson", "smartctl 7.3", "smartctl's answer cannot be read"},
    {"Empty", "", "smartctl's answer cannot be read"},
    {"Array", "[]", "smartctl's answer cannot be read"},
    {"NoDevice", "{}", "unknown protocol \"\""},
};
} // namespace

TEST(DriveText, GivesAState)
{
    for (const DriveCase& row : kDriveCases)
    {
        EXPECT_EQ(Shown(row.exitCode, row.text), row.shown) << row.name;
    }
}

TEST(SmartctlTexts, LogsAndNestingAreBounded)
{
    std::string entries = kPassed;
    for (int index = 1; index < 200; ++index)
    {
        entries += "," + kPassed;
    }
    EXPECT_EQ(ParseDrive(0, Ata(Status(0) + "," + Log("extended", entries))).state->log.size(), 21U);
    EXPECT_EQ(Shown(0, std::string(100'000, '[')), "smartctl's answer cannot be read");
}

TEST(SmartctlTexts, Scan)
{
    EXPECT_FALSE(ParseScan("usage"));
    EXPECT_FALSE(ParseScan(R"({"devices":[]})")); // some other program's
    EXPECT_TRUE(ParseScan(R"({"smartctl":{}})")->empty());
    const auto devices =
        ParseScan(R"({"smartctl":{},"devices":[{"name":"/dev/sda","type":"scsi"},{"name":"-x"},7,)"
                  R"({"name":"/dev/bus/0","type":"megaraid,8"}]})");
    ASSERT_EQ(devices->size(), 2U);
    EXPECT_EQ((*devices)[1].name, "/dev/bus/0");
    EXPECT_EQ((*devices)[1].type, "megaraid,8");
}

TEST(SmartctlTexts, RaidDrives)
{
    const auto drives = ParseRaidDrives(R"({"Controllers":[{"Response Data":{"Drive Information":[)"
                                        R"({"EID:Slt":"252:3","DID":11},{"EID:Slt":" :4","DID":12},)"
                                        R"({"EID:Slt":"252","DID":13},{"EID:Slt":"252:5","DID":"x"}]}}]})");
    ASSERT_EQ(drives.size(), 1U);
    EXPECT_EQ(drives[0].name, "/c0/e252/s3");
    EXPECT_EQ(drives[0].deviceId, 11);
    EXPECT_TRUE(ParseRaidDrives(R"({"Controllers":[]})").empty());
}

// Through a parser, without the blanks between.
std::string Reported(const DriveState& first, const DriveState& second = {})
{
    TiXmlDocument document;
    document.Parse(FormatReport({{"/dev/sda", first}, {"/dev/sdb", second}}).c_str());
    if (document.Error() || document.RootElement() == nullptr)
    {
        return document.ErrorDesc();
    }
    TiXmlPrinter printer;
    printer.SetStreamPrinting();
    document.RootElement()->Accept(&printer);
    return printer.Str();
}

TEST(Report, TellsStateAndLog)
{
    const LogEntry entry{.id = 1,
                         .result = Result::Error,
                         .hours = 9,
                         .failedLba = 15'628'053'167U,
                         .type = "Short",
                         .status = "a&b"};
    EXPECT_EQ(Reported({.isRunning = true, .remaining = 70, .log = {entry}}, {.isRunning = true}),
              R"(<SelfTests><Disk Name="/dev/sda" SelfTestStatus="1" PcRemain="70"><Report ID="1" )"
              R"(StatusCode="3" Timestamp="9" FailLBA="15628053167" Type="Short" Status="a&amp;b" /></Disk>)"
              R"(<Disk Name="/dev/sdb" SelfTestStatus="1" /></SelfTests>)");
    EXPECT_EQ(Reported({.remaining = 10, .last = Result::Aborted}),
              R"(<SelfTests><Disk Name="/dev/sda" SelfTestStatus="4" />)"
              R"(<Disk Name="/dev/sdb" SelfTestStatus="0" /></SelfTests>)");
}

TEST(Report, IsXmlWhateverTheDriveSays)
{
    for (int byte = 1; byte < 256; ++byte)
    {
        const std::string odd(1, static_cast<char>(byte));
        EXPECT_THAT(Reported({.log = {{.type = odd, .status = odd}}}),
                    testing::ContainsRegex(R"re( Type=.([^"]|&[a-z]+;). Status=.([^"]|&[a-z]+;). />)re"))
            << byte;
    }
}
