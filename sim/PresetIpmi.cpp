// A recorder on a server board: no Super I/O chip that can be used, but a management controller. Its disks
// are few and in good order; the board is what happens here.
#include "sim/Presets.h"

namespace sim
{
namespace
{
constexpr int kSlotSystem = 0;

DiskSpec DataDisk(const std::string& device, const std::string& serial, int slot)
{
    return {.device = device,
            .kind = DiskKind::HardDisk,
            .model = "Meridian ST-8T",
            .serial = serial,
            .firmware = "MR04",
            .bytes = 8'001'563'222'016,
            .restTemperature = 37,
            .powerOnHours = 5'210,
            .slot = slot,
            .partitions = 1,
            .mountPath = "/mnt/data" + std::to_string(slot),
            .fileSystem = "xfs"};
}

std::vector<DiskSpec> Disks()
{
    const DiskSpec system{.device = "/dev/sda",
                          .kind = DiskKind::Ssd,
                          .model = "Halden S2 240G",
                          .serial = "HS2A01122",
                          .firmware = "1.07",
                          .bytes = 240'057'409'536,
                          .restTemperature = 33,
                          .powerOnHours = 5'214,
                          .slot = kSlotSystem,
                          .partitions = 3,
                          .mountPath = "/",
                          .fileSystem = "ext4"};
    return {system, DataDisk("/dev/sdb", "M8T-4E0071", 1), DataDisk("/dev/sdc", "M8T-4E0072", 2)};
}

BmcSensorSpec Temperature(const std::string& name, std::int64_t degrees, std::int64_t critical)
{
    return {.name = name,
            .kind = BmcSensorKind::Temperature,
            .restValue = degrees * 1'000,
            .upperCritical = critical * 1'000};
}

BmcSensorSpec Fan(const std::string& name, std::int64_t rpm)
{
    return {.name = name, .kind = BmcSensorKind::Fan, .restValue = rpm * 1'000, .lowerCritical = 500 * 1'000};
}

BmcSensorSpec Voltage(const std::string& name, std::int64_t millivolts)
{
    return {.name = name,
            .kind = BmcSensorKind::Voltage,
            .restValue = millivolts,
            .lowerCritical = millivolts / 10 * 9,
            .upperCritical = millivolts / 10 * 11};
}

BmcSensorSpec States(const std::string& name, int states, const std::string& entity)
{
    return {.name = name, .kind = BmcSensorKind::Discrete, .restValue = states, .entity = entity};
}

// The last row is a fan: on a board that ends with anything but a whole number, every sensor would count as
// missing all the time.
std::vector<BmcSensorSpec> Sensors()
{
    BmcSensorSpec socket = Fan("FAN_REAR2", 0);
    socket.isOn = false;
    return {Temperature("CPU Temp", 44, 95),
            Temperature("Board Temp", 31, 80),
            Temperature("Bay, upper", 35, 65),
            Temperature("DIMM A1 Temp", 38, 85),
            Voltage("12V", 12'096),
            Voltage("5VSB", 5'000),
            Voltage("VBAT", 3'104),
            States("Lid Switch", 0x00, "23.1"),
            States("PSU1 Status", 0x01, "10.1"),
            Fan("FAN_CPU", 2'900),
            socket,
            Fan("FAN_REAR1", 4'300)};
}

constexpr const char* kSystemDescription = R"(<?xml version="1.0"?>
<SystemInfo>
    <family value="n_series"/>
    <Drives StorageRows="1" StorageCols="4" VerticalOrder="0" VerticalSlots="0" HorizontalFlip="0"/>
</SystemInfo>
)";

// The plug-in asks for the sensors every five seconds, so a change is seen without a request.
constexpr const char* kScenario = R"(
at 0s   note all sensors are well; FAN_REAR2 is a socket without a fan

at 15s  bmc "CPU Temp" value 88           # warm, but below its limit of 95
at 30s  bmc "CPU Temp" value 97
at 45s  bmc "CPU Temp" value 46

at 1m   bmc FAN_CPU value 0               # stands still
at 1m15s bmc FAN_CPU value 2900

at 1m30s bmc "Bay, upper" off             # one sensor without reading: missing
at 1m45s bmc "Bay, upper" on

at 2m   note the last line without reading makes every sensor missing
at 2m   bmc FAN_REAR1 off
at 2m15s bmc FAN_REAR1 on

at 2m30s bmc gone                         # ipmitool fails
at 2m45s bmc back

at 3m   bmc FAN_REAR2 on                  # a fan is plugged in: one more sensor
at 3m   bmc FAN_REAR2 value 4200

at 3m15s note nothing more will happen
)";
} // namespace

AppliancePreset MakeIpmiPreset()
{
    AppliancePreset preset;
    preset.board = {.vendor = "Tarnwerk",
                    .model = "TS-920B",
                    .firmwareVendor = "Tarnwerk",
                    .firmwareVersion = "1.31",
                    .operatingSystem = "Appliance Linux 12",
                    .baseImageVersion = "12.4.1",
                    .memory = "65536 MB",
                    .swap = "8192 MB",
                    .processors = {"Corelia X8-5200 @ 2.80GHz"}};
    preset.disks = Disks();
    preset.bmcSensors = Sensors();
    preset.files = {{"tqsysteminfo.xml", kSystemDescription}};
    preset.scenario = kScenario;
    return preset;
}
} // namespace sim
