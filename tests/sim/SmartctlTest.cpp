#include "SimTestSupport.h"
#include "tests/support/CaseName.h"

#include <gtest/gtest.h>

#include <array>
#include <tuple>

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

namespace
{
// Name, command, exit status, and a part of the first message; empty: there must be none.
constexpr auto kCommandCases = std::to_array<std::tuple<const char*, const char*, int, const char*>>({
    {"Version", "./smartctl -jV", 0, ""},
    {"Scan", "./smartctl -j --scan", 0, ""},
    {"OptionsAfterTheDevice", "./smartctl /dev/sdb -a -T permissive --json", 0, ""},
    {"GroupedOptions", "./smartctl -jaTpermissive /dev/sdb", 0, ""},
    {"LongOptions", "./smartctl --json --all --tolerance=permissive --device=sat /dev/sdb", 0, ""},
    {"TypeGiven", "./smartctl -j -T permissive -d sat -a /dev/sdb", 0, ""},
    {"NvmeTypeGiven", "./smartctl -j -d nvme -a /dev/nvme0", 0, ""},
    {"UnrecognizedOption", "./smartctl -j --nosuch /dev/sdb", 1, "UNRECOGNIZED OPTION: nosuch"},
    {"OnlyFirstErrorCounts", "./smartctl -j -z -T bogus /dev/sdb", 1, "UNRECOGNIZED OPTION: z"},
    {"BadTolerance", "./smartctl -j -T permissiv -a /dev/sdb", 1, "INVALID ARGUMENT TO -T: permissiv"},
    {"MissingArgument", "./smartctl -j -d", 1, "ARGUMENT REQUIRED FOR OPTION: d"},
    {"NoDevice", "./smartctl -j -a", 1, "requires a device name"},
    {"TwoDevices", "./smartctl -j -a /dev/sdb /dev/sdc", 1, "takes ONE device name"},
    {"NoDisk", "./smartctl -j -T permissive -a /dev/vda", 1, "/dev/vda: Unable to detect device type"},
    {"UnknownType", "./smartctl -j -d nosuch -a /dev/sdb", 1, "/dev/sdb: Unknown device type 'nosuch'"},
    {"UsbStick", "./smartctl -j -T permissive -a /dev/sdg", 1, "/dev/sdg: Unknown USB bridge"},
    {"MissingDisk", "./smartctl -j -a /dev/sdz", 2, "Smartctl open device: /dev/sdz failed: No such device"},
    {"WrongType", "./smartctl -j -d nvme -a /dev/sdb", 2,
     "open device: /dev/sdb failed: Inappropriate ioctl"},
    {"NoController", "./smartctl -j -d sat+megaraid,8 -a /dev/bus/0", 2,
     "/dev/bus/0 [megaraid_disk_08] [SAT] failed"},
});

struct StatusCase
{
    const char* name;
    const char* scenario;
    const char* device;
    int exitStatus;
    bool passed;
};

// sdc: row 5 is pre-failure with threshold 10; row 199 has none.
constexpr auto kStatusCases = std::to_array<StatusCase>({
    {"Healthy", "", "/dev/sdc", 0, true},
    {"Failing", "at 0s disk /dev/sdc health failing", "/dev/sdc", 8, false},
    {"FailingAndOk", "at 0s disk /dev/sdc health failing\nat 0s disk /dev/sdc health ok", "/dev/sdc", 0,
     true},
    {"AttributeAtThreshold", "at 0s disk /dev/sdc attribute 5 value 10", "/dev/sdc", 16, true},
    {"AttributeAboveThreshold", "at 0s disk /dev/sdc attribute 5 value 11", "/dev/sdc", 0, true},
    {"AttributeOnceBelow",
     "at 0s disk /dev/sdc attribute 5 value 1\nat 0s disk /dev/sdc attribute 5 value 90", "/dev/sdc", 32,
     true},
    {"AttributeWithoutThreshold", "at 0s disk /dev/sdc attribute 199 value 1", "/dev/sdc", 0, true},
    {"Pulled", "at 0s disk /dev/sdc pull", "/dev/sdc", 2, false},
    {"NvmeSpareAtThreshold", "at 0s disk /dev/nvme0 spare 10", "/dev/nvme0", 0, true},
    {"NvmeSpareBelowThreshold", "at 0s disk /dev/nvme0 spare 9", "/dev/nvme0", 8, false},
});

using SmartctlStatus = testing::TestWithParam<StatusCase>;
} // namespace

TEST(SmartctlCommand, EndsAsTheRealOne)
{
    for (const auto& [name, command, exitStatus, message] : kCommandCases)
    {
        SCOPED_TRACE(name);
        const auto appliance = Play("");
        const auto run = Call(*appliance, command);
        const auto json = Json(run);
        ASSERT_TRUE(json.is_object()) << run.standardOutput;
        EXPECT_EQ(run.waitStatus, exitStatus << 8);
        const auto& self = json.at("smartctl");
        EXPECT_EQ(self.at("exit_status"), exitStatus);
        EXPECT_EQ(self.at("argv"), Split(command));
        if (std::string_view(message).empty())
        {
            EXPECT_FALSE(self.contains("messages"));
        }
        else
        {
            EXPECT_THAT(self.at("messages").at(0).at("string").get<std::string>(), HasSubstr(message));
            EXPECT_FALSE(json.contains("model_name"));
        }
    }
}

TEST_P(SmartctlStatus, FollowsTheDisk)
{
    const auto appliance = Play(GetParam().scenario);
    const auto run = Call(*appliance, ReportCommand(GetParam().device));
    const auto json = Json(run);
    ASSERT_TRUE(json.is_object());
    EXPECT_EQ(run.waitStatus, GetParam().exitStatus << 8);
    EXPECT_EQ(json.at("smartctl").at("exit_status"), GetParam().exitStatus);
    EXPECT_EQ(json.value("/smart_status/passed"_json_pointer, false), GetParam().passed);
}

INSTANTIATE_TEST_SUITE_P(Cases, SmartctlStatus, testing::ValuesIn(kStatusCases), kByName);

TEST(Smartctl, ScanListsKindsInOrder)
{
    const auto appliance = Play("");
    EXPECT_THAT(ScannedDevices(*appliance, 0s),
                ElementsAre("/dev/sda", "/dev/sdb", "/dev/sdc", "/dev/sdd", "/dev/sde", "/dev/sdf",
                            "/dev/sdg", "/dev/nvme0"));
    const auto devices = Json(Call(*appliance, "./smartctl -j --scan")).at("devices");
    EXPECT_EQ(devices[0],
              R"({"name":"/dev/sda","info_name":"/dev/sda [SAT]","type":"sat","protocol":"ATA"})"_json);
    EXPECT_EQ(devices[6],
              R"({"name":"/dev/sdg","info_name":"/dev/sdg","type":"scsi","protocol":"SCSI"})"_json);
    EXPECT_EQ(devices[7],
              R"({"name":"/dev/nvme0","info_name":"/dev/nvme0","type":"nvme","protocol":"NVMe"})"_json);
}

TEST(Smartctl, ScanOfAnEmptyMachineHasNoDeviceList)
{
    std::string scenario;
    for (const char* device : {"sda", "sdb", "sdc", "sdd", "sde", "sdf", "sdg", "nvme0"})
    {
        scenario += "at 0s disk /dev/" + std::string(device) + " pull\n";
    }
    const auto run = Call(*Play(scenario), "./smartctl -j --scan");
    EXPECT_EQ(run.waitStatus, 0);
    EXPECT_FALSE(Json(run).contains("devices"));
}

TEST(Smartctl, AttributeRowHasTheRealShape)
{
    const auto appliance = Play("at 0s disk /dev/sdc attribute 5 value 8 raw 4016");
    const auto report = Report(*appliance, "/dev/sdc", 0s);
    EXPECT_EQ(Attribute(report, 5), R"({
        "id": 5, "name": "Reallocated_Sector_Ct", "value": 8, "worst": 8, "thresh": 10, "when_failed": "now",
        "flags": {"value": 51, "string": "PO--CK ", "prefailure": true, "updated_online": true,
                  "performance": false, "error_rate": false, "event_count": true, "auto_keep": true},
        "raw": {"value": 4016, "string": "4016"}})"_json);
    const auto hot = Attribute(Report(*Play("at 0s disk /dev/sdc temperature 58"), "/dev/sdc", 0s), 194);
    EXPECT_EQ(hot.at("raw").at("string"), "58 (Min/Max 19/58)");
    EXPECT_EQ(hot.at("raw").at("value"), 58 + (19 << 16) + (58LL << 32));
}

TEST(Smartctl, SectionsCanBeHadAlone)
{
    const auto appliance = Play("at 0s disk /dev/sdc health failing");
    // the health is not asked for
    EXPECT_THAT(Json(Call(*appliance, "./smartctl -j -i /dev/sdc")),
                Includes(R"({"model_name": "Meridian ST-8T", "smartctl": {"exit_status": 0},
                             "ata_smart_attributes": null})"_json));
    EXPECT_THAT(Json(Call(*appliance, "./smartctl -jH /dev/sdc")),
                Includes(R"({"smartctl": {"exit_status": 8}, "model_name": null})"_json));
}

TEST(Smartctl, CountersGrowWithTheHours)
{
    const auto appliance = Play("");
    for (const auto& [device, grown] : {std::pair{"/dev/sdc", 9'104 + 25}, {"/dev/nvme0", 9'118 + 25}})
    {
        EXPECT_EQ(Report(*appliance, device, 25h).at("power_on_time").at("hours"), grown);
    }
    const auto report = Report(*appliance, "/dev/sdc", 25h);
    EXPECT_EQ(Attribute(report, 9).at("raw").at("value"), 9'104 + 25);
    EXPECT_EQ(Attribute(report, 193).at("raw").at("value"), 1'210 + 150);
    EXPECT_EQ(report.at("local_time").at("asctime"), "Mon Mar  2 09:00:00 2026 UTC");
}

TEST(Smartctl, ArgumentsThatAreNoUtf8StillGiveJson)
{
    EXPECT_TRUE(Report(*Play(""), "/dev/\xff\"\x01", 0s).is_object());
}
