// storcli: the answers about the drives.
#include "raid/Storcli.h"
#include "raid/StorcliAnswer.h"

#include <algorithm>

namespace
{
// The details of the drive at `place`. They stand right behind the drive's own row; elsewhere they are
// searched for.
CJsonValue FindDetails(const std::vector<JsonMember>& members, std::size_t place, const std::string& drive)
{
    const std::string name = drive + " - Detailed Information";
    if (place + 1 < members.size() && members[place + 1].name == name)
    {
        return members[place + 1].value;
    }
    const auto found = std::find_if(members.begin(), members.end(),
                                    [&name](const JsonMember& member) { return member.name == name; });
    return found != members.end() ? found->value : CJsonValue();
}

bool Has(std::string_view text, std::string_view part)
{
    return text.find(part) != std::string_view::npos;
}

void ReadState(std::string_view state, StorcliDisk& disk)
{
    disk.state = state;
    disk.unconfiguredGood = Has(state, "UGood");
    if (Has(state, "DHS"))
    {
        disk.hotSpare = 1;
    }
    if (Has(state, "GHS"))
    {
        disk.hotSpare = 2;
    }
    if (Has(state, "HSP"))
    {
        disk.hotSpare = 3;
    }
}

void ReadRow(CJsonValue row, StorcliDisk& disk)
{
    // A drive outside every enclosure has a blank before the colon.
    const std::string_view position = row.Member("EID:Slt").String().value_or("");
    if (const std::size_t colon = position.find(':'); colon != std::string_view::npos)
    {
        disk.slot = DecimalNumber(position.substr(colon + 1)).value_or(disk.slot);
    }
    disk.did = row.Member("DID").Int32().value_or(disk.did);
    const CJsonValue group = row.Member("DG");
    disk.dg = group.Int32();
    disk.foreign = group.String() == "F";
    disk.sizeGB = SizeInGB(row.Member("Size").String().value_or(""));
    ReadState(row.Member("State").String().value_or(""), disk);
}

void ReadDetails(CJsonValue details, const std::string& drive, StorcliDisk& disk)
{
    const CJsonValue attributes = details.Member(drive + " Device attributes");
    disk.serialNumber = attributes.Member("SN").Text();
    disk.model = attributes.Member("Model Number").Text();
    disk.firmwareVersion = attributes.Member("Firmware Revision").Text();
    disk.linkSpeed = attributes.Member("Link Speed").Text();

    const CJsonValue state = details.Member(drive + " State");
    disk.mediaErrors = state.Member("Media Error Count").Int32().value_or(0);
    disk.otherErrors = state.Member("Other Error Count").Int32().value_or(0);
    disk.predictiveFailures = state.Member("Predictive Failure Count").Int32().value_or(0);
    disk.smartAlert = IsNotNo(state.Member("S.M.A.R.T alert flagged by drive"));
    disk.temperature = LeadingInteger(state.Member("Drive Temperature").String().value_or(""));
}

constexpr int kNoDigit = -1;

constexpr int HexDigit(char character)
{
    if (character >= '0' && character <= '9')
    {
        return character - '0';
    }
    const char lower = static_cast<char>(character | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : kNoDigit;
}
static_assert(HexDigit('9') == 9 && HexDigit('a') == 10 && HexDigit('F') == 15);
static_assert(HexDigit('g') == kNoDigit && HexDigit('/') == kNoDigit && HexDigit(':') == kNoDigit);

// Pairs of digits with a blank after each; the last blank may be missing.
std::optional<StorcliSmartData> ReadHexTable(std::string_view text)
{
    constexpr std::size_t kPair = 3;
    if (text.size() != kSmartDataSize * kPair && text.size() != kSmartDataSize * kPair - 1)
    {
        return {};
    }
    StorcliSmartData data{};
    for (std::size_t i = 0; i < kSmartDataSize; ++i)
    {
        const std::string_view pair = text.substr(i * kPair, kPair);
        const int high = HexDigit(pair[0]);
        const int low = HexDigit(pair[1]);
        if (high == kNoDigit || low == kNoDigit || (pair.size() == kPair && pair[2] != ' '))
        {
            return {};
        }
        data[i] = static_cast<std::uint8_t>(high * 16 + low);
    }
    return data;
}
} // namespace

StorcliDisks ParseDisksInfo(int exitCode, const std::string& output)
{
    const StorcliAnswer answer = CheckStorcliResponse(exitCode, output, true);
    StorcliDisks result{.error = answer.error};
    const std::vector<JsonMember> members = answer.responseData.Members();
    result.disks.reserve(members.size() / 2);
    for (std::size_t i = 0; i < members.size(); ++i)
    {
        const auto path = DrivePath(members[i].name, "Drive ");
        if (!path)
        {
            continue;
        }
        const std::string drive(members[i].name);
        for (const CJsonValue row : members[i].value.Elements())
        {
            StorcliDisk& disk = result.disks.emplace_back();
            disk.name = *path;
            ReadRow(row, disk);
            ReadDetails(FindDetails(members, i, drive), drive, disk);
        }
    }
    return result;
}

StorcliSmart ParseDisksSmartInfo(int exitCode, const std::string& output)
{
    const StorcliAnswer answer = CheckStorcliResponse(exitCode, output, true);
    StorcliSmart result{.error = answer.error};
    for (const JsonMember& member : answer.responseData.Members())
    {
        const auto path = DrivePath(member.name, "Smart Data Info ");
        const auto data = path ? ReadHexTable(member.value.String().value_or("")) : std::nullopt;
        if (data)
        {
            result.byDisk.emplace(*path, *data);
        }
    }
    return result;
}
