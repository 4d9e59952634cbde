#include "hwmon/SystemInfo.h"

#include "frame/Log.h"
#include "frame/Xml.h"
#include "tests/support/FakeHost.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tinyxml.h>

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

TEST(SystemInfo, ReadsEveryScalarWhole)
{
    const SystemInfo info =
        Parsed("motherboard-model= X=1 \nmotherboard-vendor=Mv\nfirmware-vendor=Fv\nfirmware-version=F2\n"
               "os=Linux\ndeploykey-version=7\ndeploykey-jobnumber=9\ndeploykey-branchname=main\n"
               "baseimage-version=26\nmemory=8 GB\nswap=0\nprocessor=A\nprocessor=\nprocessor=B\n"
               "OS=ignored\n os=ignored\nno equals sign\n=no key\nos \n");
    EXPECT_EQ(info.motherboardModel, " X=1 ");
    EXPECT_EQ(info.motherboardVendor, "Mv");
    EXPECT_EQ(info.firmwareVendor, "Fv");
    EXPECT_EQ(info.firmwareVersion, "F2");
    EXPECT_EQ(info.operatingSystem, "Linux");
    EXPECT_EQ(info.deployKeyVersion, "7");
    EXPECT_EQ(info.deployKeyJobNumber, "9");
    EXPECT_EQ(info.deployKeyBranchName, "main");
    EXPECT_EQ(info.baseImageVersion, "26");
    EXPECT_EQ(info.memory, "8 GB");
    EXPECT_EQ(info.swap, "0");
    EXPECT_THAT(info.processors, ElementsAre("A", "", "B"));
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
    SystemInfo info;
    RunSysInfo(info);
    EXPECT_EQ(info.operatingSystem, "Linux");

    host.Forget();
    RunSysInfo(info);
    EXPECT_EQ(info.operatingSystem, "Linux") << "a failed run leaves the record alone";
    EXPECT_THAT(host.LogTexts(),
                ElementsAre("SYSINFO: Failed to query sys info (scripts/sysinfo.sh, err  3):\nos=broken\n"));
}

TEST(SystemInfo, RunWithoutTheScriptLeavesTheRecordAlone)
{
    CFakeHost host; // nothing can be started
    SystemInfo info = Parsed("processor=A");
    host.Forget();
    RunSysInfo(info);
    EXPECT_THAT(info.processors, ElementsAre("A"));
    EXPECT_EQ(host.LogTexts(LogError).size(), 0U);
}

TEST(SystemInfo, ElementLeavesOutUnknownInstallationOnly)
{
    CXmlDocument bare;
    AddSystemInfoElement(StartDocument(bare), SystemInfo());
    EXPECT_THAT(
        PrintCompact(bare),
        testing::HasSubstr(
            "<SystemInfo><Motherboard Vendor=\"\" Model=\"\" /><BIOS Vendor=\"\" Version=\"\" />"
            "<Memory Size=\"\" Swap=\"\" /><Processors /><OperatingSystem Name=\"\" /></SystemInfo>"));

    CXmlDocument full;
    AddSystemInfoElement(
        StartDocument(full),
        Parsed("motherboard-vendor=Mv\nmotherboard-model=Mm\nfirmware-vendor=Fv\nfirmware-version=F2\n"
               "memory=8\nswap=1\nprocessor=A\nprocessor=B\nos=L\ndeploykey-version=7\n"
               "deploykey-jobnumber=9\ndeploykey-branchname=m\nbaseimage-version=26"));
    EXPECT_THAT(
        PrintCompact(full),
        testing::HasSubstr(
            "<SystemInfo><Motherboard Vendor=\"Mv\" Model=\"Mm\" /><BIOS Vendor=\"Fv\" Version=\"F2\" />"
            "<Memory Size=\"8\" Swap=\"1\" /><Processors><Processor Name=\"A\" /><Processor Name=\"B\" />"
            "</Processors><OperatingSystem Name=\"L\" /><DeployKeyVersion Name=\"7\" />"
            "<DeployKeyJobNumber Name=\"9\" /><DeployKeyBranchName Name=\"m\" />"
            "<BaseImageVersion Name=\"26\" /></SystemInfo>"));
}
} // namespace
