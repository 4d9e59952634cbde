// storcli: the answers about the controller and its volumes.
#include "frame/Regex.h"
#include "raid/Storcli.h"
#include "raid/StorcliAnswer.h"

#include <algorithm>

namespace
{
// Rows of "TOPOLOGY" by drive.
struct Place
{
    std::optional<std::int32_t> array;
    std::optional<std::int32_t> row;
};
using Places = std::map<std::int32_t, Place>;

// "RAID5" gives 5; absent for anything else, spanned levels with a suffix included.
std::optional<std::int32_t> RaidLevel(CJsonValue type)
{
    std::string_view digits;
    const std::string_view text = type.String().value_or("");
    return CTextReader(text).Word("RAID").Digits(digits).AtEnd() ? DecimalNumber(digits) : std::nullopt;
}

void ReadTopologyRow(CJsonValue row, StorcliControllerInfo& info, Places& places)
{
    const auto group = row.Member("DG").Int32();
    const auto array = row.Member("Arr").Int32();
    const CJsonValue type = row.Member("Type");
    const std::int32_t level = RaidLevel(type).value_or(0);
    if (group && array && (level == 1 || level == 5 || level == 6))
    {
        info.driveGroups[*group] = level;
    }
    const auto did = row.Member("DID").Int32();
    const auto place = row.Member("Row").Int32();
    if (type.String() == "DRIVE" && did && place)
    {
        places[*did] = {.array = array, .row = place};
    }
}

void ReadDriveRow(CJsonValue row, const Places& places, StorcliControllerInfo& info)
{
    const auto position = ReadEnclosureSlot(row.Member("EID:Slt").String().value_or(""));
    const auto did = row.Member("DID").Int32();
    if (!position || !did)
    {
        return;
    }
    StorcliPhysicalDrive drive{.name = "/c0/e", .did = *did};
    drive.name.append(position->enclosure).append("/s").append(position->slot);
    drive.driveGroup = row.Member("DG").Int32();
    if (drive.driveGroup)
    {
        if (const auto place = places.find(*did); place != places.end())
        {
            drive.array = place->second.array;
            drive.row = place->second.row;
        }
        if (const auto level = info.driveGroups.find(*drive.driveGroup); level != info.driveGroups.end())
        {
            drive.raidLevel = level->second;
        }
    }
    info.drives.push_back(std::move(drive));
}

// The largest number of slots of an enclosure that holds drives.
std::int32_t NumberOfSlots(CJsonValue enclosures)
{
    std::int32_t slots = 0;
    for (const JsonMember& member : enclosures.Members())
    {
        for (const CJsonValue entry : enclosures.Find(std::string(member.name) + ".Properties").Elements())
        {
            if (entry.Member("PD").Int32().value_or(0) >= 1)
            {
                slots = std::max(slots, entry.Member("Slots").Int32().value_or(0));
            }
        }
    }
    return slots;
}

// "Rebuild (45%)". The last number in parentheses counts.
std::optional<RaidTask> ReadTask(std::string_view text)
{
    static const CPattern kTask(R"((.*) \(([0-9]+)%?\).*)");
    const auto groups = kTask.MatchWhole(text);
    const auto percent = groups ? DecimalNumber((*groups)[2]) : std::nullopt;
    return percent ? std::optional(RaidTask{.name = (*groups)[1], .percent = *percent}) : std::nullopt;
}

StorcliVolume ReadVolumeRow(CJsonValue row, std::string_view memberNumber, CJsonValue data)
{
    StorcliVolume volume;
    std::string_view group;
    std::string_view number;
    const std::string_view ids = row.Member("DG/VD").String().value_or("");
    if (CTextReader(ids).Digits(group).Word("/").Digits(number).AtEnd())
    {
        volume.dg = DecimalNumber(group).value_or(-1);
        volume.vd = DecimalNumber(number).value_or(-1);
    }
    else
    {
        // Without its own numbers the volume keeps its name, so that it does not seem to have vanished.
        volume.vd = DecimalNumber(memberNumber).value_or(-1);
    }
    const std::string vd = std::to_string(volume.vd);
    volume.name = "/c0/v" + vd;
    volume.raidLevel = RaidLevel(row.Member("TYPE")).value_or(0);
    volume.sizeGB = SizeInGB(row.Member("Size").String().value_or("")).value_or(0);
    volume.state = row.Member("State").Text();
    const CJsonValue properties = data.Member("VD" + vd + " Properties");
    volume.task = ReadTask(properties.Member("Active Operations").String().value_or(""));
    return volume;
}
} // namespace

StorcliControllerInfo ParseControllerInfo(int controllerExitCode, const std::string& controllerOutput,
                                          int enclosureExitCode, const std::string& enclosureOutput)
{
    const StorcliAnswer controller = CheckStorcliResponse(controllerExitCode, controllerOutput, true);
    if (!controller.error.empty())
    {
        return {.error = "ctlr " + controller.error};
    }
    const StorcliAnswer enclosures = CheckStorcliResponse(enclosureExitCode, enclosureOutput, true);
    if (!enclosures.error.empty())
    {
        return {.error = "encl " + enclosures.error};
    }

    const CJsonValue data = controller.responseData;
    StorcliControllerInfo info{.name = "/c0"};
    info.serialNumber = data.Find("Basics.Serial Number").Text();
    info.model = data.Find("Basics.Model").Text();
    info.driverVersion = data.Find("Version.Driver Version").Text();
    info.firmwareVersion = data.Find("Version.Firmware Version").Text();
    info.supportsJbod = IsNotNo(data.Find("Supported Adapter Operations.Support JBOD"));
    info.autoRebuild = IsNotNo(data.Find("Policies.Auto Rebuild"));
    info.spinupDelay = data.Find("Boot.Delay Among Spinup Groups (sec)").Int32().value_or(0);
    info.numSlots = NumberOfSlots(enclosures.responseData);

    Places places;
    for (const CJsonValue row : data.Member("TOPOLOGY").Elements())
    {
        ReadTopologyRow(row, info, places);
    }
    for (const CJsonValue row : data.Member("PD LIST").Elements())
    {
        ReadDriveRow(row, places, info);
    }
    return info;
}

StorcliVolumes ParseVolumesInfo(int exitCode, const std::string& output)
{
    const StorcliAnswer answer = CheckStorcliResponse(exitCode, output, true);
    StorcliVolumes result{.error = answer.error};
    for (const JsonMember& member : answer.responseData.Members())
    {
        std::string_view controller;
        std::string_view number;
        if (!CTextReader(member.name).Word("/c").Digits(controller).Word("/v").Digits(number).AtEnd())
        {
            continue;
        }
        for (const CJsonValue row : member.value.Elements())
        {
            result.volumes.push_back(ReadVolumeRow(row, number, answer.responseData));
        }
    }
    return result;
}
