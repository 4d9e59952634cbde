#include "tests/support/StorcliTexts.h"

namespace storcli
{
namespace
{
std::string Path(const Drive& drive)
{
    return "/c0/e" + drive.enclosure + "/s" + drive.slot;
}

std::string Row(const Drive& drive)
{
    return R"({"EID:Slt":")" + drive.enclosure + ":" + drive.slot + R"(","DID":)" + drive.did +
           R"(,"State":")" + drive.state + R"(","DG":)" + drive.dg + R"(,"Size":")" + drive.size +
           R"(","Intf":"SATA","Model":"ROW MODEL"})";
}

std::string Details(const Drive& drive)
{
    const std::string path = "\"Drive " + Path(drive);
    return path + R"( - Detailed Information":{)" + path + R"( State":{"Media Error Count":)" +
           drive.mediaErrors + R"(,"Other Error Count":)" + drive.otherErrors + R"(,"Drive Temperature":")" +
           drive.temperature + R"(","Predictive Failure Count":)" + drive.predictive +
           R"(,"S.M.A.R.T alert flagged by drive":)" + drive.alert + "}," + path +
           R"( Device attributes":{"SN":")" + drive.serial +
           R"(","Model Number":"MODEL 2T","Firmware Revision":"FW1","Link Speed":"6.0Gb/s"}})";
}
} // namespace

std::string Success(const std::string& data)
{
    const std::string members = data.empty() ? "" : R"(,"Response Data":{)" + data + "}";
    return R"({"Controllers":[{"Command Status":{"Controller":0,"Status":"Success"})" + members + "}]}";
}

std::string Failure()
{
    return R"({"Controllers":[{"Command Status":{"Controller":0,"Status":"Failure"}}]})";
}

std::string Disks(const std::vector<Drive>& drives)
{
    std::string data;
    for (const Drive& drive : drives)
    {
        data.append(data.empty() ? "" : ",").append("\"Drive ").append(Path(drive)).append("\":[");
        data.append(Row(drive)).append("],").append(Details(drive));
    }
    return Success(data);
}

std::string Volumes(const std::vector<Volume>& volumes)
{
    std::string data;
    for (const Volume& volume : volumes)
    {
        const std::string number = volume.ids.substr(volume.ids.find('/') + 1);
        data.append(data.empty() ? "" : ",").append(R"("/c0/v)").append(number);
        data.append(R"(":[{"DG/VD":")").append(volume.ids).append(R"(","TYPE":")").append(volume.type);
        data.append(R"(","State":")").append(volume.state).append(R"(","Size":")").append(volume.size);
        data.append(R"("}],"PDs for VD )").append(number).append(R"(":[],"VD)").append(number);
        data.append(R"( Properties":{"Active Operations":")").append(volume.operations).append(R"("})");
    }
    return Success(data);
}

std::string Controller(const std::vector<Drive>& drives)
{
    std::string topology =
        R"({"DG":0,"Arr":"-","Row":"-","DID":"-","Type":"RAID1"},{"DG":0,"Arr":0,"Row":"-","DID":"-","Type":"RAID1"},)"
        R"({"DG":1,"Arr":0,"Row":"-","DID":"-","Type":"RAID5"},{"DG":2,"Arr":0,"Row":"-","DID":"-","Type":"RAID10"})";
    std::string list;
    for (const Drive& drive : drives)
    {
        topology += R"(,{"DG":)" + drive.dg + R"(,"Arr":0,"Row":)" + drive.row + R"(,"DID":)" + drive.did +
                    R"(,"Type":"DRIVE"})";
        list += (list.empty() ? "" : ",") + Row(drive);
    }
    return Success(
        R"("Basics":{"Model":"RAID 8i","Serial Number":" SV1 "},)"
        R"("Version":{"Driver Version":"D1","Firmware Version":"F1"},)"
        R"("Supported Adapter Operations":{"Support JBOD":"No"},"Policies":{"Auto Rebuild":"Off"},)"
        R"json("Boot":{"Delay Among Spinup Groups (sec)":12},"TOPOLOGY":[)json" +
        topology + R"(],"PD LIST":[)" + list + "]");
}

// One enclosure with drives, a larger one without. The blank behind the names is the tool's.
std::string Enclosures()
{
    return Success(R"("Enclosure /c0/e252 ":{"Information":{},"Properties":[{"EID":252,"Slots":8,"PD":4}]},)"
                   R"("Enclosure /c0/e8 ":{"Properties":[{"EID":8,"Slots":12,"PD":1}]},)"
                   R"("Enclosure /c0/e9 ":{"Properties":[{"EID":9,"Slots":24,"PD":0}]})");
}

std::string Smart(const std::string& path, int bytes)
{
    std::string text = "10 00 05 33 00 64 63 07 00 00 00 00 00 00 09 2e 01 5F 5f 01 02 00 00 00 00 00 "
                       "05 00 00 01 01 00 00 00 00 00 00 00 "; // the second 5 does not count
    while (text.size() < static_cast<std::size_t>(bytes) * 3)
    {
        text += "00 ";
    }
    return R"("Smart Data Info )" + path + R"(":")" + text + "\"";
}
} // namespace storcli
