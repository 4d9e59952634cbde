// smartctl's output, after a good and after a bad exit.
#include "storage/Json.h"
#include "storage/Smartctl.h"
#include "tests/fuzz/Fuzz.h"

#include <vector>

namespace
{
// Every value can be reached by its name, and reading it as anything harms nothing.
std::size_t Walk(CJsonValue value, std::size_t depth)
{
    Require(depth <= kMaxJsonDepth);
    std::size_t count = 1;
    for (const CJsonValue element : value.Elements())
    {
        count += Walk(element, depth + 1);
    }
    const std::vector<JsonMember> members = value.Members();
    for (const JsonMember& member : members)
    {
        if (members.size() < 200) // a look-up takes longer the more there are
        {
            const CJsonValue found = value.Member(member.name);
            Require(found.Exists());
            Require(found.Int64() == member.value.Int64() && found.Text() == member.value.Text());
        }
        count += Walk(member.value, depth + 1);
    }
    Require(!value.Int32() || !value.Bool());
    return count;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text = Text(data, size);
    const CJsonDocument document(text);
    Require(Walk(document.Root(), 0) <= text.size() + 1);

    for (const int exitCode : {0, 2})
    {
        const SmartctlDiskInfo info = ParseDiskInfo(exitCode, text);
        Require(info.rawOutput.empty() || info.rawOutput == text);
        Require(info.error.empty() || (info.attributes.empty() && !info.temperature));
        Require(info.vendor.empty() || (info.firmware.empty() && info.attributes.empty()));
        Require(document.Root().IsObject() ||
                info.error == (exitCode == 0 ? kSmartctlInvalidJson : "smartctl error 2"));

        const SmartctlScanResult scan = ParseScan(exitCode, text);
        Require(scan.error.empty() || scan.devices.empty());
        for (const SmartctlDevice& device : scan.devices)
        {
            Require(!device.name.empty());
        }

        const ToolVersion version = ParseVersion(exitCode, text);
        Require(!version.error.empty() ||
                !(version.version.empty() || version.revision.empty() || version.build.empty()));
    }
    return 0;
}
