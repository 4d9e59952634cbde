// arcconf's output: every answer about a controller, SMART in XML, and what a command says.
#include "raid/ArcconfConfig.h"
#include "raid/ArcconfSmart.h"
#include "tests/fuzz/Fuzz.h"

namespace
{
// So that a text is read as listing and as status, whatever it begins with.
constexpr const char* kBanner = "Controllers found: 1\nCommand completed successfully\n";
constexpr const char* kDrives =
    R"({"Controller":{"LogicalDrive":[{"logicalDriveID":0,"raidLevel":1,"bTaskInProgress":1},)"
    R"({"logicalDriveID":1,"raidLevel":60,"bTaskInProgress":1}],"Channel":[{"HardDrive":[{"channelID":0,)"
    R"("deviceID":8,"connectorName":"CN1","slotID":0,"model":"","serialNumber":"","firmwareLevel":""}]}]}})";

void CheckConfig(const ArcConfig& config)
{
    Require(config.error.empty() || config == ArcConfig{.error = config.error});
    for (const ArcLogicalDrive& drive : config.logicalDrives)
    {
        Require(drive.raidLevel == 1 || IsDataLevel(drive.raidLevel));
        Require(drive.name == std::to_string(drive.id) && drive.sizeGB >= 0 && !drive.state.empty());
        Require(!drive.task || (!drive.task->name.empty() && drive.task->percent >= 0));
    }
    for (const ArcHardDrive& drive : config.hardDrives)
    {
        Require((drive.connector == 0 || drive.connector == 1) && !drive.state.empty());
        Require(drive.errorNames.size() <= 20);
        Require(drive.id.channel < 0 || drive.id.device < 0 ||
                ParseDriveName(DriveName(drive.id)) == drive.id);
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text = Text(data, size);
    const std::string error = CheckArcconfResponse("config", {.exitCode = 2, .output = text});
    const ArcConfig raw =
        ParseControllerInfo({.exitCode = 2, .output = text}, {.output = text}, {.output = text});
    Require(error.empty() ? raw.error.empty() || raw.error == "arcconf config invalid json"
                          : raw.error == error);
    CheckConfig(raw);

    const std::string framed = kBanner + text;
    CheckConfig(ParseControllerInfo({.output = framed}, {.output = framed}, {.output = framed}));
    const std::string drives = std::string(kBanner) + kDrives;
    const ArcConfig config = ParseControllerInfo({.output = drives}, {.output = framed}, {.output = framed});
    Require(config.error.empty() && config.hardDrives.size() == 1);
    CheckConfig(config);

    for (const std::string& output : {text, framed})
    {
        const ArcSmartInfo smart = ParseSmartInfo({.output = output});
        Require(smart.error.empty() || smart.drives.empty());
        for (const auto& [id, attributes] : smart.drives)
        {
            for (const ArcSmartAttribute& attribute : attributes)
            {
                Require(attribute.id >= 0 && attribute.id <= 255);
            }
        }
    }
    (void)ParseDriveName(text);
    return 0;
}
