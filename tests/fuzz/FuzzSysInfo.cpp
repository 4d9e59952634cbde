// The output of sysinfo.sh.
#include "hwmon/SystemInfo.h"
#include "tests/fuzz/Fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text = Text(data, size);
    SystemInfo info;
    ParseSysInfo(info, text);
    for (const auto& [serial, slot] : info.driveSlots)
    {
        Require(!serial.empty() && slot >= 0);
    }
    for (const auto& [serial, reason] : info.drivesNeedingPrep)
    {
        Require(info.driveSlots.count(serial) == 1 && !reason.empty());
    }
    for (const auto& [key, paths] : info.mountPoints)
    {
        Require(!key.empty() && !paths.empty() && paths.count("") == 0);
    }
    for (const auto& [device, removable] : info.removableDevices)
    {
        Require(removable && device.size() > 5);
    }

    // The same text once more gives the same record: nothing of the first run is left over.
    SystemInfo again = info;
    ParseSysInfo(again, text);
    Require(again.processors == info.processors && again.driveSlots == info.driveSlots &&
            again.mountPoints == info.mountPoints && again.operatingSystem == info.operatingSystem);
    return 0;
}
