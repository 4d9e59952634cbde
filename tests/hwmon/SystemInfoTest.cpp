#include "hwmon/SystemInfo.h"

#include "frame/Log.h"
#include "tests/support/HostTexts.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <string>

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

SystemInfo Parsed(const std::string& output)
{
    SystemInfo info;
    ParseSysInfo(info, output);
    return info;
}

std::string Element(const SystemInfo& info)
{
    CXmlDocument document;
    AddSystemInfoElement(StartDocument(document), info);
    return Print(document.Root()->FirstChildElement());
}

TEST(SystemInfo, EveryScalarIsReadWholeAndShown)
{
    EXPECT_EQ(
        Element(
            Parsed("motherboard-model= X=1 \nmotherboard-vendor=Mv\nfirmware-vendor=Fv\nfirmware-version=F2\n"
                   "os=Linux\ndeploykey-version=7\ndeploykey-jobnumber=9\ndeploykey-branchname=main\n"
                   "baseimage-version=26\nmemory=8 GB\nswap=0\nprocessor=A\nprocessor=\nprocessor=B\n"
                   "OS=ignored\n os=ignored\nno equals sign\n=no key\nos \n")),
        R"(<SystemInfo><Motherboard Vendor="Mv" Model=" X=1 " /><BIOS Vendor="Fv" Version="F2" />)"
        R"(<Memory Size="8 GB" Swap="0" /><Processors><Processor Name="A" /><Processor Name="" />)"
        R"(<Processor Name="B" /></Processors><OperatingSystem Name="Linux" /><DeployKeyVersion Name="7" />)"
        R"(<DeployKeyJobNumber Name="9" /><DeployKeyBranchName Name="main" />)"
        R"(<BaseImageVersion Name="26" /></SystemInfo>)");
    EXPECT_EQ(Element({}), R"(<SystemInfo><Motherboard Vendor="" Model="" /><BIOS Vendor="" Version="" />)"
                           R"(<Memory Size="" Swap="" /><Processors /><OperatingSystem Name="" />)"
                           R"(</SystemInfo>)")
        << "only an unknown installation is left out";
}

TEST(SystemInfo, ASecondRunKeepsScalarsAndReplacesTheRest)
{
    SystemInfo info =
        Parsed("os=Linux\nmemory=8 GB\nprocessor=A\ndrive-index=0\ndrive-name=sda\ndrive-serial=S\n"
               "drive-needs-prep=1\ndrive-removable=1\ndrive-fspath=/a\n");
    ASSERT_EQ(info.removableDevices.size(), 1U);
    ParseSysInfo(info, "memory=16 GB");
    EXPECT_EQ(info.operatingSystem, "Linux");
    EXPECT_EQ(info.memory, "16 GB");
    EXPECT_THAT(info.processors, IsEmpty());
    EXPECT_THAT(info.driveSlots, IsEmpty());
    EXPECT_THAT(info.drivesNeedingPrep, IsEmpty());
    EXPECT_THAT(info.mountPoints, IsEmpty());
    EXPECT_THAT(info.removableDevices, IsEmpty());
}

// Of a second drive nothing of the first may show; the last one has no line behind it.
TEST(SystemInfo, DrivesAreCompleteByTheirNextIndexOrTheEnd)
{
    CFakeHost host;
    const SystemInfo info = Parsed(
        "drive-serial=before any index\ndrive-index=4\ndrive-name=sda\ndrive-serial=S1\ndrive-partitions=2\n"
        "drive-fspath=/mnt/a\ndrive-fstype=ext4\ndrive-needs-prep=1\ndrive-removable=1\n"
        "drive-index=5\ndrive-name=sdb\ndrive-fspath=/mnt/lost\ndrive-removable=1\n"
        "drive-index=-1\ndrive-serial=no slot\n"
        "drive-index=x\ndrive-serial=S0\ndrive-removable=1\n"
        "drive-index=6\ndrive-serial=S2\ndrive-partitions=x\ndrive-removable=2\ndrive-needs-prep=11");
    EXPECT_THAT(info.driveSlots, ElementsAre(Pair("S0", 0), Pair("S1", 4), Pair("S2", 6)));
    EXPECT_THAT(info.drivesNeedingPrep,
                ElementsAre(Pair("S1", "FS type [ext4] mountpt [/mnt/a] numparts [2]")));
    EXPECT_THAT(info.mountPoints, ElementsAre(Pair("S1", ElementsAre("/mnt/a"))));
    EXPECT_THAT(info.removableDevices, ElementsAre(Pair("/dev/sda", true)));
    EXPECT_THAT(
        host.LogTexts(LogInfo),
        ElementsAre(
            "SYSINFO: non-RAID disk serial [S1] slot [4] needprep [1] partitions [2] mount [/mnt/a] fstype "
            "[ext4] name [sda] removable [1]",
            "SYSINFO: non-RAID disk serial [S0] slot [0] needprep [0] partitions [0] mount [] fstype [] name "
            "[] removable [1]",
            "SYSINFO: non-RAID disk serial [S2] slot [6] needprep [0] partitions [0] mount [] fstype [] name "
            "[] removable [0]"));
}

TEST(SystemInfo, AVolumeNameServesOneMount)
{
    CFakeHost host;
    const SystemInfo info =
        Parsed("raid-fspath=/none\nraid-volume=/c0/v0\nraid-fspath=/data\nraid-fspath=/second\n"
               "raid-volume=/c0/v1\nraid-fspath=\nraid-fspath=/late\n"
               "raid-volume=/c0/v0\nraid-fspath=/data2\n");
    EXPECT_THAT(info.mountPoints, ElementsAre(Pair("/c0/v0", ElementsAre("/data", "/data2"))));
    EXPECT_THAT(host.LogTexts(LogInfo), ElementsAre("SYSINFO: RAID volume [/c0/v0] mounted at [/data]",
                                                    "SYSINFO: RAID volume [/c0/v0] mounted at [/data2]"));
}

TEST(SystemInfo, EveryLineIsLoggedWithItsNumber)
{
    CFakeHost host;
    Parsed("os=A\n\nnonsense\n");
    EXPECT_THAT(host.LogTexts(LogDebug),
                ElementsAre("SYSINFO: 000: os=A", "SYSINFO: 001: ", "SYSINFO: 002: nonsense",
                            "SYSINFO: 003: ", "SYSINFO: 004: drive-index=-1", "SYSINFO: 005: raid-volume="));
}

TEST(SystemInfo, RunReadsTheScriptsOutput)
{
    CFakeHost host;
    host.OnProgram({"scripts/sysinfo.sh"}, {.output = "os=Linux\n", .errorOutput = "os=noise\n"});
    host.OnProgram({"scripts/sysinfo.sh"}, {.output = "os=broken\n", .exitCode = 3});
    host.OnProgram({"scripts/sysinfo.sh"}, {.startError = ENOENT});
    SystemInfo info;
    RunSysInfo(info);
    EXPECT_EQ(info.operatingSystem, "Linux");

    host.Forget();
    RunSysInfo(info);
    EXPECT_EQ(info.operatingSystem, "Linux") << "a failed run leaves the record alone";
    EXPECT_THAT(host.LogTexts(),
                ElementsAre("SYSINFO: Failed to query sys info (scripts/sysinfo.sh, err  3):\nos=broken\n"));

    host.Forget();
    RunSysInfo(info);
    EXPECT_EQ(info.operatingSystem, "Linux") << "nor does one that does not start";
    EXPECT_THAT(host.LogTexts(LogError), IsEmpty());
}
} // namespace
