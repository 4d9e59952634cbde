#include "bench/LsiAppliance.h"

#include <map>
#include <memory>

namespace bench
{
namespace
{
constexpr int kSlots = 24; // of each enclosure
constexpr int kMirrorDrives = 2;

struct Drive
{
    explicit Drive(int number)
        : enclosure(std::to_string(32 + number / kSlots)),
          slot(std::to_string(number % kSlots)),
          did(std::to_string(number + 5)),
          path("/c0/e" + enclosure + "/s" + slot),
          serial("BENCH" + std::to_string(100000 + number)),
          group(number < kMirrorDrives ? "0" : "1"),
          row(std::to_string(number < kMirrorDrives ? number : number - kMirrorDrives))
    {
    }

    std::string enclosure;
    std::string slot;
    std::string did;
    std::string path;
    std::string serial;
    std::string group;
    std::string row;
};

std::string Replaced(std::string text, std::string_view mark, const std::string& value)
{
    for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at + value.size()))
    {
        text.replace(at, mark.size(), value);
    }
    return text;
}

std::string Filled(std::string text, const Drive& drive)
{
    text = Replaced(std::move(text), "@PATH", drive.path);
    text = Replaced(std::move(text), "@EID", drive.enclosure);
    text = Replaced(std::move(text), "@SLOT", drive.slot);
    text = Replaced(std::move(text), "@DID", drive.did);
    text = Replaced(std::move(text), "@SERIAL", drive.serial);
    text = Replaced(std::move(text), "@ROW", drive.row);
    return Replaced(std::move(text), "@DG", drive.group);
}

std::string Succeeded(const std::string& data)
{
    return R"json({
"Controllers":[
{
	"Command Status" : {
		"CLI Version" : "007.2612.0000.0000 June 13, 2023",
		"Operating system" : "Linux 6.1.0",
		"Controller" : 0,
		"Status" : "Success",
		"Description" : "None"
	},
	"Response Data" : {)json" +
           data + "\n\t}\n}\n]\n}\n";
}

// One after the other with a comma between them.
std::string ForEach(int drives, const std::string& text)
{
    std::string result;
    for (int i = 0; i < drives; ++i)
    {
        result.append(i > 0 ? "," : "").append(Filled(text, Drive(i)));
    }
    return result;
}

constexpr const char* kDriveRow = R"json(
         {
            "EID:Slt" : "@EID:@SLOT",
            "DID" : @DID,
            "State" : "Onln",
            "DG" : @DG,
            "Size" : "7.276 TB",
            "Intf" : "SATA",
            "Med" : "HDD",
            "SED" : "N",
            "PI" : "N",
            "SeSz" : "512B",
            "Model" : "BENCH8000NM0055-1RM",
            "Sp" : "U",
            "Type" : "-"
         })json";

constexpr const char* kDriveDetails = R"json(
      "Drive @PATH - Detailed Information" : {
         "Drive @PATH State" : {
            "Shield Counter" : 0,
            "Media Error Count" : 0,
            "Other Error Count" : 0,
            "Drive Temperature" : " 34C (93.20 F)",
            "Predictive Failure Count" : 0,
            "S.M.A.R.T alert flagged by drive" : "No"
         },
         "Drive @PATH Device attributes" : {
            "SN" : "            @SERIAL",
            "Manufacturer Id" : "ATA     ",
            "Model Number" : "BENCH8000NM0055-1RM112",
            "NAND Vendor" : "NA",
            "WWN" : "5000C500@SERIAL",
            "Firmware Revision" : "SN05    ",
            "Firmware Release Number" : "N/A",
            "Raw size" : "7.277 TB [0x3a3812ab0 Sectors]",
            "Coerced size" : "7.276 TB [0x3a3700000 Sectors]",
            "Non Coerced size" : "7.276 TB [0x3a3712ab0 Sectors]",
            "Device Speed" : "6.0Gb/s",
            "Link Speed" : "6.0Gb/s",
            "NCQ setting" : "Enabled",
            "Write Cache" : "Disabled",
            "Logical Sector Size" : "512B",
            "Physical Sector Size" : "4 KB",
            "Connector Name" : "C0.0   & C0.1 x8 "
         },
         "Drive @PATH Policies/Settings" : {
            "Drive position" : "DriveGroup:@DG, Span:0, Row:@ROW",
            "Enclosure position" : "1",
            "Connected Port Number" : "0(path0) ",
            "Sequence Number" : 2,
            "Commissioned Spare" : "No",
            "Emergency Spare" : "No",
            "Last Predictive Failure Event Sequence Number" : 0,
            "Successful diagnostics completion on" : "N/A",
            "FDE Type" : "None",
            "SED Capable" : "No",
            "SED Enabled" : "No",
            "Secured" : "No",
            "Cryptographic Erase Capable" : "No",
            "Sanitize Support" : "Not supported",
            "Locked" : "No",
            "Needs EKM Attention" : "No",
            "PI Eligible" : "No",
            "Drive is formatted for PI" : "No",
            "PI type" : "No PI",
            "Number of bytes of user data in LBA" : "512B",
            "Certified" : "No",
            "Wide Port Capable" : "No",
            "Unmap capable" : "No",
            "Port Information" : [
               {
                  "Port" : 0,
                  "Status" : "Active",
                  "Linkspeed" : "6.0Gb/s",
                  "SAS address" : "0x500304801f2d3c8@SLOT"
               }
            ]
         },
         "Inquiry Data" : "5a 0c ff 3f 37 c8 10 00 00 00 00 00 3f 00 00 00 00 00 00 00 20 20 20 20 20 20 20 20 20 20 20 20 41 5a 34 31 43 35 39 38 00 00 00 00 00 00 4e 53 35 30 20 20 20 20 54 53 38 30 30 30 4d 4e 30 30 35 35 31 2d "
      })json";

std::string ControllerAnswer(int drives)
{
    const std::string groupRow =
        R"json({"DG":@DG,"Arr":@ARR,"Row":"-","EID:Slot":"-","DID":"-","Type":"@TYPE","State":"Optl","Size":"7.276 TB"},)json";
    std::string topology;
    for (const auto& [group, type] : {std::pair("0", "RAID1"), std::pair("1", "RAID6")})
    {
        const std::string row = Replaced(Replaced(groupRow, "@DG", group), "@TYPE", type);
        topology += Replaced(row, "@ARR", "\"-\"") + Replaced(row, "@ARR", "0");
    }
    topology += ForEach(
        drives,
        R"json({"DG":@DG,"Arr":0,"Row":@ROW,"EID:Slot":"@EID:@SLOT","DID":@DID,"Type":"DRIVE","State":"Onln"})json");
    return Succeeded(R"json("Basics":{"Model":"Bench RAID 8i","Serial Number":"SB00000001"},
"Version":{"Firmware Version":"5.160.02-3415","Driver Name":"megaraid_sas","Driver Version":"07.719.03.00-rc1"},
"Supported Adapter Operations":{"Support JBOD":"Yes"},"Policies":{"Auto Rebuild":"On"},
"Boot":{"Delay Among Spinup Groups (sec)":12},"TOPOLOGY":[)json" +
                     topology + R"json(],"PD LIST":[)json" + ForEach(drives, kDriveRow) + "]");
}

// The drive's own data: a revision, then twenty attributes.
std::string SmartTable()
{
    std::string bytes = "10 00 ";
    constexpr int kAttributes = 20;
    constexpr int kTableBytes = 512 - 2;
    for (int i = 1; i <= kAttributes; ++i)
    {
        bytes += (i < 10 ? "0" : "") + std::to_string(i) + " 32 00 64 63 7b 00 00 00 00 00 00 ";
    }
    for (int i = kAttributes * 12; i < kTableBytes; ++i)
    {
        bytes += "00 ";
    }
    return bytes;
}
} // namespace

std::string MakeDisksListing(int drives)
{
    return Succeeded(
        ForEach(drives, std::string("\n\t\t\"Drive @PATH\" : [") + kDriveRow + "\n\t\t]," + kDriveDetails));
}

Answer LsiAppliance(int drives, SmartThrough smart)
{
    auto texts = std::make_shared<std::map<std::string, std::string>>();
    (*texts)["storcli -V"] = "\n      Storage Command Line Tool  Ver 007.2612.0000.0000 June 13, 2023 \n\n";
    (*texts)["storcli /c0 show all J"] = ControllerAnswer(drives);
    (*texts)["storcli /c0/eall show all J"] = Succeeded(
        R"json("Enclosure /c0/e32 ":{"Information":{},"Properties":[{"EID":32,"State":"OK","Slots":24,"PD":24}]})json");
    (*texts)["storcli /c0/vall show all J"] = Succeeded(
        R"json("/c0/v0":[{"DG/VD":"0/0","TYPE":"RAID1","State":"Optl","Size":"7.276 TB"}],
"VD0 Properties":{"Active Operations":"None"},
"/c0/v1":[{"DG/VD":"1/1","TYPE":"RAID6","State":"Optl","Size":"422.008 TB"}],
"VD1 Properties":{"Active Operations":"Consistency Check (36%)"})json");
    (*texts)["storcli /c0/eall/sall show all J"] = MakeDisksListing(drives);
    (*texts)["storcli /c0/eall/sall show smart J"] =
        Succeeded(ForEach(drives, "\n\"Smart Data Info @PATH\" : \"" + SmartTable() + "\""));
    (*texts)["./smartctl -j --scan"] = R"json({"smartctl":{"exit_status":0},"devices":[]})json";
    (*texts)["./smartctl -jV"] =
        R"json({"smartctl":{"version":[7,3],"svn_revision":"5338","build_info":"(x)","exit_status":0}})json";
    (*texts)["scripts/sysinfo.sh"] = "motherboard-model=Bench\nraid-volume=/c0/v1\nraid-fspath=/data\n";
    for (int i = 0; i < drives; ++i)
    {
        const Drive drive(i);
        (*texts)["./smartctl -j -T permissive -d sat+megaraid," + drive.did + " -a /dev/bus/0"] =
            smart == SmartThrough::Smartctl
                ? SmallAtaReport("/dev/bus/0", drive.serial)
                : R"json({"smartctl":{"exit_status":2,"messages":[{"string":"no such device","severity":"error"}]}})json";
    }
    static const std::string empty;
    return [texts](const std::vector<std::string>& argv)
    {
        std::string line;
        for (const std::string& argument : argv)
        {
            line.append(line.empty() ? "" : " ").append(argument);
        }
        const auto found = texts->find(line);
        return found != texts->end() ? &found->second : &empty;
    };
}
} // namespace bench
