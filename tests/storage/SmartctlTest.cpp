#include "storage/Smartctl.h"

#include "tests/storage/StorageFakes.h"
#include "tests/support/Cases.h"

#include <array>
#include <string>
#include <vector>

namespace
{
using testing::ElementsAre;

std::string Describe(const std::vector<SmartctlAttribute>& attributes)
{
    std::string text;
    for (const SmartctlAttribute& a : attributes)
    {
        for (const std::int32_t number : {a.id, a.flags, a.value, a.worst, a.thresh, a.raw})
        {
            text += std::to_string(number) + " ";
        }
        text += a.name + "; ";
    }
    return text;
}

constexpr auto kStatusCases = std::to_array<std::tuple<const char*, int, const char*, const char*, bool>>({
    {"NothingSet", 0x00, "", "", true},
    {"FailingDiskWithDeviceErrorLog", 0x48, "", "disk failing", false},
    {"TwoWarningsAreJoined", 0x18, "", "disk failing, curr SMART attrs <= thresh", false},
    {"AllWarnings", 0xFC, "",
     "disk failing, curr SMART attrs <= thresh, historic prefail attrs <= thresh, has self-test error",
     false},
    {"SelfTestErrorAlone", 0x80, "", "has self-test error", true},
    {"CommandFailedSaysNothing", 0x04, "", "", true},
    {"CommandLineErrorWins", 0x0B, "smartctl cmdline did not parse - one - two", "", false},
    {"OpenFailed", 0x0A, "smartctl device open failed - one - two", "", false},
});

TEST(Smartctl, StatusIsReadFromTheDocument)
{
    for (const auto& [name, status, error, warnings, healthPassed] : kStatusCases)
    {
        SCOPED_TRACE(name);
        const std::string text =
            R"({"smartctl": {"messages": [{"string": "one"}, {"severity": "error"}, {"string": 5}, 7, {"string": "two"}],
            "exit_status": )" +
            std::to_string(status) + R"(}, "model_name": "EXAMPLE", "serial_number": "E1"})";
        // The process's own exit code does not matter when there is a document.
        const SmartctlDiskInfo info = ParseDiskInfo(1, text);
        EXPECT_EQ(info.error, error);
        EXPECT_EQ(info.warnings, warnings);
        EXPECT_EQ(info.healthPassed, healthPassed);
        EXPECT_EQ(info.rawOutput, info.error.empty() ? "" : text);
        EXPECT_EQ(info.model, info.error.empty() ? "EXAMPLE" : "");
    }
}

TEST(Smartctl, OutputWithoutAGoodStatusIsAnError)
{
    EXPECT_EQ(ParseScan(2, "").error, "smartctl error 2");
    EXPECT_EQ(ParseScan(0, "").error, kSmartctlInvalidJson);
    EXPECT_EQ(ParseScan(0, "[]").error, kSmartctlInvalidJson);
    EXPECT_EQ(ParseScan(0x0900, "[]").error, "smartctl error 2304");
    EXPECT_EQ(ParseScan(2, R"({"smartctl": {"exit_status": true}})").error, "smartctl missing errcode");
    const auto failed =
        ParseScan(2, R"({"smartctl": {"exit_status": 2}, "devices": [{"name": "/dev/sda", "type": "sat"}]})");
    EXPECT_EQ(failed.error, "smartctl device open failed");
    EXPECT_TRUE(failed.devices.empty());
}

TEST(Smartctl, ScanMapsDeviceTypes)
{
    const auto result = ParseScan(0, R"({"smartctl": {"exit_status": 0}, "devices": [
        {"name": "/dev/sda", "type": "sat"}, {"name": "/dev/sdb", "type": "ata"}, {"name": "/dev/sdc", "type": "scsi"},
        {"name": "/dev/nvme0", "type": "nvme"}, {"name": "/dev/bus/0", "type": "megaraid,8"},
        {"name": "/dev/sdb", "type": "megaraid,8"}, {"name": "/dev/bus/0", "type": "sat"},
        {"name": "/dev/sdd", "type": "SAT"}, {"name": "/dev/sde", "type": ""}, {"name": "", "type": "sat"},
        {"type": "sat"}, {"name": 5, "type": "sat"}, "sat"]})");
    EXPECT_EQ(result.error, "");
    std::string seen;
    for (const SmartctlDevice& device : result.devices)
    {
        seen += device.name + "=" + std::to_string(static_cast<int>(device.type)) + " ";
    }
    EXPECT_EQ(
        seen,
        "/dev/sda=1 /dev/sdb=2 /dev/sdc=3 /dev/nvme0=4 /dev/bus/0=5 /dev/sdb=0 /dev/bus/0=1 /dev/sdd=0 ");
}

TEST(Smartctl, AtaReportGivesIdentityTemperatureAndRows)
{
    const auto info = ParseDiskInfo(
        0,
        AtaReport(
            "E1", R"(
        {"id": 5, "name": "A", "flags": {"value": 51}, "value": 100, "worst": 99, "thresh": 10, "raw": {"value": 7}},
        {"id": 194, "name": "B", "flags": {"value": 34}, "value": 64, "worst": 54, "raw": {"value": 171799937060}},
        {"id": 1, "name": "no worst", "flags": {"value": 1}, "value": 1, "raw": {"value": 1}},
        {"id": 2, "name": "no raw value", "flags": {"value": 1}, "value": 1, "worst": 1, "raw": {"string": "1"}},
        {"id": 3, "name": "no flags", "value": 1, "worst": 1, "raw": {"value": 1}},
        {"id": 4, "flags": {"value": 1}, "value": 1, "worst": 1, "raw": {"value": 1}},
        {"name": "no id", "flags": {"value": 1}, "value": 1, "worst": 1, "raw": {"value": 1}},
        {"id": 6, "name": "no value", "flags": {"value": 1}, "worst": 1, "raw": {"value": 1}})",
            R"(, "temperature": {"current": 36}, "nvme_smart_health_information_log": {"temperature": 50})"));
    EXPECT_EQ(info.error, "");
    EXPECT_EQ(info.model + info.serial + info.firmware, "TEST HDDE1F1");
    EXPECT_EQ(info.temperature, 36);
    EXPECT_EQ(Describe(info.attributes), "5 51 100 99 10 7 A; 194 34 64 54 -1 1245220 B; ");
}

TEST(Smartctl, NvmeReportGivesAtaLikeRows)
{
    const std::string log = R"("temperature": 41, "available_spare": 98, "available_spare_threshold": 10,
        "power_cycles": 12, "power_on_hours": 345, "media_errors": 6)";
    const std::string begin =
        R"({"smartctl": {"exit_status": 0}, "device": {"type": "nvme"}, "model_name": "N",
        "serial_number": "N1", "temperature": {"current": 99}, "nvme_smart_health_information_log": {)";
    const auto info = ParseDiskInfo(0, begin + log + "}}");
    EXPECT_EQ(info.temperature, 41);
    EXPECT_EQ(Describe(info.attributes), "5 51 98 -1 10 98 Reallocated_Sector_Ct; "
                                         "194 34 41 -1 -1 41 Temperature_Celsius; "
                                         "12 50 12 -1 -1 12 Power_Cycle_Count; "
                                         "9 50 345 -1 -1 345 Power_On_Hours; "
                                         "199 50 6 -1 -1 6 NVMe_Error_Count; ");

    const auto bare = ParseDiskInfo(0, begin + R"("available_spare": 98, "power_on_hours": 3}})");
    EXPECT_EQ(bare.temperature, std::nullopt);
    EXPECT_EQ(Describe(bare.attributes), "9 50 3 -1 -1 3 Power_On_Hours; ");
}

TEST(Smartctl, ScsiDiskGivesIdentityOnly)
{
    const auto report = [](const std::string& member)
    { return AtaReport("E1", kSpinUpRow, R"(, "temperature": {"current": 36}, "scsi_)" + member); };
    for (const char* member : {"vendor", "product"})
    {
        const auto info = ParseDiskInfo(0, report(member + std::string(R"(": "X")")));
        EXPECT_EQ(info.error, "");
        EXPECT_EQ(info.vendor + info.product, "X") << member;
        EXPECT_EQ(info.model + info.firmware, "TEST HDD");
        EXPECT_EQ(info.temperature, std::nullopt);
        EXPECT_TRUE(info.attributes.empty());
    }
    // A SCSI disk needs neither model nor serial number; an empty vendor makes no SCSI disk.
    EXPECT_EQ(ParseDiskInfo(0, R"({"smartctl": {"exit_status": 0}, "scsi_vendor": "V"})").error, "");
    EXPECT_EQ(ParseDiskInfo(0, report(R"(vendor": "")")).attributes.size(), 1U);
}

TEST(Smartctl, ReportWithoutIdentityIsAnError)
{
    const auto info =
        ParseDiskInfo(0, R"({"smartctl": {"exit_status": 8}, "model_name": "M", "firmware_version": "F"})");
    EXPECT_EQ(info.error, "empty model [M] or serial []");
    EXPECT_EQ(info.warnings, "disk failing");
    EXPECT_EQ(info.rawOutput, "");
    EXPECT_EQ(info.firmware, "");
    EXPECT_EQ(ParseDiskInfo(0, R"({"smartctl": {"exit_status": 0}, "serial_number": "S"})").error,
              "empty model [] or serial [S]");
}

TEST(Smartctl, VersionNeedsAllThreeParts)
{
    const auto version = ParseVersion(0, R"({"smartctl": {"version": [7, 3], "svn_revision": "5338",
        "build_info": "local build", "exit_status": 0}})");
    EXPECT_EQ(version.error, "");
    EXPECT_EQ(version.toolName + "|" + version.displayName, "smartctl|smartctl");
    EXPECT_EQ(version.version + "|" + version.revision + "|" + version.build, "7.3|5338|local build");

    const auto incomplete =
        ParseVersion(0, R"({"smartctl": {"version": [7, 3], "build_info": "B", "exit_status": 0}})");
    EXPECT_EQ(incomplete.error, "empty version [7.3] or rev [] or build [B]");
    const auto failed = ParseVersion(1, "");
    EXPECT_EQ(failed.error + "|" + failed.toolName, "smartctl error 1|smartctl");
}

TEST(SmartctlRun, UsesTheseArguments)
{
    CFakeHost host;
    host.SetProgramHook( // what stands in the error output does not count
        [](const CFakeHost::Arguments&)
        { return CFakeHost::Answer{.errorOutput = R"({"smartctl": {}})", .exitCode = 4}; });
    EXPECT_EQ(ExecuteScan().error, "smartctl error 4");
    EXPECT_EQ(ExecuteDiskInfo("/dev/sda", "").error, "smartctl error 4");
    EXPECT_EQ(ExecuteDiskInfo("/dev/bus/0", "sat+megaraid,8").error, "smartctl error 4");
    EXPECT_EQ(ExecuteSmartctlVersion().error, "smartctl error 4");
    EXPECT_THAT(host.Programs(), ElementsAre(ScanCommand(), ReportCommand("/dev/sda"),
                                             ElementsAre("./smartctl", "-j", "-T", "permissive", "-d",
                                                         "sat+megaraid,8", "-a", "/dev/bus/0"),
                                             ElementsAre("./smartctl", "-jV")));
}

TEST(SmartctlRun, ToolThatDoesNotStart)
{
    CFakeHost host; // without answers every start fails
    EXPECT_EQ(ExecuteScan().error, "smartctl ExecuteScan IPC failed");
    const auto info = ExecuteDiskInfo("/dev/sda", "");
    EXPECT_EQ(info.error, "smartctl ExecuteDiskInfo IPC failed");
    EXPECT_FALSE(info.healthPassed);
    const auto version = ExecuteSmartctlVersion();
    EXPECT_EQ(version.error, "smartctl ExecuteVersion IPC failed");
    EXPECT_EQ(version.toolName, "");
}
} // namespace
