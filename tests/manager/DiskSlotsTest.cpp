#include "manager/DiskSlots.h"

#include "frame/Log.h"
#include "tests/support/FakeHost.h"
#include "tests/support/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace
{
using testing::ElementsAre;

std::shared_ptr<CDisk> Disk(const std::string& name, const std::string& serial = {})
{
    auto disk = std::make_shared<CDisk>(name);
    disk->m_serialNumber = serial;
    return disk;
}

std::vector<std::int32_t> Ports(const DiskList& disks)
{
    std::vector<std::int32_t> ports;
    for (const auto& disk : disks)
    {
        ports.push_back(disk->m_port);
    }
    return ports;
}

// Device nodes and the directory of bay links.
class DiskSlots : public testing::Test
{
protected:
    void Link(const std::string& name, const std::string& target)
    {
        std::filesystem::create_directories(m_dir.File("by-slot"));
        std::filesystem::create_symlink(target, m_dir.File("by-slot/" + name));
    }

    std::string Device(const std::string& name) { return m_dir.Write(name, ""); }

    std::string Directory() { return m_dir.File("by-slot") + "/"; }

    CTempDir m_dir;
    CFakeHost m_host;
};

TEST_F(DiskSlots, TheLinkOfTheDeviceItselfWinsOverOneOfALongerNamesPrefix)
{
    const DiskList disks{Disk(Device("sdaa")), Disk(Device("sda")), Disk(Device("sdb"))};
    Link("3", "../sda");
    Link("10", "../sdaa");
    Link("7", "../sd"); // leads nowhere, though its name begins the others'
    AssignDiskSlots(disks, Directory());
    EXPECT_THAT(Ports(disks), ElementsAre(10, 3, -1));
    EXPECT_THAT(m_host.LogTexts(LogWarning), testing::Each("Error resolving symlink " + Directory() + "7"));
    EXPECT_EQ(m_host.LogTexts().size(), 3U) << "once for each disk";
}

TEST_F(DiskSlots, APrefixIsEnoughAndTheDirectoryItselfIsNoBay)
{
    const DiskList disks{Disk(Device("nvme0") + "n1"), Disk(m_dir.File("other"))};
    Link("4th", "../nvme0");
    AssignDiskSlots(disks, Directory());
    EXPECT_THAT(Ports(disks), ElementsAre(4, -1));
}

TEST_F(DiskSlots, WithoutTheDirectoryPortsStay)
{
    const DiskList disks{Disk("/dev/sda")};
    disks[0]->m_port = 5;
    AssignDiskSlots(disks, Directory());
    EXPECT_EQ(disks[0]->m_port, 5);
    EXPECT_TRUE(m_host.LogTexts().empty());
}

TEST(SystemSlots, WithoutATableTheSlotIsThePort)
{
    const DiskList disks{Disk("a", "S1"), Disk("b", "S2"), Disk("c", "S3"), Disk("d", "S4")};
    AssignSystemSlots(disks, {{"S1", 0}, {"S2", 7}, {"S3", -1}}, {});
    EXPECT_THAT(Ports(disks), ElementsAre(0, 7, -1, -1));
}

TEST(SystemSlots, WithATablePortsCountTheDisksInDisplayOrder)
{
    const DiskList disks{Disk("a", "S1"), Disk("b", "S2"), Disk("c", "S3"), Disk("d", "S4")};
    disks[3]->m_port = 9;
    // SCSI ids 5, 0 and 2 have display orders 40, 10 and 20; id 6 is not in the table.
    AssignSystemSlots(disks, {{"S1", 5}, {"S2", 0}, {"S3", 2}, {"S4", 6}}, {{5, 40}, {0, 10}, {2, 20}});
    EXPECT_THAT(Ports(disks), ElementsAre(3, 1, 2, 9));
}

TEST(DiskDrives, APlainDiskGoesBySerialNumberAndAnAttachedOneByItsUnit)
{
    const DiskList disks{Disk("a", "S1"), Disk("b", "S2"), Disk("c", "S3"), Disk("d", "S4")};
    disks[1]->m_unitName = "/c0/v1";
    disks[2]->m_otherName = "/c0/e1/s1"; // attached, but in no unit
    disks[3]->m_drives = {"/gone"};
    SystemInfo info;
    info.mountPoints = {
        {"S1", {"/data", "/more"}}, {"S2", {"/wrong"}}, {"S3", {"/wrong"}}, {"/c0/v1", {"/raid"}}};
    AssociateDiskDrives(disks, info);
    EXPECT_THAT(disks[0]->m_drives, ElementsAre("/data", "/more"));
    EXPECT_THAT(disks[1]->m_drives, ElementsAre("/raid"));
    EXPECT_TRUE(disks[2]->m_drives.empty());
    EXPECT_TRUE(disks[3]->m_drives.empty());
}
} // namespace
